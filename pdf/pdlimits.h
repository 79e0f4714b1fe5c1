// Caps on every walk and allocation driven by file data. A fuzz build may lower them.
#pragma once

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

// Deep copies and reference walks stop at this depth.
inline constexpr int kMaxCopyDepth = 10000;

} // namespace pdlimits

namespace pdlimits {
// Decoded stream data never grow beyond this (a compression bomb ends here, with what was decoded).
inline constexpr int64_t kMaxDecodedStream = int64_t{1} << 28;
} // namespace pdlimits
