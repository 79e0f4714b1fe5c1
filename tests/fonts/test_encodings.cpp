// Glyph names, the built-in and differences encodings, and /ToUnicode maps.
#include "fonts/pdencoding.h"
#include "fonts/pdglyphs.h"
#include "fonts/pdtounicode.h"

#include "tests/support/diag_capture.h"
#include "tests/support/memory_input.h"

#include <gtest/gtest.h>

#include <cstdlib>
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

std::string Text(const PDEncoding& enc, uint32_t code) {
    PDStr out;
    enc.AppendText(code, out);
    return out.ToString();
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
    EXPECT_STREQ(UnicodeToGlyph(0x2701), "a1");
    EXPECT_EQ(UnicodeToGlyph(0x0001), nullptr);
}

TEST(Encodings, BuiltinTables) {
    const PDEncoding& def = PDDefaultTextEncoding();
    EXPECT_EQ(def.GlyphName(31), nullptr);
    EXPECT_STREQ(def.GlyphName(32), "space");
    EXPECT_STREQ(def.GlyphName(255), "ydieresis");
    EXPECT_EQ(Text(def, 5), std::string("\0\5", 2)); // no name: the code itself
    EXPECT_EQ(Text(def, 128), "\x20\xAC");
    EXPECT_EQ(def.NameToCode("/minus"), 45);
    EXPECT_EQ(def.NameToCode("space"), 32);
    EXPECT_EQ(def.NameToCode("alpha"), -1);
    EXPECT_EQ(def.UnicodeToCode(0xA0), 160u);
    EXPECT_EQ(def.UnicodeToCode(0x416), 0u);

    const PDEncoding& sym = PDSymbolEncoding();
    EXPECT_STREQ(sym.GlyphName(65), "Alpha");
    EXPECT_EQ(sym.NameToCode("alpha"), 97);
    EXPECT_EQ(sym.NameToCode("A"), 0);
    EXPECT_EQ(Text(sym, 20), "");
    EXPECT_EQ(sym.UnicodeToCode(0x3B1), 97u);
    EXPECT_STREQ(PDZapfDingbatsEncoding().GlyphName(65), "a10");
    EXPECT_EQ(PDZapfDingbatsEncoding().UnicodeToCode(0x2701), 33u);
}

TEST(Encodings, Differences) {
    auto diff = testpdf::ParseText("[32 /Euro /A 200 /uni0416 /zzz 300 /B]");
    PDDiffEncoding enc(PDDiffEncoding::NamedBase("/MacRomanEncoding"), diff.get());
    EXPECT_EQ(Text(enc, 32), "\x20\xAC");
    EXPECT_EQ(Text(enc, 33), std::string("\0A", 2));
    EXPECT_EQ(Text(enc, 200), "\x04\x16");
    EXPECT_EQ(Text(enc, 201), "");                 // a name with no value
    EXPECT_STREQ(enc.GlyphName(138), "adieresis"); // from the base
    EXPECT_EQ(enc.NameToCode("/zzz"), 201);
    EXPECT_EQ(enc.UnicodeToCode(0x20AC), 32u);
    EXPECT_EQ(enc.CodeToChar(65), 33); // the default encoding's "A" sits at 33 here
    PDDiffEncoding standard(nullptr, nullptr);
    EXPECT_STREQ(standard.GlyphName(39), "quoteright");
}

TEST(ToUnicode, SectionsAndBounds) {
    const struct {
        const char* cmap;
        uint32_t code;
        std::string text;
    } rows[] = {
        {"2 beginbfchar <01> <0041> <0002> <00660069> endbfchar", 2, std::string("\0f\0i", 4)},
        {"1 beginbfrange <10> <1f> <0030> endbfrange", 0x1A, std::string("\0:", 2)},
        {"1 beginbfrange <20> <22> [<0061> <0062>] endbfrange", 0x21, std::string("\0b", 2)},
        {"1 beginbfrange <20> <22> [<0061> <0062>] endbfrange", 0x22, ""},
        // Hostile: a range of every four-byte code and one of 2^16 + 1 codes are dropped, a
        // malformed entry is skipped, and the entries around them still count.
        {"beginbfrange <00000000> <FFFFFFFF> <0041> <0000> <10000> <0041> <05> <05> <0045>"
         " endbfrange beginbfchar <07> /x <08> <0048> endbfchar",
         8, std::string("\0H", 2)},
        {"beginbfrange <00000000> <FFFFFFFF> <0041> endbfrange", 0x1234, ""},
        {"beginbfrange <0000> <FFFF> <4E00> endbfrange", 0x20, "\x4E\x20"},
        {"beginbfchar <41> <0041", 0x41, std::string("\0A", 2)},
    };
    for (const auto& row : rows) {
        std::string cmap = row.cmap;
        PDToUnicode map;
        map.Read(reinterpret_cast<const uint8_t*>(cmap.data()), static_cast<int64_t>(cmap.size()));
        EXPECT_EQ(Text(map, row.code), row.text) << row.cmap;
        EXPECT_LE(map.Count(), 3) << row.cmap;
    }
    PDToUnicode map;
    std::string cmap = "beginbfrange <0100> <01FF> <0400> endbfrange";
    map.Read(reinterpret_cast<const uint8_t*>(cmap.data()), static_cast<int64_t>(cmap.size()));
    uint32_t code = 0;
    EXPECT_TRUE(map.CodeFor(0x416, code));
    EXPECT_EQ(code, 0x116u);
    EXPECT_STREQ(map.GlyphName(0x116), "afii10024");
}

} // namespace
