// Revisions 5 and 6 of the standard security handler: AES-256 with a random document key that
// /UE and /OE wrap under password hashes, and /Perms that repeats /P under the key.
#include "streams/pdsecurity.h"

#include "streams/pdaes.h"
#include "streams/pddiag.h"
#include "streams/pdpasswordhash.h"

#include <cstring>

namespace {

constexpr size_t kHashLength = 32;
constexpr size_t kSaltLength = 8;
constexpr size_t kStrongEntryLength = kHashLength + 2 * kSaltLength; // /O and /U
constexpr size_t kKeyLength = 32;
constexpr size_t kPermsLength = 16;

// Copies the leading bytes of text into bytes; false when text is shorter. Some writers pad /O
// and /U beyond 48 bytes, so longer entries are taken.
bool TakeBytes(const std::string& text, uint8_t* bytes, size_t length) {
    if (text.size() < length)
        return false;
    std::memcpy(bytes, text.data(), length);
    return true;
}

void Hash(int revision, const PDStr& password, const uint8_t* salt, const uint8_t* extra,
          uint8_t hash[32]) {
    PDPasswordHash(revision, password.Bytes(), static_cast<size_t>(password.Length()), salt, extra,
                   extra != nullptr ? kStrongEntryLength : 0, hash);
}

// A hash followed by the validation salt and the key salt, as /U and /O hold them.
void MakeEntry(int revision, const PDStr& password, const uint8_t salts[16], const uint8_t* extra,
               uint8_t entry[48]) {
    Hash(revision, password, salts, extra, entry);
    std::memcpy(entry + kHashLength, salts, 2 * kSaltLength);
}

// The document key wrapped (or unwrapped) under the hash of the password and the entry's key
// salt.
void WrapKey(int revision, const PDStr& password, const uint8_t entry[48], const uint8_t* extra,
             const uint8_t* in, uint8_t* out, bool wrap) {
    uint8_t key[kHashLength];
    Hash(revision, password, entry + kHashLength + kSaltLength, extra, key);
    if (wrap)
        PDAes::EncryptBlocks(key, 32, nullptr, in, kKeyLength, out);
    else
        PDAes::DecryptBlocks(key, 32, nullptr, in, kKeyLength, out);
}

} // namespace

void PDSecurity::ReadStrongEntries(const PDEncryptParams& params) {
    m_strong = PDStrongEntries();
    m_strongEntriesRead = TakeBytes(params.owner, m_strong.owner, kStrongEntryLength) &&
                          TakeBytes(params.user, m_strong.user, kStrongEntryLength) &&
                          TakeBytes(params.ownerKey, m_strong.ownerKey, kKeyLength) &&
                          TakeBytes(params.userKey, m_strong.userKey, kKeyLength);
    m_permsRead = TakeBytes(params.perms, m_strong.perms, kPermsLength);
    m_standardHandler = params.standardHandler;
    m_keyBits = 256;
}

bool PDSecurity::IsStrongSupported() const noexcept {
    auto usable = [](PDCryptMethod m) {
        return m == PDCryptMethod::kNone || m == PDCryptMethod::kAes256;
    };
    // Deliberate: unlike the RC4 revisions, another security handler's /V 5 dictionary is
    // refused by its /Filter rather than by a failing password.
    return m_strongEntriesRead && m_standardHandler && (m_revision == 5 || m_revision == 6) &&
           usable(m_streamMethod) && usable(m_stringMethod);
}

void PDSecurity::ChooseAes256() {
    m_version = 5;
    m_revision = 6;
    m_keyBits = 256;
    m_streamMethod = PDCryptMethod::kAes256;
    m_stringMethod = PDCryptMethod::kAes256;
    m_levelChosen = true;
    m_encrypting = false;
    m_notReady = true;
    if (!PDRandomBytes(m_fileKey, kKeyLength))
        m_randomFailed = true;
}

