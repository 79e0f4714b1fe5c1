// The file writer: free entries of the cross-reference table, refusals, and the output page tree,
// checked on the bytes and by reading the result back. The layout of whole files is checked end
// to end.

#include "pdf/pdfile.h"
#include "tests/support/memory_input.h"

#include <gtest/gtest.h>

#include <functional>
#include <numeric>
#include <string>
#include <vector>

namespace {

using testpdf::Finish;

// A number handed out but never written is a free entry that object 0 heads the free list
// through; an object written twice is refused and appears once.
TEST(Writer, FreeEntriesAndObjectsWrittenTwice) {
    PDFile out;
    out.BeginWriteMemory();
    auto text = testpdf::ParseText("<< /A (x) /B [1 2.5 /N] >>");
    int32_t a = out.NewObjectNumber();
    out.NewObjectNumber();
    ASSERT_TRUE(out.WriteObject(a, *text, 0));
    EXPECT_FALSE(out.WriteObject(a, *text, 0));
    EXPECT_EQ(out.ErrorCode(), 1007);
    std::string pdf = Finish(out);
    EXPECT_EQ(pdf.find("1 0 obj"), pdf.rfind("1 0 obj"));
    std::string table = pdf.substr(pdf.rfind("\nxref\r\n") + 1);
    table = table.substr(0, table.find("trailer"));
    EXPECT_EQ(table.find("xref\r\n0 5\r\n0000000002 65535 f\r\n"), 0u);
    EXPECT_NE(table.find("0000000000 00000 f\r\n"), std::string::npos);
    PDFile back;
    ASSERT_TRUE(testpdf::OpenBytes(back, pdf));
    PDIndirectObj obj;
    ASSERT_TRUE(back.LoadObject(obj, 1));
    EXPECT_EQ(obj.Value()->Get("/A")->Text(), "(x)");
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

} // namespace
