// Named destinations: the output's /Dests tree, input name trees, the merged /Names dictionary.
#include "structure/pdnames.h"

#include "streams/pdlimits.h"
#include "tests/structure/structure_fixture.h"

#include <algorithm>
#include <map>
#include <string>
#include <vector>

using namespace teststructure;

namespace {

// The (name, value) pairs of a name-tree node.
std::vector<std::pair<std::string, const PDValue*>> Pairs(Reread& file, const PDValue* node) {
    std::vector<std::pair<std::string, const PDValue*>> pairs;
    const PDValue* names = file.At(node, {"/Names"});
    for (const PDValue* k = names ? names->First() : nullptr; k && k->Next(); k = k->Next()->Next())
        pairs.emplace_back(Bytes(k), k->Next());
    return pairs;
}

// The leaves of the written /Dests tree: its kids, or the root itself when it has none.
std::vector<const PDValue*> Leaves(Reread& file) {
    const PDValue* root = file.At(file.in.Catalog(), {"/Names", "/Dests"});
    const PDValue* kids = file.At(root, {"/Kids"});
    std::vector<const PDValue*> leaves;
    for (const PDValue* k = kids ? kids->First() : root; k; k = kids ? k->Next() : nullptr)
        leaves.push_back(file.in.Resolve(k));
    return leaves;
}

// name -> output page index of each written destination.
std::map<std::string, int> Dests(Reread& file) {
    std::map<std::string, int> pages;
    for (const PDValue* leaf : Leaves(file)) {
        for (const auto& [name, dest] : Pairs(file, leaf))
            pages[name] = file.PageOf(file.At(dest, {"/D"}));
    }
    return pages;
}

TEST(Names, TreeShape) {
    std::vector<int> thousand(28, 35);
    thousand.back() = 55;
    struct Case {
        int n;
        bool kids;
        std::vector<int> leaves;
    } cases[] = {{40, false, {40}}, {41, true, {20, 21}}, {1000, true, thousand}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.n);
        PDFInput in;
        Open(in, WithPages(1, {}));
        MemoryOutput out;
        ASSERT_TRUE(in.Transfer(out, 1, 1));
        for (int i = c.n - 1; i >= 0; --i) // reversed: the writer sorts
            ASSERT_TRUE(out.Names().AddDest(("d" + std::to_string(1000 + i)).c_str(), 0, 0, 0, 0));
        Reread file(out.Finish());
        const PDValue* root = file.At(file.in.Catalog(), {"/Names", "/Dests"});
        EXPECT_EQ(file.At(root, {"/Kids"}) != nullptr, c.kids);
        EXPECT_EQ(file.At(root, {"/Limits"}) == nullptr, c.kids);
        std::vector<int> sizes;
        std::vector<std::string> all;
        for (const PDValue* leaf : Leaves(file)) {
            size_t before = all.size();
            for (const auto& pair : Pairs(file, leaf))
                all.push_back(pair.first);
            ASSERT_GT(all.size(), before);
            sizes.push_back(static_cast<int>(all.size() - before));
            EXPECT_EQ(Bytes(file.At(leaf, {"/Limits", "0"})), all[before]);
            EXPECT_EQ(Bytes(file.At(leaf, {"/Limits", "1"})), all.back());
        }
        EXPECT_EQ(sizes, c.leaves);
        EXPECT_TRUE(std::is_sorted(all.begin(), all.end()));
    }
}

