// Page objects: finding pages, inherited attributes, resources, /Annots and /Contents entries,
// and removing pages from the tree.
#include "pdf/pdkeys.h"
#include "structure/pdpage.h"
#include "tests/structure/structure_fixture.h"
#include "tests/support/diag_capture.h"

#include <tuple>

using namespace teststructure;

namespace {

// Root 2 > node 3 > pages 4, 5; root 2 > page 6.
const Objects kTree = {
    {2, "<< /Type /Pages /Kids [3 0 R 6 0 R] /Count 3 /MediaBox [0 0 100 100] /Rotate 90 "
        "/Resources 9 0 R >>"},
    {3, "<< /Type /Pages /Parent 2 0 R /Kids [4 0 R 5 0 R] /Count 2 /Rotate 180 >>"},
    {4, "<< /Type /Page /Parent 3 0 R /Contents 7 0 R >>"},
    {5, "<< /Type /Page /Parent 3 0 R /MediaBox [0 0 50 50] /Rotate 0 >>"},
    {6, "<< /Type /Page /Parent 2 0 R >>"},
    {7, "[8 0 R]"},
    {8, "stream:q Q"},
    {9, "<< /ProcSet [/PDF] >>"},
};

// The nearest node's value counts, both for look-ups and in the copies, which carry it themselves.
TEST(Pages, InheritedAttributes) {
    PDFInput in;
    Open(in, Document(kTree));
    Reread back(CopyPages(Document(kTree), 1, 3));
    ASSERT_EQ(back.pages.size(), 3u);
    struct Case {
        int page;
        int width;
        int rotate;
    } cases[] = {{0, 100, 180}, {1, 50, 0}, {2, 100, 90}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.page);
        EXPECT_EQ(in.LookupInherited(in.GetObj(4 + c.page)->Value(), "/Rotate")->Number(),
                  c.rotate);
        const PDValue* page = back.Page(static_cast<size_t>(c.page));
        EXPECT_EQ(back.At(page, {"/MediaBox", "2"})->Number(), c.width);
        EXPECT_EQ(page->Get("/Rotate")->Number(), c.rotate);
        EXPECT_EQ(back.At(page, {"/Resources", "/ProcSet", "0"})->Text(), "/PDF");
        EXPECT_EQ(page->Get("/Count"), nullptr);
    }
    EXPECT_EQ(in.LookupInherited(in.GetObj(4)->Value(), "/CropBox"), nullptr);
    EXPECT_EQ(back.Page(0)->Get("/Contents")->Kind(), kPDArray);
}

// Pages 3 and 4 share resources object 5; the hook adds to it for each page.
class AddingInput : public PDFInput {
public:
    bool AcceptPage(PDInputObj& page) override {
        AddResource(page, "/Font", "/Helv", 6);
        AddResource(page, pdkey::ProcSet, "/Text", 0);
        return true;
    }
};

TEST(Pages, AddResourceOnSharedResourcesIsWrittenOnce) {
    DiagCapture diag;
    Reread back(CopyPages<AddingInput>(
        Document({{2, "<< /Type /Pages /Kids [3 0 R 4 0 R] /Count 2 >>"},
                  {3, "<< /Type /Page /Parent 2 0 R /Resources 5 0 R >>"},
                  {4, "<< /Type /Page /Parent 2 0 R /Resources 5 0 R >>"},
                  {5, "<< /Font 7 0 R /ProcSet [/PDF] >>"},
                  {6, "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>"},
                  {7, "<< /F1 6 0 R >>"}}),
        1, 2));
    ASSERT_EQ(back.pages.size(), 2u);
    EXPECT_EQ(back.At(back.Page(0), {"/Resources"})->Number(),
              back.At(back.Page(1), {"/Resources"})->Number());
    EXPECT_EQ(back.At(back.Page(1), {"/Resources", "/Font", "/Helv", "/BaseFont"})->Text(),
              "/Helvetica");
    EXPECT_EQ(back.At(back.Page(1), {"/Resources", "/ProcSet"})->ElementCount(), 2);
    EXPECT_EQ(diag.Text(), "");
}

