// Every fuzz target defines this entry point. The contract: no crash, no sanitizer report, no hang;
// the only exception allowed through is PDAllocError.
#pragma once

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
