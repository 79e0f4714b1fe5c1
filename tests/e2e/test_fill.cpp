// Filling forms with the built tool, checked by independent readers: pypdf for /V and /AS,
// pdftotext for the drawn text, pdftoppm for the drawn check marks.
#include "tests/support/pdf_builder.h"
#include "tests/support/run_tool.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// One page holding a widget of every kind of field.
std::string FormOfEveryKind() {
    testpdf::PdfBuilder b("1.7");
    b.Add(1, "<< /Type /Catalog /Pages 2 0 R /AcroForm << /Fields [4 0 R 5 0 R 6 0 R 7 0 R 8 0 R "
             "11 0 R 12 0 R 13 0 R 14 0 R 15 0 R] /DA (/Helv 0 Tf 0 g) "
             "/DR << /Font << /Helv 20 0 R >> >> >> >>");
    b.Add(2, "<< /Type /Pages /Kids [3 0 R] /Count 1 >>");
    b.Add(3,
          "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 400 400] "
          "/Annots [4 0 R 5 0 R 6 0 R 7 0 R 9 0 R 10 0 R 11 0 R 12 0 R 13 0 R 14 0 R 15 0 R] >>");
    const std::string w = "/Type /Annot /Subtype /Widget /F 4 /P 3 0 R ";
    // A text field whose appearance has a background in front of its marked part.
    b.Add(4, "<< /FT /Tx /T (text) " + w + "/Rect [10 360 210 380] /AP << /N 16 0 R >> >>");
    // A name written in UTF-16: "Näme".
    b.Add(5, "<< /FT /Tx /T <FEFF004E00E4006D0065> " + w + "/Rect [10 330 210 350] >>");
    b.Add(6, "<< /FT /Btn /T (box) /V /Off /AS /Off " + w +
                 "/Rect [10 300 30 320] /AP << /N << /On 17 0 R /Off 18 0 R >> >> >>");
    b.Add(7, "<< /FT /Btn /T (bare) " + w + "/Rect [40 300 60 320] /MK << /CA (8) >> >>");
    b.Add(8, "<< /FT /Btn /Ff 49152 /T (radio) /V /Off /Kids [9 0 R 10 0 R] >>");
    b.Add(9, "<< /Parent 8 0 R " + w +
                 "/Rect [70 300 90 320] /AS /Off /AP << /N << /a 17 0 R /Off 18 0 R >> >> >>");
    b.Add(10, "<< /Parent 8 0 R " + w +
                  "/Rect [100 300 120 320] /AS /Off /AP << /N << /b 17 0 R /Off 18 0 R >> >> >>");
    b.Add(11, "<< /FT /Ch /T (list) /Opt [(x) [(y) (Why)] (z)] " + w + "/Rect [10 200 110 280] >>");
    b.Add(12, "<< /FT /Ch /Ff 131072 /T (combo) /Opt [(one) (two)] " + w +
                  "/Rect [120 260 220 280] >>");
    b.Add(13, "<< /FT /Btn /Ff 65536 /T (push) " + w + "/Rect [230 260 260 280] >>");
    b.Add(14, "<< /FT /Tx /Ff 4096 /T (notes) " + w + "/Rect [10 100 210 190] >>");
    b.Add(15, "<< /FT /Tx /Ff 16781312 /MaxLen 4 /T (comb) " + w + "/Rect [230 100 310 120] >>");
    b.AddStream(16, "/Type /XObject /Subtype /Form /BBox [0 0 200 20]",
                "0.9 g 0 0 200 20 re f /Tx BMC BT /Helv 9 Tf (old) Tj ET EMC");
    b.AddStream(17, "/Type /XObject /Subtype /Form /BBox [0 0 20 20]", "0 g 0 0 20 20 re f");
    b.AddStream(18, "/Type /XObject /Subtype /Form /BBox [0 0 20 20]", "");
    b.Add(20, "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /Encoding /WinAnsiEncoding >>");
    b.Trailer("/Root 1 0 R");
    return b.Build();
}

const char* kFieldsScript = R"(import pypdf, sys
r = pypdf.PdfReader(sys.argv[1])
for name, f in r.get_fields().items():
    print(name, repr(f.get('/V')), f.get('/_States_', ''))
for a in r.pages[0]['/Annots']:
    a = a.get_object()
    if '/AS' in a: print('AS', a['/T'] if '/T' in a else a['/Parent']['/T'], a['/AS'])
print('NeedAppearances' in r.trailer['/Root']['/AcroForm'])
)";

