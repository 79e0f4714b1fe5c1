// Glyph names: their codes in the default text encoding, and their Unicode values both ways.
#pragma once

#include <cstdint>

// Code (0 to 255) of a glyph name written with its leading slash, as in a /Differences array;
// 0 when the name is unknown. Besides the table of known names it reads "/G65", "/a65" (decimal
// after the letter) and "/gAB", "/xF0" (hexadecimal after the letter), the forms font writers
// invent for unnamed glyphs. With PD_DEBUG set in the environment, an unknown name is reported.
int GlyphCode(const char* nameWithSlash);

// Unicode value of a glyph name (a leading slash is skipped); a value below 1 when unknown.
int32_t GlyphToUnicode(const char* name);

// A glyph name of the Unicode value; null when the glyph list has none.
const char* UnicodeToGlyph(uint32_t unicode);
