// PDContentLexer: the operands and operators of one content stream held in memory, read with the
// object lexer. Inline images are taken whole: their dictionary and raw data become operands of
// the "BI" operator.
#pragma once

#include "fonts/pdtokenfifo.h"
#include "pdf/pdparse.h"

#include <cstdint>
#include <memory>

class PDContentLexer {
public:
    // Reads data[0, length); does not own the bytes, which must outlive the lexer.
    PDContentLexer(const uint8_t* data, int64_t length);

    // Reads on to the next operator, pushing the operands met before it onto operands. Returns
    // the operator code, or -1 at the end of the content.
    int NextOperator(TokenFIFO& operands);

private:
    static constexpr int kOperand = -2;

    // Handles the next token: an operator's code, kOperand when it was pushed (or reported and
    // skipped), -1 at the end.
    int ReadToken(TokenFIFO& operands);
    void PushText(TokenFIFO& operands, int kind);
    void PushValue(TokenFIFO& operands, int kind);
    // False at the true end; otherwise the odd token is reported and stepped over.
    bool SkipOddToken();
    void ReadInlineImage(TokenFIFO& operands);
    // Where the raw data of an inline image that start at start end: before the "E I" that an
    // operator follows, else at the end of the content.
    int64_t ImageDataEnd(int64_t start) const;
    // Whether the first keyword in data[from, from + window) is an operator.
    bool OperatorFollows(int64_t from, int64_t window) const;
    void Restart(int64_t offset);

    const uint8_t* m_data;
    int64_t m_length;
    PDMemoryHost m_host;
    std::unique_ptr<PDParser> m_parser;
    bool m_pending = false; // the parser's current token was read ahead and is not handled yet
};

// True for a keyword the content reads as a number: it starts with a digit, "-" or ".".
bool PDIsNumberWord(const char* text) noexcept;
