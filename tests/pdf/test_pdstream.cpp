// Generated streams: composing content, the text-object guard, and writing the stream object
// into an output document.
#include "pdf/pdstream.h"

#include "pdf/pddecode.h"
#include "pdf/pdfile.h"
#include "streams/pdsecurity.h"
#include "tests/support/diag_capture.h"
#include "tests/support/memory_input.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace {

using namespace std::string_literals;

TEST(PDStream, AppendTokenSeparatesWithOneBlank) {
    const std::string token = "(\0)"s; // the length counts, not the first zero byte
    const std::pair<std::string, std::string> cases[] = {
        {"q", "q " + token},    {"q ", "q " + token},   {"", token},
        {"q\n", "q\n" + token}, {"q\r", "q\r" + token}, {"q\t", "q\t " + token},
    };
    for (const auto& [before, expected] : cases) {
        SCOPED_TRACE(before);
        PDStream s;
        s.Content().Append(before);
        s.AppendToken(token.data(), static_cast<int>(token.size()));
        EXPECT_TRUE(s.Content().ToString() == expected);
    }
}

TEST(PDStream, TextObjectStates) {
    const struct {
        const char* ops; // B begin, E end, O operator
        std::string content;
        bool inText, pending;
    } cases[] = {
        {"B", "BT\n", true, true},          {"BB", "BT\n", true, true},
        {"BO", "BT\nET\nq\n", false, true}, {"E", "", false, false},
        {"BE", "BT\nET\n", false, false},   {"OB", "q\nBT\n", true, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.ops);
        PDPgStream s;
        for (const char* op = c.ops; *op != '\0'; ++op) {
            if (*op == 'B')
                s.BeginText();
            else if (*op == 'E')
                s.EndText();
            else
                s.AppendOperator("q\n");
        }
        EXPECT_EQ(s.Content().ToString(), c.content);
        EXPECT_EQ(s.InText(), c.inText);
        EXPECT_EQ(s.Pending(), c.pending);
    }
}

// A generated stream goes out like a copied object: under an output number, its references
// renumbered through the map, its data compressed and encrypted; it reads back as composed.
TEST(PDStream, WrittenIntoAnEncryptedOutputReadsBack) {
    std::string text(3000, 'x');
    text.append(" BT /F1 10 Tf (line) Tj ET\n");
    PDFile out;
    out.BeginWriteMemory();
    out.OutputSecurity().SetUserPassword("user");
    const int map = out.AllocMap();
    PDPgStream s;
    s.AppendToken(text.c_str());
    s.SetCompress(true);
    s.Entries().Dict()->Set("/Resources", testpdf::ParseText("<< /Font << /F1 7 0 R >> >>"));
    DiagCapture diag;
    const int32_t n = s.WriteObject(out, 0, map);
    EXPECT_EQ(diag.Text(), "");
    ASSERT_GT(n, 0);
    ASSERT_TRUE(out.WriteObject(7, *testpdf::ParseText("<< /Type /Font >>"), map));
    const int32_t font = out.FileNumber(7, map);
    const std::string pdf = testpdf::Finish(out);
    EXPECT_EQ(pdf.find("line"), std::string::npos);

    PDFile back;
    ASSERT_TRUE(testpdf::OpenBytes(back, pdf));
    ASSERT_TRUE(back.SetPassword("user"));
    PDIndirectObj obj;
    ASSERT_TRUE(back.LoadObject(obj, n % PDFile::kOutputBias));
    PDStr content;
    ASSERT_EQ(DecodeStream(*obj.Value(), content, &back), 1);
    EXPECT_EQ(content.ToString(), s.Content().ToString());
    EXPECT_EQ(obj.Value()->Get("/Resources")->Get("/Font")->Get("/F1")->Number(), font);
    EXPECT_EQ(obj.Value()->Get("/Length")->GetInt(), obj.Value()->StreamLength());
}

// Uncompressed data that do not end in a line end run straight into "endstream", and a number
// written before is not written again.
TEST(PDStream, UncompressedLayout) {
    PDFile out;
    out.BeginWriteMemory();
    PDStream s;
    s.Content().Append("0 0 m");
    s.Entries().Dict()->Set("/Type", std::make_unique<PDValue>("/XObject"));
    const int32_t n = s.WriteObject(out, 0);
    EXPECT_EQ(s.WriteObject(out, n), 0);
    const std::string pdf = testpdf::Finish(out);
    EXPECT_NE(pdf.find("1 0 obj\r\n<< /Type /XObject /Length 5 >>\r\nstream\r\n0 0 mendstream\r\n"
                       "endobj\r\n"),
              std::string::npos);
}

} // namespace
