// PDPrefault: memory about to be filled made resident at once.
#pragma once

#include <cstddef>

// Maps in the whole pages of [p, p + n) for writing in one system call. Memory the program is
// about to fill anyway then costs no fault per page, which in a virtual machine is several times
// dearer than mapping the pages in one go. Only a hint: without support, nothing happens.
void PDPrefault(void* p, std::size_t n) noexcept;
