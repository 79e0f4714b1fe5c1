#include "structure/pdoutln.h"

#include "pdf/pdstring.h"
#include "streams/pdlimits.h"
#include "structure/pdinput.h"
#include "structure/pdnames.h"
#include "structure/pdoutput.h"
#include "structure/pdrefcopier.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

struct PDOutlineRoot::Node {
    std::vector<std::unique_ptr<Node>> children; // in import order
    int64_t count = 0;                           // visible descendants, signed
    bool open = false;
    bool resolveNames = false;
    // Items only: biased output number, the renumbered dictionary, where it came from.
    int32_t number = 0;
    std::unique_ptr<PDValue> dict;
    int map = 0;
};

namespace {

// A /Count cut to 32 bits, so that sums over any number of items stay in 64 bits.
int64_t CountOf(const PDValue* count) {
    return count != nullptr ? std::clamp<int64_t>(count->GetInt64(), -INT32_MAX, INT32_MAX) : 0;
}

int32_t ReferenceNumber(const PDValue* v) {
    return v != nullptr && v->Kind() == kPDReference ? v->Number() : 0;
}

// A private copy of the value v stands for (the referenced object's, for a reference).
std::unique_ptr<PDValue> ResolvedCopy(PDFInput& input, const PDValue* v) {
    if (v == nullptr || v->Kind() != kPDReference)
        return v != nullptr ? v->Copy() : nullptr;
    ObjHolder holder(input, v->Number());
    return holder.Value() != nullptr ? holder.Value()->Copy() : nullptr;
}

// The destination the input defines for a name or string: its name tree first, then the old
// catalog /Dests dictionary. A destination dictionary gives its /D. Null when undefined.
std::unique_ptr<PDValue> NamedDest(PDFInput& input, const PDValue& key) {
    PDStr name;
    PDDecodeString(key.Text(), name);
    std::unique_ptr<PDValue> found;
    if (const PDValue* tree = input.NamesDests())
        found = PDNameStore::Lookup(input, name, *tree);
    if (!found && input.Dests() != nullptr) {
        std::unique_ptr<PDValue> dests = ResolvedCopy(input, input.Dests());
        PDValue* value = nullptr;
        const char* text = nullptr;
        for (int i = 0; dests && dests->Kind() == kPDDictionary &&
                        dests->Dict()->Entry(i, &value, &text) && !found;
             ++i) {
            if (value != nullptr &&
                PDNameMatches(text, static_cast<int>(std::string_view(text).size()), name.Text(),
                              name.Length()))
                found = value->Copy();
        }
    }
    found = ResolvedCopy(input, found.get());
    if (found && found->Kind() == kPDDictionary)
        found = ResolvedCopy(input, found->Get("/D"));
    return found;
}

bool IsNamedDest(const PDValue* v) {
    return v != nullptr && (v->Kind() == kPDString || v->IsName());
}

// Named destinations become explicit ones, so the outline does not depend on the output's name
// tree holding the same names.
void ResolveNames(PDValue& item, PDFInput& input) {
    if (const PDValue* a = item.Get("/A")) {
        std::unique_ptr<PDValue> action = ResolvedCopy(input, a);
        PDValue* s = action ? action->Get("/S") : nullptr;
        if (s != nullptr && s->IsName("/GoTo") && IsNamedDest(action->Get("/D"))) {
            if (std::unique_ptr<PDValue> dest = NamedDest(input, *action->Get("/D"))) {
                action->Dict()->Set("/D", std::move(dest));
                item.Dict()->Set("/A", std::move(action));
            }
            return;
        }
    }
    const PDValue* named = item.GetSlot(pdkey::Dest);
    if (IsNamedDest(named)) {
        if (std::unique_ptr<PDValue> dest = NamedDest(input, *named))
            item.Dict()->SaveAttrVal(pdkey::Dest, std::move(dest));
    }
}

// A /GoTo whose destination starts with a page number gets the output's page object instead.
void RewriteGoTo(PDValue& action, PDFInput& input, PDOutputDoc& output) {
    const PDValue* s = action.Get("/S");
    PDValue* dest = action.Get("/D");
    if (s == nullptr || !s->IsName("/GoTo") || dest == nullptr || dest->Kind() != kPDArray)
        return;
    PDValue* page = dest->First();
    if (page == nullptr || page->Kind() != kPDInteger)
        return;
    int32_t number = output.OutputPage(input.OutputPageIndex(page->Number()));
    if (number > 0)
        page->SetReference(number + PDFile::kOutputBias);
}

// The copier of an item's references. The outline's own objects are items written by the outline
// writer, so the copier neither follows the item's links nor copies any outline object reached
// by other keys (some writers add back links of their own); such entries are dropped.
class PDOutlineCopier : public RefCopier {
public:
    PDOutlineCopier(PDFInput& input, PDOutputDoc& output, const std::unordered_set<int32_t>& tree)
        : RefCopier(input, output, false), m_tree(tree) {}

protected:
    bool Filter(PDInputObj& target) override {
        if (m_tree.count(target.Number()) != 0)
            return false;
        if (PDValue* value = target.Value())
            RewriteGoTo(*value, Input(), Output());
        return true;
    }
    bool Skip(int keySlot, const char* keyText, int depth) override {
        if (depth != 0)
            return false;
        return keySlot == pdkey::Next || keySlot == pdkey::Prev || keySlot == pdkey::Parent ||
               keySlot == pdkey::First ||
               (keyText != nullptr && std::string_view(keyText) == "/Last");
    }

private:
    const std::unordered_set<int32_t>& m_tree;
};

// The numbers of the outline dictionary and of every item reachable from pending through /First
// and /Next, each read once.
std::unordered_set<int32_t> TreeObjects(PDFInput& input, std::vector<int32_t> pending) {
    std::unordered_set<int32_t> tree;
    while (!pending.empty()) {
        int32_t n = pending.back();
        pending.pop_back();
        if (n <= 0 || !tree.insert(n).second)
            continue;
        ObjHolder held(input, n);
        if (held.Value() == nullptr)
            continue;
        for (int slot : {pdkey::Next, pdkey::First})
            pending.push_back(ReferenceNumber(held.Value()->GetSlot(slot)));
    }
    return tree;
}

} // namespace

