// The output's stores: fields (StoreField with its merges) and fonts with widths (StoreFont and
// the font writer). How a transfer routes widgets, fields and fonts to them shows in the corpus
// copies, which readers compare field by field and page image by page image.
#include "pdf/pdkeys.h"
#include "tests/structure/structure_fixture.h"
#include "tests/support/diag_capture.h"

using namespace teststructure;

namespace {

constexpr int32_t kBias = PDFile::kOutputBias;

// Field 10 of each input is copied into one output, A first: two terminal fields of one name
// get a new parent, which takes the field's type, flags and actions; no widget keeps the actions.
TEST(FieldStore, SameNamedFieldsOfTwoInputsMerge) {
    const char* fields[] = {"<< /T (x) /FT /Tx /Ff 4096 /Subtype /Widget /AA << /K << >> >> >>",
                            "<< /T (x) /FT /Tx /Subtype /Widget /Rect [0 0 1 1] >>"};
    PDFInput inputs[2];
    MemoryOutput out;
    DiagCapture diag;
    for (int i = 0; i < 2; ++i) {
        Open(inputs[i], Document({{2, "<< /Type /Pages /Kids [] /Count 0 >>"}, {10, fields[i]}}));
        inputs[i].BindOutput(out);
        ASSERT_TRUE(inputs[i].CopyObject(10));
    }
    EXPECT_EQ(diag.Text(), "");
    std::vector<int32_t> top = out.Fields().TopLevelNumbers();
    ASSERT_EQ(top.size(), 1u);
    EXPECT_EQ(out.Fields().ChildCount(), 2);
    std::unique_ptr<PDValue> field = out.Fields().StoredField(top[0], out);
    EXPECT_EQ(field->Get("/FT")->Text(), "/Tx");
    EXPECT_NE(field->Get("/Ff"), nullptr);
    EXPECT_NE(field->Get("/AA"), nullptr);
    const PDValue* kids = field->Get("/Kids");
    ASSERT_EQ(kids != nullptr ? kids->ElementCount() : -1, 2);
    for (const PDValue* k = kids->First(); k; k = k->Next()) {
        std::unique_ptr<PDValue> stored = out.Fields().StoredField(k->Number(), out);
        ASSERT_NE(stored, nullptr);
        EXPECT_EQ(stored->Get("/T"), nullptr);
        EXPECT_EQ(stored->Get("/AA"), nullptr);
        EXPECT_EQ(stored->Get("/Parent")->Number(), top[0]);
    }
}

std::unique_ptr<PDValue> Font(const std::string& base, const std::string& widths, int first) {
    return testpdf::ParseText(
        "<< /Type /Font /BaseFont " + base + " /FirstChar " + std::to_string(first) +
        " /LastChar " + std::to_string(first + testpdf::ParseText(widths)->ElementCount() - 1) +
        " /Widths " + widths + " >>");
}

TEST(FontStore, WriterFillsWidthsAndRenamesNarrowerFonts) {
    MemoryOutput out;
    int32_t narrow = out.NewObjectNumber(); // file number 1
    int32_t wide = out.NewObjectNumber();
    out.Fonts().SetRenaming(false);
    out.Fonts().StoreFont(Font("/ABCDEF+Helvetica", "[0 500 0]", 32), narrow);
    out.Fonts().StoreFont(Font("/Helvetica", "[250 0 0 600]", 32), wide);
    Reread back(out.Finish());
    ASSERT_TRUE(back.ok);
    struct Case {
        int32_t number;
        const char* baseFont;
        std::vector<int> widths;
    } cases[] = {{narrow, "/A1+Helvetica", {250, 500, 0}},
                 {wide, "/Helvetica", {250, 500, 0, 600}}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.baseFont);
        const PDValue* font = back.in.GetObj(c.number % kBias)->Value();
        EXPECT_EQ(font->Get("/BaseFont")->Text(), c.baseFont);
        const PDValue* widths = font->Get("/Widths");
        ASSERT_EQ(widths->ElementCount(), static_cast<int>(c.widths.size()));
        for (size_t i = 0; i < c.widths.size(); ++i)
            EXPECT_EQ(widths->Element(static_cast<int>(i))->Number(), c.widths[i]);
    }
}

} // namespace
