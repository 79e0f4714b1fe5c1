// PDSecurity: the standard security handler (RC4 and AES, revisions 2 to 6), for input and output
// files.
#pragma once

#include "streams/pdstr.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

// How a crypt filter treats strings or streams.
enum class PDCryptMethod { kNone, kRc4, kAes128, kAes256, kUnknown };

// What an /Encrypt dictionary says, as bytes and numbers: /O and /U (32 bytes each when usable,
// 48 for AES-256), /P, /V, /R, /Length (-1 when absent) and whether a crypt filter names AES; for
// crypt filters (/V 4 and 5), the methods of /StmF and /StrF and /EncryptMetadata; for AES-256,
// /OE, /UE and /Perms.
struct PDEncryptParams {
    std::string owner;
    std::string user;
    std::string ownerKey;
    std::string userKey;
    std::string perms;
    int32_t permissions = 0;
    int version = 0;
    int revision = 2;
    int keyBits = -1;
    bool aesFilter = false;
    PDCryptMethod streamMethod = PDCryptMethod::kRc4;
    PDCryptMethod stringMethod = PDCryptMethod::kRc4;
    bool encryptMetadata = true;
    std::vector<std::pair<std::string, PDCryptMethod>> namedFilters; // every entry of /CF
    bool standardHandler = true; // /Filter is absent or /Standard
};

// The entries of an AES-256 (revision 5 and 6) /Encrypt dictionary, as bytes.
struct PDStrongEntries {
    uint8_t owner[48] = {};
    uint8_t user[48] = {};
    uint8_t ownerKey[32] = {};
    uint8_t userKey[32] = {};
    uint8_t perms[16] = {};
};

class PDSecurity {
public:
    enum Role { kInput, kOutput };
    explicit PDSecurity(Role role);

    // Input: takes /O, /U, /P, /V, /R and /Length (only when /V >= 2; without it 40 bits, or for
    // revision 3 first 128 and then 40) of the /Encrypt dictionary. /Filter is not checked.
    void ReadEncryptParams(const PDEncryptParams& params);
    // The first element of /ID, as bytes.
    void SetDocumentId(const uint8_t* id, int length);

    // True when this handler can decrypt the dictionary it read: /O and /U of 32 bytes, and either
    // /V 1 or 2, /R 2 or 3, a key of 40 to 128 bits in whole bytes and no AES crypt filter, or
    // /V 4, /R 4 with crypt filters of RC4, AES-128 or none, or /V 5, /R 5 or 6 with crypt filters
    // of AES-256 or none and /OE and /UE of 32 bytes.
    bool IsSupported() const noexcept;
    // False when a /V 4 file leaves its metadata streams in the clear.
    bool EncryptsMetadata() const noexcept { return m_encryptMetadata; }

    // Letters P C S A X I E D Q take rights away; H<hex> sets /P outright. I, E, D, Q, a cleared
    // bit 9..12 or a digit 5 anywhere choose 128-bit revision 3.
    void SetPermissions(const char* letters);
    // Both return whether the password opened the file (always true on output). The owner
    // password defaults to the user password until one is given.
    bool SetUserPassword(const char* password);
    bool SetOwnerPassword(const char* password);
    // Input -pw: user password first, then owner. True when the file opened.
    bool SetPassword(const char* password);

    bool IsEncrypting() const noexcept { return m_encrypting; }
    bool IsNotReady() const noexcept { return m_notReady; }

    // Key for one object: first n + 5 bytes (at most 16) of the digest. Returns its length.
    int ObjectKey(int32_t objNum, int32_t generation, uint8_t key[16]) const;
    // RC4 in place with the object's key (its own inverse, so it also decrypts). The caller checks
    // IsEncrypting(); without a valid key the bytes come out scrambled.
    void CryptBytes(uint8_t* data, int64_t length, int32_t objNum, int32_t generation) const;
    // The bytes of one object's string or stream, decrypted or encrypted with its key. The result
    // may differ in length from the input (ciphers with an initialisation vector and padding);
    // without a valid key the bytes come out scrambled.
    // Strings and streams may use different crypt filters. AES data whose length or padding is
    // wrong are damaged: they come out empty, with a report.
    enum Part { kStream, kString };
    std::vector<uint8_t> Decrypt(const uint8_t* data, int64_t length, int32_t objNum,
                                 int32_t generation, Part part = kStream) const;
    std::vector<uint8_t> Encrypt(const uint8_t* data, int64_t length, int32_t objNum,
                                 int32_t generation) const;

