#include "tool/usage.h"

#include "tests/tool/fake_form_session.h"

#include <gtest/gtest.h>

namespace {

// Written out whole here, not rebuilt from the pieces, so that a changed piece shows.
const std::string kUsageAfterFirstLine =
    "Usage:   quillet Template-File Output-File F1=Value1 F2=Value2 ..\n"
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

// With no date given the build date appears as "Mmm dd yyyy", the way __DATE__ writes it.
TEST(ToolUsage, TextIsExact) {
    const std::string head = "Form filling and flattening. Version 3.10p, ";
    CapturedStreams given, built;
    WriteUsage(given.io.out, "Apr 20 2006");
    EXPECT_EQ(given.Out(), head + "Apr 20 2006.\n" + kUsageAfterFirstLine);
    WriteUsage(built.io.out);
    std::string text = built.Out();
    ASSERT_EQ(text.substr(0, head.size()), head);
    EXPECT_EQ(text[head.size() + 3], ' ');
    EXPECT_EQ(text[head.size() + 6], ' ');
    EXPECT_EQ(text.substr(head.size() + 11), ".\n" + kUsageAfterFirstLine);
}

} // namespace
