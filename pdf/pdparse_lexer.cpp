// The byte source and the tokenizer of PDParser.
#include "pdf/pdparse.h"

#include "streams/pddiag.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace {

constexpr int32_t kBlock = 256;       // a normal refill
constexpr int32_t kMarkSlack = 40;    // what a held mark may add behind the fill
constexpr int32_t kCompactFrom = 129; // a mark this far in is moved to the buffer's start
constexpr int kTokenReserve = 1000;
// A token longer than this (an unterminated string in a huge file) ends as the end token.
constexpr int kMaxTokenLength = 1 << 28;

bool IsDigit(int c) noexcept {
    return c >= '0' && c <= '9';
}
bool IsLetter(int c) noexcept {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}
bool IsLineSpace(int c) noexcept {
    return c == ' ' || c == '\n' || c == '\r';
}

// Where names and words stop. The end of input stops them too.
constexpr bool IsDelimiterByte(int c) noexcept {
    switch (c) {
    case -1:
    case 0:
    case ' ':
    case '\n':
    case '\r':
    case '\t':
    case ']':
    case '>':
    case '<':
    case '[':
    case '(':
    case '/':
        return true;
    default:
        return false;
    }
}

// Byte classes for scanning runs of the buffer.
constexpr uint8_t kWordByte = 1;    // not a delimiter: names and words go on
constexpr uint8_t kLiteralByte = 2; // no effect in a literal string beyond being kept
constexpr uint8_t kHexByte = 4;     // neither ends a hexadecimal string nor cuts it short

constexpr uint8_t ClassOf(int c) noexcept {
    uint8_t bits = 0;
    if (!IsDelimiterByte(c))
        bits |= kWordByte;
    // 'j' may complete the guard word that ends a runaway literal string, so it is checked.
    if (c != '(' && c != ')' && c != '\\' && c != 'j')
        bits |= kLiteralByte;
    if (c != '>' && c != ']')
        bits |= kHexByte;
    return bits;
}

struct ByteClasses {
    uint8_t bits[256];
    constexpr ByteClasses() : bits() {
        for (int c = 0; c < 256; ++c)
            bits[c] = ClassOf(c);
    }
};

constexpr ByteClasses kClasses;

bool IsDelimiter(int c) noexcept {
    return c < 0 || (kClasses.bits[c] & kWordByte) == 0;
}

// Bytes that end an integer at once, without looking for a reference behind it.
bool EndsInteger(int c) noexcept {
    switch (c) {
    case -1:
    case ']':
    case '>':
    case '(':
    case '/':
    case '[':
    case '<':
    case '%':
        return true;
    default:
        return false;
    }
}

// Decimal digits with an optional leading minus; stops at the first other byte and saturates.
int64_t DecimalPrefix(const char* text) noexcept {
    bool negative = *text == '-';
    if (negative)
        ++text;
    int64_t value = 0;
    constexpr int64_t kMax = std::numeric_limits<int64_t>::max();
    for (; IsDigit(static_cast<unsigned char>(*text)); ++text) {
        int digit = *text - '0';
        value = value > (kMax - digit) / 10 ? kMax : value * 10 + digit;
    }
    return negative ? -value : value;
}

} // namespace

// ---------------------------------------------------------------------------------------------
// PDMemoryHost

int PDMemoryHost::Read(uint8_t* buffer, int n) {
    if (n <= 0 || m_pos >= m_length)
        return 0;
    int64_t count = std::min<int64_t>(n, m_length - m_pos);
    std::memcpy(buffer, m_data + m_pos, static_cast<size_t>(count));
    m_pos += count;
    return static_cast<int>(count);
}

bool PDMemoryHost::Seek(int64_t pos) {
    if (pos < 0 || pos > m_length)
        return false;
    m_pos = pos;
    return true;
}

// ---------------------------------------------------------------------------------------------
// PDByteSource

PDByteSource::PDByteSource(PDParseHost& host) : m_host(host), m_base(host.Tell()) {}

bool PDByteSource::FillBuffer() {
    if (m_mark >= 0 && m_mark + kMarkSlack < m_pos) {
        PDReport("FillBuffer: auto-disable restore mark\n");
        m_mark = -1;
    }
    int got = 0;
    if (m_mark >= 0) {
        if (m_mark >= kCompactFrom) {
            int32_t count = m_fill - m_mark;
            std::memmove(m_buffer, m_buffer + m_mark, static_cast<size_t>(count));
            m_base += m_mark;
            m_pos -= m_mark;
            m_fill = count;
            m_mark = 0;
            got = m_host.Read(m_buffer + m_fill, kBlock - count);
        } else {
            int room = static_cast<int>(sizeof m_buffer) - 1 - m_fill;
            got = m_host.Read(m_buffer + m_fill, std::min(kMarkSlack, room));
        }
        if (got > 0)
            m_fill += got;
        else
            m_buffer[m_fill] = '\n';
    } else {
        m_base += m_pos;
        got = m_host.Read(m_buffer, kBlock);
        m_pos = 0;
        m_fill = std::max(got, 0);
        if (got <= 0)
            m_buffer[0] = 0;
    }
    m_hostEnded = got <= 0;
    return got > 0;
}

