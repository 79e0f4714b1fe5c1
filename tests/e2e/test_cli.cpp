// Runs the built tool as a process: exit statuses, standard streams and files created.
// GCC 12 at -O2 with the sanitizers reports std::regex internals as maybe uninitialized.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#include "tests/support/run_tool.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

namespace {

// Written out whole here, not rebuilt from the pieces, so that a changed piece shows. The build
// date appears as "Mmm dd yyyy", the way __DATE__ writes it.
TEST(CliEndToEnd, NoArgumentsPrintsUsage) {
    REQUIRE_TOOL();
    const std::string head = "Form filling and flattening. Version 3.10p, ";
    const std::string rest =
        ".\nUsage:   quillet Template-File Output-File F1=Value1 F2=Value2 ..\n"
        "         quillet Template-File Output-File +F1@1,2,3,4,5,6,7=v ..\n"
        "         quillet input.pdf output.pdf -F1 F2=abc\n"
        "         quillet [ Options ] input.pdf output.pdf @control.file\n"
        "Options: -flatten     replace fields by page content (\"burn in\")\n"
        "         -pw          password for input file\n"
        "         -user        set user password of output file\n"
        "         -owner       set owner password of output file\n"
        "         -perm        set security flags for output file\n"
        "         -l           list fields of input file\n"
        "         -fs min max  set font size limits for auto-sized fields";
    ToolResult r = RunTool(ToolPath(), {});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    ASSERT_EQ(r.out.size(), head.size() + 11 + rest.size());
    EXPECT_EQ(r.out.substr(0, head.size()), head);
    EXPECT_TRUE(std::regex_match(r.out.substr(head.size(), 11),
                                 std::regex("[A-Z][a-z][a-z] [ 123][0-9] [0-9]{4}")));
    EXPECT_EQ(r.out.substr(head.size() + 11), rest);
}

// An existing output stays as it was.
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
        std::ofstream(dir.Path() + "/out.pdf") << "old\n";
        ToolResult r = RunTool(ToolPath(), c.args, "", dir.Path());
        EXPECT_EQ(r.status, c.status);
        EXPECT_EQ(r.err, c.err);
        EXPECT_EQ(ReadFile(dir.Path() + "/out.pdf"), "old\n");
        using Entries = std::filesystem::directory_iterator;
        EXPECT_EQ(std::distance(Entries(dir.Path()), Entries()), 1);
    }
}

// Standard output that takes no PDF is a failed run, whatever the reason.
TEST(CliEndToEnd, FailedStandardOutputIsReported) {
    REQUIRE_TOOL();
    const std::string run = Quote(ToolPath()) + " " + Quote(kExampleForm) + " -";
    // A pipe whose reading end is closed before the tool starts.
    const std::string closedPipe =
        "python3 -c 'import os, subprocess, sys; r, w = os.pipe(); "
        "os.close(r); sys.exit(subprocess.call(sys.argv[1:], stdout=w))' ";
    for (const std::string& cmd :
         {run + " 2>&1 >/dev/full", run + " 2>&1 >&-", closedPipe + run + " 2>&1"}) {
        SCOPED_TRACE(cmd);
        EXPECT_EQ(Shell(cmd + "; echo $?"), "File '-' cannot be written\n1\n");
    }
}

} // namespace
