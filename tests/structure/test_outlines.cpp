// Outlines carried from inputs into the output: counts, links, destinations, damaged chains.
#include "structure/pdoutln.h"

#include "streams/pdlimits.h"
#include "tests/structure/structure_fixture.h"

#include <string>
#include <vector>

using namespace teststructure;

namespace {

// Catalog 1 with outline dictionary 10 (when given), pages 3.., and the objects.
std::string Input(int pages, const std::string& outlines, Objects objects,
                  const std::string& catalogExtra = "") {
    if (!outlines.empty())
        objects.emplace_back(10, outlines);
    return WithPages(pages, std::move(objects), "/Outlines 10 0 R " + catalogExtra);
}

// Each input transferred and its outline imported; the file written.
std::string Write(const std::vector<std::string>& inputs) {
    MemoryOutput out;
    std::vector<PDFInput> opened(inputs.size());
    for (size_t i = 0; i < inputs.size(); ++i) {
        Open(opened[i], inputs[i]);
        EXPECT_TRUE(opened[i].Transfer(out, 1, 100));
        out.CreateOutlines().Import(opened[i]);
    }
    return out.Finish();
}

// Titles from item on along key.
std::vector<std::string> Chain(Reread& file, const PDValue* item, const char* key) {
    std::vector<std::string> titles;
    for (int i = 0; item != nullptr && i < 10; ++i, item = file.At(item, {key}))
        titles.push_back(Bytes(file.At(item, {"/Title"})));
    return titles;
}

std::string First() {
    return Input(
        1, "<< /Type /Outlines /First 11 0 R /Last 12 0 R /Count 5 >>",
        {{11, "<< /Title (A) /Parent 10 0 R /Next 12 0 R /First 13 0 R /Last 14 0 R /Count 3 >>"},
         // Some writers add back links of their own (/Previous); they must not pull items in.
         {12, "<< /Title (B) /Parent 10 0 R /Prev 11 0 R /Previous 11 0 R /First 15 0 R "
              "/Last 15 0 R /Count -2 >>"},
         {13, "<< /Title (A1) /Parent 11 0 R /Next 14 0 R >>"},
         {14, "<< /Title (A2) /Parent 11 0 R /Prev 13 0 R >>"},
         {15, "<< /Title (B1) /Parent 12 0 R >>"}});
}

TEST(Outlines, CountsAndLinks) {
    Reread file(Write({First()}));
    const PDValue* root = file.At(file.in.Catalog(), {"/Outlines"});
    EXPECT_EQ(file.At(root, {"/Count"})->GetInt(), 5);
    EXPECT_EQ(Chain(file, file.At(root, {"/First"}), "/Next"),
              (std::vector<std::string>{"A", "B"}));
    EXPECT_EQ(Chain(file, file.At(root, {"/Last"}), "/Prev"), (std::vector<std::string>{"B", "A"}));
    const PDValue* a = file.At(root, {"/First"});
    EXPECT_EQ(Chain(file, file.At(a, {"/First"}), "/Next"), (std::vector<std::string>{"A1", "A2"}));
    EXPECT_EQ(Chain(file, file.At(a, {"/Last"}), "/Prev"), (std::vector<std::string>{"A2", "A1"}));
    // Deliberately no /Parent in the written items.
    EXPECT_EQ(file.At(a, {"/First", "/Parent"}), nullptr);
}

// Page numbers and named destinations become the output's pages; an undefined name stays.
TEST(Outlines, Destinations) {
    std::string pdf =
        Input(3, "<< /Type /Outlines /First 11 0 R >>",
              {{11, "<< /Title (number) /A << /S /GoTo /D [1 /Fit] >> /Next 12 0 R >>"},
               {12, "<< /Title (undefined) /Dest (nosuch) /Next 13 0 R >>"},
               {13, "<< /Title (named) /Dest (chap) /Next 14 0 R >>"},
               {14, "<< /Title (action) /A 17 0 R /Next 15 0 R >>"},
               {15, "<< /Title (indirect number) /A 18 0 R /Next 16 0 R >>"},
               {16, "<< /Title (old style) /Dest /intro >>"},
               {17, "<< /S /GoTo /D (chap) >>"},
               {18, "<< /S /GoTo /D [2 /XYZ 0 0 0] >>"},
               {20, "<< /Names [(chap) << /D [5 0 R /XYZ 0 100 0] >>] >>"},
               {21, "<< /intro [3 0 R /Fit] >>"}},
              "/Names << /Dests 20 0 R >> /Dests 21 0 R");
    // Two pages of another input come first, so input page numbers differ from output ones.
    Reread file(Write({Input(2, "", {}), pdf}));
    struct Case {
        const char* title;
        const char* key; // /Dest, or /A for the action's /D
        int page;        // output page index; -1: the name stays
    } cases[] = {{"number", "/A", 3}, {"undefined", "/Dest", -1},   {"named", "/Dest", 4},
                 {"action", "/A", 4}, {"indirect number", "/A", 4}, {"old style", "/Dest", 2}};
    const PDValue* item = file.At(file.in.Catalog(), {"/Outlines", "/First"});
    for (const auto& c : cases) {
        SCOPED_TRACE(c.title);
        EXPECT_EQ(Bytes(file.At(item, {"/Title"})), c.title);
        const PDValue* dest = file.At(item, {c.key});
        if (c.key[1] == 'A')
            dest = file.At(dest, {"/D"});
        if (c.page >= 0)
            EXPECT_EQ(file.PageOf(dest), c.page);
        else
            EXPECT_EQ(Bytes(dest), "nosuch");
        item = file.At(item, {"/Next"});
    }
}

// Loops end, absurd nesting is cut off, long sibling chains are followed.
TEST(Outlines, DamagedChains) {
    const int deep = pdlimits::kMaxTreeDepth * 3;
    const int longChain = 5000;
    Objects nested;
    Objects siblings;
    for (int i = 0; i < deep; ++i)
        nested.emplace_back(11 + i, "<< /Title (n) /First " + std::to_string(12 + i) + " 0 R >>");
    for (int i = 0; i < longChain; ++i)
        siblings.emplace_back(11 + i, "<< /Title (s) /Next " + std::to_string(12 + i) + " 0 R >>");
    struct Case {
        const char* name;
        Objects items;
        int written;
    };
    // clang-format off
    const Case cases[] = {
        {"sibling loop", {{11, "<< /Title (a) /Next 12 0 R >>"},
                          {12, "<< /Title (b) /Next 11 0 R >>"}}, 2},
        {"own child", {{11, "<< /Title (a) /First 11 0 R /Next 12 0 R >>"},
                       {12, "<< /Title (b) /First 11 0 R >>"}}, 2},
        {"not a dictionary", {{11, "<< /Title (a) /Next 12 0 R >>"}, {12, "[1 2]"}}, 1},
        {"huge counts", {{11, "<< /Title (a) /Count 2147483647 /Next 12 0 R >>"},
                         {12, "<< /Title (b) /Count 99999999999 >>"}}, 2},
        {"nested", nested, pdlimits::kMaxTreeDepth},
        {"long chain", siblings, longChain},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::string bytes = Write({Input(1, "<< /Type /Outlines /First 11 0 R >>", c.items)});
        int titles = 0;
        for (size_t at = 0; (at = bytes.find("/Title", at)) != std::string::npos; ++at)
            ++titles;
        EXPECT_EQ(titles, c.written);
    }
}

} // namespace