// Limits exclude names, trees that lead back to themselves end, absurd nesting is cut off.
TEST(Names, Lookup) {
    Objects objects{{20, "<< /Kids [21 0 R 22 0 R 23 0 R] >>"},
                    {21, "<< /Limits [(a) (c)] /Names [(a) 1 (c) 3] >>"},
                    {22, "<< /Limits [(d) (f)] /Names [(b) 99 (d) 4 (f) 6] >>"},
                    {23, "<< /Kids [20 0 R 23 0 R 24 0 R] >>"},
                    {24, "<< /Names [(x) 7] >>"}};
    const int deep = pdlimits::kMaxTreeDepth * 3;
    for (int i = 0; i < deep; ++i)
        objects.emplace_back(100 + i, "<< /Kids [" + std::to_string(101 + i) + " 0 R] >>");
    objects.emplace_back(100 + deep, "<< /Names [(y) 8] >>");
    PDFInput in;
    Open(in, WithPages(3, objects));
    struct Case {
        int32_t node;
        const char* name;
        int value; // 0: not found
    } cases[] = {{20, "a", 1}, {20, "c", 3}, {20, "d", 4}, {20, "f", 6},
                 {20, "b", 0}, {20, "g", 0}, {20, "x", 7}, {100, "y", 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::unique_ptr<PDValue> found = PDNameStore::Lookup(in, c.name, c.node);
        EXPECT_EQ(found ? found->GetInt() : 0, c.value);
    }
}

// Only the page is kept; pages not transferred and non-pages drop the name; old-style /Dests
// names come after the tree's.
TEST(Names, ImportKeepsTransferredPages) {
    std::string pdf = WithPages(
        3,
        {{20, "<< /Kids [21 0 R 22 0 R] >>"},
         {21, "<< /Kids [20 0 R 21 0 R] /Names [(a) [3 0 R /Fit] (b) 23 0 R] >>"},
         {22, "<< /Names [(c) << /D [5 0 R /XYZ 1 2 3] >> (d) [9 0 R /Fit] (e) [4 0 R /FitH 5]] "
              ">>"},
         {23, "[4 0 R /FitH 5]"},
         {30, "<< /old [3 0 R /Fit] /a [4 0 R /Fit] /far#20away << /D [4 0 R /Fit] >> >>"}},
        "/Names << /Dests 20 0 R >> /Dests 30 0 R");
    MemoryOutput out;
    PDFInput in;
    Open(in, pdf);
    ASSERT_TRUE(in.Transfer(out, 1, 2));
    out.Names().ImportDests(in, out, 20);
    out.Names().ImportCatalogDests(in, out, *in.ResolveKey(in.Catalog(), "/Dests"));
    std::string bytes = out.Finish();
    Reread file(bytes);
    EXPECT_EQ(Dests(file), (std::map<std::string, int>{
                               {"a", 0}, {"b", 1}, {"e", 1}, {"old", 0}, {"far away", 1}}));
    EXPECT_EQ(bytes.find("/FitH"), std::string::npos);
}

// JavaScript trees of several inputs become one sorted list; an input's /Dests stays behind.
TEST(Names, JavaScriptListsMerged) {
    const char* script = "<< /S /JavaScript /JS (app.alert\\(1\\)) >>";
    const std::string inputs[] = {
        WithPages(1,
                  {{20, "<< /Names [(b) 21 0 R (d) 21 0 R] >>"},
                   {21, script},
                   {30, "<< /Names [(x) [3 0 R /Fit]] >>"}},
                  "/Names << /JavaScript 20 0 R /Dests 30 0 R >>"),
        WithPages(1, {{20, "<< /Names [(c) 21 0 R (a) 21 0 R] >>"}, {21, script}},
                  "/Names << /JavaScript << /Kids [20 0 R] >> >>")};
    MemoryOutput out;
    PDFInput opened[2];
    for (int i = 0; i < 2; ++i) {
        Open(opened[i], inputs[i]);
        ASSERT_TRUE(opened[i].Transfer(out, 1, 1));
        out.Names().ImportNames(opened[i], out,
                                *opened[i].ResolveKey(opened[i].Catalog(), "/Names"));
    }
    Reread file(out.Finish());
    const PDValue* names = file.At(file.in.Catalog(), {"/Names"});
    ASSERT_NE(names, nullptr);
    EXPECT_EQ(names->Get("/Dests"), nullptr);
    std::vector<std::string> order;
    for (const auto& [name, action] : Pairs(file, file.At(names, {"/JavaScript"}))) {
        order.push_back(name);
        EXPECT_EQ(Bytes(file.At(action, {"/JS"})), "app.alert(1)");
    }
    EXPECT_EQ(order, (std::vector<std::string>{"a", "b", "c", "d"}));
}

} // namespace
