// PDAes: AES in CBC mode (nettle does the cipher) in the two shapes the security handler needs:
// data carrying their own initialisation vector and padding, and whole blocks without either.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

class PDAes {
public:
    static constexpr int kBlock = 16;

    // keyLength is 16 or 32. data is the initialisation vector followed by the encrypted blocks;
    // the last plain block ends in padding bytes that each hold the padding's length. False (out
    // emptied) when the data are not whole blocks of at least two or the padding is wrong.
    static bool DecryptPadded(const uint8_t* key, int keyLength, const uint8_t* data, size_t length,
                              std::vector<uint8_t>& out);
    // The initialisation vector, then data padded to whole blocks and encrypted.
    static std::vector<uint8_t> EncryptPadded(const uint8_t* key, int keyLength,
                                              const uint8_t iv[kBlock], const uint8_t* data,
                                              size_t length);
    // length whole blocks, in to out (may be the same buffer); a null iv means one of zeros.
    static void EncryptBlocks(const uint8_t* key, int keyLength, const uint8_t* iv,
                              const uint8_t* in, size_t length, uint8_t* out);
    static void DecryptBlocks(const uint8_t* key, int keyLength, const uint8_t* iv,
                              const uint8_t* in, size_t length, uint8_t* out);
};

// Fills buffer with bytes from the system's random source. False when none could be read.
bool PDRandomBytes(uint8_t* buffer, size_t length);
