// The input page walk and the object cache of an input document.
#include "structure/pdinput.h"

#include "pdf/pdlimits.h"
#include "tests/support/diag_capture.h"
#include "tests/support/pdf_builder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using testpdf::PdfBuilder;

namespace {

bool Open(PDFInput& in, const std::string& pdf) {
    return in.OpenMemory(reinterpret_cast<const uint8_t*>(pdf.data()),
                         static_cast<int64_t>(pdf.size()));
}

struct Node {
    int num;
    const char* body;
};

std::string Document(const std::vector<Node>& nodes) {
    PdfBuilder b;
    b.Add(1, "<< /Type /Catalog /Pages 2 0 R >>");
    for (const auto& n : nodes)
        b.Add(n.num, n.body);
    b.Trailer("/Root 1 0 R");
    return b.Build();
}

TEST(ReaderPages, TreeShapes) {
    struct Case {
        const char* name;
        std::vector<Node> nodes;
        std::vector<int32_t> pages;
        const char* diag;
    } cases[] = {
        {"flat",
         {{2, "<< /Type /Pages /Kids [3 0 R 4 0 R] >>"},
          {3, "<< /Type /Page >>"},
          {4, "<< /Type /Page >>"}},
         {3, 4},
         ""},
        {"nested-in-order",
         {{2, "<< /Type /Pages /Kids [5 0 R 3 0 R] >>"},
          {3, "<< /Type /Page >>"},
          {4, "<< /Type /Page >>"},
          {5, "<< /Type /Pages /Kids [4 0 R 6 0 R] >>"},
          {6, "<< /Type /Page >>"}},
         {4, 6, 3},
         ""},
        {"single-kid-reference",
         {{2, "<< /Type /Pages /Kids 3 0 R >>"}, {3, "<< /Type /Page >>"}},
         {3},
         ""},
        {"kids-missing", {{2, "<< /Type /Pages /Count 0 >>"}}, {}, "pages object without kids\n"},
        {"node-lists-itself",
         {{2, "<< /Type /Pages /Kids [2 0 R 3 0 R] >>"}, {3, "<< /Type /Page >>"}},
         {3},
         "object id recursion in /Pages object 2\n"},
        {"parent-kids-cycle",
         {{2, "<< /Type /Pages /Kids [3 0 R 4 0 R] >>"},
          {3, "<< /Type /Page >>"},
          {4, "<< /Type /Pages /Kids [2 0 R 5 0 R] >>"},
          {5, "<< /Type /Page >>"}},
         {3, 5},
         "object id recursion in /Pages object 2\n"},
        {"kid-unreadable",
         {{2, "<< /Type /Pages /Kids [9 0 R 3 0 R] >>"}, {3, "<< /Type /Page >>"}},
         {3},
         "cannot read kid of 2\n"},
        {"kid-without-type",
         {{2, "<< /Type /Pages /Kids [3 0 R 4 0 R] >>"},
          {3, "<< /Kids [5 0 R] >>"},
          {4, "<< /MediaBox [0 0 1 1] >>"},
          {5, "<< /Type /Page >>"}},
         {5, 4},
         ""},
        {"root-is-a-page", {{2, "<< /Type /Page >>"}}, {2}, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        PDFInput in;
        ASSERT_TRUE(Open(in, Document(c.nodes)));
        DiagCapture diag;
        EXPECT_EQ(in.PageNumbers(), c.pages);
        EXPECT_EQ(diag.Text(), c.diag);
    }
}

// Trees as deep as real merged files (39 levels) are walked; absurd depths are cut off.
TEST(ReaderPages, DeepChains) {
    for (int depth : {39, pdlimits::kMaxTreeDepth + 50}) {
        SCOPED_TRACE(depth);
        PdfBuilder b;
        b.Add(1, "<< /Type /Catalog /Pages 2 0 R >>");
        for (int i = 0; i < depth; ++i) {
            int n = 2 + i;
            b.Add(n, "<< /Type /Pages /Kids [" + std::to_string(n + 1) + " 0 R] >>");
        }
        b.Add(2 + depth, "<< /Type /Page >>");
        b.Trailer("/Root 1 0 R");
        PDFInput in;
        ASSERT_TRUE(Open(in, b.Build()));
        std::vector<int32_t> pages = in.PageNumbers();
        if (depth <= pdlimits::kMaxTreeDepth)
            EXPECT_EQ(pages, std::vector<int32_t>{2 + depth});
        else
            EXPECT_TRUE(pages.empty());
    }
}

TEST(ReaderCache, LookUps) {
    PdfBuilder b;
    b.Add(1, "<< /Type /Catalog /Pages 2 0 R >>");
    b.Add(2, "<< /Type /Pages /Kids [] >>");
    b.Add(4, "5 0 R").Add(5, "6 0 R").Add(6, "(end)").Add(7, "7 0 R").Add(8, "<< /A 6 0 R >>");
    b.Trailer("/Root 1 0 R");
    PDFInput in;
    ASSERT_TRUE(Open(in, b.Build()));
    struct Case {
        int32_t n;
        bool found;
    } cases[] = {{0, false},
                 {-1, false},
                 {3, false},
                 {6, true},
                 {9, false},
                 {PDFInput::kOutputBias, false},
                 {PDFInput::kOutputBias + 6, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.n);
        EXPECT_EQ(in.PeekObj(c.n), nullptr);
        PDInputObj* first = in.GetObj(c.n);
        EXPECT_EQ(first != nullptr, c.found);
        EXPECT_EQ(in.PeekObj(c.n), first);
        EXPECT_EQ(in.GetObj(c.n), first); // cached: the same object again
    }
    in.ReleaseAll();
    EXPECT_EQ(in.PeekObj(6), nullptr);
}

TEST(ReaderCache, ResolveFollowsReferences) {
    PdfBuilder b;
    b.Add(1, "<< /Type /Catalog /Pages 2 0 R >>");
    b.Add(2, "<< /Type /Pages /Kids [] >>");
    b.Add(4, "5 0 R").Add(5, "6 0 R").Add(6, "(end)").Add(7, "7 0 R").Add(8, "<< /A 4 0 R >>");
    b.Trailer("/Root 1 0 R");
    PDFInput in;
    ASSERT_TRUE(Open(in, b.Build()));
    struct Case {
        int32_t ref;
        const char* text; // null: unresolvable
    } cases[] = {{6, "(end)"}, {4, "(end)"}, {7, nullptr}, {9, nullptr}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.ref);
        auto ref = PDValue::MakeReference(c.ref);
        const PDValue* v = in.Resolve(ref.get());
        if (c.text == nullptr) {
            EXPECT_EQ(v, nullptr);
        } else {
            ASSERT_NE(v, nullptr);
            EXPECT_EQ(v->Text().ToString(), c.text);
        }
    }
    EXPECT_EQ(in.ResolveKey(in.GetObj(8)->Value(), "/A")->Text().ToString(), "(end)");
    EXPECT_EQ(in.ResolveKey(in.GetObj(8)->Value(), "/B"), nullptr);
    PDValue direct("(x)");
    EXPECT_EQ(in.Resolve(&direct), &direct);
}

TEST(ReaderCache, NewObjectsNumberedAfterTheFile) {
    PDFInput in;
    ASSERT_TRUE(Open(in, Document({{2, "<< /Type /Pages /Kids [] >>"}})));
    int32_t inputCount = in.InputObjectCount();
    EXPECT_EQ(inputCount, 3);
    PDInputObj* made = in.NewObj(std::make_unique<PDValue>("(made)"));
    EXPECT_EQ(made->Number(), inputCount);
    EXPECT_EQ(in.ObjectCount(), inputCount + 1);
    EXPECT_EQ(in.GetObj(inputCount), made);
    EXPECT_EQ(in.PeekObj(inputCount), made);
    in.ReleaseAll(true);
    EXPECT_EQ(in.GetObj(inputCount), made);
    in.ReleaseAll(false);
    EXPECT_EQ(in.GetObj(inputCount), nullptr);
}

TEST(ReaderCache, HolderPrefersTheCache) {
    PDFInput in;
    ASSERT_TRUE(Open(in, Document({{2, "<< /Type /Pages /Kids [] >>"}})));
    ObjHolder before(in, 2);
    ASSERT_TRUE(before);
    EXPECT_TRUE(before.IsOwned()); // not cached yet: a private copy
    PDInputObj* cached = in.GetObj(2);
    ObjHolder after(in, 2);
    EXPECT_FALSE(after.IsOwned());
    EXPECT_EQ(after.Get(), cached);
    after.Clear();
    EXPECT_EQ(in.PeekObj(2), cached); // a holder never deletes a cached object
    EXPECT_FALSE(ObjHolder(in, 9));
}

} // namespace
