// Decoders on known vectors, and the /Filter chains of DecodeStream.
#include "streams/pdfilters.h"

#include "pdf/pddiag.h"
#include "pdf/pdlimits.h"
#include "tests/support/diag_capture.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace {

using Bytes = std::string;

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
    for (size_t i = 0; i < n; ++i) {
        seed = seed * 1103515245u + 12345u;
        s[i] = static_cast<char>('a' + ((seed >> 16) % 7));
    }
    return s;
}

std::string Zlib(const std::string& data) {
    uLongf size = compressBound(static_cast<uLong>(data.size()));
    std::string out(size, '\0');
    EXPECT_EQ(compress2(reinterpret_cast<Bytef*>(out.data()), &size, U8(data),
                        static_cast<uLong>(data.size()), 6),
              Z_OK);
    out.resize(size);
    return out;
}

// ---- ASCII85 ---------------------------------------------------------------------------------

std::string A85(const std::string& in, int64_t outSize = -1) {
    int64_t size = outSize >= 0 ? outSize : 4 * Len(in) + 4;
    std::vector<uint8_t> out(static_cast<size_t>(size) + 1);
    int64_t n = DecodeASCII85(U8(in), Len(in), out.data(), size);
    return std::string(reinterpret_cast<const char*>(out.data()), static_cast<size_t>(n));
}

TEST(StreamFilters, ASCII85Vectors) {
    struct Case {
        const char* what;
        Bytes in;
        Bytes expected;
        int64_t outSize;
    } cases[] = {
        {"five digits, most significant byte first", "9jqo^", "Man ", -1},
        {"two groups and a two-digit tail", "9jqo^F*2M7/c", "Man sure.", -1},
        {"z gives four zero bytes", "z", Bytes(4, '\0'), -1},
        {"z between groups", "9jqo^z9jqo^", "Man " + Bytes(4, '\0') + "Man ", -1},
        {"z after a group, then a short tail", "z!<", Bytes(4, '\0') + "\x01", -1},
        {"one-digit tail is dropped", "9jqo^9", "Man ", -1},
        {"four-digit tail gives three bytes", "9jqo", "Man", -1},
        {"two-digit tail is rounded up with 2^24-1", "!u", "\x04", -1},
        {"digits wrap in 32 bits", "uuuuu", "\x08\x78\x0e\xc4", -1},
        {"all ones", "s8W-!", "\xff\xff\xff\xff", -1},
        {"blanks and control bytes are skipped", "9j\r\n q\to\x01^", "Man ", -1},
        {"~> ends the data", "9jqo^~>9jqo^", "Man ", -1},
        {"~> flushes the partial group", "9jqo~>", "Man", -1},
        {"tilde without > is an error", "9jqo^~x9jqo^", "Man ", -1},
        {"tilde at the end is an error, partial dropped", "9jqo^9jqo~", "Man ", -1},
        {"z inside a group is an error", "9jqo^9jz", "Man ", -1},
        {"letter v is an error", "9jqo^v", "Man ", -1},
        {"brace is an error", "9jqo^{9jqo^", "Man ", -1},
        {"high byte is an error", "9jqo^\xc0", "Man ", -1},
        {"empty input", "", "", -1},
        {"only a group with room for four", "9jqo^9jqo^", "Man ", 7},
        {"second group fits exactly", "9jqo^9jqo^", "Man Man ", 8},
        {"a tail also needs four free bytes", "9jqo^9jqo", "Man ", 6},
        {"z needs four free bytes", "z", "", 3},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(A85(c.in, c.outSize), c.expected);
    }
}

// ---- LZW --------------------------------------------------------------------------------------

// A small encoder that mirrors the decoder's code widths (early change 1).
class TestLZWEncoder {
public:
    // clearWhenFull: send a clear code before the table overflows; otherwise stop adding codes.
    explicit TestLZWEncoder(bool clearWhenFull) : m_clearWhenFull(clearWhenFull) {}

