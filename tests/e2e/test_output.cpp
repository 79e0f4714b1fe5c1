// Output files written by the built tool: file layout, document information, page tree, exit
// statuses and the files left behind, standard output, and protected outputs. Fixtures are built
// by the test; qpdf, pdftotext and pdfinfo serve as independent readers where installed.
// GCC 12 at -O2 with the sanitizers reports std::regex internals as maybe uninitialized.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"

#include "tests/support/pdf_builder.h"
#include "tests/support/run_tool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <regex>
#include <string>
#include <vector>

namespace {

bool Have(const char* program) {
    return std::system((std::string("command -v ") + program + " >/dev/null 2>&1").c_str()) == 0;
}

void WriteFile(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

std::vector<std::string> Listing(const std::string& dir) {
    std::vector<std::string> names;
    for (const auto& e : std::filesystem::directory_iterator(dir))
        names.push_back(e.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

// Standard output of a shell command, and its exit status.
std::string Shell(const std::string& cmd, int* status = nullptr) {
    std::string out;
    FILE* p = popen(cmd.c_str(), "r");
    if (p == nullptr)
        return out;
    for (int c; (c = std::fgetc(p)) != EOF;)
        out += static_cast<char>(c);
    int rc = pclose(p);
    if (status != nullptr)
        *status = WIFEXITED(rc) ? WEXITSTATUS(rc) : -1;
    return out;
}

// A form of `pages` pages, page i (from 0) being 100 + i units high, with the text field "name"
// on page 0; infoBody empty: no /Info. The font's /Widths array is long enough to need wrapping.
std::string MakeForm(int pages, const std::string& infoBody) {
    testpdf::PdfBuilder b("1.4");
    std::string kids;
    for (int i = 0; i < pages; ++i)
        kids += std::to_string(100 + 2 * i) + " 0 R ";
    b.Add(1, "<< /Type /Catalog /Pages 2 0 R /AcroForm << /Fields [3 0 R] /DA (/Helv 0 Tf 0 g) "
             "/DR << /Font << /Helv 5 0 R >> >> >> >>");
    b.Add(2, "<< /Type /Pages /Kids [" + kids + "] /Count " + std::to_string(pages) + " >>");
    b.Add(3, "<< /FT /Tx /T (name) /V (Ada) /Type /Annot /Subtype /Widget /F 4 /P 100 0 R "
             "/Rect [100 40 300 64] /DA (/Helv 12 Tf 0 g) >>");
    std::string widths;
    for (int c = 32; c <= 126; ++c)
        widths += std::to_string(250 + c) + " ";
    b.Add(5, "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /FirstChar 32 /LastChar 126 "
             "/Widths [" +
                 widths + "] >>");
    if (!infoBody.empty())
        b.Add(4, infoBody);
    for (int i = 0; i < pages; ++i) {
        int num = 100 + 2 * i;
        b.Add(num, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 300 " + std::to_string(100 + i) +
                       "] /Resources << /Font << /Helv 5 0 R >> >> /Contents " +
                       std::to_string(num + 1) + " 0 R" + (i == 0 ? " /Annots [3 0 R]" : "") +
                       " >>");
        b.AddStream(num + 1, "",
                    "BT /Helv 10 Tf 10 10 Td (Page " + std::to_string(i + 1) + ") Tj ET");
    }
    b.Trailer(infoBody.empty() ? "/Root 1 0 R" : "/Root 1 0 R /Info 4 0 R");
    return b.Build();
}

// The cross-reference table and trailer of a file as the writer lays them out.
struct Layout {
    bool ok = false;
    std::string problem;
    std::vector<int64_t> offsets; // per object number; 0 when free
    std::string trailer;
};

Layout ReadLayout(const std::string& pdf) {
    Layout l;
    std::smatch m;
    static const std::regex tail("startxref\r\n([0-9]+)\r\n%%EOF\r\n$");
    std::string end = pdf.substr(pdf.size() > 40 ? pdf.size() - 40 : 0);
    if (!std::regex_search(end, m, tail)) {
        l.problem = "no startxref line at the end";
        return l;
    }
    size_t at = std::stoul(m[1]);
    if (at >= pdf.size()) {
        l.problem = "startxref points past the end";
        return l;
    }
    std::string head = pdf.substr(at, 30);
    static const std::regex xref("^xref\r\n0 ([0-9]+)\r\n");
    if (!std::regex_search(head, m, xref)) {
        l.problem = "startxref does not point at the table";
        return l;
    }
    size_t count = std::stoul(m[1]);
    at += static_cast<size_t>(m.length(0));
    static const std::regex entry("([0-9]{10}) ([0-9]{5}) ([fn])\r\n");
    for (size_t i = 0; i < count; ++i, at += 20) {
        std::string e = pdf.substr(at, 20);
        if (!std::regex_match(e, m, entry)) {
            l.problem = "entry " + std::to_string(i) + " is not 20 bytes: " + e;
            return l;
        }
        l.offsets.push_back(m[3] == "n" ? std::stoll(m[1]) : 0);
    }
    l.trailer = pdf.substr(at, pdf.find("startxref", at) - at);
    l.ok = true;
    return l;
}

// The text of object n, from its header to "endobj".
std::string ObjectText(const std::string& pdf, const Layout& l, int n) {
    if (n <= 0 || static_cast<size_t>(n) >= l.offsets.size() || l.offsets[size_t(n)] == 0)
        return "";
    size_t at = static_cast<size_t>(l.offsets[size_t(n)]);
    return at < pdf.size() ? pdf.substr(at, pdf.find("endobj", at) - at) : "";
}

int RefOf(const std::string& text, const std::string& key) {
    std::smatch m;
    if (!std::regex_search(text, m, std::regex(key + "\\s+([0-9]+) 0 R")))
        return 0;
    return std::stoi(m[1]);
}

int IntOf(const std::string& text, const std::string& key) {
    std::smatch m;
    if (!std::regex_search(text, m, std::regex(key + "\\s+(-?[0-9]+)")))
        return -1;
    return std::stoi(m[1]);
}

// The decoded bytes of the literal string after key; "<none>" when the key is absent.
std::string LiteralOf(const std::string& text, const std::string& key) {
    size_t at = text.find(key + " (");
    if (at == std::string::npos)
        at = text.find(key + "\r\n(");
    if (at == std::string::npos)
        return "<none>";
    std::string out;
    for (size_t i = text.find('(', at) + 1; i < text.size() && text[i] != ')'; ++i) {
        if (text[i] != '\\') {
            out += text[i];
            continue;
        }
        char c = text[++i];
        if (c >= '0' && c <= '7') {
            int v = 0;
            for (int k = 0; k < 3 && text[i] >= '0' && text[i] <= '7'; ++k, ++i)
                v = v * 8 + (text[i] - '0');
            out += static_cast<char>(v);
            --i;
        } else {
            out += c == 'n' ? '\n' : c == 'r' ? '\r' : c;
        }
    }
    return out;
}

// Stream data is binary; the line rules hold for the rest of the file.
std::vector<std::string> TextLines(const std::string& pdf) {
    std::string text;
    size_t at = 0;
    for (size_t s; (s = pdf.find("\r\nstream\r\n", at)) != std::string::npos;) {
        text += pdf.substr(at, s + 10 - at);
        at = pdf.find("endstream", s + 10);
        if (at == std::string::npos)
            return {};
    }
    text += pdf.substr(at);
    std::vector<std::string> lines;
    for (size_t from = 0, to; (to = text.find("\r\n", from)) != std::string::npos; from = to + 2)
        lines.push_back(text.substr(from, to - from));
    return lines;
}

// A line made of one literal string: the only unescaped ")" is the last byte.
bool OneLiteral(const std::string& line) {
    if (line.empty() || line.front() != '(')
        return false;
    for (size_t i = 1; i < line.size(); ++i) {
        if (line[i] == '\\')
            ++i;
        else if (line[i] == ')')
            return i == line.size() - 1;
    }
    return false;
}

struct Written {
    ToolResult result;
    std::string pdf;
};

// Writes the template as in.pdf into dir and runs the tool with "in.pdf out.pdf" after options.
Written WriteWith(const TempDir& dir, const std::string& form,
                  std::vector<std::string> options = {}) {
    WriteFile(dir.Path() + "/in.pdf", form);
    options.push_back("in.pdf");
    options.push_back("out.pdf");
    Written r;
    r.result = RunTool(ToolPath(), options, "", dir.Path());
    r.pdf = ReadFile(dir.Path() + "/out.pdf");
    return r;
}

} // namespace

TEST(OutputEndToEnd, FileLayout) {
    REQUIRE_TOOL();
    TempDir dir;
    std::string subject(110, 's');
    for (size_t i = 7; i < subject.size(); i += 8)
        subject[i] = ' ';
    Written r =
        WriteWith(dir, MakeForm(3, "<< /Producer (Some Writer 1.0) /Subject (" + subject + ") >>"));
    ASSERT_EQ(r.result.status, 0) << r.result.err;
    EXPECT_EQ(r.result.err, "");
    EXPECT_EQ(r.pdf.substr(0, 17), "%PDF-1.4\r\n%\xE2\xE3\xCF\xD3\r\n");

    Layout l = ReadLayout(r.pdf);
    ASSERT_TRUE(l.ok) << l.problem;
    EXPECT_NE(
        r.pdf.find("xref\r\n0 " + std::to_string(l.offsets.size()) + "\r\n0000000000 65535 f\r\n"),
        std::string::npos);
    for (size_t n = 1; n < l.offsets.size(); ++n) {
        std::string head = std::to_string(n) + " 0 obj\r\n";
        EXPECT_EQ(r.pdf.substr(size_t(l.offsets[n]), head.size()), head) << "object " << n;
    }
    EXPECT_EQ(IntOf(l.trailer, "/Size"), static_cast<int>(l.offsets.size()));
    EXPECT_NE(ObjectText(r.pdf, l, RefOf(l.trailer, "/Root")).find("/Type /Catalog"),
              std::string::npos);
    EXPECT_NE(ObjectText(r.pdf, l, RefOf(l.trailer, "/Info")).find("/Producer"), std::string::npos);
    std::smatch m;
    std::regex id("/ID \\[<([0-9a-f]{32})><([0-9a-f]{32})>\\]\r\n");
    ASSERT_TRUE(std::regex_search(l.trailer, m, id)) << l.trailer;
    EXPECT_EQ(m[1], m[2]);

    std::vector<std::string> lines = TextLines(r.pdf);
    EXPECT_NE(std::find(lines.begin(), lines.end(), "(" + subject + ")"), lines.end());
    for (const std::string& line : lines) {
        EXPECT_EQ(line.find_first_of("\r\n"), std::string::npos) << "bare line end: " << line;
        if (line.size() > 75) {
            EXPECT_TRUE(OneLiteral(line) || line.find(' ') == std::string::npos) << line;
        }
        EXPECT_EQ(line.find("  "), std::string::npos) << line;
    }

    if (Have("qpdf")) {
        int status = -1;
        std::string check = Shell("qpdf --check " + dir.Path() + "/out.pdf 2>&1", &status);
        EXPECT_EQ(status, 0) << check;
    }
}

TEST(OutputEndToEnd, ProducerAndModificationDate) {
    REQUIRE_TOOL();
    const std::string lib = "Marrow 3.10p (";
    struct Case {
        const char* info; // body of /Info; empty for none
        std::string kept; // leading text expected before the library's; "" when replaced
    } cases[] = {
        {"<< /Producer (Some Writer 1.0) /ModDate (D:19990101000000) >>", "Some Writer 1.0 / "},
        {"<< /Producer (Acrobat Distiller 6.0) >>", ""},
        {"<< /Producer (Acrobat) >>", "Acrobat / "},
        {"<< /Producer (Gorsemill Pro 2) >>", ""},
        {"<< /Producer (Marrow 2.0 \\(old\\)) >>", ""},
        {"<< /Producer (Marrowbone) >>", "Marrowbone / "},
        {"<< /Producer <4163726F6261742058> >>", ""},
        {"<< /Producer (Some\\040Writer) >>", "Some Writer / "},
        {"<< /Producer () /Title (Kept) >>", ""},
        {"<< /Title (Kept) >>", ""},
        {"", ""},
    };
    std::string address;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.info);
        TempDir dir;
        std::time_t before = std::time(nullptr);
        Written r = WriteWith(dir, MakeForm(1, c.info));
        ASSERT_EQ(r.result.status, 0) << r.result.err;
        Layout l = ReadLayout(r.pdf);
        ASSERT_TRUE(l.ok) << l.problem;
        std::string info = ObjectText(r.pdf, l, RefOf(l.trailer, "/Info"));
        std::string producer = LiteralOf(info, "/Producer");
        ASSERT_EQ(producer.substr(0, c.kept.size() + lib.size()), c.kept + lib);
        ASSERT_EQ(producer.back(), ')');
        std::string rest = producer.substr(c.kept.size() + lib.size());
        if (address.empty())
            address = rest;
        EXPECT_EQ(rest, address);
        EXPECT_EQ(LiteralOf(info, "/Title"),
                  std::string(c.info).find("Kept") != std::string::npos ? "Kept" : "<none>");
        if (*c.info == 0) { // a new dictionary holds the two entries only
            std::string keys = std::regex_replace(info, std::regex(R"(\((\\.|[^\\)])*\))"), "");
            EXPECT_EQ(std::count(keys.begin(), keys.end(), '/'), 2) << info;
        }

        std::smatch m;
        std::regex dateRe("/ModDate\\s+\\(D:([0-9]{4})([0-9]{2})([0-9]{2})([0-9]{2})([0-9]{2})([0-"
                          "9]{2})\\)");
        ASSERT_TRUE(std::regex_search(info, m, dateRe)) << info;
        std::tm t{};
        t.tm_year = std::stoi(m[1]) - 1900;
        t.tm_mon = std::stoi(m[2]) - 1;
        t.tm_mday = std::stoi(m[3]);
        t.tm_hour = std::stoi(m[4]);
        t.tm_min = std::stoi(m[5]);
        t.tm_sec = std::stoi(m[6]);
        t.tm_isdst = -1;
        double skew = std::difftime(std::mktime(&t), before);
        EXPECT_TRUE(skew >= -1 && skew < 120) << "local time off by " << skew << " s";
    }
}

TEST(OutputEndToEnd, RunningOverItsOwnOutputKeepsOneLibraryProducer) {
    REQUIRE_TOOL();
    TempDir dir;
    Written first = WriteWith(dir, MakeForm(2, "<< /Producer (Acrobat PDFMaker 9) >>"));
    ASSERT_EQ(first.result.status, 0) << first.result.err;
    Written second = WriteWith(dir, first.pdf);
    ASSERT_EQ(second.result.status, 0) << second.result.err;
    Layout l1 = ReadLayout(first.pdf), l2 = ReadLayout(second.pdf);
    ASSERT_TRUE(l1.ok && l2.ok);
    std::string p1 = LiteralOf(ObjectText(first.pdf, l1, RefOf(l1.trailer, "/Info")), "/Producer");
    std::string p2 = LiteralOf(ObjectText(second.pdf, l2, RefOf(l2.trailer, "/Info")), "/Producer");
    EXPECT_EQ(p1.rfind("Marrow ", 0), 0u) << p1;
    EXPECT_EQ(p2, p1);
    EXPECT_EQ(MaskVarying(second.pdf), MaskVarying(first.pdf));
}

// The output tree holds at most six kids per node, whatever the template's tree looks like.
TEST(OutputEndToEnd, PageTreeGroupsPagesBySix) {
    REQUIRE_TOOL();
    struct Case {
        int pages;
        const char* rootKids; // /Count of each kid of the root, "p" for a page
    } cases[] = {{1, "p"}, {6, "pppppp"}, {7, "6 1"}, {36, "6 6 6 6 6 6"}, {37, "36 1"}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.pages);
        TempDir dir;
        Written r = WriteWith(dir, MakeForm(c.pages, ""));
        ASSERT_EQ(r.result.status, 0) << r.result.err;
        Layout l = ReadLayout(r.pdf);
        ASSERT_TRUE(l.ok) << l.problem;
        int root = RefOf(ObjectText(r.pdf, l, RefOf(l.trailer, "/Root")), "/Pages");
        std::string rootText = ObjectText(r.pdf, l, root);
        EXPECT_EQ(rootText.find("/Parent"), std::string::npos);
        EXPECT_EQ(IntOf(rootText, "/Count"), c.pages);

        // Walks the tree: kids in order, /Parent links back, counts add up, heights in order.
        std::string described;
        std::vector<int> heights;
        std::function<int(int, int)> walk = [&](int node, int depth) {
            std::string text = ObjectText(r.pdf, l, node);
            if (depth > 8 || text.find("/Type /Pages") == std::string::npos) {
                ADD_FAILURE() << "not a /Pages node: " << text;
                return 0;
            }
            std::smatch m;
            std::regex_search(text, m, std::regex("/Kids\\s*\\[([^\\]]*)\\]"));
            std::string kidList = m[1];
            std::regex ref("([0-9]+) 0 R");
            int sum = 0, kids = 0;
            for (auto it = std::sregex_iterator(kidList.begin(), kidList.end(), ref);
                 it != std::sregex_iterator(); ++it, ++kids) {
                int kid = std::stoi((*it)[1]);
                std::string kidText = ObjectText(r.pdf, l, kid);
                EXPECT_EQ(RefOf(kidText, "/Parent"), node) << kidText;
                int n = 1;
                if (kidText.find("/Type /Page\r\n") != std::string::npos ||
                    kidText.find("/Type /Page ") != std::string::npos) {
                    std::regex_search(kidText, m, std::regex("/MediaBox\\s*\\[[^\\]]* ([0-9]+)"));
                    heights.push_back(std::stoi(m[1]));
                    if (depth == 0)
                        described += "p";
                } else {
                    n = walk(kid, depth + 1);
                    if (depth == 0)
                        described += (described.empty() ? "" : " ") + std::to_string(n);
                }
                sum += n;
            }
            EXPECT_LE(kids, 6);
            EXPECT_EQ(IntOf(text, "/Count"), sum);
            return sum;
        };
        walk(root, 0);
        EXPECT_EQ(described, c.rootKids);
        std::vector<int> expected;
        for (int i = 0; i < c.pages; ++i)
            expected.push_back(100 + i);
        EXPECT_EQ(heights, expected);
    }
}

