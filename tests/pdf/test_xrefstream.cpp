// Cross-reference streams and objects packed in object streams.
#include "structure/pdinput.h"

#include "streams/pdlimits.h"
#include "tests/support/memory_input.h"
#include "tests/support/pdf_builder.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

using testpdf::PdfBuilder;
using testpdf::XrefKind;

namespace {

using testpdf::OpenBytes;

std::string TextOf(PDFInput& in, int32_t n) {
    std::unique_ptr<PDValue> v = in.LoadValue(n);
    return v != nullptr ? v->Text().ToString() : "<null>";
}

// One row of /W [1 2 1].
std::string Row(int type, int64_t second, int third) {
    return {static_cast<char>(type), static_cast<char>((second >> 8) & 0xFF),
            static_cast<char>(second & 0xFF), static_cast<char>(third)};
}

// Rows for objects 0 (free), 1 and 2.
std::string Head(PdfBuilder& b) {
    return Row(0, 0, 255) + Row(1, b.Offset(1), 0) + Row(1, b.Offset(2), 0);
}

// Catalog 1 and page-tree root 2 in the file, then whatever makeRows adds, then a hand-made
// cross-reference stream 3 holding dict and the rows makeRows returns.
using Rows = std::function<std::string(PdfBuilder&)>;
std::string HandMade(const std::string& dict, const Rows& makeRows) {
    PdfBuilder b("1.5");
    b.Add(1, "<< /Type /Catalog /Pages 2 0 R >>").Add(2, "<< /Type /Pages /Kids [] >>");
    std::string rows = makeRows(b);
    b.AddStream(3, "/Type /XRef /Root 1 0 R " + dict, rows);
    b.Xref(XrefKind::kNone).StartXrefObject(3);
    return b.Build();
}

// The fourth row lies beyond /Index [0 3] and must not be read.
std::string PlainRows(PdfBuilder& b) {
    return Head(b) + Row(1, b.Offset(1), 0);
}

// PlainRows in PNG "Up" encoding (filter byte 2, then the difference to the row above), deflated.
std::string UpRows(PdfBuilder& b) {
    std::string rows = PlainRows(b), out;
    for (size_t i = 0; i < rows.size(); ++i) {
        if (i % 4 == 0)
            out += '\x02';
        int above = i < 4 ? 0 : static_cast<uint8_t>(rows[i - 4]);
        out += static_cast<char>(static_cast<uint8_t>(rows[i]) - above);
    }
    return PdfBuilder::Deflate(out);
}

// PlainRows with the TIFF predictor: each byte after the first of a row stored as its difference
// to the one before.
std::string TiffRows(PdfBuilder& b) {
    std::string rows = PlainRows(b), out;
    for (size_t i = 0; i < rows.size(); ++i)
        out += static_cast<char>(rows[i] - (i % 4 == 0 ? 0 : rows[i - 1]));
    return out;
}

// Rows 0-2, each behind a PNG filter byte: `first` for row 0, 0 ("None") for the others.
Rows FilterBytes(char first) {
    return [first](PdfBuilder& b) {
        return first + Row(0, 0, 255) + '\0' + Row(1, b.Offset(1), 0) + '\0' +
               Row(1, b.Offset(2), 0);
    };
}

// Rows read through each layout, and streams that cannot describe an index: rejected (the file
// is then rebuilt by scanning) or read as far as their data go.
TEST(XrefStream, Layouts) {
    const std::string w = "/W [1 2 1] /Index [0 3] /Size 4 ";
    const std::string predictor = "/DecodeParms << /Predictor 12 /Columns ";
    struct Case {
        const char* name;
        std::string dict;
        Rows rows;
        bool reconstructed;
        bool rowFourUnread;
        const char* stderrText;
    } cases[] = {
        // clang-format off
        {"widths-1-2-1-index-0-3", w, PlainRows, false, true, ""},
        {"size-without-index", "/W [1 2 1] /Size 3", Head, false, true, ""},
        {"two-index-pairs", "/W [1 2 1] /Index [1 1 2 1] /Size 3",
         [](PdfBuilder& b) { return Head(b).substr(4); }, false, true, ""},
        {"predictor-12-columns-4", w + "/Filter /FlateDecode " + predictor + "4 >>", UpRows, false,
         true, ""},
        {"predictor-with-filter-byte-0", w + "/DecodeParms [<< /Predictor 12 /Columns 4 >>]",
         FilterBytes('\0'), false, true, ""},
        {"predictor-2-tiff", w + "/DecodeParms << /Predictor 2 /Columns 4 >>", TiffRows, false,
         true, ""},
        {"filter-null", w + "/Filter null", PlainRows, false, true, ""},
        // The next rows are taken as they stand.
        {"predictor-unexpected-filter-byte", w + predictor + "4 >>", FilterBytes('\x01'), false,
         true, "unexpected predictor 1\n"},
        {"size-huge", "/W [1 2 1] /Size 2147483647", PlainRows, false, false, ""},
        {"index-near-the-cap", "/W [1 2 1] /Index [0 3 8388606 5] /Size 4", PlainRows, false, true,
         ""},
        {"index-negative", "/W [1 2 1] /Index [0 3 -5 2] /Size 4", PlainRows, false, true, ""},
        {"length-beyond-the-file", w + "/Length 99999", PlainRows, false, true, ""},
        {"width-9", "/W [1 9 1] /Index [0 3] /Size 4", PlainRows, true, false, ""},
        {"width-negative", "/W [-1 2 1] /Index [0 3] /Size 4", PlainRows, true, false, ""},
        {"w-missing", "/Index [0 3] /Size 4", PlainRows, true, false, ""},
        {"columns-huge", "/W [1 2 1] /Size 4 " + predictor + "99999999 >>", PlainRows, true, false,
         ""},
        // clang-format on
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::string pdf = HandMade(c.dict, c.rows);
        testing::internal::CaptureStderr();
        PDFInput in;
        bool opened = OpenBytes(in, pdf);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), c.stderrText);
        ASSERT_TRUE(opened);
        EXPECT_EQ(in.WasReconstructed(), c.reconstructed);
        EXPECT_LE(in.ObjectCount(), pdlimits::kMaxObjectNumber + 1);
        EXPECT_NE(in.GetObj(1), nullptr);
        EXPECT_NE(in.GetObj(2), nullptr);
        if (c.rowFourUnread) {
            EXPECT_EQ(in.XrefEntry(3), nullptr);
        }
    }
}

