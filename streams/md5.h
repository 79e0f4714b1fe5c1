// PDMd5: the MD5 message digest (RFC 1321), incremental and one-shot.
#pragma once

#include <cstddef>
#include <cstdint>

class PDMd5 {
public:
    static constexpr int kDigestLength = 16;

    PDMd5() noexcept { Init(); }

    // Starts a new digest; a finished object may be reused after Init.
    void Init() noexcept;
    void Update(const uint8_t* data, size_t length) noexcept;
    // Pads, writes the 16-byte digest and leaves the object to be re-initialised.
    void Final(uint8_t digest[kDigestLength]) noexcept;

    static void Digest(const uint8_t* data, size_t length, uint8_t digest[kDigestLength]) noexcept;

private:
    void Transform(const uint8_t block[64]) noexcept;

    uint32_t m_state[4];
    uint64_t m_bitCount;
    uint8_t m_buffer[64];
    size_t m_buffered;
};