    std::string Encode(const std::string& data, bool endCode = true) {
        Put(256);
        int w = -1;
        size_t wlen = 0;
        for (char ch : data) {
            int byte = static_cast<uint8_t>(ch);
            if (w < 0) {
                w = byte;
                wlen = 1;
                continue;
            }
            auto it = m_codes.find(w * 256 + byte);
            if (it != m_codes.end()) {
                w = it->second;
                ++wlen;
                continue;
            }
            Emit(w, wlen);
            if (m_next < 4096)
                m_codes[w * 256 + byte] = m_next++;
            if (m_next == 4096 && m_clearWhenFull)
                Put(256);
            w = byte;
            wlen = 1;
        }
        if (w >= 0)
            Emit(w, wlen);
        if (endCode)
            Put(257);
        if (m_bits > 0)
            m_out.push_back(static_cast<char>(m_acc << (8 - m_bits)));
        return m_out;
    }

    // Decoded bytes up to and including the first code at which the decoder's table overflows.
    size_t OverflowCut() const { return m_cut; }

private:
    int Width() const {
        return m_decoderNext >= 2047   ? 12
               : m_decoderNext >= 1023 ? 11
               : m_decoderNext >= 511  ? 10
                                       : 9;
    }
    void Put(int code) {
        for (int b = Width() - 1; b >= 0; --b) {
            m_acc = (m_acc << 1) | ((code >> b) & 1);
            if (++m_bits == 8) {
                m_out.push_back(static_cast<char>(m_acc));
                m_acc = 0;
                m_bits = 0;
            }
        }
        if (code == 256) {
            m_codes.clear();
            m_next = 258;
            m_decoderNext = 258;
            m_first = true;
        }
    }
    void Emit(int code, size_t length) {
        Put(code);
        m_emitted += length;
        if (!m_first) {
            if (m_decoderNext == 4096 && m_cut == 0)
                m_cut = m_emitted;
            if (m_decoderNext < 4096)
                ++m_decoderNext;
        }
        m_first = false;
    }

    bool m_clearWhenFull;
    std::unordered_map<int, int> m_codes; // prefix code * 256 + byte -> code
    int m_next = 258;
    int m_decoderNext = 258;
    bool m_first = true;
    std::string m_out;
    int m_acc = 0;
    int m_bits = 0;
    size_t m_emitted = 0;
    size_t m_cut = 0;
};

std::string EncodeLZW(const std::string& data, bool endCode = true) {
    return TestLZWEncoder(true).Encode(data, endCode);
}

std::string LZW(const std::string& in) {
    PDStr content;
    EXPECT_EQ(DecodeLZW(U8(in), Len(in), content), 1);
    return Str(content);
}

TEST(StreamFilters, LZWKnownVector) {
    // The classic published example: 9-bit codes 256 45 258 258 65 259 66 257.
    const std::string encoded = "\x80\x0b\x60\x50\x22\x0c\x0c\x85\x01";
    EXPECT_EQ(LZW(encoded), "-----A---B");
    EXPECT_EQ(EncodeLZW("-----A---B"), encoded);
}

TEST(StreamFilters, LZWRoundTrips) {
    std::string run(100000, 'a'); // strings far beyond the saturated length of 255
    struct Case {
        const char* what;
        std::string data;
    } cases[] = {
        {"one byte", "A"},
        {"code equal to the next free code", "ABABABA"},
        {"text", "TOBEORNOTTOBEORTOBEORNOT"},
        {"widths up to 12 bits and clear codes", PseudoText(60000)},
        {"long strings", run},
        {"all byte values",
         [] {
             std::string s;
             for (int i = 1; i < 256; ++i)
                 s += static_cast<char>(i);
             return s + s;
         }()},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(LZW(EncodeLZW(c.data)), c.data);
        EXPECT_EQ(LZW(EncodeLZW(c.data, false)), c.data) << "without the end-of-data code";
    }
}

