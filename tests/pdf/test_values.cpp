#include "pdf/pdarr.h"
#include "pdf/pdkeys.h"
#include "pdf/pdlimits.h"
#include "pdf/pdstr.h"
#include "pdf/pdvalue.h"
#include "tests/support/diag_capture.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

std::string Str(const PDStr& s) {
    return s.ToString();
}

// ---- PDStr ----

TEST(PDStrTest, EmptyOwnsNothingAndComparesEqualToEmptyText) {
    PDStr s;
    EXPECT_EQ(s.Capacity(), 0);
    EXPECT_EQ(s.Compare(""), 0);
    EXPECT_STREQ(s.Text(), "");
    PDStr fromEmpty("");
    EXPECT_EQ(fromEmpty.Capacity(), 0);
    PDStr fromNull(nullptr);
    EXPECT_EQ(fromNull.Capacity(), 0);
    EXPECT_EQ(PDStr(s).Capacity(), 0);
}

TEST(PDStrTest, CapacityFollowsBuildAndAppendRules) {
    PDStr built("abc");
    EXPECT_EQ(built.Capacity(), 4); // exactly length + 1
    built.Append('d');              // 3 + 1 reaches 4: new length + 64
    EXPECT_EQ(built.Capacity(), 68);
    built.Append(std::string(63, 'x').c_str()); // length 67 stays below 68
    EXPECT_EQ(built.Capacity(), 68);
    built.Append('y'); // 68 reaches the capacity
    EXPECT_EQ(built.Capacity(), 68 + 64);
    EXPECT_EQ(built.Length(), 68);

    PDStr fresh;
    fresh.Append("ab"); // appending to nothing also leaves 64 bytes of room
    EXPECT_EQ(fresh.Capacity(), 66);
    EXPECT_EQ(Str(fresh), "ab");
}

TEST(PDStrTest, ReserveZeroFillsAndSetsLength) {
    PDStr s;
    ASSERT_TRUE(s.Reserve(10));
    EXPECT_EQ(s.Length(), 10);
    EXPECT_EQ(s.Capacity(), 11);
    EXPECT_EQ(s.View(), std::string(10, '\0'));

    PDStr t("abc");
    ASSERT_TRUE(t.Reserve(8));
    EXPECT_EQ(t.View(), std::string_view("abc\0\0\0\0\0", 8));
    EXPECT_EQ(t.Text()[8], '\0');
    EXPECT_FALSE(t.Reserve(-1));
    EXPECT_EQ(t.Length(), 0);
    EXPECT_EQ(t.Capacity(), 0);
}

TEST(PDStrTest, ClearKeepsBuffer) {
    PDStr s("hello");
    s.Clear();
    EXPECT_EQ(s.Length(), 0);
    EXPECT_EQ(s.Capacity(), 6);
    EXPECT_STREQ(s.Text(), "");
}

TEST(PDStrTest, CompareIsUnsignedUpToFirstZero) {
    struct Case {
        std::string_view s;
        const char* text;
        int expected;
    } cases[] = {
        {"a", "b", -1},    {"b", "a", 1},     {"abc", "ab", 1},
        {"ab", "abc", -1}, {"", "", 0},       {"", "a", -1},
        {"\xE9", "a", 1},  {"a", "\xE9", -1}, {std::string_view("ab\0c", 4), "ab", 0},
        {"abc", "abc", 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.s) + " vs " + c.text);
        EXPECT_EQ(PDStr(c.s).Compare(c.text), c.expected);
    }
}

TEST(PDStrTest, TailSubstringFind) {
    PDStr s("hello world");
    struct Case {
        PDStr got;
        const char* expected;
    } cases[] = {
        {s.Tail(6), "world"},
        {s.Tail(11), ""},
        {s.Tail(40), ""},
        {s.Substring(0, 5), "hello"},
        {s.Substring(6, 99), "world"},
        {s.Substring(11, 1), ""},
        {s.Substring(3, 0), ""},
        {s.Concat(PDStr("!")), "hello world!"},
    };
    for (size_t i = 0; i < std::size(cases); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(Str(cases[i].got), cases[i].expected);
    }
    EXPECT_EQ(s.Find('o'), 4);
    EXPECT_EQ(s.Find('z'), -1);
    EXPECT_EQ(s.Find("world"), 6);
    EXPECT_EQ(s.Find("worlds"), -1);
}

