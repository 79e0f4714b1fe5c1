// Transfers of pages into outputs: what is shared, what is copied again and what is dropped.
#include "structure/pdrefcopier.h"
#include "tests/structure/structure_fixture.h"

using namespace teststructure;

namespace {

const Objects kOnePage = {
    {2, "<< /Type /Pages /Kids [3 0 R] /Count 1 >>"},
    {3, "<< /Type /Page /Parent 2 0 R /Resources 4 0 R /Contents 5 0 R >>"},
    {4, "<< /Font << /F1 6 0 R >> >>"},
    {5, "stream:BT /F1 12 Tf ET"},
    {6, "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>"},
};

// A second output gets its own copies of what the first one already holds.
TEST(Transfer, IntoASecondOutput) {
    PDFInput in;
    Open(in, Document(kOnePage));
    for (int run = 0; run < 2; ++run) {
        MemoryOutput out;
        ASSERT_TRUE(in.Transfer(out, 1, 1));
        Reread file(out.Finish());
        ASSERT_EQ(file.pages.size(), 1u);
        EXPECT_EQ(file.At(file.Page(0), {"/Resources", "/Font", "/F1", "/BaseFont"})->Text(),
                  "/Helvetica");
        EXPECT_NE(file.At(file.Page(0), {"/Contents"}), nullptr);
    }
}

// The tool always transfers every page; a tree that leads nowhere fails the transfer.
TEST(Transfer, MissingTree) {
    PDFInput broken;
    Open(broken, Document({{2, "<< /Type /Pages /Kids [9 0 R] /Count 1 >>"}}));
    MemoryOutput out;
    EXPECT_FALSE(broken.Transfer(out, 1, 1));
    EXPECT_EQ(broken.ErrorCode(), 1008);
}

// Each action names the next through /Next: far more links than any nesting limit allows.
TEST(Transfer, LongNextChainIsCopiedWhole) {
    constexpr int kLinks = 100000;
    Objects objects = {{4, "<< /Type /Annot /Subtype /Link /Rect [0 0 1 1] /A 10 0 R >>"}};
    for (int i = 0; i < kLinks; ++i) {
        std::string next = i + 1 < kLinks ? " /Next " + std::to_string(11 + i) + " 0 R" : "";
        objects.emplace_back(10 + i,
                             "<< /S /JavaScript /JS (" + std::to_string(i) + ")" + next + " >>");
    }
    objects.emplace_back(3, "<< /Type /Page /Parent 2 0 R /Annots [4 0 R] >>");
    objects.emplace_back(2, "<< /Type /Pages /Kids [3 0 R] /Count 1 >>");
    Reread back(CopyPages(Document(objects), 1, 1));
    int links = 0;
    for (const PDValue* a = back.At(back.Page(0), {"/Annots", "0", "/A"}); a && links <= kLinks;
         a = back.At(a, {"/Next"}))
        ++links;
    EXPECT_EQ(links, kLinks);
}

TEST(RefCopier, UnreadableTargetsDropTheirDictionaryEntry) {
    for (bool caching : {true, false}) {
        SCOPED_TRACE(caching);
        Objects objects = kOnePage;
        objects.emplace_back(8, "null"); // 7 is missing; 99 lies beyond every object
        PDFInput in;
        Open(in, Document(objects));
        MemoryOutput out;
        in.BindOutput(out);
        auto value = testpdf::ParseText("<< /A 7 0 R /B [7 0 R 6 0 R] /C 6 0 R /D 99 0 R "
                                        "/E 10000005 0 R >>");
        RefCopier copier(in, out, caching);
        copier.Walk(*value, nullptr);
        EXPECT_EQ(value->Get("/A"), nullptr);
        EXPECT_EQ(value->Get("/B")->ElementCount(), 2);
        EXPECT_NE(value->Get("/C"), nullptr);
        EXPECT_NE(value->Get("/D"), nullptr);
        EXPECT_NE(value->Get("/E"), nullptr);
    }
}

} // namespace
