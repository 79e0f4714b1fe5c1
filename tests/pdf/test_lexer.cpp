// The byte source and the tokenizer, over memory images.
#include "pdf/pdparse.h"

#include "tests/support/diag_capture.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace {

struct Tok {
    int kind;
    std::string text;
};

// Every token up to and including the first end token (at most 20).
std::vector<Tok> Tokens(const std::string& input) {
    PDMemoryHost host(reinterpret_cast<const uint8_t*>(input.data()),
                      static_cast<int64_t>(input.size()));
    PDParser parser(host);
    std::vector<Tok> out;
    for (int i = 0; i < 20; ++i) {
        int kind = parser.GetToken();
        out.push_back({kind, parser.TokenText().ToString()});
        if (kind == kTokEnd)
            break;
    }
    return out;
}

std::string Show(const std::vector<Tok>& tokens) {
    std::string s;
    for (const Tok& t : tokens)
        s += std::to_string(t.kind) + ":" + t.text + " ";
    return s;
}

TEST(Lexer, TokenKindsAndTexts) {
    struct Case {
        std::string input;
        std::vector<Tok> expected;
    };
    const Case cases[] = {
        {"12 0 R", {{kTokReference, "12"}, {kTokEnd, ""}}},
        {"12 0 RG", {{kTokInteger, "12"}, {kTokInteger, "0"}, {kTokWord, "RG"}, {kTokEnd, ""}}},
        {"12 0 obj", {{kTokObjHeader, "12"}, {kTokEnd, ""}}},
        {"12 0 foo", {{kTokInteger, "12"}, {kTokInteger, "0"}, {kTokWord, "foo"}, {kTokEnd, ""}}},
        {"12 0 objx", {{kTokInteger, "12"}, {kTokInteger, "0"}, {kTokWord, "objx"}, {kTokEnd, ""}}},
        {"1 2 3 R", {{kTokInteger, "1"}, {kTokReference, "2"}, {kTokEnd, ""}}},
        {"12\r\n0\nR", {{kTokReference, "12"}, {kTokEnd, ""}}},
        {"12 0R]", {{kTokReference, "12"}, {kTokArrayClose, "]"}, {kTokEnd, ""}}},
        {"12 (x)", {{kTokInteger, "12"}, {kTokString, "(x)"}, {kTokEnd, ""}}},
        {"12", {{kTokInteger, "12"}, {kTokEnd, ""}}},
        {"12]", {{kTokInteger, "12"}, {kTokArrayClose, "]"}, {kTokEnd, ""}}},
        {"12/F", {{kTokInteger, "12"}, {kTokName, "/F"}, {kTokEnd, ""}}},
        {"12%c\n5", {{kTokInteger, "12"}, {kTokInteger, "5"}, {kTokEnd, ""}}},
        // Anything but white space behind the digits makes a word: reals, and a tab too.
        {"1.5", {{kTokWord, "1.5"}, {kTokEnd, ""}}},
        {"12\t0 R", {{kTokWord, "12"}, {kTokInteger, "0"}, {kTokWord, "R"}, {kTokEnd, ""}}},
        {"12)", {{kTokWord, "12)"}, {kTokEnd, ""}}},
        {"-7", {{kTokInteger, "-7"}, {kTokEnd, ""}}},
        {"-12 0 R", {{kTokInteger, "-12"}, {kTokInteger, "0"}, {kTokWord, "R"}, {kTokEnd, ""}}},
        {"-.5 .5 -1.5", {{kTokWord, "-.5"}, {kTokWord, ".5"}, {kTokWord, "-1.5"}, {kTokEnd, ""}}},
        {"- x", {{kTokWord, "-"}, {kTokWord, "x"}, {kTokEnd, ""}}},
        {"/A#20B", {{kTokName, "/A#20B"}, {kTokEnd, ""}}},
        {"/A/B(", {{kTokName, "/A"}, {kTokName, "/B"}, {kTokEnd, "("}}},
        {"/A)x /", {{kTokName, "/A)x"}, {kTokName, "/"}, {kTokEnd, ""}}},
        {"true false null T*",
         {{kTokWord, "true"},
          {kTokWord, "false"},
          {kTokWord, "null"},
          {kTokWord, "T*"},
          {kTokEnd, ""}}},
        {"\"'", {{kTokWord, "\""}, {kTokWord, "'"}, {kTokEnd, ""}}},
        {"[]<<>>\\",
         {{kTokArrayOpen, "["},
          {kTokArrayClose, "]"},
          {kTokDictOpen, "<<"},
          {kTokDictClose, ">>"},
          {kTokBackslash, "\\"},
          {kTokEnd, ""}}},
        {"<48 6g>", {{kTokString, "<48 6g>"}, {kTokEnd, ""}}},
        {"<>", {{kTokString, "<>"}, {kTokEnd, ""}}},
        {"<4]", {{kTokEnd, "<4"}}},
        {"<41", {{kTokEnd, "<41"}}},
        {"> x", {{kTokEnd, ">"}}},
        {"% only a comment\r true", {{kTokWord, "true"}, {kTokEnd, ""}}},
        {"", {{kTokEnd, ""}}},
        {std::string("  \x00 12", 6), {{kTokEnd, ""}}},
        // A stray byte is consumed, so whoever goes on reads what follows.
        {"}x", {{kTokEnd, "}"}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.input);
        EXPECT_EQ(Show(Tokens(c.input)), Show(c.expected));
    }
}

TEST(Lexer, LiteralStringsKeptAsWritten) {
    struct Case {
        std::string input;
        int kind;
        std::string text;
    };
    const Case cases[] = {
        {"(a(b)c) x", kTokString, "(a(b)c)"},
        {"(a\\)b) x", kTokString, "(a\\)b)"},
        {"(a\\(b) x", kTokString, "(a\\(b)"},
        {"(a\\\\)b", kTokString, "(a\\\\)"},
        {"(\\n\\101)", kTokString, "(\\n\\101)"},
        {"(a\\\r\nb)", kTokString, "(ab)"},
        {"(a\\\rb)", kTokString, "(ab)"},
        {"(a\\\r\\b)", kTokString, "(ab)"},
        {"(a\r\nb)", kTokString, "(a\r\nb)"},
        {"()", kTokString, "()"},
        {"(x endobj y)", kTokEnd, "(x endobj"},
        {"(x\\endobj)", kTokEnd, "(x\\endobj"},
        {"(abc", kTokEnd, "(abc"},
        {"(abc\\", kTokEnd, "(abc"},
        {"((a)", kTokEnd, "((a)"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.input);
        std::vector<Tok> tokens = Tokens(c.input);
        ASSERT_FALSE(tokens.empty());
        EXPECT_EQ(tokens[0].kind, c.kind);
        EXPECT_EQ(tokens[0].text, c.text);
    }
}

TEST(Lexer, GenerationOfReferencesAndHeaders) {
    struct Case {
        const char* input;
        int kind;
        int32_t generation;
    };
    const Case cases[] = {
        {"7 3 R", kTokReference, 3},
        {"7 65535 obj", kTokObjHeader, 65535},
        {"7 0 R", kTokReference, 0},
        {"7 99999999999 R", kTokReference, 2147483647},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.input);
        std::string input = c.input;
        PDMemoryHost host(reinterpret_cast<const uint8_t*>(input.data()),
                          static_cast<int64_t>(input.size()));
        PDParser parser(host);
        EXPECT_EQ(parser.GetToken(), c.kind);
        EXPECT_EQ(parser.TokenText().ToString(), "7");
        EXPECT_EQ(parser.TokenGeneration(), c.generation);
    }
}

