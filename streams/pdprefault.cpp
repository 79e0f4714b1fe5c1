#include "streams/pdprefault.h"

#include <cstdint>
#include <sys/mman.h>
#include <unistd.h>

void PDPrefault(void* p, std::size_t n) noexcept {
#ifdef MADV_POPULATE_WRITE
    static const long page = ::sysconf(_SC_PAGESIZE);
    if (p == nullptr || page <= 0)
        return;
    auto size = static_cast<std::uintptr_t>(page);
    auto start = reinterpret_cast<std::uintptr_t>(p);
    std::uintptr_t begin = (start + size - 1) / size * size;
    std::uintptr_t end = (start + n) / size * size;
    if (end > begin)
        ::madvise(reinterpret_cast<void*>(begin), end - begin, MADV_POPULATE_WRITE);
#else
    (void)p;
    (void)n;
#endif
}
