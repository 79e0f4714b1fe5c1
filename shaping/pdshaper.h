// Shaping of a value in a system font: bidirectional levels, glyphs with their positions, grouped
// into clusters that a line may not split (a base with its marks, a ligature, a syllable).
#pragma once

#include "shaping/pdsystemfont.h"

#include <cstdint>
#include <string>
#include <vector>

// Thousandths of the em.
struct PDShapedGlyph {
    uint32_t glyph = 0;
    double advance = 0;
    double xOffset = 0;
    double yOffset = 0;
};

struct PDShapedCluster {
    size_t start = 0; // the characters of the text it shows
    size_t length = 0;
    std::vector<PDShapedGlyph> glyphs; // in the order they are drawn
    uint8_t level = 0;                 // bidirectional embedding level: odd is right to left
    bool blank = false;                // where a line may be cut, the blank going with neither
    bool breakBefore = false;          // where a line may be cut between two characters
    bool lineEnd = false;              // a carriage return or line feed
};

struct PDShapedText {
    std::vector<PDShapedCluster> clusters; // in the order of the text
    bool rightToLeft = false;              // the paragraph direction found in the text
};

PDShapedText PDShapeText(const PDSystemFont& font, const std::u32string& text);
