// Every real-world file that opens is copied by the built tool (`quillet in.pdf out.pdf`), and the
// copy is judged: by the tool itself (listing, a second pass over the copy, standard output), and
// by independent readers where installed (qpdf, pdftotext, pdftoppm, pypdf). The copies are made
// once, files in parallel; the independent readers run in the plain variant only, since the
// sanitized one exists to run the tool, not them.
#include "tests/corpus/corpus_manifest.h"
#include "tests/support/run_tool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

std::string Quote(const std::string& s) {
    std::string q = "'";
    for (char c : s)
        q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return q + "'";
}

// Standard output (and error, when asked) of a shell command, and its exit status. popen, unlike
// std::system, is safe to call from several threads.
std::string Shell(const std::string& cmd, int* status = nullptr) {
    std::string out;
    FILE* p = popen(("timeout 300 " + cmd).c_str(), "r");
    if (p == nullptr)
        return out;
    char buf[65536];
    for (size_t n; (n = std::fread(buf, 1, sizeof buf, p)) > 0;)
        out.append(buf, n);
    int rc = pclose(p);
    if (status != nullptr)
        *status = WIFEXITED(rc) ? WEXITSTATUS(rc) : -1;
    return out;
}

bool Have(const std::string& probe) {
    int status = -1;
    Shell(probe + " >/dev/null 2>&1", &status);
    return status == 0;
}

std::vector<std::string> PasswordArgs(const CorpusFile& f) {
    if (f.userPassword.empty())
        return {};
    return {"-pw", f.userPassword};
}

std::vector<std::string> Join(std::vector<std::string> a, const std::vector<std::string>& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// Runs the tool over its own output: apart from the identifier and the date, the bytes must come
// out the same. Empty when all is well.
std::string SecondPassComplaint(const std::string& path, const std::string& bytes) {
    std::string next = path + ".2.pdf";
    ToolResult r = RunTool(ToolPath(), {path, next});
    if (r.status != 0)
        return "second pass fails: " + r.err;
    return MaskVarying(ReadFile(next)) == MaskVarying(bytes) ? ""
                                                             : "a second pass changes the file";
}

// One template and its copy, made once for all tests below.
struct Copy {
    CorpusFile file;
    bool opened = false;
    std::string listing; // the template's field listing
    ToolResult run;
    std::string path; // the copy
};

// Runs job(i) for i in [0, n) on a few threads; job returns its complaints.
std::vector<std::vector<std::string>>
InParallel(size_t n, const std::function<std::vector<std::string>(size_t)>& job) {
    std::vector<std::vector<std::string>> results(n);
    std::atomic<size_t> next{0};
    auto worker = [&]() {
        for (size_t i; (i = next++) < n;)
            results[i] = job(i);
    };
    std::vector<std::thread> threads;
    unsigned count = std::clamp(std::thread::hardware_concurrency(), 2u, 4u);
    for (unsigned t = 0; t < count; ++t)
        threads.emplace_back(worker);
    for (auto& t : threads)
        t.join();
    return results;
}

struct Copies {
    TempDir dir;
    std::vector<Copy> copies;
};

// Copies every template that the tool opens; the tool's own complaints stay in the results.
bool Fill(Copies& c) {
    for (const CorpusFile& f : LoadCorpusManifest())
        c.copies.push_back(Copy{f, false, "", {}, ""});
    if (ToolPath() == nullptr)
        return false;
    InParallel(c.copies.size(), [&c](size_t i) {
        Copy& copy = c.copies[i];
        ToolResult list =
            RunTool(ToolPath(), Join(PasswordArgs(copy.file), {"-l", copy.file.path}));
        copy.opened = list.status == 0;
        copy.listing = list.out;
        if (copy.opened) {
            copy.path = c.dir.Path() + "/" + std::to_string(i) + ".pdf";
            copy.run =
                RunTool(ToolPath(), Join(PasswordArgs(copy.file), {copy.file.path, copy.path}));
        }
        return std::vector<std::string>{};
    });
    return true;
}

const Copies& MakeCopies() {
    static Copies made;
    [[maybe_unused]] static const bool filled = Fill(made);
    return made;
}

// Runs check over every copy that was written and reports its complaints, file by file.
int CheckEveryCopy(const std::function<std::vector<std::string>(const Copy&)>& check) {
    const std::vector<Copy>& copies = MakeCopies().copies;
    auto results = InParallel(copies.size(), [&](size_t i) {
        const Copy& c = copies[i];
        return c.opened && c.run.status == 0 ? check(c) : std::vector<std::string>{};
    });
    int checked = 0;
    for (size_t i = 0; i < copies.size(); ++i) {
        checked += copies[i].opened && copies[i].run.status == 0 ? 1 : 0;
        for (const std::string& complaint : results[i]) {
            if (complaint.rfind("note: ", 0) == 0)
                std::printf("[ note ] %s: %s\n", copies[i].file.name.c_str(),
                            complaint.c_str() + 6);
            else
                ADD_FAILURE() << copies[i].file.name << ": " << complaint;
        }
    }
    return checked;
}

#define REQUIRE_COPIES()                                                                           \
    if (ToolPath() == nullptr) {                                                                   \
        GTEST_SKIP() << "QUILLET_BIN is not set";                                                  \
    }                                                                                              \
    if (MakeCopies().copies.empty()) {                                                             \
        GTEST_SKIP() << "no corpus beside the checkout";                                           \
    }

#define REQUIRE_ORACLE(probe, name)                                                                \
    if (kSanitized) {                                                                              \
        GTEST_SKIP() << "independent readers run in the plain variant";                            \
    }                                                                                              \
    if (!Have(probe)) {                                                                            \
        GTEST_SKIP() << name << " is not installed";                                               \
    }

// The template's password options for poppler's tools and for qpdf.
std::string PopplerPassword(const CorpusFile& f) {
    return f.userPassword.empty() ? "" : "-upw " + Quote(f.userPassword) + " ";
}

std::string QpdfPassword(const CorpusFile& f) {
    return f.userPassword.empty() ? "" : "--password=" + Quote(f.userPassword) + " ";
}

std::string FirstDifferentLine(const std::string& a, const std::string& b) {
    size_t at = static_cast<size_t>(std::mismatch(a.begin(), a.end(), b.begin(), b.end()).first -
                                    a.begin());
    size_t from = a.rfind('\n', at) == std::string::npos ? 0 : a.rfind('\n', at) + 1;
    return "template '" + a.substr(from, a.find('\n', from) - from) + "', copy '" +
           b.substr(from, b.find('\n', from) - from) + "'";
}

} // namespace

