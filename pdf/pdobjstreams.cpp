#include "pdf/pdobjstreams.h"

#include "streams/pddiag.h"
#include "streams/pdlimits.h"

#include <algorithm>

// A copy walks objects in the order pages reach them, which hops between object streams: each
// one is decoded once and kept, within a budget, so that no hop decodes it again.
const PDObjStream* PDObjStreams::Hold(int32_t n, int64_t inputSize, const Decoder& decode) {
    auto held = m_streams.find(n);
    if (held != m_streams.end()) {
        held->second.lastUse = ++m_clock;
        return &held->second;
    }
    if (n <= 0 || m_busy.count(n) != 0 || m_damaged.count(n) != 0)
        return nullptr;
    int64_t budget = std::max(pdlimits::kObjectStreamBudgetFloor,
                              inputSize * pdlimits::kObjectStreamBudgetFactor);
    if (m_work >= budget * pdlimits::kObjectStreamWorkFactor) {
        if (!m_workReported)
            PDReport("object streams decode to more than %lld bytes: the rest are not read\n",
                     static_cast<long long>(m_work));
        m_workReported = true;
        return nullptr;
    }
    PDObjStream decoded;
    m_busy.insert(n);
    bool ok = decode(n, decoded);
    m_busy.erase(n);
    if (!ok) {
        m_damaged.insert(n);
        return nullptr;
    }
    int64_t bytes = decoded.data.Length();
    m_work += bytes;
    MakeRoom(std::max<int64_t>(std::min(budget, pdlimits::kObjectStreamKept) - bytes, 0));
    decoded.lastUse = ++m_clock;
    m_bytes += bytes;
    return &(m_streams[n] = std::move(decoded));
}

// Drops the least recently used object streams until at most keep bytes are held.
void PDObjStreams::MakeRoom(int64_t keep) {
    while (m_bytes > keep && !m_streams.empty()) {
        auto oldest = m_streams.begin();
        for (auto it = m_streams.begin(); it != m_streams.end(); ++it) {
            if (it->second.lastUse < oldest->second.lastUse)
                oldest = it;
        }
        m_bytes -= oldest->second.data.Length();
        m_streams.erase(oldest);
    }
}

void PDObjStreams::Drop() {
    m_streams.clear();
    m_busy.clear();
    m_damaged.clear();
    m_bytes = 0;
}

void PDObjStreams::Reset() {
    Drop();
    m_work = 0;
    m_workReported = false;
}
