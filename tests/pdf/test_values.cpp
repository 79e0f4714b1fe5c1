#include "pdf/pdarr.h"
#include "pdf/pdkeys.h"
#include "pdf/pdparse.h"
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

std::unique_ptr<PDValue> Parse(std::string_view text) {
    return testpdf::ParseText(text);
}

// ---- PDStr ----

// Reserve zero-fills fresh storage and fails cleanly on a negative size.
TEST(PDStrTest, ReserveZeroFills) {
    PDStr r("abc");
    ASSERT_TRUE(r.Reserve(8));
    EXPECT_EQ(r.View(), std::string_view("abc\0\0\0\0\0", 8));
    EXPECT_EQ(r.Text()[8], '\0');
    EXPECT_FALSE(r.Reserve(-1));
    EXPECT_EQ(r.Length(), 0);
}

TEST(PDStrTest, CompareIsUnsignedUpToFirstZero) {
    // clang-format off
    const std::tuple<std::string_view, const char*, int> cases[] = {
        {"a", "b", -1}, {"abc", "ab", 1}, {"ab", "abc", -1}, {"", "", 0}, {"", "a", -1},
        {"\xE9", "a", 1}, {"a", "\xE9", -1}, {std::string_view("ab\0c", 4), "ab", 0},
    };
    // clang-format on
    for (const auto& [s, text, expected] : cases) {
        SCOPED_TRACE(std::string(s) + " vs " + text);
        EXPECT_EQ(PDStr(s).Compare(text), expected);
    }
}

TEST(PDStrTest, PiecesFindAndSelfAppend) {
    PDStr s("hello world");
    EXPECT_EQ(s.Tail(6).View(), "world");
    EXPECT_EQ(s.Tail(11).View(), "");
    EXPECT_EQ(s.Tail(40).View(), "");
    EXPECT_EQ(s.Substring(6, 99).View(), "world");
    EXPECT_EQ(s.Substring(11, 1).View(), "");
    EXPECT_EQ(s.Substring(3, 0).View(), "");
    EXPECT_EQ(s.Concat(PDStr("!")).View(), "hello world!");
    EXPECT_EQ(s.Find('o'), 4);
    EXPECT_EQ(s.Find('z'), -1);
    EXPECT_EQ(s.Find("world"), 6);
    EXPECT_EQ(s.Find("worlds"), -1);
    PDStr self("abc");
    self.Append(self);
    self.Append(self.Text() + 1, 2);
    EXPECT_EQ(self.View(), "abcabcbc");
}

TEST(PDStrTest, GrowthBeyondThirtyTwoBitsIsAllocationFailure) {
    PDStr s("x");
    static const char source[1] = {'y'};
    EXPECT_THROW(s.Append(source, 2147483600), PDAllocError);
    EXPECT_EQ(s.View(), "x");
}

// ---- PDValue kinds and numbers ----

TEST(PDValueTest, KindFromBuildingAndFromSetText) {
    const std::tuple<const char*, int, int> cases[] = {
        {"(abc)", kPDString, kPDString}, {"/Name", kPDText, kPDText},  {"", kPDText, kPDString},
        {"<41>", kPDText, kPDString},    {"true", kPDText, kPDString},
    };
    for (const auto& [text, built, assigned] : cases) {
        SCOPED_TRACE(text);
        PDValue v(text);
        EXPECT_EQ(v.Kind(), built);
        v.SetText(text);
        EXPECT_EQ(v.Kind(), assigned);
        EXPECT_EQ(v.Text().View(), text);
    }
    EXPECT_EQ(PDValue(1.0005).Text().View(), "1.001");
    EXPECT_EQ(PDValue(-0.0001).Text().View(), "-0");
}

// Both 32-bit extremes stay text with the big-number marker, on purpose.
TEST(PDValueTest, IntegerTextRange) {
    const std::tuple<const char*, int, int32_t, int64_t> cases[] = {
        {"2147483646", kPDInteger, 2147483646, 2147483646},
        {"2147483647", kPDText, kPDBigNumber, 2147483647},
        {"-2147483647", kPDInteger, -2147483647, -2147483647},
        {"-2147483648", kPDText, kPDBigNumber, -2147483648LL},
        {"12345678901", kPDText, kPDBigNumber, 12345678901LL},
    };
    for (const auto& [digits, kind, number, asInt64] : cases) {
        SCOPED_TRACE(digits);
        PDValue v;
        v.SetIntegerText(digits);
        EXPECT_EQ(v.Kind(), kind);
        EXPECT_EQ(v.Number(), number);
        EXPECT_EQ(v.GetInt64(), asInt64);
        EXPECT_EQ(v.Text().View(), kind == kPDText ? digits : "");
    }
}

