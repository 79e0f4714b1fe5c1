// Values as users give them (UTF-8, or Windows-1252 bytes from older scripts) and as a form stores
// them (PDF text strings).
#pragma once

#include "streams/pdstr.h"

#include <cstdint>
#include <string>
#include <string_view>

// The characters of a value: read as UTF-8 when the bytes are valid UTF-8, else as Windows-1252.
std::u32string PDValueCharacters(std::string_view bytes);
// The written form of a text string: PDFDocEncoding, as a literal string, when every character
// has a code there; else UTF-16BE with its byte order mark, as a hex string.
PDStr PDWrittenTextString(const std::u32string& text);
// A number as content streams and dictionaries write it.
std::string PDNumber(double v);
// One character as UTF-8.
std::string PDUtf8(char32_t c);
// Name bytes with #xx escapes decoded and a leading slash dropped, for comparing state names.
std::string PDPlainName(std::string_view name);
