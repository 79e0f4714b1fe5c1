// Field tree, names, widgets and the listing of a template.
#include "forms/form_document.h"
#include "forms/form_template.h"
#include "tests/support/memory_input.h"
#include "tests/support/pdf_builder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using testpdf::PdfBuilder;

// A one-page (or two-page) file whose catalog carries formEntries in /AcroForm, built from the
// given extra objects (numbered from 10 up by the caller).
std::string FormFile(const std::string& formEntries,
                     const std::vector<std::pair<int, std::string>>& objects,
                     const std::string& annots1 = "", const std::string& annots2 = "") {
    PdfBuilder b("1.4");
    std::string catalog = "<< /Type /Catalog /Pages 2 0 R";
    if (!formEntries.empty())
        catalog += " /AcroForm << " + formEntries + " >>";
    b.Add(1, catalog + " >>");
    b.Add(2, "<< /Type /Pages /Kids [3 0 R 4 0 R] /Count 2 >>");
    b.Add(3, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Annots [" + annots1 + "] >>");
    b.Add(4, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Annots [" + annots2 + "] >>");
    for (const auto& [num, body] : objects)
        b.Add(num, body);
    b.Trailer("/Root 1 0 R");
    return b.Build();
}

struct Opened {
    std::string bytes;
    PDFormTemplate doc;
    explicit Opened(std::string file) : bytes(std::move(file)) {
        EXPECT_TRUE(testpdf::OpenBytes(doc, bytes));
    }
};

// "name|value|page|x,y,w,h|font|size" for every widget of every field.
std::vector<std::string> Widgets(PDFormTemplate& doc) {
    std::vector<std::string> out;
    PDFieldInfo f;
    for (int n = 1; doc.GetField(n, f); ++n) {
        PDWidgetInfo w;
        for (int k = 1; doc.GetWidget(n, k, w); ++k) {
            char geo[128];
            std::snprintf(geo, sizeof geo, "%g,%g,%g,%g|%d|%g", static_cast<double>(w.x),
                          static_cast<double>(w.y), static_cast<double>(w.width),
                          static_cast<double>(w.height), w.fontIndex,
                          static_cast<double>(w.fontSize));
            out.push_back(f.name.ToString() + "|" + f.value.ToString() + "|" +
                          std::to_string(w.page) + "|" + geo);
        }
    }
    return out;
}

const char* kWidget = "/Type /Annot /Subtype /Widget";

} // namespace

TEST(FormTemplate, FieldTreesGiveTheirTerminalFieldsAndWidgets) {
    struct Case {
        const char* what;
        std::string form;
        std::vector<std::pair<int, std::string>> objects;
        std::string annots1, annots2;
        std::vector<std::string> expected;
    };
    const std::string w = kWidget;
    const Case cases[] = {
        {"kids with names are the fields, the parent is not listed",
         "/Fields [10 0 R]",
         {{10, "<< /T (addr) /Kids [11 0 R 12 0 R] >>"},
          {11,
           "<< /T (street) /Parent 10 0 R " + w + " /Rect [1 2 11 22] /DA (/Helv 12 Tf 0 g) >>"},
          {12, "<< /T (city) /Parent 10 0 R " + w + " /Rect [3 4 5 6] /V (Paris) >>"}},
         "11 0 R 12 0 R",
         "",
         {"addr.street||1|1,2,10,20|0|12", "addr.city|Paris|1|3,4,2,2|-1|0"}},
        {"bare widget kids make one field with several widgets",
         "/Fields [10 0 R] /DA (/Cour 9 Tf 0 g)",
         {{10, "<< /T (cb) /V /Off /Kids [11 0 R 12 0 R] >>"},
          {11, "<< /Parent 10 0 R " + w + " /Rect [0 0 10 10] >>"},
          {12, "<< /Parent 10 0 R " + w + " /Rect [20 0 30 10] >>"}},
         "11 0 R",
         "12 0 R",
         {"cb|Off|1|0,0,10,10|4|9", "cb|Off|2|20,0,10,10|4|9"}},
        {"a parent without a name adds nothing to the name",
         "/Fields [10 0 R]",
         {{10, "<< /Kids [11 0 R] /DA (/TiRo 7.5 Tf 0 g) >>"},
          {11, "<< /T (solo) /Parent 10 0 R " + w + " /Rect [10 10 0 0] >>"}},
         "",
         "11 0 R",
         {"solo||2|10,10,-10,-10|8|7.5"}},
        {"an unknown font name gives no font index, and the size is read at a fixed place",
         "/Fields [10 0 R]",
         {{10, "<< /T (f) " + w + " /DA (/F1 10 Tf 0 g) /Rect [0 0 1 1] >>"}},
         "10 0 R",
         "",
         {"f||1|0,0,1,1|-1|0"}},
        {"a field that is not a widget is not listed",
         "/Fields [10 0 R 11 0 R]",
         {{10, "<< /T (hidden) >>"}, {11, "<< /T (shown) " + w + " >>"}},
         "11 0 R",
         "",
         {"shown||1|0,0,0,0|-1|0"}},
        {"no form at all", "", {}, "", "", {}},
        {"a form without fields", "/DA (/Helv 0 Tf 0 g)", {}, "", "", {}},
        {"a kid listing its own parent ends the walk",
         "/Fields [10 0 R]",
         {{10, "<< /T (loop) /Kids [11 0 R] >>"},
          {11, "<< /T (kid) /Parent 10 0 R /Kids [10 0 R] " + w + " >>"}},
         "11 0 R",
         "",
         {}},
        {"names mix text encodings part by part",
         "/Fields [10 0 R]",
         {{10, "<< /T <FEFF00E9> /Kids [11 0 R] >>"},
          {11, "<< /T (caf\\351) /Parent 10 0 R " + w + " /V <FEFF263A> >>"}},
         "11 0 R",
         "",
         {"\xC3\xA9.caf\xC3\xA9|\xE2\x98\xBA|1|0,0,0,0|-1|0"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Opened o(FormFile(c.form, c.objects, c.annots1, c.annots2));
        std::vector<std::string> got = Widgets(o.doc);
        if (std::string(c.what).find("ends the walk") != std::string::npos) {
            EXPECT_LE(got.size(), 1u); // any finite answer will do; what matters is that it ends
            continue;
        }
        EXPECT_EQ(got, c.expected);
    }
}

TEST(FormTemplate, FieldTextsAndFlags) {
    Opened o(FormFile("/Fields [10 0 R]",
                      {{10, std::string("<< /T (a\\(b\\)) /TU (Tip) /Ff 4096 /F 4 /V (x\\ny) ") +
                                kWidget + " >>"}},
                      "10 0 R"));
    PDFieldInfo f;
    ASSERT_TRUE(o.doc.GetField(1, f));
    EXPECT_EQ(f.name.ToString(), "a(b)");
    EXPECT_EQ(f.value.ToString(), "x\ny");
    EXPECT_EQ(f.tooltip.ToString(), "Tip");
    EXPECT_EQ(f.fieldFlags, 4096);
    EXPECT_EQ(f.annotationFlags, 4);
    EXPECT_FALSE(o.doc.GetField(2, f));
    EXPECT_TRUE(f.name.IsEmpty());
}

TEST(FormTemplate, ListingAlignsTheColonWhateverTheNameLength) {
    Opened o(FormFile(
        "/Fields [10 0 R 11 0 R]",
        {{10, std::string("<< /T (name) /V (Ada) ") + kWidget + " /Rect [180 700 500 724] >>"},
         {11, std::string("<< /T (a.very.long.field.name.that.overflows) ") + kWidget +
                  " /Rect [0.5 1.25 2.125 3] >>"}},
        "10 0 R 11 0 R"));
    // Position texts "1 [180,700/320,24]" (18 bytes) and "1 [0.5,1.25/1.625,1.75]" (23 bytes):
    // the name fills 40 - 18 = 22 and 40 - 23 = 17 columns.
    EXPECT_EQ(o.doc.ListFields(),
              "name                   1 [180,700/320,24] : Ada\n"
              "a.very.long.field.name.that.overflows 1 [0.5,1.25/1.625,1.75] : \n");
}

TEST(FormTemplate, FindFieldSearchesTopLevelAndDirectKids) {
    Opened o(FormFile("/Fields [10 0 R 13 0 R]",
                      {{10, "<< /T (top) /Kids [11 0 R] >>"},
                       {11, "<< /T (mid) /Parent 10 0 R /Kids [12 0 R] >>"},
                       {12, std::string("<< /T (deep) /Parent 11 0 R ") + kWidget + " >>"},
                       {13, std::string("<< /T (flat) ") + kWidget + " >>"}}));
    EXPECT_NE(o.doc.FindField(PDStr("flat")), nullptr);
    EXPECT_NE(o.doc.FindField(PDStr("top.mid")), nullptr);
    EXPECT_EQ(o.doc.FindField(PDStr("top.mid.deep")), nullptr); // only one level of kids
    EXPECT_EQ(o.doc.FindField(PDStr("Flat")), nullptr);         // case matters
}

// A template that changes /V of every field it names while its first page is imported, as the
// filling of a page does.
class FillingTemplate : public PDFormTemplate {
public:
    std::vector<int32_t> fields;
    bool AcceptPage(PDInputObj& page) override {
        for (int32_t n : fields) {
            PDInputObj* field = GetObj(n);
            if (field != nullptr && page.Number() == 3) {
                field->Value()->Dict()->Set("/V", std::make_unique<PDValue>("(new)"));
                KeepEdited(n);
            }
        }
        return PDFormTemplate::AcceptPage(page);
    }
};

// What the page pass changes reaches the output: a parent field stored before the pages, a
// field that is its own widget, and a kid widget met on the page.
TEST(FormTemplate, ChangesMadeWhilePagesAreImportedAreWritten) {
    std::string file = FormFile(
        "/Fields [10 0 R 12 0 R]",
        {{10, "<< /T (parent) /FT /Tx /V (old) /Kids [11 0 R] >>"},
         {11, std::string("<< ") + kWidget + " /Parent 10 0 R /Rect [0 0 10 10] /P 3 0 R >>"},
         {12, std::string("<< ") + kWidget + " /T (own) /FT /Tx /V (old) /Rect [0 0 9 9] >>"}},
        "11 0 R 12 0 R");
    FillingTemplate form;
    form.fields = {10, 12};
    ASSERT_TRUE(testpdf::OpenBytes(form, file));
    PDFormDocument out;
    out.CreateInMemory();
    ASSERT_TRUE(out.AttachTemplate(form));
    ASSERT_TRUE(out.ImportPages());
    out.WriteCatalog();
    Opened written(testpdf::Finish(out));
    EXPECT_EQ(Widgets(written.doc),
              (std::vector<std::string>{"parent|new|1|0,0,10,10|0|0", "own|new|1|0,0,9,9|0|0"}));
}