TEST(ObjectStream, PackedObjects) {
    PdfBuilder b("1.5");
    b.Xref(XrefKind::kStreamFlate).Add(1, "<< /Type /Catalog /Pages 2 0 R >>");
    b.AddPacked(2, "<< /Type /Pages /Kids [3 0 R] >>").AddPacked(3, "<< /Type /Page >>");
    b.AddPacked(4, "(first)").ObjectStreamNumber(10).Trailer("/Root 1 0 R");
    b.NewSection().Xref(XrefKind::kStream).ObjectStreamNumber(11);
    b.AddPacked(5, "(second)").Trailer("/Root 1 0 R");
    PDFInput in;
    ASSERT_TRUE(OpenBytes(in, b.Build()));
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
    PDFInput in;
    ASSERT_TRUE(OpenBytes(
        in, HandMade("/W [1 2 1] /Index [0 7] /Size 7", [](PdfBuilder& b) {
            b.AddStream(6, "/Type /ObjStm /N 2 /First 10", "4 0 5 7   (four) (five)");
            return Head(b) + Row(0, 0, 0) + Row(2, 6, 1) + Row(2, 6, 7) + Row(1, b.Offset(6), 0);
        })));
    // Index 1 holds object 5, and there is no index 7: both are looked up by number.
    EXPECT_EQ(TextOf(in, 4), "(four)");
    EXPECT_EQ(TextOf(in, 5), "(five)");
}

TEST(ObjectStream, LoopsEndCleanly) {
    struct Case {
        const char* name;
        std::string rows; // for objects 5 on
    } cases[] = {{"names-itself", Row(2, 5, 0)},
                 {"two-name-each-other", Row(2, 6, 0) + Row(2, 5, 0)},
                 {"stream-not-there", Row(2, 40, 0)}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::string index = "/Index [0 3 5 " + std::to_string(c.rows.size() / 4) + "]";
        PDFInput in;
        ASSERT_TRUE(OpenBytes(in, HandMade("/W [1 2 1] /Size 9 " + index,
                                           [&c](PdfBuilder& b) { return Head(b) + c.rows; })));
        EXPECT_EQ(in.GetObj(5), nullptr);
        EXPECT_EQ(in.GetObj(6), nullptr);
    }
}

} // namespace
