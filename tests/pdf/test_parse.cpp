// Values, indirect objects and streams parsed from memory images.
#include "pdf/pdparse.h"

#include "pdf/pdlimits.h"
#include "tests/support/diag_capture.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

namespace {

// A value tree in one line: I12 R5 T/Name S(str) [..] {/Key:.. } and ? for an empty value.
std::string Describe(const PDValue* v) {
    if (v == nullptr)
        return "null";
    switch (v->Kind()) {
    case kPDText:
        return "T" + v->Text().ToString();
    case kPDInteger:
        return "I" + std::to_string(v->Number());
    case kPDReference:
        return "R" + std::to_string(v->Number());
    case kPDString:
        return "S" + v->Text().ToString();
    case kPDArray: {
        std::string s = "[";
        for (const PDValue* e = v->First(); e != nullptr; e = e->Next())
            s += (s.size() > 1 ? " " : "") + Describe(e);
        return s + "]";
    }
    case kPDDictionary: {
        std::string s = "{";
        PDValue* item = nullptr;
        const char* key = nullptr;
        for (int i = 0; v->Dict()->Entry(i, &item, &key); ++i)
            s += (i > 0 ? " " : "") + std::string(key) + ":" + Describe(item);
        return s + "}";
    }
    default:
        return "?";
    }
}

// Objects live at known offsets of the image; a loaded object reports its number plus 100.
class TestHost : public PDMemoryHost {
public:
    explicit TestHost(const std::string& image)
        : PDMemoryHost(reinterpret_cast<const uint8_t*>(image.data()),
                       static_cast<int64_t>(image.size())),
          m_image(image) {}
    bool SeekObject(int32_t objNum) override {
        std::string header = std::to_string(m_redirect ? m_redirect : objNum) + " 0 obj";
        size_t at = m_image.find("\n" + header);
        ++m_seeks;
        return at != std::string::npos && Seek(static_cast<int64_t>(at + 1));
    }
    int32_t LoadedObjectNumber(int32_t objNum) override { return objNum + 100; }
    int m_seeks = 0;
    int32_t m_redirect = 0; // when set, every object is looked for under this number

private:
    std::string m_image;
};

struct ValueResult {
    std::string value;
    std::string diag;
    std::string next; // kind and text of the token after the value
};

ValueResult ParseOne(const std::string& input) {
    TestHost host(input);
    PDParser parser(host);
    DiagCapture diag;
    parser.GetToken();
    PDValue value;
    parser.ParseValue(value);
    return {Describe(&value), diag.Text(),
            std::to_string(parser.TokenKind()) + ":" + parser.TokenText().ToString()};
}

TEST(Parse, Values) {
    struct Case {
        std::string input;
        std::string value;
        std::string next;
    };
    const Case cases[] = {
        {"12 /x", "I12", "4:/x"},
        {"-7", "I-7", "13:"},
        {"2147483646", "I2147483646", "13:"},
        {"2147483647", "T2147483647", "13:"},
        {"5 0 R", "R5", "13:"},
        {"/N#20x", "T/N#20x", "13:"},
        {"1.5 true", "T1.5", "3:true"},
        {"(a(b)c)", "S(a(b)c)", "13:"},
        {"<41 42>", "S<41 42>", "13:"},
        {"[1 [2 3] /x (s) 4 0 R]", "[I1 [I2 I3] T/x S(s) R4]", "13:"},
        {"[] ]", "[]", "6:]"},
        {"[1 2", "[I1 I2]", "13:"},
        {"<< /B 1 /A 2 /C [/D] >>", "{/B:I1 /A:I2 /C:[T/D]}", "13:"},
        {"<</A<</B 7 0 R>>/C(x)>>/Next", "{/A:{/B:R7} /C:S(x)}", "4:/Next"},
        {"<< /B 1 /A 2 /B 3 >>", "{/B:I3 /A:I2}", "13:"},
        {"<< /A >>", "{/A:?}", "13:"},
        {"<< >> 5", "{}", "0:5"},
        {"<< /A 1", "{/A:I1}", "13:"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.input);
        ValueResult r = ParseOne(c.input);
        EXPECT_EQ(r.value, c.value);
        EXPECT_EQ(r.next, c.next);
    }
}

TEST(Parse, Diagnostics) {
    struct Case {
        std::string input;
        std::string value;
        std::string diag;
    };
    const Case cases[] = {
        {"<< /A 1 2 >>", "{/A:I1}", "error parsing dictionary, key expected (2)\n"},
        {"<< (k) 1 >>", "{}", "error parsing dictionary, key expected ((k))\n"},
        {"<< ] /A 1 >>", "{/A:I1}", ""},
        {"[ << 1 >> 2 ]", "[{}]", "error parsing dictionary, key expected (1)\n"},
        {">> 1", "?", "unexpected value 10 >>\n"},
        {"", "?", "unexpected value 13 \n"},
        {"[1 >> 2]", "[I1 ? I2]", "unexpected value 10 >>\n"},
        {"<< /Length (x) >>", "{/Length:?}",
         "/Length: number or reference expected\nerror parsing dictionary, key expected ((x))\n"},
        {"<< /Length 1 /Length 2 >>", "{/Length:I2}",
         "OnName: /Length encountered more than once\n"},
        {"<< /Length 1 /Sub << /Length 2 >> >>", "{/Length:I1 /Sub:{/Length:I2}}", ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.input);
        ValueResult r = ParseOne(c.input);
        EXPECT_EQ(r.value, c.value);
        EXPECT_EQ(r.diag, c.diag);
    }
}

// "n" "g" "R" that the look-ahead did not join: the object is loaded and reports its number.
TEST(Parse, SplitReferenceAsksTheHost) {
    struct Case {
        std::string input;
        std::string value;
        std::string diag;
    };
    const Case cases[] = {
        {"<< /A 1 0 R 0 R /B 2 >>", "{/A:R101 /B:I2}", ""},
        {"<< /A 1 0 R 0\r\nR >>", "{/A:R101}", ""},
        {"<< /A 1 0 R 0 RG >>", "{/A:R1}", "error parsing dictionary, key expected (0)\n"},
        {"<< /A 1 0 R 0 /B 2 >>", "{/A:R1}", "error parsing dictionary, key expected (0)\n"},
        {"<< /A 1 0 R 0/R 5 >>", "{/A:R1}", "error parsing dictionary, key expected (0)\n"},
        {"<< /A 1 0 2 R >>", "{/A:I1}", "error parsing dictionary, key expected (0)\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.input);
        ValueResult r = ParseOne(c.input);
        EXPECT_EQ(r.value, c.value);
        EXPECT_EQ(r.diag, c.diag);
    }
}

int Nesting(const PDValue* v) {
    int depth = 0;
    while (v != nullptr && (v->Kind() == kPDArray || v->Kind() == kPDDictionary)) {
        ++depth;
        v = v->Kind() == kPDArray ? v->First() : v->GetSlot(20);
    }
    return depth;
}

// Deep nesting is cut at the cap and read past, never recursed into: what lies deeper becomes
// one empty array or dictionary.
TEST(Parse, NestingIsCapped) {
    const int cap = pdlimits::kMaxValueDepth;
    struct Case {
        std::string input;
        int depth;
        std::string next;
    };
    const Case cases[] = {
        {std::string(10, '[') + "1" + std::string(10, ']') + " /N", 10, "4:/N"},
        {std::string(static_cast<size_t>(cap), '[') + std::string(static_cast<size_t>(cap), ']') +
             " /N",
         cap, "4:/N"},
        {std::string(300, '[') + "(a]) 1" + std::string(300, ']') + " /N", cap + 1, "4:/N"},
        {std::string(5000, '['), cap + 1, "13:"},
        {[] {
             std::string s;
             for (int i = 0; i < 400; ++i)
                 s += "<</K ";
             s += "1";
             for (int i = 0; i < 400; ++i)
                 s += ">>";
             return s + " /N";
         }(),
         cap + 1, "4:/N"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.input.substr(0, 40));
        TestHost host(c.input);
        PDParser parser(host);
        parser.GetToken();
        PDValue value;
        parser.ParseValue(value);
        EXPECT_EQ(Nesting(&value), c.depth);
        EXPECT_EQ(std::to_string(parser.TokenKind()) + ":" + parser.TokenText().ToString(), c.next);
    }
}

TEST(Parse, IndirectObjectHeader) {
    struct Case {
        std::string input;
        bool ok;
        int32_t number;
        int32_t generation;
        std::string value;
    };
    const Case cases[] = {
        {"3 1 obj << /Type /X >> endobj", true, 3, 1, "{/Type:T/X}"},
        {"  12 0 obj\r\n[1 2]\r\nendobj", true, 12, 0, "[I1 I2]"},
        {"7 0 obj 42 endobj", true, 7, 0, "I42"},
        {"3 0 R", false, 0, 0, "null"},
        {"obj 3 0", false, 0, 0, "null"},
        {"", false, 0, 0, "null"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.input);
        TestHost host(c.input);
        PDParser parser(host);
        EXPECT_EQ(parser.ParseIndirectObject(), c.ok);
        if (c.ok) {
            EXPECT_EQ(parser.ObjectNumber(), c.number);
            EXPECT_EQ(parser.ObjectGeneration(), c.generation);
        }
        std::unique_ptr<PDValue> value = parser.TakeValue();
        EXPECT_EQ(Describe(value.get()), c.value);
    }
}

struct StreamResult {
    bool ok = false;
    std::string data;
    bool hasStream = false;
    std::string length; // the /Length entry afterwards
    std::string diag;
    size_t capacity = 0;
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
    if (value == nullptr)
        return r;
    r.hasStream = value->HasStream();
    r.data.assign(reinterpret_cast<const char*>(value->StreamData()),
                  static_cast<size_t>(value->StreamLength()));
    r.length = Describe(value->GetSlot(0));
    r.capacity = value->MutableStreamData().capacity();
    return r;
}

std::string Obj(const std::string& dict, const std::string& afterStream) {
    return "1 0 obj\n" + dict + "\nstream" + afterStream;
}

TEST(Stream, DataAndLengthCorrections) {
    const std::string x20 = "01234567890123456789";
    struct Case {
        const char* name;
        std::string image;
        std::string data;
        std::string length;
    };
    const Case cases[] = {
        {"exact", Obj("<< /Length 5 >>", "\nabcde\nendstream\nendobj\n"), "abcde", "I5"},
        {"crlf after keyword", Obj("<< /Length 5 >>", "\r\nabcde\r\nendstream"), "abcde", "I5"},
        {"lone cr after keyword", Obj("<< /Length 5 >>", "\rabcde\nendstream"), "abcde", "I5"},
        {"blank and lf after keyword", Obj("<< /Length 5 >>", " \nabcde\nendstream"), "abcde",
         "I5"},
        {"no line end before endstream", Obj("<< /Length 5 >>", "\nabcdeendstream\n"), "abcde",
         "I5"},
        {"declared 5, real 20", Obj("<< /Length 5 >>", "\n" + x20 + "\nendstream\nendobj\n"), x20,
         "I20"},
        {"declared 18, real 20", Obj("<< /Length 18 >>", "\n" + x20 + "\nendstream\nendobj\n"), x20,
         "I20"},
        // The line end stays: trimming never goes below L - 2.
        {"declared 40, real 20, file ends",
         Obj("<< /Length 40 >>", "\n" + x20 + "\nendstream\nendobj\n"), x20 + "\n", "I21"},
        {"declared 22, real 20: kept back to 20",
         Obj("<< /Length 22 >>", "\n" + x20 + "\nendstream\nendobj\n"), x20, "I20"},
        {"line ends inside the length are kept",
         Obj("<< /Length 6 >>", "\nabcd\r\n\r\nendstream\nendobj\n"), "abcd\r\n", "I6"},
        {"short length path", Obj("<< /Length 3 >>", "\nabc\nendstream\nendobj\n"), "abc", "I3"},
        {"short length, real 6", Obj("<< /Length 2 >>", "\nabcdef\nendstream\nendobj\n"), "abcdef",
         "I6"},
        {"zero length, real 3", Obj("<< /Length 0 >>", "\nabc\nendstream\nendobj\n"), "abc", "I3"},
        {"negative length", Obj("<< /Length -40 >>", "\nabc\nendstream\nendobj\n"), "abc", "I3"},
        {"unterminated", Obj("<< /Length 30 >>", "\nabc"), "abc", "I3"},
        {"empty at end of input", Obj("<< /Length 30 >>", ""), "", "I0"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        StreamResult r = ParseStream(c.image);
        EXPECT_TRUE(r.ok);
        EXPECT_TRUE(r.hasStream);
        EXPECT_EQ(r.data, c.data);
        EXPECT_EQ(r.length, c.length);
        EXPECT_EQ(r.diag, "");
    }
}

// A length far beyond the data that ran on into the next object's stream: the object header
// behind this stream, and the "endstream" before it, give the real end.
TEST(Stream, LengthFarTooLongFindsTheObjectBehind) {
    std::string next =
        "2 0 obj\n<< /Length 300 >>\nstream\n" + std::string(300, 'x') + "\nendstream\nendobj\n";
    struct Case {
        int declared;
        std::string data;
        std::string length;
    };
    const Case cases[] = {
        {60, "abc", "I3"},
        {50, "abc", "I3"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.declared);
        StreamResult r = ParseStream(
            Obj("<< /Length " + std::to_string(c.declared) + " >>", "\nabc\nendstream\nendobj\n") +
            next);
        EXPECT_EQ(r.data, c.data);
        EXPECT_EQ(r.length, c.length);
    }
}

TEST(Stream, IndirectLength) {
    const std::string tail = "\nabcde\nendstream\nendobj\n";
    struct Case {
        const char* name;
        std::string image;
        bool ok;
        std::string data;
        std::string length;
        std::string diag;
        int32_t redirect = 0;
    };
    const Case cases[] = {
        {"resolved", Obj("<< /Length 9 0 R >>", tail) + "9 0 obj 5 endobj\n", true, "abcde", "R9",
         ""},
        {"resolved, data longer",
         Obj("<< /Length 9 0 R >>", "\nabcdefgh\nendstream\n") + "9 0 obj 5 endobj\n", true,
         "abcdefgh", "I8", ""},
        {"no such object", Obj("<< /Length 8 0 R >>", tail), true, "abcde", "I5",
         "error reading Length object\n"},
        {"wrong number in header", Obj("<< /Length 9 0 R >>", tail) + "8 0 obj 5 endobj\n", true,
         "abcde", "I5", "error reading Length object\n", 8},
        {"not a number", Obj("<< /Length 9 0 R >>", tail) + "9 0 obj /Five endobj\n", true, "abcde",
         "I5", "Length object does not contain number\n"},
        {"length object claims a stream",
         Obj("<< /Length 9 0 R >>", tail) + "9 0 obj << /Length 9 0 R >> stream\n", true, "abcde",
         "I5", "Length object does not contain number\n"},
        {"unknown length, too long",
         Obj("<< /Length 8 0 R >>", "\n" + std::string(32001, 'z') + "\nendstream\n"), false, "",
         "R8", "error reading Length object\nstream buffer too small (indirect length)\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        StreamResult r = ParseStream(c.image, c.redirect);
        EXPECT_EQ(r.ok, c.ok);
        EXPECT_EQ(r.data, c.data);
        EXPECT_EQ(r.length, c.length);
        EXPECT_EQ(r.diag, c.diag);
    }
}

// The position is put back after an indirect length, so the data come from the right place.
TEST(Stream, IndirectLengthRestoresThePosition) {
    std::string image = Obj("<< /Length 9 0 R >>", "\n" + std::string(600, 'q') +
                                                       "\nendstream\nendobj\n9 0 obj 600 endobj\n");
    TestHost host(image);
    PDParser parser(host);
    ASSERT_TRUE(parser.ParseIndirectObject());
    EXPECT_EQ(host.m_seeks, 1);
    std::unique_ptr<PDValue> value = parser.TakeValue();
    ASSERT_TRUE(value->HasStream());
    EXPECT_EQ(value->StreamLength(), 600);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(value->StreamData()), 600),
              std::string(600, 'q'));
}

TEST(Stream, WithoutLength) {
    struct Case {
        std::string image;
        std::string diag;
    };
    const Case cases[] = {
        {Obj("<< /Type /X >>", "\nabc\nendstream\n"), "assertion m_lengthVal != NULL failed\n"},
        {Obj("[<< /Length 3 >>]", "\nabc\nendstream\n"), "assertion m_lengthVal != NULL failed\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.image);
        StreamResult r = ParseStream(c.image);
        EXPECT_TRUE(r.ok);
        EXPECT_FALSE(r.hasStream);
        EXPECT_EQ(r.diag, c.diag);
    }
}

// An absurd length must not size the buffer: what is allocated follows the input.
TEST(Stream, AbsurdLengthAllocatesByTheInput) {
    const char* const lengths[] = {"1000000000000000", "2147483646", "99999999999999999999"};
    for (const char* length : lengths) {
        SCOPED_TRACE(length);
        StreamResult r = ParseStream(Obj(std::string("<< /Length ") + length + " >>", "\nabc"));
        EXPECT_TRUE(r.ok);
        EXPECT_EQ(r.data, "abc");
        EXPECT_EQ(r.length, "I3");
        EXPECT_LT(r.capacity, 4096u);
    }
}

} // namespace
