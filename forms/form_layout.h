// The layout of a text field's value inside its widget: lines, wrapping, comb cells, quadding and
// the font size that makes the text fit.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// A glyph of a shaped cluster, drawn by its two-byte code; in 1/1000 of the font size.
struct PDLayoutGlyph {
    uint16_t code = 0;
    double width = 0;   // what the font's widths give the code
    double advance = 0; // where shaping places the next glyph
    double xOffset = 0;
    double yOffset = 0;
};

// One character of a value as the field's font shows it, or one cluster of shaped glyphs.
struct PDLayoutChar {
    std::string code;                  // the bytes that show it in the font
    std::vector<PDLayoutGlyph> glyphs; // when not empty, what is drawn instead of code
    std::string font;                  // the glyphs' font resource, when there are several
    double width = 0;                  // in 1/1000 of the font size
    bool blank = false;                // where a line may be cut
    bool breakBefore = false;          // a line may be cut before it (text without blanks)
    bool lineEnd = false;              // a carriage return or line feed of the value
    uint8_t level = 0;                 // bidirectional level: odd runs are drawn right to left
};

struct PDLayoutBox {
    float width = 0;
    float height = 0;
    uint32_t flags = 0; // the field's /Ff
    int maxLength = 0;  // /MaxLen, 0 when none
    int quadding = 0;   // 0 left, 1 centred, 2 right
};

struct PDLayout {
    bool fits = true;
    float nextSize = 0; // the size to try when the text does not fit
    int lines = 0;
    float lineHeight = 0;
    std::string body; // positioning and show operators of every line
};

namespace pdfield {
constexpr uint32_t kMultiline = 1u << 12;
constexpr uint32_t kComb = 1u << 24;
} // namespace pdfield

// Lays text out at size. Multiline fields wrap at blanks (or anywhere in a word longer than the
// line); single-line fields are one line, with line ends shown as blanks, never wrapped.
PDLayout PDLayOutText(const std::vector<PDLayoutChar>& text, float size, const PDLayoutBox& box);

// The size an auto-sized field is drawn at, and its layout: from the starting size down to the
// smallest, with at most four layouts.
PDLayout PDAutoSizeText(const std::vector<PDLayoutChar>& text, const PDLayoutBox& box, float start,
                        float smallest, float& size);
