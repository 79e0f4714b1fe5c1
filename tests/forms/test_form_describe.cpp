// Which decoded strings count as text for the JSON listing, and how the others are escaped.
#include "forms/form_describe.h"

#include <gtest/gtest.h>

#include <string>

TEST(FormDescribe, TellsTextStringsFromBytes) {
    using namespace std::string_literals;
    const struct {
        std::string bytes;
        bool text;
    } cases[] = {
        {"plain"s, true},
        {"\xA0 euro"s, true}, // PDFDocEncoding's euro sign
        {"tab\there"s, true},
        {"bell\x07"s, false},                        // a control character
        {"\x7F"s, false},                            // undefined in PDFDocEncoding
        {"\xFE\xFF\x00\x41\xD8\x3D\xDE\x00"s, true}, // UTF-16 with a surrogate pair
        {"\xFE\xFF\xD8\x3D\x00\x41"s, false},        // high surrogate without its low half
        {"\xFE\xFF\xDE\x00"s, false},                // low surrogate alone
        {"\xFE\xFF\x00"s, false},                    // odd length
        {"\xFF\xFE\x41\x00"s, true},                 // byte-order mark the other way round
        {"\xEF\xBB\xBF"
         "caf\xC3\xA9",
         true},
        {"\xEF\xBB\xBF\xC3"s, false},         // cut short
        {"\xEF\xBB\xBF\xC0\xAF"s, false},     // overlong
        {"\xEF\xBB\xBF\xED\xA0\x80"s, false}, // an encoded surrogate
        {""s, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.bytes));
        EXPECT_EQ(PDIsTextString(c.bytes), c.text);
    }
    EXPECT_EQ(PDEscapeBytes("a b#\xFF\x01.c"), "a#20b#23#FF#01.c");
}
