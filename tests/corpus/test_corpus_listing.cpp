// Field listing of the real-world files against an independent reader (pypdf), when installed.
#include "forms/form_template.h"
#include "tests/corpus/corpus_manifest.h"
#include "tests/support/run_tool.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// "name\tvalue" per widget, as pypdf reads the file; ok is false when it cannot.
std::vector<std::string> OracleLines(const CorpusFile& f, bool& ok) {
    int status = -1;
    std::string out =
        Shell("/usr/bin/python3 " QUILLET_SOURCE_DIR "/tests/corpus/pypdf_fields.py " +
                  Quote(f.path) + " " + Quote(f.userPassword) + " 2>/dev/null",
              &status);
    ok = status == 0;
    std::vector<std::string> lines;
    for (size_t from = 0, to; (to = out.find('\n', from)) != std::string::npos; from = to + 1)
        lines.push_back(out.substr(from, to - from));
    return lines;
}

std::vector<std::string> OurLines(PDFormTemplate& doc) {
    std::vector<std::string> lines;
    PDFieldInfo field;
    for (int n = 1; doc.GetField(n, field); ++n) {
        PDWidgetInfo w;
        for (int k = 1; doc.GetWidget(n, k, w); ++k)
            lines.push_back(field.name.ToString() + "\t" + field.value.ToString());
    }
    return lines;
}

// Passwords worth trying on a file: the user password, and the owner password when known.
std::vector<std::string> Passwords(const CorpusFile& f) {
    if (!f.IsRc4())
        return {""};
    std::vector<std::string> pw{f.userPassword};
    if (!f.ownerPassword.empty())
        pw.push_back(f.ownerPassword);
    return pw;
}

} // namespace

#define REQUIRE_PYPDF()                                                                            \
    if (kSanitized) {                                                                              \
        GTEST_SKIP() << "independent readers run in the plain variant";                            \
    }                                                                                              \
    if (!Have("/usr/bin/python3 -c 'import pypdf'")) {                                             \
        GTEST_SKIP() << "pypdf is not installed";                                                  \
    }

TEST(CorpusListing, EveryFormListsWhatAnIndependentReaderFinds) {
    REQUIRE_CORPUS();
    REQUIRE_PYPDF()
    int compared = 0;
    for (const CorpusFile& f : LoadCorpusManifest()) {
        if (f.IsUnsupported() || f.terminalFields == 0)
            continue;
        bool ok = false;
        std::vector<std::string> expected = OracleLines(f, ok);
        if (!ok)
            continue; // the oracle itself cannot read this file
        for (const std::string& pw : Passwords(f)) {
            SCOPED_TRACE(f.name + " password '" + pw + "'");
            PDFormTemplate doc;
            ASSERT_TRUE(doc.OpenRead(f.path.c_str())) << doc.ErrorCode();
            if (doc.IsEncrypted()) {
                ASSERT_TRUE(doc.SetPassword(pw.c_str()));
            }
            EXPECT_EQ(OurLines(doc), expected);
            ++compared;
        }
    }
    EXPECT_GT(compared, 15);
}

TEST(CorpusListing, LockedFilesDoNotOpenWithoutTheirKey) {
    REQUIRE_CORPUS();
    for (const CorpusFile& f : LoadCorpusManifest()) {
        if (!f.IsAes() && !(f.IsRc4() && !f.userPassword.empty()))
            continue;
        SCOPED_TRACE(f.name);
        PDFormTemplate doc;
        ASSERT_TRUE(doc.OpenRead(f.path.c_str()));
        ASSERT_TRUE(doc.IsEncrypted());
        EXPECT_FALSE(doc.SetPassword("not the password"));
        EXPECT_EQ(doc.IsEncryptionSupported(), !f.IsUnsupported());
    }
}

TEST(CorpusListing, JsonListingAgreesWithPypdf) {
    REQUIRE_CORPUS();
    REQUIRE_TOOL();
    REQUIRE_PYPDF()
    int compared = 0;
    for (const CorpusFile& f : LoadCorpusManifest()) {
        if (f.IsUnsupported() || f.terminalFields == 0)
            continue;
        SCOPED_TRACE(f.name);
        int status = -1;
        std::string out =
            Shell("/usr/bin/python3 " QUILLET_SOURCE_DIR "/tests/corpus/pypdf_json.py " +
                      Quote(ToolPath()) + " " + Quote(f.path) + " " + Quote(f.userPassword),
                  &status);
        if (status == 3)
            continue; // the oracle itself cannot read this file
        EXPECT_EQ(status, 0) << out;
        ++compared;
    }
    EXPECT_GT(compared, 15);
}
