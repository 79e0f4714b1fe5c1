// The byte source and the tokenizer, over memory images.
#include "pdf/pdparse.h"

#include "tests/support/diag_capture.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <tuple>

namespace {

using namespace std::string_literals;

// A parser over its own copy of the input.
struct TextParser {
    explicit TextParser(std::string input)
        : text(std::move(input)),
          host(reinterpret_cast<const uint8_t*>(text.data()), static_cast<int64_t>(text.size())),
          parser(host) {}
    std::string text;
    PDMemoryHost host;
    PDParser parser;
};

// "kind:text" of every token up to and including the first end token (at most 20), with ",g" for
// the generation of a reference or object header.
std::string Tokens(const std::string& input) {
    TextParser p(input);
    std::string out;
    for (int i = 0; i < 20; ++i) {
        int kind = p.parser.GetToken();
        out += (i > 0 ? " " : "") + std::to_string(kind) + ":" + p.parser.TokenText().ToString();
        if (kind == kTokReference || kind == kTokObjHeader)
            out += "," + std::to_string(p.parser.TokenGeneration());
        if (kind == kTokEnd)
            break;
    }
    return out;
}

// Kinds: 0 integer, 1 reference, 2 object header, 3 word, 4 name, 7 string, 13 end.
// Anything but white space behind the digits makes a word: reals, and a tab too. A stray byte is
// consumed, so whoever goes on reads what follows. Literal strings are kept as written, except
// for line continuations.
TEST(Lexer, TokenKindsAndTexts) {
    // clang-format off
    const std::pair<std::string, const char*> cases[] = {
        {"12 0 R", "1:12,0 13:"},                     {"12 0 RG", "0:12 0:0 3:RG 13:"},
        {"12 0 obj", "2:12,0 13:"},                   {"12 0 objx", "0:12 0:0 3:objx 13:"},
        {"1 2 3 R", "0:1 1:2,3 13:"},                 {"12\r\n0\nR", "1:12,0 13:"},
        {"12 0R]", "1:12,0 6:] 13:"},                 {"12 (x)", "0:12 7:(x) 13:"},
        {"12", "0:12 13:"},                           {"12]", "0:12 6:] 13:"},
        {"12/F", "0:12 4:/F 13:"},                    {"12%c\n5", "0:12 0:5 13:"},
        {"1.5", "3:1.5 13:"},                         {"12\t0 R", "3:12 0:0 3:R 13:"},
        {"12)", "3:12) 13:"},                         {"-12 0 R", "0:-12 0:0 3:R 13:"},
        {"-.5 .5 -1.5", "3:-.5 3:.5 3:-1.5 13:"},     {"- x", "3:- 3:x 13:"},
        {"/A#20B", "4:/A#20B 13:"},                   {"/A/B(", "4:/A 4:/B 13:("},
        {"/A)x /", "4:/A)x 4:/ 13:"},                 {"true null T*", "3:true 3:null 3:T* 13:"},
        {"\"'", "3:\" 3:' 13:"},                      {"[]<<>>\\", "5:[ 6:] 9:<< 10:>> 11:\\ 13:"},
        {"<48 6g>", "7:<48 6g> 13:"},                 {"<>", "7:<> 13:"},
        {"<4]", "13:<4"},                             {"<41", "13:<41"},
        {"> x", "13:>"},                              {"% only a comment\r true", "3:true 13:"},
        {"", "13:"},                                  {"  \0 12"s, "13:"},
        {"}x", "13:}"},                               {"(a(b)c) x", "7:(a(b)c) 3:x 13:"},
        {"(a\\)b) x", "7:(a\\)b) 3:x 13:"},           {"(a\\(b) x", "7:(a\\(b) 3:x 13:"},
        {"(a\\\\)b", "7:(a\\\\) 3:b 13:"},            {"(\\n\\101)", "7:(\\n\\101) 13:"},
        {"(a\\\r\nb)", "7:(ab) 13:"},                 {"(a\\\rb)", "7:(ab) 13:"},
        {"(a\\\r\\b)", "7:(ab) 13:"},                 {"(a\r\nb)", "7:(a\r\nb) 13:"},
        {"()", "7:() 13:"},                           {"(x endobj y)", "13:(x endobj"},
        {"(x\\endobj)", "13:(x\\endobj"},             {"(abc\\", "13:(abc"},
        {"((a)", "13:((a)"},                          {"7 65535 obj", "2:7,65535 13:"},
        {"7 99999999999 R", "1:7,2147483647 13:"},
    };
    // clang-format on
    for (const auto& [input, tokens] : cases) {
        SCOPED_TRACE(input);
        EXPECT_EQ(Tokens(input), tokens);
    }
}

TEST(Lexer, ReferenceDetectionOff) {
    TextParser off("12 0 R");
    off.parser.SetReferenceDetection(false);
    for (int kind : {kTokInteger, kTokInteger, kTokWord})
        EXPECT_EQ(off.parser.GetToken(), kind);
}

// The look-ahead must see the same tokens wherever the 256-byte blocks happen to split them.
TEST(Lexer, LookAheadAcrossBlockBoundaries) {
    for (const char* tail : {"12 0 R /N", "12 0 RG /N", "12 0 obj /N", "12 0 foo /N"}) {
        std::string expected = Tokens(tail);
        for (int pad = 240; pad <= 262; ++pad) {
            SCOPED_TRACE(std::string(tail) + " after " + std::to_string(pad));
            DiagCapture diag;
            EXPECT_EQ(Tokens(std::string(static_cast<size_t>(pad), ' ') + tail), expected);
            EXPECT_EQ(diag.Text(), "");
        }
    }
}

// Deliberate quirk kept: a look-ahead that runs more than 40 bytes over a refill loses its mark;
// the bytes it read are then gone.
TEST(Lexer, LongLookAheadDropsTheMark) {
    const std::string gap(300, ' ');
    const std::pair<std::string, const char*> cases[] = {
        {"12" + gap + "0 R /N", "1:12,0 4:/N 13:"},
        {"12" + gap + "0 RG /N", "0:12 3:G 4:/N 13:"},
    };
    for (const auto& [input, tokens] : cases) {
        SCOPED_TRACE(tokens);
        DiagCapture diag;
        EXPECT_EQ(Tokens(input), tokens);
        EXPECT_EQ(diag.Text(), "FillBuffer: auto-disable restore mark\n");
    }
}

// The offset lies just behind the first token, look-ahead included.
TEST(Lexer, OffsetAndNumberOfTheFirstToken) {
    const std::string bad = "PDParser::GetCurNumber: cannot convert ";
    const std::tuple<const char*, int64_t, int64_t, std::string> cases[] = {
        {"1 0 obj << >>", 7, 1, ""},
        {"  /Name  ", 7, -1, bad + "/Name\n"},
        {"(ab) x", 4, -1, bad + "(ab)\n"},
        {"12 0 R", 6, 12, ""},
        {"12 0 Rx 5", 2, 12, ""},
        {"-12", 3, -12, ""},
        {"4294967296", 10, 4294967296, ""},
        {"1.5", 3, 1, ""},
        {"", 0, -1, bad + "\n"},
    };
    for (const auto& [input, offset, number, report] : cases) {
        SCOPED_TRACE(input);
        TextParser p(input);
        p.parser.GetToken();
        EXPECT_EQ(p.parser.Offset(), offset);
        DiagCapture diag;
        EXPECT_EQ(p.parser.GetCurNumber(), number);
        EXPECT_EQ(diag.Text(), report);
    }
}

TEST(Lexer, TraceReportsEveryToken) {
    setenv("PDF_TEST", "1", 1);
    TextParser p("/A 5 0 R");
    unsetenv("PDF_TEST");
    DiagCapture diag;
    while (p.parser.GetToken() != kTokEnd) {
    }
    EXPECT_EQ(diag.Text(), "GetToken: 4 /A\nGetToken: 1 5\nGetToken: 13 \n");
}

TEST(Lexer, KeywordClasses) {
    const std::pair<const char*, int> cases[] = {
        {"obj", 0},  {"endobj", 1}, {"stream", 2}, {"endstream", 3},
        {"objx", 4}, {"", 4},       {"Stream", 4}, {nullptr, 4},
    };
    for (const auto& [word, cls] : cases)
        EXPECT_EQ(PDClassifyKeyword(word), cls) << (word == nullptr ? "null" : word);
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
    // Bytes read before the mark, bytes read while it is held, most bytes per host read.
    const std::tuple<int, int, int> cases[] = {
        {10, 30, 4096},  {200, 56, 4096},  {250, 40, 4096}, {255, 1, 4096},
        {256, 40, 4096}, {1960, 40, 4096}, {5, 40, 10},     {128, 40, 10},
        {129, 40, 10},   {250, 40, 7},     {1960, 40, 3},
    };
    for (const auto& [markAt, readOn, chunk] : cases) {
        SCOPED_TRACE(std::to_string(markAt) + "+" + std::to_string(readOn) + " by " +
                     std::to_string(chunk));
        ChunkHost host(input, chunk);
        DiagCapture diag;
        PDByteSource source(host);
        for (int i = 0; i < markAt; ++i)
            source.GetByte();
        source.SetMark();
        std::string first, again;
        for (int i = 0; i < readOn; ++i)
            first += static_cast<char>(source.GetByte());
        ASSERT_TRUE(source.HasMark());
        source.RestoreMark();
        EXPECT_EQ(source.Offset(), markAt);
        for (int i = 0; i < readOn; ++i)
            again += static_cast<char>(source.GetByte());
        EXPECT_EQ(again, first);
        EXPECT_EQ(source.Offset(), markAt + readOn);
        const size_t next = static_cast<size_t>(markAt + readOn);
        EXPECT_EQ(source.GetByte(), next < input.size() ? input[next] : -1);
        EXPECT_EQ(diag.Text(), "");
    }
}

TEST(ByteSource, StartAndEndOfInput) {
    std::string input = "0123456789";
    PDMemoryHost host(reinterpret_cast<const uint8_t*>(input.data()), 10);
    EXPECT_FALSE(host.Seek(11));
    EXPECT_FALSE(host.Seek(-1));
    ASSERT_TRUE(host.Seek(8));
    PDByteSource source(host);
    EXPECT_FALSE(source.AtEnd());
    EXPECT_EQ(source.GetByte(), '8');
    EXPECT_EQ(source.GetByte(), '9');
    EXPECT_EQ(source.GetByte(), -1);
    EXPECT_TRUE(source.AtEnd());
    EXPECT_EQ(source.GetByte(), -1);
    EXPECT_EQ(source.Offset(), 10);
}

} // namespace
