// Field listing of the real-world files against an independent reader (pypdf), when installed.
#include "forms/form_template.h"
#include "tests/corpus/corpus_manifest.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

namespace {

const char* kPython = "/usr/bin/python3";

bool HavePypdf() {
    static int have = -1;
    if (have < 0) {
        std::string cmd = std::string(kPython) + " -c 'import pypdf' 2>/dev/null";
        have = std::filesystem::exists(kPython) && std::system(cmd.c_str()) == 0 ? 1 : 0;
    }
    return have == 1;
}

std::string Quote(const std::string& s) {
    std::string q = "'";
    for (char c : s)
        q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return q + "'";
}

// "name\tvalue" per widget, as pypdf reads the file; nullopt-like empty + ok=false on failure.
std::vector<std::string> OracleLines(const CorpusFile& f, const std::string& password, bool& ok) {
    std::string cmd = std::string(kPython) +
                      " " QUILLET_SOURCE_DIR "/tests/corpus/pypdf_fields.py " + Quote(f.path) +
                      " " + Quote(password) + " 2>/dev/null";
    std::vector<std::string> lines;
    FILE* p = popen(cmd.c_str(), "r");
    ok = p != nullptr;
    if (p == nullptr)
        return lines;
    std::string line;
    for (int c; (c = std::fgetc(p)) != EOF;) {
        if (c == '\n') {
            lines.push_back(line);
            line.clear();
        } else {
            line += static_cast<char>(c);
        }
    }
    ok = pclose(p) == 0;
    return lines;
}

std::vector<std::string> OurLines(PDFormTemplate& doc) {
    std::vector<std::string> lines;
    PDFieldInfo field;
    for (int n = 1; doc.GetField(n, field); ++n) {
        PDWidgetInfo w;
        for (int k = 1; doc.GetWidget(n, k, w); ++k) {
            lines.push_back(field.name.ToString() + "\t" + field.value.ToString());
        }
    }
    return lines;
}

void ExpectSameLines(const std::vector<std::string>& ours, const std::vector<std::string>& theirs) {
    EXPECT_EQ(ours.size(), theirs.size());
    for (size_t i = 0; i < ours.size() && i < theirs.size(); ++i) {
        if (ours[i] != theirs[i]) {
            ADD_FAILURE() << "line " << i << ": ours '" << ours[i] << "', theirs '" << theirs[i]
                          << "'";
            return;
        }
    }
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

TEST(CorpusListing, EveryFormListsWhatAnIndependentReaderFinds) {
    std::vector<CorpusFile> files = LoadCorpusManifest();
    if (files.empty())
        GTEST_SKIP() << "no corpus beside the checkout";
    if (!HavePypdf())
        GTEST_SKIP() << "pypdf is not installed";
    int compared = 0;
    for (const CorpusFile& f : files) {
        if (f.IsAes() || f.terminalFields == 0)
            continue;
        for (const std::string& pw : Passwords(f)) {
            SCOPED_TRACE(f.name + " password '" + pw + "'");
            bool ok = false;
            std::vector<std::string> expected = OracleLines(f, f.userPassword, ok);
            if (!ok)
                continue; // the oracle itself cannot read this file
            PDFormTemplate doc;
            ASSERT_TRUE(doc.OpenRead(f.path.c_str())) << doc.ErrorCode();
            if (doc.IsEncrypted()) {
                ASSERT_TRUE(doc.SetPassword(pw.c_str()));
            }
            ExpectSameLines(OurLines(doc), expected);
            ++compared;
        }
    }
    EXPECT_GT(compared, 15);
}

TEST(CorpusListing, LockedFilesDoNotOpenWithoutTheirKey) {
    std::vector<CorpusFile> files = LoadCorpusManifest();
    if (files.empty())
        GTEST_SKIP() << "no corpus beside the checkout";
    for (const CorpusFile& f : files) {
        if (!f.IsAes() && !(f.IsRc4() && !f.userPassword.empty()))
            continue;
        SCOPED_TRACE(f.name);
        PDFormTemplate doc;
        ASSERT_TRUE(doc.OpenRead(f.path.c_str()));
        ASSERT_TRUE(doc.IsEncrypted());
        EXPECT_FALSE(doc.SetPassword("not the password"));
        EXPECT_EQ(doc.IsEncryptionSupported(), !f.IsAes());
    }
}
