// Output files written by the built tool: file layout, document information, page tree, exit
// statuses and the files left behind, standard output, and protected outputs. Fixtures are built
// by the test; qpdf serves as the independent reader where installed.
// GCC 12 at -O2 with the sanitizers reports std::regex internals as maybe uninitialized.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"

#include "tests/structure/structure_fixture.h"
#include "tests/support/pdf_builder.h"
#include "tests/support/run_tool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <numeric>
#include <regex>
#include <string>
#include <tuple>
#include <vector>

using teststructure::Bytes;
using teststructure::Reread;

namespace {

// qpdf finds nothing wrong with the file (when installed).
void ExpectQpdfPasses(const std::string& path, const std::string& password = "") {
    if (!Have("qpdf --version"))
        return;
    int status = -1;
    std::string report =
        Shell("qpdf --check --password=" + Quote(password) + " " + path + " 2>&1", &status);
    EXPECT_EQ(status, 0) << report;
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

// A tagged file keeps its structure tree, which points at the copied page and annotation, and
// its metadata, page labels and output intents; of its viewer preferences only the usage rights
// go. References to objects the file does not have
// (one numbered like the writer's own numbers) come out null.
TEST(OutputEndToEnd, CatalogEntriesAndMissingObjects) {
    REQUIRE_TOOL();
    if (!Have("qpdf --version") || !Have("/usr/bin/python3 -c 'import pypdf'"))
        GTEST_SKIP() << "qpdf or pypdf is not installed";
    testpdf::PdfBuilder b("1.7");
    b.Add(1, "<< /Type /Catalog /Pages 2 0 R /MarkInfo << /Marked true >> /StructTreeRoot 6 0 R "
             "/Metadata 9 0 R /PageLabels << /Nums [0 << /S /r >>] >> "
             "/OutputIntents [<< /Type /OutputIntent /S /GTS_PDFA1 >>] "
             "/ViewerPreferences << /Rights << >> /HideToolbar true >> >>");
    b.Add(2, "<< /Type /Pages /Kids [3 0 R] /Count 1 >>");
    b.Add(3, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 200 200] /StructParents 0 "
             "/Annots [5 0 R] /Big 10000005 0 R /Gone 77 0 R /Arr [10000005 0 R 77 0 R 1] >>");
    b.Add(5, "<< /Type /Annot /Subtype /Link /Rect [0 0 10 10] /StructParent 1 /P 3 0 R >>");
    b.Add(6, "<< /Type /StructTreeRoot /K 7 0 R /ParentTree << /Nums [0 [7 0 R] 1 8 0 R] >> >>");
    b.Add(7, "<< /Type /StructElem /S /P /P 6 0 R /Pg 3 0 R /K 0 >>");
    b.Add(8, "<< /Type /StructElem /S /Link /P 6 0 R /Pg 3 0 R /K << /Type /OBJR /Obj 5 0 R >> >>");
    b.AddStream(9, "/Type /Metadata /Subtype /XML", "<x/>");
    b.Trailer("/Root 1 0 R /Size 10");
    TempDir dir;
    Written r = WriteWith(dir, b.Build());
    ASSERT_EQ(r.result.status, 0) << r.result.err;
    ExpectQpdfPasses(dir.Path() + "/out.pdf");
    const char* script = R"(import pypdf, sys
r = pypdf.PdfReader(sys.argv[1]); c = r.trailer['/Root']; p = r.pages[0]; t = c['/StructTreeRoot']
link = t['/ParentTree']['/Nums'][3].get_object()
print(p.get('/Big'), p.get('/Gone'), p['/Arr'][0], p['/Arr'][1], p['/Arr'][2],
      t['/K'].raw_get('/Pg').idnum == p.indirect_reference.idnum,
      link['/K'].raw_get('/Obj').idnum == p.raw_get('/Annots')[0].idnum,
      c['/Metadata'].get_data(), c['/PageLabels']['/Nums'][1]['/S'], c['/OutputIntents'][0]['/S'],
      '/Rights' in c['/ViewerPreferences'], c['/ViewerPreferences']['/HideToolbar']))";
    EXPECT_EQ(Shell("/usr/bin/python3 -c " + Quote(script) + " " + dir.Path() + "/out.pdf"),
              "NullObject NullObject NullObject NullObject 1 True True b'<x/>' /r /GTS_PDFA1 False "
              "True\n");
}

} // namespace

