#include "pdf/pdformat.h"
#include "streams/pdnumtext.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <tuple>

namespace {

TEST(PDFormatTest, RealsKeepAtMostThreeDecimals) {
    const std::pair<float, const char*> cases[] = {
        {2.25F, "2.25"},       {3.0F, "3"},       {1.0005F, "1.001"},    {1.9996F, "2"},
        {1.9994F, "1.999"},    {-0.0001F, "-0"},  {0.00049F, "0"},       {0.0005F, "0.001"},
        {-0.0F, "0"},          {-7.25F, "-7.25"}, {0.1F, "0.1"},         {0.05F, "0.05"},
        {123.456F, "123.456"}, {99.9995F, "100"}, {1e10F, "2147483647"}, {-1e10F, "-2147483647"},
    };
    for (const auto& [value, text] : cases)
        EXPECT_EQ(PDFormatReal(value), text);
    EXPECT_EQ(PDFormatReal(std::numeric_limits<float>::quiet_NaN()), "0");
}

TEST(PDFormatTest, IntegersAndPadding) {
    EXPECT_EQ(PDFormatInt(-42), "-42");
    EXPECT_EQ(PDFormatInt(std::numeric_limits<int64_t>::min()), "-9223372036854775808");
    EXPECT_EQ(PDFormatPadded(123, 10), "0000000123");
    EXPECT_EQ(PDFormatPadded(5000000000LL, 10), "5000000000");
    EXPECT_EQ(PDFormatPadded(12345678901LL, 10), "12345678901"); // never cut
    EXPECT_EQ(PDFormatPadded(0, 5), "00000");
    EXPECT_EQ(PDFormatPadded(-5, 3), "-005");
}

TEST(PDNumTextTest, ReadsLikeTheCLibraryWithoutLocale) {
    constexpr int64_t kMax64 = std::numeric_limits<int64_t>::max();
    constexpr int64_t kMin64 = std::numeric_limits<int64_t>::min();
    // clang-format off
    const std::tuple<const char*, int64_t, int32_t, double> cases[] = {
        {"  -17xyz", -17, -17, -17.0},  {"+8", 8, 8, 8.0},              {"12.75", 12, 12, 12.75},
        {"-.25", 0, 0, -0.25},          {"5.", 5, 5, 5.0},              {"1e3", 1, 1, 1000.0},
        {"9999999999", 9999999999LL, 2147483647, 9999999999.0},
        {"-9999999999", -9999999999LL, -2147483647 - 1, -9999999999.0},
        {"99999999999999999999", kMax64, 2147483647, 1e20},
        {"-9223372036854775808", kMin64, -2147483647 - 1, -9223372036854775808.0},
        {"/Name", 0, 0, 0.0},           {"inf", 0, 0, 0.0},             {"", 0, 0, 0.0},
        {"-", 0, 0, 0.0},
    };
    // clang-format on
    for (const auto& [text, i64, i32, real] : cases) {
        SCOPED_TRACE(text);
        EXPECT_EQ(PDParseInt64(text), i64);
        EXPECT_EQ(PDParseInt32(text), i32);
        EXPECT_DOUBLE_EQ(PDParseReal(text), real);
    }
    EXPECT_EQ(PDParseInt64(nullptr), 0);
    EXPECT_EQ(PDParseReal("1e999"), std::numeric_limits<double>::max());
    EXPECT_EQ(PDParseReal("1e-999"), 0.0);
}

} // namespace
