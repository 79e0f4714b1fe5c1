#include "streams/pdnumtext.h"

#include <charconv>
#include <limits>
#include <system_error>

namespace {

bool IsSpace(char c) noexcept {
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

bool IsDigit(char c) noexcept {
    return c >= '0' && c <= '9';
}

// Skips white space and a sign; returns true for a minus.
bool SkipLead(const char*& p) noexcept {
    while (IsSpace(*p))
        ++p;
    bool negative = *p == '-';
    if (*p == '-' || *p == '+')
        ++p;
    return negative;
}

} // namespace

int64_t PDParseInt64(const char* text) noexcept {
    if (text == nullptr)
        return 0;
    const char* p = text;
    bool negative = SkipLead(p);
    // Accumulated as a negative number, whose range includes the most negative value.
    int64_t value = 0;
    constexpr int64_t kMin = std::numeric_limits<int64_t>::min();
    for (; IsDigit(*p); ++p) {
        int digit = *p - '0';
        if (value < (kMin + digit) / 10)
            return negative ? kMin : std::numeric_limits<int64_t>::max();
        value = value * 10 - digit;
    }
    if (negative)
        return value;
    return value == kMin ? std::numeric_limits<int64_t>::max() : -value;
}

int32_t PDParseInt32(const char* text) noexcept {
    int64_t v = PDParseInt64(text);
    if (v > std::numeric_limits<int32_t>::max())
        return std::numeric_limits<int32_t>::max();
    if (v < std::numeric_limits<int32_t>::min())
        return std::numeric_limits<int32_t>::min();
    return static_cast<int32_t>(v);
}

double PDParseReal(const char* text) noexcept {
    if (text == nullptr)
        return 0.0;
    const char* p = text;
    bool negative = SkipLead(p);
    // Only plain decimal forms; from_chars would also take "inf" and "nan", which no number here
    // is.
    if (!IsDigit(*p) && !(*p == '.' && IsDigit(p[1])))
        return 0.0;
    const char* end = p;
    while (*end != 0)
        ++end;
    double value = 0.0;
    auto res = std::from_chars(p, end, value, std::chars_format::general);
    if (res.ec == std::errc::result_out_of_range) {
        // Deliberate: a number too large for a double reads as its limit, a tiny one as 0.
        bool tiny = false;
        for (const char* q = p; q + 1 < res.ptr; ++q)
            tiny = tiny || ((*q == 'e' || *q == 'E') && q[1] == '-');
        value = tiny ? 0.0 : std::numeric_limits<double>::max();
    } else if (res.ec != std::errc()) {
        value = 0.0;
    }
    return negative ? -value : value;
}
