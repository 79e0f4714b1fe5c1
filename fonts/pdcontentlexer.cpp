#include "fonts/pdcontentlexer.h"

#include "fonts/pdcontentops.h"
#include "streams/pddiag.h"
#include "streams/pdnumtext.h"

#include <algorithm>
#include <climits>

namespace {

// How far past "E I" the look-ahead for an operator reads. Operands between an inline image and
// the next operator are few. All the look-aheads of one image together read at most
// kLookAheadFloor bytes plus kLookAheadPerByte per byte of its data, so that data full of "EI "
// cannot cost quadratic time; beyond that, the data run on.
constexpr int64_t kLookAheadBytes = 1024;
constexpr int64_t kLookAheadFloor = 64 * 1024;
constexpr int64_t kLookAheadPerByte = 16;

bool IsImageEndSpace(uint8_t c) noexcept {
    return c == '\n' || c == '\r' || c == ' ';
}

} // namespace

bool PDIsNumberWord(const char* text) noexcept {
    char c = text[0];
    return (c >= '0' && c <= '9') || c == '-' || c == '.';
}

PDContentLexer::PDContentLexer(const uint8_t* data, int64_t length)
    : m_data(data), m_length(length < 0 ? 0 : length), m_host(data, m_length) {
    Restart(0);
}

void PDContentLexer::Restart(int64_t offset) {
    m_host.Seek(offset);
    m_parser = std::make_unique<PDParser>(m_host);
    m_parser->SetReferenceDetection(false);
    m_pending = false;
}

int PDContentLexer::NextOperator(TokenFIFO& operands) {
    for (;;) {
        int code = ReadToken(operands);
        if (code == kOpBI)
            ReadInlineImage(operands);
        if (code != kOperand)
            return code;
    }
}

int PDContentLexer::ReadToken(TokenFIFO& operands) {
    if (!m_pending)
        m_parser->GetToken();
    m_pending = false;
    switch (m_parser->TokenKind()) {
    case kTokWord: {
        const char* word = m_parser->TokenText().Text();
        if (PDIsNumberWord(word)) {
            PushText(operands, kOperandNumber);
            return kOperand;
        }
        int code = PDContentOperator(word);
        if (code >= 0)
            return code;
        PushText(operands, kOperandKeyword);
        return kOperand;
    }
    case kTokInteger:
        PushText(operands, kOperandNumber);
        return kOperand;
    case kTokName:
        PushText(operands, kOperandName);
        return kOperand;
    case kTokString:
        PushText(operands, kOperandString);
        return kOperand;
    case kTokArrayOpen:
        PushValue(operands, kOperandArray);
        return kOperand;
    case kTokDictOpen:
        PushValue(operands, kOperandDict);
        return kOperand;
    case kTokEnd:
        return SkipOddToken() ? kOperand : -1;
    default:
        PDReport("unexpected token %d %s\n", m_parser->TokenKind(), m_parser->TokenText().Text());
        return kOperand;
    }
}

void PDContentLexer::PushText(TokenFIFO& operands, int kind) {
    PDContentToken token;
    token.kind = kind;
    token.text = m_parser->TokenText();
    if (kind == kOperandNumber)
        token.number = PDParseReal(token.text.Text());
    operands.Push(std::move(token));
}

// Arrays and dictionaries are read whole by the value parser, which stops on the token after them.
void PDContentLexer::PushValue(TokenFIFO& operands, int kind) {
    PDContentToken token;
    token.kind = kind;
    token.value = std::make_unique<PDValue>();
    m_parser->ParseValue(*token.value);
    m_pending = true;
    operands.Push(std::move(token));
}

bool PDContentLexer::SkipOddToken() {
    int64_t at = m_parser->Offset();
    if (at >= m_length)
        return false;
    PDReport("unexpected token %d %s\n", kTokEnd, m_parser->TokenText().Text());
    // The lexer stops in front of a zero byte without taking it; every other odd byte it took.
    if (m_data[at] == 0)
        Restart(at + 1);
    return true;
}

void PDContentLexer::ReadInlineImage(TokenFIFO& operands) {
    for (;;) {
        int code = ReadToken(operands);
        if (code == -1)
            return;
        if (code == kOpID)
            break;
        if (code >= 0)
            PushText(operands, kOperandKeyword);
    }
    int64_t start = m_parser->Offset();
    if (start < m_length && m_data[start] <= ' ')
        ++start;
    int64_t end = ImageDataEnd(start);
    PDContentToken data;
    data.kind = kOperandImageData;
    int64_t kept = std::min<int64_t>(end - start, INT_MAX - 1);
    data.text.Append(reinterpret_cast<const char*>(m_data + start), static_cast<int>(kept));
    operands.Push(std::move(data));
    Restart(end);
}

int64_t PDContentLexer::ImageDataEnd(int64_t start) const {
    int64_t i = start;
    int64_t spent = 0;
    while (i < m_length) {
        if (m_data[i] != 'E' || i + 2 >= m_length || m_data[i + 1] != 'I' ||
            !IsImageEndSpace(m_data[i + 2])) {
            ++i;
            continue;
        }
        int64_t allowed = kLookAheadFloor + kLookAheadPerByte * (i - start) - spent;
        int64_t window = std::min({kLookAheadBytes, allowed, m_length - i - 3});
        if (window > 0 && OperatorFollows(i + 3, window))
            return i;
        spent += std::max<int64_t>(window, 0);
        i += 3;
    }
    return m_length;
}

// Operands are passed over; the first keyword decides. The end of the content (or of the
// look-ahead) and any odd byte say no.
bool PDContentLexer::OperatorFollows(int64_t from, int64_t window) const {
    PDMemoryHost host(m_data + from, window);
    PDParser parser(host);
    parser.SetReferenceDetection(false);
    for (;;) {
        int kind = parser.GetToken();
        if (kind == kTokEnd)
            return false;
        const char* text = parser.TokenText().Text();
        if (kind == kTokWord && !PDIsNumberWord(text))
            return PDContentOperator(text) >= 0;
    }
}
