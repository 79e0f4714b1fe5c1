// The content tokenizer: operands and operators, inline images, text placement, nested forms and
// the graphics-state balance of page content.
#include "fonts/pdcontent.h"
#include "fonts/pdcontentbalance.h"
#include "fonts/pdcontentops.h"

#include "tests/support/diag_capture.h"
#include "tests/support/memory_input.h"
#include "tests/support/pdf_builder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// A page whose resources name Helvetica as /F1 and a form /X that shows "F" and calls itself.
struct Fixture {
    Fixture() {
        testpdf::PdfBuilder b;
        b.Add(1, "<< /Type /Catalog /Pages 2 0 R >>");
        b.Add(2, "<< /Type /Pages /Kids [3 0 R] /Count 1 >>");
        b.Add(3, "<< /Type /Page /Parent 2 0 R >>");
        b.Add(4, "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>");
        b.AddStream(5, "/Type /XObject /Subtype /Form", "q (F) Tj /X Do");
        b.Trailer("/Root 1 0 R");
        EXPECT_TRUE(testpdf::OpenBytes(file, b.Build()));
    }
    PDFile file;
    std::unique_ptr<PDValue> resources =
        testpdf::ParseText("<< /Font << /F1 4 0 R >> /XObject << /X 5 0 R >> >>");
};

struct Shown {
    std::string text; // the UTF-16BE text narrowed
    double x, y;
    int depth;
};

std::string Ones(int n) {
    std::string s;
    while (n-- > 0)
        s += "1 ";
    return s;
}

std::vector<Shown> ShowAll(Fixture& f, const std::string& content, PDContentTextState* end) {
    std::vector<Shown> shown;
    PDContentReader reader(f.file, f.resources.get());
    reader.SetTextSink([&shown](const PDShownText& s) {
        std::string narrow;
        for (int i = 1; i < s.text.Length(); i += 2)
            narrow += static_cast<char>(s.text.At(i));
        shown.push_back({narrow, s.x, s.y, s.depth});
    });
    reader.Run(reinterpret_cast<const uint8_t*>(content.data()),
               static_cast<int64_t>(content.size()));
    *end = reader.TextState();
    return shown;
}

TEST(ContentTokens, OperandsAndInlineImages) {
    const struct {
        std::string content;
        std::string ops;   // operators as met, each followed by its operand count
        std::string image; // the last inline image's data
        std::string diag;
    } rows[] = {
        {"BI /W 1 ID \x01\x02 EI Q", "BI3 EI0 Q0 ", "\x01\x02 ", ""},
        {"BI /W 1 ID aEIb EI Q", "BI3 EI0 Q0 ", "aEIb ", ""},
        {"BI /W 1 ID aEI foo EI Q", "BI3 EI0 Q0 ", "aEI foo ", ""},
        {"BI ID aEI 1 [2] EI Q", "BI1 EI0 EI2 Q0 ", "a", ""},
        {"BI ID aEI \n", "BI1 ", "aEI \n", ""},
        {"BI ID aEI EMC Q", "BI1 ", "aEI EMC Q", ""},
        {"/P <</M 0>> BDC EMC 1 w", "BDC2 w2 ", "", ""},
        {"] q", "q0 ", "", "unexpected token 6 ]\n"},
        {std::string("q\0Q", 3), "q0 Q0 ", "", "unexpected token 13 \n"},
        {Ones(100) + "7 Td", "Td100 ", "", "TokenFIFO: capacity exceeded\n"},
    };
    Fixture f;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.content);
        std::string ops;
        std::string image;
        PDContentReader reader(f.file, f.resources.get());
        reader.SetOperatorSink([&](int code, const TokenFIFO& operands, int) {
            ops +=
                std::string(PDContentOperatorName(code)) + std::to_string(operands.Count()) + " ";
            for (int i = 0; i < operands.Count(); ++i)
                if (operands.At(i)->kind == kOperandImageData)
                    image = operands.At(i)->text.ToString();
        });
        DiagCapture cap;
        reader.Run(reinterpret_cast<const uint8_t*>(row.content.data()),
                   static_cast<int64_t>(row.content.size()));
        EXPECT_EQ(ops, row.ops);
        EXPECT_EQ(image, row.image);
        EXPECT_EQ(cap.Text(), row.diag);
    }
}

