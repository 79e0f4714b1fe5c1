// PDRc4: the RC4 stream cipher. Encrypting and decrypting are the same operation.
#pragma once

#include <cstddef>
#include <cstdint>

class PDRc4 {
public:
    // Keys longer than 256 bytes use their first 256; an empty key acts as one zero byte.
    PDRc4(const uint8_t* key, size_t keyLength) noexcept;

    // XORs the next length bytes of the key stream into data, continuing where the last call ended.
    void Crypt(uint8_t* data, size_t length) noexcept;

    static void Crypt(const uint8_t* key, size_t keyLength, uint8_t* data, size_t length) noexcept;

private:
    uint8_t m_state[256];
    uint8_t m_i;
    uint8_t m_j;
};
