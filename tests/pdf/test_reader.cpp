// Opening files from memory images: header, startxref, classic sections, trailer and loading.
#include "structure/pdinput.h"

#include "pdf/pddecode.h"
#include "streams/pdfilters.h"

#include "tests/support/diag_capture.h"
#include "tests/support/memory_input.h"
#include "tests/support/pdf_builder.h"
#include "tests/support/run_tool.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

using testpdf::PdfBuilder;
using testpdf::XrefKind;

namespace {

using testpdf::OpenBytes;

// Catalog 1, page-tree root 2, one page 3.
void AddOnePageDocument(PdfBuilder& b) {
    b.Add(1, "<< /Type /Catalog /Pages 2 0 R >>");
    b.Add(2, "<< /Type /Pages /Kids [3 0 R] /Count 1 >>");
    b.Add(3, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] >>");
    b.Trailer("/Root 1 0 R");
}

std::string TextOf(PDFInput& in, int32_t n) {
    PDInputObj* obj = in.GetObj(n);
    return obj != nullptr && obj->Value() != nullptr ? obj->Value()->Text().ToString() : "<null>";
}

void ReplaceOnce(std::string& s, const std::string& from, const std::string& to) {
    size_t at = s.find(from);
    ASSERT_NE(at, std::string::npos) << from;
    s.replace(at, from.size(), to);
}

void SwapTableEntries(std::string& s) { // entries of objects 2 and 3
    size_t base = s.find("xref\n0 4\n") + 49;
    std::string e2 = s.substr(base, 20);
    s.replace(base, 20, s.substr(base + 20, 20));
    s.replace(base + 20, 20, e2);
}

using Edit = std::function<void(std::string&)>;
Edit Prepend(size_t n) {
    return [n](std::string& s) { s.insert(0, std::string(n, 'J')); };
}
Edit Append(size_t n) {
    return [n](std::string& s) { s += "%" + std::string(n, 'x') + "\n"; };
}
Edit Replace(std::string from, std::string to) {
    return [from, to](std::string& s) { ReplaceOnce(s, from, to); };
}
Edit InTable(std::string from, std::string to) { // every occurrence in the table
    return [from, to](std::string& s) {
        int replaced = 0;
        for (size_t at = s.find("\nxref\n"); (at = s.find(from, at)) != s.npos; ++replaced)
            s.replace(at, from.size(), to);
        ASSERT_GE(replaced, 3) << from; // never silently a no-op
    };
}
Edit Startxref(std::string value) {
    return [value](std::string& s) {
        s.replace(s.rfind("startxref") + 10, s.npos, value + "\n%%EOF\n");
    };
}
Edit Both(Edit first, Edit second) {
    return [first, second](std::string& s) { first(s), second(s); };
}
const std::string kHuge = "9223372036854775807";

// Damaged one-page files, each named after its defect, and what opening them gives.
// reconstructed: 0 no, 1 yes, -1 either; onePage: the page list is {3}, else empty.
TEST(ReaderOpen, DefectTable) {
    struct Case {
        const char* name;
        Edit damage;
        bool opens;
        int error;
        int reconstructed;
        bool onePage;
        const char* diag; // expected within the reports
    } cases[] = {
        // clang-format off
        {"intact", Prepend(0), true, 0, 0, true, ""},
        {"junk-999", Prepend(999), true, 0, 0, true, ""},
        {"junk-1000", Prepend(1000), false, pderr::kNoHeader, 0, false, ""},
        {"startxref-2040-from-end", Append(2040), true, 0, 0, true, ""},
        {"startxref-20000-from-end", Append(20000), true, 0, 0, true, ""},
        {"startxref-missing", Replace("startxref", "startxrex"), true, pderr::kNoStartxref, 1, true,
         "error scanning xref position ((memory))\n"},
        {"startxref-zero", Startxref("0"), true, pderr::kNoStartxref, 1, true,
         "error scanning xref position"},
        // Offsets at the edge of 64 bits, behind junk that shifts every offset, are unusable.
        {"startxref-huge", Both(Startxref(kHuge), Prepend(5)), true, pderr::kNoStartxref, 1, true,
         ""},
        {"prev-huge", Both(Replace("/Root", "/Prev " + kHuge + " /Root"), Prepend(5)), true, 0, 1,
         true, ""},
        {"xrefstm-huge", Both(Replace("/Root", "/XRefStm " + kHuge + " /Root"), Prepend(5)), true,
         0, 0, true, ""},
        {"xref-keyword-missing", Replace("xref\n0 4", "    \n0 4"), true, 0, 1, true,
         "expect 'xref'\n"},
        {"xref-cr-only", InTable("\r\n", "\r "), true, 0, 0, true, ""},
        {"xref-comment-line", Replace("xref\n", "xref\n% made by hand\n"), true, 0, 0, true, ""},
        {"xref-short-entries", InTable(" 00000 n\r\n", " 0 n\n     "), true, 0, 0, true, ""},
        {"xref-type-byte-bad", Replace(" n\r\n", " q\r\n"), true, pderr::kTrailer, 1, true, ""},
        {"trailer-not-a-dictionary", Both(Replace("trailer\n<<", "trailer\n[["),
                                          Replace(">>\nstartxref", "]]\nstartxref")),
         true, pderr::kTrailer, 1, true, "could not scan trailer information ((memory))\n"},
        {"truncated-after-header", [](std::string& s) { s.resize(20); }, false, pderr::kNoStartxref,
         1, false, "error scanning xref position"},
        {"catalog-missing", Replace("/Root 1 0 R", "/Root 9 0 R"), false, pderr::kCatalog, 1, false,
         "cannot read catalog ((memory))\n"},
        // The page objects of the file stand in for a page tree that cannot be found.
        {"pages-not-a-reference", Replace("/Pages 2 0 R", "/Pages 2   "), true, 0, 0, true,
         "pages root not found\n"},
        // Offsets that do not lead to their objects are repaired by scanning.
        {"offsets-one-byte-short", Replace("1 0 obj", " 1 0 obj"), true, 0, -1, true, ""},
        {"offsets-one-byte-long", Replace("\xD3\n1 0 obj", "\n1 0 obj"), true, 0, -1, true, ""},
        {"offsets-swapped", SwapTableEntries, true, 0, -1, true, ""},
        // clang-format on
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        PdfBuilder b;
        AddOnePageDocument(b);
        std::string pdf = b.Build();
        c.damage(pdf);
        DiagCapture diag;
        PDFInput in;
        EXPECT_EQ(OpenBytes(in, pdf), c.opens);
        EXPECT_EQ(in.ErrorCode(), c.error);
        EXPECT_NE(diag.Text().find(c.diag), std::string::npos) << diag.Text();
        if (!c.opens)
            continue;
        if (c.reconstructed >= 0) {
            EXPECT_EQ(in.WasReconstructed(), c.reconstructed == 1);
        }
        EXPECT_EQ(in.HeaderOffset(), static_cast<int64_t>(pdf.find("%PDF-")));
        EXPECT_STREQ(in.Version(), "1.4");
        EXPECT_EQ(in.RootNumber(), 1);
        EXPECT_EQ(in.PageNumbers(), c.onePage ? std::vector<int32_t>{3} : std::vector<int32_t>{});
        if (c.onePage) {
            ASSERT_NE(in.GetObj(3), nullptr);
            EXPECT_EQ(in.GetObj(3)->Kind(), kPDObjPage);
        }
    }
}

// Object 4 leads through 5 to 6, 7 names itself: references resolve to the end of a chain, and
// a loop or a number the file does not have resolves to nothing.
TEST(ReaderCache, Resolve) {
    PdfBuilder b;
    AddOnePageDocument(b);
    b.Add(4, "5 0 R").Add(5, "6 0 R").Add(6, "(end)").Add(7, "7 0 R").Add(8, "<< /A 4 0 R >>");
    PDFInput in;
    ASSERT_TRUE(OpenBytes(in, b.Build()));
    const std::pair<int32_t, const char*> cases[] = {
        {0, "<null>"},
        {-1, "<null>"},
        {6, "(end)"},
        {4, "(end)"},
        {7, "<null>"},
        {9, "<null>"},
        {PDFInput::kOutputBias + 6, "<null>"},
    };
    for (const auto& [n, resolved] : cases) {
        auto ref = PDValue::MakeReference(n);
        const PDValue* v = in.Resolve(ref.get());
        EXPECT_EQ(v != nullptr ? v->Text().ToString() : "<null>", resolved) << n;
    }
    EXPECT_EQ(in.ResolveKey(in.GetObj(8)->Value(), "/A")->Text().ToString(), "(end)");
    PDValue direct("(x)");
    EXPECT_EQ(in.Resolve(&direct), &direct);
}

// Two sections: object 4 redefined by the update, 5 only in the older one. Each section is read
// once, even when a /Prev points back and ends the chain.
TEST(ReaderSections, UpdateChains) {
    const struct {
        XrefKind kind;
        bool loop, rootInUpdate;
    } cases[] = {{XrefKind::kTable, false, true},
                 {XrefKind::kTable, true, true},
                 {XrefKind::kStream, false, true},
                 {XrefKind::kStreamFlate, true, true},
                 {XrefKind::kStream, false, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << static_cast<int>(c.kind) << c.loop << c.rootInUpdate);
        PdfBuilder b("1.5");
        b.Xref(c.kind).Add(2, "<< /Type /Pages /Kids [] >>").Add(4, "(old)").Add(5, "(only old)");
        b.Trailer(c.loop ? "/Root 1 0 R /Prev 1111111111" : "/Root 1 0 R");
        b.NewSection().Xref(c.kind).Add(1, "<< /Type /Catalog /Pages 2 0 R >>").Add(4, "(new)");
        b.Trailer(c.rootInUpdate ? "/Root 1 0 R" : "");
        std::string pdf = b.Build();
        std::string newest = std::to_string(b.StartXref());
        if (c.loop) // the oldest section names the newest as its predecessor
            ReplaceOnce(pdf, "1111111111", std::string(10 - newest.size(), '0') + newest);
        PDFInput in;
        ASSERT_TRUE(OpenBytes(in, pdf));
        EXPECT_FALSE(in.WasReconstructed());
        EXPECT_EQ(in.RootNumber(), 1);
        EXPECT_EQ(TextOf(in, 4), "(new)");
        EXPECT_EQ(TextOf(in, 5), "(only old)");
        EXPECT_EQ(TextOf(in, 77), "<null>");
        EXPECT_EQ(in.SectionsRead(), 2);
    }
}

TEST(ReaderSections, OldVersionPointingAtAnObject) {
    for (const char* version : {"1.4", "1.5"}) {
        SCOPED_TRACE(version);
        PdfBuilder b(version);
        AddOnePageDocument(b);
        b.Xref(XrefKind::kNone).StartXrefObject(3);
        DiagCapture diag;
        PDFInput in;
        // No trailer anywhere: the catalog is found among the objects.
        EXPECT_TRUE(OpenBytes(in, b.Build()));
        EXPECT_TRUE(in.WasReconstructed());
        bool old = std::string(version) == "1.4";
        EXPECT_EQ(diag.Text().find("expect 'xref'\nfound ") != std::string::npos, old)
            << diag.Text();
    }
}

TEST(ReaderSections, HybridTableEntryWins) {
    PdfBuilder b("1.5");
    AddOnePageDocument(b);
    b.Add(4, "(file)").AddPacked(4, "(packed)").AddPacked(5, "(packed five)");
    PDFInput in;
    ASSERT_TRUE(OpenBytes(in, b.Build()));
    EXPECT_EQ(TextOf(in, 4), "(file)");
    EXPECT_EQ(TextOf(in, 5), "(packed five)");
}

// A one-page file whose page draws content, in the hand-made shapes of other writers.
std::string ContentFile(const std::string& header, const std::string& afterStream) {
    PdfBuilder b("1.4");
    AddOnePageDocument(b);
    b.Add(3, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Contents 4 0 R >>");
    b.Add(4, "<< /Length 10 >>\nstream" + afterStream + "0 0 m S Q \nendstream");
    std::string pdf = b.Build();
    ReplaceOnce(pdf, "%PDF-1.4", header);
    return pdf;
}

// qpdf's RC4 encryption of a content file with the empty user password, without the /Length
// entry that revisions 2 and 3 may leave out.
std::string EncryptedWithoutLength(int bits) {
    TempDir dir;
    std::string in = dir.Path() + "/in.pdf", out = dir.Path() + "/out.pdf";
    WriteFile(in, ContentFile("%PDF-1.4", "\n"));
    Shell("qpdf --allow-weak-crypto --encrypt '' owner " + std::to_string(bits) +
          (bits > 40 ? " --use-aes=n" : "") + " -- " + in + " " + out + " 2>/dev/null");
    std::string pdf = ReadFile(out);
    if (!pdf.empty())
        ReplaceOnce(pdf, "/Length " + std::to_string(bits) + " ", "");
    return pdf;
}

} // namespace

// Shapes that other readers open: each opens, finds its page and reads the content unharmed.
TEST(ReaderOpen, ShapesOtherReadersOpen) {
    const bool qpdf = Have("qpdf --version");
    struct Case {
        const char* name;
        std::function<std::string()> make;
    } cases[] = {
        {"header without dash", [] { return ContentFile("%PDF1.4", "\n"); }},
        {"header with another byte", [] { return ContentFile("%PDF*1.4", "\n"); }},
        {"blanks before the line end", [] { return ContentFile("%PDF-1.4", "  \t \r\n"); }},
        {"prev names no number",
         [] {
             PdfBuilder b("1.4");
             AddOnePageDocument(b);
             b.Add(4, "<< /Length 10 >>\nstream\n0 0 m S Q \nendstream");
             b.NewSection()
                 .Add(3, "<< /Type /Page /Parent 2 0 R /Contents 4 0 R >>")
                 .Trailer("/Root 1 0 R");
             std::string pdf = b.Build();
             ReplaceOnce(pdf, "/Prev ", "/Prev /Nowhere /Old ");
             return pdf;
         }},
        {"revision 3 without /Length", [] { return EncryptedWithoutLength(128); }},
        {"revision 2 without /Length", [] { return EncryptedWithoutLength(40); }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::string pdf = c.make();
        if (pdf.empty()) {
            EXPECT_FALSE(qpdf) << "qpdf could not make the file";
            continue;
        }
        PDFInput in;
        ASSERT_TRUE(OpenBytes(in, pdf));
        EXPECT_EQ(in.PasswordStatus() == PDPasswordStatus::kRejected, false);
        EXPECT_EQ(in.PageNumbers(), std::vector<int32_t>{3});
        std::unique_ptr<PDValue> content = in.LoadValue(4);
        ASSERT_NE(content, nullptr);
        PDStr decoded;
        EXPECT_EQ(DecodeStream(*content, decoded, &in), 1);
        EXPECT_EQ(decoded.ToString(), "0 0 m S Q ");
    }
}

// Thousands of streams whose /Length is wrong and whose data never meet "endstream": each is
// read to the next object, not to the end of the file, so what is read stays near the file size.
TEST(ReaderOpen, StreamsWithoutEndstreamReadOnce) {
    PdfBuilder b("1.4");
    AddOnePageDocument(b);
    const int count = 2000;
    for (int n = 10; n < 10 + count; ++n)
        b.Add(n, "<< /Length 999999 >>\nstream\n0 0 m S Q 0 0 m S Q");
    std::string pdf = b.Build();
    PDFInput in;
    ASSERT_TRUE(OpenBytes(in, pdf));
    int64_t read = 0;
    for (int n = 10; n < 10 + count; ++n) {
        std::unique_ptr<PDValue> value = in.LoadValue(n);
        ASSERT_NE(value, nullptr);
        read += value->StreamLength();
    }
    EXPECT_LT(read, static_cast<int64_t>(pdf.size()));
    EXPECT_GE(read, count * 19);
}
