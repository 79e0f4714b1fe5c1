// The long options for scripts: --help and --version, --json checked against pypdf, and a batch of
// records read back with pypdf and against a single run.
#include "tests/support/run_tool.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace {

bool HavePypdf() {
    return Have("/usr/bin/python3 -c 'import pypdf'");
}

// Record n of the batch; the values test quoting (a comma, a doubled quote, a line break inside
// quotes) and every kind of field of the example form.
std::vector<std::string> Record(int n) {
    return {"r" + std::to_string(n),  "\"Person " + std::to_string(n) + ", \"\"Jr\"\"\"",
            std::to_string(1000 + n), n % 2 ? "Yes" : "Off",
            n % 3 ? "basic" : "full", "\"line one\nline " + std::to_string(n) + "\""};
}

} // namespace

TEST(ScriptingEndToEnd, HelpAndVersionAnswerBeforeTheClassicScan) {
    REQUIRE_TOOL();
    const std::string usage = RunTool(ToolPath(), {}).out;
    const struct {
        std::vector<std::string> args;
        std::string starts;
        std::string holds;
    } cases[] = {
        {{"--help"}, usage, "--batch records.csv"},
        {{"-flatten", "--help", "in.pdf"}, usage, "https://"},
        {{"--version"}, "quillet 3.10p (", ")\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.args));
        ToolResult r = RunTool(ToolPath(), c.args);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.err, "");
        EXPECT_EQ(r.out.substr(0, c.starts.size()), c.starts);
        EXPECT_NE(r.out.find(c.holds, c.starts.size()), std::string::npos) << r.out;
    }
    // An unknown long option stays ignored: this is the classic listing.
    EXPECT_EQ(RunTool(ToolPath(), {"--frobnicate", kExampleForm}).out,
              RunTool(ToolPath(), {kExampleForm}).out);
}

TEST(ScriptingEndToEnd, JsonListingAgreesWithPypdf) {
    REQUIRE_TOOL();
    if (!HavePypdf())
        GTEST_SKIP() << "pypdf is not installed";
    int status = -1;
    std::string out = Shell("/usr/bin/python3 " QUILLET_SOURCE_DIR "/tests/corpus/pypdf_json.py " +
                                Quote(ToolPath()) + " " + Quote(kExampleForm),
                            &status);
    EXPECT_EQ(status, 0) << out;
}

TEST(ScriptingEndToEnd, BatchWritesEveryGoodRecordAsASingleRunWould) {
    REQUIRE_TOOL();
    const char* knob = std::getenv("QUILLET_BATCH_RECORDS");
    const int count = knob != nullptr ? static_cast<int>(std::strtol(knob, nullptr, 10)) : 1000;
    const int bad = count / 2 + 1;
    TempDir dir;
    std::string csv = "id,name,since,newsletter,plan,notes\n";
    for (int n = 1; n <= count; ++n) {
        std::vector<std::string> r = Record(n);
        if (n == bad)
            r[4] = "gold"; // no state of the radio group
        csv += r[0] + "," + r[1] + "," + r[2] + "," + r[3] + "," + r[4] + "," + r[5] + "\r\n";
    }
    WriteFile(dir.Path() + "/records.csv", csv);
    std::filesystem::create_directory(dir.Path() + "/out");
    ToolResult r = RunTool(ToolPath(), {"--batch", "records.csv", kExampleForm, "out/{id}.pdf"}, "",
                           dir.Path());
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err.rfind("record " + std::to_string(bad) + ": Field 'plan': 'gold'", 0), 0u)
        << r.err;
    EXPECT_NE(r.err.find("1 of " + std::to_string(count) + " records failed\n"), std::string::npos);
    int written = 0;
    for (const auto& entry : std::filesystem::directory_iterator(dir.Path() + "/out"))
        written += entry.path().extension() == ".pdf" ? 1 : 0;
    EXPECT_EQ(written, count - 1);

    // Record 1 again as one run of its own: the same file but for /ID and the dates.
    ToolResult single = RunTool(ToolPath(),
                                {kExampleForm, "single.pdf", "name=Person 1, \"Jr\"", "since=1001",
                                 "newsletter=Yes", "plan=basic", "notes=line one\nline 1"},
                                "", dir.Path());
    ASSERT_EQ(single.status, 0) << single.err;
    EXPECT_EQ(MaskVarying(ReadFile(dir.Path() + "/out/r1.pdf")),
              MaskVarying(ReadFile(dir.Path() + "/single.pdf")));
    if (!HavePypdf())
        GTEST_SKIP() << "pypdf is not installed";
    int status = -1;
    std::string checked =
        Shell("/usr/bin/python3 " QUILLET_SOURCE_DIR "/tests/e2e/pypdf_batch.py " +
                  Quote(dir.Path() + "/records.csv") + " " + Quote(dir.Path() + "/out") + " id",
              &status);
    EXPECT_EQ(status, 0) << checked;
    EXPECT_EQ(checked, std::to_string(count - 1) + "\n");
}
