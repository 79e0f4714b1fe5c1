#include "streams/pdsecurity.h"

#include "pdf/pdstring.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace {

// The first identifier of /ID in every fixture below.
const char* const kId = "00112233445566778899aabbccddeeff";

// The published 32-byte password padding, stated here on its own so the handler's copy is checked.
const char* const kPaddingHex = "28bf4e5e4e758a416400"
                                "4e56fffa01082e2e00b6"
                                "d0683e802f0ca9fe6453697a";

std::vector<uint8_t> FromHex(const std::string& hex) {
    std::vector<uint8_t> out;
    for (size_t i = 0; i + 1 < hex.size(); i += 2) {
        out.push_back(static_cast<uint8_t>(std::stoi(hex.substr(i, 2), nullptr, 16)));
    }
    return out;
}

std::string ToHex(const uint8_t* bytes, size_t length) {
    static const char kDigits[] = "0123456789abcdef";
    std::string out;
    for (size_t i = 0; i < length; ++i) {
        out += kDigits[bytes[i] >> 4];
        out += kDigits[bytes[i] & 15];
    }
    return out;
}

std::unique_ptr<PDValue> HexString(const std::string& hex) {
    auto v = std::make_unique<PDValue>(("<" + hex + ">").c_str());
    v->SetKind(kPDString);
    return v;
}

// Entries of files encrypted by an independent tool (strings of object 2, generation 0, were
// "Hello secret" for /Title and the bytes x \ y ( z ) for /Subject).
struct KnownFile {
    const char* name;
    const char* owner;
    const char* user;
    int32_t permissions;
    int version;
    int revision;
    int keyBits;
    const char* userPassword;
    const char* letters; // permission letters that give the same /P and level; null: none do
    const char* fileKey;
    const char* title;
    const char* subject;
};

const KnownFile kFiles[] = {
    {"40-bit", "94e8094419662a774442fb072e3d9f19e9d130ec09a4d0061e78fe920f7ab62f",
     "8c11ffa10446a358d18378fe67365d9dcbc0e4ca29f540ec6dbd9506bd103ecf", -16, 1, 2, 40, "user",
     "PC", "e760b70620", "0043f794fc30bebc13b96af2", "307ae2d0e939"},
    {"128-bit", "0ba3835f88f90388e74e54584125ce142be0de24c6b0d37746e075b891756671",
     "f3c011cbae1ca51878b1d9cc776bdd780122456a91bae5134273a6db134c87c4", -2312, 2, 3, 128, "user",
     "PIQ", "47c7c097b20e572a808ae3af5d8f72e5", "a8f0cc51e191e4c0890ab17f", "98c9d915f498"},
    {"40-bit, empty user", "c92422687facee686e373f10b5c7d04738053152f7e2ee30e11c69ec442576ab",
     "adb43c8d5c0a904ecd6878928abf0a1ef65fa75e1632b2134005fa3b1d844c68", -4, 1, 2, 40, "", "",
     "2111f192e0", "9403b3b1812f916ccedaf26a", "a43aa6f59426"},
    // Revision 3 with a 40-bit key; the other tool opens it with the user password only, as it
    // iterates the owner digest over the key length rather than over all 16 bytes.
    {"40-bit revision 3", "3c482162008fafcb228b7db3c43a1090bc5b56e9b1556e89fc0656fd291f4908",
     "b53e4c5bce7c8d71cfe7e7e35e8253ee00000000000000000000000000000000", -4, 2, 3, 40, "user",
     nullptr, "0bd2b2ee80", "66dbcf2c23ed8590337f09ed", nullptr},
    {"128-bit, empty user", "566fa873ee33c797cd3b904fdadf814afa34df9a38f6ed41b984e2c6da2aa6f5",
     "60cb14e897d58381f951427876a780410122456a91bae5134273a6db134c87c4", -4, 2, 3, 128, "", "5",
     "8307780609c4a1fb1c5420a245859290", "7b8436716d23942ec70028fc", nullptr},
};

