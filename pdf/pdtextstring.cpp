#include "pdf/pdtextstring.h"

namespace {

constexpr uint32_t kReplacement = 0xFFFD;

uint32_t Unit16(std::string_view b, size_t i, bool bigEndian) {
    auto hi = static_cast<uint8_t>(b[bigEndian ? i : i + 1]);
    auto lo = static_cast<uint8_t>(b[bigEndian ? i + 1 : i]);
    return (uint32_t{hi} << 8) | lo;
}

std::string FromUtf16(std::string_view b, bool bigEndian) {
    std::string out;
    out.reserve(b.size());
    size_t i = 2;
    while (i + 1 < b.size()) {
        uint32_t u = Unit16(b, i, bigEndian);
        i += 2;
        if (u >= 0xD800 && u <= 0xDBFF && i + 1 < b.size()) {
            uint32_t low = Unit16(b, i, bigEndian);
            if (low >= 0xDC00 && low <= 0xDFFF) {
                i += 2;
                PDAppendUtf8(out, 0x10000 + ((u - 0xD800) << 10) + (low - 0xDC00));
                continue;
            }
        }
        PDAppendUtf8(out, (u >= 0xD800 && u <= 0xDFFF) ? kReplacement : u);
    }
    return out;
}

} // namespace

void PDAppendUtf8(std::string& out, uint32_t cp) {
    auto put = [&out](uint32_t v) { out.push_back(static_cast<char>(v)); };
    if (cp < 0x80) {
        put(cp);
    } else if (cp < 0x800) {
        put(0xC0 | (cp >> 6));
        put(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        put(0xE0 | (cp >> 12));
        put(0x80 | ((cp >> 6) & 0x3F));
        put(0x80 | (cp & 0x3F));
    } else {
        put(0xF0 | (cp >> 18));
        put(0x80 | ((cp >> 12) & 0x3F));
        put(0x80 | ((cp >> 6) & 0x3F));
        put(0x80 | (cp & 0x3F));
    }
}

std::string PDTextToUtf8(std::string_view b) {
    if (b.size() >= 2 && static_cast<uint8_t>(b[0]) == 0xFE && static_cast<uint8_t>(b[1]) == 0xFF)
        return FromUtf16(b, true);
    // Some producers write the byte-order mark the other way round; read them as they meant it.
    if (b.size() >= 2 && static_cast<uint8_t>(b[0]) == 0xFF && static_cast<uint8_t>(b[1]) == 0xFE)
        return FromUtf16(b, false);
    if (b.size() >= 3 && b.substr(0, 3) == "\xEF\xBB\xBF")
        return std::string(b.substr(3));
    std::string out;
    out.reserve(b.size());
    for (char c : b)
        PDAppendUtf8(out, kPDFDocToUnicode[static_cast<uint8_t>(c)]);
    return out;
}