bool PDByteSource::AtEnd() const noexcept {
    return m_pos >= m_fill && m_hostEnded;
}

void PDByteSource::SetMark() noexcept {
    m_mark = m_pos;
}

void PDByteSource::ClearMark() noexcept {
    m_mark = -1;
}

void PDByteSource::RestoreMark() noexcept {
    if (m_mark < 0)
        return;
    m_pos = m_mark;
    m_mark = -1;
    if (m_fill > kBlock) {
        std::memmove(m_buffer, m_buffer + m_pos, static_cast<size_t>(m_fill - m_pos));
        m_fill -= m_pos;
        m_base += m_pos;
        m_pos = 0;
    }
}

int64_t PDByteSource::Offset() const noexcept {
    return m_base + m_pos;
}

// ---------------------------------------------------------------------------------------------
// Tokenizer

int PDClassifyKeyword(const char* word) {
    static const char* const kKeywords[] = {"obj", "endobj", "stream", "endstream"};
    if (word == nullptr)
        return 4;
    for (int i = 0; i < 4; ++i) {
        if (std::strcmp(word, kKeywords[i]) == 0)
            return i;
    }
    return 4;
}

PDParser::PDParser(PDParseHost& host) : m_source(host) {
    m_token.Reserve(kTokenReserve);
    m_token.Clear();
    // A parser is made for every object read, and the environment does not change during a run.
    static const bool trace = std::getenv("PDF_TEST") != nullptr;
    m_trace = trace;
    Next();
}

int64_t PDParser::Offset() const noexcept {
    return m_source.Offset() - (m_cur >= 0 ? 1 : 0);
}

int PDParser::GetToken() {
    m_token.Clear();
    m_generation = 0;
    m_kind = ScanToken();
    if (m_trace)
        PDReport("GetToken: %d %s\n", m_kind, m_token.Text());
    return m_kind;
}

int64_t PDParser::GetCurNumber() {
    int first = m_token.At(0);
    if (first != '-' && !IsDigit(first)) {
        PDReport("PDParser::GetCurNumber: cannot convert %s\n", m_token.Text());
        return -1;
    }
    return DecimalPrefix(m_token.Text());
}

int32_t PDParser::TokenNumber() const noexcept {
    int64_t n = DecimalPrefix(m_token.Text());
    return n < 0 || n > kPDBigNumber ? kPDBigNumber : static_cast<int32_t>(n);
}

// False at the end of input, which a byte 0 also marks.
bool PDParser::SkipWhiteSpace() {
    for (;;) {
        while (m_cur >= 1 && m_cur <= 32)
            Next();
        if (m_cur != '%')
            return m_cur > 0;
        while (m_cur != '\n' && m_cur != '\r' && m_cur != -1)
            Next();
    }
}

// Appends a byte to the token; false once the token has grown beyond any sensible size.
bool PDParser::AppendByte(int c) {
    if (m_token.Length() >= kMaxTokenLength)
        return false;
    m_token.Append(static_cast<char>(c));
    return true;
}

void PDParser::AppendRun(uint8_t byteClass) {
    const uint8_t* run = m_source.Pending();
    int32_t limit = std::min(m_source.Buffered(), kMaxTokenLength - m_token.Length());
    int32_t n = 0;
    while (n < limit && (kClasses.bits[run[n]] & byteClass) != 0)
        ++n;
    if (n > 0) {
        m_token.Append(reinterpret_cast<const char*>(run), n);
        m_source.Skip(n);
    }
    Next();
}

void PDParser::AppendToDelimiter() {
    while (!IsDelimiter(m_cur) && AppendByte(m_cur))
        AppendRun(kWordByte);
}

int PDParser::ScanToken() {
    if (!SkipWhiteSpace())
        return kTokEnd;
    int c = m_cur;
    if (c == '(')
        return ScanLiteralString();
    if (c == '<')
        return ScanHexString();
    if (IsDigit(c))
        return ScanNumber();
    if (c == '-' || c == '.')
        return ScanSigned();
    AppendByte(c);
    Next();
    switch (c) {
    case '/':
        AppendToDelimiter();
        return kTokName;
    case '>':
        if (m_cur != '>')
            return kTokEnd;
        AppendByte(m_cur);
        Next();
        return kTokDictClose;
    case '[':
        return kTokArrayOpen;
    case ']':
        return kTokArrayClose;
    case '\\':
        return kTokBackslash;
    case '"':
    case '\'':
        return kTokWord;
    default:
        break;
    }
    if (!IsLetter(c))
        return kTokEnd; // Deliberate: the stray byte is consumed, so a caller that goes on
                        // advances.
    AppendToDelimiter();
    return kTokWord;
}

