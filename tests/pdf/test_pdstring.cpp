#include "pdf/pdstring.h"
#include "tests/support/diag_capture.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

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

TEST(PDStringDecode, HexForms) {
    struct Case {
        std::string_view written;
        std::string_view bytes;
    } cases[] = {
        {"<48 65 6C6C6F>", "Hello"},
        {"<414>", "A\x04"}, // a lone last digit is the byte's whole value
        {"<4>", "\x04"},
        {"<>", ""},
        {"<4g1>", "A"}, // non-digits are skipped
        {"<41", "A"},   // no closing bracket: the walk ends with the text
        {"<ff>", "\xFF"},
        {"<41>42", "A"}, // nothing after the bracket
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.written));
        EXPECT_EQ(Decode(c.written), c.bytes);
    }
}

TEST(PDStringDecode, LiteralEscapes) {
    struct Case {
        std::string_view written;
        std::string_view bytes;
    } cases[] = {
        {"(abc)", "abc"},
        {"(a\\051b)", "a)b"},
        {"(a\\51b)", "a51b"}, // an escape starting with 4 to 7 is not octal here
        {"(\\101\\377)", "A\xFF"},
        {"(\\1a)", "\\1a"}, // short octal escapes stay as written
        {"(\\12)", "\\12"},
        {"(\\3)", "\\3"},
        {"(x\\\ny)", "xy"}, // line continuations
        {"(x\\\r\ny)", "xy"},
        {"(x\\\ry)", "xy"},
        {"(\\r\\n\\t\\b\\f)", "\r\n\t\b\f"},
        {"(\\\\)", "\\"},
        {"(\\(\\))", "()"},
        {"(\\q)", "q"},
        {"(a(b)c)", "a(b)c"}, // balanced parentheses are kept
        {"(a(b)c)d)", "a(b)c"},
        {"(a\\(b)c)", "a(b"}, // an escaped parenthesis does not nest
        {"(open", "open"},
        {"(end\\", "end"},
        {"()", ""},
        {std::string_view("(a\0b)", 5), std::string_view("a\0b", 3)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.written));
        EXPECT_EQ(Decode(c.written), c.bytes);
    }
}

TEST(PDStringDecode, NamesAndBadStarts) {
    EXPECT_EQ(Decode("/A#20B"), "A B");
    DiagCapture cap;
    EXPECT_EQ(Decode("abc"), "");
    EXPECT_EQ(cap.Text(), "Encoded PDF string must start with '('\n\"abc\"\n");
    cap.Clear();
    EXPECT_EQ(Decode(""), "");
    EXPECT_EQ(cap.Text(), "Encoded PDF string must start with '('\n\"\"\n");
}

TEST(PDStringDecode, OntoItself) {
    PDStr s("(a\\101)");
    PDDecodeString(s, s);
    EXPECT_EQ(s.ToString(), "aA");
}

TEST(PDStringEncode, Modes) {
    struct Case {
        std::string_view bytes;
        int mode;
        std::string_view written;
    } cases[] = {
        {"a(b)", kPDLiteral, "(a\\(b\\))"},
        {"a\\1", kPDLiteral, "(a\\\\1)"},
        {"a\\1", kPDLiteralKeepOctal, "(a\\1)"}, // an octal escape already present stays
        {"a\\4", kPDLiteralKeepOctal, "(a\\\\4)"},
        {"\\", kPDLiteralKeepOctal, "(\\\\)"},
        {std::string_view("\0\b\t\n\f\r\x0B", 7), kPDLiteral, "(\\000\\b\\t\\n\\f\\r\x0B)"},
        {"\xE9", kPDLiteral, "(\xE9)"},
        {"", kPDLiteral, "()"},
        {"", kPDHex, "<>"},
        {"\x01\xAB\xFF", kPDHex, "<01abff>"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.written));
        EXPECT_EQ(Encode(c.bytes, c.mode), c.written);
    }
    PDStr out;
    PDEncodeString("x)", out, kPDLiteral);
    EXPECT_EQ(out.ToString(), "(x\\))");
}

TEST(PDStringEncode, RoundTripsEveryByte) {
    std::string all;
    for (int b = 0; b < 256; ++b)
        all.push_back(static_cast<char>(b));
    for (int mode : {kPDLiteral, kPDHex}) {
        SCOPED_TRACE(mode);
        EXPECT_EQ(Decode(Encode(all, mode)), all);
    }
}

} // namespace
