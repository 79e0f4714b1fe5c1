// Caps on every walk and allocation driven by file data. A fuzz build may lower them.
#pragma once

#include <cstddef>
#include <cstdint>

namespace pdlimits {

// Deliberate: arrays and dictionaries nested deeper than this are cut off. Real files stay far
// below 32 levels; 256 keeps the recursive value parser well inside any thread stack.
inline constexpr int kMaxValueDepth = 256;

// Dictionary tables count their slots in 16 bits.
inline constexpr int kMaxDictKeys = 32767;

// Walks over /Parent and /Kids switch to a visited set beyond this depth, and stop at
// kMaxTreeDepth.
inline constexpr int kCheapTreeDepth = 32;
inline constexpr int kMaxTreeDepth = 1000;

// Cross-reference chains (/Prev, /XRefStm) are never followed further than this.
inline constexpr int kMaxXrefSections = 10000;

// Object numbers above this are treated as absent, whatever /Size claims.
inline constexpr int32_t kMaxObjectNumber = 8388607;
// Object numbers an input may use: this many, or one per byte of the file when that is more, so
// that a small file naming a huge number cannot make the index and the per-number tables huge.
inline constexpr int64_t kObjectNumbersFloor = int64_t{1} << 20;

// Deep copies and reference walks stop at this depth.
inline constexpr int kMaxCopyDepth = 10000;
// Elements of a structure tree visited when one is pruned.
inline constexpr size_t kMaxStructureSteps = 1000000;

} // namespace pdlimits

namespace pdlimits {
// Decoded stream data that grow beyond this, or beyond kMaxDecodedRatio times their encoded size
// when that is larger, count as damaged. kMaxDecodedCeiling is the hard ceiling of either.
inline constexpr int64_t kMaxDecodedStream = int64_t{1} << 28;
inline constexpr int64_t kMaxDecodedRatio = 1000;
inline constexpr int64_t kMaxDecodedCeiling = int64_t{1} << 30;

// Decoded object streams are kept for the whole open up to kObjectStreamKept bytes; beyond it the
// least recently used are dropped, so that memory does not grow with the file. Decoding is
// budgeted too: the larger of the floor and the input size times the factor. Once the decoding
// done for object streams reaches kObjectStreamWorkFactor budgets, further ones count as damaged,
// so that no file makes the reader inflate the same data over and over.
inline constexpr int64_t kObjectStreamKept = int64_t{32} << 20;
inline constexpr int64_t kObjectStreamBudgetFloor = int64_t{64} << 20;
inline constexpr int64_t kObjectStreamBudgetFactor = 8;
inline constexpr int64_t kObjectStreamWorkFactor = 4;
} // namespace pdlimits