// Mean darkness (0 white .. 255 black) of a box of the page, in points from the bottom left.
double Darkness(const std::string& pdf, int x, int y, int w, int h) {
    std::string pgm = Shell("pdftoppm -r 72 -gray -x " + std::to_string(x) + " -y " +
                            std::to_string(400 - y - h) + " -W " + std::to_string(w) + " -H " +
                            std::to_string(h) + " " + Quote(pdf));
    // "P5\n<w> <h>\n255\n" then the pixels.
    size_t at = 0;
    for (int lines = 0; lines < 3 && at != std::string::npos; ++lines)
        at = pgm.find('\n', at) + 1;
    if (at == 0 || at >= pgm.size())
        return -1;
    double sum = 0;
    for (size_t i = at; i < pgm.size(); ++i)
        sum += 255 - static_cast<uint8_t>(pgm[i]);
    return sum / static_cast<double>(pgm.size() - at);
}

} // namespace

TEST(FillEndToEnd, EveryKindOfFieldTakesItsValue) {
    REQUIRE_TOOL();
    if (!Have("/usr/bin/python3 -c 'import pypdf'") || !Have("pdftotext -v") ||
        !Have("qpdf --version"))
        GTEST_SKIP() << "pypdf, poppler-utils or qpdf is not installed";
    TempDir dir;
    const std::string in = dir.Path() + "/in.pdf";
    const std::string out = dir.Path() + "/out.pdf";
    WriteFile(in, FormOfEveryKind());
    ToolResult r = RunTool(ToolPath(), {in, out, "text=Hello (world)", "Näme=Grüße", "box=yes",
                                        "bare=X", "radio=/b", "list=Why", "combo=three", "push=1",
                                        "notes=alpha beta\ngamma", "comb=123456",
                                        "text=Hello (again)", "nosuch=1", "Ж=2"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "warning: Field 'combo': 'three' is not one of its options\n"
                     "warning: Field 'push' is a push button: it takes no value\n"
                     "warning: Field 'nosuch' not found: its value is not used\n"
                     "warning: Field 'Ж' not found: its value is not used\n");
    EXPECT_EQ(Shell("qpdf --check " + Quote(out) + " >/dev/null && echo ok"), "ok\n");
    EXPECT_EQ(Shell("/usr/bin/python3 -c " + Quote(kFieldsScript) + " " + Quote(out)),
              "text 'Hello (again)' \n"
              "Näme 'Grüße' \n"
              "box '/On' \n"
              "bare '/Yes' \n"
              "radio '/b' \n"
              "list 'Why' \n"
              "combo 'three' \n"
              "push None \n"
              "notes 'alpha beta\\ngamma' \n"
              "comb '123456' \n"
              "AS box /On\nAS bare /Yes\nAS radio /Off\nAS radio /b\nFalse\n");
    std::string text = Shell("pdftotext -layout " + Quote(out) + " -");
    for (const char* shown : {"Hello (again)", "Grüße", "Why", "three", "alpha beta", "gamma"})
        EXPECT_NE(text.find(shown), std::string::npos) << shown << " in\n" << text;
    EXPECT_EQ(text.find("old"), std::string::npos);
    // Checked boxes (drawn from appearances of the file, or made) are darker than unchecked.
    EXPECT_GT(Darkness(out, 10, 300, 20, 20), 100);  // box
    EXPECT_GT(Darkness(out, 40, 300, 20, 20), 20);   // bare, a made check mark
    EXPECT_LT(Darkness(out, 70, 300, 20, 20), 5);    // radio a
    EXPECT_GT(Darkness(out, 100, 300, 20, 20), 100); // radio b
}

// Values that fit no state leave the field alone; the words for on and off work only where a
// field has one on-state; -quiet silences warnings without changing the outcome.
TEST(FillEndToEnd, ButtonValuesThatDoNotFit) {
    REQUIRE_TOOL();
    if (!Have("/usr/bin/python3 -c 'import pypdf'"))
        GTEST_SKIP() << "pypdf is not installed";
    struct Case {
        std::vector<std::string> args;
        const char* err;
        const char* fields;
    } cases[] = {
        {{"box=maybe", "radio=yes"},
         "warning: Field 'box': 'maybe' is not one of its states (On, Off); left as it was\n"
         "warning: Field 'radio': 'yes' is not one of its states (a, b, Off); left as it was\n",
         "box '/Off'radio '/Off'"},
        {{"-quiet", "box=On", "radio=a", "radio=Off", "nosuch=1"}, "", "box '/On'radio '/Off'"},
        {{"box=1", "radio=A"},
         "warning: Field 'radio': 'A' is not one of its states (a, b, Off); left as it was\n",
         "box '/On'radio '/Off'"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.args));
        TempDir dir;
        WriteFile(dir.Path() + "/in.pdf", FormOfEveryKind());
        std::vector<std::string> args;
        for (const std::string& a : c.args)
            if (a.starts_with('-'))
                args.push_back(a);
        args.push_back(dir.Path() + "/in.pdf");
        args.push_back(dir.Path() + "/out.pdf");
        for (const std::string& a : c.args)
            if (!a.starts_with('-'))
                args.push_back(a);
        ToolResult r = RunTool(ToolPath(), args);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.err, c.err);
        const char* script = "import pypdf,sys\n"
                             "f = pypdf.PdfReader(sys.argv[1]).get_fields()\n"
                             "print(''.join(n + ' ' + repr(f[n].get('/V')) for n in "
                             "('box', 'radio')), end='')";
        EXPECT_EQ(Shell("/usr/bin/python3 -c " + Quote(script) + " " + dir.Path() + "/out.pdf"),
                  c.fields);
    }
}

