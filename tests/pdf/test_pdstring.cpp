#include "pdf/pdstring.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

namespace {

using namespace std::string_view_literals;

std::string Decode(std::string_view written) {
    PDStr out("stale");
    PDDecodeString(written.data(), static_cast<int>(written.size()), out);
    return out.ToString();
}

std::string Encode(std::string_view bytes, int mode) {
    PDStr out("stale");
    PDEncodeString(reinterpret_cast<const uint8_t*>(bytes.data()), static_cast<int>(bytes.size()),
                   out, mode);
    return out.ToString();
}

// Hex: a lone last digit is the byte's whole value, non-digits are skipped, nothing after the
// bracket counts. Literal: an escape starting with 4 to 7 is not octal, short octal escapes stay
// as written, balanced parentheses are kept and an escaped one does not nest.
TEST(PDStringDecode, HexAndLiteralForms) {
    // clang-format off
    const std::pair<std::string_view, std::string_view> cases[] = {
        {"<48 65 6C6C6F>", "Hello"},                  {"<414>", "A\x04"},    {"<>", ""},
        {"<4g1>", "A"},        {"<41", "A"},          {"<ff>", "\xFF"},      {"<41>42", "A"},
        {"(a\\051b)", "a)b"},  {"(a\\51b)", "a51b"},  {"(\\101\\377)", "A\xFF"},
        {"(\\1a)", "\\1a"},    {"(\\12)", "\\12"},    {"(x\\\ny)", "xy"},    {"(x\\\r\ny)", "xy"},
        {"(x\\\ry)", "xy"},    {"(\\r\\n\\t\\b\\f)", "\r\n\t\b\f"},          {"(\\\\)", "\\"},
        {"(\\(\\))", "()"},    {"(\\q)", "q"},        {"(a(b)c)d)", "a(b)c"},
        {"(a\\(b)c)", "a(b"},  {"(open", "open"},     {"(end\\", "end"},     {"()", ""},
        {"(a\0b)"sv, "a\0b"sv},                       {"/A#20B", "A B"},
    };
    // clang-format on
    for (const auto& [written, bytes] : cases) {
        SCOPED_TRACE(std::string(written));
        EXPECT_EQ(Decode(written), bytes);
    }
    PDStr s("(a\\101)");
    PDDecodeString(s, s);
    EXPECT_EQ(s.View(), "aA");
}

// With the octal-keeping mode an octal escape already present stays.
TEST(PDStringEncode, Modes) {
    // clang-format off
    const std::tuple<std::string_view, int, std::string_view> cases[] = {
        {"a(b)", kPDLiteral, "(a\\(b\\))"},         {"a\\1", kPDLiteral, "(a\\\\1)"},
        {"a\\1", kPDLiteralKeepOctal, "(a\\1)"},    {"a\\4", kPDLiteralKeepOctal, "(a\\\\4)"},
        {"\\", kPDLiteralKeepOctal, "(\\\\)"},
        {"\0\b\t\n\f\r\x0B"sv, kPDLiteral, "(\\000\\b\\t\\n\\f\\r\x0B)"},
        {"\xE9", kPDLiteral, "(\xE9)"},             {"", kPDLiteral, "()"},
        {"", kPDHex, "<>"},                         {"\x01\xAB\xFF", kPDHex, "<01abff>"},
    };
    // clang-format on
    for (const auto& [bytes, mode, written] : cases) {
        SCOPED_TRACE(std::string(written));
        EXPECT_EQ(Encode(bytes, mode), written);
    }
    PDStr out;
    PDEncodeString("x)", out, kPDLiteral);
    EXPECT_EQ(out.View(), "(x\\))");
    std::string all;
    for (int b = 0; b < 256; ++b)
        all.push_back(static_cast<char>(b));
    EXPECT_EQ(Decode(Encode(all, kPDLiteral)), all);
    EXPECT_EQ(Decode(Encode(all, kPDHex)), all);
}

} // namespace