    int32_t Permissions() const noexcept { return m_permissions; }
    int Version() const noexcept { return m_version; }
    int Revision() const noexcept { return m_revision; }
    int KeyBits() const noexcept { return m_keyBits; }
    const uint8_t* ComputedOwner() const noexcept { return m_computedOwner; }
    const uint8_t* ComputedUser() const noexcept { return m_computedUser; }
    const uint8_t* FileKey() const noexcept { return m_fileKey; }

    // Below 5, 40 and other values: 40-bit revision 2; 5 to 39 and 128: 128-bit revision 3.
    // Drops the key until a password is set again.
    void ChooseLevel(int k);
    // Output: AES-256 revision 6 from now on, whatever level the permission letters choose. The
    // key and the salts come from the system's random source.
    void ChooseAes256();
    // Output: true when the random source failed, so the file must not be written.
    bool RandomFailed() const noexcept { return m_randomFailed; }
    const PDStrongEntries& StrongEntries() const noexcept { return m_strong; }
    // The bytes a string or stream of plain bytes takes once encrypted.
    int64_t EncryptedLength(int64_t plain) const noexcept;
    // The method named by a stream's own crypt filter replaces the default one for that stream.
    std::vector<uint8_t> DecryptWith(PDCryptMethod method, const uint8_t* data, int64_t length,
                                     int32_t objNum, int32_t generation) const;
    PDCryptMethod StreamMethod() const noexcept { return m_streamMethod; }
    // Input: the method of a crypt filter named in a stream's /DecodeParms.
    PDCryptMethod MethodNamed(const std::string& name) const;

private:
    static constexpr int kEntryLength = 32;

    int KeyLength() const noexcept;
    void OwnerKey(const PDStr& password, uint8_t key[16]) const;
    void DocumentKey(const uint8_t padded[32], const uint8_t ownerEntry[32], uint8_t key[16]) const;
    void ComputeOwnerEntry(uint8_t entry[32]) const;
    void ComputeUserEntry(const uint8_t key[16], uint8_t entry[32]) const;
    void PrepareEntries();
    bool CheckPaddedUser(const uint8_t padded[32]);
    bool CheckOwner(const PDStr& password);
    bool AuthenticateUser();
    bool Fail() noexcept;
    std::vector<uint8_t> DecryptAes(const std::vector<uint8_t>& data, int32_t objNum,
                                    int32_t generation, bool large) const;
    // Revisions 5 and 6 (pdsecurity_aes256.cpp).
    bool IsStrong() const noexcept { return m_version == 5; }
    void ReadStrongEntries(const PDEncryptParams& params);
    bool IsStrongSupported() const noexcept;
    bool PrepareStrongEntries();
    bool CheckStrongUser(const PDStr& password);
    bool CheckStrongOwner(const PDStr& password);
    bool AcceptStrongKey(const uint8_t key[32]);
    void CheckStrongPerms() const;

    Role m_role;
    uint8_t m_fileKey[32] = {};
    int32_t m_permissions = -4;
    uint8_t m_ownerEntry[32] = {};
    uint8_t m_userEntry[32] = {};
    uint8_t m_computedOwner[32] = {};
    uint8_t m_computedUser[32] = {};
    PDStr m_userPassword;
    PDStr m_ownerPassword;
    PDStr m_documentId;
    int m_version = 0;
    int m_keyBits = 40;
    int m_revision = 2;
    bool m_levelChosen = false;
    bool m_encrypting = false;
    bool m_notReady = true;
    bool m_entriesRead = false;      // input: /O and /U were present and 32 bytes long
    bool m_aesFilter = false;        // input: a crypt filter names an AES method
    bool m_keyLengthGuessed = false; // input: revision 3 without /Length
    PDCryptMethod m_streamMethod = PDCryptMethod::kRc4;
    PDCryptMethod m_stringMethod = PDCryptMethod::kRc4;
    bool m_encryptMetadata = true;
    PDStrongEntries m_strong;
    bool m_strongEntriesRead = false; // input: /O, /U of 48 bytes, /OE, /UE of 32 were present
    bool m_permsRead = false;
    bool m_standardHandler = true;
    mutable bool m_randomFailed = false;
    std::vector<std::pair<std::string, PDCryptMethod>> m_namedFilters; // input: /CF by name
};
