// Reference resolution of an input document (its page walk is checked end to end).
#include "structure/pdinput.h"

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

// Object 4 leads through 5 to 6, 7 names itself: references resolve to the end of a chain, and
// a loop or a number the file does not have resolves to nothing.
TEST(ReaderCache, Resolve) {
    PDFInput in;
    ASSERT_TRUE(Open(in, Document({"<< /Type /Pages /Kids [] >>", "", "5 0 R", "6 0 R", "(end)",
                                   "7 0 R", "<< /A 4 0 R >>"})));
    const std::pair<int32_t, const char*> cases[] = {
        {0, "<null>"}, {-1, "<null>"}, {3, "<null>"}, {6, "(end)"},
        {4, "(end)"},  {7, "<null>"},  {9, "<null>"}, {PDFInput::kOutputBias + 6, "<null>"},
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

} // namespace
