#include "streams/pdaes.h"

#include <nettle/aes.h>
#include <nettle/cbc.h>

#include <sys/random.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

// One key schedule of either size behind one pair of calls.
struct Cipher {
    aes128_ctx small;
    aes256_ctx large;
    bool isLarge;

    Cipher(const uint8_t* key, int keyLength, bool encrypt) : isLarge(keyLength == 32) {
        if (isLarge && encrypt)
            aes256_set_encrypt_key(&large, key);
        else if (isLarge)
            aes256_set_decrypt_key(&large, key);
        else if (encrypt)
            aes128_set_encrypt_key(&small, key);
        else
            aes128_set_decrypt_key(&small, key);
    }
    const void* Context() const { return isLarge ? static_cast<const void*>(&large) : &small; }
    nettle_cipher_func* Encrypt() const {
        return isLarge ? reinterpret_cast<nettle_cipher_func*>(aes256_encrypt)
                       : reinterpret_cast<nettle_cipher_func*>(aes128_encrypt);
    }
    nettle_cipher_func* Decrypt() const {
        return isLarge ? reinterpret_cast<nettle_cipher_func*>(aes256_decrypt)
                       : reinterpret_cast<nettle_cipher_func*>(aes128_decrypt);
    }
};

} // namespace

void PDAes::EncryptBlocks(const uint8_t* key, int keyLength, const uint8_t* iv, const uint8_t* in,
                          size_t length, uint8_t* out) {
    const Cipher cipher(key, keyLength, true);
    uint8_t chain[kBlock] = {};
    if (iv != nullptr)
        std::memcpy(chain, iv, kBlock);
    cbc_encrypt(cipher.Context(), cipher.Encrypt(), kBlock, chain, length, out, in);
}

void PDAes::DecryptBlocks(const uint8_t* key, int keyLength, const uint8_t* iv, const uint8_t* in,
                          size_t length, uint8_t* out) {
    const Cipher cipher(key, keyLength, false);
    uint8_t chain[kBlock] = {};
    if (iv != nullptr)
        std::memcpy(chain, iv, kBlock);
    cbc_decrypt(cipher.Context(), cipher.Decrypt(), kBlock, chain, length, out, in);
}

bool PDAes::DecryptPadded(const uint8_t* key, int keyLength, const uint8_t* data, size_t length,
                          std::vector<uint8_t>& out) {
    out.clear();
    if (data == nullptr || length < 2 * kBlock || length % kBlock != 0)
        return false;
    out.resize(length - kBlock);
    DecryptBlocks(key, keyLength, data, data + kBlock, out.size(), out.data());
    const uint8_t pad = out.back();
    bool padded = pad >= 1 && pad <= kBlock;
    for (size_t i = 0; padded && i < pad; ++i)
        padded = out[out.size() - 1 - i] == pad;
    if (!padded) {
        out.clear();
        return false;
    }
    out.resize(out.size() - pad);
    return true;
}

std::vector<uint8_t> PDAes::EncryptPadded(const uint8_t* key, int keyLength,
                                          const uint8_t iv[kBlock], const uint8_t* data,
                                          size_t length) {
    const size_t pad = kBlock - length % kBlock;
    std::vector<uint8_t> out(kBlock + length + pad, static_cast<uint8_t>(pad));
    std::memcpy(out.data(), iv, kBlock);
    if (length > 0)
        std::memcpy(out.data() + kBlock, data, length);
    EncryptBlocks(key, keyLength, iv, out.data() + kBlock, length + pad, out.data() + kBlock);
    return out;
}

bool PDRandomBytes(uint8_t* buffer, size_t length) {
    size_t got = 0;
    // Bounded: each round either fills some bytes or gives up, bar interruptions by signals.
    for (int round = 0; got < length && round < 1000; ++round) {
        ssize_t n = getrandom(buffer + got, length - got, 0);
        if (n > 0)
            got += static_cast<size_t>(n);
        else if (n < 0 && errno != EINTR)
            break;
    }
    if (got == length)
        return true;
    // Systems without the call still have the device.
    FILE* device = std::fopen("/dev/urandom", "rb");
    if (device == nullptr)
        return false;
    got = std::fread(buffer, 1, length, device);
    std::fclose(device);
    return got == length;
}
