// Values in scripts the standard fonts lack, filled with the built tool and checked by independent
// readers: pdftotext gives each value back, pdffonts finds each new font embedded, subset and
// mapped to Unicode, pdftoppm draws ink inside the widgets only, qpdf finds no error.
#include "tests/support/pdf_builder.h"
#include "tests/support/run_tool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

namespace {

struct Field {
    const char* name;
    int flags;  // /Ff
    int maxLen; // /MaxLen, 0 for none
    int x, y, w, h;
    const char* value;
};

// Right-to-left values are compared in the logical order poppler returns after its own
// reordering, without the embedding marks it puts around them.
const Field kFields[] = {
    {"latin", 0, 0, 10, 560, 250, 20, "Łódź Ærøskøbing Ștefan"},
    {"cyrillic", 0, 0, 10, 530, 250, 20, "Иванова Ольга"},
    {"greek", 0, 0, 10, 500, 250, 20, "Παπαδόπουλος"},
    {"chinese", 0, 0, 10, 470, 250, 20, "王小明"},
    {"japanese", 0, 0, 10, 440, 250, 20, "山田太郎"},
    {"korean", 0, 0, 10, 410, 250, 20, "김민준"},
    {"arabic", 0, 0, 10, 380, 250, 20, "محمد"},
    {"hebrew", 0, 0, 10, 350, 250, 20, "כהן"},
    {"devanagari", 0, 0, 10, 320, 250, 20, "देवनागरी हिन्दी"},
    {"vietnamese", 0, 0, 10, 290, 250, 20, "Nguyễn Văn Anh"},
    // No one font shows both scripts: each run is drawn in a font that shows it.
    {"mixed", 0, 0, 270, 530, 120, 20, "हिन्दी Nguyễn"},
    // Comb cells hold one cluster each; pdftotext separates the cells with blanks.
    {"comb", 1 << 24, 4, 10, 250, 120, 20, "北京上海"},
    // Too long for one line: the Chinese text wraps between characters.
    {"multi", 1 << 12, 0, 10, 150, 90, 80, "中华人民共和国北京市海淀区中关村大街"},
    // Auto-sized until it fits the width.
    {"shrunk", 0, 0, 270, 560, 120, 20, "Достоевский Фёдор Михайлович"},
};

std::string Form() {
    testpdf::PdfBuilder b("1.7");
    std::string fields;
    for (size_t i = 0; i < std::size(kFields); ++i)
        fields += std::to_string(10 + i) + " 0 R ";
    b.Add(1, "<< /Type /Catalog /Pages 2 0 R /AcroForm << /Fields [" + fields +
                 "] /DA (/Helv 0 Tf 0 g) >> >>");
    b.Add(2, "<< /Type /Pages /Kids [3 0 R] /Count 1 >>");
    b.Add(3, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 400 600] /Annots [" + fields + "] >>");
    int n = 10;
    for (const Field& f : kFields) {
        b.Add(n++, "<< /FT /Tx /T (" + std::string(f.name) + ") /Ff " + std::to_string(f.flags) +
                       (f.maxLen > 0 ? " /MaxLen " + std::to_string(f.maxLen) : "") +
                       " /Type /Annot /Subtype /Widget /F 4 /P 3 0 R /Rect [" +
                       std::to_string(f.x) + " " + std::to_string(f.y) + " " +
                       std::to_string(f.x + f.w) + " " + std::to_string(f.y + f.h) + "] >>");
    }
    b.Trailer("/Root 1 0 R");
    return b.Build();
}

std::string WithoutBlanks(const std::string& text) {
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == ' ' || text[i] == '\n' || text[i] == '\f')
            continue;
        // U+202A..U+202E: the embedding marks poppler wraps right-to-left text in.
        if (text.compare(i, 2, "\xE2\x80") == 0 && i + 2 < text.size() &&
            static_cast<uint8_t>(text[i + 2]) >= 0xAA &&
            static_cast<uint8_t>(text[i + 2]) <= 0xAE) {
            i += 2;
            continue;
        }
        out += text[i];
    }
    return out;
}

std::string TextIn(const std::string& pdf, const Field& f) {
    return Shell("pdftotext -x " + std::to_string(f.x) + " -y " + std::to_string(600 - f.y - f.h) +
                 " -W " + std::to_string(f.w) + " -H " + std::to_string(f.h) + " " + Quote(pdf) +
                 " - 2>/dev/null");
}

// The page at 72 dpi in gray: one byte per point, row 0 at the top.
std::string Pixels(const std::string& pdf) {
    std::string pgm = Shell("pdftoppm -r 72 -gray " + Quote(pdf) + " 2>/dev/null");
    size_t at = 0;
    for (int lines = 0; lines < 3 && at != std::string::npos; ++lines)
        at = pgm.find('\n', at) + 1;
    return at == 0 || pgm.size() != at + 400 * 600 ? std::string() : pgm.substr(at);
}

