// Values, indirect objects and streams parsed from memory images.
#include "pdf/pdparse.h"

#include "streams/pdlimits.h"
#include "tests/support/diag_capture.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

namespace {

// A value tree in one line: I12 R5 T/Name S(str) [..] {/Key:.. } and ? for an empty value.
std::string Describe(const PDValue* v) {
    if (v == nullptr)
        return "null";
    const int k = v->Kind();
    if (k == kPDText || k == kPDString)
        return (k == kPDText ? "T" : "S") + v->Text().ToString();
    if (k == kPDInteger || k == kPDReference)
        return (k == kPDInteger ? "I" : "R") + std::to_string(v->Number());
    if (k != kPDArray && k != kPDDictionary)
        return "?";
    std::string s = k == kPDArray ? "[" : "{";
    for (const PDValue* e = v->First(); e != nullptr; e = e->Next())
        s += (s.size() > 1 ? " " : "") + Describe(e);
    PDValue* item = nullptr;
    const char* key = nullptr;
    for (int i = 0; k == kPDDictionary && v->Dict()->Entry(i, &item, &key); ++i)
        s += (i > 0 ? " " : "") + std::string(key) + ":" + Describe(item);
    return s + (k == kPDArray ? "]" : "}");
}

// Objects live at known offsets of the image; a loaded object reports its number plus 100.
class TestHost : public PDMemoryHost {
public:
    explicit TestHost(const std::string& image)
        : PDMemoryHost(reinterpret_cast<const uint8_t*>(image.data()),
                       static_cast<int64_t>(image.size())),
          m_image(image) {}
    bool SeekObject(int32_t objNum) override {
        size_t at =
            m_image.find("\n" + std::to_string(m_redirect ? m_redirect : objNum) + " 0 obj");
        ++m_seeks;
        return at != std::string::npos && Seek(static_cast<int64_t>(at + 1));
    }
    int32_t LoadedObjectNumber(int32_t objNum) override { return objNum + 100; }
    int m_seeks = 0;
    int32_t m_redirect = 0; // when set, every object is looked for under this number

private:
    std::string m_image;
};

// The value parsed from input, with the token after it ("kind:text") and the reports.
std::string ParseOne(const std::string& input, std::string* next, std::string* diag) {
    TestHost host(input);
    PDParser parser(host);
    DiagCapture capture;
    parser.GetToken();
    PDValue value;
    parser.ParseValue(value);
    *next = std::to_string(parser.TokenKind()) + ":" + parser.TokenText().ToString();
    *diag = capture.Text();
    return Describe(&value);
}

// A null "next" is not checked: after an error the parse ends wherever it stopped.
// "n" "g" "R" that the look-ahead did not join asks the host to load the object (R101).
TEST(Parse, ValuesAndReports) {
    const std::string key = "error parsing dictionary, key expected ";
    struct Case {
        std::string input, value;
        const char* next;
        std::string diag;
    };
    // clang-format off
    const Case cases[] = {
        {"12 /x", "I12", "4:/x", ""},             {"-7", "I-7", "13:", ""},
        {"2147483646", "I2147483646", "13:", ""}, {"2147483647", "T2147483647", "13:", ""},
        {"5 0 R", "R5", "13:", ""},               {"/N#20x", "T/N#20x", "13:", ""},
        {"1.5 true", "T1.5", "3:true", ""},       {"(a(b)c)", "S(a(b)c)", "13:", ""},
        {"<41 42>", "S<41 42>", "13:", ""},       {"[] ]", "[]", "6:]", ""},
        {"[1 2", "[I1 I2]", "13:", ""},           {"<< >> 5", "{}", "0:5", ""},
        {"<< /A 1", "{/A:I1}", "13:", ""},        {"<< ] /A 1 >>", "{/A:I1}", "13:", ""},
        {"<< /B 1 /A 2 /B 3 >>", "{/B:I3 /A:I2}", "13:", ""},
        {"[1 [2 3] /x (s) 4 0 R]", "[I1 [I2 I3] T/x S(s) R4]", "13:", ""},
        {"<</A<</B 7 0 R>>/C(x)>>/Next", "{/A:{/B:R7} /C:S(x)}", "4:/Next", ""},
        {"<< /A >>", "{/A:?}", "13:", "unexpected value 10 >>\n"},
        {">> 1", "?", "0:1", "unexpected value 10 >>\n"},
        {"[1 >> 2]", "[I1 ? I2]", "13:", "unexpected value 10 >>\n"},
        {"", "?", "13:", "unexpected value 13 \n"},
        {"<< /A 1 2 >>", "{/A:I1}", nullptr, key + "(2)\n"},
        {"<< (k) 1 >>", "{}", nullptr, key + "((k))\n"},
        {"<< /Length (x) >>", "{/Length:?}", nullptr,
         "/Length: number or reference expected\n" + key + "((x))\n"},
        {"<< /Length 1 /Length 2 >>", "{/Length:I2}", "13:",
         "OnName: /Length encountered more than once\n"},
        {"<< /Length 1 /Sub << /Length 2 >> >>", "{/Length:I1 /Sub:{/Length:I2}}", "13:", ""},
        {"<< /A 1 0 R 0 R /B 2 >>", "{/A:R101 /B:I2}", "13:", ""},
        {"<< /A 1 0 R 0\r\nR >>", "{/A:R101}", "13:", ""},
        {"<< /A 1 0 R 0 RG >>", "{/A:R1}", nullptr, key + "(0)\n"},
        {"<< /A 1 0 2 R >>", "{/A:I1}", nullptr, key + "(0)\n"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.input);
        std::string next, diag;
        EXPECT_EQ(ParseOne(c.input, &next, &diag), c.value);
        EXPECT_EQ(diag, c.diag);
        if (c.next != nullptr) {
            EXPECT_EQ(next, c.next);
        }
    }
}

// Deep nesting is cut at the cap and read past, never recursed into: what lies deeper becomes
// one empty array or dictionary.
TEST(Parse, NestingIsCapped) {
    const size_t cap = static_cast<size_t>(pdlimits::kMaxValueDepth);
    std::string dicts = "1";
    for (int i = 0; i < 400; ++i)
        dicts = "<</K " + dicts + ">>";
    const std::pair<std::string, size_t> cases[] = {
        {std::string(10, '[') + "1" + std::string(10, ']') + " /N", 10},
        {std::string(cap, '[') + std::string(cap, ']') + " /N", cap},
        {std::string(300, '[') + "(a]) 1" + std::string(300, ']') + " /N", cap + 1},
        {dicts + " /N", cap + 1},
        {std::string(5000, '['), cap + 1},
    };
    for (const auto& [input, depth] : cases) {
        SCOPED_TRACE(input.substr(0, 40));
        TestHost host(input);
        PDParser parser(host);
        parser.GetToken();
        PDValue value;
        parser.ParseValue(value);
        size_t nesting = 0;
        for (const PDValue* v = &value;
             v != nullptr && (v->Kind() == kPDArray || v->Kind() == kPDDictionary);
             v = v->Kind() == kPDArray ? v->First() : v->GetSlot(20))
            ++nesting;
        EXPECT_EQ(nesting, depth);
        EXPECT_EQ(std::to_string(parser.TokenKind()) + ":" + parser.TokenText().ToString(),
                  input.back() == 'N' ? "4:/N" : "13:");
    }
}

TEST(Parse, IndirectObjectHeader) {
    // input, whether a header was found, number, generation, value
    // clang-format off
    const std::tuple<std::string, bool, int32_t, int32_t, std::string> cases[] = {
        {"3 1 obj << /Type /X >> endobj", true, 3, 1, "{/Type:T/X}"},
        {"  12 0 obj\r\n[1 2]\r\nendobj", true, 12, 0, "[I1 I2]"},
        {"7 0 obj 42 endobj", true, 7, 0, "I42"}, {"3 0 R", false, 0, 0, "null"},
        {"obj 3 0", false, 0, 0, "null"},         {"", false, 0, 0, "null"}};
    // clang-format on
    for (const auto& [input, ok, number, generation, value] : cases) {
        SCOPED_TRACE(input);
        TestHost host(input);
        PDParser parser(host);
        EXPECT_EQ(parser.ParseIndirectObject(), ok);
        if (ok) {
            EXPECT_EQ(parser.ObjectNumber(), number);
            EXPECT_EQ(parser.ObjectGeneration(), generation);
        }
        EXPECT_EQ(Describe(parser.TakeValue().get()), value);
    }
}

struct StreamResult {
    bool ok = false, hasStream = false;
    std::string data, length, diag; // length: the /Length entry afterwards
    int seeks = 0;
};

StreamResult ParseStream(const std::string& image, int32_t redirect = 0) {
    TestHost host(image);
    host.m_redirect = redirect;
    PDParser parser(host);
    DiagCapture diag;
    StreamResult r;
    r.ok = parser.ParseIndirectObject();
    std::unique_ptr<PDValue> value = parser.TakeValue();
    r.diag = diag.Text();
    r.seeks = host.m_seeks;
    if (value == nullptr)
        return r;
    r.hasStream = value->HasStream();
    r.data.assign(reinterpret_cast<const char*>(value->StreamData()),
                  static_cast<size_t>(value->StreamLength()));
    r.length = Describe(value->GetSlot(0));
    return r;
}

std::string Obj(const std::string& dict, const std::string& afterStream) {
    return "1 0 obj\n" + dict + "\nstream" + afterStream;
}

std::string Len(const std::string& length, const std::string& afterStream) {
    return Obj("<< /Length " + length + " >>", afterStream);
}

// Trimming never goes below the declared length - 2, so a line end may stay. A length far beyond
// the data that ran on into the next object's stream stops at the object header behind it. An
// absurd length must not size the buffer. An indirect length is looked up once and the position
// put back, so the data come from the right place even past the first block.
TEST(Stream, DataAndLength) {
    const std::string x20 = "01234567890123456789", end = "\nendstream\nendobj\n";
    const std::string next = "2 0 obj\n<< /Length 300 >>\nstream\n" + std::string(300, 'x') + end;
    const std::string noLength = "assertion m_lengthVal != NULL failed\n";
    const std::string tail = "\nabcde\nendstream\nendobj\n", q600(600, 'q');
    const std::string bad = "error reading Length object\n";
    const std::string notNumber = "Length object does not contain number\n";
    struct Case {
        const char* name;
        std::string image, data, length, diag{};
        bool ok = true;
        int32_t redirect = 0;
    };
    // clang-format off
    const Case cases[] = {
        {"exact", Len("5", "\nabcde" + end), "abcde", "I5"},
        {"crlf after keyword", Len("5", "\r\nabcde\r\nendstream"), "abcde", "I5"},
        {"lone cr after keyword", Len("5", "\rabcde\nendstream"), "abcde", "I5"},
        {"blank and lf after keyword", Len("5", " \nabcde\nendstream"), "abcde", "I5"},
        {"no line end before endstream", Len("5", "\nabcdeendstream\n"), "abcde", "I5"},
        {"declared 5, real 20", Len("5", "\n" + x20 + end), x20, "I20"},
        {"declared 40, real 20, file ends", Len("40", "\n" + x20 + end), x20 + "\n", "I21"},
        {"declared 22, real 20", Len("22", "\n" + x20 + end), x20, "I20"},
        {"line ends inside the length", Len("6", "\nabcd\r\n\r" + end), "abcd\r\n", "I6"},
        {"short length path", Len("3", "\nabc" + end), "abc", "I3"},
        {"short length, real 6", Len("2", "\nabcdef" + end), "abcdef", "I6"},
        {"zero length, real 3", Len("0", "\nabc" + end), "abc", "I3"},
        {"negative length", Len("-40", "\nabc" + end), "abc", "I3"},
        {"unterminated", Len("30", "\nabc"), "abc", "I3"},
        {"empty at end of input", Len("30", ""), "", "I0"},
        {"runs into the next object", Len("60", "\nabc" + end) + next, "abc", "I3"},
        {"absurd length", Len("1000000000000000", "\nabc"), "abc", "I3"},
        {"length near 2^31", Len("2147483646", "\nabc"), "abc", "I3"},
        {"length beyond 32 bits", Len("99999999999999999999", "\nabc"), "abc", "I3"},
        {"no length", Obj("<< /Type /X >>", "\nabc\nendstream\n"), "", "null", noLength},
        {"not a dictionary", Obj("[<< /Length 3 >>]", "\nabc\nendstream\n"), "", "null", noLength},
        {"resolved", Len("9 0 R", tail) + "9 0 obj 5 endobj\n", "abcde", "I5"},
        {"resolved, 600 bytes", Len("9 0 R", "\n" + q600 + tail.substr(6)) + "9 0 obj 600 endobj\n",
         q600, "I600"},
        {"no such object", Len("8 0 R", tail), "abcde", "I5", bad},
        {"wrong number in header", Len("9 0 R", tail) + "8 0 obj 5 endobj\n", "abcde", "I5", bad,
         true, 8},
        {"not a number", Len("9 0 R", tail) + "9 0 obj /Five endobj\n", "abcde", "I5", notNumber},
        {"length object claims a stream",
         Len("9 0 R", tail) + "9 0 obj << /Length 9 0 R >> stream\n", "abcde", "I5", notNumber},
        {"unknown length, too long", Len("8 0 R", "\n" + std::string(32001, 'z') + "\nendstream\n"),
         "", "R8", bad + "stream buffer too small (indirect length)\n", false},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        StreamResult r = ParseStream(c.image, c.redirect);
        EXPECT_EQ(r.ok, c.ok);
        EXPECT_EQ(r.hasStream, c.ok && c.length != "null");
        EXPECT_EQ(r.data, c.data);
        EXPECT_EQ(r.length, c.length);
        EXPECT_EQ(r.diag, c.diag);
        if (c.image.find(" 0 R >>") != std::string::npos) {
            EXPECT_EQ(r.seeks, 1);
        }
    }
}

} // namespace
