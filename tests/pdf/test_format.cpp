#include "pdf/pdformat.h"
#include "pdf/pdnumtext.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace {

TEST(PDFormatTest, RealsKeepAtMostThreeDecimals) {
    struct Case {
        float value;
        const char* text;
    } cases[] = {
        {0.5F, "0.5"},         {2.25F, "2.25"},       {3.0F, "3"},
        {1.0005F, "1.001"},    {1.9996F, "2"},        {1.9994F, "1.999"},
        {-0.0001F, "-0"},      {0.00049F, "0"},       {0.0005F, "0.001"},
        {-0.0F, "0"},          {-7.25F, "-7.25"},     {0.1F, "0.1"},
        {123.456F, "123.456"}, {99.9995F, "100"},     {0.05F, "0.05"},
        {612.0F, "612"},       {1e10F, "2147483647"}, {-1e10F, "-2147483647"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(PDFormatReal(c.value), c.text);
    }
    EXPECT_EQ(PDFormatReal(std::numeric_limits<float>::quiet_NaN()), "0");
}

TEST(PDFormatTest, IntegersAndPadding) {
    struct Case {
        std::string got;
        const char* expected;
    } cases[] = {
        {PDFormatInt(0), "0"},
        {PDFormatInt(-42), "-42"},
        {PDFormatInt(std::numeric_limits<int64_t>::min()), "-9223372036854775808"},
        {PDFormatPadded(123, 10), "0000000123"},
        {PDFormatPadded(5000000000LL, 10), "5000000000"},
        {PDFormatPadded(12345678901LL, 10), "12345678901"}, // never cut
        {PDFormatPadded(0, 5), "00000"},
        {PDFormatPadded(-5, 3), "-005"},
    };
    for (size_t i = 0; i < std::size(cases); ++i) {
        SCOPED_TRACE(cases[i].expected);
        EXPECT_EQ(cases[i].got, cases[i].expected);
    }
}

TEST(PDNumTextTest, ReadsLikeTheCLibraryWithoutLocale) {
    struct Case {
        const char* text;
        int64_t i64;
        int32_t i32;
        double real;
    } cases[] = {
        {"42", 42, 42, 42.0},
        {"  -17xyz", -17, -17, -17.0},
        {"+8", 8, 8, 8.0},
        {"12.75", 12, 12, 12.75},
        {".5", 0, 0, 0.5},
        {"-.25", 0, 0, -0.25},
        {"5.", 5, 5, 5.0},
        {"1e3", 1, 1, 1000.0},
        {"9999999999", 9999999999LL, 2147483647, 9999999999.0},
        {"-9999999999", -9999999999LL, -2147483647 - 1, -9999999999.0},
        {"99999999999999999999", std::numeric_limits<int64_t>::max(), 2147483647, 1e20},
        {"-9223372036854775808", std::numeric_limits<int64_t>::min(), -2147483647 - 1,
         -9223372036854775808.0},
        {"/Name", 0, 0, 0.0},
        {"inf", 0, 0, 0.0},
        {"", 0, 0, 0.0},
        {"-", 0, 0, 0.0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(PDParseInt64(c.text), c.i64);
        EXPECT_EQ(PDParseInt32(c.text), c.i32);
        EXPECT_DOUBLE_EQ(PDParseReal(c.text), c.real);
    }
    EXPECT_EQ(PDParseInt64(nullptr), 0);
    EXPECT_EQ(PDParseReal("1e999"), std::numeric_limits<double>::max());
    EXPECT_EQ(PDParseReal("1e-999"), 0.0);
}

} // namespace