TEST(CorpusCopy, EveryFileThatOpensIsCopiedAndReadsBackTheSame) {
    REQUIRE_COPIES();
    const std::vector<Copy>& copies = MakeCopies().copies;
    int unopened = 0;
    for (const Copy& c : copies) {
        SCOPED_TRACE(c.file.name);
        if (!c.opened) {
            ++unopened;
            std::printf("[ note ] %s does not open; not copied\n", c.file.name.c_str());
            continue;
        }
        EXPECT_EQ(c.run.status, 0);
        EXPECT_EQ(c.run.err, "");
        EXPECT_EQ(c.run.out, "");
    }
    int checked = CheckEveryCopy([](const Copy& c) {
        std::vector<std::string> complaints;
        ToolResult list = RunTool(ToolPath(), {"-l", c.path});
        if (list.status != 0 || list.out != c.listing)
            complaints.push_back("the copy lists " + FirstDifferentLine(c.listing, list.out));
        std::string first = ReadFile(c.path);
        std::string settled = SecondPassComplaint(c.path, first);
        if (!settled.empty())
            complaints.push_back(settled);
        ToolResult dash = RunTool(ToolPath(), Join(PasswordArgs(c.file), {c.file.path, "-"}));
        if (dash.status != 0 || MaskVarying(dash.out) != MaskVarying(first))
            complaints.push_back("standard output differs from the file written");
        return complaints;
    });
    EXPECT_EQ(checked + unopened, static_cast<int>(copies.size()));
    EXPECT_GT(checked, 30);
}