std::unique_ptr<PDValue> EncryptDict(const KnownFile& f) {
    auto dict = PDValue::MakeDictionary();
    dict->Dict()->Set("/Filter", std::make_unique<PDValue>("/Standard"));
    dict->Dict()->Set("/V", PDValue::MakeInteger(f.version));
    dict->Dict()->Set("/R", PDValue::MakeInteger(f.revision));
    dict->Dict()->Set("/Length", PDValue::MakeInteger(f.keyBits));
    dict->Dict()->Set("/O", HexString(f.owner));
    dict->Dict()->Set("/U", HexString(f.user));
    dict->Dict()->Set("/P", PDValue::MakeInteger(f.permissions));
    return dict;
}

void SetId(PDSecurity& security) {
    const std::vector<uint8_t> id = FromHex(kId);
    security.SetDocumentId(id.data(), static_cast<int>(id.size()));
}

// An input handler as the reader sets it up from the file's /Encrypt and /ID.
std::unique_ptr<PDSecurity> Input(const PDValue& encrypt) {
    auto security = std::make_unique<PDSecurity>(PDSecurity::kInput);
    security->ReadEncryptDictionary(encrypt);
    SetId(*security);
    return security;
}

// Decrypts a written string of object 2 and returns its bytes.
std::string DecryptedString(const PDSecurity& security, const char* hex) {
    auto value = HexString(hex);
    security.CryptString(*value, 2, 0);
    EXPECT_EQ(value->Kind(), kPDString);
    EXPECT_EQ(value->Text().At(0), '(');
    PDStr bytes;
    PDDecodeString(value->Text(), bytes);
    return bytes.ToString();
}

// An output handler set up as a run does it; a null password is one not given.
std::unique_ptr<PDSecurity> Output(const char* letters, const char* user, const char* owner) {
    auto security = std::make_unique<PDSecurity>(PDSecurity::kOutput);
    SetId(*security);
    security->SetPermissions(letters);
    if (user != nullptr) {
        EXPECT_TRUE(security->SetUserPassword(user));
    }
    if (owner != nullptr) {
        EXPECT_TRUE(security->SetOwnerPassword(owner));
    }
    return security;
}

std::string OwnerHex(const char* letters, const char* user, const char* owner) {
    return ToHex(Output(letters, user, owner)->ComputedOwner(), 32);
}

void ExpectLevel(const PDSecurity& security, int keyBits) {
    EXPECT_EQ(security.KeyBits(), keyBits);
    EXPECT_EQ(security.Revision(), keyBits == 128 ? 3 : 2);
    EXPECT_EQ(security.Version(), keyBits == 128 ? 2 : 1);
}

TEST(PDSecurityTest, PermissionLettersAndLevel) {
    struct Case {
        const char* letters;
        int32_t permissions;
        int keyBits;
    };
    const Case cases[] = {
        {"", -4, 40},           {"p", -8, 40},
        {"PCSA", -64, 40},      {"pcsa", -64, 40},
        {"xX", -68, 40},        {"I", -260, 128},
        {"E", -516, 128},       {"D", -1028, 128},
        {"q", -2052, 128},      {"5", -4, 128},
        {"H0", 0, 128},         {"H", 0, 128},
        {"HFFFFFFFC", -4, 40},  {"Hfffff0fc", -3844, 128},
        {"HFFFFFFFCp", -4, 40}, {"HFFFFFFFC,p", -8, 40},
        {"H1FFFFFFFC", -4, 40}, {"hP", -8, 40},
        {"zz?!P", -8, 40},      {"PH5", 5, 128},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.letters);
        const auto security = Output(c.letters, "u", nullptr);
        EXPECT_EQ(security->Permissions(), c.permissions);
        ExpectLevel(*security, c.keyBits);
    }
}

TEST(PDSecurityTest, ChooseLevelTable) {
    struct Case {
        int k;
        int keyBits;
    };
    const Case cases[] = {{-1, 40}, {0, 40},  {4, 40},   {5, 128},   {39, 128},
                          {40, 40}, {41, 40}, {127, 40}, {128, 128}, {129, 40}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.k);
        const auto security = Output("", "u", nullptr);
        security->ChooseLevel(c.k);
        ExpectLevel(*security, c.keyBits);
        // A new level invalidates the entries until a password is set again.
        EXPECT_FALSE(security->IsEncrypting());
        EXPECT_TRUE(security->IsNotReady());
    }
}

