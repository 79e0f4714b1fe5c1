// Allocation of value nodes and dictionary tables. Kept in a file of its own so that the compiler
// never sees these paired with a constructor that can throw (it would mistake the pair for a
// mismatched new and delete).
#include "pdf/pdvalue.h"

#include "streams/pddiag.h"

#include <cstdlib>
#include <new>

namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kPooled = false; // each node its own block, so the sanitizer sees every misuse
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kPooled = false;
#else
constexpr bool kPooled = true;
#endif
#else
constexpr bool kPooled = true;
#endif

// Value nodes are the most numerous blocks of a run: a document holds tens of thousands, made and
// dropped as objects are read and written. They come from blocks of many nodes with a list of
// free ones, which costs a fraction of a general allocation in time and its header in memory.
// Blocks stay for the whole run; a freed node serves the next value.
class NodePool {
public:
    void* Take() noexcept {
        if (m_free == nullptr && !Refill())
            return nullptr;
        FreeNode* node = m_free;
        m_free = node->next;
        return node;
    }
    void Give(void* p) noexcept {
        auto* node = static_cast<FreeNode*>(p);
        node->next = m_free;
        m_free = node;
    }

private:
    struct FreeNode {
        FreeNode* next;
    };
    static constexpr std::size_t kNode = sizeof(PDValue);
    static constexpr std::size_t kPerBlock = 1600; // 64,000 bytes
    static_assert(kNode >= sizeof(FreeNode) && kNode % alignof(PDValue) == 0);

    bool Refill() noexcept {
        auto* block = static_cast<char*>(std::malloc(kNode * kPerBlock));
        if (block == nullptr)
            return false;
        // Chained in address order, so consecutive values lie side by side.
        for (std::size_t i = kPerBlock; i-- > 0;)
            Give(block + i * kNode);
        return true;
    }

    FreeNode* m_free = nullptr;
};

NodePool& Nodes() noexcept {
    static NodePool pool;
    return pool;
}

void* TakeNode(std::size_t size) noexcept {
    if (!kPooled || size != sizeof(PDValue))
        return ::operator new(size, std::nothrow);
    return Nodes().Take();
}

} // namespace

void* PDValue::operator new(std::size_t size) {
    void* p = TakeNode(size);
    if (p == nullptr)
        PDThrowAlloc();
    return p;
}

void* PDValue::operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return TakeNode(size);
}

void PDValue::operator delete(void* p, std::size_t size) noexcept {
    if (p == nullptr)
        return;
    if (!kPooled || size != sizeof(PDValue))
        ::operator delete(p);
    else
        Nodes().Give(p);
}

void* PDDict::operator new(std::size_t size) {
    void* p = ::operator new(size, std::nothrow);
    if (p == nullptr)
        PDThrowAlloc();
    return p;
}

void PDDict::operator delete(void* p) noexcept {
    ::operator delete(p);
}
