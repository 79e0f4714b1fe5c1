#include "tool/options.h"

#include "tests/tool/fake_form_session.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

// "result input|output firstAssignment", then for a run every option that was given.
std::string Scanned(std::vector<const char*> args) {
    args.insert(args.begin(), "quillet");
    PDRunRequest r;
    PDScanResult result = ScanOptions(static_cast<int>(args.size()), args.data(), r);
    std::string s = result == PDScanResult::kRun     ? "run "
                    : result == PDScanResult::kUsage ? "usage "
                                                     : "insufficient ";
    s += r.inputName + "|" + r.outputName + " " + std::to_string(r.firstAssignment);
    if (result != PDScanResult::kRun)
        return s;
    const std::pair<bool, std::string> parts[] = {
        {r.list, " list"},
        {r.flatten, " flatten"},
        {r.quiet, " quiet"},
        {!r.inputPassword.empty(), " pw=" + r.inputPassword},
        {r.userPassword.has_value(), " user=" + r.userPassword.value_or("")},
        {r.ownerPassword.has_value(), " owner=" + r.ownerPassword.value_or("")},
        {!r.permissions.empty(), " perm=" + r.permissions},
        {r.fontSizeLow != 0.0f || r.fontSizeHigh != 0.0f,
         " fs=" + FakeFormSession::Num(r.fontSizeLow) + "," + FakeFormSession::Num(r.fontSizeHigh)},
        {r.json, " json"},
        {r.batchFile.has_value(), " batch=" + r.batchFile.value_or("")},
    };
    for (const auto& [given, text] : parts)
        s += given ? text : "";
    return s;
}

// An unknown option before the names is ignored; after them it is an assignment. Options are
// compared whole and case-sensitively. -fs needs two arguments after it, or it is an unknown
// option. An option argument is taken as it stands, even when it looks like an option. An empty
// password is a given password. The -fs values are read like the C library's atof.
TEST(ToolOptions, Scan) {
    using Args = std::vector<const char*>;
    // clang-format off
    const std::pair<Args, std::string> cases[] = {
        {{}, "usage | 0"},                        {{"-flatten"}, "insufficient | 0"},
        {{"in.pdf"}, "run in.pdf| 2 list"},
        {{"-l", "in.pdf", "out.pdf"}, "run in.pdf|out.pdf 4 list"},
        {{"in.pdf", "out.pdf", "A=1", "-X"}, "run in.pdf|out.pdf 3"},
        {{"-X", "in.pdf", "out.pdf", "-X"}, "run in.pdf|out.pdf 4"},
        {{"-L", "-flattening", "in.pdf"}, "run in.pdf| 4 list"},
        {{"-fs", "6"}, "run 6| 3 list"},
        {{"-fs", "6", "in.pdf"}, "insufficient | 0"},
        {{"-pw", "-l", "in.pdf", "out.pdf"}, "run in.pdf|out.pdf 5 pw=-l"},
        {{"-pw"}, "insufficient | 0"},            {{"-user"}, "insufficient | 0"},
        {{"-", "in.pdf", "-"}, "run in.pdf|- 4"},
        {{"-quiet", "-user", "u", "-owner", "o", "-perm", "pc", "-pw", "secret", "-flatten",
          "in.pdf", "out.pdf"},
         "run in.pdf|out.pdf 13 flatten quiet pw=secret user=u owner=o perm=pc"},
        {{"-user", "", "in.pdf", "out.pdf"}, "run in.pdf|out.pdf 5 user="},
        {{"-fs", "6", "14", "in.pdf", "out.pdf"}, "run in.pdf|out.pdf 6 fs=6,14"},
        {{"-fs", "14", "6", "in.pdf", "out.pdf"}, "run in.pdf|out.pdf 6 fs=6,14"},
        {{"-fs", "20", "x", "in.pdf", "out.pdf"}, "run in.pdf|out.pdf 6 fs=20,0"},
        {{"-fs", " 7.5pt", "9", "in.pdf", "out.pdf"}, "run in.pdf|out.pdf 6 fs=7.5,9"},
        {{"-fs", "-3", "-9", "in.pdf", "out.pdf"}, "run in.pdf|out.pdf 6 fs=-3,-9"},
        {{"-fs", "9", "-3", "in.pdf", "out.pdf"}, "run in.pdf|out.pdf 6 fs=9,-3"},
        {{"-fs", "1e2x", "nan", "in.pdf", "out.pdf"}, "run in.pdf|out.pdf 6 fs=100,0"},
        {{"-fs", "0x10", "1e99", "in.pdf", "out.pdf"}, "run in.pdf|out.pdf 6"},
        {{"--json", "--batch", "r.csv", "in.pdf", "o{#}"}, "run in.pdf|o{#} 6 json batch=r.csv"},
        {{"--batch"}, "insufficient | 0"},
        {{"--Json", "--batch=x", "in.pdf"}, "run in.pdf| 4 list"},
    };
    // clang-format on
    for (const auto& [args, scanned] : cases) {
        SCOPED_TRACE(testing::PrintToString(args));
        EXPECT_EQ(Scanned(args), scanned);
    }
}

TEST(ToolOptions, FontSizeLimitsToApply) {
    // low, high, whether they apply, then the largest and smallest size after
    const std::tuple<float, float, bool, float, float> cases[] = {
        {6, 14, true, 14, 6}, {14, 6, true, 14, 6}, {0, 9, true, 9, 5},   {8, 0, true, 12, 8},
        {0, 0, false, 12, 5}, {-1, 7, true, 7, 5},  {7, -1, true, 12, 7}, {-2, -1, false, 12, 5},
    };
    for (const auto& [low, high, applies, largest, smallest] : cases) {
        SCOPED_TRACE(testing::Message() << low << " " << high);
        PDFontSizeLimits limits; // 12 and 5, as a freshly created output has them
        EXPECT_EQ(ApplyFontSizeOption(low, high, limits), applies);
        EXPECT_EQ(limits.largest, largest);
        EXPECT_EQ(limits.smallest, smallest);
    }
}

} // namespace
