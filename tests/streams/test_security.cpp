#include "pdf/pdencrypt.h"
#include "streams/md5.h"
#include "streams/pdaes.h"
#include "streams/pdpasswordhash.h"
#include "streams/pdsecurity.h"
#include "streams/rc4.h"

#include "pdf/pddecode.h"
#include "pdf/pdfile.h"
#include "pdf/pdparse.h"
#include "pdf/pdstring.h"
#include "tests/support/diag_capture.h"
#include "tests/support/memory_input.h"
#include "tests/support/pdf_builder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace std::string_literals;

// The first identifier of /ID in every fixture below.
const std::string kId("\x00\x11\x22\x33\x44\x55\x66\x77\x88\x99\xaa\xbb\xcc\xdd\xee\xff", 16);

std::string ToHex(const uint8_t* bytes, int length) {
    std::string out;
    for (int i = 0; i < length; ++i)
        out += {"0123456789abcdef"[bytes[i] >> 4], "0123456789abcdef"[bytes[i] & 15]};
    return out;
}

using testpdf::ParseText;

std::string EncryptText(const std::string& ownerHex, const std::string& userHex, int32_t p,
                        int revision, int keyBits) {
    return "<< /Filter /Standard /V " + std::to_string(revision - 1) + " /Length " +
           std::to_string(keyBits) + " /R " + std::to_string(revision) + " /O <" + ownerHex +
           "> /U <" + userHex + "> /P " + std::to_string(p) + " >>";
}

// Entries of files encrypted by an independent tool (strings of object 2, generation 0, were
// "Hello secret" for /Title and the bytes x \ y ( z ) for /Subject).
const struct KnownFile {
    const char *name, *owner, *user;
    int32_t permissions;
    int revision, keyBits;
    const char* userPassword;
    const char* letters; // permission letters that give the same /P and level; null: none do
    const char *fileKey, *title, *subject;

    std::string Text() const { return EncryptText(owner, user, permissions, revision, keyBits); }
} kFiles[] = {
    {"40-bit", "94e8094419662a774442fb072e3d9f19e9d130ec09a4d0061e78fe920f7ab62f",
     "8c11ffa10446a358d18378fe67365d9dcbc0e4ca29f540ec6dbd9506bd103ecf", -16, 2, 40, "user", "PC",
     "e760b70620", "0043f794fc30bebc13b96af2", "307ae2d0e939"},
    {"128-bit", "0ba3835f88f90388e74e54584125ce142be0de24c6b0d37746e075b891756671",
     "f3c011cbae1ca51878b1d9cc776bdd780122456a91bae5134273a6db134c87c4", -2312, 3, 128, "user",
     "PIQ", "47c7c097b20e572a808ae3af5d8f72e5", "a8f0cc51e191e4c0890ab17f", "98c9d915f498"},
    // Revision 3 with a 40-bit key; the other tool opens it with the user password only, as it
    // iterates the owner digest over the key length rather than over all 16 bytes.
    {"40-bit revision 3", "3c482162008fafcb228b7db3c43a1090bc5b56e9b1556e89fc0656fd291f4908",
     "b53e4c5bce7c8d71cfe7e7e35e8253ee00000000000000000000000000000000", -4, 3, 40, "user", nullptr,
     "0bd2b2ee80", "66dbcf2c23ed8590337f09ed", nullptr},
    {"128-bit, empty user", "566fa873ee33c797cd3b904fdadf814afa34df9a38f6ed41b984e2c6da2aa6f5",
     "60cb14e897d58381f951427876a780410122456a91bae5134273a6db134c87c4", -4, 3, 128, "", "5",
     "8307780609c4a1fb1c5420a245859290", "7b8436716d23942ec70028fc", nullptr},
};

// An input handler as the reader sets it up from the file's /Encrypt and /ID.
std::unique_ptr<PDSecurity> Input(const std::string& encrypt) {
    auto security = std::make_unique<PDSecurity>(PDSecurity::kInput);
    security->ReadEncryptParams(PDReadEncryptDictionary(*ParseText(encrypt)));
    security->SetDocumentId(reinterpret_cast<const uint8_t*>(kId.data()), 16);
    return security;
}

