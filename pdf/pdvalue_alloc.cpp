// Allocation of value nodes and dictionary tables. Kept in a file of its own so that the compiler
// never sees these paired with a constructor that can throw (it would mistake the pair for a
// mismatched new and delete).
#include "pdf/pdvalue.h"

#include "streams/pddiag.h"
#include "streams/pdslab.h"

#include <new>

void* PDValue::operator new(std::size_t size) {
    void* p = PDSlabAlloc(size);
    if (p == nullptr)
        PDThrowAlloc();
    return p;
}

void* PDValue::operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return PDSlabAlloc(size);
}

void PDValue::operator delete(void* p, std::size_t size) noexcept {
    PDSlabFree(p, size);
}

void* PDDict::operator new(std::size_t size) {
    void* p = PDSlabAlloc(size);
    if (p == nullptr)
        PDThrowAlloc();
    return p;
}

void PDDict::operator delete(void* p, std::size_t size) noexcept {
    PDSlabFree(p, size);
}