TEST(PDSecurityTest, OutputReproducesEntriesOfKnownFiles) {
    for (const KnownFile& f : kFiles) {
        if (f.letters == nullptr) {
            continue;
        }
        SCOPED_TRACE(f.name);
        const auto output =
            Output(f.letters, *f.userPassword != '\0' ? f.userPassword : nullptr, "owner");
        const PDSecurity& security = *output;
        EXPECT_TRUE(security.IsEncrypting());
        EXPECT_FALSE(security.IsNotReady());
        EXPECT_EQ(security.Permissions(), f.permissions);
        EXPECT_EQ(security.KeyBits(), f.keyBits);
        EXPECT_EQ(ToHex(security.ComputedOwner(), 32), f.owner);
        // Revision 3 leaves the tail of /U free; the other tool fills it differently.
        const size_t userBytes = f.revision == 3 ? 16 : 32;
        EXPECT_EQ(ToHex(security.ComputedUser(), userBytes), std::string(f.user, 2 * userBytes));
        EXPECT_EQ(ToHex(security.FileKey(), static_cast<size_t>(f.keyBits / 8)), f.fileKey);
    }
}

TEST(PDSecurityTest, KnownFilesOpenWithEitherPasswordOnly) {
    for (const KnownFile& f : kFiles) {
        const bool emptyUser = *f.userPassword == '\0';
        const struct {
            const char* password;
            bool opens;
        } tries[] = {{"user", !emptyUser},
                     {"owner", true},
                     {"", emptyUser},
                     {"wrong", false},
                     {"Owner", false}};
        for (const auto& t : tries) {
            SCOPED_TRACE(std::string(f.name) + " / '" + t.password + "'");
            const auto handler = Input(*EncryptDict(f));
            PDSecurity& security = *handler;
            EXPECT_TRUE(security.IsSupported());
            EXPECT_EQ(security.SetPassword(t.password), t.opens);
            EXPECT_EQ(security.IsEncrypting(), t.opens);
            EXPECT_EQ(security.IsNotReady(), !t.opens);
            if (!t.opens) {
                continue;
            }
            EXPECT_EQ(ToHex(security.FileKey(), static_cast<size_t>(f.keyBits / 8)), f.fileKey);
            EXPECT_EQ(DecryptedString(security, f.title), "Hello secret");
            if (f.subject != nullptr) {
                EXPECT_EQ(DecryptedString(security, f.subject), "x\\y(z)");
            }
        }
    }
}

TEST(PDSecurityTest, ObjectKeyUsesThreeNumberBytesAndTwoGenerationBytes) {
    // Expected values from an independent digest and cipher implementation.
    struct Case {
        int fileIndex;
        int32_t objNum;
        int32_t generation;
        const char* key;
        const char* helloCipher;
    };
    const Case cases[] = {
        {0, 0x123456, 0x0102, "488c20f10074a2079858", "ed553fb104"},
        {1, 7, 0xfffe, "98cfde21941fd6e922144ca39593dc23", "0f85823ea7"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.key);
        const auto handler = Input(*EncryptDict(kFiles[c.fileIndex]));
        PDSecurity& security = *handler;
        ASSERT_TRUE(security.SetPassword("user"));
        uint8_t key[16];
        const int length = security.ObjectKey(c.objNum, c.generation, key);
        EXPECT_EQ(ToHex(key, static_cast<size_t>(length)), c.key);
        uint8_t hello[] = {'H', 'e', 'l', 'l', 'o'};
        security.CryptBytes(hello, 5, c.objNum, c.generation);
        EXPECT_EQ(ToHex(hello, 5), c.helloCipher);
    }
}

