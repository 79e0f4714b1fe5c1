// Standard fonts and their width tables, fonts loaded from a file, composite fonts.
#include "fonts/pdfontfactory.h"

#include "pdf/pdfile.h"

#include "tests/support/memory_input.h"
#include "tests/support/pdf_builder.h"

#include <gtest/gtest.h>

#include <string>

namespace {

int StdWidth(const char* font, int code) {
    const PDFont* f = PDFontFactory::StdFont(font);
    return f != nullptr ? f->Width(code) : -1;
}

TEST(StdFonts, TellingWidths) {
    // space, "A", "a", "0", a code below 32
    const struct {
        const char* font;
        int widths[5];
    } rows[] = {
        {"Courier", {600, 600, 600, 600, 600}},
        {"Symbol", {250, 722, 631, 500, 600}},
        {"Helvetica", {278, 667, 556, 556, 750}},
        {"Helvetica-Bold", {278, 722, 556, 556, 750}},
        {"Helvetica-BoldOblique", {278, 722, 556, 556, 750}},
        {"Helvetica-Oblique", {275, 660, 550, 550, 742}},
        {"Times-Roman", {250, 722, 444, 500, 778}},
        {"Times-Italic", {250, 611, 500, 500, 746}},
        {"Times-Bold", {250, 722, 500, 500, 746}},
        {"Times-BoldItalic", {250, 667, 500, 500, 746}},
        {"ZapfDingbats", {278, 692, 789, 911, 750}},
        {"Courier-BoldOblique", {610, 610, 610, 610, 610}},
    };
    const int codes[5] = {32, 65, 97, 48, 7};
    for (const auto& row : rows)
        for (int i = 0; i < 5; ++i)
            EXPECT_EQ(StdWidth(row.font, codes[i]), row.widths[i]) << row.font << " " << codes[i];
}

TEST(StdFonts, LayoutAndDepartures) {
    const struct {
        const char* font;
        int pairs[16]; // code, width, ...; a 0, 0 pair ends the list
    } rows[] = {
        {"Helvetica", {39, 191, 96, 333, 146, 222, 149, 350, 160, 278, 256, 0}},
        {"Helvetica-Oblique", {149, 346, 255, 0}},
        {"Times-BoldItalic",
         {169, 747, 162, 500, 163, 500, 177, 570, 181, 576, 150, 250, 182, 0, 255, 0}},
        {"Courier-BoldOblique", {0, 610, 255, 610}},
        {"/Helvetica", {65, 667}},
        {"helvetica", {65, -1}},
        {"Times", {65, -1}},
        {"Arial", {65, -1}},
    };
    for (const auto& row : rows)
        for (int i = 0; i < 16 && (row.pairs[i] != 0 || row.pairs[i + 1] != 0); i += 2)
            EXPECT_EQ(StdWidth(row.font, row.pairs[i]), row.pairs[i + 1])
                << row.font << " " << row.pairs[i];
    EXPECT_EQ(PDFontFactory::StdFont("/Helvetica"), PDFontFactory::StdFont("Helvetica"));
    EXPECT_DOUBLE_EQ(PDFontFactory::StdFont("Helvetica")->LineFactor(), 1.156);

    const PDFont& helv = *PDFontFactory::StdFont("Helvetica");
    const struct {
        uint32_t unicode;
        int code; // -1: cannot be shown
    } shown[] = {{0x20AC, 128}, {0xE9, 233}, {0xA0, 160}, {0x416, -1}, {0x20, 32}};
    for (const auto& row : shown) {
        PDStr codes;
        EXPECT_EQ(helv.AppendCode(row.unicode, codes), row.code >= 0) << row.unicode;
        EXPECT_EQ(codes.At(0), row.code >= 0 ? row.code : 0) << row.unicode;
    }
    PDStr alpha;
    EXPECT_TRUE(PDFontFactory::StdFont("Symbol")->AppendCode(0x3B1, alpha));
    EXPECT_EQ(alpha.ToString(), "a");
}

// Object 10 + i is the i-th font dictionary; 5 a ToUnicode CMap, 6 an encoding, 7 a descendant.
std::string FontFile(const std::vector<std::string>& fonts) {
    testpdf::PdfBuilder b;
    b.Add(1, "<< /Type /Catalog /Pages 2 0 R >>");
    b.Add(2, "<< /Type /Pages /Kids [3 0 R] /Count 1 >>");
    b.Add(3, "<< /Type /Page /Parent 2 0 R >>");
    b.AddStream(5, "", "beginbfchar <0041> <0041> <0003> <00660069> <41> <0041> endbfchar");
    b.Add(6, "<< /Differences [65 /W] >>");
    b.Add(7, "<< /Type /Font /Subtype /CIDFontType2 /DW 800 /W [1 [500 600] 10 20 700]"
             " /FontDescriptor << /FontBBox [0 -200 1000 800] >> >>");
    for (size_t i = 0; i < fonts.size(); ++i)
        b.Add(10 + static_cast<int>(i), "<< /Type /Font " + fonts[i] + " >>");
    b.Trailer("/Root 1 0 R");
    return b.Build();
}

TEST(LoadFont, WidthRules) {
    const std::string simple = "/Subtype /TrueType /BaseFont /Custom /FirstChar 32 /LastChar 34 ";
    const struct {
        std::string dict;
        int code;
        int width;
    } rows[] = {
        {simple + "/Widths [100 200]", 32, 100},
        {simple + "/Widths [100 200]", 33, 200},
        {simple + "/Widths [100 200]", 34, 250},
        {simple + "/Widths [100 200]", 65, 250},
        {simple + "/Widths [100 200]", 0, 0},
        {simple + "/Widths [100 200] /Encoding 6 0 R", 0, 32},
        {simple + "/Widths [1000000000 -5 300]", 32, 500000},
        {simple + "/Widths [1000000000 -5 300]", 33, 250},
        {simple + "/Widths [1000000000 -5 300]", 34, 300},
        {simple + "/Widths 99 0 R", 40, 450},
        {"/Subtype /Type1 /BaseFont /Custom", 40, 450},
        {"/Subtype /Type3 /FontMatrix [0.01 0 0 0.01 0 0] /FirstChar 1 /Widths [5]", 1, 50},
        {"/Subtype /TrueType /FontMatrix [0.01 0 0 0.01 0 0] /FirstChar 1 /Widths [5]", 1, 5},
        {"/Subtype /Type1 /BaseFont /Helvetica /FirstChar 65 /Widths [1]", 65, 667},
        {"/Subtype /Type1 /BaseFont /Helvetica /Encoding 6 0 R", 65, 944},
        {"/Subtype /Type0 /BaseFont /X /Encoding /Identity-H /DescendantFonts [7 0 R]", 2, 600},
        {"/Subtype /Type0 /BaseFont /X /Encoding /Identity-H /DescendantFonts [7 0 R]", 15, 700},
        {"/Subtype /Type0 /BaseFont /X /Encoding /Identity-H /DescendantFonts [7 0 R]", 21, 800},
    };
    std::vector<std::string> dicts;
    for (const auto& row : rows)
        dicts.push_back(row.dict);
    PDFile file;
    ASSERT_TRUE(testpdf::OpenBytes(file, FontFile(dicts)));
    PDFontFactory factory;
    for (size_t i = 0; i < std::size(rows); ++i) {
        PDFont* font = factory.LoadFont(file, 10 + static_cast<int32_t>(i));
        ASSERT_NE(font, nullptr) << rows[i].dict;
        EXPECT_EQ(font->Width(rows[i].code), rows[i].width) << rows[i].dict << " " << rows[i].code;
    }
    EXPECT_EQ(factory.LoadFont(file, 10), factory.LoadFont(file, 10));
    EXPECT_EQ(factory.Count(), static_cast<int>(std::size(rows)));
    EXPECT_EQ(factory.LoadFont(file, 98), nullptr);
}

TEST(LoadFont, CompositeTextAndCodes) {
    PDFile file;
    ASSERT_TRUE(testpdf::OpenBytes(
        file, FontFile({"/Subtype /Type0 /Encoding /Identity-H /DescendantFonts [7 0 R]"
                        " /ToUnicode 5 0 R",
                        "/Subtype /Type0 /Encoding /90ms-RKSJ-H /DescendantFonts [7 0 R]"
                        " /ToUnicode 5 0 R"})));
    PDFontFactory factory;
    PDFont* identity = factory.LoadFont(file, 10);
    PDFont* sjis = factory.LoadFont(file, 11);
    ASSERT_TRUE(identity && sjis);
    const uint8_t shown[] = {0x00, 0x41, 0x00, 0x03, 0x00, 0x20, 0x00, 0x0A};
    EXPECT_EQ(identity->TextWidth(shown, 8), 800 + 800 + 800 + 700);
    PDTextState state{10, 1, 2, 50};
    PDGlyphRun run;
    identity->GlyphAdvances(shown, 6, &state, nullptr, run);
    EXPECT_EQ(run.text.ToString(), std::string("\0A\0f\0i\0 ", 8));
    EXPECT_EQ(run.advances, (std::vector<double>{4, 0, 4, 4}));
    EXPECT_EQ(run.spacings, (std::vector<double>{0.5, 0, 0.5, 1.5})); // word spacing at 32
    EXPECT_DOUBLE_EQ(run.Width(), 14.5);
    PDStr codes;
    EXPECT_TRUE(identity->AppendCode('A', codes));
    EXPECT_FALSE(identity->AppendCode('B', codes));
    EXPECT_EQ(codes.ToString(), std::string("\0A", 2));
    EXPECT_DOUBLE_EQ(identity->LineFactor(), 1.0);

    const uint8_t mixed[] = {0x41, 0x82, 0xA0, 0x20};
    EXPECT_EQ(sjis->TextWidth(mixed, 4), 500 + 800 + 500);
    codes.Clear();
    EXPECT_TRUE(sjis->AppendCode('A', codes));
    EXPECT_EQ(codes.ToString(), "A");
}

} // namespace
