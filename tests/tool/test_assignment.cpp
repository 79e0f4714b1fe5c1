#include "tool/assignment.h"

#include "tests/tool/fake_form_session.h"

#include <gtest/gtest.h>

namespace {

// "kind name|value@page,x,y,w,h,font,size" of a parsed assignment; kind is one of = - +.
std::string Parsed(const std::string& text) {
    PDAssignment a;
    a.page = 99; // must be reset by the parse
    if (!ParseAssignment(text, a))
        return "rejected";
    using F = FakeFormSession;
    const char kinds[] = "=-+";
    return kinds[static_cast<int>(a.kind)] + a.name + "|" + a.value + "@" + std::to_string(a.page) +
           "," + F::Num(a.x) + "," + F::Num(a.y) + "," + F::Num(a.width) + "," + F::Num(a.height) +
           "," + std::to_string(a.font) + "," + F::Num(a.size);
}

// Reading the parameters stops at the first item that does not fit; an '@' after the first '='
// belongs to the value. Names must fit a 256-byte buffer, values need not.
TEST(ToolAssignment, Grammar) {
    const std::string d = "@1,10,10,100,30,0,12", n255(255, 'n'), n256(256, 'n');
    // clang-format off
    const std::pair<std::string, std::string> cases[] = {
        {"F1=abc", "=F1|abc" + d},              {"A=b=c", "=A|b=c" + d},
        {"A", "=A|" + d},                       {"", "=|" + d},
        {"=x", "=|x" + d},                      {"A=\"q\\n\"", "=A|\"q\\n\"" + d},
        {"-X", "-X|" + d},                      {"-A=b", "-A=b|" + d},
        {"a.b+c", "=a.b+c|" + d},               {"+F1=abc", "+F1|abc" + d},
        {"+F1@2,50=abc", "+F1|abc@2,50,10,100,30,0,12"},
        {"+F1@1,2,3,4,5,6,7=v", "+F1|v@1,2,3,4,5,6,7"},
        {"+F1@2,1.5,2.5,3.5,4.5,1,9.5,99=v", "+F1|v@2,1.5,2.5,3.5,4.5,1,9.5"},
        {"+F1@2,abc,5=v", "+F1|v@2,10,10,100,30,0,12"},
        {"+F1@x,5=v", "+F1|v" + d},             {"+F1@1.5,5=v", "+F1|v" + d},
        {"+F1@2,50,=v", "+F1|v@2,50,10,100,30,0,12"},
        {"+F1@1,2,3,4,5,6.5,7=v", "+F1|v@1,2,3,4,5,0,12"},
        {"+F1@ 3, 40=v", "+F1|v@3,40,10,100,30,0,12"},
        {"+F1@3", "+F1|@3,10,10,100,30,0,12"},
        {"+F1=a@2,5", "+F1|a@2,5" + d},         {"+A@4=b=c", "+A|b=c@4,10,10,100,30,0,12"},
        {"+@1=v", "+|v" + d},                   {"+F1", "+F1|" + d},
        {n255 + "=v", "=" + n255 + "|v" + d},   {n256 + "=v", "rejected"},
        {"-" + n255, "-" + n255 + "|" + d},     {"-" + n256, "rejected"},
        {"+" + n255 + "@1=v", "+" + n255 + "|v" + d}, {"+" + n256 + "@1=v", "rejected"},
        {"A=" + n256, "=A|" + n256 + d},
    };
    // clang-format on
    for (const auto& [text, parsed] : cases) {
        SCOPED_TRACE(text.substr(0, 40));
        EXPECT_EQ(Parsed(text), parsed);
    }
}

// Added fields are reported unless quiet (page from 1, coordinates cut to whole numbers); a failed
// add is reported even when quiet, and the value is still set.
TEST(ToolAssignment, CarriedOutThroughSession) {
    const std::string tooLong = "field name too long (" + std::string(40, 'L') + "...)\n";
    const std::string add = "AddTextField(F1|0|10|10|100|30|0|12)", set = "SetFieldValue(F1|abc)";
    const std::string added = "add field F1 on page 1 at 10/10, w=100, h=30, font=0, size=12.0\n";
    const std::string failed = "add form field failed (F1)\n";
    struct Case {
        std::string text;
        bool quiet, addOk;
        std::vector<std::string> calls;
        std::string out, err;
    };
    // clang-format off
    const Case cases[] = {
        {"F1=abc", false, true, {set}, "", ""},
        {"A", false, true, {"SetFieldValue(A|)"}, "", ""},
        {"-F1", false, true, {"DeleteField(F1)"}, "", ""},
        {"+F1=abc", false, true, {add, set}, added, ""},
        {"+F1=abc", true, true, {add, set}, "", ""},
        {"+F1=abc", false, false, {add, set}, failed, ""},
        {"+F1=abc", true, false, {add, set}, failed, ""},
        {"+F1@2,50.9,-3.7,80.5,20.2,3,7.5=x", false, true,
         {"AddTextField(F1|1|50.9|-3.7|80.5|20.2|3|7.5)", "SetFieldValue(F1|x)"},
         "add field F1 on page 2 at 50/-3, w=80, h=20, font=3, size=7.5\n", ""},
        {std::string(300, 'L') + "=v", false, true, {}, "", tooLong},
        {"-" + std::string(300, 'L'), false, true, {}, "", tooLong},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text.substr(0, 50));
        FakeFormSession session;
        session.addOk = c.addOk;
        CapturedStreams streams;
        CarryOutAssignment(c.text, session, c.quiet, streams.io);
        EXPECT_EQ(session.calls, c.calls);
        EXPECT_EQ(streams.Out(), c.out);
        EXPECT_EQ(streams.Err(), c.err);
    }
}

} // namespace
