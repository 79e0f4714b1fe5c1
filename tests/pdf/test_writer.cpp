// The file writer: object framing, numbering, the cross-reference table, the trailer, the output
// page tree and encrypted output, checked on the bytes and by reading the result back.
#include "pdf/pdfile.h"
#include "streams/pdsecurity.h"
#include "tests/support/diag_capture.h"
#include "tests/support/memory_input.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

constexpr int32_t kBias = PDFile::kOutputBias;

std::string Finish(PDFile& file) {
    EXPECT_TRUE(file.EndWrite());
    int64_t length = 0;
    std::unique_ptr<uint8_t[]> image = file.TakeImage(&length);
    return std::string(reinterpret_cast<const char*>(image.get()), static_cast<size_t>(length));
}

// The written file opened again by the reader.
struct Reread {
    explicit Reread(const std::string& bytes) { ok = testpdf::OpenBytes(file, bytes); }
    PDFile file;
    bool ok = false;
};

std::string XrefTable(const std::string& pdf) {
    size_t start = pdf.rfind("\nxref\r\n") + 1;
    size_t end = pdf.find("trailer", start);
    return pdf.substr(start, end - start);
}

TEST(Writer, ObjectsTableAndTrailer) {
    PDFile out;
    out.BeginWriteMemory();
    auto text = testpdf::ParseText("<< /A (x) /B [1 2.5 /N] >>");
    int32_t a = out.NewObjectNumber();
    int32_t unused = out.NewObjectNumber(); // handed out, never written: a free entry
    ASSERT_TRUE(out.WriteObject(a, *text, 0));
    std::string pdf = Finish(out);
    (void)unused;

    EXPECT_EQ(pdf.compare(0, 17, "%PDF-1.4\r\n%\xE2\xE3\xCF\xD3\r\n"), 0);
    EXPECT_NE(pdf.find("1 0 obj\r\n<< /A (x)\r\n/B [ 1 2.5 /N ]\r\n>>\r\nendobj\r\n"),
              std::string::npos);
    // Object 2 is free and object 0 heads the free list through it.
    std::string table = XrefTable(pdf);
    EXPECT_EQ(table.find("xref\r\n0 5\r\n0000000002 65535 f\r\n"), 0u);
    EXPECT_NE(table.find("0000000000 00000 f\r\n"), std::string::npos);
    EXPECT_EQ((table.size() - 11) % 20, 0u);

    Reread back(pdf);
    ASSERT_TRUE(back.ok);
    EXPECT_EQ(back.file.FirstId(), back.file.SecondId());
    EXPECT_EQ(back.file.FirstId().Length(), 16);
    EXPECT_EQ(back.file.Catalog()->Get("/Type")->Text(), "/Catalog");
    EXPECT_TRUE(back.file.CollectPages().empty());
    PDIndirectObj obj;
    ASSERT_TRUE(back.file.LoadObject(obj, 1));
    EXPECT_EQ(obj.Value()->Get("/A")->Text(), "(x)");
}

TEST(Writer, SecondWriteOfOneNumberIsRefused) {
    PDFile out;
    out.BeginWriteMemory();
    auto v = testpdf::ParseText("42");
    int32_t n = out.NewObjectNumber();
    ASSERT_TRUE(out.WriteObject(n, *v, 0));
    EXPECT_FALSE(out.WriteObject(n, *v, 0));
    EXPECT_EQ(out.ErrorCode(), 1007);
    std::string pdf = Finish(out);
    EXPECT_EQ(pdf.find("1 0 obj"), pdf.rfind("1 0 obj"));
}

TEST(Writer, InputNumbersAreRenumberedPerMap) {
    PDFile out;
    out.BeginWriteMemory();
    int second = out.AllocMap();
    EXPECT_EQ(out.MapId(7, 0), kBias + 1);
    EXPECT_EQ(out.MapId(7, second), kBias + 2);
    EXPECT_EQ(out.MapId(7, 0), kBias + 1);
    out.ClearMapEntry(7, 0);
    out.ReleaseNumber(kBias + 1);
    EXPECT_EQ(out.MapId(7, 0), kBias + 1); // the released number comes back first
    EXPECT_EQ(out.MapId(kBias + 9, 0), kBias + 9);
    auto ref = testpdf::ParseText("[7 0 R 10000009 0 R]");
    ASSERT_TRUE(out.WriteObject(0, *ref, second));
    EXPECT_NE(Finish(out).find("[ 2 0 R 9 0 R ]"), std::string::npos);
}

TEST(Writer, LongArraysWrapBetweenTokens) {
    PDFile out;
    out.BeginWriteMemory();
    auto array = PDValue::MakeArray();
    for (int i = 0; i < 100; ++i)
        array->Append(PDValue::MakeReference(kBias + 1000 + i));
    ASSERT_TRUE(out.WriteObject(0, *array, 0));
    std::string pdf = Finish(out);
    size_t begin = pdf.find("1 0 obj");
    size_t end = pdf.find("endobj", begin);
    std::string body = pdf.substr(begin, end - begin);
    size_t lines = 0;
    for (size_t pos = 0, next; (next = body.find("\r\n", pos)) != std::string::npos;
         pos = next + 2, ++lines) {
        std::string line = body.substr(pos, next - pos);
        EXPECT_LE(line.size(), 75u);
        EXPECT_EQ(line.find("  "), std::string::npos);
        EXPECT_NE(line.back(), ' ');
        // Every reference stays whole on its line.
        EXPECT_TRUE(line.size() < 4 || line.compare(line.size() - 3, 3, "0 R") == 0 ||
                    line.back() == ']' || line == "1 0 obj")
            << line;
    }
    EXPECT_GT(lines, 5u);
}