bool PDSecurity::PrepareStrongEntries() {
    uint8_t salts[4 * kSaltLength];
    if (m_randomFailed || !PDRandomBytes(salts, sizeof salts)) {
        m_randomFailed = true;
        PDReport("PDSecurity: no random bytes for the AES-256 key\n");
        return Fail();
    }
    MakeEntry(m_revision, m_userPassword, salts, nullptr, m_strong.user);
    WrapKey(m_revision, m_userPassword, m_strong.user, nullptr, m_fileKey, m_strong.userKey, true);
    MakeEntry(m_revision, m_ownerPassword, salts + 2 * kSaltLength, m_strong.user, m_strong.owner);
    WrapKey(m_revision, m_ownerPassword, m_strong.owner, m_strong.user, m_fileKey,
            m_strong.ownerKey, true);
    // /P least significant byte first, four bytes of ones, whether metadata are encrypted, "adb",
    // then four bytes of no meaning.
    const auto p = static_cast<uint32_t>(m_permissions);
    uint8_t perms[kPermsLength] = {static_cast<uint8_t>(p),
                                   static_cast<uint8_t>(p >> 8),
                                   static_cast<uint8_t>(p >> 16),
                                   static_cast<uint8_t>(p >> 24),
                                   0xFF,
                                   0xFF,
                                   0xFF,
                                   0xFF,
                                   'T',
                                   'a',
                                   'd',
                                   'b'};
    std::memcpy(perms + 12, salts + 4 * kSaltLength - 4, 4);
    PDAes::EncryptBlocks(m_fileKey, 32, nullptr, perms, kPermsLength, m_strong.perms);
    m_encrypting = true;
    m_notReady = false;
    return true;
}

bool PDSecurity::CheckStrongUser(const PDStr& password) {
    if (!m_strongEntriesRead)
        return Fail();
    uint8_t hash[kHashLength];
    Hash(m_revision, password, m_strong.user + kHashLength, nullptr, hash);
    if (std::memcmp(hash, m_strong.user, kHashLength) != 0)
        return Fail();
    uint8_t key[kKeyLength];
    WrapKey(m_revision, password, m_strong.user, nullptr, m_strong.userKey, key, false);
    return AcceptStrongKey(key);
}

bool PDSecurity::CheckStrongOwner(const PDStr& password) {
    if (!m_strongEntriesRead)
        return Fail();
    uint8_t hash[kHashLength];
    Hash(m_revision, password, m_strong.owner + kHashLength, m_strong.user, hash);
    if (std::memcmp(hash, m_strong.owner, kHashLength) != 0)
        return Fail();
    uint8_t key[kKeyLength];
    WrapKey(m_revision, password, m_strong.owner, m_strong.user, m_strong.ownerKey, key, false);
    return AcceptStrongKey(key);
}

bool PDSecurity::AcceptStrongKey(const uint8_t key[32]) {
    std::memcpy(m_fileKey, key, kKeyLength);
    CheckStrongPerms();
    m_encrypting = true;
    m_notReady = false;
    return true;
}

// Deliberate: a /Perms that does not repeat /P is reported, not refused. Permissions are not
// enforced here, and readers commonly open such files.
void PDSecurity::CheckStrongPerms() const {
    if (!m_permsRead)
        return;
    uint8_t plain[kPermsLength];
    PDAes::DecryptBlocks(m_fileKey, 32, nullptr, m_strong.perms, kPermsLength, plain);
    const auto p = static_cast<uint32_t>(m_permissions);
    const bool same =
        plain[0] == static_cast<uint8_t>(p) && plain[1] == static_cast<uint8_t>(p >> 8) &&
        plain[2] == static_cast<uint8_t>(p >> 16) && plain[3] == static_cast<uint8_t>(p >> 24) &&
        std::memcmp(plain + 9, "adb", 3) == 0 && plain[8] == (m_encryptMetadata ? 'T' : 'F');
    if (!same)
        PDReport("PDSecurity: /Perms does not match /P\n");
}
