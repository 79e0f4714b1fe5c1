// The value parser on arbitrary bytes: first as a run of indirect objects (streams included),
// then as a run of plain values.
#include "fuzz/fuzz_target.h"

#include "pdf/pdparse.h"

namespace {

// Resolves an indirect /Length to some position of the same input, so the second-parser path
// and the restore of the position are exercised too.
class FuzzHost : public PDMemoryHost {
public:
    FuzzHost(const uint8_t* data, int64_t length) : PDMemoryHost(data, length), m_size(length) {}
    bool SeekObject(int32_t objNum) override {
        if (m_size <= 0 || objNum < 0)
            return false;
        return Seek((int64_t{objNum} * 7) % m_size);
    }
    int32_t LoadedObjectNumber(int32_t objNum) override { return objNum / 2; }

private:
    int64_t m_size;
};

constexpr int kMaxRounds = 100000;

void ParseObjects(const uint8_t* data, int64_t size) {
    FuzzHost host(data, size);
    PDParser parser(host);
    for (int round = 0; round < kMaxRounds; ++round) {
        int64_t before = parser.Offset();
        parser.ParseIndirectObject();
        parser.TakeValue();
        if (parser.Offset() <= before)
            break;
    }
}

void ParseValues(const uint8_t* data, int64_t size) {
    PDMemoryHost host(data, size);
    PDParser parser(host);
    parser.GetToken();
    for (int round = 0; round < kMaxRounds && parser.TokenKind() != kTokEnd; ++round) {
        PDValue value;
        parser.ParseValue(value);
    }
    parser.GetCurNumber();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    auto length = static_cast<int64_t>(size);
    ParseObjects(data, length);
    ParseValues(data, length);
    return 0;
}
