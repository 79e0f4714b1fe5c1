// Decoders on known vectors, and the /Filter chains of DecodeStream.
#include "pdf/pddecode.h"
#include "streams/pdfilters.h"

#include "streams/pddiag.h"
#include "streams/pdlimits.h"
#include "tests/support/diag_capture.h"
#include "tests/support/pdf_builder.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace {

constexpr auto Deflate = testpdf::PdfBuilder::Deflate;

const uint8_t* U8(const std::string& s) {
    return reinterpret_cast<const uint8_t*>(s.data());
}
int64_t Len(const std::string& s) {
    return static_cast<int64_t>(s.size());
}
std::string Str(const PDStr& s) {
    return s.ToString();
}

// Letters from a small alphabet, so that LZW and Flate find repeats but not only repeats.
std::string PseudoText(size_t n, uint32_t seed = 12345) {
    std::string s(n, ' ');
    for (char& c : s) {
        seed = seed * 1103515245u + 12345u;
        c = static_cast<char>('a' + ((seed >> 16) % 7));
    }
    return s;
}

std::string A85(const std::string& in, int64_t outSize = -1) {
    const int64_t size = outSize >= 0 ? outSize : 4 * Len(in) + 4;
    std::vector<uint8_t> out(static_cast<size_t>(size) + 1);
    const int64_t n = DecodeASCII85(U8(in), Len(in), out.data(), size);
    return std::string(out.begin(), out.begin() + n);
}

TEST(StreamFilters, ASCII85Vectors) {
    // Blanks and control bytes are skipped. The rest stop after the first group: at the end
    // marker, at a one-digit tail, or at an error (~ without >, ~ at the end, z inside a group,
    // bytes above u).
    for (const char* in : {"9j\r\n q\to\x01^", "9jqo^~>9jqo^", "9jqo^9", "9jqo^~x9jqo^",
                           "9jqo^9jqo~", "9jqo^9jz", "9jqo^v", "9jqo^\xc0"})
        EXPECT_EQ(A85(in), "Man ") << in;
    const std::string z4(4, '\0');
    const struct {
        std::string in, expected;
        int64_t outSize = -1; // default: room for everything
    } cases[] = {
        // clang-format off
        {"9jqo^F*2M7/c", "Man sure."}, {"9jqo^z9jqo^", "Man " + z4 + "Man "}, {"z!<", z4 + "\x01"},
        {"9jqo", "Man"},               {"9jqo~>", "Man"},                     {"", ""},
        {"!u", "\x04"},                // the missing digits count as 2^24-1
        {"uuuuu", "\x08\x78\x0e\xc4"}, // wraps in 32 bits
        {"s8W-!", "\xff\xff\xff\xff"},
        // A group, a tail and z each need four free bytes.
        {"9jqo^9jqo^", "Man ", 7},     {"9jqo^9jqo^", "Man Man ", 8},
        {"9jqo^9jqo", "Man ", 7},      {"z", "", 3},
        // clang-format on
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.in + " / " + std::to_string(c.outSize));
        EXPECT_EQ(A85(c.in, c.outSize), c.expected);
    }
}

