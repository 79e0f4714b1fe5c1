#include "streams/pdsecurity.h"

#include "streams/md5.h"
#include "streams/pdaes.h"
#include "streams/pddiag.h"
#include "streams/pdnumtext.h"
#include "streams/rc4.h"

#include <algorithm>
#include <cstring>

namespace {

// The published 32-byte string that fills short passwords up to 32 bytes.
constexpr uint8_t kPadding[32] = {
    0x28, 0xBF, 0x4E, 0x5E, 0x4E, 0x75, 0x8A, 0x41, 0x64, 0x00, 0x4E, 0x56, 0xFF, 0xFA, 0x01, 0x08,
    0x2E, 0x2E, 0x00, 0xB6, 0xD0, 0x68, 0x3E, 0x80, 0x2F, 0x0C, 0xA9, 0xFE, 0x64, 0x53, 0x69, 0x7A,
};

// Revision 3 iterates its digests and its RC4 passes.
constexpr int kDigestRounds = 50;
constexpr int kExtraPasses = 19;

struct PermissionLetter {
    char letter;
    int32_t bit;
};

constexpr PermissionLetter kLetters[] = {
    {'P', 4},   {'C', 8},   {'S', 16},   {'A', 32},   {'X', 64},
    {'I', 256}, {'E', 512}, {'D', 1024}, {'Q', 2048},
};

// Bits 9 to 12: the rights that only revision 3 honours.
constexpr int32_t kExtendedBits = 256 | 512 | 1024 | 2048;

char UpperAscii(char c) {
    return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c;
}

void PadPassword(const PDStr& password, uint8_t padded[32]) {
    const int take = std::min(password.Length(), 32);
    std::memcpy(padded, password.Bytes(), static_cast<size_t>(take));
    std::memcpy(padded + take, kPadding, static_cast<size_t>(32 - take));
}

// RC4 with key XOR pass for each pass from first to last (either direction), in place.
void XorPasses(const uint8_t* key, int keyLength, int first, int last, uint8_t* data,
               size_t length) {
    const int step = first <= last ? 1 : -1;
    for (int pass = first;; pass += step) {
        uint8_t passKey[16];
        for (int k = 0; k < keyLength; ++k) {
            passKey[k] = static_cast<uint8_t>(key[k] ^ pass);
        }
        PDRc4::Crypt(passKey, static_cast<size_t>(keyLength), data, length);
        if (pass == last) {
            break;
        }
    }
}

} // namespace

PDSecurity::PDSecurity(Role role) : m_role(role) {}

void PDSecurity::ChooseLevel(int k) {
    if ((k >= 5 && k <= 39) || k == 128) {
        m_version = 2;
        m_revision = 3;
        m_keyBits = 128;
    } else {
        m_version = 1;
        m_revision = 2;
        m_keyBits = 40;
    }
    m_levelChosen = true;
    m_encrypting = false;
    m_notReady = true;
}

void PDSecurity::SetPermissions(const char* letters) {
    m_permissions = -4;
    bool sawFive = false;
    for (const char* p = letters; p != nullptr && *p != '\0'; ++p) {
        sawFive = sawFive || *p == '5';
        if (*p == 'H') {
            // Deliberate: the value wraps to 32 bits, and the byte that ends the digits is eaten
            // with them (so "H0P" is just 0), unless it is the end of the text.
            uint32_t value = 0;
            int digit = 0;
            while ((digit = PDHexValue(static_cast<uint8_t>(p[1]))) >= 0) {
                ++p;
                sawFive = sawFive || *p == '5';
                value = (value << 4) | static_cast<uint32_t>(digit);
            }
            m_permissions = static_cast<int32_t>(value);
            if (p[1] == '\0') {
                break;
            }
            ++p;
            sawFive = sawFive || *p == '5';
            continue;
        }
        const char upper = UpperAscii(*p);
        for (const PermissionLetter& entry : kLetters) {
            if (entry.letter == upper) {
                m_permissions &= ~entry.bit;
            }
        }
    }
    if ((m_permissions & kExtendedBits) != kExtendedBits || sawFive) {
        ChooseLevel(5);
    }
}

int PDSecurity::KeyLength() const noexcept {
    // Deliberate: an odd /Length from a file is kept inside 5..16 bytes so no key can overrun.
    return std::clamp(m_keyBits / 8, 5, 16);
}

void PDSecurity::SetDocumentId(const uint8_t* id, int length) {
    m_documentId =
        (id != nullptr && length > 0) ? PDStr(reinterpret_cast<const char*>(id), length) : PDStr();
}

