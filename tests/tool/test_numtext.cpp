#include "tool/numtext.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <optional>

namespace {

TEST(ToolNumText, LeadingDecimal) {
    const std::pair<const char*, float> cases[] = {
        {"12", 12.0f},    {"  7.5pt", 7.5f}, {"\t-2", -2.0f}, {"+3", 3.0f},    {".5", 0.5f},
        {"abc", 0.0f},    {"", 0.0f},        {"-", 0.0f},     {"inf", 0.0f},   {"nan", 0.0f},
        {"1e2x", 100.0f}, {"1e99", 0.0f},    {"0x10", 0.0f},  {nullptr, 0.0f},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(ReadLeadingDecimal(text), expected) << (text ? text : "(null)");
}

TEST(ToolNumText, StrictInt) {
    // clang-format off
    const std::pair<const char*, std::optional<int>> cases[] = {
        {"2", 2},             {" 2", 2},            {"-1", -1},           {"+4", 4},
        {"2x", {}},           {"", {}},             {"1.5", {}},          {"2 ", {}},
        {"-", {}},            {"2147483647", INT_MAX},                    {"2147483648", {}},
        {"99999999999999999999", {}},
    };
    // clang-format on
    for (const auto& [item, expected] : cases) {
        SCOPED_TRACE(item);
        int value = -77; // left alone when the item does not fit
        EXPECT_EQ(ReadStrictInt(item, value), expected.has_value());
        EXPECT_EQ(value, expected.value_or(-77));
    }
}

TEST(ToolNumText, StrictNumber) {
    const std::pair<const char*, std::optional<float>> cases[] = {
        {"50", 50.0f}, {"2.5", 2.5f}, {".5", 0.5f},  {"5.", 5.0f}, {" -3.25", -3.25f}, {".", {}},
        {"1e2", {}},   {"abc", {}},   {"1.2.3", {}}, {"", {}},     {"5pt", {}},
    };
    for (const auto& [item, expected] : cases) {
        SCOPED_TRACE(item);
        float value = -77.0f;
        EXPECT_EQ(ReadStrictNumber(item, value), expected.has_value());
        EXPECT_EQ(value, expected.value_or(-77.0f));
    }
}

TEST(ToolNumText, TruncateTowardsZeroAndSaturate) {
    const std::pair<float, int> cases[] = {
        {2.9f, 2}, {-2.9f, -2}, {0.0f, 0}, {1e20f, INT_MAX}, {-1e20f, INT_MIN}, {NAN, 0},
    };
    for (const auto& [value, expected] : cases)
        EXPECT_EQ(TruncateToInt(value), expected) << value;
}

} // namespace
