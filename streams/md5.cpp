#include "streams/md5.h"

#include <cstring>

namespace {

// Per-step shift amounts and sine-derived constants of the four rounds.
constexpr uint8_t kShift[64] = {
    7, 12, 17, 22, 7, 12, 17, 22, 7, 12, 17, 22, 7, 12, 17, 22, //
    5, 9,  14, 20, 5, 9,  14, 20, 5, 9,  14, 20, 5, 9,  14, 20, //
    4, 11, 16, 23, 4, 11, 16, 23, 4, 11, 16, 23, 4, 11, 16, 23, //
    6, 10, 15, 21, 6, 10, 15, 21, 6, 10, 15, 21, 6, 10, 15, 21,
};

constexpr uint32_t kSine[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391,
};

uint32_t RotateLeft(uint32_t x, unsigned n) {
    return (x << n) | (x >> (32U - n));
}

uint32_t LoadLE(const uint8_t* p) {
    return uint32_t{p[0]} | (uint32_t{p[1]} << 8) | (uint32_t{p[2]} << 16) | (uint32_t{p[3]} << 24);
}

void StoreLE(uint32_t v, uint8_t* p) {
    for (int i = 0; i < 4; ++i) {
        p[i] = static_cast<uint8_t>(v >> (8 * i));
    }
}

} // namespace

void PDMd5::Init() noexcept {
    m_state[0] = 0x67452301;
    m_state[1] = 0xefcdab89;
    m_state[2] = 0x98badcfe;
    m_state[3] = 0x10325476;
    m_bitCount = 0;
    m_buffered = 0;
    std::memset(m_buffer, 0, sizeof m_buffer);
}

void PDMd5::Transform(const uint8_t block[64]) noexcept {
    uint32_t x[16];
    for (int i = 0; i < 16; ++i) {
        x[i] = LoadLE(block + 4 * i);
    }
    uint32_t a = m_state[0], b = m_state[1], c = m_state[2], d = m_state[3];
    for (unsigned step = 0; step < 64; ++step) {
        uint32_t f = 0;
        unsigned g = 0;
        switch (step / 16) {
        case 0:
            f = (b & c) | (~b & d);
            g = step;
            break;
        case 1:
            f = (d & b) | (~d & c);
            g = (5 * step + 1) % 16;
            break;
        case 2:
            f = b ^ c ^ d;
            g = (3 * step + 5) % 16;
            break;
        default:
            f = c ^ (b | ~d);
            g = (7 * step) % 16;
            break;
        }
        const uint32_t rotated = RotateLeft(a + f + kSine[step] + x[g], kShift[step]);
        a = d;
        d = c;
        c = b;
        b += rotated;
    }
    m_state[0] += a;
    m_state[1] += b;
    m_state[2] += c;
    m_state[3] += d;
}

void PDMd5::Update(const uint8_t* data, size_t length) noexcept {
    // The bit count is kept modulo 2^64, as the digest's length field defines it.
    m_bitCount += static_cast<uint64_t>(length) << 3;
    while (length > 0) {
        const size_t take = length < 64 - m_buffered ? length : 64 - m_buffered;
        std::memcpy(m_buffer + m_buffered, data, take);
        m_buffered += take;
        data += take;
        length -= take;
        if (m_buffered == 64) {
            Transform(m_buffer);
            m_buffered = 0;
        }
    }
}

void PDMd5::Final(uint8_t digest[kDigestLength]) noexcept {
    const uint64_t bits = m_bitCount;
    static const uint8_t kPad[64] = {0x80};
    const size_t padLength = m_buffered < 56 ? 56 - m_buffered : 120 - m_buffered;
    Update(kPad, padLength);
    uint8_t lengthBytes[8];
    for (int i = 0; i < 8; ++i) {
        lengthBytes[i] = static_cast<uint8_t>(bits >> (8 * i));
    }
    Update(lengthBytes, 8);
    for (int i = 0; i < 4; ++i) {
        StoreLE(m_state[i], digest + 4 * i);
    }
    Init();
}

void PDMd5::Digest(const uint8_t* data, size_t length, uint8_t digest[kDigestLength]) noexcept {
    PDMd5 md5;
    md5.Update(data, length);
    md5.Final(digest);
}