PDOutlineRoot::PDOutlineRoot(PDOutputDoc& output)
    : m_output(output), m_root(std::make_unique<Node>()) {
    m_root->open = true;
    m_root->resolveNames = true;
}

PDOutlineRoot::~PDOutlineRoot() = default;

int PDOutlineRoot::OpenCount(PDFInput& input) {
    const PDValue* catalog = input.Catalog();
    ObjHolder holder;
    const PDValue* outlines = catalog != nullptr ? catalog->GetSlot(pdkey::Outlines) : nullptr;
    if (outlines != nullptr && outlines->Kind() == kPDReference)
        outlines = holder.Reset(input, outlines->Number()) ? holder.Value() : nullptr;
    if (outlines == nullptr || outlines->Kind() != kPDDictionary)
        return 0;
    if (const PDValue* count = outlines->GetSlot(pdkey::Count))
        return static_cast<int>(std::abs(CountOf(count)));
    return outlines->GetSlot(pdkey::First) != nullptr ? -1 : 0;
}

void PDOutlineRoot::Import(PDFInput& input) {
    const PDValue* catalog = input.Catalog();
    const PDValue* entry = catalog != nullptr ? catalog->GetSlot(pdkey::Outlines) : nullptr;
    std::unique_ptr<PDValue> outlines = ResolvedCopy(input, entry);
    if (!outlines || outlines->Kind() != kPDDictionary)
        return;
    m_tree = TreeObjects(
        input, {ReferenceNumber(entry), ReferenceNumber(outlines->GetSlot(pdkey::First))});
    ImportChain(*m_root, input, outlines->GetSlot(pdkey::First), 0);
    m_tree.clear();
}

