// TokenFIFO: the operands a content stream has given since its last operator, in order.
#pragma once

#include "pdf/pdvalue.h"
#include "streams/pdstr.h"

#include <memory>

enum PDOperandKind : int {
    kOperandNumber = 0,    // integer or real; Number() holds it
    kOperandName = 1,      // "/Name" as written
    kOperandString = 2,    // "(...)" or "<...>" as written
    kOperandArray = 3,     // Value() holds the array
    kOperandDict = 4,      // Value() holds the dictionary
    kOperandKeyword = 5,   // a word that is not an operator (true, false, null, EMC ...)
    kOperandImageData = 6, // the raw bytes of an inline image
};

struct PDContentToken {
    int kind = kOperandNumber;
    PDStr text;                     // as written (the bytes themselves for image data)
    double number = 0;              // numbers only
    std::unique_ptr<PDValue> value; // arrays and dictionaries only
};

class TokenFIFO {
public:
    static constexpr int kCapacity = 100;

    // Stores the token behind the others; a full ring reports and drops it (false).
    bool Push(PDContentToken&& token);
    void Clear() noexcept { m_count = 0; }
    int Count() const noexcept { return m_count; }
    // i-th pending token, 0 the oldest; null when out of range.
    const PDContentToken* At(int i) const noexcept;
    // The i-th of the last n tokens, as an operator taking n operands sees them; null when
    // fewer than n are pending and this one is missing.
    const PDContentToken* Operand(int i, int n) const noexcept;
    // Operand(i, n) as a number; a missing operand or one that is not a number counts as 0.
    double Number(int i, int n) const noexcept;

private:
    PDContentToken m_slots[kCapacity];
    int m_count = 0;
    int m_write = 0;
};
