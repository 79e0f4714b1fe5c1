// Generated streams: composing content, the text-object guard, and writing the stream object.
#include "streams/pdstream.h"

#include "pdf/pddiag.h"
#include "tests/support/diag_capture.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <string>
#include <vector>

namespace {

const std::string kHeader = "%PDF-1.4\r\n%\xE2\xE3\xCF\xD3\r\n";

std::string Body(const PDTokenWriter& w) {
    std::string all(reinterpret_cast<const char*>(w.Image()), static_cast<size_t>(w.ImageLength()));
    EXPECT_EQ(all.compare(0, kHeader.size(), kHeader), 0);
    return all.size() < kHeader.size() ? std::string() : all.substr(kHeader.size());
}

std::string Inflate(const std::string& packed) {
    std::vector<uint8_t> out(1 << 20);
    uLongf size = static_cast<uLongf>(out.size());
    EXPECT_EQ(uncompress(out.data(), &size, reinterpret_cast<const Bytef*>(packed.data()),
                         static_cast<uLong>(packed.size())),
              Z_OK);
    return std::string(reinterpret_cast<const char*>(out.data()), size);
}

// Deflate with the parameters of the generated streams, computed here independently.
size_t DeflateSize(const std::string& data) {
    z_stream zs{};
    EXPECT_EQ(deflateInit2(&zs, Z_DEFAULT_COMPRESSION, Z_DEFLATED, 15, 8, Z_DEFAULT_STRATEGY),
              Z_OK);
    std::vector<uint8_t> out(data.size() + 1000);
    zs.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
    zs.avail_in = static_cast<uInt>(data.size());
    zs.next_out = out.data();
    zs.avail_out = static_cast<uInt>(out.size());
    EXPECT_EQ(deflate(&zs, Z_FINISH), Z_STREAM_END);
    size_t n = out.size() - zs.avail_out;
    deflateEnd(&zs);
    return n;
}

TEST(PDStream, AppendTokenSeparatesWithOneBlank) {
    struct Case {
        const char* what;
        std::string before;
        std::string token;
        std::string expected;
    } cases[] = {
        {"empty content", "", "q", "q"},
        {"after a token", "q", "Q", "q Q"},
        {"after a blank", "q ", "Q", "q Q"},
        {"after a line feed", "q\n", "Q", "q\nQ"},
        {"after a carriage return", "q\r", "Q", "q\rQ"},
        {"after a tab", "q\t", "Q", "q\t Q"},
        {"byte string with a zero", "(a)", std::string("(\0)", 3), std::string("(a) (\0)", 7)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        PDStream s;
        s.Content().Append(c.before);
        s.AppendToken(c.token.data(), static_cast<int>(c.token.size()));
        EXPECT_TRUE(s.Content().ToString() == c.expected);
    }
}

TEST(PDStream, TextObjectStates) {
    enum Op { kBegin, kEnd, kOperator };
    struct Case {
        const char* what;
        std::vector<Op> ops;
        std::string content;
        bool inText;
        bool pending;
    } cases[] = {
        {"begin", {kBegin}, "BT\n", true, true},
        {"begin twice opens one object", {kBegin, kBegin}, "BT\n", true, true},
        {"end outside text does nothing", {kEnd}, "", false, false},
        {"begin then end", {kBegin, kEnd}, "BT\nET\n", false, false},
        {"operator closes the text object", {kBegin, kOperator}, "BT\nET\nq\n", false, true},
        {"operator outside text", {kOperator, kBegin}, "q\nBT\n", true, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        PDPgStream s;
        for (Op op : c.ops) {
            if (op == kBegin)
                s.BeginText();
            else if (op == kEnd)
                s.EndText();
            else
                s.AppendOperator("q\n");
        }
        EXPECT_EQ(s.Content().ToString(), c.content);
        EXPECT_EQ(s.InText(), c.inText);
        EXPECT_EQ(s.Pending(), c.pending);
    }
}

TEST(PDStream, WriteWarnsAboutAnOpenTextObject) {
    struct Case {
        const char* what;
        bool close;
        std::string written;
        std::string message;
    } cases[] = {
        {"open text object", false, "BT\n(x) Tj", "PDPgStream::Write - \"ET\" probably missing\n"},
        {"closed text object", true, "BT\n(x) Tj ET\n", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        PDPgStream s;
        s.BeginText();
        s.AppendToken("(x) Tj");
        if (c.close)
            s.EndText();
        PDTokenWriter w;
        w.WriteToMemory();
        DiagCapture diag;
        EXPECT_EQ(s.Write(w), static_cast<int64_t>(c.written.size()));
        EXPECT_EQ(diag.Text(), c.message);
        EXPECT_EQ(Body(w), c.written);
        EXPECT_FALSE(s.Pending());
    }
}

TEST(PDStream, WriteObjectUncompressed) {
    struct Case {
        const char* what;
        std::string content;
        int32_t objNum;
        std::string expected;
    } cases[] = {
        {"content without a line end runs into endstream", "0 0 m", 5,
         "5 0 obj\r\n<< /Length 5 >>\r\nstream\r\n0 0 mendstream\r\nendobj\r\n"},
        {"content with a line end", "0 0 m\n", 12,
         "12 0 obj\r\n<< /Length 6 >>\r\nstream\r\n0 0 m\nendstream\r\nendobj\r\n"},
        {"empty content", "", 3, "3 0 obj\r\n<< /Length 0 >>\r\nstream\r\nendstream\r\nendobj\r\n"},
        {"number 0 takes a new one", "x", 0,
         "1 0 obj\r\n<< /Length 1 >>\r\nstream\r\nxendstream\r\nendobj\r\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        PDStream s;
        s.Content().Append(c.content);
        PDTokenWriter w;
        w.WriteToMemory();
        int32_t used = s.WriteObject(w, c.objNum);
        EXPECT_EQ(used, c.objNum != 0 ? c.objNum : 1);
        EXPECT_EQ(Body(w), c.expected);
    }
}

TEST(PDStream, CompressedLengthIsDeflateOutputPlusOne) {
    std::string text;
    for (int i = 0; i < 200; ++i)
        text += "BT /Helv 10 Tf 72 " + std::to_string(700 - i) + " Td (line) Tj ET\n";
    PDStream s;
    s.Content().Append(text);
    s.SetCompress(true);
    PDTokenWriter w;
    w.WriteToMemory();
    s.WriteObject(w, 4);
    std::string body = Body(w);

    const std::string head = "4 0 obj\r\n<< /Filter /FlateDecode /Length ";
    ASSERT_EQ(body.compare(0, head.size(), head), 0) << body.substr(0, 80);
    size_t length = std::stoul(body.substr(head.size()));
    EXPECT_EQ(length, DeflateSize(text) + 1);
    size_t data = body.find(">>\r\nstream\r\n") + 12;
    ASSERT_EQ(body.size(), data + length + std::string("endstream\r\nendobj\r\n").size());
    EXPECT_EQ(body.substr(data + length), "endstream\r\nendobj\r\n");
    EXPECT_EQ(body[data + length - 1], '\n');
    EXPECT_EQ(Inflate(body.substr(data, length - 1)), text);
}

TEST(PDStream, WriteCompressesWhenAsked) {
    PDStream s;
    s.Content().Append(std::string(5000, 'x'));
    s.SetCompress(true);
    PDTokenWriter w;
    w.WriteToMemory();
    int64_t n = s.Write(w);
    std::string body = Body(w);
    ASSERT_EQ(static_cast<int64_t>(body.size()), n);
    EXPECT_EQ(static_cast<size_t>(n), DeflateSize(std::string(5000, 'x')) + 1);
    EXPECT_EQ(Inflate(body.substr(0, body.size() - 1)), std::string(5000, 'x'));
}

// A stream with its own dictionary entries, as form XObjects have.
class TaggedStream : public PDStream {
public:
    void WriteDictEntries(PDTokenWriter& out) override {
        out.WriteToken("/Type");
        out.WriteToken("/XObject");
    }
};

// A writer that refuses a second write of one number, like the file writer.
class OnceWriter : public PDTokenWriter {
public:
    bool WriteObjectHeader(int32_t objNum) override {
        if (objNum == m_written)
            return false;
        m_written = objNum;
        return PDTokenWriter::WriteObjectHeader(objNum);
    }

private:
    int32_t m_written = 0;
};

TEST(PDStream, WriteObjectHooks) {
    TaggedStream s;
    s.Content().Append("q\n");
    OnceWriter w;
    w.WriteToMemory();
    w.SetRawCrypt([](uint8_t* bytes, int64_t n) {
        for (int64_t i = 0; i < n; ++i)
            bytes[i] = static_cast<uint8_t>(bytes[i] + 1);
    });
    EXPECT_EQ(s.WriteObject(w, 9), 9);
    EXPECT_EQ(s.WriteObject(w, 9), 9);
    EXPECT_EQ(Body(w), "9 0 obj\r\n<< /Type /XObject /Length 2 >>\r\nstream\r\nr\x0b"
                       "endstream\r\nendobj\r\n");
    EXPECT_EQ(s.Content().ToString(), "q\n");
}

} // namespace