TEST(PDStrTest, AppendOfItselfSurvivesGrowth) {
    PDStr s("abc");
    s.Append(s);
    s.Append(s.Text() + 1, 2);
    EXPECT_EQ(Str(s), "abcabcbc");
}

TEST(PDStrTest, GrowthBeyondThirtyTwoBitsIsAllocationFailure) {
    PDStr s("x");
    static const char source[1] = {'y'};
    EXPECT_THROW(s.Append(source, 2147483600), PDAllocError);
    EXPECT_EQ(Str(s), "x");
}

// ---- PDValue kinds and numbers ----

TEST(PDValueTest, KindFromBuildingAndFromSetText) {
    struct Case {
        const char* text;
        int built;
        int assigned;
    } cases[] = {
        {"(abc)", kPDString, kPDString}, {"/Name", kPDText, kPDText}, {"", kPDText, kPDString},
        {"<41>", kPDText, kPDString},    {"0.5", kPDText, kPDString}, {"true", kPDText, kPDString},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(PDValue(c.text).Kind(), c.built);
        PDValue v(c.text);
        v.SetText(c.text);
        EXPECT_EQ(v.Kind(), c.assigned);
        EXPECT_EQ(Str(v.Text()), c.text);
    }
}

TEST(PDValueTest, IntegerTextRange) {
    struct Case {
        const char* digits;
        int kind;
        int32_t number;
        int64_t asInt64;
    } cases[] = {
        {"2147483646", kPDInteger, 2147483646, 2147483646},
        {"2147483647", kPDText, kPDBigNumber, 2147483647},
        {"-2147483647", kPDInteger, -2147483647, -2147483647},
        {"-2147483648", kPDText, kPDBigNumber, -2147483648LL},
        {"12345678901", kPDText, kPDBigNumber, 12345678901LL},
        {"0", kPDInteger, 0, 0},
        {"-17", kPDInteger, -17, -17},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.digits);
        PDValue v;
        v.SetIntegerText(c.digits);
        EXPECT_EQ(v.Kind(), c.kind);
        EXPECT_EQ(v.Number(), c.number);
        EXPECT_EQ(v.GetInt64(), c.asInt64);
        if (c.kind == kPDText) {
            EXPECT_EQ(Str(v.Text()), c.digits);
        }
    }
}

TEST(PDValueTest, NumericReadingByKind) {
    auto integer = PDValue::MakeInteger(42);
    auto ref = PDValue::MakeReference(7);
    PDValue real("2.5");
    PDValue name("/Foo");
    PDValue intText("-12.9");
    PDValue empty;
    struct Case {
        const char* what;
        const PDValue* v;
        double real;
        int32_t i32;
        int64_t i64;
    } cases[] = {
        {"integer", integer.get(), 42.0, 42, 42},
        {"reference", ref.get(), 0.0, 7, 7},
        {"real text", &real, 2.5, 2, 2},
        {"name", &name, 0.0, 0, 0},
        {"negative text", &intText, -12.9, -12, -12},
        {"empty", &empty, 0.0, 0, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_DOUBLE_EQ(c.v->GetReal(), c.real);
        EXPECT_EQ(c.v->GetInt(), c.i32);
        EXPECT_EQ(c.v->GetInt64(), c.i64);
    }
}

TEST(PDValueTest, RealIsBuiltFromWriterFormat) {
    PDValue v(1.0005);
    EXPECT_EQ(v.Kind(), kPDText);
    EXPECT_EQ(Str(v.Text()), "1.001");
    EXPECT_EQ(Str(PDValue(-0.0001).Text()), "-0");
}

// ---- arrays ----

TEST(PDValueTest, ArrayStoredCountQuirk) {
    // stored count after each append: 1, then (elements before the append - 1)
    const int32_t expected[] = {1, 0, 1, 2, 3, 4};
    auto a = PDValue::MakeArray();
    for (int i = 0; i < 6; ++i) {
        SCOPED_TRACE(i);
        a->Append(PDValue::MakeInteger(i * 10));
        EXPECT_EQ(a->Number(), expected[i]);
        EXPECT_EQ(a->ElementCount(), i + 1);
    }
    int i = 0;
    for (PDValue* e = a->First(); e != nullptr; e = e->Next(), ++i)
        EXPECT_EQ(e->Number(), i * 10);
    EXPECT_EQ(i, 6);
    EXPECT_EQ(a->Element(5)->Number(), 50);
    EXPECT_EQ(a->Element(6), nullptr);
}

TEST(PDValueTest, ElementAssignmentOnNonArrayReports) {
    DiagCapture cap;
    PDValue v("/X");
    v.SetFirst(PDValue::MakeInteger(1));
    EXPECT_EQ(v.First(), nullptr);
    EXPECT_EQ(cap.Text(), "element assignment to non-array\n");
}

TEST(PDValueTest, RemoveReferenceTakesFirstMatchOnly) {
    auto a = PDValue::MakeArray();
    for (int32_t n : {1, 5, 2, 1})
        a->Append(n == 5 ? PDValue::MakeInteger(5) : PDValue::MakeReference(n));
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

// ---- streams ----

TEST(PDValueTest, AssignStreamNeedsDictionary) {
    DiagCapture cap;
    auto a = PDValue::MakeArray();
    const uint8_t data[] = {1, 2, 3};
    EXPECT_FALSE(a->AssignStream(data, 3, nullptr));
    EXPECT_EQ(cap.Text(), "PDValue::AssignStream: not a dictionary\n");
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
    EXPECT_EQ(Str(d->GetSlot(pdkey::Filter)->Text()), "/FlateDecode");
    EXPECT_EQ(d->StreamLength(), 4);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(d->StreamData()), 4), "abcd");

    ASSERT_TRUE(d->AssignStream(data, 2, nullptr));
    EXPECT_EQ(d->GetSlot(pdkey::Filter), nullptr);
    EXPECT_EQ(d->Dict()->Count(), 1);
    EXPECT_EQ(d->Get("/Length")->Number(), 2);

    auto fresh = PDValue::MakeDictionary();
    ASSERT_TRUE(fresh->AssignStream(data, 3, "(odd)"));
    EXPECT_EQ(fresh->Get("Length")->Number(), 3);
    EXPECT_EQ(fresh->Get("Filter")->Kind(), kPDString);
}

