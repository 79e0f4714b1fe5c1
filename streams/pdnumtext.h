// Decimal texts to numbers, the way the C library's atoi/atof family reads them but without any
// dependence on the locale: leading white space, an optional sign, then the longest number prefix.
// Anything unreadable gives 0.
#pragma once

#include <cstdint>

// Saturates at the 64-bit limits.
int64_t PDParseInt64(const char* text) noexcept;
// Saturates at the 32-bit limits.
int32_t PDParseInt32(const char* text) noexcept;
// Digits, a decimal point and an exponent; 0 for null or unreadable text.
double PDParseReal(const char* text) noexcept;

// Value of a hexadecimal digit (either case), or -1.
inline int PDHexValue(uint8_t c) noexcept {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}
