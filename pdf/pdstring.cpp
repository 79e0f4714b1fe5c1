#include "pdf/pdstring.h"

#include "pdf/pdvalue.h"
#include "streams/pddiag.h"
#include "streams/pdnumtext.h"

#include <cstring>

namespace {

// The byte that a backslash and this letter stand for, or -1.
int LetterEscape(uint8_t c) noexcept {
    switch (c) {
    case 'r':
        return '\r';
    case 'n':
        return '\n';
    case 't':
        return '\t';
    case 'b':
        return '\b';
    case 'f':
        return '\f';
    default:
        return -1;
    }
}

bool IsOctal(uint8_t c) noexcept {
    return c >= '0' && c <= '7';
}

void DecodeHex(const uint8_t* p, int length, PDStr& out) {
    int pending = -1;
    for (int i = 1; i < length && p[i] != '>'; ++i) {
        int v = PDHexValue(p[i]);
        if (v < 0)
            continue;
        if (pending < 0) {
            pending = v;
        } else {
            out.Append(static_cast<char>(pending * 16 + v));
            pending = -1;
        }
    }
    // Deliberate: a lone last digit is taken as the byte's whole value, so <414> ends in 0x04.
    if (pending >= 0)
        out.Append(static_cast<char>(pending));
}

// Decodes the escape whose backslash is at p[i]; returns the index of the first byte after it.
int DecodeEscape(const uint8_t* p, int length, int i, PDStr& out, PDShortOctal shortOctal) {
    if (i + 1 >= length)
        return length;
    uint8_t c = p[i + 1];
    if (c == '\r' || c == '\n') // a line continuation: nothing
        return (c == '\r' && i + 2 < length && p[i + 2] == '\n') ? i + 3 : i + 2;
    if (int letter = LetterEscape(c); letter >= 0) {
        out.Append(static_cast<char>(letter));
        return i + 2;
    }
    if (c < '0' || c > '3') {
        out.Append(static_cast<char>(c)); // also the backslash of a doubled backslash
        return i + 2;
    }
    if (i + 3 < length && IsOctal(p[i + 2]) && IsOctal(p[i + 3])) {
        out.Append(static_cast<char>((c - '0') * 64 + (p[i + 2] - '0') * 8 + (p[i + 3] - '0')));
        return i + 4;
    }
    int end = i + 2;
    if (end < length && IsOctal(p[end]))
        ++end;
    if (shortOctal == PDShortOctal::kByte) {
        int value = 0;
        for (int k = i + 1; k < end; ++k)
            value = value * 8 + (p[k] - '0');
        out.Append(static_cast<char>(value));
        return end;
    }
    // Deliberate: a short octal escape in text is kept as written, backslash and digits alike.
    out.Append(reinterpret_cast<const char*>(p + i), end - i);
    return end;
}

void DecodeLiteral(const uint8_t* p, int length, PDStr& out, PDShortOctal shortOctal) {
    int depth = 0;
    int i = 1;
    while (i < length) {
        uint8_t c = p[i];
        if (c == '\\') {
            i = DecodeEscape(p, length, i, out, shortOctal);
            continue;
        }
        if (c == ')') {
            if (depth == 0)
                return;
            --depth;
        } else if (c == '(') {
            ++depth;
        }
        out.Append(static_cast<char>(c));
        ++i;
    }
}

void EncodeHex(const uint8_t* bytes, int length, PDStr& out) {
    static const char kDigits[] = "0123456789abcdef";
    out.Append('<');
    for (int i = 0; i < length; ++i) {
        out.Append(kDigits[bytes[i] >> 4]);
        out.Append(kDigits[bytes[i] & 0x0F]);
    }
    out.Append('>');
}

void EncodeLiteral(const uint8_t* bytes, int length, PDStr& out, bool keepOctal) {
    out.Append('(');
    for (int i = 0; i < length; ++i) {
        uint8_t c = bytes[i];
        switch (c) {
        case '\\':
            out.Append('\\');
            if (!(keepOctal && i + 1 < length && bytes[i + 1] >= '0' && bytes[i + 1] <= '3'))
                out.Append('\\');
            break;
        case '(':
        case ')':
            out.Append('\\');
            out.Append(static_cast<char>(c));
            break;
        case 0:
            out.Append("\\000");
            break;
        case 8:
            out.Append("\\b");
            break;
        case 9:
            out.Append("\\t");
            break;
        case 10:
            out.Append("\\n");
            break;
        case 12:
            out.Append("\\f");
            break;
        case 13:
            out.Append("\\r");
            break;
        default:
            out.Append(static_cast<char>(c));
            break;
        }
    }
    out.Append(')');
}

} // namespace

void PDDecodeString(const char* text, int length, PDStr& out, PDShortOctal shortOctal) {
    if (text != nullptr && text == out.Text() && length > 0) {
        PDStr copy(text, length); // decoding a string onto itself
        PDDecodeString(copy.Text(), copy.Length(), out, shortOctal);
        return;
    }
    out.Clear();
    if (text == nullptr || length < 0)
        length = 0;
    const auto* p = reinterpret_cast<const uint8_t*>(text);
    uint8_t first = length > 0 ? p[0] : 0;
    if (first == '/') {
        out = PDDecodeName(text, length);
    } else if (first == '<') {
        DecodeHex(p, length, out);
    } else if (first == '(') {
        DecodeLiteral(p, length, out, shortOctal);
    } else {
        PDReport("Encoded PDF string must start with '('\n");
        PDReport("\"%.*s\"\n", length, length > 0 ? text : "");
    }
}

void PDEncodeString(const uint8_t* bytes, int length, PDStr& out, int mode) {
    out.Clear();
    if (bytes == nullptr || length < 0)
        length = 0;
    if (mode == kPDHex)
        EncodeHex(bytes, length, out);
    else
        EncodeLiteral(bytes, length, out, mode == kPDLiteralKeepOctal);
}

void PDEncodeString(const char* text, PDStr& out, int mode) {
    size_t n = text != nullptr ? std::strlen(text) : 0;
    int length = n > 0x7FFFFFF0U ? 0x7FFFFFF0 : static_cast<int>(n);
    PDEncodeString(reinterpret_cast<const uint8_t*>(text), length, out, mode);
}