// An output handler set up as a run does it; a null password is one not given.
std::unique_ptr<PDSecurity> Output(const char* letters, const char* user, const char* owner) {
    auto security = std::make_unique<PDSecurity>(PDSecurity::kOutput);
    security->SetDocumentId(reinterpret_cast<const uint8_t*>(kId.data()), 16);
    security->SetPermissions(letters);
    EXPECT_TRUE(user == nullptr || security->SetUserPassword(user));
    EXPECT_TRUE(owner == nullptr || security->SetOwnerPassword(owner));
    return security;
}

// A crypted string is always written back in literal form.
std::string Decrypted(const PDSecurity& security, const std::string& hex, int32_t objNum = 2) {
    auto value = ParseText("<" + hex + ">");
    PDDecryptString(security, *value, objNum, 0);
    EXPECT_EQ(value->Text().At(0), '(');
    PDStr bytes;
    PDDecodeString(value->Text(), bytes);
    return bytes.ToString();
}

TEST(PDSecurityTest, KnownFilesAreReproducedAndOpenWithEitherPasswordOnly) {
    for (const KnownFile& f : kFiles) {
        SCOPED_TRACE(f.name);
        const bool emptyUser = *f.userPassword == '\0';
        if (f.letters != nullptr) {
            const auto out = Output(f.letters, emptyUser ? nullptr : f.userPassword, "owner");
            EXPECT_EQ(out->Permissions(), f.permissions);
            EXPECT_EQ(out->KeyBits(), f.keyBits);
            EXPECT_EQ(ToHex(out->ComputedOwner(), 32), f.owner);
            // Revision 3 leaves the tail of /U free; the other tool fills it differently.
            const int userBytes = f.revision == 3 ? 16 : 32;
            EXPECT_EQ(ToHex(out->ComputedUser(), userBytes),
                      std::string(f.user, static_cast<size_t>(2 * userBytes)));
            EXPECT_EQ(ToHex(out->FileKey(), f.keyBits / 8), f.fileKey);
        }
        for (const char* password : {"user", "owner", "", "wrong", "Owner"}) {
            SCOPED_TRACE(password);
            const bool opens = password == "owner"s || password == std::string(f.userPassword);
            const auto in = Input(f.Text());
            EXPECT_TRUE(in->IsSupported());
            EXPECT_EQ(in->SetPassword(password), opens);
            EXPECT_EQ(in->IsEncrypting(), opens);
            EXPECT_EQ(in->IsNotReady(), !opens);
            if (!opens)
                continue;
            EXPECT_EQ(ToHex(in->FileKey(), f.keyBits / 8), f.fileKey);
            EXPECT_EQ(Decrypted(*in, f.title), "Hello secret");
            if (f.subject != nullptr) {
                EXPECT_EQ(Decrypted(*in, f.subject), "x\\y(z)");
            }
        }
    }
}

TEST(PDSecurityTest, ObjectKeyUsesThreeNumberBytesAndTwoGenerationBytes) {
    // Expected values from an independent digest and cipher implementation.
    const struct {
        int file;
        int32_t objNum, generation;
        const char *key, *helloCipher;
    } cases[] = {
        {0, 0x123456, 0x0102, "488c20f10074a2079858", "ed553fb104"},
        {1, 7, 0xfffe, "98cfde21941fd6e922144ca39593dc23", "0f85823ea7"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.key);
        const auto security = Input(kFiles[c.file].Text());
        ASSERT_TRUE(security->SetPassword("user"));
        uint8_t key[16];
        EXPECT_EQ(ToHex(key, security->ObjectKey(c.objNum, c.generation, key)), c.key);
        uint8_t hello[] = {'H', 'e', 'l', 'l', 'o'};
        security->CryptBytes(hello, 5, c.objNum, c.generation);
        EXPECT_EQ(ToHex(hello, 5), c.helloCipher);
    }
    // Object 70004 of a 128-bit file made by the other tool held "Far away".
    const auto security = Input(EncryptText(
        kFiles[1].owner, "d798239dd347dc3afe3dd10515bb58430122456a91bae5134273a6db134c87c4", -4, 3,
        128));
    ASSERT_TRUE(security->SetPassword("owner"));
    EXPECT_EQ(Decrypted(*security, "56bc99b0b241ab4d", 70004), "Far away");
}