TEST(PDSecurityTest, StringOfObjectAboveSixteenBits) {
    // Object 70004 of a 128-bit file made by the other tool held "Far away".
    KnownFile f = kFiles[1];
    f.user = "d798239dd347dc3afe3dd10515bb58430122456a91bae5134273a6db134c87c4";
    f.permissions = -4;
    const auto handler = Input(*EncryptDict(f));
    PDSecurity& security = *handler;
    ASSERT_TRUE(security.SetPassword("owner"));
    auto value = HexString("56bc99b0b241ab4d");
    security.CryptString(*value, 70004, 0);
    EXPECT_EQ(value->Text(), "(Far away)");
}

TEST(PDSecurityTest, EncryptDictionaryVariants) {
    using Edit = std::function<void(PDDict&)>;
    const auto setInt = [](const char* key, int32_t n) {
        return [key, n](PDDict& d) { d.Set(key, PDValue::MakeInteger(n)); };
    };
    const auto setVersionAndLength = [](int version, int bits) {
        return [version, bits](PDDict& d) {
            d.Set("/V", PDValue::MakeInteger(version));
            d.Set("/Length", PDValue::MakeInteger(bits));
        };
    };
    const auto cryptFilter = [](const char* method, int version, int revision) {
        return [method, version, revision](PDDict& d) {
            auto stdcf = PDValue::MakeDictionary();
            stdcf->Dict()->Set("/CFM", std::make_unique<PDValue>(method));
            auto cf = PDValue::MakeDictionary();
            cf->Dict()->Set("/StdCF", std::move(stdcf));
            d.Set("/CF", std::move(cf));
            d.Set("/V", PDValue::MakeInteger(version));
            d.Set("/R", PDValue::MakeInteger(revision));
        };
    };
    struct Case {
        const char* name;
        Edit edit;
        bool supported;
        int keyBits;
        bool opens;
    };
    const Case cases[] = {
        {"as written", [](PDDict&) {}, true, 40, true},
        {"/V 1 ignores /Length 128", setInt("/Length", 128), true, 40, true},
        {"/P written unsigned",
         [](PDDict& d) {
             auto p = std::make_unique<PDValue>();
             p->SetIntegerText("4294967280");
             d.Set("/P", std::move(p));
         },
         true, 40, true},
        {"/P differs", setInt("/P", -8), true, 40, false},
        {"/O short", [](PDDict& d) { d.Set("/O", HexString(std::string(62, '0'))); }, false, 40,
         false},
        {"/U long", [](PDDict& d) { d.Set("/U", HexString(std::string(66, '0'))); }, false, 40,
         false},
        {"/O missing", [](PDDict& d) { d.Remove("/O"); }, false, 40, false},
        {"/U not a string", setInt("/U", 0), false, 40, false},
        {"/V missing", [](PDDict& d) { d.Remove("/V"); }, false, 40, true},
        {"/R 4", setInt("/R", 4), false, 40, false},
        // The key takes keyBits / 8 bytes, so 44 bits still derive the file's 5-byte key.
        {"/V 2 /Length 44", setVersionAndLength(2, 44), false, 44, true},
        {"/V 2 /Length 136", setVersionAndLength(2, 136), false, 136, false},
        {"/V 2 /Length 32", setVersionAndLength(2, 32), false, 32, true},
        // The key still derives from /O and /U; only the filter makes the file unreadable.
        {"RC4 crypt filter, /R 4", cryptFilter("/V2", 4, 4), false, 40, false},
        {"AES crypt filter", cryptFilter("/AESV2", 2, 2), false, 40, true},
        {"AES-256 crypt filter", cryptFilter("/AESV3", 1, 2), false, 40, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        auto dict = EncryptDict(kFiles[0]);
        c.edit(*dict->Dict());
        const auto handler = Input(*dict);
        PDSecurity& security = *handler;
        EXPECT_EQ(security.IsSupported(), c.supported);
        EXPECT_EQ(security.KeyBits(), c.keyBits);
        EXPECT_EQ(security.SetPassword("user"), c.opens);
    }
}

TEST(PDSecurityTest, OutputWithOnlyUserPasswordUsesItAsOwner) {
    for (const char* letters : {"", "5"}) {
        SCOPED_TRACE(letters);
        const std::string userOnly = OwnerHex(letters, "same", nullptr);
        EXPECT_EQ(userOnly, OwnerHex(letters, "same", "same"));
        // An empty owner password given later falls back to the user password as well.
        EXPECT_EQ(userOnly, OwnerHex(letters, "same", ""));
        EXPECT_NE(userOnly, OwnerHex(letters, "same", "different"));
    }
}

TEST(PDSecurityTest, RevisionThreeUserEntryEndsWithPadding) {
    const auto security = Output("I", "abc", nullptr);
    ASSERT_EQ(security->Revision(), 3);
    EXPECT_EQ(ToHex(security->ComputedUser() + 16, 16), std::string(kPaddingHex, 32));
}

// Output entries written under one role must open under the other.
TEST(PDSecurityTest, OutputEntriesOpenAsInput) {
    const std::string longPassword = "0123456789abcdef0123456789ABCDEF-tail";
    struct Case {
        const char* letters;
        std::string user;
        std::string owner;
        std::string attempt;
        bool opens;
    };
    const Case cases[] = {
        {"", "u", "o", "u", true},
        {"", "u", "o", "o", true},
        {"5", "u", "o", "o", true},
        {"5", "u", "o", "x", false},
        // Only the first 32 bytes of a password take part.
        {"", longPassword, "o", longPassword.substr(0, 32), true},
        {"5", longPassword, "o", longPassword.substr(0, 32) + "other", true},
        {"5", longPassword, "o", longPassword.substr(0, 31), false},
        {"5", "\xe4\xf6\xfc", "\xff", "\xff", true},
        {"", "", "o", "", true},
        {"5", "", "o", "o", true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.letters) + " " + c.attempt);
        const auto output = Output(c.letters, c.user.c_str(), c.owner.c_str());
        const PDSecurity& out = *output;

        auto dict = PDValue::MakeDictionary();
        dict->Dict()->Set("/V", PDValue::MakeInteger(out.Version()));
        dict->Dict()->Set("/R", PDValue::MakeInteger(out.Revision()));
        dict->Dict()->Set("/Length", PDValue::MakeInteger(out.KeyBits()));
        dict->Dict()->Set("/O", HexString(ToHex(out.ComputedOwner(), 32)));
        dict->Dict()->Set("/U", HexString(ToHex(out.ComputedUser(), 32)));
        dict->Dict()->Set("/P", PDValue::MakeInteger(out.Permissions()));

        const auto input = Input(*dict);
        PDSecurity& in = *input;
        ASSERT_TRUE(in.IsSupported());
        EXPECT_EQ(in.SetPassword(c.attempt.c_str()), c.opens);
        if (c.opens) {
            EXPECT_EQ(ToHex(in.FileKey(), 16), ToHex(out.FileKey(), 16));
        }
    }
}