// Siblings are followed in a loop, children by recursion up to the tree depth cap.
void PDOutlineRoot::ImportChain(Node& parent, PDFInput& input, const PDValue* first, int depth) {
    if (depth >= pdlimits::kMaxTreeDepth)
        return;
    int32_t next = 0;
    for (int32_t n = ReferenceNumber(first); n > 0; n = next) {
        if (!ImportItem(parent, input, n, depth, next))
            break;
    }
}

bool PDOutlineRoot::ImportItem(Node& parent, PDFInput& input, int32_t number, int depth,
                               int32_t& next) {
    ObjHolder held(input, number);
    const PDValue* source = held.Value();
    if (source == nullptr || source->Kind() != kPDDictionary)
        return false;
    int map = input.MapIndex();
    int32_t output = m_output.MapId(number, map);
    if (!m_numbers.insert(output).second)
        return false;
    next = ReferenceNumber(source->GetSlot(pdkey::Next));
    const PDValue* first = source->GetSlot(pdkey::First);
    std::unique_ptr<PDValue> firstChild = first != nullptr ? first->Copy() : nullptr;
    int64_t own = CountOf(source->GetSlot(pdkey::Count));

    // Deliberate: the item loses /Parent for good, while /First, /Last and /Count stay as the
    // input had them (renumbered).
    std::unique_ptr<PDValue> dict = source->Copy();
    for (int slot : {pdkey::Next, pdkey::Prev, pdkey::Parent})
        dict->Dict()->RemoveSlot(slot);
    if (parent.resolveNames)
        ResolveNames(*dict, input);
    if (PDValue* action = dict->Get("/A"); action != nullptr && action->Kind() == kPDDictionary)
        RewriteGoTo(*action, input, m_output);
    PDOutlineCopier copier(input, m_output, m_tree);
    copier.Walk(*dict, held.Get());
    m_output.RenumberToOutput(*dict, map);
    held.Clear();

    auto item = std::make_unique<Node>();
    item->resolveNames = parent.resolveNames;
    item->number = output;
    item->dict = std::move(dict);
    item->map = map;
    int64_t contribution = own < 0 ? 1 : own + 1;
    parent.count += parent.open ? contribution : -contribution;
    if (!parent.children.empty()) {
        Node& last = *parent.children.back();
        last.dict->Dict()->SaveAttrVal(pdkey::Next, PDValue::MakeReference(output));
        item->dict->Dict()->SaveAttrVal(pdkey::Prev, PDValue::MakeReference(last.number));
    }
    parent.children.push_back(std::move(item));
    ImportChain(*parent.children.back(), input, firstChild.get(), depth + 1);
    return true;
}

bool PDOutlineRoot::Write() {
    int32_t number = m_output.NewObjectNumber();
    m_output.OutputCatalog().Dict()->SaveAttrVal(pdkey::Outlines, PDValue::MakeReference(number));
    bool ok = m_output.WriteObjectHeader(number, 0);
    ok = m_output.WriteToken("<<") && m_output.NewLine() && ok;
    ok = m_output.WriteToken("/Type /Outlines") && m_output.NewLine() && ok;
    const auto& children = m_root->children;
    if (!children.empty()) {
        ok = m_output.WriteToken("/First") &&
             m_output.WriteReference(children.front()->number, 0) && ok;
        ok = m_output.WriteToken("/Last") && m_output.WriteReference(children.back()->number, 0) &&
             ok;
        ok = m_output.WriteToken("/Count") && m_output.WriteInt64(m_root->count) &&
             m_output.NewLine() && ok;
    }
    ok = m_output.WriteToken(">>") && ok;
    ok = m_output.WriteEndObj() && ok;
    for (const auto& child : children)
        ok = WriteItem(*child) && ok;
    return ok;
}

// An item written already (its input object was copied by another way) stays as it was.
bool PDOutlineRoot::WriteItem(const Node& item) {
    bool duplicate = m_output.IsWritten(item.number);
    bool ok = m_output.WriteObjectHeader(item.number, item.map);
    if (ok) {
        ok = m_output.WriteValue(item.dict.get(), item.map);
        ok = m_output.WriteEndObj() && ok;
    } else {
        ok = duplicate;
    }
    for (const auto& child : item.children)
        ok = WriteItem(*child) && ok;
    return ok;
}