void PDSecurity::ReadEncryptParams(const PDEncryptParams& params) {
    m_entriesRead = params.owner.size() == kEntryLength && params.user.size() == kEntryLength;
    if (m_entriesRead) {
        std::memcpy(m_ownerEntry, params.owner.data(), kEntryLength);
        std::memcpy(m_userEntry, params.user.data(), kEntryLength);
    }
    m_permissions = params.permissions;
    m_version = params.version;
    m_streamMethod = params.streamMethod;
    m_stringMethod = params.stringMethod;
    m_encryptMetadata = params.encryptMetadata;
    m_revision = params.revision;
    m_keyBits = 40;
    m_keyLengthGuessed = false;
    if (m_version >= 2 && params.keyBits >= 0) {
        m_keyBits = params.keyBits;
    } else if (m_version == 4) {
        m_keyBits = 128; // crypt filters of AES-128 always, of RC4 unless /Length says otherwise
    } else if (m_version >= 2 && m_revision == 3) {
        // Without /Length a revision 3 key is most often 128 bits; 40 is tried when that fails.
        m_keyBits = 128;
        m_keyLengthGuessed = true;
    }
    m_aesFilter = params.aesFilter;
    m_namedFilters = params.namedFilters;
    if (m_version == 5)
        ReadStrongEntries(params);
    m_levelChosen = true;
    m_encrypting = false;
    m_notReady = true;
}

bool PDSecurity::IsSupported() const noexcept {
    if (IsStrong())
        return IsStrongSupported();
    if (m_version == 4) {
        // AES-256 filters need the 32-byte key of /V 5.
        auto usable = [](PDCryptMethod m) {
            return m != PDCryptMethod::kUnknown && m != PDCryptMethod::kAes256;
        };
        return m_entriesRead && m_revision == 4 && usable(m_streamMethod) && usable(m_stringMethod);
    }
    return m_entriesRead && !m_aesFilter && (m_version == 1 || m_version == 2) &&
           (m_revision == 2 || m_revision == 3) && m_keyBits >= 40 && m_keyBits <= 128 &&
           m_keyBits % 8 == 0;
}

void PDSecurity::OwnerKey(const PDStr& password, uint8_t key[16]) const {
    uint8_t padded[32];
    PadPassword(password, padded);
    PDMd5::Digest(padded, sizeof padded, key);
    if (m_revision >= 3) {
        // Deliberate: the owner digest is re-hashed whole (16 bytes) even for shorter keys, unlike
        // the document key; this only matters for revision 3 files with keys under 128 bits.
        for (int round = 0; round < kDigestRounds; ++round) {
            PDMd5::Digest(key, 16, key);
        }
    }
}

void PDSecurity::DocumentKey(const uint8_t padded[32], const uint8_t ownerEntry[32],
                             uint8_t key[16]) const {
    const auto p = static_cast<uint32_t>(m_permissions);
    const uint8_t permissionBytes[4] = {static_cast<uint8_t>(p), static_cast<uint8_t>(p >> 8),
                                        static_cast<uint8_t>(p >> 16),
                                        static_cast<uint8_t>(p >> 24)};
    PDMd5 md5;
    md5.Update(padded, 32);
    md5.Update(ownerEntry, 32);
    md5.Update(permissionBytes, 4);
    md5.Update(m_documentId.Bytes(), static_cast<size_t>(m_documentId.Length()));
    if (m_revision >= 4 && !m_encryptMetadata) {
        const uint8_t clearMetadata[4] = {0xFF, 0xFF, 0xFF, 0xFF};
        md5.Update(clearMetadata, 4);
    }
    md5.Final(key);
    if (m_revision >= 3) {
        const auto n = static_cast<size_t>(KeyLength());
        for (int round = 0; round < kDigestRounds; ++round) {
            PDMd5::Digest(key, n, key);
        }
    }
}

void PDSecurity::ComputeOwnerEntry(uint8_t entry[32]) const {
    uint8_t key[16];
    OwnerKey(m_ownerPassword.IsEmpty() ? m_userPassword : m_ownerPassword, key);
    const int n = KeyLength();
    PadPassword(m_userPassword, entry);
    PDRc4::Crypt(key, static_cast<size_t>(n), entry, kEntryLength);
    if (m_revision >= 3) {
        XorPasses(key, n, 1, kExtraPasses, entry, kEntryLength);
    }
}

void PDSecurity::ComputeUserEntry(const uint8_t key[16], uint8_t entry[32]) const {
    const int n = KeyLength();
    if (m_revision < 3) {
        std::memcpy(entry, kPadding, kEntryLength);
        PDRc4::Crypt(key, static_cast<size_t>(n), entry, kEntryLength);
        return;
    }
    PDMd5 md5;
    md5.Update(kPadding, sizeof kPadding);
    md5.Update(m_documentId.Bytes(), static_cast<size_t>(m_documentId.Length()));
    md5.Final(entry);
    XorPasses(key, n, 0, kExtraPasses, entry, 16);
    std::memcpy(entry + 16, kPadding, 16);
}

