// The file writer: object framing, numbering, the cross-reference table, the trailer, the output
// page tree and encrypted output, checked on the bytes and by reading the result back.
// GCC 12 at -O2 with the sanitizers reports std::regex internals as maybe uninitialized.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"

#include "pdf/pdfile.h"
#include "streams/pdsecurity.h"
#include "tests/support/diag_capture.h"
#include "tests/support/memory_input.h"

#include <gtest/gtest.h>

#include <functional>
#include <numeric>
#include <regex>
#include <string>
#include <vector>

namespace {

constexpr int32_t kBias = PDFile::kOutputBias;

using testpdf::Finish;

TEST(Writer, ObjectsTableAndTrailer) {
    PDFile out;
    out.BeginWriteMemory();
    auto text = testpdf::ParseText("<< /A (x) /B [1 2.5 /N] >>");
    int32_t a = out.NewObjectNumber();
    out.NewObjectNumber(); // handed out, never written: a free entry
    ASSERT_TRUE(out.WriteObject(a, *text, 0));
    std::string pdf = Finish(out);

    EXPECT_EQ(pdf.compare(0, 17, "%PDF-1.4\r\n%\xE2\xE3\xCF\xD3\r\n"), 0);
    EXPECT_NE(pdf.find("1 0 obj\r\n<< /A (x)\r\n/B [ 1 2.5 /N ]\r\n>>\r\nendobj\r\n"),
              std::string::npos);
    // Object 2 is free and object 0 heads the free list through it.
    std::string table = pdf.substr(pdf.rfind("\nxref\r\n") + 1);
    table = table.substr(0, table.find("trailer"));
    EXPECT_EQ(table.find("xref\r\n0 5\r\n0000000002 65535 f\r\n"), 0u);
    EXPECT_NE(table.find("0000000000 00000 f\r\n"), std::string::npos);
    EXPECT_EQ((table.size() - 11) % 20, 0u);

    PDFile back;
    ASSERT_TRUE(testpdf::OpenBytes(back, pdf));
    EXPECT_EQ(back.FirstId(), back.SecondId());
    EXPECT_EQ(back.FirstId().Length(), 16);
    EXPECT_EQ(back.Catalog()->Get("/Type")->Text(), "/Catalog");
    EXPECT_TRUE(back.CollectPages().empty());
    PDIndirectObj obj;
    ASSERT_TRUE(back.LoadObject(obj, 1));
    EXPECT_EQ(obj.Value()->Get("/A")->Text(), "(x)");
}

TEST(Writer, RefusalsSetTheErrorCode) {
    PDFile out;
    out.BeginWriteMemory();
    EXPECT_FALSE(out.WriteValue(nullptr, 0));
    EXPECT_EQ(out.ErrorCode(), 1009);
    auto v = testpdf::ParseText("42");
    int32_t n = out.NewObjectNumber();
    ASSERT_TRUE(out.WriteObject(n, *v, 0));
    EXPECT_FALSE(out.WriteObject(n, *v, 0));
    EXPECT_EQ(out.ErrorCode(), 1007);
    std::string pdf = Finish(out);
    EXPECT_EQ(pdf.find("1 0 obj"), pdf.rfind("1 0 obj"));
}

TEST(Writer, InputNumbersAreRenumberedPerMap) {
    PDFile out;
    out.BeginWriteMemory();
    int second = out.AllocMap();
    EXPECT_EQ(out.MapId(7, 0), kBias + 1);
    EXPECT_EQ(out.MapId(7, second), kBias + 2);
    EXPECT_EQ(out.MapId(7, 0), kBias + 1);
    out.ClearMapEntry(7, 0);
    out.ReleaseNumber(kBias + 1);
    EXPECT_EQ(out.MapId(7, 0), kBias + 1); // the released number comes back first
    EXPECT_EQ(out.MapId(kBias + 9, 0), kBias + 9);
    // A number read from a file is never taken for a biased one: no file holds such an object.
    auto ref = testpdf::ParseText("[7 0 R 10000009 0 R]");
    ref->Append(PDValue::MakeReference(kBias + 9));
    ASSERT_TRUE(out.WriteObject(0, *ref, second));
    EXPECT_NE(Finish(out).find("[ 2 0 R null 9 0 R ]"), std::string::npos);
}

// Long arrays wrap between references, never inside one.
TEST(Writer, LongArraysWrapBetweenReferences) {
    PDFile out;
    out.BeginWriteMemory();
    auto array = PDValue::MakeArray();
    for (int i = 0; i < 100; ++i)
        array->Append(PDValue::MakeReference(kBias + 1000 + i));
    ASSERT_TRUE(out.WriteObject(0, *array, 0));
    std::string body = Finish(out);
    body = body.substr(body.find("1 0 obj\r\n") + 9);
    body = body.substr(0, body.find("\r\nendobj"));
    static const std::regex line("(\\[ )?[0-9]+ 0 R( [0-9]+ 0 R)*( \\])?");
    size_t lines = 0;
    for (size_t from = 0, to = 0; from <= body.size(); from = to + 2, ++lines) {
        to = std::min(body.find("\r\n", from), body.size());
        std::string text = body.substr(from, to - from);
        EXPECT_TRUE(text.size() <= 75 && std::regex_match(text, line)) << text;
    }
    EXPECT_GT(lines, 5u);
}

TEST(Writer, StreamFraming) {
    struct Case {
        const char* data;
        const char* lengthEntry; // as written in the dictionary before writing
        const char* expected;
    } cases[] = {
        {"abc\n", "4", "<< /Length 4\r\n>>\r\nstream\r\nabc\nendstream\r\nendobj"},
        {"abc", "4", "<< /Length 3\r\n>>\r\nstream\r\nabc\r\nendstream\r\nendobj"},
        {"abc", "9 0 R", "<< /Length 3\r\n>>\r\nstream\r\nabc\r\nendstream\r\nendobj"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.lengthEntry);
        PDFile out;
        out.BeginWriteMemory();
        auto stream = testpdf::ParseText(std::string("<< /Length ") + c.lengthEntry + " >>");
        stream->AssignStream(reinterpret_cast<const uint8_t*>(c.data),
                             static_cast<int64_t>(std::string(c.data).size()), nullptr);
        ASSERT_TRUE(out.WriteObject(0, *stream, 0));
        EXPECT_NE(Finish(out).find(c.expected), std::string::npos);
    }
}

// Pages registered in order, page i being 100 + i units high.
std::string WritePages(int count) {
    PDFile out;
    out.BeginWriteMemory();
    for (int i = 0; i < count; ++i) {
        int32_t page = out.NewObjectNumber();
        out.CountPage(page, 0);
        auto dict = testpdf::ParseText("<< /Type /Page /MediaBox [0 0 10 " +
                                       std::to_string(100 + i) + "] >>");
        dict->Dict()->Set("/Parent", PDValue::MakeReference(out.ParentForPage(i, page)));
        EXPECT_TRUE(out.WriteObject(page, *dict, 0));
    }
    return Finish(out);
}

TEST(Writer, PageTreeIsBalancedWithSixKidsPerNode) {
    struct Case {
        int pages;
        std::vector<int> rootKidCounts; // /Count of each kid of the root (1 for a page)
    } cases[] = {
        {0, {}},      {1, {1}}, {6, {1, 1, 1, 1, 1, 1}}, {7, {6, 1}}, {36, {6, 6, 6, 6, 6, 6}},
        {37, {36, 1}}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.pages);
        PDFile back;
        ASSERT_TRUE(testpdf::OpenBytes(back, WritePages(c.pages)));
        std::vector<int> counts, heights;
        // The pages under node n, checking /Parent, /Count and the number of kids on the way.
        std::function<int(int32_t, int32_t, int)> walk = [&](int32_t n, int32_t parent, int depth) {
            PDIndirectObj node;
            if (depth > 4 || !back.LoadObject(node, n))
                return -1000;
            const PDValue* up = node.Value()->Get("/Parent");
            EXPECT_EQ(up != nullptr ? up->Number() : 0, parent);
            const PDValue* kids = node.Value()->Get("/Kids");
            if (kids == nullptr)
                heights.push_back(node.Value()->Get("/MediaBox")->Element(3)->GetInt());
            int sum = kids == nullptr ? 1 : 0;
            for (const PDValue* kid = kids ? kids->First() : nullptr; kid; kid = kid->Next())
                sum += walk(kid->Number(), n, depth + 1);
            if (kids != nullptr) {
                EXPECT_LE(kids->ElementCount(), 6);
                EXPECT_EQ(node.Value()->Get("/Count")->GetInt(), sum);
            }
            if (depth == 1)
                counts.push_back(sum);
            return sum;
        };
        EXPECT_EQ(walk(back.PagesRoot(), 0, 0), c.pages);
        EXPECT_EQ(counts, c.rootKidCounts);
        std::vector<int> expected(static_cast<size_t>(c.pages));
        std::iota(expected.begin(), expected.end(), 100);
        EXPECT_EQ(heights, expected);
    }
}