TEST(Lexer, ReferenceDetectionOff) {
    std::string input = "12 0 R";
    PDMemoryHost host(reinterpret_cast<const uint8_t*>(input.data()), 6);
    PDParser parser(host);
    parser.SetReferenceDetection(false);
    EXPECT_EQ(parser.GetToken(), kTokInteger);
    EXPECT_EQ(parser.GetToken(), kTokInteger);
    EXPECT_EQ(parser.GetToken(), kTokWord);
}

// The look-ahead must see the same tokens wherever the 256-byte blocks happen to split them.
TEST(Lexer, LookAheadAcrossBlockBoundaries) {
    const char* const tails[] = {"12 0 R /N", "12 0 RG /N", "12 0 obj /N", "12 0 foo /N"};
    for (const char* tail : tails) {
        std::string expected = Show(Tokens(tail));
        for (int pad = 240; pad <= 262; ++pad) {
            SCOPED_TRACE(std::string(tail) + " after " + std::to_string(pad));
            std::string input = std::string(static_cast<size_t>(pad), ' ') + tail;
            DiagCapture diag;
            EXPECT_EQ(Show(Tokens(input)), expected);
            EXPECT_EQ(diag.Text(), "");
        }
    }
}

// Deliberate quirk kept: a look-ahead that runs more than 40 bytes over a refill loses its mark;
// the bytes it read are then gone.
TEST(Lexer, LongLookAheadDropsTheMark) {
    struct Case {
        std::string input;
        std::string tokens;
    };
    std::string gap(300, ' ');
    const Case cases[] = {
        {"12" + gap + "0 R /N", "1:12 4:/N 13: "},
        {"12" + gap + "0 RG /N", "0:12 3:G 4:/N 13: "},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.tokens);
        DiagCapture diag;
        EXPECT_EQ(Show(Tokens(c.input)), c.tokens);
        EXPECT_EQ(diag.Text(), "FillBuffer: auto-disable restore mark\n");
    }
}

