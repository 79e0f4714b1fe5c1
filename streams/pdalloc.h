// PDAllocator: a standard allocator whose only failure is the library's PDAllocError, so that
// containers of the core classes run out of memory the same way the rest of the library does.
#pragma once

#include "streams/pddiag.h"
#include "streams/pdslab.h"

#include <cstddef>
#include <cstdlib>
#include <limits>

template <class T> struct PDAllocator {
    using value_type = T;

    PDAllocator() noexcept = default;
    template <class U> PDAllocator(const PDAllocator<U>&) noexcept {} // NOLINT: rebinding

    T* allocate(std::size_t n) {
        if (n > std::numeric_limits<std::size_t>::max() / sizeof(T))
            PDThrowAlloc();
        void* p = PDSlabAlloc(n * sizeof(T) + (n == 0 ? 1 : 0));
        if (p == nullptr)
            PDThrowAlloc();
        return static_cast<T*>(p);
    }
    void deallocate(T* p, std::size_t n) noexcept {
        PDSlabFree(p, n * sizeof(T) + (n == 0 ? 1 : 0));
    }

    template <class U> bool operator==(const PDAllocator<U>&) const noexcept { return true; }
};