// ---- copy, destruction and renumbering ----

TEST(PDValueTest, CopyIsDeepAndKeepsOrder) {
    auto d = PDValue::MakeDictionary();
    d->Dict()->Set("/Zed", PDValue::MakeInteger(1));
    d->Dict()->Set("/Type", std::make_unique<PDValue>("/Page"));
    auto kids = PDValue::MakeArray();
    for (int i = 0; i < 3; ++i)
        kids->Append(PDValue::MakeReference(i + 1));
    d->Dict()->Set("/Kids", std::move(kids));
    const uint8_t data[] = {'x', 'y'};
    d->AssignStream(data, 2, nullptr);

    auto c = d->Copy();
    ASSERT_NE(c, nullptr);
    ASSERT_EQ(c->Dict()->Count(), d->Dict()->Count());
    for (int i = 0; i < d->Dict()->Count(); ++i) {
        PDValue* v1 = nullptr;
        PDValue* v2 = nullptr;
        const char* k1 = nullptr;
        const char* k2 = nullptr;
        ASSERT_TRUE(d->Dict()->Entry(i, &v1, &k1));
        ASSERT_TRUE(c->Dict()->Entry(i, &v2, &k2));
        EXPECT_STREQ(k1, k2);
        EXPECT_NE(v1, v2);
    }
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
    for (int i = 0; i < 100000; ++i) {
        auto next = i % 2 == 0 ? PDValue::MakeArray() : PDValue::MakeDictionary();
        PDValue* raw = next.get();
        if (inner->Kind() == kPDArray)
            inner->Append(std::move(next));
        else
            inner->Dict()->Set("/K", std::move(next));
        inner = raw;
    }
    if (inner->Kind() == kPDArray)
        inner->Append(PDValue::MakeReference(5));
    else
        inner->Dict()->Set("/R", PDValue::MakeReference(5));
    auto copy = deep->Copy();
    int seen = 0;
    copy->RenumberReferences([&seen](int32_t n) {
        ++seen;
        return n + 100;
    });
    EXPECT_EQ(seen, 1);
    deep.reset(); // must not overflow the stack
    copy.reset();
}