// A name already there keeps its first object; an array category takes names only; a category of
// another kind is left alone.
TEST(Pages, AddResourceRefusals) {
    PDFInput in;
    Open(in, Document({{2, "<< /Type /Pages /Kids [3 0 R] /Count 1 >>"},
                       {3, "<< /Type /Page /Parent 2 0 R /Resources << /Font << "
                           ">> /ProcSet [/PDF] /Pattern 4 >> >>"}}));
    PDInputObj& page = *in.GetObj(3);
    const std::tuple<const char*, const char*, int32_t> cases[] = {
        {"/Font", "/F1", 12},    {"/Font", "/F1", 13},     {"/Font", "/F2", 0},
        {"/ProcSet", "/PDF", 0}, {"/ProcSet", "/Text", 5}, {"/Pattern", "/P0", 5},
        {"/Shading", "/Sh0", 5},
    };
    for (const auto& [category, name, n] : cases)
        in.AddResource(page, category, name, n);
    const PDValue* resources = page.Value()->Get("/Resources");
    EXPECT_EQ(resources->Get("/Font")->Get("/F1")->Number(), 12);
    EXPECT_EQ(resources->Get("/Font")->Get("/F2"), nullptr);
    EXPECT_EQ(resources->Get("/ProcSet")->ElementCount(), 1);
    EXPECT_EQ(resources->Get("/Pattern")->Kind(), kPDInteger);
    EXPECT_EQ(resources->Get("/Shading")->Get("/Sh0")->Number(), 5);
}

// The new entry joins /Contents at either end, whatever its shape; an entry that leads nowhere or
// to something that is not a stream is refused.
TEST(Pages, AddEntryShapes) {
    const std::tuple<const char*, bool, const char*> cases[] = {
        {"", true, "[50]"},
        {"/Contents 4 0 R", true, "[4 50]"},
        {"/Contents 4 0 R", false, "[50 4]"},
        {"/Contents [4 0 R]", false, "[50 4]"},
        {"/Contents 5 0 R", false, ""}, // object 5's array takes it, see below
        {"/Contents 9 0 R", true, nullptr},
        {"/Contents 7", true, nullptr},
    };
    for (const auto& [entry, atEnd, expected] : cases) {
        SCOPED_TRACE(entry);
        PDFInput in;
        Open(in, Document({{2, std::string("<< /Type /Page ") + entry + " >>"},
                           {4, "stream:q Q"},
                           {5, "[4 0 R]"}}));
        PDInputObj& page = *in.GetObj(2);
        EXPECT_EQ(page.AddEntry(pdkey::Contents, 50, atEnd), expected != nullptr);
        std::string numbers;
        for (const PDValue* e = page.Value()->Get("/Contents")->First(); e; e = e->Next())
            numbers += (numbers.empty() ? "[" : " ") + std::to_string(e->Number());
        EXPECT_EQ(numbers.empty() ? "" : numbers + "]", expected != nullptr ? expected : "");
    }
    PDFInput in;
    Open(in, Document({{2, "<< /Type /Page /Contents 5 0 R >>"}, {5, "[4 0 R]"}}));
    in.GetObj(2)->AddEntry(pdkey::Contents, 50, false);
    EXPECT_EQ(in.GetObj(5)->Value()->Element(0)->Number(), 50);
}

TEST(Pages, RemoveFromPageTree) {
    PDFInput in;
    Open(in, Document(kTree));
    DiagCapture diag;
    // Both pages of node 3 go: the emptied node leaves the root.
    EXPECT_EQ(in.RemoveFromPageTree(in.GetObj(3), 4, 1), 2);
    EXPECT_EQ(in.RemoveFromPageTree(in.GetObj(3), 5, 1), 1);
    const PDValue* rootKids = in.GetObj(2)->Value()->Get("/Kids");
    ASSERT_EQ(rootKids->ElementCount(), 1);
    EXPECT_EQ(rootKids->Element(0)->Number(), 6);
    EXPECT_EQ(diag.Text(), "");
    EXPECT_EQ(in.RemoveFromPageTree(in.GetObj(2), 6, 1), 0);
    EXPECT_EQ(diag.Text(), "top /Pages to be removed\n");
    EXPECT_NE(in.GetObj(2), nullptr);
}

TEST(Pages, AnnotationCursorAndRights) {
    PDFInput in;
    Open(in, Document({{2, "<< /Type /Page /Annots 3 0 R >>"},
                       {3, "[4 0 R 5 0 R]"},
                       {6, "<< /Rights << >> /HideToolbar true >>"}},
                      "/ViewerPreferences 6 0 R"));
    PDAnnotCursor cursor(in, *in.GetObj(2)->Value());
    EXPECT_EQ(cursor.Next()->Number(), 4);
    EXPECT_EQ(cursor.Next()->Number(), 5);
    EXPECT_EQ(cursor.Next(), nullptr);

    auto page = testpdf::ParseText("<< /Annots 7 >>");
    EXPECT_EQ(PDAnnotCursor(in, *page).Next(), nullptr);

    EXPECT_TRUE(in.RemoveRights());
    EXPECT_FALSE(in.RemoveRights());
    EXPECT_NE(in.GetObj(6)->Value()->Get("/HideToolbar"), nullptr);
}

} // namespace
