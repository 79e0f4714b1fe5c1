// Cross-reference streams, their /Prev chains and objects packed in object streams.
#include "structure/pdinput.h"

#include "pdf/pdlimits.h"
#include "tests/support/pdf_builder.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

using testpdf::PdfBuilder;
using testpdf::XrefKind;

namespace {

bool Open(PDFInput& in, const std::string& pdf) {
    return in.OpenMemory(reinterpret_cast<const uint8_t*>(pdf.data()),
                         static_cast<int64_t>(pdf.size()));
}

std::string TextOf(PDFInput& in, int32_t n) {
    std::unique_ptr<PDValue> v = in.LoadValue(n);
    return v != nullptr ? v->Text().ToString() : "<null>";
}

// One row of /W [1 2 1].
std::string Row(int type, int64_t second, int third) {
    std::string r;
    r += static_cast<char>(type);
    r += static_cast<char>((second >> 8) & 0xFF);
    r += static_cast<char>(second & 0xFF);
    r += static_cast<char>(third);
    return r;
}

// PNG "Up" encoding with filter byte 2 in front of every row.
std::string UpEncode(const std::vector<std::string>& rows) {
    std::string out;
    std::string above(rows.empty() ? 0 : rows[0].size(), '\0');
    for (const auto& row : rows) {
        out += '\x02';
        for (size_t i = 0; i < row.size(); ++i)
            out += static_cast<char>(static_cast<uint8_t>(row[i]) - static_cast<uint8_t>(above[i]));
        above = row;
    }
    return out;
}

// Catalog 1 and page-tree root 2 in the file; a hand-made cross-reference stream 3 whose rows
// come from makeRows (given the offsets of 1 and 2) and whose dictionary holds dict.
std::string HandMade(const std::string& dict,
                     const std::function<std::string(int64_t, int64_t)>& makeRows) {
    PdfBuilder b("1.5");
    b.Add(1, "<< /Type /Catalog /Pages 2 0 R >>");
    b.Add(2, "<< /Type /Pages /Kids [] >>");
    b.AddStream(3, "/Type /XRef /Root 1 0 R " + dict, makeRows(b.Offset(1), b.Offset(2)));
    b.Xref(XrefKind::kNone).StartXrefObject(3);
    return b.Build();
}

std::string PlainRows(int64_t o1, int64_t o2) {
    // The fourth row lies beyond /Index and must not be read.
    return Row(0, 0, 255) + Row(1, o1, 0) + Row(1, o2, 0) + Row(1, o1, 0);
}

TEST(XrefStream, RowLayouts) {
    struct Case {
        const char* name;
        std::string dict;
        std::function<std::string(int64_t, int64_t)> rows;
    } cases[] = {
        {"widths-1-2-1-index-0-3", "/W [1 2 1] /Index [0 3] /Size 4", PlainRows},
        {"size-without-index", "/W [1 2 1] /Size 3",
         [](int64_t o1, int64_t o2) { return Row(0, 0, 255) + Row(1, o1, 0) + Row(1, o2, 0); }},
        {"two-index-pairs", "/W [1 2 1] /Index [1 1 2 1] /Size 3",
         [](int64_t o1, int64_t o2) { return Row(1, o1, 0) + Row(1, o2, 0); }},
        {"predictor-12-columns-4",
         "/W [1 2 1] /Index [0 3] /Size 4 /Filter /FlateDecode "
         "/DecodeParms << /Predictor 12 /Columns 4 >>",
         [](int64_t o1, int64_t o2) {
             return PdfBuilder::Deflate(
                 UpEncode({Row(0, 0, 255), Row(1, o1, 0), Row(1, o2, 0), Row(1, o1, 0)}));
         }},
        {"predictor-with-filter-byte-0",
         "/W [1 2 1] /Index [0 3] /Size 4 /DecodeParms [<< /Predictor 12 /Columns 4 >>]",
         [](int64_t o1, int64_t o2) {
             return '\0' + Row(0, 0, 255) + '\0' + Row(1, o1, 0) + '\0' + Row(1, o2, 0);
         }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        PDFInput in;
        ASSERT_TRUE(Open(in, HandMade(c.dict, c.rows)));
        EXPECT_FALSE(in.WasReconstructed());
        EXPECT_NE(in.GetObj(1), nullptr);
        EXPECT_NE(in.GetObj(2), nullptr);
        EXPECT_EQ(in.XrefEntry(3), nullptr);
    }
}

TEST(XrefStream, UnexpectedPredictorGoesToStandardError) {
    std::string pdf =
        HandMade("/W [1 2 1] /Index [0 3] /Size 4 /DecodeParms << /Predictor 12 /Columns 4 >>",
                 [](int64_t o1, int64_t o2) {
                     return '\x01' + Row(0, 0, 255) + '\0' + Row(1, o1, 0) + '\0' + Row(1, o2, 0);
                 });
    testing::internal::CaptureStderr();
    PDFInput in;
    bool opened = Open(in, pdf);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "unexpected predictor 1\n");
    ASSERT_TRUE(opened);
    EXPECT_NE(in.GetObj(2), nullptr); // the next rows are taken as they stand
}

// Streams that cannot describe an index: rejected (the file is then rebuilt by scanning) or
// read as far as their data go.
TEST(XrefStream, AbsurdDictionaries) {
    struct Case {
        const char* name;
        std::string dict;
        bool reconstructed;
    } cases[] = {
        {"size-huge", "/W [1 2 1] /Size 2147483647", false},
        {"index-near-the-cap", "/W [1 2 1] /Index [0 3 8388606 5] /Size 4", false},
        {"index-negative", "/W [1 2 1] /Index [0 3 -5 2] /Size 4", false},
        {"length-beyond-the-file", "/W [1 2 1] /Index [0 3] /Size 4 /Length 99999", false},
        {"width-9", "/W [1 9 1] /Index [0 3] /Size 4", true},
        {"width-negative", "/W [-1 2 1] /Index [0 3] /Size 4", true},
        {"w-two-entries", "/W [1 2] /Index [0 3] /Size 4", true},
        {"w-missing", "/Index [0 3] /Size 4", true},
        {"columns-huge", "/W [1 2 1] /Size 4 /DecodeParms << /Predictor 12 /Columns 99999999 >>",
         true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        PDFInput in;
        ASSERT_TRUE(Open(in, HandMade(c.dict, PlainRows)));
        EXPECT_EQ(in.WasReconstructed(), c.reconstructed);
        EXPECT_LE(in.ObjectCount(), pdlimits::kMaxObjectNumber + 1);
        EXPECT_NE(in.GetObj(2), nullptr);
    }
}

TEST(XrefStream, OlderStreamReadOnlyWhenNeeded) {
    PdfBuilder b("1.5");
    b.Xref(XrefKind::kStreamFlate);
    b.Add(2, "<< /Type /Pages /Kids [] >>").Add(4, "(four)").Trailer("/Root 1 0 R");
    b.NewSection().Xref(XrefKind::kStream);
    b.Add(1, "<< /Type /Catalog /Pages 2 0 R >>").Add(5, "(five)").Trailer("/Root 1 0 R");
    PDFInput in;
    ASSERT_TRUE(Open(in, b.Build()));
    EXPECT_EQ(in.SectionsRead(), 1);
    EXPECT_EQ(TextOf(in, 5), "(five)");
    EXPECT_EQ(in.SectionsRead(), 1);
    EXPECT_EQ(TextOf(in, 4), "(four)");
    EXPECT_EQ(in.SectionsRead(), 2);
}

TEST(XrefStream, RootOnlyInOlderTrailer) {
    PdfBuilder b("1.5");
    b.Xref(XrefKind::kStream);
    b.Add(1, "<< /Type /Catalog /Pages 2 0 R >>").Add(2, "<< /Type /Pages /Kids [] >>");
    b.Trailer("/Root 1 0 R");
    b.NewSection().Xref(XrefKind::kStream).Add(5, "(five)");
    PDFInput in;
    ASSERT_TRUE(Open(in, b.Build()));
    EXPECT_FALSE(in.WasReconstructed());
    EXPECT_EQ(in.RootNumber(), 1);
}

TEST(XrefStream, PrevLoopEnds) {
    PdfBuilder b("1.5");
    b.Xref(XrefKind::kStream);
    b.Add(1, "<< /Type /Catalog /Pages 2 0 R >>").Add(2, "<< /Type /Pages /Kids [] >>");
    b.Add(4, "(four)").Trailer("/Root 1 0 R /Prev 1111111111");
    b.NewSection().Xref(XrefKind::kStream).Add(5, "(five)").Trailer("/Root 1 0 R");
    std::string pdf = b.Build();
    std::string newest = std::to_string(b.StartXref());
    pdf.replace(pdf.find("1111111111"), 10, std::string(10 - newest.size(), '0') + newest);
    PDFInput in;
    ASSERT_TRUE(Open(in, pdf));
    EXPECT_EQ(TextOf(in, 4), "(four)");
    EXPECT_EQ(TextOf(in, 99), "<null>");
    EXPECT_EQ(in.SectionsRead(), 2);
}

TEST(ObjectStream, PackedObjects) {
    PdfBuilder b("1.5");
    b.Xref(XrefKind::kStreamFlate);
    b.Add(1, "<< /Type /Catalog /Pages 2 0 R >>");
    b.AddPacked(2, "<< /Type /Pages /Kids [3 0 R] >>").AddPacked(3, "<< /Type /Page >>");
    b.AddPacked(4, "(first)").ObjectStreamNumber(10).Trailer("/Root 1 0 R");
    b.NewSection().Xref(XrefKind::kStream).ObjectStreamNumber(11);
    b.AddPacked(5, "(second)").Trailer("/Root 1 0 R");
    PDFInput in;
    ASSERT_TRUE(Open(in, b.Build()));
    EXPECT_EQ(in.PageNumbers(), std::vector<int32_t>{3});
    PDIndirectObj holder;
    ASSERT_TRUE(in.LoadObject(holder, 2));
    EXPECT_EQ(holder.Kind(), kPDObjPages);
    EXPECT_EQ(holder.Generation(), 0);
    EXPECT_EQ(holder.Offset(), 0);
    // Alternating between the two object streams swaps the one held each time.
    for (int round = 0; round < 3; ++round) {
        SCOPED_TRACE(round);
        EXPECT_EQ(TextOf(in, 4), "(first)");
        EXPECT_EQ(TextOf(in, 5), "(second)");
    }
}

TEST(ObjectStream, MiscountedIndexFoundByNumber) {
    PdfBuilder b("1.5");
    b.Add(1, "<< /Type /Catalog /Pages 2 0 R >>").Add(2, "<< /Type /Pages /Kids [] >>");
    b.AddStream(6, "/Type /ObjStm /N 2 /First 10", "4 0 5 7   (four) (five)");
    b.AddStream(3, "/Type /XRef /Root 1 0 R /W [1 2 1] /Index [0 7] /Size 7",
                Row(0, 0, 255) + Row(1, b.Offset(1), 0) + Row(1, b.Offset(2), 0) + Row(0, 0, 0) +
                    Row(2, 6, 1) + Row(2, 6, 7) + Row(1, b.Offset(6), 0));
    b.Xref(XrefKind::kNone).StartXrefObject(3);
    PDFInput in;
    ASSERT_TRUE(Open(in, b.Build()));
    // Index 1 holds object 5, and there is no index 7: both are looked up by number.
    EXPECT_EQ(TextOf(in, 4), "(four)");
    EXPECT_EQ(TextOf(in, 5), "(five)");
}

TEST(ObjectStream, LoopsEndCleanly) {
    struct Case {
        const char* name;
        std::string rows;
        int32_t asked;
    } cases[] = {
        {"names-itself", Row(2, 5, 0), 5},
        {"two-name-each-other", Row(2, 6, 0) + Row(2, 5, 0), 5},
        {"stream-not-there", Row(2, 40, 0), 5},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        PdfBuilder b("1.5");
        b.Add(1, "<< /Type /Catalog /Pages 2 0 R >>").Add(2, "<< /Type /Pages /Kids [] >>");
        int count = static_cast<int>(c.rows.size() / 4);
        b.AddStream(3,
                    "/Type /XRef /Root 1 0 R /W [1 2 1] /Index [0 3 5 " + std::to_string(count) +
                        "] /Size 9",
                    Row(0, 0, 255) + Row(1, b.Offset(1), 0) + Row(1, b.Offset(2), 0) + c.rows);
        b.Xref(XrefKind::kNone).StartXrefObject(3);
        PDFInput in;
        ASSERT_TRUE(Open(in, b.Build()));
        EXPECT_EQ(in.GetObj(c.asked), nullptr);
        EXPECT_EQ(in.GetObj(6), nullptr);
    }
}

} // namespace
