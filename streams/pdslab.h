// PDSlab: the blocks of the core classes (value nodes, tables, short texts), carved from large
// pieces of memory and kept on a free list per size.
#pragma once

#include <cstddef>

// A run makes and drops hundreds of thousands of small blocks. Carved from shared pieces that are
// mapped in whole, they cost neither a general allocation's header and search nor a page fault
// each; a freed block serves the next one of its size. Blocks are aligned to 8 bytes. Sizes above
// kPDSlabLargest (and every size in sanitized builds, so that misuse stays visible) go to the
// general allocator.
inline constexpr std::size_t kPDSlabLargest = 256;

// A block of n bytes; null when memory runs out.
void* PDSlabAlloc(std::size_t n) noexcept;
// Gives back a block from PDSlabAlloc; n must be the size it was asked for. Null is ignored.
void PDSlabFree(void* p, std::size_t n) noexcept;
// Moves a block to n bytes, keeping the first min(old, n) bytes; null (the block untouched) when
// memory runs out.
void* PDSlabResize(void* p, std::size_t old, std::size_t n) noexcept;
