#include "streams/pdpasswordhash.h"

#include "streams/pdaes.h"

#include <nettle/sha2.h>

#include <algorithm>
#include <cstring>
#include <vector>

namespace {

constexpr int kMinRounds = 64;
// The rounds end once the last byte of the block is small enough; that byte is at most 255, so
// no run goes beyond 255 + 32 rounds. The cap only guards the bound.
constexpr int kMaxRounds = 300;
constexpr size_t kRepeats = 64;

// The digest of data chosen by the sum of its first 16 bytes modulo 3; returns its length.
size_t NextDigest(const std::vector<uint8_t>& data, uint8_t digest[64]) {
    unsigned sum = 0;
    for (size_t i = 0; i < 16; ++i)
        sum += data[i];
    switch (sum % 3) {
    case 0: {
        sha256_ctx ctx;
        sha256_init(&ctx);
        sha256_update(&ctx, data.size(), data.data());
        sha256_digest(&ctx, SHA256_DIGEST_SIZE, digest);
        return SHA256_DIGEST_SIZE;
    }
    case 1: {
        sha384_ctx ctx;
        sha384_init(&ctx);
        sha384_update(&ctx, data.size(), data.data());
        sha384_digest(&ctx, SHA384_DIGEST_SIZE, digest);
        return SHA384_DIGEST_SIZE;
    }
    default: {
        sha512_ctx ctx;
        sha512_init(&ctx);
        sha512_update(&ctx, data.size(), data.data());
        sha512_digest(&ctx, SHA512_DIGEST_SIZE, digest);
        return SHA512_DIGEST_SIZE;
    }
    }
}

} // namespace

void PDPasswordHash(int revision, const uint8_t* password, size_t passwordLength,
                    const uint8_t salt[8], const uint8_t* extra, size_t extraLength,
                    uint8_t hash[32]) {
    passwordLength = std::min(passwordLength, kPDPasswordLimit);
    sha256_ctx ctx;
    sha256_init(&ctx);
    sha256_update(&ctx, passwordLength, password);
    sha256_update(&ctx, 8, salt);
    sha256_update(&ctx, extraLength, extra);
    uint8_t digest[64];
    sha256_digest(&ctx, SHA256_DIGEST_SIZE, digest);
    size_t digestLength = SHA256_DIGEST_SIZE;
    if (revision >= 6) {
        std::vector<uint8_t> block;
        for (int round = 1; round <= kMaxRounds; ++round) {
            const size_t part = passwordLength + digestLength + extraLength;
            block.resize(part * kRepeats);
            for (size_t r = 0; r < kRepeats; ++r) {
                uint8_t* at = block.data() + r * part;
                if (passwordLength > 0)
                    std::memcpy(at, password, passwordLength);
                std::memcpy(at + passwordLength, digest, digestLength);
                if (extraLength > 0)
                    std::memcpy(at + passwordLength + digestLength, extra, extraLength);
            }
            // Whole blocks always: 64 copies of any length are a multiple of 16 bytes.
            PDAes::EncryptBlocks(digest, 16, digest + 16, block.data(), block.size(), block.data());
            digestLength = NextDigest(block, digest);
            if (round >= kMinRounds && block.back() <= round - 32)
                break;
        }
    }
    std::memcpy(hash, digest, 32);
}
