// Page objects: inherited attributes in copies, and the resource and /Contents entries that the
// form work adds to pages.
#include "pdf/pdkeys.h"
#include "structure/pdpage.h"
#include "tests/structure/structure_fixture.h"

#include <tuple>

using namespace teststructure;

namespace {

// Root 2 > node 3 > pages 4, 5; root 2 > page 6. The nearest node's value counts, and the
// copies, regrouped under new nodes, carry it themselves.
TEST(Pages, CopiesCarryInheritedAttributes) {
    Reread back(CopyPages(
        Document({{2, "<< /Type /Pages /Kids [3 0 R 6 0 R] /Count 3 /MediaBox [0 0 100 100] "
                      "/Rotate 90 /Resources 9 0 R >>"},
                  {3, "<< /Type /Pages /Parent 2 0 R /Kids [4 0 R 5 0 R] /Count 2 /Rotate 180 >>"},
                  {4, "<< /Type /Page /Parent 3 0 R >>"},
                  {5, "<< /Type /Page /Parent 3 0 R /MediaBox [0 0 50 50] /Rotate 0 >>"},
                  {6, "<< /Type /Page /Parent 2 0 R >>"},
                  {9, "<< /ProcSet [/PDF] >>"}}),
        1, 3));
    ASSERT_EQ(back.pages.size(), 3u);
    const std::tuple<int, int> cases[] = {{100, 180}, {50, 0}, {100, 90}};
    for (size_t i = 0; i < 3; ++i) {
        SCOPED_TRACE(i);
        const PDValue* page = back.Page(i);
        EXPECT_EQ(back.At(page, {"/MediaBox", "2"})->Number(), std::get<0>(cases[i]));
        EXPECT_EQ(page->Get("/Rotate")->Number(), std::get<1>(cases[i]));
        EXPECT_EQ(back.At(page, {"/Resources", "/ProcSet", "0"})->Text(), "/PDF");
    }
}

// AddResource: a name already there keeps its first object; an array category takes names only;
// a category of another kind is left alone. AddEntry: the new entry joins /Contents at either
// end, whatever its shape (an indirect array takes it in place); an entry that leads nowhere or
// to something that is not a stream is refused.
TEST(Pages, AddResourceAndAddEntryShapes) {
    PDFInput in;
    Open(in, Document({{2, "<< /Type /Pages /Kids [3 0 R] /Count 1 >>"},
                       {3, "<< /Type /Page /Parent 2 0 R /Resources << /Font << "
                           ">> /ProcSet [/PDF] /Pattern 4 >> >>"}}));
    PDInputObj& page = *in.GetObj(3);
    const std::tuple<const char*, const char*, int32_t> resources[] = {
        {"/Font", "/F1", 12},    {"/Font", "/F1", 13},     {"/Font", "/F2", 0},
        {"/ProcSet", "/PDF", 0}, {"/ProcSet", "/Text", 5}, {"/Pattern", "/P0", 5},
        {"/Shading", "/Sh0", 5},
    };
    for (const auto& [category, name, n] : resources)
        in.AddResource(page, category, name, n);
    const PDValue* added = page.Value()->Get("/Resources");
    EXPECT_EQ(added->Get("/Font")->Get("/F1")->Number(), 12);
    EXPECT_EQ(added->Get("/Font")->Get("/F2"), nullptr);
    EXPECT_EQ(added->Get("/ProcSet")->ElementCount(), 1);
    EXPECT_EQ(added->Get("/Pattern")->Kind(), kPDInteger);
    EXPECT_EQ(added->Get("/Shading")->Get("/Sh0")->Number(), 5);

    const std::tuple<const char*, bool, const char*> entries[] = {
        {"", true, "[50]"},
        {"/Contents 4 0 R", true, "[4 50]"},
        {"/Contents [4 0 R]", false, "[50 4]"},
        {"/Contents 5 0 R", false, "[50 4]"},
        {"/Contents 9 0 R", true, nullptr},
        {"/Contents 7", true, nullptr},
    };
    for (const auto& [entry, atEnd, expected] : entries) {
        SCOPED_TRACE(entry);
        PDFInput doc;
        Open(doc, Document({{2, std::string("<< /Type /Page ") + entry + " >>"},
                            {4, "stream:q Q"},
                            {5, "[4 0 R]"}}));
        EXPECT_EQ(doc.GetObj(2)->AddEntry(pdkey::Contents, 50, atEnd), expected != nullptr);
        const PDValue* contents = doc.ResolveKey(doc.GetObj(2)->Value(), "/Contents");
        std::string numbers;
        for (const PDValue* e = contents ? contents->First() : nullptr; e; e = e->Next())
            numbers += (numbers.empty() ? "[" : " ") + std::to_string(e->Number());
        EXPECT_EQ(numbers.empty() ? "" : numbers + "]", expected != nullptr ? expected : "");
    }
}

} // namespace