// qpdf checks the cross-reference table against the objects and the syntax; the bytes checked
// here are the layout rules it does not check.
TEST(OutputEndToEnd, FileLayout) {
    REQUIRE_TOOL();
    TempDir dir;
    std::string subject(110, 's');
    for (size_t i = 7; i < subject.size(); i += 8)
        subject[i] = ' ';
    Written r =
        WriteWith(dir, MakeForm(7, "<< /Producer (Some Writer 1.0) /Subject (" + subject + ") >>"));
    ASSERT_EQ(r.result.status, 0) << r.result.err;
    EXPECT_EQ(r.result.err, "");
    ExpectQpdfPasses(dir.Path() + "/out.pdf");
    EXPECT_EQ(r.pdf.substr(0, 17), "%PDF-1.4\r\n%\xE2\xE3\xCF\xD3\r\n");
    for (const char* layout :
         {"\r\nxref\r\n0 [0-9]+\r\n0000000000 65535 f\r\n",
          "\r\n/ID \\[<([0-9a-f]{32})><\\1>\\]\r\n", "\r\nstartxref\r\n[0-9]+\r\n%%EOF\r\n$"})
        EXPECT_TRUE(std::regex_search(r.pdf, std::regex(layout))) << layout;
    // A literal longer than a line stands alone on its line, unbroken.
    EXPECT_NE(r.pdf.find("\r\n(" + subject + ")\r\n"), std::string::npos);
    // A long array wraps between tokens, only where the next one would pass column 75.
    std::vector<std::string> lines;
    for (size_t at = r.pdf.rfind("\r\n", r.pdf.find("/Widths [")) + 2, to;
         (lines.empty() || lines.back().find(']') == std::string::npos) &&
         (to = r.pdf.find("\r\n", at)) != std::string::npos;
         at = to + 2)
        lines.push_back(r.pdf.substr(at, to - at));
    ASSERT_GT(lines.size(), 1u);
    for (size_t i = 0; i + 1 < lines.size(); ++i)
        EXPECT_TRUE(lines[i].size() <= 75 && lines[i].size() + 1 + lines[i + 1].find(' ') > 75)
            << lines[i];
    Reread file(r.pdf);
    const PDValue* widths = file.At(file.Page(0), {"/Resources", "/Font", "/Helv", "/Widths"});
    ASSERT_EQ(widths->ElementCount(), 95);
    EXPECT_EQ(widths->Element(94)->GetInt(), 376);
}

namespace {

// The pages under the node ref names, checking /Parent, /Count and at most six kids on the way;
// pages' heights and the counts under the root's kids are collected.
int Walk(Reread& file, const PDValue* ref, int32_t parent, std::vector<int>& heights,
         std::vector<int>& rootKids, int depth = 0) {
    const PDValue* node = file.in.Resolve(ref);
    if (node == nullptr || depth > 4)
        return -1000;
    const PDValue* up = node->Get("/Parent");
    EXPECT_EQ(up != nullptr ? up->Number() : 0, parent);
    const PDValue* kids = file.At(node, {"/Kids"});
    int sum = kids == nullptr ? 1 : 0;
    if (kids == nullptr)
        heights.push_back(file.At(node, {"/MediaBox", "3"})->GetInt());
    for (const PDValue* kid = kids ? kids->First() : nullptr; kid; kid = kid->Next())
        sum += Walk(file, kid, ref->Number(), heights, rootKids, depth + 1);
    if (kids != nullptr) {
        EXPECT_LE(kids->ElementCount(), 6);
        EXPECT_EQ(file.At(node, {"/Count"})->GetInt(), sum);
    }
    if (depth == 1)
        rootKids.push_back(sum);
    return sum;
}

} // namespace