TEST(PDSecurityTest, EncryptDictionaryVariants) {
    // Each case replaces one piece of the first known file's dictionary text.
    const struct {
        const char *from, *to;
        bool supported;
        int keyBits;
        bool opens;
    } cases[] = {
        // clang-format off
        {"", "", true, 40, true},                        {"/P -16", "/P -8", true, 40, false},
        {"/Length 40", "/Length 128", true, 40, true},   // /V 1 ignores /Length
        {"/P -16", "/P 4294967280", true, 40, true},     // /P written unsigned
        {"/O <94", "/O <", false, 40, false},            {"/U <", "/U <00", false, 40, false},
        {"/O <", "/X <", false, 40, false},              {"/U <", "/U 0 /X <", false, 40, false},
        {"/V 1", "", false, 40, true},                   {"/R 2", "/R 4", false, 40, false},
        // The key takes keyBits / 8 bytes, so 44 bits still derive the file's 5-byte key.
        {"/V 1 /Length 40", "/V 2 /Length 44", false, 44, true},
        {"/V 1 /Length 40", "/V 2 /Length 136", false, 136, false},
        {"/V 1 /Length 40", "/V 2 /Length 32", false, 32, true},
        // Crypt filters: RC4 and AES-128 are read; the revision 4 key differs from this file's.
        {"/V 1 /Length 40 /R 2", "/V 4 /Length 40 /R 4 /CF << /StdCF << /CFM /V2 >> >>",
         true, 40, false},
        {"/V 1 /Length 40 /R 2",
         "/V 4 /R 4 /CF << /StdCF << /CFM /AESV3 >> >> /StmF /StdCF /StrF /StdCF", false, 128,
         false},
        {"/V 1", "/V 2 /CF << /StdCF << /CFM /AESV2 >> >>", false, 40, true},
        // clang-format on
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.to);
        std::string text = kFiles[0].Text();
        text.replace(text.find(c.from), std::string(c.from).size(), c.to);
        const auto security = Input(text);
        EXPECT_EQ(security->IsSupported(), c.supported);
        EXPECT_EQ(security->KeyBits(), c.keyBits);
        EXPECT_EQ(security->SetPassword("user"), c.opens);
    }
}

// Output entries written under one role must open under the other (files with both passwords
// are opened by qpdf in the end-to-end tests).
TEST(PDSecurityTest, OutputEntriesOpenAsInput) {
    const std::string longPassword = "0123456789abcdef0123456789ABCDEF-tail";
    const struct {
        const char* letters;
        std::string user, owner, attempt;
        bool opens;
    } cases[] = {
        // clang-format off
        {"", "u", "o", "u", true},     {"5", "u", "o", "x", false},
        {"5", "\xe4\xf6\xfc", "\xff", "\xff", true},
        // Only the first 32 bytes of a password take part.
        {"5", longPassword, "o", longPassword.substr(0, 32) + "other", true},
        {"", longPassword, "o", longPassword.substr(0, 31), false},
        // clang-format on
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.letters) + " " + c.attempt);
        const auto out = Output(c.letters, c.user.c_str(), c.owner.c_str());
        const auto in =
            Input(EncryptText(ToHex(out->ComputedOwner(), 32), ToHex(out->ComputedUser(), 32),
                              out->Permissions(), out->Revision(), out->KeyBits()));
        ASSERT_TRUE(in->IsSupported());
        EXPECT_EQ(in->SetPassword(c.attempt.c_str()), c.opens);
        if (c.opens) {
            EXPECT_EQ(ToHex(in->FileKey(), 16), ToHex(out->FileKey(), 16));
        }
    }
}

const uint8_t* U8(const std::string& s) {
    return reinterpret_cast<const uint8_t*>(s.data());
}

std::string Pattern(size_t length) {
    std::string out(length, '\0');
    for (size_t i = 0; i < length; ++i)
        out[i] = static_cast<char>((i * 7 + 3) % 256);
    return out;
}

