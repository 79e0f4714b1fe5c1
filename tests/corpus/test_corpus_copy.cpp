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
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

namespace {

// The tool's arguments, led by the template's password when it has one.
std::vector<std::string> WithPassword(const CorpusFile& f, std::vector<std::string> args) {
    if (!f.userPassword.empty())
        args.insert(args.begin(), {"-pw", f.userPassword});
    return args;
}

// The template's password option for poppler's tools ("-upw ") or qpdf ("--password=").
std::string PasswordOption(const CorpusFile& f, const std::string& option) {
    return f.userPassword.empty() ? "" : option + Quote(f.userPassword) + " ";
}

// One template and its copy.
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

// Every template with its copy, when the tool opens it; made once for all tests below. The tool's
// own complaints stay in the results.
const std::vector<Copy>& Copies() {
    static TempDir dir;
    static const std::vector<Copy> copies = [] {
        std::vector<Copy> made;
        for (const CorpusFile& f : LoadCorpusManifest())
            made.push_back(Copy{f, false, "", {}, ""});
        if (ToolPath() == nullptr)
            return made;
        InParallel(made.size(), [&made](size_t i) {
            Copy& copy = made[i];
            ToolResult list = RunTool(ToolPath(), WithPassword(copy.file, {"-l", copy.file.path}));
            copy.opened = list.status == 0;
            copy.listing = list.out;
            if (copy.opened) {
                copy.path = dir.Path() + "/" + std::to_string(i) + ".pdf";
                copy.run =
                    RunTool(ToolPath(), WithPassword(copy.file, {copy.file.path, copy.path}));
            }
            return std::vector<std::string>{};
        });
        return made;
    }();
    return copies;
}

// Runs check over every copy that was written and reports its complaints, file by file.
int CheckEveryCopy(const std::function<std::vector<std::string>(const Copy&)>& check) {
    const std::vector<Copy>& copies = Copies();
    auto written = [](const Copy& c) { return c.opened && c.run.status == 0; };
    auto results = InParallel(copies.size(), [&](size_t i) {
        return written(copies[i]) ? check(copies[i]) : std::vector<std::string>{};
    });
    for (size_t i = 0; i < copies.size(); ++i) {
        for (const std::string& complaint : results[i])
            ADD_FAILURE() << copies[i].file.name << ": " << complaint;
    }
    return static_cast<int>(std::count_if(copies.begin(), copies.end(), written));
}

#define REQUIRE_COPIES()                                                                           \
    if (ToolPath() == nullptr) {                                                                   \
        GTEST_SKIP() << "QUILLET_BIN is not set";                                                  \
    }                                                                                              \
    if (Copies().empty()) {                                                                        \
        GTEST_SKIP() << "no corpus beside the checkout";                                           \
    }

#define REQUIRE_ORACLE(probe, name)                                                                \
    if (kSanitized) {                                                                              \
        GTEST_SKIP() << "independent readers run in the plain variant";                            \
    }                                                                                              \
    if (!Have(probe)) {                                                                            \
        GTEST_SKIP() << name << " is not installed";                                               \
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
    for (const Copy& c : Copies()) {
        SCOPED_TRACE(c.file.name);
        if (!c.opened) {
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
        // Apart from the identifier and the date, a pass over the copy must give the same bytes.
        std::string first = MaskVarying(ReadFile(c.path));
        ToolResult again = RunTool(ToolPath(), {c.path, c.path + ".2.pdf"});
        if (again.status != 0 || MaskVarying(ReadFile(c.path + ".2.pdf")) != first)
            complaints.push_back("a second pass fails or changes the file: " + again.err);
        ToolResult dash = RunTool(ToolPath(), WithPassword(c.file, {c.file.path, "-"}));
        if (dash.status != 0 || MaskVarying(dash.out) != first)
            complaints.push_back("standard output differs from the file written");
        return complaints;
    });
    EXPECT_GT(checked, 30);
}

// Errors are never allowed; warnings only where the template itself draws them.
TEST(CorpusCopy, QpdfFindsNoErrors) {
    REQUIRE_COPIES();
    REQUIRE_ORACLE("qpdf --version", "qpdf");
    CheckEveryCopy([](const Copy& c) {
        int status = -1, before = -1;
        std::string report = Shell("qpdf --check " + Quote(c.path) + " 2>&1", &status);
        Shell("qpdf --check " + PasswordOption(c.file, "--password=") + Quote(c.file.path) +
                  " 2>&1",
              &before);
        if (status == 0 || (status == 3 && before == 3))
            return std::vector<std::string>{};
        return std::vector<std::string>{"qpdf --check exits with " + std::to_string(status) +
                                        ":\n" + report.substr(0, 2000)};
    });
}

// Poppler sees the same pages, the same text and the same images in template and copy.
TEST(CorpusCopy, SamePagesTextAndRendering) {
    REQUIRE_COPIES();
    REQUIRE_ORACLE("pdftotext -v", "pdftotext");
    REQUIRE_ORACLE("pdftoppm -v", "pdftoppm");
    CheckEveryCopy([](const Copy& c) {
        std::vector<std::string> complaints;
        const std::string in = PasswordOption(c.file, "-upw ") + Quote(c.file.path);
        const std::string out = Quote(c.path);
        std::string pagesIn = Shell("pdfinfo " + in + " 2>&1 | grep -a '^Pages:'");
        std::string pagesOut = Shell("pdfinfo " + out + " 2>&1 | grep -a '^Pages:'");
        if (pagesIn != pagesOut || pagesOut.empty())
            complaints.push_back("pages: template " + pagesIn + ", copy " + pagesOut);
        std::string textIn = Shell("pdftotext -layout " + in + " - 2>/dev/null");
        std::string textOut = Shell("pdftotext -layout " + out + " - 2>/dev/null");
        if (textIn != textOut)
            complaints.push_back("text differs: " + FirstDifferentLine(textIn, textOut));
        TempDir dir;
        Shell("pdftoppm -r 20 -gray " + in + " " + dir.Path() + "/a 2>/dev/null");
        Shell("pdftoppm -r 20 -gray " + out + " " + dir.Path() + "/b 2>/dev/null");
        size_t pages[2] = {0, 0};
        for (const auto& e : std::filesystem::directory_iterator(dir.Path())) {
            std::string name = e.path().filename().string();
            ++pages[name[0] == 'a' ? 0 : 1];
            if (name[0] == 'a' &&
                ReadFile(e.path()) != ReadFile(dir.Path() + "/b" + name.substr(1)))
                complaints.push_back("page image" + name.substr(1) + " differs");
        }
        if (pages[0] != pages[1])
            complaints.push_back("page images: " + std::to_string(pages[0]) + " of the template, " +
                                 std::to_string(pages[1]) + " of the copy");
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

const char* const kFillOracle =
    "/usr/bin/python3 " QUILLET_SOURCE_DIR "/tests/corpus/pypdf_fill.py ";

// A control file giving each text field of the form a value of its own; false for a file without
// fields, or one the oracle cannot read.
bool WriteFillValues(const Copy& c, const std::string& path) {
    if (c.file.terminalFields == 0 || c.file.IsUnsupported())
        return false;
    int status = -1;
    Shell(kFillOracle + std::string("values ") + Quote(c.file.path) + " " +
              Quote(c.file.userPassword) + " >" + Quote(path) + " 2>/dev/null",
          &status);
    return status == 0;
}

// Every text field of every form gets a value of its own: pypdf must read each back as /V, and
// pdftotext find each drawn on the pages (poppler is not asked to draw fields itself); qpdf finds
// no error in the filled file (warnings stay where the template has them).
TEST(CorpusFill, EveryTextFieldShowsItsValue) {
    REQUIRE_COPIES();
    REQUIRE_ORACLE("/usr/bin/python3 -c 'import pypdf'", "pypdf");
    REQUIRE_ORACLE("pdftotext -v", "pdftotext");
    REQUIRE_ORACLE("qpdf --version", "qpdf");
    std::atomic<int> filled{0};
    CheckEveryCopy([&filled](const Copy& c) {
        TempDir dir;
        const std::string values = dir.Path() + "/values.ctl";
        const std::string out = dir.Path() + "/filled.pdf";
        if (!WriteFillValues(c, values))
            return std::vector<std::string>{};
        ToolResult run =
            RunTool(ToolPath(), WithPassword(c.file, {c.file.path, out, "@" + values}));
        std::vector<std::string> complaints;
        if (run.status != 0 || !run.err.empty())
            complaints.push_back("fill exits with " + std::to_string(run.status) + ": " + run.err);
        std::string said =
            Shell(kFillOracle + std::string("check ") + Quote(out) + " " + Quote(values) + " 2>&1");
        if (!said.empty())
            complaints.push_back(said.substr(0, 2000));
        if (Shell("qpdf --check " + Quote(out) + " >/dev/null 2>&1; echo $?") == "2\n")
            complaints.push_back("qpdf --check finds errors in the filled file");
        ++filled;
        return complaints;
    });
    EXPECT_GT(filled.load(), 20);
}

namespace {

// Files whose appearances a viewer places otherwise than burning in does, and why: burning in
// draws a form at the widget's corner as it stands, a viewer fits its turned box into /Rect.
const std::map<std::string, std::string> kPlacedOtherwise = {
    {"pdflib-rotated-image-button.pdf",
     "appearances whose /Matrix turns them about their centre, away from the origin"},
    {"qpdf-manual-appearances-rotated-pages.pdf",
     "appearances turned by 30 degrees in their /Matrix, fitted by viewers into /Rect"},
};

// Share of clearly different pixels of two grey images of the same size; 1 when they differ in
// size or cannot be read.
double DifferingShare(const std::string& a, const std::string& b) {
    size_t header = a.find("255\n");
    if (a.size() != b.size() || header == std::string::npos)
        return 1.0;
    size_t differ = 0;
    for (size_t i = header + 4; i < a.size(); ++i)
        differ += std::abs(static_cast<int>(static_cast<uint8_t>(a[i])) -
                           static_cast<int>(static_cast<uint8_t>(b[i]))) > 32;
    return static_cast<double>(differ) / static_cast<double>(a.size() - header - 4);
}

} // namespace

// Every form, filled and then also flattened: the flattened file has no widget and no form, and
// each of its first pages renders as the filled one does, to within 0.5 % of the pixels.
TEST(CorpusFlatten, LooksAsFilledWithoutWidgets) {
    REQUIRE_COPIES();
    REQUIRE_ORACLE("/usr/bin/python3 -c 'import pypdf'", "pypdf");
    REQUIRE_ORACLE("pdftoppm -v", "pdftoppm");
    std::atomic<int> flattened{0};
    CheckEveryCopy([&flattened](const Copy& c) {
        TempDir dir;
        const std::string values = dir.Path() + "/values.ctl";
        if (!WriteFillValues(c, values))
            return std::vector<std::string>{};
        std::vector<std::string> complaints;
        for (const char* mode : {"filled", "flat"}) {
            std::vector<std::string> args{c.file.path, dir.Path() + "/" + mode + ".pdf",
                                          "@" + values};
            if (std::string(mode) == "flat")
                args.insert(args.begin(), "-flatten");
            ToolResult run = RunTool(ToolPath(), WithPassword(c.file, args));
            if (run.status != 0)
                complaints.push_back(std::string(mode) + " exits with " +
                                     std::to_string(run.status) + ": " + run.err);
        }
        const std::string flat = dir.Path() + "/flat.pdf";
        const char* script = "import pypdf,sys\n"
                             "r = pypdf.PdfReader(sys.argv[1])\n"
                             "print(sum(1 for p in r.pages for a in (p.get('/Annots') or "
                             "pypdf.generic.ArrayObject())"
                             ".get_object()"
                             " if a.get_object().get('/Subtype') == '/Widget'),"
                             " '/AcroForm' in r.trailer['/Root'], end='')";
        std::string left = Shell("/usr/bin/python3 -c " + Quote(script) + " " + Quote(flat));
        if (left != "0 False")
            complaints.push_back("widgets and form left: " + left);
        if (Shell("qpdf --check " + Quote(flat) + " >/dev/null 2>&1; echo $?") == "2\n")
            complaints.push_back("qpdf --check finds errors in the flattened file");
        auto otherwise = kPlacedOtherwise.find(c.file.name);
        for (int page = 1; page <= std::min(c.file.pages, 10); ++page) {
            std::string render = "pdftoppm -r 72 -gray -f " + std::to_string(page) + " -l " +
                                 std::to_string(page) + " ";
            double share = DifferingShare(Shell(render + dir.Path() + "/filled.pdf 2>/dev/null"),
                                          Shell(render + Quote(flat) + " 2>/dev/null"));
            if (share > 0.005 && otherwise == kPlacedOtherwise.end())
                complaints.push_back("page " + std::to_string(page) + " differs in " +
                                     std::to_string(share * 100) + " % of its pixels");
        }
        if (otherwise != kPlacedOtherwise.end())
            std::printf("[ note ] %s: rendering not compared: %s\n", c.file.name.c_str(),
                        otherwise->second.c_str());
        ++flattened;
        return complaints;
    });
    EXPECT_GT(flattened.load(), 20);
}
