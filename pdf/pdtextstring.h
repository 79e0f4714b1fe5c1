// PDF text strings (PDFDocEncoding, or UTF-16BE with its byte-order mark) as UTF-8 for the console.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

extern const uint16_t kPDFDocToUnicode[256];

// Converts decoded string bytes to UTF-8. Unpaired surrogates become U+FFFD.
std::string PDTextToUtf8(std::string_view bytes);
// Appends the UTF-8 form of one code point.
void PDAppendUtf8(std::string& out, uint32_t codePoint);