// LZW with early change 1. The decoder's table lags one code behind the encoder's, so the code
// widths follow a count of the decoder's entries. Without clearWhenFull the table fills up, and
// the decoder has to stop at the 3840th code after the clear code.
std::string EncodeLZW(const std::string& data, bool endCode = true, bool clearWhenFull = true) {
    std::unordered_map<int, int> codes; // prefix code * 256 + byte -> code
    std::string out;
    int next = 258, decoderNext = 257, acc = 0, bits = 0;
    const auto put = [&](int code) {
        const int width = 9 + (decoderNext >= 511) + (decoderNext >= 1023) + (decoderNext >= 2047);
        acc = ((acc << width) | code) & 0xfffff; // at most 7 pending bits plus 12 new ones
        for (bits += width; bits >= 8; bits -= 8)
            out += static_cast<char>(acc >> (bits - 8));
        decoderNext = std::min(decoderNext + 1, 4096); // the first code after a clear adds none
        if (code == 256) {
            codes.clear();
            next = 258;
            decoderNext = 257;
        }
    };
    put(256);
    int w = -1;
    for (char ch : data) {
        const int byte = static_cast<uint8_t>(ch);
        const auto it = codes.find(w * 256 + byte);
        if (w >= 0 && it != codes.end()) {
            w = it->second;
            continue;
        }
        if (w >= 0) {
            put(w);
            if (next < 4096)
                codes[w * 256 + byte] = next++;
            if (next == 4096 && clearWhenFull)
                put(256);
        }
        w = byte;
    }
    if (w >= 0)
        put(w);
    if (endCode)
        put(257);
    return bits > 0 ? out + static_cast<char>(acc << (8 - bits)) : out;
}

std::string LZW(const std::string& in) {
    PDStr content;
    EXPECT_EQ(DecodeLZW(U8(in), Len(in), content), 1);
    return Str(content);
}

std::string WithZeroAt(std::string s, size_t at) {
    s[at] = '\0';
    return s;
}

TEST(StreamFilters, LZW) {
    // The classic published example: 9-bit codes 256 45 258 258 65 259 66 257. Decoding appends.
    const std::string encoded = "\x80\x0b\x60\x50\x22\x0c\x0c\x85\x01";
    EXPECT_EQ(EncodeLZW("-----A---B"), encoded);
    PDStr content("xy");
    EXPECT_EQ(DecodeLZW(U8(encoded), Len(encoded), content), 1);
    EXPECT_EQ(Str(content), "xy-----A---B");
    EXPECT_EQ(DecodeLZW(nullptr, 5, content), 0);

    std::string all; // every byte value but zero, twice
    for (int i = 1; i < 512; ++i)
        all += static_cast<char>(i % 256 == 0 ? 'x' : i % 256);
    const std::string text = PseudoText(60000), run(100000, 'a');
    // A decoded buffer (of 500000 bytes, or the last one) that ends in a zero byte loses it.
    const std::string zeroEnds = WithZeroAt(PseudoText(600000, 99), 499999);
    const std::string zeroInside = WithZeroAt(PseudoText(600000, 99), 499998);
    const std::pair<std::string, std::string> cases[] = {
        {EncodeLZW("ABABABA"), "ABABABA"},
        {EncodeLZW(text), text},
        {EncodeLZW(text, false), text}, // without the end-of-data code
        {EncodeLZW(run), run},
        {EncodeLZW(all, false), all},
        {EncodeLZW("Hello") + "\xff\xff\xff", "Hello"}, // bytes after the end code are ignored
        {"", ""},
        {std::string("\x80\x4b\x00", 3), ""}, // code 300 right after a clear code
        {"\x80\x40\x80", ""},                 // next free code with no previous one
        {EncodeLZW(zeroEnds), std::string(zeroEnds).erase(499999, 1)},
        {EncodeLZW(zeroInside), zeroInside},
        {EncodeLZW(WithZeroAt("abc", 2)), "ab"},
        // Without clearWhenFull the table overflows: inside the first buffer nothing is kept.
        {EncodeLZW(PseudoText(40000, 7), true, false), ""},
    };
    for (const auto& [in, expected] : cases) {
        SCOPED_TRACE(expected.substr(0, 30));
        const std::string decoded = LZW(in);
        ASSERT_EQ(decoded.size(), expected.size());
        EXPECT_TRUE(decoded == expected);
    }
    // Beyond the first buffer, the buffers before and the one that holds the failing code are
    // kept. A run of one byte is coded as strings of 1, 2, ... 3838 bytes, then as two of 3839
    // bytes: the second one finds the decoder's table full.
    EXPECT_EQ(LZW(EncodeLZW(std::string(8000000, 'a'), true, false)).size(), 7374719u);
}

