// The text layout of appearances: lines, wrapping, comb cells and the size that fits.
#include "forms/form_layout.h"
#include "forms/form_text.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// Every character 500 units wide, a blank 250: easy to reckon with.
std::vector<PDLayoutChar> Chars(const std::string& text) {
    std::vector<PDLayoutChar> out;
    for (char c : text) {
        PDLayoutChar ch;
        ch.code = std::string(1, c);
        ch.lineEnd = c == '\n' || c == '\r';
        ch.blank = c == ' ';
        ch.width = ch.blank ? 250 : 500;
        out.push_back(ch);
    }
    return out;
}

int Count(const std::string& text, const std::string& what) {
    int n = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        ++n;
    return n;
}

} // namespace

TEST(FormLayout, LinesWrappingCombAndNextSize) {
    struct Case {
        const char* text;
        float size;
        PDLayoutBox box;
        int lines;
        bool fits;
        float nextSize; // checked when the text does not fit
        const char* contains;
    } cases[] = {
        // Comb: the first five characters, one cell (16 wide) each, centred.
        {"1234567", 12, {80, 20, pdfield::kComb, 5, 0}, 1, true, 0, "(5) Tj"},
        // Three short lines at 12 in a box 30 high: 3 x 20 + 2 = 62 needed.
        {"a\nb\nc",
         12,
         {100, 30, pdfield::kMultiline, 0, 0},
         3,
         false,
         30.0f * 12 / 62 - 0.1f,
         "0 -20 Td (b) Tj"},
        // Wrapping at the last blank that fits (room 48: four characters at size 20 is 40).
        {"abcd efgh", 20, {50, 200, pdfield::kMultiline, 0, 0}, 2, true, 0, "(efgh) Tj"},
        // A word longer than the line is cut where it stops fitting.
        {"abcdefgh", 20, {50, 200, pdfield::kMultiline, 0, 0}, 2, true, 0, "(efgh) Tj"},
        // CR LF is one line end; blanks at line ends go.
        {"ab  \r\ncd", 10, {100, 100, pdfield::kMultiline, 0, 0}, 2, true, 0, "(ab) Tj"},
        // One line never wraps; its line ends show as blanks; too wide proposes a smaller size.
        {"abcd\nefgh", 20, {50, 200, 0, 0, 0}, 1, false, 20.0f * 48 / 90, "(abcd efgh) Tj"},
        // Right-aligned: offset = width - 4 - line width.
        {"ab", 10, {100, 20, 0, 0, 2}, 1, true, 0, "86 0 Td (ab) Tj"},
        {"ab", 10, {100, 20, 0, 0, 1}, 1, true, 0, "43 0 Td (ab) Tj"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        PDLayout layout = PDLayOutText(Chars(c.text), c.size, c.box);
        EXPECT_EQ(layout.lines, c.lines);
        EXPECT_EQ(layout.fits, c.fits);
        if (!c.fits) {
            EXPECT_NEAR(layout.nextSize, c.nextSize, 0.01);
        }
        EXPECT_NE(layout.body.find(c.contains), std::string::npos) << layout.body;
        if (c.box.flags & pdfield::kComb) {
            EXPECT_EQ(Count(layout.body, " Tj"), 5);
        }
    }
}

TEST(FormLayout, AutoSizeStopsAtTheSmallestSize) {
    float size = 0;
    // Twelve lines cannot fit a box 20 high above size 5: the last layout is at 5 whatever fits.
    PDLayout layout = PDAutoSizeText(Chars("a\nb\nc\nd\ne\nf\ng\nh\ni\nj\nk\nl"),
                                     {100, 20, pdfield::kMultiline, 0, 0}, 12, 5, size);
    EXPECT_EQ(size, 5.0f);
    EXPECT_FALSE(layout.fits);
    // A single line shrinks until it fits the width.
    layout = PDAutoSizeText(Chars("abcdefghij"), {52, 20, 0, 0, 0}, 12, 5, size);
    EXPECT_TRUE(layout.fits);
    EXPECT_NEAR(size, 10.0f, 0.01);
}

TEST(FormText, ValuesBecomeTextStrings) {
    struct Case {
        std::string value;
        const char* written;
    } cases[] = {
        {"plain (x)", "(plain \\(x\\))"},
        {"\xE2\x82\xAC", "(\xA0)"},             // UTF-8 euro: PDFDocEncoding has it at 160
        {"\x80", "(\xA0)"},                     // not UTF-8: Windows-1252's euro
        {"\xD0\x96", "<feff0416>"},             // Cyrillic: UTF-16
        {"\xF0\x9F\x98\x80", "<feffd83dde00>"}, // beyond the 16-bit plane: a surrogate pair
    };
    for (const Case& c : cases)
        EXPECT_EQ(PDWrittenTextString(PDValueCharacters(c.value)).ToString(), c.written) << c.value;
}