// Errors are never allowed; warnings only where the template itself draws them.
TEST(CorpusCopy, QpdfFindsNoErrors) {
    REQUIRE_COPIES();
    REQUIRE_ORACLE("qpdf --version", "qpdf");
    CheckEveryCopy([](const Copy& c) {
        int status = -1, before = -1;
        std::string report = Shell("qpdf --check " + Quote(c.path) + " 2>&1", &status);
        Shell("qpdf --check " + QpdfPassword(c.file) + Quote(c.file.path) + " 2>&1", &before);
        if (status == 0 || (status == 3 && before == 3))
            return std::vector<std::string>{};
        return std::vector<std::string>{"qpdf --check exits with " + std::to_string(status) +
                                        ":\n" + report.substr(0, 2000)};
    });
}

TEST(CorpusCopy, SamePagesAndText) {
    REQUIRE_COPIES();
    REQUIRE_ORACLE("pdftotext -v", "pdftotext");
    CheckEveryCopy([](const Copy& c) {
        std::vector<std::string> complaints;
        std::string info = "pdfinfo " + PopplerPassword(c.file) + Quote(c.file.path) + " 2>&1";
        std::string pagesIn = Shell(info + " | grep -a '^Pages:'");
        std::string pagesOut = Shell("pdfinfo " + Quote(c.path) + " 2>&1 | grep -a '^Pages:'");
        if (pagesIn != pagesOut || pagesOut.empty())
            complaints.push_back("pages: template " + pagesIn + ", copy " + pagesOut);
        std::string textIn = Shell("pdftotext -layout " + PopplerPassword(c.file) +
                                   Quote(c.file.path) + " - 2>/dev/null");
        std::string textOut = Shell("pdftotext -layout " + Quote(c.path) + " - 2>/dev/null");
        if (textIn != textOut)
            complaints.push_back("text differs: " + FirstDifferentLine(textIn, textOut));
        return complaints;
    });
}

TEST(CorpusCopy, SameRendering) {
    REQUIRE_COPIES();
    REQUIRE_ORACLE("pdftoppm -v", "pdftoppm");
    CheckEveryCopy([](const Copy& c) {
        std::vector<std::string> complaints;
        TempDir dir;
        Shell("pdftoppm -r 20 -gray " + PopplerPassword(c.file) + Quote(c.file.path) + " " +
              dir.Path() + "/a 2>/dev/null");
        Shell("pdftoppm -r 20 -gray " + Quote(c.path) + " " + dir.Path() + "/b 2>/dev/null");
        std::vector<std::string> pages;
        size_t copyPages = 0;
        for (const auto& e : std::filesystem::directory_iterator(dir.Path())) {
            std::string name = e.path().filename().string();
            if (name[0] == 'a')
                pages.push_back(name.substr(1));
            else
                ++copyPages;
        }
        std::sort(pages.begin(), pages.end());
        if (copyPages != pages.size())
            complaints.push_back("page images: " + std::to_string(pages.size()) +
                                 " of the template, " + std::to_string(copyPages) + " of the copy");
        for (const std::string& page : pages) {
            std::string a = ReadFile(dir.Path() + "/a" + page);
            std::string b = ReadFile(dir.Path() + "/b" + page);
            if (a == b)
                continue;
            size_t pixels = 0;
            for (size_t i = 0; i < a.size() && i < b.size(); ++i)
                pixels += a[i] != b[i] ? 1u : 0u;
            complaints.push_back("page image" + page + " differs in " + std::to_string(pixels) +
                                 " of " + std::to_string(a.size()) + " bytes");
        }
        return complaints;
    });
}

TEST(CorpusCopy, SameFieldsOutlinesAndDestinationsForPypdf) {
    REQUIRE_COPIES();
    REQUIRE_ORACLE("/usr/bin/python3 -c 'import pypdf'", "pypdf");
    std::atomic<int> judged{0};
    CheckEveryCopy([&judged](const Copy& c) {
        int status = -1;
        std::string said =
            Shell("/usr/bin/python3 " QUILLET_SOURCE_DIR "/tests/corpus/pypdf_copy.py " +
                      Quote(c.file.path) + " " + Quote(c.path) + " " + Quote(c.file.userPassword) +
                      " 2>/dev/null",
                  &status);
        judged += status == 3 ? 0 : 1;
        if (status == 0 || status == 3)
            return std::vector<std::string>{};
        return std::vector<std::string>{"pypdf: " + said};
    });
    EXPECT_GT(judged.load(), 25);
}