TEST(PDValueTest, NumericReadingByKind) {
    auto integer = PDValue::MakeInteger(42);
    auto ref = PDValue::MakeReference(7);
    PDValue real("-12.9"), name("/Foo"), empty;
    const std::tuple<const PDValue*, double, int32_t> cases[] = {
        {integer.get(), 42.0, 42}, {ref.get(), 0.0, 7}, {&real, -12.9, -12},
        {&name, 0.0, 0},           {&empty, 0.0, 0},
    };
    for (const auto& [v, asReal, whole] : cases) {
        SCOPED_TRACE(v->Kind());
        EXPECT_DOUBLE_EQ(v->GetReal(), asReal);
        EXPECT_EQ(v->GetInt(), whole);
        EXPECT_EQ(v->GetInt64(), whole);
    }
}

// ---- arrays and streams ----

// Deliberate quirk: the stored count is 1, then (elements before the append - 1).
TEST(PDValueTest, ArrayStoredCountQuirk) {
    const int32_t expected[] = {1, 0, 1, 2, 3, 4};
    auto a = PDValue::MakeArray();
    for (int i = 0; i < 6; ++i) {
        a->Append(PDValue::MakeInteger(i * 10));
        EXPECT_EQ(a->Number(), expected[i]) << i;
        EXPECT_EQ(a->ElementCount(), i + 1);
    }
    int i = 0;
    for (PDValue* e = a->First(); e != nullptr; e = e->Next(), ++i)
        EXPECT_EQ(e->Number(), i * 10);
    EXPECT_EQ(i, 6);
    EXPECT_EQ(a->Element(6), nullptr);
}

TEST(PDValueTest, MisuseReports) {
    DiagCapture cap;
    PDValue v("/X");
    v.SetFirst(PDValue::MakeInteger(1));
    EXPECT_EQ(v.First(), nullptr);
    const uint8_t data[] = {1, 2, 3};
    EXPECT_FALSE(PDValue::MakeArray()->AssignStream(data, 3, nullptr));
    EXPECT_EQ(cap.Text(),
              "element assignment to non-array\nPDValue::AssignStream: not a dictionary\n");
}

TEST(PDValueTest, RemoveReferenceTakesFirstMatchOnly) {
    auto a = Parse("[1 0 R 5 2 0 R 1 0 R]");
    int32_t stored = a->Number();
    EXPECT_TRUE(a->RemoveReference(1));
    EXPECT_EQ(a->Number(), stored - 1);
    ASSERT_EQ(a->ElementCount(), 3);
    EXPECT_EQ(a->First()->Kind(), kPDInteger);
    EXPECT_EQ(a->Element(2)->Kind(), kPDReference);
    EXPECT_FALSE(a->RemoveReference(9));
    EXPECT_FALSE(a->RemoveReference(5)); // an integer 5 is no reference
    // Removing the last element must leave appends working.
    EXPECT_TRUE(a->RemoveReference(1));
    a->Append(PDValue::MakeInteger(99));
    EXPECT_EQ(a->Element(2)->Number(), 99);
    EXPECT_FALSE(PDValue::MakeArray()->RemoveReference(1));
}

TEST(PDValueTest, AssignStreamSetsLengthInPlaceAndFilter) {
    auto d = PDValue::MakeDictionary();
    d->Dict()->Set("/Length", PDValue::MakeReference(12));
    d->Dict()->Set("/Filter", std::make_unique<PDValue>("/LZWDecode"));
    PDValue* lengthBefore = d->GetSlot(pdkey::Length);
    const uint8_t data[] = {'a', 'b', 'c', 'd'};
    ASSERT_TRUE(d->AssignStream(data, 4, "/FlateDecode"));
    EXPECT_EQ(d->GetSlot(pdkey::Length), lengthBefore); // turned in place
    EXPECT_EQ(lengthBefore->Kind(), kPDInteger);
    EXPECT_EQ(lengthBefore->Number(), 4);
    EXPECT_EQ(d->GetSlot(pdkey::Filter)->Text().View(), "/FlateDecode");
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(d->StreamData()), 4), "abcd");
    ASSERT_TRUE(d->AssignStream(data, 2, nullptr));
    EXPECT_EQ(d->GetSlot(pdkey::Filter), nullptr);
    EXPECT_EQ(d->Dict()->Count(), 1);
    EXPECT_EQ(d->StreamLength(), 2);
    EXPECT_EQ(d->Get("/Length")->Number(), 2);
    auto fresh = PDValue::MakeDictionary();
    ASSERT_TRUE(fresh->AssignStream(data, 3, "(odd)"));
    EXPECT_EQ(fresh->Get("Length")->Number(), 3);
    EXPECT_EQ(fresh->Get("Filter")->Kind(), kPDString);
}

// ---- copy, destruction and renumbering ----

