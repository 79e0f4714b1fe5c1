// Every real-world file opens, every object loads and the page count is right; damaged copies
// open or fail without crashing.
#include "structure/pdinput.h"

#include "forms/form_template.h"

#include "pdf/pdstring.h"
#include "tests/corpus/corpus_manifest.h"
#include "tests/support/run_tool.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

bool Unsupported(const CorpusFile& f) {
    return f.IsUnsupported();
}

// Loads objects 1 .. limit - 1 and walks the pages; the number of objects read.
int Exercise(PDFInput& in, int32_t limit) {
    int loaded = 0;
    for (int32_t n = 1; n < std::min(limit, in.ObjectCount()); ++n)
        loaded += in.GetObj(n) != nullptr ? 1 : 0;
    in.PageNumbers();
    return loaded;
}

TEST(CorpusOpen, EveryFileOpensWithItsPages) {
    REQUIRE_CORPUS();
    for (const auto& f : LoadCorpusManifest()) {
        SCOPED_TRACE(f.name);
        PDFInput in;
        ASSERT_TRUE(in.OpenRead(f.path.c_str())) << in.ErrorCode();
        if (Unsupported(f)) {
            EXPECT_TRUE(in.IsEncrypted());
            EXPECT_FALSE(in.IsEncryptionSupported());
            EXPECT_FALSE(in.SetPassword(f.userPassword.c_str()));
            EXPECT_EQ(in.PasswordStatus(), PDPasswordStatus::kUnsupported);
            Exercise(in, in.ObjectCount());
            continue;
        }
        EXPECT_EQ(in.IsEncrypted(), f.encrypted != "none");
        if (in.IsEncrypted()) {
            EXPECT_EQ(in.PasswordStatus(), f.userPassword.empty() ? PDPasswordStatus::kAccepted
                                                                  : PDPasswordStatus::kRejected);
            EXPECT_TRUE(in.SetPassword(f.userPassword.c_str()));
            EXPECT_EQ(in.PasswordStatus(), PDPasswordStatus::kAccepted);
        }
        // Every object that the cross-reference data list loads.
        std::vector<int32_t> unreadable;
        for (int32_t n = 1; n < in.ObjectCount(); ++n) {
            if (in.XrefEntry(n) != nullptr && in.GetObj(n) == nullptr)
                unreadable.push_back(n);
        }
        EXPECT_EQ(unreadable, std::vector<int32_t>{});
        EXPECT_EQ(static_cast<int>(in.PageNumbers().size()), f.pages);
    }
}

// Strings come out decrypted once the password is in, whichever of the two passwords it is.
TEST(CorpusOpen, StringsDecrypted) {
    struct Case {
        const char* file;
        const char* password;
        std::string producer; // leading bytes of the decoded /Producer
    } cases[] = {
        {"pdfminer-rc4-40-userpw.pdf", "baz", std::string("\xfe\xff\0L\0i\0b\0r\0e", 12)},
        {"pdfminer-rc4-40-userpw.pdf", "foo", std::string("\xfe\xff\0L\0i\0b\0r\0e", 12)},
        {"irs-fw9-2018-rc4-40-derived.pdf", "", "Adobe LiveCycle Designer ES 9.0"},
        {"pdfbox-password-sample-128bit.pdf", "user", "Adobe Acrobat 10.268"},
        {"pdfbox-password-sample-128bit.pdf", "owner", "Adobe Acrobat 10.268"},
        {"qpdf-field-types-rc4-128-userpw-derived.pdf", "owner",
         std::string("\xfe\xff\0L\0i\0b\0r\0e", 12)},
        {"pdfjs-issue17215-rc4-128.pdf", "", "PDFsharp 1.50.5147 (www.pdfsharp.com)"},
        {"pdfjs-bug900822-rc4-40.pdf", "", "ReportBuilder"},
    };
    REQUIRE_CORPUS();
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.file) + " / " + c.password);
        PDFInput in;
        ASSERT_TRUE(in.OpenRead((CorpusDir() + "/" + c.file).c_str()));
        ASSERT_TRUE(in.SetPassword(c.password));
        PDInputObj* info = in.GetObj(in.InfoNumber());
        ASSERT_NE(info, nullptr);
        const PDValue* producer = in.ResolveKey(info->Value(), "/Producer");
        ASSERT_NE(producer, nullptr);
        PDStr bytes;
        PDDecodeString(producer->Text(), bytes);
        EXPECT_EQ(bytes.ToString().substr(0, c.producer.size()), c.producer);
    }
}

TEST(CorpusOpen, WrongPasswordRejected) {
    REQUIRE_CORPUS();
    PDFInput in;
    ASSERT_TRUE(in.OpenRead((CorpusDir() + "/pdfminer-rc4-40-userpw.pdf").c_str()));
    EXPECT_EQ(in.PasswordStatus(), PDPasswordStatus::kRejected);
    EXPECT_FALSE(in.SetPassword("wrong"));
    EXPECT_EQ(in.PasswordStatus(), PDPasswordStatus::kRejected);
    EXPECT_NE(in.Catalog(), nullptr); // structure is readable without the key
}

// Truncated and bit-flipped copies open or fail, and list what they can, but never crash or hang.
TEST(CorpusOpen, DamagedCopies) {
    REQUIRE_CORPUS();
    uint32_t seed = 12345;
    auto next = [&seed]() {
        seed = seed * 1103515245u + 12345u;
        return seed >> 8;
    };
    for (const auto& f : LoadCorpusManifest()) {
        SCOPED_TRACE(f.name);
        std::string bytes = ReadFile(f.path);
        ASSERT_FALSE(bytes.empty());
        std::vector<std::string> copies;
        for (size_t cut : {bytes.size() / 5, bytes.size() / 2, bytes.size() - 1, bytes.size() - 40})
            copies.push_back(bytes.substr(0, cut));
        for (int round = 0; round < 3; ++round) {
            copies.push_back(bytes);
            for (int flip = 0; flip < 24; ++flip)
                copies.back()[next() % bytes.size()] ^= static_cast<char>(1u << (next() % 8));
        }
        for (const auto& copy : copies) {
            PDFormTemplate in;
            if (in.OpenMemory(reinterpret_cast<const uint8_t*>(copy.data()),
                              static_cast<int64_t>(copy.size()))) {
                in.SetPassword(f.userPassword.c_str());
                in.ListFields();
                Exercise(in, 600);
            } else {
                EXPECT_NE(in.ErrorCode(), 0);
            }
        }
    }
}

} // namespace
