// Broken page trees: every page another reader recovers reaches the copy, and the copy passes an
// independent check.
#include "tests/corpus/corpus_manifest.h"
#include "tests/support/pdf_builder.h"
#include "tests/support/run_tool.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>

namespace {

// The pages of a file as counted by qpdf; with rewrite, of qpdf's own copy of it, so that the
// count is what qpdf recovers rather than what the file claims.
int QpdfPages(const std::string& path, bool rewrite = false) {
    int status = -1;
    std::string counted = path;
    if (rewrite) {
        counted = path + ".qpdf.pdf";
        Shell("qpdf --empty --pages " + Quote(path) + " -- " + Quote(counted) + " >/dev/null 2>&1",
              &status);
        if (status != 0 && status != 3)
            return 0;
    }
    std::string out = Shell("qpdf --show-npages " + Quote(counted) + " 2>/dev/null", &status);
    return status == 0 || status == 3 ? std::atoi(out.c_str()) : -1;
}

const std::string kFont =
    "/Resources << /Font << /F1 << /Type /Font /Subtype /Type1 /BaseFont /Helvetica >> >> >>";

std::string Page(int n, const std::string& resources = kFont) {
    return "<< /Type /Page " + resources + " /Contents " + std::to_string(n + 100) + " 0 R >>";
}

// Catalog 1 and root 2 with the given kids, pages 3.. with a content stream each, plus extras.
std::string Tree(const std::string& root, int pages,
                 const std::function<void(testpdf::PdfBuilder&)>& more = {},
                 const std::string& resources = kFont) {
    testpdf::PdfBuilder b("1.4");
    b.Add(1, "<< /Type /Catalog /Pages 2 0 R >>");
    b.Add(2, root);
    for (int n = 3; n < 3 + pages; ++n) {
        b.Add(n, Page(n, resources));
        b.AddStream(n + 100, "", "BT /F1 12 Tf 72 720 Td (page " + std::to_string(n) + ") Tj ET");
    }
    if (more)
        more(b);
    b.Trailer("/Root 1 0 R");
    return b.Build();
}

// The run that copies path: its status, the pages of the copy, qpdf's verdict on it, and the
// numbers of the pages as the copy draws them, in order, when pdftotext is installed.
struct Copy {
    int status = -1;
    int pages = -1;
    int check = -1;
    std::string err, order;
};

Copy CopyFile(const std::string& dir, const std::string& in) {
    Copy c;
    std::string out = dir + "/out.pdf";
    std::filesystem::remove(out);
    ToolResult r = RunTool(ToolPath(), {in, out});
    c.status = r.status;
    c.err = r.err;
    if (r.status != 0)
        return c;
    c.pages = QpdfPages(out);
    Shell("qpdf --check " + Quote(out) + " >/dev/null 2>&1", &c.check);
    std::string text = Have("pdftotext -v") ? Shell("pdftotext " + Quote(out) + " -") : "";
    for (size_t at = 0; (at = text.find("page ", at)) != std::string::npos; at += 5)
        c.order += (c.order.empty() ? "" : " ") + text.substr(at + 5, text.find('\n', at) - at - 5);
    return c;
}

// Two sections whose older one names the newer as its /Prev: the chain loops.
std::string LoopingChain() {
    testpdf::PdfBuilder b("1.4");
    b.Add(1, "<< /Type /Catalog /Pages 2 0 R >>");
    b.Add(2, "<< /Type /Pages /Kids [3 0 R 4 0 R] /Count 2 >>");
    b.Add(3, Page(3)).AddStream(103, "", "0 0 m S");
    b.Trailer("/Root 1 0 R");
    b.NewSection().Add(4, Page(4)).AddStream(104, "", "0 0 m S").Trailer("/Root 1 0 R");
    std::string pdf = b.Build();
    size_t at = pdf.rfind("/Prev ");
    std::string newest = std::to_string(b.StartXref());
    size_t end = pdf.find_first_not_of("0123456789", at + 6);
    if (at != std::string::npos && newest.size() <= end - at - 6)
        pdf.replace(at + 6, end - at - 6, newest + std::string(end - at - 6 - newest.size(), ' '));
    return pdf;
}

} // namespace

