// The password hash of the AES-256 standard security handler: one SHA-256 for revision 5, the
// iterated mix of AES-128 and SHA-2 digests for revision 6.
#pragma once

#include <cstddef>
#include <cstdint>

// Passwords are cut to this many bytes before hashing.
inline constexpr size_t kPDPasswordLimit = 127;

// The 32-byte hash of password, an 8-byte salt and extra (the 48 bytes of /U when an owner entry
// is made or checked; null with extraLength 0 otherwise).
void PDPasswordHash(int revision, const uint8_t* password, size_t passwordLength,
                    const uint8_t salt[8], const uint8_t* extra, size_t extraLength,
                    uint8_t hash[32]);
