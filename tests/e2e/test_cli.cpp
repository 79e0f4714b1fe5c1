// Runs the built tool as a process: exit statuses, standard streams and files created.
#include "tests/support/run_tool.h"
#include "tool/usage.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace {

// The text itself is pinned by the usage unit test; here the binary must print the same bytes.
TEST(CliEndToEnd, NoArgumentsPrintsUsage) {
    REQUIRE_TOOL();
    ToolResult r = RunTool(ToolPath(), {});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    const std::string head = "Form filling and flattening. Version 3.10p, ";
    ASSERT_GT(r.out.size(), head.size() + 11);
    std::string date = r.out.substr(head.size(), 11);
    char* text = nullptr;
    size_t size = 0;
    FILE* expected = open_memstream(&text, &size);
    WriteUsage(expected, date.c_str());
    std::fclose(expected);
    EXPECT_EQ(r.out, std::string(text, size));
    std::free(text);
}

TEST(CliEndToEnd, FailuresBeforeAnyOutput) {
    REQUIRE_TOOL();
    struct Case {
        std::vector<std::string> args;
        int status;
        std::string err;
    } cases[] = {
        {{"-flatten"}, 1, "insufficient arguments\n"},
        {{"-pw"}, 1, "insufficient arguments\n"},
        {{"missing.pdf", "out.pdf"}, 2, "File 'missing.pdf' cannot be opened as template\n"},
        {{"-l", "missing.pdf", "out.pdf"}, 2, "File 'missing.pdf' cannot be opened as template\n"},
        {{kExampleForm, "no/such/dir/out.pdf"},
         1,
         "File 'no/such/dir/out.pdf' cannot be created\n"},
        {{"-l", kExampleForm, "out.pdf"}, 0, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.args));
        TempDir dir;
        ToolResult r = RunTool(ToolPath(), c.args, "", dir.Path());
        EXPECT_EQ(r.status, c.status);
        EXPECT_EQ(r.err, c.err);
        EXPECT_FALSE(std::filesystem::exists(dir.Path() + "/out.pdf"));
    }
}

} // namespace