TEST(PagesEndToEnd, BrokenTreesKeepEveryPageOtherReadersFind) {
    REQUIRE_TOOL();
    if (!Have("qpdf --version"))
        GTEST_SKIP() << "qpdf is not installed";
    // pages: what the copy must hold; invented: pages qpdf makes up from a missing kid or a node
    // without /Kids, which are left out here; order: the pages drawn, when it matters.
    struct Case {
        const char* name;
        std::string pdf;
        int pages;
        int invented = 0;
        const char* order = "";
    } cases[] = {
        {"count missing", Tree("<< /Type /Pages /Kids [3 0 R 4 0 R 5 0 R] >>", 3), 3, 0},
        {"count absurd", Tree("<< /Type /Pages /Kids [3 0 R 4 0 R] /Count 9999999999 >>", 2), 2, 0},
        {"direct kid", Tree("<< /Type /Pages /Kids [3 0 R << /Type /Page >> 4 0 R] /Count 3 >>", 2),
         3, 0},
        {"missing kid", Tree("<< /Type /Pages /Kids [3 0 R 90 0 R 4 0 R] /Count 3 >>", 2), 2, 1},
        {"kid back to an ancestor",
         Tree("<< /Type /Pages /Kids [3 0 R 50 0 R] /Count 3 >>", 2,
              [](testpdf::PdfBuilder& b) {
                  b.Add(50, "<< /Type /Pages /Parent 2 0 R /Kids [2 0 R 4 0 R] /Count 2 >>");
              }),
         2, 0},
        {"node without kids",
         Tree("<< /Type /Pages /Kids [50 0 R 3 0 R 4 0 R] /Count 2 >>", 2,
              [](testpdf::PdfBuilder& b) { b.Add(50, "<< /Type /Pages /Count 0 >>"); }),
         2, 1},
        {"nested kids keep their order",
         Tree("<< /Type /Pages /Kids [50 0 R 3 0 R] >>", 3,
              [](testpdf::PdfBuilder& b) { b.Add(50, "<< /Type /Pages /Kids [4 0 R 5 0 R] >>"); }),
         3, 0, "4 5 3"},
        {"kids not an array", Tree("<< /Type /Pages /Kids 3 0 R >>", 1), 1, 0, "3"},
        {"kids without type",
         Tree("<< /Type /Pages /Kids [50 0 R 4 0 R] >>", 2,
              [](testpdf::PdfBuilder& b) {
                  b.Add(50, "<< /Kids [3 0 R] >>");
                  b.Add(4, "<< " + kFont + " /Contents 104 0 R >>");
              }),
         2, 0, "3 4"},
        {"root is a page", Tree("<< /Type /Page /MediaBox [0 0 200 200] >>", 0), 1, 0},
        {"page listed twice", Tree("<< /Type /Pages /Kids [3 0 R 3 0 R 4 0 R] /Count 3 >>", 2), 3,
         0},
        {"very deep tree",
         Tree("<< /Type /Pages /Kids [200 0 R 3 0 R] /MediaBox [0 0 300 300] >>", 2,
              [](testpdf::PdfBuilder& b) {
                  const int depth = 20000; // beyond any nesting limit: the walk must not recurse
                  for (int n = 200; n < 200 + depth; ++n)
                      b.Add(n, "<< /Type /Pages /Kids [" + std::to_string(n + 1) + " 0 R] >>");
                  b.Add(200 + depth, "<< /Type /Page >>");
              }),
         2, 0},
        {"page without /Type that a field points at",
         Tree("<< /Type /Pages /Kids [3 0 R 4 0 R] /Count 2 /MediaBox [0 0 300 300] >>", 1,
              [](testpdf::PdfBuilder& b) {
                  b.Add(1, "<< /Type /Catalog /Pages 2 0 R /AcroForm << /Fields [60 0 R] >> >>");
                  b.Add(4, "<< /Parent 2 0 R /Contents 104 0 R /Annots [60 0 R] >>");
                  b.AddStream(104, "", "0 0 m S");
                  b.Add(60, "<< /Subtype /Widget /T (f) /FT /Tx /P 4 0 R /Rect [0 0 9 9] >>");
              }),
         2, 0},
        {"page tree unreadable", Tree("(not a dictionary)", 3), 3, 0, "3 4 5"},
        {"cross-reference chain loops", LoopingChain(), 2, 0},
    };
    TempDir dir;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::string in = dir.Path() + "/in.pdf";
        WriteFile(in, c.pdf);
        Copy copy = CopyFile(dir.Path(), in);
        EXPECT_EQ(copy.status, 0) << copy.err;
        EXPECT_EQ(copy.err, "");
        EXPECT_EQ(copy.pages, c.pages);
        EXPECT_GE(copy.pages, QpdfPages(in, true) - c.invented);
        EXPECT_EQ(copy.check, 0);
        if (*c.order != 0 && Have("pdftotext -v")) {
            EXPECT_EQ(copy.order, c.order);
        }
    }
}

// A form cut short keeps what can be recovered, or is refused as a template; it never yields an
// empty document.
TEST(PagesEndToEnd, TruncatedFilesAreCopiedOrRefused) {
    REQUIRE_TOOL();
    if (!Have("qpdf --version"))
        GTEST_SKIP() << "qpdf is not installed";
    TempDir dir;
    std::string whole = Tree("<< /Type /Pages /Kids [3 0 R 4 0 R 5 0 R] /Count 3 >>", 3, {}, "");
    std::vector<std::string> files;
    for (size_t cut : {whole.size() / 3, whole.size() * 2 / 3, whole.size() - 40})
        files.push_back(whole.substr(0, cut));
    std::string f1040 = SharedDir() + "/bench/f1040.pdf";
    if (std::filesystem::exists(f1040))
        files.push_back(ReadFile(f1040).substr(0, 120000));
    for (size_t i = 0; i < files.size(); ++i) {
        SCOPED_TRACE(i);
        std::string in = dir.Path() + "/cut.pdf";
        WriteFile(in, files[i]);
        Copy copy = CopyFile(dir.Path(), in);
        if (copy.status == 2) {
            EXPECT_EQ(copy.err, "File '" + in + "' cannot be opened as template\n");
            EXPECT_FALSE(std::filesystem::exists(dir.Path() + "/out.pdf"));
            continue;
        }
        EXPECT_EQ(copy.status, 0) << copy.err;
        EXPECT_GE(copy.pages, 1);
        EXPECT_EQ(copy.check, 0);
    }
}
