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
    struct Case {
        const char* what;
        void (*write)(PDTokenWriter&);
        std::string expected;
    } cases[] = {
        {"token", [](PDTokenWriter& w) { w.WriteToken("1"); }, kHeader + "1"},
        {"newline", [](PDTokenWriter& w) { w.NewLine(); }, kHeader + "\r\n"},
        {"raw", [](PDTokenWriter& w) { w.WriteRaw("ab", 2); }, kHeader + "ab"},
        {"nothing", [](PDTokenWriter&) {}, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        PDTokenWriter w;
        w.WriteToMemory();
        EXPECT_EQ(w.Column(), -1);
        c.write(w);
        EXPECT_EQ(Image(w), c.expected);
        EXPECT_EQ(w.Tell(), static_cast<int64_t>(c.expected.size()));
    }
}

TEST(TokenWriter, BlanksAndWrapping) {
    const std::string a70(70, 'a');
    const std::string a80(80, 'a');
    struct Case {
        const char* what;
        std::vector<std::string> tokens; // "\n" stands for NewLine
        std::string expected;
    } cases[] = {
        {"one blank between tokens", {"<<", "/Length", "5", ">>"}, "<< /Length 5 >>"},
        {"no blank after a line end", {"a", "\n", "b"}, "a\r\nb"},
        {"column plus token of exactly 75 stays", {a70, "bbbbb"}, a70 + " bbbbb"},
        {"column plus token above 75 wraps", {a70, "bbbbbb"}, a70 + "\r\nbbbbbb"},
        {"an over-long token is not split", {"x", a80, "y"}, "x\r\n" + a80 + "\r\ny"},
        {"an over-long token at line start", {a80, "y"}, a80 + "\r\ny"},
        {"empty token still takes a blank", {"a", "", "b"}, "a  b"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        PDTokenWriter w;
        w.WriteToMemory();
        for (const auto& t : c.tokens) {
            if (t == "\n")
                w.NewLine();
            else
                w.WriteToken(t);
        }
        EXPECT_EQ(Body(w), c.expected);
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
    joined += " ]";
    std::string body = Body(w);
    std::string unwrapped;
    size_t start = 0;
    int lines = 0;
    for (;;) {
        size_t end = body.find("\r\n", start);
        std::string line = body.substr(start, end == std::string::npos ? end : end - start);
        ++lines;
        EXPECT_LE(line.size(), 76u) << line;
        EXPECT_NE(line.front(), ' ');
        EXPECT_NE(line.back(), ' ');
        unwrapped += (unwrapped.empty() ? "" : " ") + line;
        if (end == std::string::npos)
            break;
        start = end + 2;
    }
    EXPECT_GT(lines, 20);
    EXPECT_EQ(unwrapped, joined);
}

TEST(TokenWriter, Numbers) {
    struct Case {
        const char* what;
        void (*write)(PDTokenWriter&);
        std::string expected;
    } cases[] = {
        {"int", [](PDTokenWriter& w) { w.WriteInt(-42); }, "-42"},
        {"int extremes",
         [](PDTokenWriter& w) {
             w.WriteInt(INT32_MIN);
             w.WriteInt(INT32_MAX);
         },
         "-2147483648 2147483647"},
        {"int64", [](PDTokenWriter& w) { w.WriteInt64(12345678901LL); }, "12345678901"},
        {"real with two decimals", [](PDTokenWriter& w) { w.WriteReal(2.25f); }, "2.25"},
        {"real rounds up", [](PDTokenWriter& w) { w.WriteReal(1.9996f); }, "2"},
        {"object header", [](PDTokenWriter& w) { w.WriteObjectHeader(17); }, "17 0 obj\r\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        PDTokenWriter w;
        w.WriteToMemory();
        c.write(w);
        EXPECT_EQ(Body(w), c.expected);
    }
}

TEST(TokenWriter, RawDataLeavesTheColumnAlone) {
    PDTokenWriter w;
    w.WriteToMemory();
    w.WriteToken("stream");
    w.NewLine();
    w.WriteRaw("xyz", 3);
    EXPECT_EQ(w.Column(), 0);
    w.WriteToken("endstream");
    w.WriteEndObj();
    w.WriteToken("a");
    w.WriteEndObj();
    EXPECT_EQ(Body(w), "stream\r\nxyzendstream\r\nendobj\r\na\r\nendobj\r\n");
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
    auto script = [](PDTokenWriter& w) {
        for (int i = 0; i < 5000; ++i) {
            w.WriteToken("/Key");
            w.WriteInt(i);
        }
        std::vector<uint8_t> raw(250000, 'r');
        w.WriteRaw(raw.data(), static_cast<int64_t>(raw.size()));
        w.NewLine();
    };
    PDTokenWriter memory;
    memory.WriteToMemory();
    script(memory);
    PDTokenWriter counter;
    counter.WriteToCounter();
    script(counter);
    EXPECT_FALSE(memory.Failed());
    EXPECT_EQ(counter.Tell(), memory.Tell());
    EXPECT_EQ(counter.Image(), nullptr);
    EXPECT_EQ(memory.ImageLength(), memory.Tell());

    char name[] = "/tmp/tokenwriterXXXXXX";
    int fd = mkstemp(name);
    ASSERT_GE(fd, 0);
    close(fd);
    {
        PDFileIO io;
        ASSERT_EQ(io.OpenWrite(name), 0);
        PDTokenWriter file;
        file.WriteToFile(&io);
        script(file);
        EXPECT_EQ(file.Tell(), memory.Tell());
        EXPECT_EQ(io.Close(), 0);
    }
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
