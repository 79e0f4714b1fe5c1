// The name codec. Names are kept as written; these turn raw bytes into a name and back.
#include "pdf/pdvalue.h"

#include "streams/pdnumtext.h"

namespace {

// Walks the decoded bytes of a name text one at a time.
class NameReader {
public:
    NameReader(const char* text, int length) noexcept
        : m_p(reinterpret_cast<const uint8_t*>(text)), m_length(text != nullptr ? length : 0) {
        if (m_length > 0 && m_p[0] == '/') {
            m_escapes = true;
            m_i = 1;
        }
    }
    // Next byte in out; false at the end.
    bool Next(uint8_t& out) noexcept {
        if (m_i >= m_length)
            return false;
        uint8_t c = m_p[m_i];
        if (m_escapes && c == '#' && m_i + 2 < m_length && PDHexValue(m_p[m_i + 1]) >= 0 &&
            PDHexValue(m_p[m_i + 2]) >= 0) {
            out = static_cast<uint8_t>(PDHexValue(m_p[m_i + 1]) * 16 + PDHexValue(m_p[m_i + 2]));
            m_i += 3;
            return true;
        }
        out = c;
        ++m_i;
        return true;
    }

private:
    const uint8_t* m_p;
    int m_length;
    int m_i = 0;
    bool m_escapes = false;
};

bool IsNameDelimiter(uint8_t c) noexcept {
    switch (c) {
    case '#':
    case '/':
    case '(':
    case ')':
    case '<':
    case '>':
    case '[':
    case ']':
    case '{':
    case '}':
    case '%':
        return true;
    default:
        return false;
    }
}

} // namespace

PDStr PDEncodeName(const char* bytes, int length) {
    static const char kDigits[] = "0123456789ABCDEF";
    PDStr out("/");
    const auto* p = reinterpret_cast<const uint8_t*>(bytes);
    for (int i = 0; p != nullptr && i < length; ++i) {
        uint8_t c = p[i];
        // '#' and the delimiters are escaped too, so that the name reads back as the same bytes.
        if (c > 0x20 && c < 0x7F && !IsNameDelimiter(c)) {
            out.Append(static_cast<char>(c));
            continue;
        }
        out.Append('#');
        out.Append(kDigits[c >> 4]);
        out.Append(kDigits[c & 0x0F]);
    }
    return out;
}

PDStr PDDecodeName(const char* text, int length) {
    PDStr out;
    NameReader reader(text, length);
    uint8_t c = 0;
    while (reader.Next(c))
        out.Append(static_cast<char>(c));
    return out;
}

bool PDNameMatches(const char* text, int length, const char* plain, int plainLength) noexcept {
    NameReader reader(text, length);
    const auto* p = reinterpret_cast<const uint8_t*>(plain);
    uint8_t c = 0;
    int i = 0;
    while (reader.Next(c)) {
        if (p == nullptr || i >= plainLength || p[i] != c)
            return false;
        ++i;
    }
    return i == (p == nullptr ? 0 : plainLength);
}