// A literal string, kept exactly as written.
int PDParser::ScanLiteralString() {
    static constexpr char kGuard[] = "endobj";
    auto guarded = [this] {
        int n = m_token.Length();
        return n >= 6 && m_token.Text()[n - 1] == 'j' &&
               std::memcmp(m_token.Text() + n - 6, kGuard, 6) == 0;
    };
    AppendByte('(');
    Next();
    int depth = 0;
    for (;;) {
        int c = m_cur;
        if (c == -1)
            return kTokEnd;
        Next();
        if (c == '\\') {
            if (m_cur == -1)
                return kTokEnd;
            if (m_cur == '\r') {
                // A line continuation: backslash and carriage return vanish.
                Next();
                if (m_cur == -1)
                    return kTokEnd;
                if (m_cur != '\n' && m_cur != '\\' && !AppendByte(m_cur))
                    return kTokEnd;
            } else if (!AppendByte(c) || !AppendByte(m_cur)) {
                return kTokEnd;
            }
            Next();
        } else {
            if (!AppendByte(c))
                return kTokEnd;
            if (c == ')') {
                if (depth == 0)
                    return kTokString;
                --depth;
            } else if (c == '(') {
                ++depth;
            }
        }
        if (guarded())
            return kTokEnd;
        // Plain bytes neither nest, escape nor complete the guard word: taken as a run.
        if (m_cur >= 0 && (kClasses.bits[m_cur] & kLiteralByte) != 0 && AppendByte(m_cur))
            AppendRun(kLiteralByte);
    }
}

// "<<", or a hexadecimal string kept as written up to and including the first ">".
int PDParser::ScanHexString() {
    AppendByte('<');
    Next();
    if (m_cur == '<') {
        AppendByte('<');
        Next();
        return kTokDictOpen;
    }
    for (;;) {
        int c = m_cur;
        if (c == -1 || c == ']' || !AppendByte(c))
            return kTokEnd;
        if (c == '>') {
            Next();
            return kTokString;
        }
        AppendRun(kHexByte);
    }
}

// "-" or "." starts a word; followed by a digit or "." it may turn out an integer (-12).
int PDParser::ScanSigned() {
    AppendByte(m_cur);
    Next();
    if (!IsDigit(m_cur) && m_cur != '.')
        return kTokWord;
    AppendToDelimiter();
    return m_token.Find('.') >= 0 ? kTokWord : kTokInteger;
}

int PDParser::ScanNumber() {
    while (IsDigit(m_cur) && AppendByte(m_cur))
        Next();
    if (EndsInteger(m_cur))
        return kTokInteger;
    if (!IsLineSpace(m_cur)) {
        // Deliberate: any other byte, a tab included, makes the token a word (so reals arrive
        // as words, and "12<tab>" is the word 12).
        AppendToDelimiter();
        return kTokWord;
    }
    if (!m_detectRefs)
        return kTokInteger;
    return LookAheadReference();
}

// Undoes a look-ahead. When a refill dropped the mark the bytes read are gone; the token is the
// integer all the same and the tokenizer goes on behind them.
void PDParser::RestoreLookAhead(int saved) {
    if (!m_source.HasMark())
        return;
    m_source.RestoreMark();
    m_cur = saved;
}

// After an integer and white space: "n g R" is a reference, "n g obj" an object header.
int PDParser::LookAheadReference() {
    int saved = m_cur;
    m_source.SetMark();
    Next();
    while (IsLineSpace(m_cur))
        Next();
    if (!IsDigit(m_cur)) {
        RestoreLookAhead(saved);
        return kTokInteger;
    }
    int64_t generation = 0;
    for (; IsDigit(m_cur); Next())
        generation = std::min<int64_t>(generation * 10 + (m_cur - '0'), kPDBigNumber);
    while (IsLineSpace(m_cur))
        Next();
    if (m_cur == 'R') {
        Next();
        if (IsLetter(m_cur)) {
            RestoreLookAhead(saved);
            return kTokInteger;
        }
        m_source.ClearMark();
        m_generation = static_cast<int32_t>(generation);
        return kTokReference;
    }
    char word[4] = {};
    int length = 0;
    for (; !IsDelimiter(m_cur); Next()) {
        if (length < 4)
            word[length] = static_cast<char>(m_cur);
        ++length;
    }
    if (length == 3 && std::memcmp(word, "obj", 3) == 0) {
        m_source.ClearMark();
        m_generation = static_cast<int32_t>(generation);
        return kTokObjHeader;
    }
    RestoreLookAhead(saved);
    return kTokInteger;
}

// Whether the white space at the current byte is followed by a lone "R" (not an operator such
// as RG). Reads nothing when the mark holds.
bool PDParser::NextIsLoneR() {
    if (!IsLineSpace(m_cur))
        return false; // the next token starts right here, and an "R" here would have made a word
    int saved = m_cur;
    m_source.SetMark();
    Next();
    while (IsLineSpace(m_cur))
        Next();
    bool lone = false;
    if (m_cur == 'R') {
        Next();
        lone = !IsLetter(m_cur);
    }
    RestoreLookAhead(saved);
    return lone;
}
