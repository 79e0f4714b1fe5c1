// The real-world files beside the checkout and what their manifest says about them.
#pragma once

#include <string>
#include <vector>

// The sanitized variant runs the tool, not the independent readers: their verdicts are the same
// in both variants, and they cost most of the corpus run.
#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool kSanitized = true;
#else
inline constexpr bool kSanitized = false;
#endif

struct CorpusFile {
    std::string name;
    std::string path;
    std::string encrypted; // "none", "rc4-40 (user='', owner='owner')", "aes-128 ..."
    std::string userPassword;
    std::string ownerPassword; // empty when unknown
    int pages = 0;
    int terminalFields = 0;
    bool IsAes() const { return encrypted.rfind("aes", 0) == 0; }
    // Handlers the library cannot decrypt: public-key security.
    bool IsUnsupported() const { return encrypted.rfind("public-key", 0) == 0; }
    bool IsRc4() const { return encrypted.rfind("rc4", 0) == 0; }
};

// Empty when the corpus folder is absent.
std::vector<CorpusFile> LoadCorpusManifest();
#define REQUIRE_CORPUS()                                                                           \
    if (LoadCorpusManifest().empty()) {                                                            \
        GTEST_SKIP() << "no corpus beside the checkout";                                           \
    }
// The shared data folder (corpus, benchmark forms) and its corpus; the files may be absent.
std::string SharedDir();
std::string CorpusDir();
