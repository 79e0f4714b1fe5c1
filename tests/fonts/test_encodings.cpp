// Glyph names, the built-in and differences encodings, and /ToUnicode maps.
#include "fonts/pdencoding.h"
#include "fonts/pdglyphs.h"
#include "fonts/pdtounicode.h"

#include "tests/support/diag_capture.h"
#include "tests/support/memory_input.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>

namespace {

// The unknown-name report depends on PD_DEBUG as it was at the first look-up: set it for that
// one and remove it again, so the report below also shows the setting is remembered.
const bool kDebugLatched = [] {
    setenv("PD_DEBUG", "1", 1);
    GlyphCode("/unknownname");
    unsetenv("PD_DEBUG");
    return true;
}();

// The first UTF-16 unit of a code's text; -1 when it has none.
int Unit(const PDEncoding& enc, uint32_t code) {
    PDStr out;
    return enc.AppendText(code, out) > 0 ? out.At(0) << 8 | out.At(1) : -1;
}

TEST(Glyphs, CodesOfNames) {
    const struct {
        const char* name;
        int code;
    } rows[] = {
        {"/Lslash", 149}, {"/infinity", 160},   {"/G3", 3},           {"/gAB", 171},
        {"/qqq", 0},      {"/zero", 48},        {"/a65", 65},         {"/A", 65},
        {"/", 0},         {"Aacute", 0},        {"/quotesingle", 39}, {"/grave", 96},
        {"/Euro", 128},   {"/quoteright", 146}, {"/currency", 164},   {"/xF0f", 0x0F},
        {"/Aacute", 193}, {"/ydieresis", 255},  {"/Zcaron", 142},     {"/minus", 45},
    };
    for (const auto& row : rows)
        EXPECT_EQ(GlyphCode(row.name), row.code) << row.name;
    EXPECT_TRUE(kDebugLatched);
    DiagCapture cap;
    GlyphCode("/qqq");
    EXPECT_EQ(cap.Text(), "Encoding for \"qqq\" unknown\n");
}

TEST(Glyphs, UnicodeBothWays) {
    EXPECT_EQ(GlyphToUnicode("/Euro"), 0x20AC);
    EXPECT_EQ(GlyphToUnicode("space"), 0x20); // the preferred of its two values
    EXPECT_EQ(GlyphToUnicode("AEsmall"), 0xF7E6);
    EXPECT_LT(GlyphToUnicode("nosuchglyph"), 1);
    EXPECT_STREQ(UnicodeToGlyph(0x0416), "afii10024");
    EXPECT_EQ(UnicodeToGlyph(0x0001), nullptr);
}

TEST(Encodings, BuiltinAndDifferences) {
    const PDEncoding& def = PDDefaultTextEncoding();
    const PDEncoding& sym = PDSymbolEncoding();
    auto array = testpdf::ParseText("[32 /Euro /A 200 /uni0416 /zzz 300 /B]");
    PDDiffEncoding diff(PDDiffEncoding::NamedBase("/MacRomanEncoding"), array.get());
    PDDiffEncoding standard(nullptr, nullptr);
    const struct {
        const PDEncoding& enc;
        uint32_t code;
        const char* name; // null: no name
        int unit;         // -1: no text
    } codes[] = {
        {def, 31, nullptr, 31},         {def, 32, "space", 32},
        {def, 128, "Euro", 0x20AC},     {sym, 65, "Alpha", 0x391},
        {sym, 20, nullptr, -1},         {PDZapfDingbatsEncoding(), 65, "a10", 0x2721},
        {diff, 32, "Euro", 0x20AC},     {diff, 33, "A", 'A'},
        {diff, 200, "uni0416", 0x416},  {diff, 201, "zzz", -1},
        {diff, 138, "adieresis", 0xE4}, {standard, 39, "quoteright", 0x2019},
    };
    for (const auto& row : codes) {
        EXPECT_STREQ(row.enc.GlyphName(row.code), row.name) << row.code;
        EXPECT_EQ(Unit(row.enc, row.code), row.unit) << row.code;
    }
    const struct {
        const PDEncoding& enc;
        const char* name;
        int code;
        uint32_t unicode;
        uint32_t fromUnicode;
    } names[] = {
        {def, "/minus", 45, 0xA0, 160}, {def, "space", 32, 0x416, 0},
        {def, "alpha", -1, 0xE9, 233},  {sym, "alpha", 97, 0x3B1, 97},
        {sym, "A", 0, 0x41, 0},         {diff, "/zzz", 201, 0x20AC, 32},
    };
    for (const auto& row : names) {
        EXPECT_EQ(row.enc.NameToCode(row.name), row.code) << row.name;
        EXPECT_EQ(row.enc.UnicodeToCode(row.unicode), row.fromUnicode) << row.unicode;
    }
    EXPECT_EQ(diff.CodeToChar(65), 33); // the default encoding's "A" sits at 33 here
}

std::unique_ptr<PDToUnicode> ReadMap(std::string cmap) {
    auto map = std::make_unique<PDToUnicode>();
    map->Read(reinterpret_cast<const uint8_t*>(cmap.data()), static_cast<int64_t>(cmap.size()));
    return map;
}

TEST(ToUnicode, SectionsAndBounds) {
    const struct {
        const char* cmap;
        uint32_t code;
        int unit;
    } rows[] = {
        {"2 beginbfchar <01> <0041> <0002> <00660069> endbfchar", 2, 'f'},
        {"1 beginbfrange <10> <1f> <0030> endbfrange", 0x1A, ':'},
        {"1 beginbfrange <20> <22> [<0061> <0062>] endbfrange", 0x21, 'b'},
        {"1 beginbfrange <20> <22> [<0061> <0062>] endbfrange", 0x22, -1},
        // Hostile: a range of every four-byte code and one of 2^16 + 1 codes are dropped, a
        // malformed entry is skipped, and the entries around them still count.
        {"beginbfrange <00000000> <FFFFFFFF> <0041> <0000> <10000> <0041> <05> <05> <0045>"
         " endbfrange beginbfchar <07> /x <08> <0048> endbfchar",
         8, 'H'},
        {"beginbfrange <00000000> <FFFFFFFF> <0041> endbfrange", 0x1234, -1},
        {"beginbfrange <0000> <FFFF> <4E00> endbfrange", 0x20, 0x4E20},
        {"beginbfchar <41> <0041", 0x41, 'A'},
    };
    for (const auto& row : rows) {
        auto map = ReadMap(row.cmap);
        EXPECT_EQ(Unit(*map, row.code), row.unit) << row.cmap;
        EXPECT_LE(map->Count(), 3) << row.cmap;
    }
    auto map = ReadMap("beginbfrange <0100> <01FF> <0400> endbfrange "
                       "beginbfchar <0002> <00660069> endbfchar");
    uint32_t code = 0;
    EXPECT_TRUE(map->CodeFor(0x416, code));
    EXPECT_EQ(code, 0x116u);
    EXPECT_STREQ(map->GlyphName(0x116), "afii10024");
    PDStr text;
    EXPECT_EQ(map->AppendText(2, text), 2);
}

} // namespace
