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

TEST(ToolControlFile, StandardInputIsReadOnce) {
    CapturedStreams streams("A=1\n-B\n\n+C@2=x\n");
    std::vector<std::string> lines;
    ReadControlFile("@", lines, streams.io);
    ReadControlFile("@", lines, streams.io);
    EXPECT_EQ(lines, (std::vector<std::string>{"A=1", "-B", "", "+C@2=x"}));
    // Standard input is not closed: it can still be read.
    EXPECT_EQ(std::fgetc(streams.io.in), EOF);
    EXPECT_EQ(std::ferror(streams.io.in), 0);
}

// A file that cannot be opened or read is reported with the system's reason and skipped.
TEST(ToolControlFile, NamedFileIsReadOrReported) {
    char path[] = "/tmp/quillet-control-XXXXXX";
    int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    const char text[] = "X=long\\\nvalue\n# skipped\n";
    ASSERT_EQ(write(fd, text, sizeof text - 1), static_cast<ssize_t>(sizeof text - 1));
    close(fd);
    CapturedStreams streams;
    std::vector<std::string> lines;
    ReadControlFile(("@" + std::string(path)).c_str(), lines, streams.io);
    unlink(path);
    ReadControlFile("@/nonexistent-dir/fields.txt", lines, streams.io);
    ReadControlFile("@/tmp", lines, streams.io);
    EXPECT_EQ(lines, std::vector<std::string>{"X=long\nvalue"});
    EXPECT_EQ(streams.Err(), "File open failed (/nonexistent-dir/fields.txt)\n"
                             "No such file or directory\n"
                             "File open failed (/tmp)\nIs a directory\n");
}

} // namespace