TEST(PDSecurityTest, CryptStringRoundTripKeepsStringKind) {
    const auto output = Output("5", "k", nullptr);
    const PDSecurity& security = *output;
    const char* const written[] = {"(plain)", "(a\\\\b\\(c\\))", "<00ff5c28>", "()"};
    for (const char* text : written) {
        SCOPED_TRACE(text);
        PDValue value(text);
        value.SetKind(kPDString);
        PDStr original;
        PDDecodeString(value.Text(), original);

        security.CryptString(value, 12, 3);
        EXPECT_EQ(value.Kind(), kPDString);
        PDStr encrypted;
        PDDecodeString(value.Text(), encrypted);
        EXPECT_EQ(encrypted.Length(), original.Length());
        if (original.Length() > 0) {
            EXPECT_NE(encrypted, original);
        }
        security.CryptString(value, 12, 3);
        PDStr restored;
        PDDecodeString(value.Text(), restored);
        EXPECT_EQ(restored, original);
    }
}

TEST(PDSecurityTest, CryptStringLeavesOtherKindsAlone) {
    const auto security = Output("", "k", nullptr);
    PDValue name("/Name");
    security->CryptString(name, 1, 0);
    EXPECT_EQ(name.Kind(), kPDText);
    EXPECT_EQ(name.Text(), "/Name");
}

} // namespace
