// Flattening with the built tool: the flattened page must look as the filled one does in poppler,
// carry no widget, and show each value on its own page.
#include "tests/support/pdf_builder.h"
#include "tests/support/run_tool.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace {

// Turned widgets, a comb, two widgets sharing one appearance, a check box, a page whose content
// leaves a scaling in force, and a turned page.
std::string FormToFlatten() {
    testpdf::PdfBuilder b("1.7");
    b.Add(1, "<< /Type /Catalog /Pages 2 0 R /AcroForm << /Fields [5 0 R 6 0 R 7 0 R 8 0 R 9 0 R "
             "10 0 R 13 0 R 14 0 R] /DA (/Helv 0 Tf 0 g) >> >>");
    b.Add(2, "<< /Type /Pages /Kids [3 0 R 4 0 R] /Count 2 >>");
    b.Add(3, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 400 400] /Contents 15 0 R "
             "/Annots [5 0 R 6 0 R 7 0 R 8 0 R 9 0 R 11 0 R 12 0 R 13 0 R] >>");
    b.Add(4, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 400 300] /Rotate 90 /Annots [14 0 R] >>");
    const std::string w = "/Type /Annot /Subtype /Widget /F 4 /FT /Tx ";
    b.Add(5, "<< " + w + "/T (plain) /Rect [20 350 220 375] /DA (/Helv 12 Tf 0 0 1 rg) >>");
    b.Add(6, "<< " + w + "/T (r90) /Rect [250 150 275 350] /MK << /R 90 >> >>");
    b.Add(7, "<< " + w + "/T (r180) /Rect [20 300 220 325] /MK << /R 180 >> >>");
    b.Add(8, "<< " + w + "/T (r270) /Rect [300 150 325 350] /MK << /R 270 /BG [0.8] >> >>");
    b.Add(9, "<< " + w + "/T (comb) /Ff 16777216 /MaxLen 6 /Rect [20 250 140 275] >>");
    b.Add(10, "<< /FT /Tx /T (shared) /Kids [11 0 R 12 0 R] /V (same) >>");
    b.Add(11, "<< /Type /Annot /Subtype /Widget /F 4 /Parent 10 0 R /Rect [20 200 120 220] "
              "/AP << /N 16 0 R >> >>");
    b.Add(12, "<< /Type /Annot /Subtype /Widget /F 4 /Parent 10 0 R /Rect [150 200 250 220] "
              "/AP << /N 16 0 R >> >>");
    b.Add(13, "<< /Type /Annot /Subtype /Widget /F 4 /FT /Btn /T (box) /Rect [20 150 40 170] >>");
    b.Add(14, "<< " + w + "/T (turned) /Rect [50 50 250 80] >>");
    b.AddStream(15, "", "2 0 0 2 0 0 cm 0.9 g 0 0 20 20 re f");
    b.AddStream(16, "/Type /XObject /Subtype /Form /BBox [0 0 100 20]",
                "0 0 1 rg 0 0 100 20 re f 1 g BT /F1 1 Tf ET");
    b.Trailer("/Root 1 0 R");
    return b.Build();
}

// Share of pixels of two grey images (same size) that differ clearly; 1 when they cannot be read.
double Differing(const std::string& a, const std::string& b) {
    if (a.size() != b.size() || a.size() < 20)
        return 1.0;
    size_t header = a.find("255\n") + 4;
    size_t differ = 0;
    for (size_t i = header; i < a.size(); ++i)
        differ += std::abs(static_cast<int>(static_cast<uint8_t>(a[i])) -
                           static_cast<int>(static_cast<uint8_t>(b[i]))) > 32;
    return static_cast<double>(differ) / static_cast<double>(a.size() - header);
}

} // namespace

TEST(FlattenEndToEnd, LooksAsFilledWithoutWidgets) {
    REQUIRE_TOOL();
    if (!Have("pdftoppm -v") || !Have("/usr/bin/python3 -c 'import pypdf'") ||
        !Have("qpdf --version"))
        GTEST_SKIP() << "poppler-utils, pypdf or qpdf is not installed";
    TempDir dir;
    const std::string in = dir.Path() + "/in.pdf";
    WriteFile(in, FormToFlatten());
    const std::vector<std::string> values = {
        "plain=Plain text", "r90=Turned ninety", "r180=Upside down",       "r270=Turned back",
        "comb=123456",      "box=Yes",           "turned=On a turned page"};
    std::vector<std::string> filled{in, dir.Path() + "/filled.pdf"},
        flat{"-flatten", in, dir.Path() + "/flat.pdf"};
    filled.insert(filled.end(), values.begin(), values.end());
    flat.insert(flat.end(), values.begin(), values.end());
    ASSERT_EQ(RunTool(ToolPath(), filled).status, 0);
    ToolResult r = RunTool(ToolPath(), flat);
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(Shell("qpdf --check " + dir.Path() + "/flat.pdf >/dev/null && echo ok"), "ok\n");
    const char* script = "import pypdf,sys\n"
                         "r = pypdf.PdfReader(sys.argv[1])\n"
                         "print(sum(1 for p in r.pages for a in p.get('/Annots', [])), "
                         "'/AcroForm' in r.trailer['/Root'], end='')";
    EXPECT_EQ(Shell("/usr/bin/python3 -c " + Quote(script) + " " + dir.Path() + "/flat.pdf"),
              "0 False");
    for (int page = 1; page <= 2; ++page) {
        SCOPED_TRACE(page);
        std::string render =
            "pdftoppm -r 72 -gray -f " + std::to_string(page) + " -l " + std::to_string(page) + " ";
        double share = Differing(Shell(render + dir.Path() + "/filled.pdf"),
                                 Shell(render + dir.Path() + "/flat.pdf"));
        EXPECT_LT(share, 0.005);
        std::string text = Shell("pdftotext -f " + std::to_string(page) + " -l " +
                                 std::to_string(page) + " " + dir.Path() + "/flat.pdf -");
        EXPECT_EQ(text.find("Plain text") != std::string::npos, page == 1) << text;
        EXPECT_EQ(text.find("On a turned page") != std::string::npos, page == 2) << text;
    }
}