TEST(PDValueTest, RenumberVisitsInDocumentOrder) {
    auto a = PDValue::MakeArray();
    a->Append(PDValue::MakeReference(1));
    auto d = PDValue::MakeDictionary();
    d->Dict()->Set("/B", PDValue::MakeReference(2));
    auto inner = PDValue::MakeArray();
    inner->Append(PDValue::MakeReference(3));
    d->Dict()->Set("/A", std::move(inner));
    a->Append(std::move(d));
    a->Append(PDValue::MakeReference(4));
    std::vector<int32_t> order;
    a->RenumberReferences([&order](int32_t n) {
        order.push_back(n);
        return n * 10;
    });
    EXPECT_EQ(order, (std::vector<int32_t>{1, 2, 3, 4}));
    EXPECT_EQ(a->Element(2)->Number(), 40);
    EXPECT_EQ(a->Element(1)->Get("A")->First()->Number(), 30);
}

// ---- PDDict ----

TEST(PDDictTest, WellKnownSlots) {
    struct Case {
        const char* key;
        int slot;
    } cases[] = {{"/Length", 0},    {"/Pages", 1},    {"/Outlines", 2}, {"/Kids", 3},
                 {"/Parent", 4},    {"/Type", 5},     {"/Count", 6},    {"/Resources", 7},
                 {"/Dest", 8},      {"/Contents", 9}, {"/Annots", 10},  {"/Font", 11},
                 {"/MediaBox", 12}, {"/XObject", 13}, {"/Filter", 14},  {"/Name", 15},
                 {"/ProcSet", 16},  {"/First", 17},   {"/Next", 18},    {"/Prev", 19}};
    PDDict d;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.key);
        EXPECT_EQ(d.Intern(c.key), c.slot);
        EXPECT_STREQ(pdkey::WellKnownText(c.slot), c.key);
    }
    EXPECT_EQ(pdkey::WellKnownText(20), nullptr);
    EXPECT_EQ(pdkey::WellKnownText(-1), nullptr);
    EXPECT_EQ(d.Intern("/Foo"), 20);
    EXPECT_EQ(d.Intern("/Foo"), 20);
    EXPECT_EQ(d.Intern("/Length "), 21); // exact bytes, no trimming
    EXPECT_EQ(d.Count(), 0);
}

TEST(PDDictTest, TableGrowsByTenFromThirty) {
    PDDict d;
    for (int i = 0; i < 21; ++i) {
        SCOPED_TRACE(i);
        int slot = d.Intern(("/K" + std::to_string(i)).c_str());
        EXPECT_EQ(slot, 20 + i);
        EXPECT_EQ(d.Capacity(), slot < 30 ? 30 : slot < 40 ? 40 : 50);
    }
    EXPECT_EQ(d.KeyText(40), std::string("/K20"));
    EXPECT_EQ(d.KeyText(41), nullptr);
    EXPECT_EQ(d.KeyText(50), nullptr);
}

TEST(PDDictTest, ReplacementKeepsPosition) {
    PDDict d;
    d.SaveAttrVal(5, PDValue::MakeInteger(1));
    d.SaveAttrVal(3, PDValue::MakeInteger(2));
    d.SaveAttrVal(5, PDValue::MakeInteger(3));
    ASSERT_EQ(d.Count(), 2);
    const int slots[] = {5, 3};
    const int32_t numbers[] = {3, 2};
    for (int i = 0; i < 2; ++i) {
        PDValue* v = nullptr;
        int slot = -1;
        ASSERT_TRUE(d.EntrySlot(i, &v, &slot));
        EXPECT_EQ(slot, slots[i]);
        EXPECT_EQ(v->Number(), numbers[i]);
    }
    EXPECT_FALSE(d.EntrySlot(2, nullptr, nullptr));
}

TEST(PDDictTest, SlotBeyondCapacityIsInternalError) {
    struct Case {
        int slot;
        bool stored;
    } cases[] = {{29, true}, {30, false}, {-1, false}, {1000, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.slot);
        DiagCapture cap;
        PDDict d;
        d.SaveAttrVal(c.slot, PDValue::MakeInteger(1));
        EXPECT_EQ(d.Count(), c.stored ? 1 : 0);
        EXPECT_EQ(cap.Text(), c.stored ? "" : "SaveAttrVal: internal error\n");
    }
}