TEST(Writer, EncryptedOutputReadsBackWithEitherPassword) {
    for (const char* permissions : {"", "I"}) {
        SCOPED_TRACE(permissions);
        PDFile out;
        out.BeginWriteMemory();
        out.OutputSecurity().SetPermissions(permissions);
        out.OutputSecurity().SetUserPassword("user");
        out.OutputSecurity().SetOwnerPassword("owner");
        auto value = testpdf::ParseText("<< /S (secret \\(text\\)) >>");
        value->AssignStream(reinterpret_cast<const uint8_t*>("stream data"), 11, nullptr);
        int32_t n = out.NewObjectNumber();
        ASSERT_TRUE(out.WriteObject(n, *value, 0));
        std::string pdf = Finish(out);
        EXPECT_EQ(pdf.find("secret"), std::string::npos);
        EXPECT_EQ(pdf.find("stream data"), std::string::npos);
        PDFile wrong;
        ASSERT_TRUE(testpdf::OpenBytes(wrong, pdf));
        EXPECT_FALSE(wrong.SetPassword("neither"));
        for (const char* password : {"user", "owner"}) {
            PDFile back;
            ASSERT_TRUE(testpdf::OpenBytes(back, pdf));
            ASSERT_TRUE(back.SetPassword(password));
            EXPECT_EQ(back.Security()->Revision(), permissions[0] == 'I' ? 3 : 2);
            PDIndirectObj obj;
            ASSERT_TRUE(back.LoadObject(obj, 1));
            EXPECT_EQ(obj.Value()->Get("/S")->Text(), "(secret \\(text\\))");
            EXPECT_EQ(std::string(reinterpret_cast<const char*>(obj.Value()->StreamData()),
                                  static_cast<size_t>(obj.Value()->StreamLength())),
                      "stream data");
        }
    }
}

} // namespace