TEST(PDMd5Test, KnownDigestsOneShotAndInPieces) {
    const std::pair<std::string, const char*> cases[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         "57edf4a22be3c955ac49da2e2107b67a"},
        // 55 and 56 bytes fit or spill the length field; 64 is a whole block.
        {Pattern(55), "52c0e574e1198de5fe3f8f11440dcb1b"},
        {Pattern(56), "46c9907fc908ee68b1e7b8e71286a518"},
        {Pattern(64), "7160b8fb5e9e4023d549c3971fbaeead"},
        {Pattern(65), "70bd662e7aefbda85a0f7244167b7897"},
        {std::string(1000000, 'a'), "7707d6ae4e027c70eea2a935c2296f21"},
    };
    PDMd5 md5; // one object for every digest: Final must leave it ready for the next
    uint8_t digest[16];
    for (const auto& [input, expected] : cases) {
        SCOPED_TRACE("length " + std::to_string(input.size()));
        PDMd5::Digest(U8(input), input.size(), digest);
        EXPECT_EQ(ToHex(digest, 16), expected);
        for (size_t piece : {1U, 3U, 63U, 64U, 65U}) {
            SCOPED_TRACE("piece " + std::to_string(piece));
            for (size_t at = 0; at < input.size(); at += piece)
                md5.Update(U8(input) + at, std::min(piece, input.size() - at));
            md5.Final(digest);
            EXPECT_EQ(ToHex(digest, 16), expected);
        }
    }
}

TEST(PDRc4Test, PublishedVectorsOneShotAndInPieces) {
    const std::string key5("\x01\x02\x03\x04\x05", 5);
    const struct {
        std::string key;
        std::string data; // keystream vectors encrypt zeros and compare from offset skip
        size_t skip;
        const char* hex;
    } cases[] = {
        {key5, std::string(16, '\0'), 0, "b2396305f03dc027ccc3524a0a1118a8"},
        {key5, std::string(272, '\0'), 256, "1cfcf62b03eddb641d77dfcf7f8d8c93"},
        {"\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0a\x0b\x0c\x0d\x0e\x0f\x10", std::string(16, '\0'),
         0, "9ac7cc9a609d1ef7b2932899cde41b97"},
        {"Secret", "Attack at dawn", 0, "45a01f645fc35b383552544b9bf5"},
        {"", std::string(16, '\0'), 0, "de188941a3375d3a8a061e67576e926d"}, // as key "\0"
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.hex);
        std::string data = c.data;
        PDRc4::Crypt(U8(c.key), c.key.size(), reinterpret_cast<uint8_t*>(data.data()), data.size());
        EXPECT_EQ(ToHex(U8(data) + c.skip, static_cast<int>(data.size() - c.skip)), c.hex);
        PDRc4 cipher(U8(c.key), c.key.size());
        for (size_t at = 0; at < data.size(); at += 7) // continued calls follow one keystream
            cipher.Crypt(reinterpret_cast<uint8_t*>(data.data()) + at,
                         std::min<size_t>(7, data.size() - at));
        EXPECT_EQ(data, c.data);
    }
}

} // namespace

// /U and /O of AES-256 files made by an independent tool: the first 32 bytes of /U hash the user
// password with the 8 bytes after them; /O hashes the owner password with its own salt and all 48
// bytes of /U. Passwords are cut to 127 bytes.
TEST(PDPasswordHashTest, ReproducesEntriesOfIndependentFiles) {
    // clang-format off
    const std::string user6 = "5ffbbb408261a9c379475f4b99095835a306949196d8cb8d"
                              "6caf762fddfe584b1765c0ac9d5d2ddd1851e91abeeb5b72";
    const std::string long6 = "34e00aaaa400f98d0a24fa88767f2f1a2e320bf3e691e34f"
                              "d826de92411481dd0066825cccc30d422db881e1cc12c8ae";
    const struct {
        int revision;
        std::string password;
        std::string entry; // /U, or /O when user is given
        std::string user;
    } cases[] = {
        {6, "user", user6, ""},
        {6, "owner", "a3d8bf7ff0f46883805a11f40c0c69ea5ebe389b9b8c20dc"
                     "b22929012076527134f1dc8e32693f8ccb785abbd2248214", user6},
        {6, "p\xc3\xa4sswort", "10d29f89c44ba5bfd36478fffab2257f1827e364b8dde7b7"
                                 "9acd10ce493ae88d07ebaea5972e1ff6c2aac5856fab1d04", ""},
        // Made with an owner password of 127 bytes.
        {6, std::string(130, 'L'), "920a2772e23b6d3e1e0f77d228b551a4068815b48e929e17"
                                   "732f90ed512d2108d789faede27dee0aceed318d66ab22bb", long6},
    };
    // clang-format on
    auto bytes = [](const std::string& hex) {
        std::string out;
        for (size_t i = 0; i + 1 < hex.size(); i += 2)
            out += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
        return out;
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.revision) + " '" + c.password + "'");
        const std::string entry = bytes(c.entry);
        const std::string extra = bytes(c.user);
        uint8_t hash[32];
        PDPasswordHash(c.revision, U8(c.password), c.password.size(), U8(entry) + 32,
                       extra.empty() ? nullptr : U8(extra), extra.size(), hash);
        EXPECT_EQ(ToHex(hash, 32), c.entry.substr(0, 64));
    }
}