// The pages keep their order, grouped six to a node.
TEST(OutputEndToEnd, PageTreeIsBalancedWithSixKidsPerNode) {
    REQUIRE_TOOL();
    const std::pair<int, std::vector<int>> cases[] = {
        {1, {1}}, {6, {1, 1, 1, 1, 1, 1}}, {7, {6, 1}}, {36, {6, 6, 6, 6, 6, 6}}, {37, {36, 1}}};
    for (const auto& [pages, rootKids] : cases) {
        SCOPED_TRACE(pages);
        TempDir dir;
        Written r = WriteWith(dir, MakeForm(pages, ""));
        ASSERT_EQ(r.result.status, 0) << r.result.err;
        Reread file(r.pdf);
        std::vector<int> heights, counts, expected(static_cast<size_t>(pages));
        std::iota(expected.begin(), expected.end(), 100);
        EXPECT_EQ(Walk(file, file.in.Catalog()->Get("/Pages"), 0, heights, counts), pages);
        EXPECT_EQ(counts, rootKids);
        EXPECT_EQ(heights, expected);
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
        Reread file(r.pdf);
        const PDValue* info = file.in.Resolve(file.At(file.in.Trailer(), {"/Info"}));
        ASSERT_NE(info, nullptr);
        std::string producer = Bytes(info->Get("/Producer"));
        ASSERT_EQ(producer.substr(0, c.kept.size() + lib.size()), c.kept + lib);
        ASSERT_EQ(producer.back(), ')');
        std::string rest = producer.substr(c.kept.size() + lib.size());
        address = address.empty() ? rest : address;
        EXPECT_EQ(rest, address);
        bool titled = std::string(c.info).find("Kept") != std::string::npos;
        EXPECT_EQ(Bytes(info->Get("/Title")), titled ? "Kept" : "");
        if (*c.info == 0) { // a new dictionary holds the two entries only
            EXPECT_EQ(info->Dict()->Count(), 2);
        }

        // Six fields of at most 4, 2, 2, 2, 2 and 2 digits in 18 bytes without blanks: all are
        // padded with zeros.
        std::tm t{};
        const PDValue* date = info->Get("/ModDate");
        std::string raw = date != nullptr ? date->Text().ToString() : "";
        const char* end = strptime(raw.c_str(), "(D:%Y%m%d%H%M%S", &t);
        ASSERT_TRUE(end != nullptr && std::string(end) == ")" && raw.size() == 18 &&
                    raw.find(' ') == std::string::npos)
            << raw;
        t.tm_isdst = -1;
        double skew = std::difftime(std::mktime(&t), before);
        EXPECT_TRUE(skew >= -1 && skew < 120) << "local time off by " << skew << " s";
    }
}

TEST(OutputEndToEnd, TemplateCanBeItsOwnOutput) {
    REQUIRE_TOOL();
    TempDir dir;
    WriteFile(dir.Path() + "/form.pdf", ReadFile(kExampleForm));
    ToolResult r = RunTool(ToolPath(), {"form.pdf", "form.pdf"}, "", dir.Path());
    EXPECT_EQ(r.status, 0) << r.err;
    using Entries = std::filesystem::directory_iterator; // no temporary file is left behind
    EXPECT_EQ(std::distance(Entries(dir.Path()), Entries()), 1);
    ToolResult list = RunTool(ToolPath(), {"form.pdf"}, "", dir.Path());
    EXPECT_EQ(list.out, RunTool(ToolPath(), {kExampleForm}).out);
    ExpectQpdfPasses(dir.Path() + "/form.pdf");
}

