#include "tool/run.h"

#include "tests/tool/fake_form_session.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

namespace {

using Calls = std::vector<std::string>;

Calls Join(std::initializer_list<Calls> parts) {
    Calls all;
    for (const Calls& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

// The calls every fill run ends with, after its assignments.
Calls Tail(int flatten, bool outline) {
    return Join({{"SetFlatten(" + std::to_string(flatten) + ")", "RemoveUsageRights", "ImportPages",
                  "TemplateHasOutline"},
                 outline ? Calls{"CopyOutlines"} : Calls{},
                 {"CopyNamedDestinations", "WriteCatalog", "CloseOutput"}});
}

struct RunCase {
    const char* what;
    std::vector<const char*> args;
    Calls calls;
    int status = 0;
    std::string out{}, err{}, in{};
    void (*setup)(FakeFormSession&) = nullptr;
};

void CheckRun(const RunCase& c) {
    SCOPED_TRACE(c.what);
    FakeFormSession session;
    if (c.setup)
        c.setup(session);
    CapturedStreams streams(c.in);
    std::vector<std::string> storage(c.args.begin(), c.args.end());
    storage.insert(storage.begin(), "quillet");
    std::vector<char*> argv;
    for (std::string& s : storage)
        argv.push_back(s.data());
    argv.push_back(nullptr);
    int status = RunQuillet(static_cast<int>(storage.size()), argv.data(), session, streams.io);
    EXPECT_EQ(status, c.status);
    EXPECT_EQ(session.calls, c.calls);
    EXPECT_EQ(streams.Out(), c.out);
    EXPECT_EQ(streams.Err(), c.err);
}

const Calls kOpen = {"OpenTemplate(in.pdf)", "TemplateIsEncrypted"};

// Whole runs against the recording session. Control files are read where they stand among the
// assignments; a missing one is reported and the run goes on. (Listing, opening failures and
// passwords are checked on the built tool.)
TEST(ToolRun, Runs) {
    using Fake = FakeFormSession;
    const Calls opened = Join({kOpen, {"CreateOutputFile(out.pdf)", "AttachTemplate"}});
    const Calls add = {"AddTextField(F1|0|10|10|100|30|0|12)", "SetFieldValue(F1|abc)"};
    static const std::string tooLong = std::string(300, 'L') + "=v", minusLong = "-" + tooLong,
                             longName = "field name too long (" + std::string(40, 'L') + "...)\n";
    static const std::string kImage("%PDF-1.4\n\0\xff%%EOF\r\n", 18);
    // clang-format off
    const RunCase cases[] = {
        {"fill", {"in.pdf", "out.pdf", "F1=abc", "-F2"},
         Join({opened, {"SetFieldValue(F1|abc)", "DeleteField(F2)"}, Tail(-1, false)})},
        {.what = "flatten with outline", .args = {"-flatten", "in.pdf", "out.pdf"},
         .calls = Join({opened, Tail(0, true)}),
         .setup = [](Fake& s) { s.hasOutline = true; }},
        {.what = "control file where it stands", .args = {"in.pdf", "out.pdf", "A=1", "@", "B=2"},
         .calls = Join({opened, {"SetFieldValue(A|1)", "SetFieldValue(X|9)", "SetFieldValue(B|2)"},
                        Tail(-1, false)}),
         .in = "X=9\n"},
        {.what = "missing control file",
         .args = {"in.pdf", "out.pdf", "@/nonexistent-dir/c", "B=2"},
         .calls = Join({opened, {"SetFieldValue(B|2)"}, Tail(-1, false)}),
         .err = "File open failed (/nonexistent-dir/c)\nNo such file or directory\n"},
        {.what = "added field report", .args = {"in.pdf", "out.pdf", "+F1@2,50=abc"},
         .calls = Join({opened, {"AddTextField(F1|1|50|10|100|30|0|12)", "SetFieldValue(F1|abc)"},
                        Tail(-1, false)}),
         .out = "add field F1 on page 2 at 50/10, w=100, h=30, font=0, size=12.0\n"},
        {"quiet", {"-quiet", "in.pdf", "out.pdf", "+F1=abc"}, Join({opened, add, Tail(-1, false)})},
        {.what = "failed add reported even when quiet",
         .args = {"-quiet", "in.pdf", "out.pdf", "+F1=abc"},
         .calls = Join({opened, add, Tail(-1, false)}), .out = "add form field failed (F1)\n",
         .setup = [](Fake& s) { s.addOk = false; }},
        {.what = "report cuts towards zero",
         .args = {"in.pdf", "out.pdf", "+F1@2,50.9,-3.7,99999999999999999999,20.2,3,7.5=x"},
         .calls = Join({opened, {"AddTextField(F1|1|50.9|-3.7|1e+20|20.2|3|7.5)",
                                 "SetFieldValue(F1|x)"}, Tail(-1, false)}),
         .out = "add field F1 on page 2 at 50/-3, w=2147483647, h=20, font=3, size=7.5\n"},
        {"names too long", {"in.pdf", "out.pdf", tooLong.c_str(), minusLong.c_str()},
         Join({opened, Tail(-1, false)}), 0, "", longName + longName},
        {.what = "reports leave standard output to the PDF", .args = {"in.pdf", "-", "+F1", "+F2"},
         .calls = Join({kOpen, {"CreateOutputInMemory", "AttachTemplate",
                                "AddTextField(F1|0|10|10|100|30|0|12)", "SetFieldValue(F1|)",
                                "AddTextField(F2|0|10|10|100|30|0|12)", "SetFieldValue(F2|)"},
                        Tail(-1, false), {"TakeMemoryImage"}}),
         .out = kImage,
         .err = "add form field failed (F1)\nadd form field failed (F2)\n",
         .setup = [](Fake& s) { s.image.assign(kImage.begin(), kImage.end()), s.addOk = false; }},
    };
    // clang-format on
    for (const RunCase& c : cases)
        CheckRun(c);
}

// Passwords are set only when a user or owner password was given; -fs limits follow creation, so
// a zero value keeps the limit that creating the output set.
TEST(ToolRun, SecurityAndFontSizesFollowCreation) {
    using Args = std::vector<const char*>;
    const Calls created = Join({kOpen, {"CreateOutputFile(out.pdf)"}});
    const Calls end = Join({{"AttachTemplate"}, Tail(-1, false)});
    // clang-format off
    const std::pair<Args, Calls> cases[] = {
        {{"-perm", "p", "-owner", "o", "-user", "u", "in.pdf", "out.pdf"},
         {"SetPermissions(p)", "SetUserPassword(u)", "SetOwnerPassword(o)"}},
        {{"-owner", "o", "in.pdf", "out.pdf"}, {"SetPermissions()", "SetOwnerPassword(o)"}},
        {{"-user", "", "in.pdf", "out.pdf"}, {"SetPermissions()", "SetUserPassword()"}},
        {{"-perm", "p", "in.pdf", "out.pdf"}, {}},
        {{"-fs", "8", "20", "in.pdf", "out.pdf"}, {"SetFontSizeLimits(20|8)"}},
        {{"-fs", "0", "9", "in.pdf", "out.pdf"}, {"SetFontSizeLimits(9|5)"}},
        {{"-fs", "0", "0", "in.pdf", "out.pdf"}, {}},
        {{"-fs", "8", "20", "-user", "u", "in.pdf", "out.pdf"},
         {"SetPermissions()", "SetUserPassword(u)", "SetFontSizeLimits(20|8)"}},
    };
    // clang-format on
    for (const auto& [args, between] : cases) {
        const std::string what = testing::PrintToString(args);
        CheckRun({what.c_str(), args, Join({created, between, end})});
    }
}

} // namespace