TEST(StreamFilters, Flate) {
    std::string numbers; // above 100000 bytes of input, and hard to compress
    for (uint32_t i = 0; numbers.size() < 400000; ++i)
        numbers += std::to_string(i * 2654435761u);
    for (const std::string& data : {std::string(), std::string("BT /Helv 12 Tf (Hello) Tj ET"),
                                    PseudoText(1300000), numbers}) {
        SCOPED_TRACE(data.size());
        const std::string packed = Deflate(data);
        PDStr content("old:");
        EXPECT_EQ(DecodeFlate(U8(packed), Len(packed), content) > 0, !data.empty());
        EXPECT_TRUE(Str(content) == "old:" + data);
        // Generated streams end with one line feed after the compressed data.
        EXPECT_TRUE(Str(CompressFlate(PDStr(data))) == packed + "\n");
    }
    // A truncated stream keeps what decodes; a bad header or no zlib data give nothing; what
    // follows the end of the data is ignored.
    const std::string data = PseudoText(200000, 3);
    const std::string packed = Deflate(data);
    const std::string truncated = packed.substr(0, packed.size() / 2);
    PDStr content;
    DecodeFlate(U8(truncated), Len(truncated), content);
    EXPECT_GT(content.Length(), 0);
    EXPECT_LT(content.Length(), static_cast<int>(data.size()));
    EXPECT_TRUE(data.compare(0, static_cast<size_t>(content.Length()), Str(content)) == 0);

    for (const std::string& bad :
         {"\x78\x00" + packed.substr(2), packed.substr(2), std::string("not compressed")}) {
        SCOPED_TRACE(bad.size());
        PDStr out("previous");
        EXPECT_EQ(DecodeFlate(U8(bad), Len(bad), out), 0);
        EXPECT_EQ(Str(out), "");
    }
    const std::string withGarbage = Deflate("abc") + "trailing junk";
    PDStr trailing;
    DecodeFlate(U8(withGarbage), Len(withGarbage), trailing);
    EXPECT_EQ(Str(trailing), "abc");
}

TEST(StreamFilters, FlateBombBeyondTheCapIsDamaged) {
    z_stream zs{};
    ASSERT_EQ(deflateInit(&zs, 9), Z_OK);
    std::vector<uint8_t> zeros(1 << 20, 0), chunk(1 << 16);
    std::string packed;
    const int64_t pieces = pdlimits::kMaxDecodedStream / (int64_t{1} << 20) + 8;
    for (int64_t i = 0; i < pieces; ++i) {
        zs.next_in = zeros.data();
        zs.avail_in = static_cast<uInt>(zeros.size());
        do {
            zs.next_out = chunk.data();
            zs.avail_out = static_cast<uInt>(chunk.size());
            deflate(&zs, i + 1 == pieces ? Z_FINISH : Z_NO_FLUSH);
            packed.append(reinterpret_cast<char*>(chunk.data()), chunk.size() - zs.avail_out);
        } while (zs.avail_out == 0);
    }
    deflateEnd(&zs);
    PDStr content;
    EXPECT_EQ(DecodeFlate(U8(packed), Len(packed), content), -1);
    EXPECT_EQ(content.Length(), 0);
}

std::unique_ptr<PDValue> MakeStream(const std::string& raw, std::unique_ptr<PDValue> filter) {
    auto stream = PDValue::MakeDictionary();
    stream->AssignStream(U8(raw), Len(raw), nullptr);
    if (filter)
        stream->Dict()->Set("/Filter", std::move(filter));
    return stream;
}

// One name, or an array of any other number of names.
std::unique_ptr<PDValue> Filter(const std::vector<const char*>& names) {
    if (names.size() == 1)
        return std::make_unique<PDValue>(names[0]);
    auto array = PDValue::MakeArray();
    for (const char* name : names)
        array->Append(std::make_unique<PDValue>(name));
    return array;
}

