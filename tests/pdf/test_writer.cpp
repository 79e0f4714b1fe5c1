// The file writer's free entries and refusals; the layout and page tree of whole files are
// checked end to end.

#include "pdf/pdfile.h"
#include "tests/support/memory_input.h"

#include <gtest/gtest.h>

#include <string>

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

} // namespace