TEST(Lexer, OffsetIsBehindTheToken) {
    struct Case {
        const char* input;
        int64_t offset;
    };
    const Case cases[] = {
        {"1 0 obj << >>", 7}, {"  /Name  ", 7}, {"(ab) x", 4}, {"12 0 R", 6}, {"12 0 Rx 5", 2},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.input);
        std::string input = c.input;
        PDMemoryHost host(reinterpret_cast<const uint8_t*>(input.data()),
                          static_cast<int64_t>(input.size()));
        PDParser parser(host);
        parser.GetToken();
        EXPECT_EQ(parser.Offset(), c.offset);
    }
}

TEST(Lexer, GetCurNumber) {
    struct Case {
        const char* input;
        int64_t number;
        const char* report;
    };
    const Case cases[] = {
        {"-12", -12, ""},
        {"4294967296", 4294967296, ""},
        {"12 0 R", 12, ""},
        {"1.5", 1, ""},
        {"/Foo", -1, "PDParser::GetCurNumber: cannot convert /Foo\n"},
        {"", -1, "PDParser::GetCurNumber: cannot convert \n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.input);
        std::string input = c.input;
        PDMemoryHost host(reinterpret_cast<const uint8_t*>(input.data()),
                          static_cast<int64_t>(input.size()));
        PDParser parser(host);
        parser.GetToken();
        DiagCapture diag;
        EXPECT_EQ(parser.GetCurNumber(), c.number);
        EXPECT_EQ(diag.Text(), c.report);
    }
}

TEST(Lexer, TraceReportsEveryToken) {
    setenv("PDF_TEST", "1", 1);
    std::string input = "/A 5 0 R";
    PDMemoryHost host(reinterpret_cast<const uint8_t*>(input.data()), 8);
    PDParser parser(host);
    unsetenv("PDF_TEST");
    DiagCapture diag;
    while (parser.GetToken() != kTokEnd) {
    }
    EXPECT_EQ(diag.Text(), "GetToken: 4 /A\nGetToken: 1 5\nGetToken: 13 \n");
}

TEST(Lexer, KeywordClasses) {
    struct Case {
        const char* word;
        int cls;
    };
    const Case cases[] = {{"obj", 0},  {"endobj", 1}, {"stream", 2}, {"endstream", 3},
                          {"objx", 4}, {"", 4},       {"Stream", 4}, {nullptr, 4}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.word == nullptr ? "null" : c.word);
        EXPECT_EQ(PDClassifyKeyword(c.word), c.cls);
    }
}