TEST(StreamFilters, LZWStopsAtEndCodeAndErrors) {
    std::string good = EncodeLZW("Hello");
    struct Case {
        const char* what;
        std::string in;
        std::string expected;
    } cases[] = {
        {"bytes after the end code are ignored", good + "\xff\xff\xff", "Hello"},
        {"empty input", "", ""},
        // 9-bit code 300 right after a clear code is beyond the next free code.
        {"bad first code keeps nothing", std::string("\x80\x4b\x00", 3), ""},
        {"code equal to next free code with no previous one", "\x80\x40\x80", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(LZW(c.in), c.expected);
    }
    PDStr content;
    EXPECT_EQ(DecodeLZW(nullptr, 5, content), 0);
}

TEST(StreamFilters, LZWAppendsToContent) {
    PDStr content("xy");
    std::string in = EncodeLZW("AB");
    DecodeLZW(U8(in), Len(in), content);
    EXPECT_EQ(Str(content), "xyAB");
}

TEST(StreamFilters, LZWTableOverflowStopsDecoding) {
    // Inside the first output buffer an overflow keeps nothing at all.
    std::string small = PseudoText(40000, 7);
    TestLZWEncoder early(false);
    std::string packed = early.Encode(small);
    ASSERT_GT(early.OverflowCut(), 0u);
    EXPECT_EQ(LZW(packed), "");

    // Beyond it, the buffers before and the one that holds the failing code are kept.
    std::string big(8000000, 'a');
    TestLZWEncoder encoder(false);
    std::string encoded = encoder.Encode(big);
    ASSERT_GT(encoder.OverflowCut(), 500000u);
    ASSERT_LT(encoder.OverflowCut(), big.size());
    EXPECT_EQ(LZW(encoded).size(), encoder.OverflowCut());
}

TEST(StreamFilters, LZWBufferEndingInZeroLosesThatByte) {
    struct Case {
        const char* what;
        size_t size;
        size_t zeroAt;
        bool lost;
    } cases[] = {
        {"500000th byte zero", 600000, 499999, true},
        {"499999th byte zero", 600000, 499998, false},
        {"500001st byte zero", 600000, 500000, false},
        {"last byte of a short result zero", 3, 2, true},
        {"first byte of a short result zero", 3, 0, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        std::string data = PseudoText(c.size, 99);
        data[c.zeroAt] = '\0';
        std::string expected = data;
        if (c.lost)
            expected.erase(c.zeroAt, 1);
        std::string decoded = LZW(EncodeLZW(data));
        ASSERT_EQ(decoded.size(), expected.size());
        EXPECT_TRUE(decoded == expected);
    }
}

// ---- Flate ------------------------------------------------------------------------------------

TEST(StreamFilters, FlateRoundTrips) {
    struct Case {
        const char* what;
        std::string data;
    } cases[] = {
        {"short text", "BT /Helv 12 Tf (Hello) Tj ET"},
        {"several output buffers", PseudoText(1300000)},
        {"input above 100000 bytes",
         [] {
             std::string s;
             for (uint32_t i = 0; s.size() < 400000; ++i)
                 s += std::to_string(i * 2654435761u);
             return s;
         }()},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        std::string packed = Zlib(c.data);
        PDStr content("old:");
        EXPECT_GT(DecodeFlate(U8(packed), Len(packed), content), 0);
        EXPECT_TRUE(Str(content) == "old:" + c.data);
    }
}

TEST(StreamFilters, FlateDamagedInput) {
    std::string data = PseudoText(200000, 3);
    std::string packed = Zlib(data);
    std::string truncated = packed.substr(0, packed.size() / 2);
    PDStr content;
    DecodeFlate(U8(truncated), Len(truncated), content);
    EXPECT_GT(content.Length(), 0);
    EXPECT_LT(content.Length(), static_cast<int>(data.size()));
    EXPECT_TRUE(data.compare(0, static_cast<size_t>(content.Length()), Str(content)) == 0);

    struct Case {
        const char* what;
        std::string in;
    } bad[] = {
        {"bad header", "\x78\x00" + packed.substr(2)},
        {"no zlib header", packed.substr(2)},
        {"garbage", "this is not compressed at all"},
    };
    for (const auto& c : bad) {
        SCOPED_TRACE(c.what);
        PDStr out("previous");
        EXPECT_EQ(DecodeFlate(U8(c.in), Len(c.in), out), 0);
        EXPECT_EQ(Str(out), "");
    }

    PDStr trailing;
    std::string withGarbage = Zlib("abc") + "trailing junk";
    DecodeFlate(U8(withGarbage), Len(withGarbage), trailing);
    EXPECT_EQ(Str(trailing), "abc");
}

TEST(StreamFilters, FlateBombStopsAtTheCap) {
    z_stream zs{};
    ASSERT_EQ(deflateInit(&zs, 9), Z_OK);
    std::vector<uint8_t> zeros(1 << 20, 0);
    std::string packed;
    std::vector<uint8_t> chunk(1 << 16);
    const int64_t mib = int64_t{1} << 20;
    const int pieces = static_cast<int>(pdlimits::kMaxDecodedStream / mib) + 8;
    for (int i = 0; i < pieces; ++i) {
        zs.next_in = zeros.data();
        zs.avail_in = static_cast<uInt>(zeros.size());
        int flush = i + 1 == pieces ? Z_FINISH : Z_NO_FLUSH;
        do {
            zs.next_out = chunk.data();
            zs.avail_out = static_cast<uInt>(chunk.size());
            deflate(&zs, flush);
            packed.append(reinterpret_cast<char*>(chunk.data()), chunk.size() - zs.avail_out);
        } while (zs.avail_out == 0);
    }
    deflateEnd(&zs);
    PDStr content;
    DecodeFlate(U8(packed), Len(packed), content);
    EXPECT_EQ(content.Length(), pdlimits::kMaxDecodedStream);
}

TEST(StreamFilters, CompressFlateEndsWithLineFeed) {
    for (const std::string& data :
         {std::string(), std::string("0 0 m 100 100 l S\n"), PseudoText(50000)}) {
        SCOPED_TRACE(data.size());
        PDStr packed = CompressFlate(PDStr(data));
        ASSERT_GT(packed.Length(), 1);
        EXPECT_EQ(packed.At(packed.Length() - 1), '\n');
        PDStr back;
        DecodeFlate(packed.Bytes(), packed.Length() - 1, back);
        EXPECT_TRUE(Str(back) == data);
    }
}

// ---- DecodeStream -----------------------------------------------------------------------------

std::unique_ptr<PDValue> Name(const char* text) {
    return std::make_unique<PDValue>(text);
}

std::unique_ptr<PDValue> NameArray(const std::vector<const char*>& names) {
    auto array = PDValue::MakeArray();
    for (const char* n : names)
        array->Append(Name(n));
    return array;
}

std::unique_ptr<PDValue> MakeStream(const std::string& raw, std::unique_ptr<PDValue> filter) {
    auto stream = PDValue::MakeDictionary();
    stream->AssignStream(U8(raw), Len(raw), nullptr);
    if (filter)
        stream->Dict()->Set("/Filter", std::move(filter));
    return stream;
}

class MapResolver : public PDResolver {
public:
    std::unique_ptr<PDValue> LoadValue(int32_t objNum) override {
        if (objNum == 12)
            return Name("/FlateDecode");
        return nullptr;
    }
};

// Standard ASCII85 of bytes (full groups of 5 digits, z for zeros, short tail, "~>").
std::string EncodeA85(const std::string& bytes) {
    std::string out;
    for (size_t i = 0; i < bytes.size(); i += 4) {
        size_t n = std::min<size_t>(4, bytes.size() - i);
        uint32_t v = 0;
        for (size_t k = 0; k < 4; ++k)
            v = (v << 8) | (k < n ? static_cast<uint8_t>(bytes[i + k]) : 0u);
        if (n == 4 && v == 0) {
            out += 'z';
            continue;
        }
        char digits[5];
        for (int k = 4; k >= 0; --k) {
            digits[k] = static_cast<char>('!' + v % 85);
            v /= 85;
        }
        out.append(digits, n + 1);
    }
    return out + "~>";
}

TEST(StreamFilters, DecodeStreamFilterChains) {
    const std::string text = "q 1 0 0 1 72 720 cm BT /Helv 12 Tf (Filled) Tj ET Q\n";
    const std::string flate = Zlib(text);
    const std::string a85flate = EncodeA85(flate);
    const std::string lzw = EncodeLZW(text);
    struct Case {
        const char* what;
        std::string raw;
        std::unique_ptr<PDValue> filter;
        int result;
        std::string content;
        std::string message;
    };
    Case cases[] = {
        {"/FlateDecode", flate, Name("/FlateDecode"), 1, text, ""},
        {"/Fl is a leading part of /FlateDecode", flate, Name("/Fl"), 1, text, ""},
        {"/FlateDecodeX is not", flate, Name("/FlateDecodeX"), 0, "",
         "cannot decode /FlateDecodeX\n"},
        {"/LZWDecode", lzw, Name("/LZWDecode"), 1, text, ""},
        {"/LZW is refused", lzw, Name("/LZW"), 0, "", "cannot decode /LZW\n"},
        {"/AHx is refused", "414243>", Name("/AHx"), 0, "", "cannot decode /AHx\n"},
        {"/ASCII85Decode", EncodeA85(text), Name("/ASCII85Decode"), 1, text, ""},
        {"/A85", EncodeA85(text), Name("/A85"), 1, text, ""},
        {"/A8 is refused", EncodeA85(text), Name("/A8"), 0, "", "cannot decode /A8\n"},
        {"ASCII85 then Flate", a85flate, NameArray({"/ASCII85Decode", "/FlateDecode"}), 1, text,
         ""},
        {"ASCII85 then LZW", EncodeA85(lzw), NameArray({"/A85", "/LZWDecode"}), 1, text, ""},
        {"Flate then ASCII85 leaves the ASCII85 result", a85flate,
         NameArray({"/FlateDecode", "/ASCII85Decode"}), 1, flate, ""},
        {"unknown second filter keeps the first result", flate,
         NameArray({"/FlateDecode", "/DCTDecode"}), 0, text, "cannot decode /DCTDecode\n"},
        {"empty filter array", text, NameArray({}), 1, text, ""},
        {"corrupt Flate data succeed empty", "not flate", Name("/FlateDecode"), 1, "", ""},
    };
    for (auto& c : cases) {
        SCOPED_TRACE(c.what);
        auto stream = MakeStream(c.raw, std::move(c.filter));
        DiagCapture diag;
        PDStr content("stale");
        EXPECT_EQ(DecodeStream(*stream, content, nullptr), c.result);
        EXPECT_TRUE(Str(content) == c.content) << Str(content);
        EXPECT_EQ(diag.Text(), c.message);
    }
}

TEST(StreamFilters, DecodeStreamUnfilteredAndIndirect) {
    const std::string raw = "0123456789";
    struct Case {
        const char* what;
        int32_t length;    // /Length to set, -1 to keep the stored one
        int32_t filterRef; // indirect /Filter object, 0 for none
        std::string expected;
    } cases[] = {
        {"whole data", -1, 0, raw},
        {"first /Length bytes", 4, 0, "0123"},
        {"/Length beyond the data", 50, 0, raw},
        {"negative /Length", -7, 0, ""},
        {"indirect filter that resolves to nothing", -1, 99, raw},
    };
    MapResolver resolver;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        auto stream = MakeStream(raw, c.filterRef ? PDValue::MakeReference(c.filterRef) : nullptr);
        if (c.length != -1)
            stream->Dict()->Set("/Length", PDValue::MakeInteger(c.length));
        PDStr content;
        EXPECT_EQ(DecodeStream(*stream, content, &resolver), 1);
        EXPECT_EQ(Str(content), c.expected);
    }

    const std::string text = "indirect";
    auto stream = MakeStream(Zlib(text), PDValue::MakeReference(12));
    PDStr content;
    EXPECT_EQ(DecodeStream(*stream, content, &resolver), 1);
    EXPECT_EQ(Str(content), text);

    auto plain = PDValue::MakeDictionary();
    EXPECT_EQ(DecodeStream(*plain, content, &resolver), 0);
    PDValue name("/Name");
    EXPECT_EQ(DecodeStream(name, content, nullptr), 0);
}

} // namespace