TEST(OutputEndToEnd, FailedRunsLeaveFilesAlone) {
    REQUIRE_TOOL();
    const std::string old = "an earlier output\n";
    struct Case {
        std::vector<std::string> args;
        int status;
        std::string err;
    } cases[] = {
        {{"in.pdf", "no/such/dir/out.pdf"}, 1, "File 'no/such/dir/out.pdf' cannot be created\n"},
        {{"missing.pdf", "out.pdf"}, 2, "File 'missing.pdf' cannot be opened as template\n"},
        {{"missing.pdf", "new.pdf"}, 2, "File 'missing.pdf' cannot be opened as template\n"},
        {{"in.pdf", "out.pdf/"}, 1, "File 'out.pdf/' cannot be created\n"},
        {{"-pw", "guess", "locked.pdf", "out.pdf"},
         2,
         "File 'locked.pdf' cannot be opened: the password is wrong\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.args));
        TempDir dir;
        WriteFile(dir.Path() + "/in.pdf", MakeForm(1, ""));
        WriteFile(dir.Path() + "/out.pdf", old);
        if (std::find(c.args.begin(), c.args.end(), "locked.pdf") != c.args.end()) {
            if (!Have("qpdf"))
                continue;
            Shell("qpdf --allow-weak-crypto --encrypt u o 128 --use-aes=n -- " + dir.Path() +
                  "/in.pdf " + dir.Path() + "/locked.pdf");
        }
        std::vector<std::string> before = Listing(dir.Path());
        ToolResult r = RunTool(ToolPath(), c.args, "", dir.Path());
        EXPECT_EQ(r.status, c.status);
        EXPECT_EQ(r.err, c.err);
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(Listing(dir.Path()), before);
        EXPECT_EQ(ReadFile(dir.Path() + "/out.pdf"), old);
    }
}

TEST(OutputEndToEnd, TemplateCanBeItsOwnOutput) {
    REQUIRE_TOOL();
    TempDir dir;
    WriteFile(dir.Path() + "/form.pdf", ReadFile(kExampleForm));
    ToolResult r = RunTool(ToolPath(), {"form.pdf", "form.pdf"}, "", dir.Path());
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(Listing(dir.Path()), std::vector<std::string>{"form.pdf"});
    std::string pdf = ReadFile(dir.Path() + "/form.pdf");
    ASSERT_TRUE(ReadLayout(pdf).ok) << ReadLayout(pdf).problem;
    ToolResult list = RunTool(ToolPath(), {"form.pdf"}, "", dir.Path());
    EXPECT_EQ(list.out, RunTool(ToolPath(), {kExampleForm}).out);
    if (Have("qpdf")) {
        int status = -1;
        std::string check = Shell("qpdf --check " + dir.Path() + "/form.pdf 2>&1", &status);
        EXPECT_EQ(status, 0) << check;
    }
}

TEST(OutputEndToEnd, DashWritesThePdfToStandardOutput) {
    REQUIRE_TOOL();
    TempDir dir;
    Written file = WriteWith(dir, MakeForm(2, "<< /Producer (Some Writer 1.0) >>"));
    ASSERT_EQ(file.result.status, 0) << file.result.err;
    ToolResult r = RunTool(ToolPath(), {"in.pdf", "-"}, "", dir.Path());
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(Listing(dir.Path()), (std::vector<std::string>{"in.pdf", "out.pdf"}));
    EXPECT_EQ(MaskVarying(r.out), MaskVarying(file.pdf));
}

// Protected outputs as independent readers see them, opened with either password.
TEST(OutputEndToEnd, ProtectedOutputs) {
    REQUIRE_TOOL();
    if (!Have("qpdf"))
        GTEST_SKIP() << "qpdf is not installed";
    struct Case {
        std::vector<std::string> options;
        const char* user;
        const char* owner;
        int revision; // 0: not encrypted
        int keyHexDigits;
        int permissions;
    } cases[] = {
        {{"-user", "u", "-perm", ""}, "u", "u", 2, 10, -4},
        {{"-user", "u", "-owner", "o", "-perm", "I"}, "u", "o", 3, 32, -260},
        {{"-owner", "o", "-perm", "p"}, "", "o", 2, 10, -8},
        {{"-user", "u", "-owner", "o", "-perm", "PCSA"}, "u", "o", 2, 10, -64},
        {{"-owner", "o", "-perm", "5"}, "", "o", 3, 32, -4},
        {{"-user", "u", "-perm", "H0"}, "u", "u", 3, 32, 0},
        {{"-perm", "I"}, "", "", 0, 0, 0},
    };
    const std::string listing = RunTool(ToolPath(), {kExampleForm}).out;
    ASSERT_NE(listing, "");
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.options));
        TempDir dir;
        Written r = WriteWith(dir, ReadFile(kExampleForm), c.options);
        ASSERT_EQ(r.result.status, 0) << r.result.err;
        const std::string out = dir.Path() + "/out.pdf";
        for (const char* pw : {c.user, c.owner}) {
            SCOPED_TRACE(std::string("password '") + pw + "'");
            std::string shown = Shell("qpdf --show-encryption --show-encryption-key --password='" +
                                      std::string(pw) + "' " + out + " 2>&1");
            if (c.revision == 0) {
                EXPECT_NE(shown.find("File is not encrypted"), std::string::npos) << shown;
                break;
            }
            EXPECT_NE(shown.find("R = " + std::to_string(c.revision) + "\n"), std::string::npos)
                << shown;
            EXPECT_NE(shown.find("P = " + std::to_string(c.permissions) + "\n"), std::string::npos)
                << shown;
            std::smatch m;
            ASSERT_TRUE(std::regex_search(shown, m, std::regex("Encryption key = ([0-9a-f]+)")))
                << shown;
            EXPECT_EQ(m.length(1), c.keyHexDigits);
            if (std::string(c.user) != c.owner) {
                std::string role = pw == c.owner ? "owner" : "user";
                EXPECT_NE(shown.find("Supplied password is " + role + " password"),
                          std::string::npos)
                    << shown;
            }
            int status = -1;
            std::string check = Shell(
                "qpdf --check --password='" + std::string(pw) + "' " + out + " 2>&1", &status);
            EXPECT_EQ(status, 0) << check;
            if (Have("pdftotext")) {
                std::string flag = *pw == 0 ? "" : pw == c.owner ? "-opw " : "-upw ";
                std::string text = Shell("pdftotext " + flag + pw + " " + out + " - 2>&1");
                EXPECT_NE(text.find("Membership application"), std::string::npos) << text;
            }
            ToolResult list = RunTool(ToolPath(), {"-pw", pw, "out.pdf"}, "", dir.Path());
            EXPECT_EQ(list.status, 0) << list.err;
            EXPECT_EQ(list.out, listing);
        }
    }
}