void PDSecurity::PrepareEntries() {
    if (m_role == kOutput && !m_levelChosen) {
        ChooseLevel(4);
    }
    ComputeOwnerEntry(m_computedOwner);
    uint8_t padded[32];
    PadPassword(m_userPassword, padded);
    uint8_t key[16];
    DocumentKey(padded, m_computedOwner, key);
    ComputeUserEntry(key, m_computedUser);
    if (m_role == kOutput) {
        std::memcpy(m_ownerEntry, m_computedOwner, kEntryLength);
        std::memcpy(m_userEntry, m_computedUser, kEntryLength);
    }
}

bool PDSecurity::Fail() noexcept {
    m_notReady = true;
    m_encrypting = false;
    return false;
}

bool PDSecurity::CheckPaddedUser(const uint8_t padded[32]) {
    if (m_role == kInput && !m_entriesRead) {
        return Fail();
    }
    uint8_t key[16];
    DocumentKey(padded, m_ownerEntry, key);
    if (m_role == kInput) {
        uint8_t entry[32];
        ComputeUserEntry(key, entry);
        const size_t compared = m_revision >= 3 ? 16 : 32;
        if (std::memcmp(entry, m_userEntry, compared) != 0) {
            return Fail();
        }
    }
    std::memset(m_fileKey, 0, sizeof m_fileKey);
    std::memcpy(m_fileKey, key, static_cast<size_t>(KeyLength()));
    m_encrypting = true;
    m_notReady = false;
    return true;
}

bool PDSecurity::AuthenticateUser() {
    uint8_t padded[32];
    PadPassword(m_userPassword, padded);
    return CheckPaddedUser(padded);
}

bool PDSecurity::CheckOwner(const PDStr& password) {
    uint8_t key[16];
    OwnerKey(password, key);
    const int n = KeyLength();
    // The decrypted /O is the padded user password itself (it may hold zero bytes), so it is
    // checked as 32 bytes rather than as a text.
    uint8_t padded[32];
    std::memcpy(padded, m_ownerEntry, kEntryLength);
    if (m_revision >= 3) {
        XorPasses(key, n, kExtraPasses, 0, padded, kEntryLength);
    } else {
        PDRc4::Crypt(key, static_cast<size_t>(n), padded, kEntryLength);
    }
    return CheckPaddedUser(padded);
}

bool PDSecurity::SetUserPassword(const char* password) {
    m_userPassword = password != nullptr ? password : "";
    if (m_ownerPassword.IsEmpty()) {
        m_ownerPassword = m_userPassword;
    }
    if (IsStrong())
        return m_role == kOutput ? PrepareStrongEntries() : CheckStrongUser(m_userPassword);
    PrepareEntries();
    return AuthenticateUser();
}

bool PDSecurity::SetOwnerPassword(const char* password) {
    m_ownerPassword = password != nullptr ? password : "";
    if (IsStrong() && m_role == kOutput)
        return PrepareStrongEntries();
    if (IsStrong())
        return CheckStrongUser(m_userPassword) || CheckStrongOwner(m_ownerPassword);
    PrepareEntries();
    if (AuthenticateUser()) {
        return true;
    }
    return m_role == kInput && CheckOwner(m_ownerPassword);
}

bool PDSecurity::SetPassword(const char* password) {
    if (SetUserPassword(password) || SetOwnerPassword(password))
        return true;
    if (m_role != kInput || !m_keyLengthGuessed || m_keyBits == 40)
        return false;
    m_keyBits = 40;
    if (SetUserPassword(password) || SetOwnerPassword(password))
        return true;
    m_keyBits = 128;
    return false;
}

int PDSecurity::ObjectKey(int32_t objNum, int32_t generation, uint8_t key[16]) const {
    const int n = KeyLength();
    uint8_t input[16 + 5];
    std::memcpy(input, m_fileKey, static_cast<size_t>(n));
    const auto num = static_cast<uint32_t>(objNum);
    const auto gen = static_cast<uint32_t>(generation);
    input[n] = static_cast<uint8_t>(num);
    input[n + 1] = static_cast<uint8_t>(num >> 8);
    input[n + 2] = static_cast<uint8_t>(num >> 16);
    input[n + 3] = static_cast<uint8_t>(gen);
    input[n + 4] = static_cast<uint8_t>(gen >> 8);
    PDMd5::Digest(input, static_cast<size_t>(n + 5), key);
    return std::min(n + 5, 16);
}

void PDSecurity::CryptBytes(uint8_t* data, int64_t length, int32_t objNum,
                            int32_t generation) const {
    if (data == nullptr || length <= 0) {
        return;
    }
    uint8_t key[16];
    const int keyLength = ObjectKey(objNum, generation, key);
    PDRc4::Crypt(key, static_cast<size_t>(keyLength), data, static_cast<size_t>(length));
}

