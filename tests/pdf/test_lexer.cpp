// The byte source and the tokenizer, over memory images.
#include "pdf/pdparse.h"

#include "tests/support/diag_capture.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <tuple>

namespace {

using namespace std::string_literals;

// A host that hands out at most chunk bytes per read.
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

// "kind:text" of every token up to and including the first end token (at most 20), with ",g" for
// the generation of a reference or object header.
std::string Tokens(const std::string& input, int chunk = 4096) {
    ChunkHost host(input, chunk);
    PDParser parser(host);
    std::string out;
    for (int i = 0; i < 20; ++i) {
        int kind = parser.GetToken();
        out += (i > 0 ? " " : "") + std::to_string(kind) + ":" + parser.TokenText().ToString();
        if (kind == kTokReference || kind == kTokObjHeader)
            out += "," + std::to_string(parser.TokenGeneration());
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

// The look-ahead behind a number ("n g R", "n g obj") marks the byte source and goes back when
// no reference follows. It must see the same tokens wherever the 256-byte blocks split them, with
// blanks between the numbers, and from a host that hands out a few bytes per read as a pipe
// might. Deliberate quirk kept: a look-ahead that runs more than 40 bytes over a refill loses its
// mark, and the bytes it read are then gone.
TEST(Lexer, LookAheadOverTheByteSource) {
    const std::string lost = "FillBuffer: auto-disable restore mark\n";
    const struct {
        int padFrom, padTo, gap, chunk;
        const char *word, *tokens;
        std::string diag{};
    } cases[] = {
        // clang-format off
        {240, 262, 1, 4096, "R", "1:12,0 4:/N 13:"},   {240, 262, 1, 4096, "obj", "2:12,0 4:/N 13:"},
        {240, 262, 1, 4096, "RG", "0:12 0:0 3:RG 4:/N 13:"},
        {240, 262, 1, 4096, "foo", "0:12 0:0 3:foo 4:/N 13:"},
        {200, 262, 35, 4096, "RG", "0:12 0:0 3:RG 4:/N 13:"},
        {0, 140, 1, 10, "RG", "0:12 0:0 3:RG 4:/N 13:"}, {0, 140, 30, 7, "R", "1:12,0 4:/N 13:"},
        {240, 262, 20, 3, "foo", "0:12 0:0 3:foo 4:/N 13:"},
        {0, 0, 300, 4096, "R", "1:12,0 4:/N 13:", lost},
        {0, 0, 300, 4096, "RG", "0:12 3:G 4:/N 13:", lost},
        // clang-format on
    };
    for (const auto& c : cases) {
        for (int pad = c.padFrom; pad <= c.padTo; ++pad) {
            std::string input = std::string(static_cast<size_t>(pad), ' ') + "12" +
                                std::string(static_cast<size_t>(c.gap), ' ') + "0 " + c.word +
                                " /N";
            SCOPED_TRACE(std::string(c.word) + " after " + std::to_string(pad) + ", gap " +
                         std::to_string(c.gap) + ", chunk " + std::to_string(c.chunk));
            DiagCapture diag;
            EXPECT_EQ(Tokens(input, c.chunk), c.tokens);
            EXPECT_EQ(diag.Text(), c.diag);
        }
    }
}

// The offset lies just behind the first token, look-ahead included.
TEST(Lexer, OffsetAndNumberOfTheFirstToken) {
    // clang-format off
    const std::tuple<const char*, int64_t, int64_t> cases[] = {
        {"1 0 obj << >>", 7, 1}, {"  /Name  ", 7, -1}, {"(ab) x", 4, -1},
        {"12 0 R", 6, 12},       {"12 0 Rx 5", 2, 12}, {"-12", 3, -12},
        {"4294967296", 10, 4294967296}, {"1.5", 3, 1}, {"", 0, -1}};
    // clang-format on
    for (const auto& [input, offset, number] : cases) {
        SCOPED_TRACE(input);
        const std::string text = input; // the host reads from it
        ChunkHost host(text, 4096);
        PDParser parser(host);
        parser.GetToken();
        EXPECT_EQ(parser.Offset(), offset);
        EXPECT_EQ(parser.GetCurNumber(), number);
    }
}

} // namespace