TEST(ContentText, PlacementThroughTheTextOperators) {
    const struct {
        std::string content;
        std::vector<Shown> shown;
        double leading, e, f; // where the text state ends
        std::string diag;
    } rows[] = {
        // Helvetica: A 667, B 667, D 722 per 1000; size 10.
        {"BT /F1 10 Tf 1 0 0 1 100 700 Tm (A) Tj 0 -14 TD (B) Tj T* (C) Tj (D) ' 5 2 (E) \" ET",
         {{"A", 100, 700, 0},
          {"B", 100, 686, 0},
          {"C", 100, 672, 0},
          {"D", 100, 658, 0},
          {"E", 107.22, 658, 0}},
         14,
         115.89,
         658,
         ""},
        {"BT /F1 10 Tf [(A) 120 (B)] TJ", {{"A", 0, 0, 0}, {"B", 5.47, 0, 0}}, 0, 12.14, 0, ""},
        {"BT /F1 10 Tf 50 Tz [(A) -100 (B)] TJ",
         {{"A", 0, 0, 0}, {"B", 3.835, 0, 0}},
         0,
         7.17,
         0,
         ""},
        {"BT 2 0 0 2 10 10 Tm 3 TL 1 1 Td T* (A) Tj", {{"A", 12, 6, 0}}, 3, 12, 6, ""},
        {"BT /F1 10 Tf 1 0 0 1 50 50 Tm /X Do (A) Tj",
         {{"F", 50, 50, 1}, {"A", 50, 50, 0}},
         0,
         56.67,
         50,
         ""},
        {"BT [] TJ [(A) /N] TJ 5 Td",
         {{"A", 0, 0, 0}},
         0,
         0,
         5,
         "operator TJ has empty list\nunexpected token in TJ list encountered: /N\n"},
        {"BT " + Ones(99) + "7 9 Td", {}, 0, 1, 7, "TokenFIFO: capacity exceeded\n"},
    };
    Fixture f;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.content);
        DiagCapture cap;
        PDContentTextState end;
        std::vector<Shown> shown = ShowAll(f, row.content, &end);
        ASSERT_EQ(shown.size(), row.shown.size());
        for (size_t i = 0; i < shown.size(); ++i) {
            EXPECT_EQ(shown[i].text, row.shown[i].text);
            EXPECT_NEAR(shown[i].x, row.shown[i].x, 1e-9) << i;
            EXPECT_NEAR(shown[i].y, row.shown[i].y, 1e-9) << i;
            EXPECT_EQ(shown[i].depth, row.shown[i].depth) << i;
        }
        EXPECT_DOUBLE_EQ(end.leading, row.leading);
        EXPECT_NEAR(end.matrix[4], row.e, 1e-9);
        EXPECT_NEAR(end.matrix[5], row.f, 1e-9);
        EXPECT_EQ(cap.Text(), row.diag);
    }
}

TEST(ContentBalance, SavesAndMatrices) {
    const struct {
        const char* content;
        int unclosed;
        bool cmOutside;
    } rows[] = {
        {"q 1 0 0 1 5 5 cm", 1, false},      {"q Q Q", 0, false},
        {"1 0 0 1 5 5 cm", 0, true},         {"q 1 0 0 1 5 5 cm Q 0 g", 0, false},
        {"Q q 2 0 0 2 0 0 cm", 1, false},    {"/X Do", 0, false},
        {"q BI /W 1 ID Q q EI Q", 0, false}, {"q (Q) Tj [(Q)] TJ % Q\n", 1, false},
    };
    Fixture f;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.content);
        PDContentBalance b = PDCheckContentBalance(
            f.file, f.resources.get(), reinterpret_cast<const uint8_t*>(row.content),
            static_cast<int64_t>(std::string(row.content).size()));
        EXPECT_EQ(b.unclosedSaves, row.unclosed);
        EXPECT_EQ(b.cmOutsideSave, row.cmOutside);
        EXPECT_EQ(b.Clean(), row.unclosed == 0 && !row.cmOutside);
    }
}

} // namespace