TEST(PDValueTest, CopyIsDeepAndKeepsOrder) {
    auto d = Parse("<< /Zed 1 /Type /Page /Kids [1 0 R 2 0 R 3 0 R] >>");
    const uint8_t data[] = {'x', 'y'};
    d->AssignStream(data, 2, nullptr);
    auto c = d->Copy();
    ASSERT_NE(c, nullptr);
    const char* const keys[] = {"/Zed", "/Type", "/Kids", "/Length"};
    PDValue *v1 = nullptr, *v2 = nullptr;
    const char* key = nullptr;
    for (int i = 0; i < 4; ++i) {
        ASSERT_TRUE(d->Dict()->Entry(i, &v1, &key) && c->Dict()->Entry(i, &v2, &key));
        EXPECT_STREQ(key, keys[i]);
        EXPECT_NE(v1, v2);
    }
    EXPECT_EQ(c->Dict()->Count(), 4);
    EXPECT_EQ(c->Get("Kids")->Number(), d->Get("Kids")->Number()); // stored count copied
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

TEST(PDValueTest, RenumberVisitsInDocumentOrder) {
    auto a = Parse("[1 0 R << /B 2 0 R /A [3 0 R] >> 4 0 R]");
    std::vector<int32_t> order;
    a->RenumberReferences([&order](int32_t n) { return order.push_back(n), n * 10; });
    EXPECT_EQ(order, (std::vector<int32_t>{1, 2, 3, 4}));
    EXPECT_EQ(a->Element(2)->Number(), 40);
    EXPECT_EQ(a->Element(1)->Get("A")->First()->Number(), 30);
}

// ---- PDDict ----

// A fresh table has 30 slots, the first 20 of them well known, and grows by 10; a full table
// still resolves the keys it has.
TEST(PDDictTest, WellKnownSlotsAndKeyCap) {
    const char* const keys[] = {
        "/Length",    "/Pages", "/Outlines", "/Kids",   "/Parent", "/Type",     "/Count",
        "/Resources", "/Dest",  "/Contents", "/Annots", "/Font",   "/MediaBox", "/XObject",
        "/Filter",    "/Name",  "/ProcSet",  "/First",  "/Next",   "/Prev",
    };
    DiagCapture cap;
    PDDict d;
    for (int slot = 0; slot < 20; ++slot) {
        EXPECT_EQ(d.Intern(keys[slot]), slot) << keys[slot];
        EXPECT_STREQ(pdkey::WellKnownText(slot), keys[slot]);
    }
    EXPECT_EQ(pdkey::WellKnownText(20), nullptr);
    EXPECT_EQ(pdkey::WellKnownText(-1), nullptr);
    EXPECT_EQ(d.Intern("/Length "), 20); // exact bytes, no trimming
    for (int slot = 21; slot < pdlimits::kMaxDictKeys; ++slot) {
        ASSERT_EQ(d.Intern(("/k" + std::to_string(slot)).c_str()), slot);
        if (slot == 40) { // an unused slot below the capacity has no key either
            EXPECT_STREQ(d.KeyText(40), "/k40");
            EXPECT_EQ(d.KeyText(41), nullptr);
        }
    }
    EXPECT_EQ(d.Intern("/Length "), 20);
    EXPECT_EQ(d.Intern("/oneTooMany"), -1);
    EXPECT_EQ(d.Count(), 0);
    EXPECT_STREQ(d.KeyText(20), "/Length ");
    EXPECT_EQ(d.KeyText(d.Capacity()), nullptr);
    d.Set("/oneTooMany", PDValue::MakeInteger(1));
    EXPECT_EQ(cap.Text(), "SaveAttrVal: internal error\n");
    d.Set("/k30000", PDValue::MakeInteger(2));
    EXPECT_EQ(d.Get("k30000")->Number(), 2);
}

TEST(PDDictTest, ReplacementKeepsPositionAndBadSlotsReport) {
    PDDict d;
    d.SaveAttrVal(5, PDValue::MakeInteger(1));
    d.SaveAttrVal(3, PDValue::MakeInteger(2));
    d.SaveAttrVal(5, PDValue::MakeInteger(3));
    ASSERT_EQ(d.Count(), 2);
    PDValue* v = nullptr;
    int slot = -1;
    const std::pair<int, int32_t> order[] = {{5, 3}, {3, 2}};
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(d.EntrySlot(i, &v, &slot));
        EXPECT_EQ(std::make_pair(slot, v->Number()), order[i]);
    }
    EXPECT_FALSE(d.EntrySlot(2, nullptr, nullptr));
    for (int bad : {29, 30, -1, 1000}) { // 29 is the last slot of a fresh table
        SCOPED_TRACE(bad);
        DiagCapture cap;
        PDDict e;
        e.SaveAttrVal(bad, PDValue::MakeInteger(1));
        EXPECT_EQ(e.Count(), bad == 29 ? 1 : 0);
        EXPECT_EQ(cap.Text(), bad == 29 ? "" : "SaveAttrVal: internal error\n");
    }
}

