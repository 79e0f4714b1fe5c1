#include "forms/form_text.h"

#include "pdf/pdformat.h"
#include "pdf/pdstring.h"
#include "pdf/pdtextstring.h"
#include "streams/pdnumtext.h"

#include <array>
#include <unordered_map>

namespace {

// The printable characters of Windows-1252 from 128 to 159; 0 where the code page has none
// (those bytes are then taken as the C1 control of the same number).
constexpr std::array<char16_t, 32> kCp1252High = {
    0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0,      0x017D, 0,      0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178,
};

// Length of the UTF-8 sequence starting at i and its character; 0 when it is not valid UTF-8
// (overlong forms, surrogates and values beyond U+10FFFF included).
size_t DecodeUtf8(std::string_view s, size_t i, char32_t& c) {
    auto b = [&s](size_t k) { return static_cast<uint8_t>(s[k]); };
    uint8_t lead = b(i);
    size_t n = lead < 0x80         ? 1
               : (lead >> 5) == 6  ? 2
               : (lead >> 4) == 14 ? 3
               : (lead >> 3) == 30 ? 4
                                   : 0;
    if (n == 0 || i + n > s.size())
        return 0;
    c = static_cast<char32_t>(n == 1 ? lead : (lead & (0x7F >> n)));
    for (size_t k = 1; k < n; ++k) {
        if ((b(i + k) & 0xC0) != 0x80)
            return 0;
        c = (c << 6) | (b(i + k) & 0x3F);
    }
    static constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
    if (c < kSmallest[n] || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF))
        return 0;
    return n;
}

// Unicode -> PDFDocEncoding code, for the characters that have one. The controls of 0 to 31 other
// than tab and line ends are left out: those codes mean accents in PDFDocEncoding.
const std::unordered_map<char32_t, uint8_t>& PdfDocCodes() {
    static const std::unordered_map<char32_t, uint8_t> codes = [] {
        std::unordered_map<char32_t, uint8_t> m;
        for (int code = 255; code >= 0; --code) {
            char32_t u = kPDFDocToUnicode[code];
            bool control = u < 32 && u != 9 && u != 10 && u != 13;
            bool undefined =
                u == static_cast<char32_t>(code) && (code == 0x7F || code == 0x9F || code == 0xAD);
            if (!control && !undefined)
                m[u] = static_cast<uint8_t>(code);
        }
        return m;
    }();
    return codes;
}

} // namespace

std::u32string PDValueCharacters(std::string_view bytes) {
    std::u32string out;
    out.reserve(bytes.size());
    for (size_t i = 0; i < bytes.size();) {
        char32_t c = 0;
        size_t n = DecodeUtf8(bytes, i, c);
        if (n == 0) {
            out.clear();
            for (char b : bytes) {
                auto byte = static_cast<uint8_t>(b);
                char16_t high = byte >= 128 && byte < 160 ? kCp1252High[byte - 128] : 0;
                out.push_back(high != 0 ? high : byte);
            }
            return out;
        }
        out.push_back(c);
        i += n;
    }
    return out;
}

PDStr PDWrittenTextString(const std::u32string& text) {
    const auto& codes = PdfDocCodes();
    std::string bytes;
    bool single = true;
    for (char32_t c : text) {
        auto it = codes.find(c);
        if (it == codes.end()) {
            single = false;
            break;
        }
        bytes.push_back(static_cast<char>(it->second));
    }
    PDStr out;
    if (single) {
        PDEncodeString(reinterpret_cast<const uint8_t*>(bytes.data()),
                       static_cast<int>(bytes.size()), out, kPDLiteral);
        return out;
    }
    bytes = "\xFE\xFF";
    auto unit = [&bytes](char32_t u) {
        bytes.push_back(static_cast<char>(u >> 8));
        bytes.push_back(static_cast<char>(u & 0xFF));
    };
    for (char32_t c : text) {
        if (c >= 0x10000) {
            unit(0xD800 + ((c - 0x10000) >> 10));
            unit(0xDC00 + ((c - 0x10000) & 0x3FF));
        } else {
            unit(c);
        }
    }
    PDEncodeString(reinterpret_cast<const uint8_t*>(bytes.data()), static_cast<int>(bytes.size()),
                   out, kPDHex);
    return out;
}

std::string PDNumber(double v) {
    return PDFormatReal(static_cast<float>(v));
}

std::string PDUtf8(char32_t c) {
    std::string out;
    PDAppendUtf8(out, c);
    return out;
}

std::string PDPlainName(std::string_view name) {
    if (!name.empty() && name[0] == '/')
        name.remove_prefix(1);
    std::string out;
    for (size_t i = 0; i < name.size(); ++i) {
        if (name[i] == '#' && i + 2 < name.size() &&
            PDHexValue(static_cast<uint8_t>(name[i + 1])) >= 0 &&
            PDHexValue(static_cast<uint8_t>(name[i + 2])) >= 0) {
            out.push_back(static_cast<char>(PDHexValue(static_cast<uint8_t>(name[i + 1])) * 16 +
                                            PDHexValue(static_cast<uint8_t>(name[i + 2]))));
            i += 2;
        } else {
            out.push_back(name[i]);
        }
    }
    return out;
}