TEST(Writer, StreamFraming) {
    struct Case {
        const char* data;
        const char* lengthEntry; // as written in the dictionary before writing
        const char* expected;
    } cases[] = {
        {"abc\n", "4", "<< /Length 4\r\n>>\r\nstream\r\nabc\nendstream\r\nendobj"},
        {"abc", "4", "<< /Length 3\r\n>>\r\nstream\r\nabc\r\nendstream\r\nendobj"},
        {"abc", "9 0 R", "<< /Length 3\r\n>>\r\nstream\r\nabc\r\nendstream\r\nendobj"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.lengthEntry);
        PDFile out;
        out.BeginWriteMemory();
        auto stream = testpdf::ParseText(std::string("<< /Length ") + c.lengthEntry + " >>");
        stream->AssignStream(reinterpret_cast<const uint8_t*>(c.data),
                             static_cast<int64_t>(std::string(c.data).size()), nullptr);
        ASSERT_TRUE(out.WriteObject(0, *stream, 0));
        EXPECT_NE(Finish(out).find(c.expected), std::string::npos);
    }
}

// Pages registered in order; the tree has at most six kids per node.
std::string WritePages(int count) {
    PDFile out;
    out.BeginWriteMemory();
    for (int i = 0; i < count; ++i) {
        int32_t page = out.NewObjectNumber();
        out.CountPage(page, 0);
        int32_t parent = out.ParentForPage(i, page);
        auto dict = testpdf::ParseText("<< /Type /Page /MediaBox [0 0 10 10] >>");
        dict->Dict()->Set("/Parent", PDValue::MakeReference(parent));
        EXPECT_TRUE(out.WriteObject(page, *dict, 0));
    }
    return Finish(out);
}

TEST(Writer, PageTreeIsBalancedWithSixKidsPerNode) {
    struct Case {
        int pages;
        std::vector<int> rootKidCounts; // /Count of each kid of the root (1 for a page)
    } cases[] = {
        {0, {}},
        {6, {1, 1, 1, 1, 1, 1}},
        {7, {6, 1}},
        {37, {36, 1}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.pages);
        Reread back(WritePages(c.pages));
        ASSERT_TRUE(back.ok);
        EXPECT_EQ(static_cast<int>(back.file.CollectPages().size()), c.pages);
        PDIndirectObj root;
        ASSERT_TRUE(back.file.LoadObject(root, back.file.PagesRoot()));
        EXPECT_EQ(root.Value()->Get("/Count")->GetInt(), c.pages);
        EXPECT_EQ(root.Value()->Get("/Parent"), nullptr);
        std::vector<int> counts;
        for (PDValue* kid = root.Value()->Get("/Kids")->First(); kid; kid = kid->Next()) {
            PDIndirectObj node;
            ASSERT_TRUE(back.file.LoadObject(node, kid->Number()));
            PDValue* count = node.Value()->Get("/Count");
            counts.push_back(count != nullptr ? count->GetInt() : 1);
            EXPECT_EQ(node.Value()->Get("/Parent")->Number(), back.file.PagesRoot());
        }
        EXPECT_EQ(counts, c.rootKidCounts);
    }
}

TEST(Writer, EncryptedOutputReadsBackWithEitherPassword) {
    for (const char* permissions : {"", "I"}) {
        SCOPED_TRACE(permissions);
        PDFile out;
        out.BeginWriteMemory();
        out.OutputSecurity().SetPermissions(permissions);
        out.OutputSecurity().SetUserPassword("user");
        out.OutputSecurity().SetOwnerPassword("owner");
        auto value = testpdf::ParseText("<< /S (secret \\(text\\)) >>");
        value->AssignStream(reinterpret_cast<const uint8_t*>("stream data"), 11, nullptr);
        int32_t n = out.NewObjectNumber();
        ASSERT_TRUE(out.WriteObject(n, *value, 0));
        std::string pdf = Finish(out);
        EXPECT_EQ(pdf.find("secret"), std::string::npos);
        EXPECT_EQ(pdf.find("stream data"), std::string::npos);
        for (const char* password : {"user", "owner"}) {
            Reread back(pdf);
            ASSERT_TRUE(back.ok);
            ASSERT_TRUE(back.file.SetPassword(password));
            EXPECT_EQ(back.file.Security()->Revision(), permissions[0] == 'I' ? 3 : 2);
            PDIndirectObj obj;
            ASSERT_TRUE(back.file.LoadObject(obj, 1));
            EXPECT_EQ(obj.Value()->Get("/S")->Text(), "(secret \\(text\\))");
            EXPECT_EQ(std::string(reinterpret_cast<const char*>(obj.Value()->StreamData()),
                                  static_cast<size_t>(obj.Value()->StreamLength())),
                      "stream data");
        }
        Reread wrong(pdf);
        EXPECT_FALSE(wrong.file.SetPassword("neither"));
    }
}

TEST(Writer, NullValueSetsError1009) {
    PDFile out;
    out.BeginWriteMemory();
    EXPECT_FALSE(out.WriteValue(nullptr, 0));
    EXPECT_EQ(out.ErrorCode(), 1009);
}

} // namespace
