#include "fonts/pdglyphs.h"

#include "fonts/pdfont_tables.h"
#include "streams/pddiag.h"
#include "streams/pdnumtext.h"

#include <cstdlib>
#include <cstring>

namespace {

int HexDigit(char c) {
    return PDHexValue(static_cast<uint8_t>(c));
}

// Digits in the given base from text on, stopping at the first byte that is not one. Kept to
// 0..255 by the caller's cast; the value is capped so long digit runs cannot overflow.
int ReadNumber(const char* text, int base) {
    int value = 0;
    for (int digit = HexDigit(*text); digit >= 0 && digit < base; digit = HexDigit(*++text))
        value = value > 0xFFFFFF ? value : value * base + digit;
    return value;
}

bool IsHexLetterOrZero(char c) {
    return c == '0' || (c >= 'A' && c <= 'F');
}

// Index of the first row whose name equals key, or -1; rows sorted by name in byte order.
template <class Row> int FindFirst(const Row* rows, int count, const char* key) {
    int lo = 0;
    int hi = count;
    while (lo < hi) {
        int mid = lo + (hi - lo) / 2;
        if (std::strcmp(rows[mid].name, key) < 0)
            lo = mid + 1;
        else
            hi = mid;
    }
    return lo < count && std::strcmp(rows[lo].name, key) == 0 ? lo : -1;
}

bool DebugGlyphs() {
    static const bool debug = std::getenv("PD_DEBUG") != nullptr;
    return debug;
}

} // namespace

int GlyphCode(const char* nameWithSlash) {
    if (nameWithSlash == nullptr || nameWithSlash[0] != '/' || nameWithSlash[1] == 0)
        return 0;
    const char* name = nameWithSlash + 1;
    if (name[1] == 0)
        return static_cast<uint8_t>(name[0]);
    if ((name[0] == 'a' || name[0] == 'G') && name[1] >= '0' && name[1] <= '9')
        return ReadNumber(name + 1, 10) & 0xFF;
    if (name[1] >= 'A' && name[1] <= 'F' && IsHexLetterOrZero(name[2]))
        return ReadNumber(name + 1, 16) & 0xFF;
    int row = FindFirst(kPDGlyphCodes, kPDGlyphCodeCount, name);
    if (row >= 0)
        return kPDGlyphCodes[row].code;
    if (DebugGlyphs())
        PDReport("Encoding for \"%s\" unknown\n", name);
    return 0;
}

int32_t GlyphToUnicode(const char* name) {
    if (name == nullptr)
        return 0;
    if (name[0] == '/')
        ++name;
    int row = FindFirst(kPDGlyphList, kPDGlyphCount, name);
    return row >= 0 ? kPDGlyphList[row].unicode : 0;
}

const char* UnicodeToGlyph(uint32_t unicode) {
    int lo = 0;
    int hi = kPDGlyphCount;
    while (lo < hi) {
        int mid = lo + (hi - lo) / 2;
        if (kPDUnicodeIndex[mid].unicode < unicode)
            lo = mid + 1;
        else
            hi = mid;
    }
    if (lo >= kPDGlyphCount || kPDUnicodeIndex[lo].unicode != unicode)
        return nullptr;
    return kPDGlyphList[kPDUnicodeIndex[lo].index].name;
}