bool Ready() {
    return Have("pdftotext -v") && Have("pdffonts -v") && Have("pdftoppm -v") &&
           Have("qpdf --version");
}

} // namespace

TEST(ScriptsEndToEnd, EveryValueIsDrawnInAnEmbeddedFontAndReadBack) {
    REQUIRE_TOOL();
    if (!Ready())
        GTEST_SKIP() << "poppler-utils and qpdf are needed";
    TempDir dir;
    std::string in = dir.Path() + "/form.pdf";
    std::string out = dir.Path() + "/filled.pdf";
    WriteFile(in, Form());
    std::vector<std::string> args = {in, out};
    for (const Field& f : kFields)
        args.push_back(std::string(f.name) + "=" + f.value);
    // The Cyrillic name again: its glyphs join the same subset.
    args.push_back(std::string("cyrillic=") + kFields[1].value);
    ToolResult r = RunTool(ToolPath(), args);
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");

    int qpdf = -1;
    Shell("qpdf --check " + Quote(out) + " >/dev/null 2>&1", &qpdf);
    EXPECT_EQ(qpdf, 0);
    for (const Field& f : kFields) {
        SCOPED_TRACE(f.name);
        EXPECT_EQ(WithoutBlanks(TextIn(out, f)), WithoutBlanks(f.value));
    }
    // The multi-line field wraps: its text comes back on several lines.
    EXPECT_GE(TextIn(out, kFields[12]).find('\n'), 3u);
    EXPECT_NE(TextIn(out, kFields[12]).find('\n'), TextIn(out, kFields[12]).rfind('\n'));

    // Each new font once, embedded, subset and with a Unicode map.
    std::string fonts = Shell("pdffonts " + Quote(out) + " 2>/dev/null");
    int composite = 0;
    std::vector<std::string> names;
    for (size_t at = fonts.find('\n', fonts.find("---")); at != std::string::npos;) {
        size_t end = fonts.find('\n', at + 1);
        std::string line = fonts.substr(at + 1, end == std::string::npos ? end : end - at - 1);
        at = end;
        if (line.find("Identity-H") == std::string::npos)
            continue;
        ++composite;
        EXPECT_NE(line.find("yes yes yes"), std::string::npos) << line;
        std::string name = line.substr(0, line.find(' '));
        EXPECT_EQ(std::count(names.begin(), names.end(), name), 0) << name;
        names.push_back(name);
    }
    EXPECT_GE(composite, 4) << fonts;

    // Ink inside every widget, none outside them.
    std::string pixels = Pixels(out);
    ASSERT_FALSE(pixels.empty());
    std::vector<int> inkOf(std::size(kFields), 0);
    int outside = 0;
    for (int row = 0; row < 600; ++row) {
        for (int col = 0; col < 400; ++col) {
            if (static_cast<uint8_t>(pixels[static_cast<size_t>(row * 400 + col)]) > 200)
                continue;
            bool inside = false;
            for (size_t i = 0; i < std::size(kFields); ++i) {
                const Field& f = kFields[i];
                int top = 600 - f.y - f.h;
                if (col >= f.x - 1 && col <= f.x + f.w && row >= top - 1 && row <= top + f.h) {
                    ++inkOf[i];
                    inside = true;
                }
            }
            outside += inside ? 0 : 1;
        }
    }
    EXPECT_EQ(outside, 0);
    for (size_t i = 0; i < std::size(kFields); ++i)
        EXPECT_GT(inkOf[i], 5) << kFields[i].name;
}

TEST(ScriptsEndToEnd, UserFontsComeFirstAndUnreadableOnesAreNamed) {
    REQUIRE_TOOL();
    const std::string serif = "/usr/share/fonts/truetype/dejavu/DejaVuSerif.ttf";
    if (!Have("pdffonts -v") || ReadFile(serif).empty())
        GTEST_SKIP() << "pdffonts and fonts-dejavu-core are needed";
    TempDir dir;
    std::string in = dir.Path() + "/form.pdf";
    std::string out = dir.Path() + "/filled.pdf";
    std::string broken = dir.Path() + "/broken.ttf";
    WriteFile(in, Form());
    WriteFile(broken, "true\0\0\0\0 not a font at all");
    // U+10FFFD is a private character no font shows.
    ToolResult r = RunTool(ToolPath(), {"--font", broken, "--font", serif, in, out,
                                        std::string("cyrillic=") + kFields[1].value,
                                        "greek=Ω\xF4\x8F\xBF\xBD"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.err.find("Font file '" + broken + "'"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("Field 'greek': no font on this system shows \xF4\x8F\xBF\xBD (U+10FFFD)"),
              std::string::npos)
        << r.err;
    std::string fonts = Shell("pdffonts " + Quote(out) + " 2>/dev/null");
    EXPECT_NE(fonts.find("+DejaVuSerif "), std::string::npos) << fonts;
}
