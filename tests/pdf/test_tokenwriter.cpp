// The writer's token layer: header, blanks, line wrapping, raw data and the output targets.
#include "pdf/pdtokenwriter.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

const std::string kHeader = "%PDF-1.4\r\n%\xE2\xE3\xCF\xD3\r\n";

std::string Image(const PDTokenWriter& w) {
    return std::string(reinterpret_cast<const char*>(w.Image()),
                       static_cast<size_t>(w.ImageLength()));
}

// The output after the header.
std::string Body(const PDTokenWriter& w) {
    std::string all = Image(w);
    EXPECT_EQ(all.compare(0, kHeader.size(), kHeader), 0);
    return all.substr(kHeader.size());
}

TEST(TokenWriter, HeaderComesBeforeAnyOutput) {
    using Write = void (*)(PDTokenWriter&);
    const std::pair<Write, std::string> cases[] = {
        {[](PDTokenWriter& w) { w.WriteToken("1"); }, kHeader + "1"},
        {[](PDTokenWriter& w) { w.NewLine(); }, kHeader + "\r\n"},
        {[](PDTokenWriter& w) { w.WriteRaw("ab", 2); }, kHeader + "ab"},
        {[](PDTokenWriter&) {}, ""},
    };
    for (const auto& [write, expected] : cases) {
        SCOPED_TRACE(expected);
        PDTokenWriter w;
        w.WriteToMemory();
        EXPECT_EQ(w.Column(), -1);
        write(w);
        EXPECT_EQ(Image(w), expected);
        EXPECT_EQ(w.Tell(), static_cast<int64_t>(expected.size()));
    }
}

// One blank between tokens, none after a line end, an empty token still takes one. A token that
// would end beyond column 75 goes to a new line; an over-long token is never split.
TEST(TokenWriter, BlanksAndWrapping) {
    const std::string a70(70, 'a'), a80(80, 'a');
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{"<<", "/Length", "5", ">>"}, "<< /Length 5 >>"},
        {{"a", "\n", "b"}, "a\r\nb"}, // "\n" stands for NewLine
        {{a70, "bbbbb"}, a70 + " bbbbb"},
        {{a70, "bbbbbb"}, a70 + "\r\nbbbbbb"},
        {{"x", a80, "y"}, "x\r\n" + a80 + "\r\ny"},
        {{a80, "y"}, a80 + "\r\ny"},
        {{"a", "", "b"}, "a  b"},
    };
    for (const auto& [tokens, expected] : cases) {
        SCOPED_TRACE(expected);
        PDTokenWriter w;
        w.WriteToMemory();
        for (const auto& t : tokens)
            t == "\n" ? w.NewLine() : w.WriteToken(t);
        EXPECT_EQ(Body(w), expected);
    }
}

TEST(TokenWriter, LongArrayWrapsBetweenTokens) {
    PDTokenWriter w;
    w.WriteToMemory();
    w.WriteToken("[");
    std::string joined = "[";
    for (int i = 0; i < 300; ++i) {
        w.WriteInt(i * 7919);
        joined += " " + std::to_string(i * 7919);
    }
    w.WriteToken("]");
    std::string body = Body(w);
    EXPECT_EQ(body.find(" \r\n"), std::string::npos);
    EXPECT_EQ(body.find("\r\n "), std::string::npos);
    size_t start = 0, lines = 0;
    for (size_t end; (end = body.find("\r\n", start)) != std::string::npos; ++lines) {
        EXPECT_LE(end - start, 76u);
        body.replace(end, 2, " ");
        start = end + 1;
    }
    EXPECT_LE(body.size() - start, 76u);
    EXPECT_GT(lines, 20u);
    EXPECT_EQ(body, joined + " ]");
}

// Raw data leave the column alone: the token after them takes no blank.
TEST(TokenWriter, NumbersFramingAndRawData) {
    PDTokenWriter w;
    w.WriteToMemory();
    w.WriteInt(-42);
    w.WriteInt(INT32_MIN);
    w.WriteInt(INT32_MAX);
    w.WriteInt64(12345678901LL);
    w.WriteReal(2.25f);
    w.WriteReal(1.9996f);
    w.WriteInt(17);
    w.WriteToken("0 obj");
    w.NewLine();
    w.WriteToken("stream");
    w.NewLine();
    w.WriteRaw("xyz", 3);
    EXPECT_EQ(w.Column(), 0);
    w.WriteToken("endstream");
    w.WriteEndObj();
    w.WriteToken("a");
    w.WriteEndObj();
    EXPECT_EQ(Body(w), "-42 -2147483648 2147483647 12345678901 2.25 2 17 0 obj\r\n"
                       "stream\r\nxyzendstream\r\nendobj\r\na\r\nendobj\r\n");
}

TEST(TokenWriter, StreamDataGoesThroughTheCryptHook) {
    PDTokenWriter w;
    w.WriteToMemory();
    const uint8_t data[] = {1, 2, 3};
    w.WriteStreamData(data, 3);
    w.SetRawCrypt([](uint8_t* bytes, int64_t n) {
        for (int64_t i = 0; i < n; ++i)
            bytes[i] = static_cast<uint8_t>(bytes[i] ^ 0xFF);
    });
    EXPECT_TRUE(w.IsEncrypting());
    w.WriteStreamData(data, 3);
    w.WriteRaw("end", 3);
    EXPECT_EQ(Body(w), std::string("\x01\x02\x03\xFE\xFD\xFC"
                                   "end"));
    EXPECT_EQ(data[0], 1) << "the caller's bytes stay unencrypted";
}

TEST(TokenWriter, MemoryCounterAndFileAgree) {
    const std::vector<uint8_t> raw(250000, 'r');
    auto script = [&raw](PDTokenWriter& w) {
        for (int i = 0; i < 5000; ++i)
            w.WriteToken("/Key"), w.WriteInt(i);
        w.WriteRaw(raw.data(), static_cast<int64_t>(raw.size()));
        w.NewLine();
    };
    char name[] = "/tmp/tokenwriterXXXXXX";
    ::close(mkstemp(name));
    PDFileIO io; // outlives the writer that writes into it
    PDTokenWriter memory, counter, file;
    memory.WriteToMemory();
    counter.WriteToCounter();
    ASSERT_EQ(io.OpenWrite(name), 0);
    file.WriteToFile(&io);
    for (PDTokenWriter* w : {&memory, &counter, &file})
        script(*w);
    EXPECT_EQ(io.Close(), 0);
    EXPECT_FALSE(memory.Failed());
    EXPECT_EQ(counter.Tell(), memory.Tell());
    EXPECT_EQ(file.Tell(), memory.Tell());
    EXPECT_EQ(counter.Image(), nullptr);
    EXPECT_EQ(memory.ImageLength(), memory.Tell());
    std::ifstream in(name, std::ios::binary);
    std::string onDisk((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::remove(name);
    EXPECT_TRUE(onDisk == Image(memory));
    int64_t length = 0;
    std::unique_ptr<uint8_t[]> taken = memory.TakeImage(&length);
    ASSERT_NE(taken, nullptr);
    EXPECT_EQ(length, counter.Tell());
    EXPECT_EQ(memory.Image(), nullptr);
}

TEST(TokenWriter, WithoutOutputEveryWriteFails) {
    PDTokenWriter w;
    EXPECT_FALSE(w.WriteToken("x"));
    EXPECT_TRUE(w.Failed());
    EXPECT_EQ(w.Tell(), 0);
}

} // namespace
