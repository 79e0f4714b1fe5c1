// The constant tables behind glyph names, the built-in encodings and the built-in width sets,
// generated into pdfont_tables.cpp by tools/gen_fonts.py.
#pragma once

#include <cstdint>

// One glyph name with its Unicode value; the list is sorted by name in byte order, and a name
// with two values appears twice, the preferred value first.
struct PDGlyphEntry {
    const char* name;
    uint16_t unicode;
};
// The reverse direction: sorted by Unicode value, then by index into the glyph list.
struct PDUnicodeEntry {
    uint16_t unicode;
    uint16_t index;
};
// One row of the glyph-code table (sorted by name).
struct PDGlyphCodeEntry {
    const char* name;
    uint8_t code;
};

// A built-in code-to-name table with its look-up record.
struct PDCodeTable {
    int count;                // codes covered, from first
    int first;                // first code covered
    const char* const* names; // count names from first; null where a code has no glyph
    const uint8_t* byName;    // the named codes, sorted by glyph name (then by code)
    int named;                // entries of byName
    const uint16_t* unicodes; // count values from first; 0 where a code has no glyph
};

enum PDBuiltinEncoding : int {
    kPDEncodingDefault = 0,
    kPDEncodingSymbol = 1,
    kPDEncodingZapfDingbats = 2,
};

// A built-in width set: 256 widths in 1/1000 units indexed by code.
struct PDMetricSetEntry {
    const char* name;
    const int32_t* widths;
    int encoding; // PDBuiltinEncoding
};
// A standard font: its name, the width set it measures with and its bounding box.
struct PDStdFontEntry {
    const char* name;
    int metricSet;
    int16_t bbox[4];
};

extern const PDGlyphEntry kPDGlyphList[];
extern const int kPDGlyphCount;
extern const PDUnicodeEntry kPDUnicodeIndex[];
extern const PDCodeTable kPDDefaultTable;      // Windows ANSI layout
extern const PDCodeTable kPDSymbolTable;       // the Symbol font's own encoding
extern const PDCodeTable kPDZapfDingbatsTable; // the ZapfDingbats font's own encoding
extern const PDCodeTable kPDStandardTable;     // base of differences encodings
extern const PDCodeTable kPDMacRomanTable;     // named base of differences encodings
extern const PDGlyphCodeEntry kPDGlyphCodes[];
extern const int kPDGlyphCodeCount;
extern const PDMetricSetEntry kPDMetricSets[];
extern const int kPDMetricSetCount;
extern const PDStdFontEntry kPDStdFonts[];
extern const int kPDStdFontCount;