TEST(PDDictTest, GetWithAndWithoutSlash) {
    PDDict d;
    d.Set("/Helv", PDValue::MakeInteger(1));
    d.Set("/A#20B", PDValue::MakeInteger(2));
    d.Set("/Type", PDValue::MakeInteger(3));
    struct Case {
        const char* key;
        int32_t expected; // 0 for not found
    } cases[] = {{"Helv", 1}, {"/Helv", 1}, {"/helv", 0}, {"A B", 2},    {"/A#20B", 2},
                 {"/A B", 0}, {"A#20B", 0}, {"Type", 3},  {"/Pages", 0}, {"", 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.key);
        PDValue* v = d.Get(c.key);
        EXPECT_EQ(v != nullptr ? v->Number() : 0, c.expected);
    }
    EXPECT_EQ(d.Get(nullptr), nullptr);
}

TEST(PDDictTest, RemoveKeepsKeySlotAndOrder) {
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
    d.Clear();
    EXPECT_EQ(d.Count(), 0);
    EXPECT_EQ(d.Intern("/Bar"), 21);
}

TEST(PDDictTest, MoveToHandsOverTheSameValue) {
    PDDict from;
    PDDict to;
    from.Set("/Extra", PDValue::MakeInteger(9));
    from.Set("/Kids", PDValue::MakeArray());
    PDValue* kids = from.Get("/Kids");
    EXPECT_TRUE(from.MoveTo("/Kids", to));
    EXPECT_TRUE(from.MoveTo("Extra", to));
    EXPECT_FALSE(from.MoveTo("/Kids", to));
    EXPECT_EQ(from.Count(), 0);
    EXPECT_EQ(to.GetSlot(pdkey::Kids), kids);
    EXPECT_EQ(to.Get("Extra")->Number(), 9);
}

TEST(PDDictTest, KeyCapAndBigTables) {
    DiagCapture cap;
    PDDict d;
    const int extra = pdlimits::kMaxDictKeys - pdkey::kWellKnownCount;
    for (int i = 0; i < extra; ++i)
        ASSERT_EQ(d.Intern(("/k" + std::to_string(i)).c_str()), 20 + i);
    EXPECT_EQ(d.SlotsInUse(), pdlimits::kMaxDictKeys);
    EXPECT_EQ(d.Intern("/oneTooMany"), -1);
    EXPECT_EQ(d.Intern("/k123"), 143); // existing keys still resolve
    d.Set("/oneTooMany", PDValue::MakeInteger(1));
    EXPECT_EQ(cap.Text(), "SaveAttrVal: internal error\n");
    d.Set("/k30000", PDValue::MakeInteger(2));
    EXPECT_EQ(d.Get("k30000")->Number(), 2);
}

// ---- name codec ----

TEST(PDNameTest, EncodeWithReversedHexDigits) {
    struct Case {
        std::string_view raw;
        const char* encoded;
    } cases[] = {
        {"a b", "/a#02b"},
        {"\xE9", "/#9E"},
        {"#()/", "/#()/"},
        {"\x7F", "/#F7"},
        {std::string_view("\0", 1), "/#00"},
        {"\x1F!", "/#F1!"},
        {"", "/"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.encoded);
        PDStr got = PDEncodeName(c.raw.data(), static_cast<int>(c.raw.size()));
        EXPECT_EQ(Str(got), c.encoded);
    }
}

TEST(PDNameTest, Decode) {
    struct Case {
        const char* text;
        std::string_view decoded;
    } cases[] = {
        {"/a#20b", "a b"},
        {"/#4a#4A", "JJ"},
        {"/a#2", "a#2"},
        {"/a#zz", "a#zz"},
        {"noslash#41", "noslash#41"},
        {"/#02", "\x02"},
        {"/#00x", std::string_view("\0x", 2)},
        {"/", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        PDStr got = PDDecodeName(c.text, static_cast<int>(std::strlen(c.text)));
        EXPECT_EQ(got.View(), c.decoded);
        EXPECT_TRUE(PDNameMatches(c.text, static_cast<int>(std::strlen(c.text)), c.decoded.data(),
                                  static_cast<int>(c.decoded.size())));
    }
}

// ---- PDArr and the reporter ----

TEST(PDArrTest, EmptyTakeAndOutOfRangeReport) {
    DiagCapture cap;
    PDArr<int> a(4);
    EXPECT_EQ(a.Take(), 0);
    EXPECT_EQ(cap.Text(), "PDArr::Take - m_count is 0\n");
    cap.Clear();
    a.Append(3);
    EXPECT_EQ(a.Get(1), 0);
    EXPECT_EQ(cap.Text(), "PDArr: index out of range\n");
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
