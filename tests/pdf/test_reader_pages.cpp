// The input page walk and the object cache of an input document.
#include "structure/pdinput.h"

#include "tests/support/diag_capture.h"
#include "tests/support/memory_input.h"
#include "tests/support/pdf_builder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using testpdf::PdfBuilder;

namespace {

bool Open(PDFInput& in, const std::string& pdf) {
    return testpdf::OpenBytes(in, pdf);
}

// Catalog 1, then the given bodies numbered from 2 on; an empty body leaves its number unused.
std::string Document(const std::vector<std::string>& bodies) {
    PdfBuilder b;
    b.Add(1, "<< /Type /Catalog /Pages 2 0 R >>");
    for (size_t i = 0; i < bodies.size(); ++i) {
        if (!bodies[i].empty())
            b.Add(static_cast<int>(i) + 2, bodies[i]);
    }
    b.Trailer("/Root 1 0 R");
    return b.Build();
}

const char* const kPage = "<< /Type /Page >>";

TEST(ReaderPages, TreeShapes) {
    struct Case {
        const char* name;
        std::vector<std::string> bodies;
        std::vector<int32_t> pages;
        const char* diag;
    } cases[] = {
        // clang-format off
        {"flat", {"<< /Type /Pages /Kids [3 0 R 4 0 R] >>", kPage, kPage}, {3, 4}, ""},
        {"nested-in-order", {"<< /Type /Pages /Kids [5 0 R 3 0 R] >>", kPage, kPage,
                             "<< /Type /Pages /Kids [4 0 R 6 0 R] >>", kPage}, {4, 6, 3}, ""},
        {"single-kid-reference", {"<< /Type /Pages /Kids 3 0 R >>", kPage}, {3}, ""},
        {"kids-missing", {"<< /Type /Pages /Count 0 >>"}, {}, "pages object without kids\n"},
        {"node-lists-itself", {"<< /Type /Pages /Kids [2 0 R 3 0 R] >>", kPage}, {3},
         "object id recursion in /Pages object 2\n"},
        {"parent-kids-cycle", {"<< /Type /Pages /Kids [3 0 R 4 0 R] >>", kPage,
                               "<< /Type /Pages /Kids [2 0 R 5 0 R] >>", kPage}, {3, 5},
         "object id recursion in /Pages object 2\n"},
        {"kid-unreadable", {"<< /Type /Pages /Kids [9 0 R 3 0 R] >>", kPage}, {3},
         "cannot read kid of 2\n"},
        {"kid-without-type", {"<< /Type /Pages /Kids [3 0 R 4 0 R] >>", "<< /Kids [5 0 R] >>",
                              "<< /MediaBox [0 0 1 1] >>", kPage}, {5, 4}, ""},
        {"root-is-a-page", {kPage}, {2}, ""},
        {"direct-kid-and-missing-kid", {"<< /Type /Pages /Kids [<< /Type /Page >> 9 0 R 3 0 R] >>",
                                        kPage}, {4, 3}, "cannot read kid of 2\n"},
        {"page-listed-twice", {"<< /Type /Pages /Kids [3 0 R 3 0 R] /Count 1 >>", kPage}, {3, 3},
         ""},
        {"count-absurd", {"<< /Type /Pages /Kids [3 0 R 4 0 R] /Count 9999999999 >>", kPage, kPage},
         {3, 4}, ""},
        {"no-tree-pages-in-file-order", {"<< /Type /Pages /Kids [] >>", "", "", kPage, kPage},
         {5, 6}, "page tree unusable: 2 page objects found in the file\n"},
        // clang-format on
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        PDFInput in;
        ASSERT_TRUE(Open(in, Document(c.bodies)));
        DiagCapture diag;
        EXPECT_EQ(in.PageNumbers(), c.pages);
        EXPECT_EQ(diag.Text(), c.diag);
    }
}

// A chain of nodes far deeper than any recursion could follow still gives its page.
TEST(ReaderPages, DeepChains) {
    for (int depth : {39, 20000}) {
        SCOPED_TRACE(depth);
        std::vector<std::string> bodies;
        for (int n = 3; n < 3 + depth; ++n)
            bodies.push_back("<< /Type /Pages /Kids [" + std::to_string(n) + " 0 R] >>");
        bodies.emplace_back(kPage);
        PDFInput in;
        ASSERT_TRUE(Open(in, Document(bodies)));
        EXPECT_EQ(in.PageNumbers(), std::vector{2 + depth});
    }
}

// Object 4 leads through 5 to 6, 7 names itself; looked up once, an object stays cached.
TEST(ReaderCache, LookUpAndResolve) {
    PDFInput in;
    ASSERT_TRUE(Open(in, Document({"<< /Type /Pages /Kids [] >>", "", "5 0 R", "6 0 R", "(end)",
                                   "7 0 R", "<< /A 4 0 R >>"})));
    struct Case {
        int32_t n;
        bool found;
        const char* resolved; // null: unresolvable
    } cases[] = {
        // clang-format off
        {0, false, nullptr}, {-1, false, nullptr}, {3, false, nullptr}, {6, true, "(end)"},
        {4, true, "(end)"}, {7, true, nullptr}, {9, false, nullptr},
        {PDFInput::kOutputBias, false, nullptr}, {PDFInput::kOutputBias + 6, false, nullptr},
        // clang-format on
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.n);
        EXPECT_EQ(in.PeekObj(c.n), nullptr);
        PDInputObj* first = in.GetObj(c.n);
        EXPECT_EQ(first != nullptr, c.found);
        EXPECT_EQ(in.PeekObj(c.n), first);
        EXPECT_EQ(in.GetObj(c.n), first);
        auto ref = PDValue::MakeReference(c.n);
        const PDValue* v = in.Resolve(ref.get());
        EXPECT_EQ(v != nullptr ? v->Text().ToString() : "<null>",
                  c.resolved ? c.resolved : "<null>");
    }
    EXPECT_EQ(in.ResolveKey(in.GetObj(8)->Value(), "/A")->Text().ToString(), "(end)");
    EXPECT_EQ(in.ResolveKey(in.GetObj(8)->Value(), "/B"), nullptr);
    PDValue direct("(x)");
    EXPECT_EQ(in.Resolve(&direct), &direct);
    in.ReleaseAll();
    EXPECT_EQ(in.PeekObj(6), nullptr);
}

TEST(ReaderCache, HoldersAndNewObjects) {
    PDFInput in;
    ASSERT_TRUE(Open(in, Document({"<< /Type /Pages /Kids [] >>"})));
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
    // New objects are numbered after the file's.
    EXPECT_EQ(in.InputObjectCount(), 3);
    PDInputObj* made = in.NewObj(std::make_unique<PDValue>("(made)"));
    EXPECT_EQ(made->Number(), 3);
    EXPECT_EQ(in.ObjectCount(), 4);
    EXPECT_EQ(in.GetObj(3), made);
    EXPECT_EQ(in.PeekObj(3), made);
    in.ReleaseAll(true);
    EXPECT_EQ(in.GetObj(3), made);
    in.ReleaseAll(false);
    EXPECT_EQ(in.GetObj(3), nullptr);
}

} // namespace
