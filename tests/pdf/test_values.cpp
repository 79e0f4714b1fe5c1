// Strings, value trees, dictionaries, names and the reporter: the behaviour callers rely on.
#include "pdf/pdvalue.h"
#include "streams/pdlimits.h"
#include "streams/pdstr.h"
#include "tests/support/diag_capture.h"
#include "tests/support/memory_input.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <tuple>
#include <vector>

namespace {

using testpdf::ParseText;

// Comparison is unsigned and stops at the first zero byte; pieces are cut to what the string
// holds; appending a string (or part of it) to itself must not read freed storage.
TEST(PDStrTest, CompareCutAndSelfAppend) {
    const std::tuple<std::string_view, const char*, int> cases[] = {
        {"a", "b", -1},   {"abc", "ab", 1},  {"", "", 0},
        {"\xE9", "a", 1}, {"a", "\xE9", -1}, {std::string_view("ab\0c", 4), "ab", 0},
    };
    for (const auto& [s, text, expected] : cases)
        EXPECT_EQ(PDStr(s).Compare(text), expected) << s << " vs " << text;
    PDStr s("hello world");
    EXPECT_EQ(s.Tail(40).View(), "");
    EXPECT_EQ(s.Substring(6, 99).View(), "world");
    EXPECT_EQ(s.Substring(11, 1).View(), "");
    PDStr self("abc");
    self.Append(self);
    self.Append(self.Text() + 1, 2);
    EXPECT_EQ(self.View(), "abcabcbc");
    static const char source[1] = {'y'};
    EXPECT_THROW(self.Append(source, 2147483600), PDAllocError);
    EXPECT_EQ(self.View(), "abcabcbc");
}

TEST(PDValueTest, CopyIsDeepAndKeepsOrder) {
    auto d = ParseText("<< /Zed 1 /Type /Page /Kids [1 0 R 2 0 R 3 0 R] >>");
    const uint8_t data[] = {'x', 'y'};
    d->AssignStream(data, 2, nullptr);
    auto c = d->Copy();
    const char* const keys[] = {"/Zed", "/Type", "/Kids", "/Length"};
    PDValue *v1 = nullptr, *v2 = nullptr;
    const char* key = nullptr;
    for (int i = 0; i < 4; ++i) {
        ASSERT_TRUE(d->Dict()->Entry(i, &v1, &key) && c->Dict()->Entry(i, &v2, &key));
        EXPECT_STREQ(key, keys[i]);
        EXPECT_NE(v1, v2);
    }
    EXPECT_EQ(c->Get("Kids")->ElementCount(), 3);
    EXPECT_EQ(c->StreamLength(), 2);
    c->Get("Kids")->First()->SetNumber(77);
    EXPECT_EQ(d->Get("Kids")->First()->Number(), 1);
}

TEST(PDValueTest, HugeAndDeepTreesNeedNoRecursion) {
    auto wide = PDValue::MakeArray();
    for (int i = 0; i < 1000000; ++i)
        wide->Append(PDValue::MakeReference(i));
    EXPECT_EQ(wide->Copy()->ElementCount(), 1000000);

    auto deep = PDValue::MakeArray();
    PDValue* inner = deep.get();
    for (int i = 0; i <= 100000; ++i) { // alternating arrays and dictionaries, a reference last
        auto next = i == 100000 ? PDValue::MakeReference(5)
                                : (i % 2 == 0 ? PDValue::MakeArray() : PDValue::MakeDictionary());
        PDValue* raw = next.get();
        if (inner->Kind() == kPDArray)
            inner->Append(std::move(next));
        else
            inner->Dict()->Set("/K", std::move(next));
        inner = raw;
    }
    auto copy = deep->Copy();
    int seen = 0;
    copy->RenumberReferences([&seen](int32_t n) { return ++seen, n + 100; });
    EXPECT_EQ(seen, 1);
    deep.reset(); // must not overflow the stack
    copy.reset();
}

// Dense output numbering follows the order references are met in.
TEST(PDValueTest, RenumberVisitsInDocumentOrder) {
    auto a = ParseText("[1 0 R << /B 2 0 R /A [3 0 R] >> 4 0 R]");
    std::vector<int32_t> order;
    a->RenumberReferences([&order](int32_t n) { return order.push_back(n), n * 10; });
    EXPECT_EQ(order, (std::vector<int32_t>{1, 2, 3, 4}));
    EXPECT_EQ(a->Element(1)->Get("A")->First()->Number(), 30);
}

// Keys are looked up as written in the file (#xx escapes included), with or without the slash.
TEST(PDDictTest, GetWithAndWithoutSlash) {
    auto d = ParseText("<< /Helv 1 /A#20B 2 /Type 3 >>");
    const std::pair<const char*, int32_t> cases[] = {
        {"Helv", 1}, {"/Helv", 1}, {"/helv", 0}, {"A B", 2},    {"/A#20B", 2},
        {"/A B", 0}, {"A#20B", 0}, {"Type", 3},  {"/Pages", 0}, {"", 0},
    };
    for (const auto& [key, expected] : cases) {
        PDValue* v = d->Get(key);
        EXPECT_EQ(v != nullptr ? v->Number() : 0, expected) << key;
    }
    EXPECT_EQ(d->Get(nullptr), nullptr);
}

TEST(PDNameTest, EncodeAndDecode) {
    const std::pair<std::string_view, const char*> encoded[] = {
        {"a b", "/a#20b"}, {"\xE9", "/#E9"},   {"#()/", "/#23#28#29#2F"},
        {"\x7F", "/#7F"},  {"\x1F!", "/#1F!"}, {std::string_view("\0", 1), "/#00"},
        {"", "/"},
    };
    for (const auto& [raw, text] : encoded) {
        PDStr name = PDEncodeName(raw.data(), static_cast<int>(raw.size()));
        EXPECT_EQ(name.View(), text);
        EXPECT_EQ(PDDecodeName(name.Text(), name.Length()).View(), raw) << text;
    }
    // clang-format off
    const std::pair<const char*, std::string_view> decoded[] = {
        {"/#4a#4A", "JJ"}, {"/a#2", "a#2"}, {"/a#zz", "a#zz"}, {"noslash#41", "noslash#41"},
        {"/#00x", std::string_view("\0x", 2)}};
    // clang-format on
    for (const auto& [text, bytes] : decoded) {
        const int n = static_cast<int>(std::strlen(text));
        EXPECT_EQ(PDDecodeName(text, n).View(), bytes) << text;
        EXPECT_TRUE(PDNameMatches(text, n, bytes.data(), static_cast<int>(bytes.size()))) << text;
    }
}

TEST(PDReportTest, LongMessagesArriveWholeAndSinksNest) {
    std::string outer;
    PDDiagSink old = PDSetDiagSink([&outer](std::string_view t) { outer.append(t); });
    {
        DiagCapture cap;
        std::string big(3000, 'q');
        PDReport("%s|%d\n", big.c_str(), 7);
        EXPECT_EQ(cap.Text(), big + "|7\n");
    }
    PDReport("after\n");
    EXPECT_EQ(outer, "after\n");
    PDSetDiagSink(std::move(old));
}

} // namespace