TEST(PDDictTest, GetWithAndWithoutSlash) {
    PDDict d;
    d.Set("/Helv", PDValue::MakeInteger(1));
    d.Set("/A#20B", PDValue::MakeInteger(2));
    d.Set("/Type", PDValue::MakeInteger(3));
    const std::pair<const char*, int32_t> cases[] = {
        {"Helv", 1}, {"/Helv", 1}, {"/helv", 0}, {"A B", 2},    {"/A#20B", 2},
        {"/A B", 0}, {"A#20B", 0}, {"Type", 3},  {"/Pages", 0}, {"", 0},
    };
    for (const auto& [key, expected] : cases) {
        SCOPED_TRACE(key);
        PDValue* v = d.Get(key);
        EXPECT_EQ(v != nullptr ? v->Number() : 0, expected);
    }
    EXPECT_EQ(d.Get(nullptr), nullptr);
}

TEST(PDDictTest, RemoveMoveAndClear) {
    PDDict d;
    d.Set("/Foo", PDValue::MakeInteger(1));
    d.Set("/Bar", PDValue::MakeInteger(2));
    d.Set("/Type", PDValue::MakeInteger(3));
    EXPECT_TRUE(d.Remove("Foo"));
    EXPECT_FALSE(d.Remove("/Foo"));
    EXPECT_EQ(d.Count(), 2);
    EXPECT_EQ(d.KeyText(20), std::string("/Foo"));
    PDValue* v = nullptr;
    const char* key = nullptr;
    ASSERT_TRUE(d.Entry(0, &v, &key));
    EXPECT_STREQ(key, "/Bar");
    d.Set("/Foo", PDValue::MakeInteger(4)); // same slot, now last in order
    EXPECT_EQ(d.Intern("/Foo"), 20);
    ASSERT_TRUE(d.Entry(2, &v, &key));
    EXPECT_STREQ(key, "/Foo");

    PDDict to;
    d.Set("/Kids", PDValue::MakeArray());
    PDValue* kids = d.Get("/Kids");
    EXPECT_TRUE(d.MoveTo("/Kids", to));
    EXPECT_TRUE(d.MoveTo("Foo", to));
    EXPECT_FALSE(d.MoveTo("/Kids", to));
    EXPECT_EQ(d.Count(), 2);
    EXPECT_EQ(to.GetSlot(pdkey::Kids), kids);
    EXPECT_EQ(to.Get("Foo")->Number(), 4);
    d.Clear();
    EXPECT_EQ(d.Count(), 0);
    EXPECT_EQ(d.Intern("/Bar"), 21);
}

// ---- name codec ----

TEST(PDNameTest, EncodeAndDecode) {
    const std::pair<std::string_view, const char*> encoded[] = {
        {"a b", "/a#20b"}, {"\xE9", "/#E9"},   {"#()/", "/#23#28#29#2F"},
        {"\x7F", "/#7F"},  {"\x1F!", "/#1F!"}, {std::string_view("\0", 1), "/#00"},
        {"", "/"},
    };
    for (const auto& [raw, text] : encoded) {
        SCOPED_TRACE(text);
        PDStr name = PDEncodeName(raw.data(), static_cast<int>(raw.size()));
        EXPECT_EQ(name.View(), text);
        EXPECT_EQ(PDDecodeName(name.Text(), name.Length()).View(), raw);
    }
    // clang-format off
    const std::pair<const char*, std::string_view> decoded[] = {
        {"/a#20b", "a b"},              {"/#4a#4A", "JJ"},              {"/a#2", "a#2"},
        {"/a#zz", "a#zz"},              {"noslash#41", "noslash#41"},   {"/#02", "\x02"},
        {"/#00x", std::string_view("\0x", 2)},                          {"/", ""},
    };
    // clang-format on
    for (const auto& [text, bytes] : decoded) {
        SCOPED_TRACE(text);
        const int n = static_cast<int>(std::strlen(text));
        EXPECT_EQ(PDDecodeName(text, n).View(), bytes);
        EXPECT_TRUE(PDNameMatches(text, n, bytes.data(), static_cast<int>(bytes.size())));
    }
}

// ---- PDArr and the reporter ----

TEST(PDArrTest, EmptyTakeAndOutOfRangeReport) {
    DiagCapture cap;
    PDArr<int> a(4);
    EXPECT_EQ(a.Take(), 0);
    a.Append(3);
    EXPECT_EQ(a.Get(1), 0);
    EXPECT_EQ(cap.Text(), "PDArr::Take - m_count is 0\nPDArr: index out of range\n");
    EXPECT_EQ(a.Take(), 3);
    EXPECT_EQ(a.Count(), 0);
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
