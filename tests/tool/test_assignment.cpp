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
// belongs to the value. Whole numbers and decimals are read strictly, without exponents. Names
// must fit a 256-byte buffer, values need not.
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
        {"A=" + n256, "=A|" + n256 + d},       {"+F1@2147483648,5=v", "+F1|v" + d},
        {"+F1@2 ,5=v", "+F1|v" + d},            {"+F1@2,1e2,5=v", "+F1|v@2,10,10,100,30,0,12"},
        {"+F1@2,.5,5.,.,9=v", "+F1|v@2,0.5,5,100,30,0,12"},
    };
    // clang-format on
    for (const auto& [text, parsed] : cases) {
        SCOPED_TRACE(text.substr(0, 40));
        EXPECT_EQ(Parsed(text), parsed);
    }
}

} // namespace