// An AES-256 output, opened as an input with either password. Its streams carry a fresh vector
// each; data of the wrong length or padding read as empty, with a report. A stream whose first
// filter is /Crypt is decrypted with the filter its /DecodeParms name, which leaves the chain.
TEST(PDSecurityTest, Aes256OutputsOpenAndDamagedDataReadEmpty) {
    PDSecurity out(PDSecurity::kOutput);
    out.SetPermissions("PI");
    out.ChooseAes256();
    ASSERT_TRUE(out.SetUserPassword("u") && out.SetOwnerPassword("o"));
    const PDStrongEntries& e = out.StrongEntries();
    const std::string encrypt =
        "<< /Filter /Standard /V 5 /R 6 /Length 256 /CF << /StdCF << /CFM /AESV3 >> >> /StmF "
        "/StdCF /StrF /StdCF /O <" +
        ToHex(e.owner, 48) + "> /U <" + ToHex(e.user, 48) + "> /OE <" + ToHex(e.ownerKey, 32) +
        "> /UE <" + ToHex(e.userKey, 32) + "> /Perms <" + ToHex(e.perms, 16) + "> /P " +
        std::to_string(out.Permissions()) + " >>";
    auto crypted = [&](const std::string& plain) {
        const auto c = out.Encrypt(U8(plain), static_cast<int64_t>(plain.size()), 4, 0);
        EXPECT_EQ(static_cast<int64_t>(c.size()),
                  out.EncryptedLength(static_cast<int64_t>(plain.size())));
        return std::string(c.begin(), c.end());
    };
    EXPECT_NE(crypted("same"), crypted("same"));
    const std::string hello = crypted("Hello"), blocks = "PDSecurity: AES data of object 4";
    std::string badPadding(32, 'x'); // the last plain byte, x, is no padding length
    PDAes::EncryptBlocks(out.FileKey(), 32, U8(badPadding), U8(badPadding), 16,
                         reinterpret_cast<uint8_t*>(badPadding.data()) + 16);
    const struct {
        std::string entries, data, decoded, report;
        const char* password = "o";
    } cases[] = {
        {"", hello, "Hello", "", "u"},
        {"", hello.substr(0, 31), "", blocks + " are not whole blocks\n"},
        {"", hello.substr(0, 16), "", blocks + " are not whole blocks\n"},
        {"", badPadding, "", "PDSecurity: AES padding of object 4 is damaged\n"},
        {"/Filter [/Crypt] /DecodeParms [<< /Name /Identity >>]", "plain", "plain", ""},
        {"/Filter [/Crypt /FlateDecode] /DecodeParms [<< /Name /StdCF >> null]",
         crypted(testpdf::PdfBuilder::Deflate("packed")), "packed", ""},
        {"/Filter /Crypt /DecodeParms << /Name /Other >>", hello, "",
         "PDSecurity: the crypt filter of object 4 does not fit the document's key\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.entries + " " + c.report + c.password);
        testpdf::PdfBuilder b;
        b.Add(1, "<< /Type /Catalog /Pages 2 0 R >>");
        b.Add(2, "<< /Type /Pages /Kids [3 0 R] /Count 1 >>");
        b.Add(3, "<< /Type /Page /Parent 2 0 R /Contents 4 0 R >>");
        b.AddStream(4, c.entries, c.data);
        b.Add(5, encrypt);
        b.Trailer("/Root 1 0 R /Encrypt 5 0 R /ID [<00112233445566778899aabbccddeeff> <00>]");
        const std::string pdf = b.Build();
        PDFile file;
        ASSERT_TRUE(testpdf::OpenBytes(file, pdf));
        DiagCapture diag; // also: /Perms agrees with /P
        EXPECT_TRUE(file.SetPassword(c.password));
        const auto stream = file.LoadValue(4);
        PDStr content;
        if (stream != nullptr)
            DecodeStream(*stream, content, &file);
        EXPECT_EQ(content.ToString(), c.decoded);
        EXPECT_EQ(diag.Text(), c.report);
    }
}
