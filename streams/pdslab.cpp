#include "streams/pdslab.h"

#include "streams/pdprefault.h"

#include <cstdlib>
#include <cstring>

namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kPooled = false;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kPooled = false;
#else
constexpr bool kPooled = true;
#endif
#else
constexpr bool kPooled = true;
#endif

constexpr std::size_t kStep = 8;
constexpr std::size_t kClasses = kPDSlabLargest / kStep;
// Pieces are mapped in whole, so what a run holds beyond its need stays below one piece.
constexpr std::size_t kPiece = 128 * 1024;

class Slab {
public:
    void* Take(std::size_t n) noexcept {
        std::size_t index = (n + kStep - 1) / kStep - 1;
        if (FreeBlock* block = m_free[index]) {
            m_free[index] = block->next;
            return block;
        }
        std::size_t size = (index + 1) * kStep;
        if (m_room < size && !NewPiece())
            return nullptr;
        char* at = m_open;
        m_open += size;
        m_room -= size;
        return at;
    }
    void Give(void* p, std::size_t n) noexcept {
        std::size_t index = (n + kStep - 1) / kStep - 1;
        auto* block = static_cast<FreeBlock*>(p);
        block->next = m_free[index];
        m_free[index] = block;
    }

private:
    struct FreeBlock {
        FreeBlock* next;
    };

    bool NewPiece() noexcept {
        // The rest of the old piece goes to the free list of its size.
        if (m_room >= kStep)
            Give(m_open, m_room / kStep * kStep);
        auto* piece = static_cast<char*>(std::malloc(kPiece));
        if (piece == nullptr)
            return false;
        PDPrefault(piece, kPiece);
        m_open = piece;
        m_room = kPiece;
        return true;
    }

    FreeBlock* m_free[kClasses] = {};
    char* m_open = nullptr;
    std::size_t m_room = 0;
};

Slab& Blocks() noexcept {
    static Slab slab;
    return slab;
}

bool Pooled(std::size_t n) noexcept {
    return kPooled && n > 0 && n <= kPDSlabLargest;
}

} // namespace

void* PDSlabAlloc(std::size_t n) noexcept {
    return Pooled(n) ? Blocks().Take(n) : std::malloc(n == 0 ? 1 : n);
}

void PDSlabFree(void* p, std::size_t n) noexcept {
    if (p == nullptr)
        return;
    if (Pooled(n))
        Blocks().Give(p, n);
    else
        std::free(p);
}

void* PDSlabResize(void* p, std::size_t old, std::size_t n) noexcept {
    if (p == nullptr)
        return PDSlabAlloc(n);
    if (!Pooled(old) && !Pooled(n))
        return std::realloc(p, n == 0 ? 1 : n);
    void* fresh = PDSlabAlloc(n);
    if (fresh == nullptr)
        return nullptr;
    std::memcpy(fresh, p, old < n ? old : n);
    PDSlabFree(p, old);
    return fresh;
}
