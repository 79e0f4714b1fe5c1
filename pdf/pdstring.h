// Conversion between strings as written in a file and their bytes.
#pragma once

#include "streams/pdstr.h"

#include <cstdint>

enum PDStringMode : int {
    kPDLiteralKeepOctal = 0, // literal; a backslash before 0-3 is kept (an octal escape stays)
    kPDLiteral = 1,          // literal; every backslash doubled
    kPDHex = 2,              // <hex>, lower-case digits
};

// How a backslash and one or two octal digits (the first 0 to 3) are read.
enum class PDShortOctal : int {
    kKeep, // kept as written, backslash and digits alike
    kByte, // the byte of their octal value, as every other reader takes them
};

// Decodes a written string ("(...)" or "<...>") or a name ("/...") into out (cleared first).
void PDDecodeString(const char* text, int length, PDStr& out,
                    PDShortOctal shortOctal = PDShortOctal::kKeep);
inline void PDDecodeString(const PDStr& text, PDStr& out,
                           PDShortOctal shortOctal = PDShortOctal::kKeep) {
    PDDecodeString(text.Text(), text.Length(), out, shortOctal);
}
// Encodes bytes as a written string in the given mode into out (cleared first).
void PDEncodeString(const uint8_t* bytes, int length, PDStr& out, int mode);
void PDEncodeString(const char* text, PDStr& out, int mode);
