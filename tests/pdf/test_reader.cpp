// Opening files from memory images: header, startxref, classic sections, trailer and loading.
#include "structure/pdinput.h"

#include "tests/support/diag_capture.h"
#include "tests/support/pdf_builder.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

using testpdf::PdfBuilder;
using testpdf::XrefKind;

namespace {

bool Open(PDFInput& in, const std::string& pdf) {
    return in.OpenMemory(reinterpret_cast<const uint8_t*>(pdf.data()),
                         static_cast<int64_t>(pdf.size()));
}

// Catalog 1, page-tree root 2, one page 3.
void AddOnePageDocument(PdfBuilder& b) {
    b.Add(1, "<< /Type /Catalog /Pages 2 0 R >>");
    b.Add(2, "<< /Type /Pages /Kids [3 0 R] /Count 1 >>");
    b.Add(3, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] >>");
    b.Trailer("/Root 1 0 R");
}

std::string OnePageDocument(const std::string& version = "1.4", const std::string& junk = "") {
    PdfBuilder b(version);
    b.Junk(junk);
    AddOnePageDocument(b);
    return b.Build();
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

TEST(ReaderHeader, JunkBeforeHeader) {
    struct Case {
        size_t junk;
        bool opens;
        int error;
    } cases[] = {{0, true, 0}, {30, true, 0}, {999, true, 0}, {1000, false, pderr::kNoHeader}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.junk);
        PDFInput in;
        EXPECT_EQ(Open(in, OnePageDocument("1.4", std::string(c.junk, 'J'))), c.opens);
        EXPECT_EQ(in.ErrorCode(), c.error);
        if (c.opens) {
            EXPECT_EQ(in.HeaderOffset(), static_cast<int64_t>(c.junk));
            EXPECT_STREQ(in.Version(), "1.4");
            EXPECT_EQ(in.PageNumbers(), std::vector<int32_t>{3});
            EXPECT_FALSE(in.WasReconstructed());
        }
    }
}

TEST(ReaderHeader, StartxrefFarFromTheEnd) {
    for (size_t tail : {size_t{0}, size_t{2040}, size_t{5000}, size_t{20000}}) {
        SCOPED_TRACE(tail);
        PdfBuilder b;
        AddOnePageDocument(b);
        b.Tail("%" + std::string(tail, 'x') + "\n");
        PDFInput in;
        ASSERT_TRUE(Open(in, b.Build()));
        EXPECT_FALSE(in.WasReconstructed());
        EXPECT_EQ(in.RootNumber(), 1);
        EXPECT_EQ(in.PagesRoot(), 2);
    }
}

// Broken files, each named after its one defect, and what opening them gives.
TEST(ReaderBroken, DefectTable) {
    struct Case {
        const char* name;
        std::function<void(std::string&)> damage;
        bool opens;
        int error;
        bool reconstructed;
        const char* diag; // expected within the reports
    } cases[] = {
        {"intact", [](std::string&) {}, true, 0, false, ""},
        {"startxref-missing", [](std::string& s) { ReplaceOnce(s, "startxref", "startxrex"); },
         true, pderr::kNoStartxref, true, "error scanning xref position ((memory))\n"},
        {"startxref-zero",
         [](std::string& s) { s.replace(s.rfind("startxref") + 10, s.size(), "0\n%%EOF\n"); }, true,
         pderr::kNoStartxref, true, "error scanning xref position"},
        {"xref-keyword-missing", [](std::string& s) { ReplaceOnce(s, "xref\n0 4", "    \n0 4"); },
         true, 0, true, "expect 'xref'\n"},
        {"xref-type-byte-bad", [](std::string& s) { ReplaceOnce(s, " n\r\n", " q\r\n"); }, true,
         pderr::kTrailer, true, ""},
        {"trailer-not-a-dictionary",
         [](std::string& s) {
             ReplaceOnce(s, "trailer\n<<", "trailer\n[[");
             ReplaceOnce(s, ">>\nstartxref", "]]\nstartxref");
         },
         true, pderr::kTrailer, true, "could not scan trailer information ((memory))\n"},
        {"truncated-after-header", [](std::string& s) { s.resize(20); }, false, pderr::kNoStartxref,
         true, "error scanning xref position"},
        {"catalog-missing", [](std::string& s) { ReplaceOnce(s, "/Root 1 0 R", "/Root 9 0 R"); },
         false, pderr::kCatalog, true, "cannot read catalog ((memory))\n"},
        {"pages-not-a-reference",
         [](std::string& s) { ReplaceOnce(s, "/Pages 2 0 R", "/Pages 2   "); }, true, 0, false,
         "pages root not found\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::string pdf = OnePageDocument();
        c.damage(pdf);
        DiagCapture diag;
        PDFInput in;
        EXPECT_EQ(Open(in, pdf), c.opens);
        EXPECT_EQ(in.ErrorCode(), c.error);
        if (c.opens) {
            EXPECT_EQ(in.WasReconstructed(), c.reconstructed);
        }
        EXPECT_NE(diag.Text().find(c.diag), std::string::npos) << diag.Text();
    }
}

TEST(ReaderSections, NewestSectionWins) {
    PdfBuilder b;
    AddOnePageDocument(b);
    b.Add(4, "(old)").Add(5, "(only old)");
    b.NewSection().Add(4, "(new)").Trailer("/Root 1 0 R");
    PDFInput in;
    ASSERT_TRUE(Open(in, b.Build()));
    EXPECT_EQ(TextOf(in, 4), "(new)");
    EXPECT_EQ(TextOf(in, 5), "(only old)");
    EXPECT_EQ(in.SectionsRead(), 2); // classic tables are all read at once
}

TEST(ReaderSections, OddLineEndsAndComments) {
    struct Case {
        const char* name;
        std::function<void(std::string&)> edit;
    } cases[] = {
        {"cr-only",
         [](std::string& s) {
             size_t from = s.rfind("xref");
             for (size_t at; (at = s.find("\r\n", from)) != std::string::npos; from = at)
                 s.replace(at, 2, "\r ");
         }},
        {"comment-line",
         [](std::string& s) { ReplaceOnce(s, "xref\n", "xref\n% made by hand\n"); }},
        {"short-entries",
         [](std::string& s) {
             size_t from = s.rfind("xref");
             for (size_t at; (at = s.find(" 00000 n\r\n", from)) != std::string::npos; from = at)
                 s.replace(at, 10, " 0 n\n     ");
         }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::string pdf = OnePageDocument();
        c.edit(pdf);
        PDFInput in;
        ASSERT_TRUE(Open(in, pdf));
        EXPECT_FALSE(in.WasReconstructed());
        EXPECT_EQ(in.PageNumbers(), std::vector<int32_t>{3});
    }
}

TEST(ReaderSections, PrevLoopEnds) {
    PdfBuilder b;
    AddOnePageDocument(b);
    b.Trailer("/Root 1 0 R /Prev 1111111111");
    b.NewSection().Add(4, "(new)").Trailer("/Root 1 0 R");
    std::string pdf = b.Build();
    std::string newest = std::to_string(b.StartXref());
    // The oldest section now names the newest as its predecessor.
    ReplaceOnce(pdf, "1111111111", std::string(10 - newest.size(), '0') + newest);
    PDFInput in;
    ASSERT_TRUE(Open(in, pdf));
    EXPECT_EQ(TextOf(in, 4), "(new)");
    EXPECT_EQ(in.GetObj(77), nullptr);
    EXPECT_EQ(in.SectionsRead(), 2);
}

// Offsets at the edge of 64 bits, behind junk that shifts every offset, are simply unusable.
TEST(ReaderSections, HugeOffsets) {
    const std::string huge = "9223372036854775807";
    struct Case {
        const char* name;
        std::string trailer;
        bool replaceStartxref;
    } cases[] = {
        {"prev", "/Root 1 0 R /Prev " + huge, false},
        {"xrefstm", "/Root 1 0 R /XRefStm " + huge, false},
        {"startxref", "/Root 1 0 R", true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        PdfBuilder b;
        b.Junk("junk\n");
        AddOnePageDocument(b);
        b.Trailer(c.trailer);
        std::string pdf = b.Build();
        if (c.replaceStartxref)
            pdf.replace(pdf.rfind("startxref") + 10, std::string::npos, huge + "\n%%EOF\n");
        PDFInput in;
        ASSERT_TRUE(Open(in, pdf));
        EXPECT_EQ(in.PageNumbers(), std::vector<int32_t>{3});
        EXPECT_EQ(in.WasReconstructed(), c.replaceStartxref);
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
        EXPECT_TRUE(Open(in, b.Build()));
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
    ASSERT_TRUE(Open(in, b.Build()));
    EXPECT_EQ(TextOf(in, 4), "(file)");
    EXPECT_EQ(TextOf(in, 5), "(packed five)");
}

TEST(ReaderLoad, OffsetsRepairedByScanning) {
    struct Case {
        const char* name;
        std::function<void(std::string&)> damage;
    } cases[] = {
        // One byte inserted in front of every object: all offsets are one short.
        {"offsets-one-byte-short", [](std::string& s) { s.insert(s.find("1 0 obj"), " "); }},
        // One byte removed: every offset points one byte past its object's start.
        {"offsets-one-byte-long", [](std::string& s) { s.erase(s.find("\n1 0 obj") - 1, 1); }},
        // The table entries of objects 2 and 3 trade places.
        {"offsets-swapped",
         [](std::string& s) {
             size_t base = s.find("xref\n0 4\n") + 9;
             std::string e2 = s.substr(base + 40, 20);
             s.replace(base + 40, 20, s.substr(base + 60, 20));
             s.replace(base + 60, 20, e2);
         }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::string pdf = OnePageDocument();
        c.damage(pdf);
        PDFInput in;
        ASSERT_TRUE(Open(in, pdf));
        EXPECT_EQ(in.PageNumbers(), std::vector<int32_t>{3});
        ASSERT_NE(in.GetObj(3), nullptr);
        EXPECT_EQ(in.GetObj(3)->Kind(), kPDObjPage);
    }
}

TEST(ReaderLoad, WrongObjectAtOffsetIsReported) {
    std::string pdf = OnePageDocument();
    // Object 3 is gone from the file and its entry points at object 2.
    size_t base = pdf.find("xref\n0 4\n") + 9;
    pdf.replace(base + 60, 20, pdf.substr(base + 40, 20));
    pdf.replace(pdf.find("3 0 obj"), 7, "%%%%%%%");
    PDFInput in;
    ASSERT_TRUE(Open(in, pdf));
    DiagCapture diag;
    EXPECT_EQ(in.GetObj(3), nullptr);
    EXPECT_EQ(diag.Text(), "Read failed for id 3\nfound 2\n");
}

TEST(ReaderLoad, HolderFields) {
    PdfBuilder b;
    AddOnePageDocument(b);
    b.Add(4, "<< /Type /Annot >>", 7).Add(5, "[1 2]");
    std::string pdf = b.Build();
    PDFInput in;
    ASSERT_TRUE(Open(in, pdf));
    struct Case {
        int32_t n;
        int kind;
        int generation;
    } cases[] = {{2, kPDObjPages, 0}, {3, kPDObjPage, 0}, {4, kPDObjOther, 7}, {5, kPDObjOther, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.n);
        PDIndirectObj holder;
        ASSERT_TRUE(in.LoadObject(holder, c.n));
        EXPECT_EQ(holder.Number(), c.n);
        EXPECT_EQ(holder.Kind(), c.kind);
        EXPECT_EQ(holder.Generation(), c.generation);
        EXPECT_EQ(holder.Offset(), b.Offset(c.n));
        size_t endobj = pdf.find("endobj", static_cast<size_t>(holder.Offset()));
        EXPECT_GE(holder.EndOffset(), static_cast<int64_t>(endobj));
        EXPECT_LE(holder.EndOffset(), static_cast<int64_t>(endobj) + 7);
    }
}

TEST(ReaderTrailer, ValuesTaken) {
    PdfBuilder b;
    b.Add(1, "<< /Type /Catalog /Pages 2 0 R /AcroForm 6 0 R /Names 7 0 R /Threads [] >>");
    b.Add(2, "<< /Type /Pages /Kids [] /Count 0 >>");
    b.Add(5, "<< /Producer (me) >>");
    b.Add(6, "<< /Fields [] >>");
    b.Add(7, "<< /Dests 8 0 R >>");
    b.Add(8, "<< /Names [] >>");
    b.Trailer("/Root 1 0 R /Info 5 0 R /ID [<0102ff> (a\\)b)]");
    PDFInput in;
    ASSERT_TRUE(Open(in, b.Build()));
    EXPECT_EQ(in.TrailerSize(), 9);
    EXPECT_EQ(in.InfoNumber(), 5);
    EXPECT_EQ(in.FirstId().ToString(), std::string("\x01\x02\xff", 3));
    EXPECT_EQ(in.SecondId().ToString(), "a)b");
    ASSERT_NE(in.AcroForm(), nullptr);
    EXPECT_EQ(in.AcroForm()->Kind(), kPDReference);
    ASSERT_NE(in.NamesDests(), nullptr);
    EXPECT_EQ(in.NamesDests()->Number(), 8);
    EXPECT_NE(in.Threads(), nullptr);
    EXPECT_EQ(in.Dests(), nullptr);
    EXPECT_FALSE(in.IsEncrypted());
    EXPECT_TRUE(in.SetPassword("anything"));
}

} // namespace