std::vector<uint8_t> PDSecurity::Decrypt(const uint8_t* data, int64_t length, int32_t objNum,
                                         int32_t generation, Part part) const {
    return DecryptWith(part == kString ? m_stringMethod : m_streamMethod, data, length, objNum,
                       generation);
}

std::vector<uint8_t> PDSecurity::DecryptWith(PDCryptMethod method, const uint8_t* data,
                                             int64_t length, int32_t objNum,
                                             int32_t generation) const {
    std::vector<uint8_t> out(data != nullptr && length > 0 ? data : nullptr,
                             data != nullptr && length > 0 ? data + length : nullptr);
    // Before crypt filters (/V 1 and 2) everything is RC4.
    if (m_version != 4 && !IsStrong())
        method = PDCryptMethod::kRc4;
    switch (method) {
    case PDCryptMethod::kNone:
        return out;
    case PDCryptMethod::kRc4:
        if (IsStrong())
            break;
        CryptBytes(out.data(), static_cast<int64_t>(out.size()), objNum, generation);
        return out;
    case PDCryptMethod::kAes128:
        if (IsStrong())
            break;
        return DecryptAes(out, objNum, generation, false);
    case PDCryptMethod::kAes256:
        if (!IsStrong())
            break;
        return DecryptAes(out, objNum, generation, true);
    case PDCryptMethod::kUnknown:
        break;
    }
    PDReport("PDSecurity: the crypt filter of object %ld does not fit the document's key\n",
             static_cast<long>(objNum));
    return {};
}

PDCryptMethod PDSecurity::MethodNamed(const std::string& name) const {
    if (name == "/Identity")
        return PDCryptMethod::kNone;
    for (const auto& [filterName, method] : m_namedFilters) {
        if (filterName == name)
            return method;
    }
    return PDCryptMethod::kUnknown;
}

// AES in CBC mode: the first 16 bytes are the initialisation vector, the last block is padded
// with its own length. AES-128 keys each object with the RC4 key material and "sAlT" added to
// what is hashed; AES-256 uses the document key itself.
std::vector<uint8_t> PDSecurity::DecryptAes(const std::vector<uint8_t>& data, int32_t objNum,
                                            int32_t generation, bool large) const {
    if (data.size() < 2 * PDAes::kBlock || data.size() % PDAes::kBlock != 0) {
        // An empty string or stream may be written without any block.
        if (!data.empty())
            PDReport("PDSecurity: AES data of object %ld are not whole blocks\n",
                     static_cast<long>(objNum));
        return {};
    }
    uint8_t key[16];
    if (!large) {
        const int n = KeyLength();
        uint8_t input[16 + 9];
        std::memcpy(input, m_fileKey, static_cast<size_t>(n));
        const auto num = static_cast<uint32_t>(objNum);
        const auto gen = static_cast<uint32_t>(generation);
        const uint8_t tail[9] = {static_cast<uint8_t>(num),
                                 static_cast<uint8_t>(num >> 8),
                                 static_cast<uint8_t>(num >> 16),
                                 static_cast<uint8_t>(gen),
                                 static_cast<uint8_t>(gen >> 8),
                                 's',
                                 'A',
                                 'l',
                                 'T'};
        std::memcpy(input + n, tail, sizeof tail);
        PDMd5::Digest(input, static_cast<size_t>(n) + sizeof tail, key);
    }
    std::vector<uint8_t> plain;
    if (!PDAes::DecryptPadded(large ? m_fileKey : key, large ? 32 : 16, data.data(), data.size(),
                              plain)) {
        PDReport("PDSecurity: AES padding of object %ld is damaged\n", static_cast<long>(objNum));
        return {};
    }
    return plain;
}

std::vector<uint8_t> PDSecurity::Encrypt(const uint8_t* data, int64_t length, int32_t objNum,
                                         int32_t generation) const {
    if (IsStrong()) {
        uint8_t iv[PDAes::kBlock];
        if (!PDRandomBytes(iv, sizeof iv))
            m_randomFailed = true;
        return PDAes::EncryptPadded(m_fileKey, 32, iv, data,
                                    data != nullptr && length > 0 ? static_cast<size_t>(length)
                                                                  : 0);
    }
    // RC4 is its own inverse.
    return Decrypt(data, length, objNum, generation);
}

int64_t PDSecurity::EncryptedLength(int64_t plain) const noexcept {
    if (!IsStrong())
        return plain;
    const int64_t blocks = std::max<int64_t>(plain, 0) / PDAes::kBlock + 1;
    return PDAes::kBlock * (blocks + 1);
}
