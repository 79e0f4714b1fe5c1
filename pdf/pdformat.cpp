#include "pdf/pdformat.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <string_view>
#include <system_error>

namespace {

constexpr int64_t kIntPartLimit = std::numeric_limits<int32_t>::max();

struct Rounded {
    int64_t whole = 0;
    int digits[3] = {0, 0, 0}; // tenths, hundredths, thousandths
};

// Adds one thousandth to r, carrying through the decimals into the whole part.
void CarryThousandth(Rounded& r) {
    for (int i = 2; i >= 0; --i) {
        if (++r.digits[i] < 10)
            return;
        r.digits[i] = 0;
    }
    ++r.whole;
}

// Works on the shortest decimal text that reads back as the same float, so that a value written
// as 1.0005 is treated as exactly that: adding 0.0005 and truncating then gives 1.001 as intended,
// which plain binary arithmetic on the float (1.00049996...) would not.
Rounded RoundToThousandths(float magnitude) {
    Rounded r;
    char text[64];
    auto res = std::to_chars(text, text + sizeof text, magnitude, std::chars_format::fixed);
    std::string_view s(text, res.ec == std::errc() ? static_cast<size_t>(res.ptr - text) : 0);
    size_t dot = s.find('.');
    std::string_view whole = s.substr(0, dot);
    std::string_view frac = dot == std::string_view::npos ? std::string_view() : s.substr(dot + 1);
    for (char c : whole) {
        r.whole = r.whole * 10 + (c - '0');
        if (r.whole > kIntPartLimit)
            return Rounded{kIntPartLimit, {0, 0, 0}};
    }
    for (size_t i = 0; i < 3 && i < frac.size(); ++i)
        r.digits[i] = frac[i] - '0';
    if (frac.size() > 3 && frac[3] >= '5')
        CarryThousandth(r);
    return r;
}

} // namespace

std::string PDFormatReal(float value) {
    if (std::isnan(value))
        value = 0.0F;
    bool negative = value < 0.0F;
    Rounded r = RoundToThousandths(std::fabs(value));
    // Deliberate: a whole part beyond 32 bits is pinned at the largest 32-bit integer.
    if (r.whole > kIntPartLimit)
        r = Rounded{kIntPartLimit, {0, 0, 0}};
    std::string out;
    if (negative)
        out.push_back('-'); // Deliberate: -0.0001 is written "-0".
    out += PDFormatInt(r.whole);
    int shown = r.digits[2] != 0 ? 3 : r.digits[1] != 0 ? 2 : r.digits[0] != 0 ? 1 : 0;
    if (shown > 0) {
        out.push_back('.');
        for (int i = 0; i < shown; ++i)
            out.push_back(static_cast<char>('0' + r.digits[i]));
    }
    return out;
}

std::string PDFormatInt(int64_t value) {
    char text[24];
    auto res = std::to_chars(text, text + sizeof text, value);
    return std::string(text, res.ptr);
}

std::string PDFormatPadded(int64_t value, int width) {
    // The magnitude as unsigned, so that the most negative value needs no special case.
    uint64_t magnitude =
        value < 0 ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
    char text[24];
    auto res = std::to_chars(text, text + sizeof text, magnitude);
    std::string digits(text, res.ptr);
    std::string out = value < 0 ? "-" : "";
    if (width > 0 && digits.size() < static_cast<size_t>(width))
        out.append(static_cast<size_t>(width) - digits.size(), '0');
    return out + digits;
}
