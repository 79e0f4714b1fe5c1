#include "tool/control_file.h"

#include "tests/tool/fake_form_session.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

// Every logical line in brackets: "[A=1][]" is the line "A=1", then an empty line.
std::string Lines(const std::string& bytes) {
    CapturedStreams streams(bytes);
    PDControlFile control(streams.io.in);
    std::string lines, line;
    // Bounded so that a scanner that never ends fails instead of hanging.
    for (int n = 0; n < 1000 && control.NextLine(line); ++n)
        lines += "[" + line + "]";
    EXPECT_FALSE(control.NextLine(line)) << "an ended file must stay ended";
    return lines;
}

using namespace std::string_literals;

// Carriage return and line feed each end a line. An empty line stops the joining of continued
// lines; end of file too. NUL ends a line; at the start of a line it ends the file.
TEST(ToolControlFile, LogicalLines) {
    // clang-format off
    const std::pair<std::string, const char*> cases[] = {
        {"", ""},                                 {"A=1\nB=2\n", "[A=1][B=2]"},
        {"A=1\nB=2", "[A=1][B=2]"},               {"\n", "[]"},
        {"A=1\n\nB=2\n", "[A=1][][B=2]"},         {"A=1\r\nB=2\r\n", "[A=1][][B=2][]"},
        {"A=x\ty", "[A=x][y]"},                   {"# comment\nA=1\n#x=2\n #y\n", "[A=1][ #y]"},
        {"F1=first\\\nsecond\n", "[F1=first\nsecond]"},
        {"F1=a\\\nb\\\nc", "[F1=a\nb\nc]"},       {"F1=a\\\n#b\nC=1", "[F1=a\n#b][C=1]"},
        {"\\\nx", "[\nx]"},                       {"F1=a\\\n\nB=1", "[F1=a\n][B=1]"},
        {"F1=a\\", "[F1=a\n]"},                   {"F1=a\\\r\nb", "[F1=a\n][b]"},
        {"A=1\0B=2\n"s, "[A=1][B=2]"},            {"A=1\n\0B=2\n"s, "[A=1]"},
        {"\0A=1"s, ""},                           {"F1=a\\\n\0B=1"s, "[F1=a\n]"},
        {"A=\xe9\xff\x80\n", "[A=\xe9\xff\x80]"},
    };
    // clang-format on
    for (const auto& [bytes, lines] : cases) {
        SCOPED_TRACE(testing::PrintToString(bytes));
        EXPECT_EQ(Lines(bytes), lines);
    }
    const std::string value(200000, 'v'); // long lines are kept whole
    EXPECT_EQ(Lines("A=" + value + "\\\n" + value + "\n"), "[A=" + value + "\n" + value + "]");
}

TEST(ToolControlFile, StandardInputFeedsAssignments) {
    FakeFormSession session;
    CapturedStreams streams("A=1\n-B\n\n+C@2=x\n");
    CarryOutControlFile("@", session, true, streams.io);
    EXPECT_EQ(session.calls, (std::vector<std::string>{
                                 "SetFieldValue(A|1)", "DeleteField(B)", "SetFieldValue(|)",
                                 "AddTextField(C|1|10|10|100|30|0|12)", "SetFieldValue(C|x)"}));
    // Standard input is not closed: it can still be read.
    EXPECT_EQ(std::fgetc(streams.io.in), EOF);
    EXPECT_EQ(std::ferror(streams.io.in), 0);
}

// A file that cannot be opened is reported and skipped.
TEST(ToolControlFile, NamedFileIsReadOrReported) {
    char path[] = "/tmp/quillet-control-XXXXXX";
    int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    const char text[] = "X=long\\\nvalue\n# skipped\n";
    ASSERT_EQ(write(fd, text, sizeof text - 1), static_cast<ssize_t>(sizeof text - 1));
    close(fd);
    FakeFormSession session;
    CapturedStreams streams;
    CarryOutControlFile(("@" + std::string(path)).c_str(), session, false, streams.io);
    unlink(path);
    CarryOutControlFile("@/nonexistent-dir/fields.txt", session, false, streams.io);
    EXPECT_EQ(session.calls, std::vector<std::string>{"SetFieldValue(X|long\nvalue)"});
    EXPECT_EQ(streams.Err(),
              "File open failed (/nonexistent-dir/fields.txt)\nNo such file or directory\n");
}

} // namespace
