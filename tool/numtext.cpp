#include "tool/numtext.h"

#include "streams/pdnumtext.h"

#include <charconv>
#include <climits>
#include <cmath>
#include <limits>
#include <system_error>

namespace {

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

bool IsSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

std::string_view SkipSpace(std::string_view text) {
    size_t i = 0;
    while (i < text.size() && IsSpace(text[i])) {
        ++i;
    }
    return text.substr(i);
}

// Splits off a leading '+' or '-'; true when the sign was '-'.
bool TakeSign(std::string_view& text) {
    if (!text.empty() && (text[0] == '+' || text[0] == '-')) {
        bool negative = text[0] == '-';
        text.remove_prefix(1);
        return negative;
    }
    return false;
}

// True when text is digits with at most one decimal point and at least one digit.
bool IsPlainDecimal(std::string_view text) {
    bool digit = false;
    bool point = false;
    for (char c : text) {
        if (IsDigit(c)) {
            digit = true;
        } else if (c == '.' && !point) {
            point = true;
        } else {
            return false;
        }
    }
    return digit;
}

} // namespace

float ReadLeadingDecimal(const char* text) {
    double value = PDParseReal(text);
    // Beyond the float range reads as 0, as unreadable text does.
    return std::fabs(value) > std::numeric_limits<float>::max() ? 0.0f : static_cast<float>(value);
}

bool ReadStrictInt(std::string_view item, int& out) {
    std::string_view rest = SkipSpace(item);
    bool negative = TakeSign(rest);
    if (rest.empty()) {
        return false;
    }
    for (char c : rest) {
        if (!IsDigit(c)) {
            return false;
        }
    }
    long long value = 0;
    auto [ptr, ec] = std::from_chars(rest.data(), rest.data() + rest.size(), value);
    (void)ptr;
    if (ec != std::errc()) {
        return false;
    }
    value = negative ? -value : value;
    if (value < INT_MIN || value > INT_MAX) {
        return false;
    }
    out = static_cast<int>(value);
    return true;
}

bool ReadStrictNumber(std::string_view item, float& out) {
    std::string_view rest = SkipSpace(item);
    bool negative = TakeSign(rest);
    if (!IsPlainDecimal(rest)) {
        return false;
    }
    float value = 0.0f;
    auto [ptr, ec] =
        std::from_chars(rest.data(), rest.data() + rest.size(), value, std::chars_format::fixed);
    if (ec != std::errc() || ptr != rest.data() + rest.size()) {
        return false;
    }
    out = negative ? -value : value;
    return true;
}

int TruncateToInt(float value) {
    if (value != value) {
        return 0;
    }
    // 2^31 is exact as a float; anything below it converts without overflow.
    if (value >= 2147483648.0f) {
        return INT_MAX;
    }
    if (value < -2147483648.0f) {
        return INT_MIN;
    }
    return static_cast<int>(value);
}