TEST(StreamFilters, DecodeStreamFilterChains) {
    const std::string text = "Man is distinguished", lzw = EncodeLZW(text);
    const std::string flate(
        "x\x9c\xf3M\xccS\xc8,VH\xc9,.\xc9\xccK/\xcd,\xceHM\x01\x00L\x9c\x07\xad", 28);
    const std::string a85 = "9jqo^BlbD-BleB1DJ+*+F(f,q~>";
    const std::string a85flate = "Gb\"A\"bYuS6<_1=`0$2=10?l&n850*b9Ul?i~>";
    struct Case {
        std::string raw;
        std::vector<const char*> filter;
        int result;
        std::string content, message;
    } cases[] = {
        // clang-format off
        {flate, {"/FlateDecode"}, 1, text, ""},  {flate, {"/Fl"}, 1, text, ""}, // a leading part
        {flate, {"/FlateDecodeX"}, 0, "", "cannot decode /FlateDecodeX\n"},
        {lzw, {"/LZWDecode"}, 1, text, ""},      {lzw, {"/LZW"}, 0, "", "cannot decode /LZW\n"},
        {a85, {"/ASCII85Decode"}, 1, text, ""},  {a85, {"/A85"}, 1, text, ""},
        {a85, {"/A8"}, 0, "", "cannot decode /A8\n"},
        {"414243>", {"/AHx"}, 0, "", "cannot decode /AHx\n"},
        {a85flate, {"/ASCII85Decode", "/FlateDecode"}, 1, text, ""},
        // ASCII85 reads the raw data wherever it stands; corrupt Flate data give nothing.
        {a85flate, {"/FlateDecode", "/ASCII85Decode"}, 1, flate, ""},
        {flate, {"/FlateDecode", "/DCTDecode"}, 0, text, "cannot decode /DCTDecode\n"},
        {"not flate", {"/FlateDecode"}, 1, "", ""},
        // clang-format on
    };
    for (const Case& c : cases) {
        SCOPED_TRACE("case " + std::to_string(&c - cases));
        auto stream = MakeStream(c.raw, Filter(c.filter));
        DiagCapture diag;
        PDStr content("stale");
        EXPECT_EQ(DecodeStream(*stream, content, nullptr), c.result);
        EXPECT_TRUE(Str(content) == c.content) << Str(content);
        EXPECT_EQ(diag.Text(), c.message);
    }
}

class MapResolver : public PDResolver {
public:
    std::unique_ptr<PDValue> LoadValue(int32_t objNum) override {
        return objNum == 12 ? std::make_unique<PDValue>("/FlateDecode") : nullptr;
    }
};

TEST(StreamFilters, DecodeStreamUnfilteredAndIndirect) {
    const std::string raw = "0123456789";
    const struct {
        int32_t length;    // /Length to set, -1 to keep the stored one
        int32_t filterRef; // indirect /Filter object (99 resolves to nothing), 0 for none
        std::string stored, expected;
    } cases[] = {
        {-1, 0, raw, raw}, {4, 0, raw, "0123"}, {50, 0, raw, raw},
        {-7, 0, raw, ""},  {-1, 99, raw, raw},  {-1, 12, Deflate("indirect"), "indirect"},
    };
    MapResolver resolver;
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.length) + " " + std::to_string(c.filterRef));
        auto stream =
            MakeStream(c.stored, c.filterRef ? PDValue::MakeReference(c.filterRef) : nullptr);
        if (c.length != -1)
            stream->Dict()->Set("/Length", PDValue::MakeInteger(c.length));
        PDStr content;
        EXPECT_EQ(DecodeStream(*stream, content, &resolver), 1);
        EXPECT_EQ(Str(content), c.expected);
    }
    PDStr content;
    EXPECT_EQ(DecodeStream(*PDValue::MakeDictionary(), content, &resolver), 0);
    EXPECT_EQ(DecodeStream(PDValue("/Name"), content, nullptr), 0);
}

} // namespace