// A host that hands out at most a few bytes per read, as a pipe might.
class ChunkHost : public PDMemoryHost {
public:
    ChunkHost(const std::string& s, int chunk)
        : PDMemoryHost(reinterpret_cast<const uint8_t*>(s.data()), static_cast<int64_t>(s.size())),
          m_chunk(chunk) {}
    int Read(uint8_t* buffer, int n) override {
        return PDMemoryHost::Read(buffer, n < m_chunk ? n : m_chunk);
    }

private:
    int m_chunk;
};

// Marking, reading on over refills and returning gives back the same bytes.
TEST(ByteSource, RestoreMarkReplaysBytes) {
    std::string input;
    for (int i = 0; i < 2000; ++i)
        input += static_cast<char>('A' + i % 26);
    struct Case {
        int markAt; // bytes read before the mark
        int readOn; // bytes read while the mark is held
        int chunk;  // most bytes the host gives per read
    };
    const Case cases[] = {{10, 30, 4096}, {120, 40, 4096}, {200, 56, 4096}, {250, 40, 4096},
                          {255, 1, 4096}, {256, 40, 4096}, {300, 40, 4096}, {1960, 40, 4096},
                          {5, 40, 10},    {128, 40, 10},   {129, 40, 10},   {250, 40, 7},
                          {1960, 40, 3}};
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.markAt) + "+" + std::to_string(c.readOn) + " by " +
                     std::to_string(c.chunk));
        ChunkHost host(input, c.chunk);
        DiagCapture diag;
        PDByteSource source(host);
        for (int i = 0; i < c.markAt; ++i)
            source.GetByte();
        source.SetMark();
        std::string first;
        for (int i = 0; i < c.readOn; ++i)
            first += static_cast<char>(source.GetByte());
        ASSERT_TRUE(source.HasMark());
        source.RestoreMark();
        EXPECT_EQ(source.Offset(), c.markAt);
        std::string again;
        for (int i = 0; i < c.readOn; ++i)
            again += static_cast<char>(source.GetByte());
        EXPECT_EQ(again, first);
        EXPECT_EQ(source.Offset(), c.markAt + c.readOn);
        int next = source.GetByte();
        EXPECT_EQ(next, c.markAt + c.readOn < 2000 ? input[static_cast<size_t>(c.markAt + c.readOn)]
                                                   : -1);
        EXPECT_EQ(diag.Text(), "");
    }
}

TEST(ByteSource, EndOfInput) {
    std::string input = "ab";
    PDMemoryHost host(reinterpret_cast<const uint8_t*>(input.data()), 2);
    PDByteSource source(host);
    EXPECT_FALSE(source.AtEnd());
    EXPECT_EQ(source.GetByte(), 'a');
    EXPECT_EQ(source.GetByte(), 'b');
    EXPECT_EQ(source.GetByte(), -1);
    EXPECT_TRUE(source.AtEnd());
    EXPECT_EQ(source.GetByte(), -1);
    EXPECT_EQ(source.Offset(), 2);
}

TEST(ByteSource, StartsAtTheHostPosition) {
    std::string input = "0123456789";
    PDMemoryHost host(reinterpret_cast<const uint8_t*>(input.data()), 10);
    ASSERT_TRUE(host.Seek(4));
    PDByteSource source(host);
    EXPECT_EQ(source.GetByte(), '4');
    EXPECT_EQ(source.Offset(), 5);
    EXPECT_FALSE(host.Seek(11));
    EXPECT_FALSE(host.Seek(-1));
}

} // namespace
