// PDObjStreams: the object streams of one input, each decoded once and kept within a memory
// budget, so that a copy that hops between them never decodes one again.
#pragma once

#include "streams/pdstr.h"

#include <cstdint>
#include <functional>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

// A decoded object stream: its data and (object number, offset) pairs.
struct PDObjStream {
    PDStr data;
    std::vector<std::pair<int32_t, int64_t>> pairs;
    std::unordered_map<int32_t, size_t> byNumber; // the first pair of each number
    int64_t first = 0;
    uint64_t lastUse = 0;
};

class PDObjStreams {
public:
    // Decodes object stream n into the record; false when it is damaged.
    using Decoder = std::function<bool(int32_t n, PDObjStream& decoded)>;

    // Object stream n, decoded with decode on its first use. Null for a stream being decoded (a
    // nested request), one found damaged before, and once the work of this open exceeds what an
    // input of inputSize bytes may cost (reported once).
    const PDObjStream* Hold(int32_t n, int64_t inputSize, const Decoder& decode);
    // Forgets every decoded stream and what was found damaged; the work done so far still counts.
    void Drop();
    // Drop, and the work of a new open starts from nothing.
    void Reset();

private:
    void MakeRoom(int64_t keep);

    std::unordered_map<int32_t, PDObjStream> m_streams;
    std::unordered_set<int32_t> m_busy;    // being decoded: a nested request fails
    std::unordered_set<int32_t> m_damaged; // could not be decoded: not tried again
    int64_t m_bytes = 0;                   // decoded data held
    int64_t m_work = 0;                    // decoded data produced in this open, evicted ones too
    uint64_t m_clock = 0;
    bool m_workReported = false;
};