// Protected outputs as an independent reader sees them: the level and permissions the letters
// of -perm choose (I, E, D, Q or the digit 5 need revision 3; H takes hexadecimal bits), and,
// with either password, strings and streams decrypted and the listing unchanged.
TEST(OutputEndToEnd, ProtectedOutputs) {
    REQUIRE_TOOL();
    if (!Have("qpdf --version"))
        GTEST_SKIP() << "qpdf is not installed";
    struct Case {
        std::vector<std::string> options;
        const char* user;
        const char* owner;
        int revision; // 0: not encrypted
        int permissions;
        bool full = true;
    };
    std::vector<Case> cases = {
        {{"-user", "u", "-perm", ""}, "u", "u", 2, -4},
        {{"-user", "u", "-owner", "", "-perm", "5"}, "u", "u", 3, -4},
        {{"-user", "u", "-owner", "o", "-perm", "I"}, "u", "o", 3, -260},
        {{"-owner", "o", "-perm", "p"}, "", "o", 2, -8},
        {{"-user", "u", "-perm", "H0"}, "u", "u", 3, 0},
        {{"-perm", "I"}, "", "", 0, 0},
        // AES-256 keeps the letters' /P whatever level they would choose for RC4.
        {{"--aes", "-user", "u", "-owner", "o", "-perm", "PI"}, "u", "o", 6, -264},
        {{"-owner", "o", "--aes", "-perm", "H0"}, "", "o", 6, 0},
    };
    const std::tuple<const char*, int, int> letters[] = {
        // clang-format off
        {"PCsa", 2, -64},         {"xX", 2, -68},        {"Hfffff0fc", 3, -3844}, {"E", 3, -516},
        {"D", 3, -1028},          {"q", 3, -2052},       {"5", 3, -4},            {"H", 3, 0},
        {"HFFFFFFFC,p", 2, -8},   {"HFFFFFFFCp", 2, -4}, {"H1FFFFFFFC", 2, -4},    {"hP", 2, -8},
        {"zz?!P", 2, -8},         {"PH5", 3, 5},
        // clang-format on
    };
    for (const auto& [perm, revision, permissions] : letters)
        cases.push_back({{"-user", "u", "-perm", perm}, "u", "u", revision, permissions, false});
    const std::string listing = RunTool(ToolPath(), {kExampleForm}).out;
    ASSERT_NE(listing, "");
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.options));
        TempDir dir;
        Written r = WriteWith(dir, ReadFile(kExampleForm), c.options);
        ASSERT_EQ(r.result.status, 0) << r.result.err;
        const std::string out = dir.Path() + "/out.pdf";
        for (const std::string pw : {c.user, c.owner}) {
            SCOPED_TRACE("password '" + pw + "'");
            std::string shown =
                Shell("qpdf --show-encryption --password=" + Quote(pw) + " " + out + " 2>&1");
            if (c.revision == 0) {
                EXPECT_NE(shown.find("File is not encrypted"), std::string::npos) << shown;
                break;
            }
            EXPECT_NE(shown.find("R = " + std::to_string(c.revision) + "\n"), std::string::npos)
                << shown;
            EXPECT_NE(shown.find("P = " + std::to_string(c.permissions) + "\n"), std::string::npos)
                << shown;
            if (!c.full)
                break;
            // Without an owner password of its own, the user password is also the owner's.
            std::string role = pw == c.owner ? "owner" : "user";
            EXPECT_NE(shown.find("Supplied password is " + role + " password"), std::string::npos)
                << shown;
            ExpectQpdfPasses(out, pw);
            const std::string flag = pw == c.owner ? "-opw " : "-upw ";
            EXPECT_NE(Shell("pdftotext " + flag + Quote(pw) + " " + out + " -").find("Membership"),
                      std::string::npos);
            std::string plain = Shell("qpdf --password=" + Quote(pw) +
                                      " --qdf --object-streams=disable --decrypt " + out + " -");
            EXPECT_NE(plain.find("/V (Ada Lovelace)"), std::string::npos);
            EXPECT_NE(plain.find("(Membership application) Tj"), std::string::npos);
            ToolResult list = RunTool(ToolPath(), {"-pw", pw, "out.pdf"}, "", dir.Path());
            EXPECT_EQ(list.status, 0) << list.err;
            EXPECT_EQ(list.out, listing);
        }
    }
}