// Deleting: a kid goes and its sibling stays; the last kid takes its parent along; the widgets
// leave the page; a name that matches nothing is warned about and the run goes on.
TEST(FillEndToEnd, DeletedFieldsLeaveFormAndPage) {
    REQUIRE_TOOL();
    if (!Have("/usr/bin/python3 -c 'import pypdf'"))
        GTEST_SKIP() << "pypdf is not installed";
    struct Case {
        std::vector<std::string> deletions;
        const char* err;
        const char* seen; // fields, then the number of annotations on the page
    } cases[] = {
        {{"-address.city"}, "", "name address.street address since newsletter plan notes 7"},
        {{"-address.city", "-address.street"}, "", "name since newsletter plan notes 6"},
        {{"-address", "-plan", "-since"}, "", "name newsletter notes 3"},
        {{"-addr", "-address.town"},
         "warning: Field 'addr' not found: nothing deleted\n"
         "warning: Field 'address.town' not found: nothing deleted\n",
         "name address.street address.city address since newsletter plan notes 8"},
    };
    const char* script = "import pypdf,sys\n"
                         "r = pypdf.PdfReader(sys.argv[1])\n"
                         "print(*r.get_fields(), len(r.pages[0]['/Annots']), end='')";
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.deletions));
        TempDir dir;
        std::vector<std::string> args{kExampleForm, dir.Path() + "/out.pdf"};
        args.insert(args.end(), c.deletions.begin(), c.deletions.end());
        ToolResult r = RunTool(ToolPath(), args);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.err, c.err);
        EXPECT_EQ(Shell("/usr/bin/python3 -c " + Quote(script) + " " + dir.Path() + "/out.pdf"),
                  c.seen);
    }
}

// Adding: a field on a page, one under an existing parent, one whose parents are made; a name
// that exists or a page that does not fail the add, and the value goes to the existing field.
TEST(FillEndToEnd, AddedFieldsAreListedAndDrawn) {
    REQUIRE_TOOL();
    if (!Have("pdftotext -v"))
        GTEST_SKIP() << "pdftotext is not installed";
    TempDir dir;
    const std::string out = dir.Path() + "/out.pdf";
    ToolResult r = RunTool(ToolPath(), {kExampleForm, out, "+extra@1,100,100,200,20,0,0=Added",
                                        "+address.zip@1,300,100,80,20,4,10=12345",
                                        "+a.b.leaf@1,100,60,200,20,9,12=Deep",
                                        "+name@1,1,1,10,10,0,0=Taken", "+late@2,1,1,10,10,0,0=x"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "add field extra on page 1 at 100/100, w=200, h=20, font=0, size=0.0\n"
                     "add field address.zip on page 1 at 300/100, w=80, h=20, font=4, size=10.0\n"
                     "add field a.b.leaf on page 1 at 100/60, w=200, h=20, font=9, size=12.0\n"
                     "add form field failed (name)\n"
                     "add form field failed (late)\n");
    EXPECT_EQ(r.err, "warning: Field 'late' not found: its value is not used\n");
    std::string listing = RunTool(ToolPath(), {out}).out;
    for (const char* line : {"name                   1 [180,700/320,24] : Taken\n",
                             "address.zip             1 [300,100/80,20] : 12345\n",
                             "extra                  1 [100,100/200,20] : Added\n",
                             "a.b.leaf                1 [100,60/200,20] : Deep\n"})
        EXPECT_NE(listing.find(line), std::string::npos) << line << " in\n" << listing;
    std::string text = Shell("pdftotext " + Quote(out) + " -");
    for (const char* shown : {"Added", "12345", "Deep", "Taken"})
        EXPECT_NE(text.find(shown), std::string::npos) << shown;
}
