// Generated streams: composing content, the text-object guard, and writing the stream object.
#include "streams/pdstream.h"

#include "pdf/pddiag.h"
#include "tests/support/diag_capture.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <string>
#include <utility>

namespace {

using namespace std::string_literals;

std::string Body(const PDTokenWriter& w) {
    const std::string header = "%PDF-1.4\r\n%\xE2\xE3\xCF\xD3\r\n";
    std::string all(reinterpret_cast<const char*>(w.Image()), static_cast<size_t>(w.ImageLength()));
    EXPECT_EQ(all.compare(0, header.size(), header), 0);
    return all.size() < header.size() ? std::string() : all.substr(header.size());
}

// zlib's one-call compression uses the default level, window and memory of generated streams.
std::string Zlib(const std::string& data) {
    uLongf size = compressBound(static_cast<uLong>(data.size()));
    std::string out(size, '\0');
    EXPECT_EQ(compress2(reinterpret_cast<Bytef*>(out.data()), &size,
                        reinterpret_cast<const Bytef*>(data.data()),
                        static_cast<uLong>(data.size()), Z_DEFAULT_COMPRESSION),
              Z_OK);
    return out.substr(0, size);
}

TEST(PDStream, AppendTokenSeparatesWithOneBlank) {
    const std::string token = "(\0)"s; // the length counts, not the first zero byte
    const std::pair<std::string, std::string> cases[] = {
        {"q", "q " + token},    {"q ", "q " + token},   {"", token},
        {"q\n", "q\n" + token}, {"q\r", "q\r" + token}, {"q\t", "q\t " + token},
    };
    for (const auto& [before, expected] : cases) {
        SCOPED_TRACE(before);
        PDStream s;
        s.Content().Append(before);
        s.AppendToken(token.data(), static_cast<int>(token.size()));
        EXPECT_TRUE(s.Content().ToString() == expected);
    }
}

TEST(PDStream, TextObjectStates) {
    const struct {
        const char* ops; // B begin, E end, O operator
        std::string content;
        bool inText, pending;
    } cases[] = {
        {"B", "BT\n", true, true},          {"BB", "BT\n", true, true},
        {"BO", "BT\nET\nq\n", false, true}, {"E", "", false, false},
        {"BE", "BT\nET\n", false, false},   {"OB", "q\nBT\n", true, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.ops);
        PDPgStream s;
        for (const char* op = c.ops; *op != '\0'; ++op) {
            if (*op == 'B')
                s.BeginText();
            else if (*op == 'E')
                s.EndText();
            else
                s.AppendOperator("q\n");
        }
        EXPECT_EQ(s.Content().ToString(), c.content);
        EXPECT_EQ(s.InText(), c.inText);
        EXPECT_EQ(s.Pending(), c.pending);
    }
}

TEST(PDStream, WriteWarnsAboutAnOpenTextObjectAndCompresses) {
    for (int mode : {0, 1, 2}) { // text object left open, closed, closed and compressed
        SCOPED_TRACE(mode);
        PDPgStream s;
        s.BeginText();
        s.AppendToken("(x) Tj");
        if (mode > 0)
            s.EndText();
        s.SetCompress(mode == 2);
        PDTokenWriter w;
        w.WriteToMemory();
        DiagCapture diag;
        const std::string content = s.Content().ToString();
        const std::string written = mode == 2 ? Zlib(content) + "\n" : content;
        EXPECT_EQ(s.Write(w), static_cast<int64_t>(written.size()));
        EXPECT_EQ(diag.Text(), mode > 0 ? "" : "PDPgStream::Write - \"ET\" probably missing\n");
        EXPECT_TRUE(Body(w) == written);
        EXPECT_EQ(content, mode > 0 ? "BT\n(x) Tj ET\n" : "BT\n(x) Tj");
        EXPECT_FALSE(s.Pending());
    }
}

TEST(PDStream, WriteObject) {
    const std::string text = std::string(3000, 'x') + "BT /Helv 10 Tf 72 700 Td (line) Tj ET\n";
    const std::string packed = Zlib(text) + "\n";
    const struct {
        std::string content;
        bool compress;
        int32_t objNum, used; // number 0 takes a new one
        std::string dict;
    } cases[] = {
        // clang-format off
        {"0 0 m", false, 5, 5, "/Length 5"}, {"0 0 m\n", false, 12, 12, "/Length 6"},
        {"", false, 3, 3, "/Length 0"},      {"x", false, 0, 1, "/Length 1"},
        // clang-format on
        {text, true, 4, 4, "/Filter /FlateDecode /Length " + std::to_string(packed.size())},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.objNum);
        PDStream s;
        s.Content().Append(c.content);
        s.SetCompress(c.compress);
        PDTokenWriter w;
        w.WriteToMemory();
        EXPECT_EQ(s.WriteObject(w, c.objNum), c.used);
        // No line end is added, so data without one run into "endstream".
        EXPECT_TRUE(Body(w) == std::to_string(c.used) + " 0 obj\r\n<< " + c.dict +
                                   " >>\r\nstream\r\n" + (c.compress ? packed : c.content) +
                                   "endstream\r\nendobj\r\n")
            << Body(w).substr(0, 80);
    }
}

// Dictionary entries of a derived stream, and a writer that refuses a second write of one number.
class TaggedStream : public PDStream {
public:
    void WriteDictEntries(PDTokenWriter& out) override { out.WriteToken("/Type /XObject"); }
};
class OnceWriter : public PDTokenWriter {
public:
    bool WriteObjectHeader(int32_t objNum) override {
        return objNum != std::exchange(m_written, objNum) &&
               PDTokenWriter::WriteObjectHeader(objNum);
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
