// The destination table of an output document and the reading of input name trees.
#include "structure/pdnames.h"

#include "pdf/pdstring.h"
#include "streams/pdlimits.h"
#include "structure/pdacroform.h"
#include "structure/pdinput.h"
#include "structure/pdnames_table.h"
#include "structure/pdoutput.h"

#include <functional>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

namespace {

// The value v stands for: v itself, or the object it refers to (read into holder).
const PDValue* Resolved(PDFInput& input, const PDValue* v, ObjHolder& holder) {
    if (v == nullptr || v->Kind() != kPDReference)
        return v;
    if (!holder.Reset(input, v->Number()))
        return nullptr;
    return holder.Value();
}

// The bytes of a name-tree key: a string as written, or (leniently) a name.
bool KeyBytes(const PDValue& key, PDStr& bytes) {
    if (key.Kind() != kPDString && !key.IsName())
        return false;
    PDDecodeString(key.Text(), bytes);
    return true;
}

// A walk over the nodes of one name tree. Each object is visited once, so a tree whose kids lead
// back to an ancestor ends instead of looping, and nesting beyond the tree depth cap is ignored.
class PDNameTreeWalk {
public:
    // Receives each pair; false ends the walk.
    using Visit = std::function<bool(const PDStr& name, const PDValue& value)>;

    PDNameTreeWalk(PDFInput& input, Visit visit) : m_input(input), m_visit(std::move(visit)) {}

    // Lookups read a node's own pairs before its kids and skip nodes whose /Limits exclude key.
    void SeekKey(const PDStr* key) noexcept { m_key = key; }

    // node: a reference to the root, or the root dictionary itself.
    void Run(const PDValue& node) { Kid(node, 0); }

private:
    bool Kid(const PDValue& kid, int depth);
    bool Node(const PDValue& node, int depth);
    bool Kids(const PDValue& node, int depth);
    bool Pairs(const PDValue& node);
    bool Admits(const PDValue& node);

    PDFInput& m_input;
    Visit m_visit;
    const PDStr* m_key = nullptr;
    std::unordered_set<int32_t> m_seen;
};

// False when the walk was ended by the visitor.
bool PDNameTreeWalk::Kid(const PDValue& kid, int depth) {
    if (depth > pdlimits::kMaxTreeDepth)
        return true;
    if (kid.Kind() == kPDDictionary)
        return Node(kid, depth);
    if (kid.Kind() != kPDReference || !m_seen.insert(kid.Number()).second)
        return true;
    ObjHolder holder;
    const PDValue* node = Resolved(m_input, &kid, holder);
    return node == nullptr || node->Kind() != kPDDictionary || Node(*node, depth);
}

bool PDNameTreeWalk::Node(const PDValue& node, int depth) {
    if (m_key == nullptr)
        return Kids(node, depth) && Pairs(node);
    if (!Admits(node))
        return true;
    return Pairs(node) && Kids(node, depth);
}

bool PDNameTreeWalk::Kids(const PDValue& node, int depth) {
    ObjHolder holder;
    const PDValue* kids = Resolved(m_input, node.GetSlot(pdkey::Kids), holder);
    if (kids == nullptr || kids->Kind() != kPDArray)
        return true;
    for (const PDValue* kid = kids->First(); kid != nullptr; kid = kid->Next()) {
        if (!Kid(*kid, depth + 1))
            return false;
    }
    return true;
}

bool PDNameTreeWalk::Pairs(const PDValue& node) {
    ObjHolder holder;
    const PDValue* names = Resolved(m_input, node.Get("/Names"), holder);
    if (names == nullptr || names->Kind() != kPDArray)
        return true;
    PDStr name;
    for (const PDValue* key = names->First(); key != nullptr && key->Next() != nullptr;
         key = key->Next()->Next()) {
        if (KeyBytes(*key, name) && !m_visit(name, *key->Next()))
            return false;
    }
    return true;
}

// Byte-wise, both ends inclusive. Limits that are not two keys do not exclude anything.
bool PDNameTreeWalk::Admits(const PDValue& node) {
    ObjHolder holder;
    const PDValue* limits = Resolved(m_input, node.Get("/Limits"), holder);
    if (limits == nullptr || limits->Kind() != kPDArray || limits->ElementCount() < 2)
        return true;
    PDStr low;
    PDStr high;
    if (!KeyBytes(*limits->Element(0), low) || !KeyBytes(*limits->Element(1), high))
        return true;
    return low.View() <= m_key->View() && m_key->View() <= high.View();
}

// A copy of value whose references are pulled into the input's output and renumbered there.
std::unique_ptr<PDValue> CopiedValue(PDFInput& input, const PDValue& value) {
    return input.CopyIntoOutput(value, false);
}

// Where the destinations of one input lead: input page object number -> page position.
class PDDestImport {
public:
    PDDestImport(PDNameStore& store, PDFInput& input) : m_store(store), m_input(input) {
        std::vector<int32_t> pages = input.PageNumbers();
        for (size_t p = 0; p < pages.size(); ++p)
            m_position.emplace(pages[p], static_cast<int>(p));
    }

    // Only the page is kept: the output points at it with "/XYZ" and null values.
    void Add(const PDStr& name, const PDValue& dest) {
        int32_t page = PageOf(dest);
        auto it = m_position.find(page);
        if (it == m_position.end() || it->second >= m_input.TransferredPageCount())
            return;
        int index = m_input.OutputPageIndex(it->second);
        if (index >= 0)
            m_store.AddDest(name, index, 0, 0, 0.0f);
    }

private:
    // The page object number a destination (array, reference, or dictionary with /D) names.
    int32_t PageOf(const PDValue& dest) {
        ObjHolder holder;
        const PDValue* v = Resolved(m_input, &dest, holder);
        ObjHolder inner;
        if (v != nullptr && v->Kind() == kPDDictionary)
            v = Resolved(m_input, v->Get("/D"), inner);
        const PDValue* page = v != nullptr && v->Kind() == kPDArray ? v->First() : nullptr;
        return page != nullptr && page->Kind() == kPDReference ? page->Number() : 0;
    }

    PDNameStore& m_store;
    PDFInput& m_input;
    std::unordered_map<int32_t, int> m_position;
};

} // namespace

PDNameStore::Table::Dest* PDNameStore::Table::Find(std::string_view name) const {
    auto it = byName.find(name);
    return it != byName.end() ? it->second : nullptr;
}

PDNameStore::Table::Dest& PDNameStore::Table::Insert(const PDStr& name) {
    auto dest = std::make_unique<Dest>();
    dest->name = name;
    Dest& added = *dest;
    dests.push_back(std::move(dest));
    byName.emplace(added.name.View(), &added);
    return added;
}

PDNameStore::PDNameStore() = default;

PDNameStore::~PDNameStore() = default;

PDNameStore::Table& PDNameStore::Entries() {
    if (!m_table)
        m_table = std::make_unique<Table>();
    return *m_table;
}

void PDNameStore::BindOutput(const PDFile* output) noexcept {
    if (!m_table)
        m_table = std::make_unique<Table>();
    m_table->output = output;
}

bool PDNameStore::AddDest(const PDStr& name, int pageIndex, int left, int top, float zoom) {
    Table& table = Entries();
    if (pageIndex == -1) {
        if (table.output == nullptr || table.output->OutputPageCount() == 0)
            return false;
        pageIndex = table.output->OutputPageCount() - 1;
    }
    if (pageIndex < 0 || table.Find(name.View()) != nullptr)
        return false;
    Table::Dest& dest = table.Insert(name);
    dest.page = pageIndex;
    dest.left = static_cast<int16_t>(left);
    dest.top = static_cast<int16_t>(top);
    dest.zoom = zoom;
    return true;
}

bool PDNameStore::AddDest(const PDStr& name, PDFInput& input, const PDValue* value,
                          bool checkDuplicates) {
    if (value == nullptr || (value->Kind() == kPDReference && value->Number() == 0))
        return false;
    Table& table = Entries();
    Table::Dest* dest = table.Find(name.View());
    if (dest != nullptr && checkDuplicates)
        return false;
    std::unique_ptr<PDValue> copy = CopiedValue(input, *value);
    if (!copy)
        return false;
    if (dest == nullptr)
        dest = &table.Insert(name);
    dest->value = std::move(copy);
    return true;
}

void PDNameStore::ImportDests(PDFInput& input, PDOutputDoc& output, int32_t node) {
    std::unique_ptr<PDValue> root = PDValue::MakeReference(node);
    ImportDests(input, output, *root);
}

void PDNameStore::ImportDests(PDFInput& input, PDOutputDoc& output, const PDValue& node) {
    BindOutput(&output);
    PDDestImport import(*this, input);
    PDNameTreeWalk walk(input, [&import](const PDStr& name, const PDValue& value) {
        import.Add(name, value);
        return true;
    });
    walk.Run(node);
}

void PDNameStore::ImportCatalogDests(PDFInput& input, PDOutputDoc& output, const PDValue& dests) {
    BindOutput(&output);
    if (dests.Kind() != kPDDictionary)
        return;
    PDDestImport import(*this, input);
    PDValue* value = nullptr;
    const char* key = nullptr;
    for (int i = 0; dests.Dict()->Entry(i, &value, &key); ++i) {
        if (value != nullptr)
            import.Add(PDDecodeName(key, static_cast<int>(std::string_view(key).size())), *value);
    }
}

std::unique_ptr<PDValue> PDNameStore::Lookup(PDFInput& input, const PDStr& name, int32_t node) {
    std::unique_ptr<PDValue> root = PDValue::MakeReference(node);
    return Lookup(input, name, *root);
}

std::unique_ptr<PDValue> PDNameStore::Lookup(PDFInput& input, const PDStr& name,
                                             const PDValue& node) {
    std::unique_ptr<PDValue> found;
    PDNameTreeWalk walk(input, [&name, &found](const PDStr& key, const PDValue& value) {
        if (!(key == name))
            return true;
        found = value.Copy();
        return false;
    });
    walk.SeekKey(&name);
    walk.Run(node);
    return found;
}

void PDNameStore::ImportNames(PDFInput& input, PDOutputDoc& output, const PDValue& names) {
    BindOutput(&output);
    if (names.Kind() != kPDDictionary)
        return;
    Table& table = Entries();
    PDValue* value = nullptr;
    const char* key = nullptr;
    for (int i = 0; names.Dict()->Entry(i, &value, &key); ++i) {
        std::string_view k(key);
        if (value == nullptr || k == "/Dests")
            continue;
        if (k == "/JavaScript") {
            PDNameTreeWalk walk(input, [&table, &input](const PDStr& name, const PDValue& script) {
                if (std::unique_ptr<PDValue> copy = CopiedValue(input, script))
                    table.scripts.push_back({name, std::move(copy)});
                return true;
            });
            walk.Run(*value);
            if (table.names->Get(key) == nullptr)
                table.names->Dict()->Set(key, std::make_unique<PDValue>("null"));
        } else if (table.names->Get(key) == nullptr) {
            if (std::unique_ptr<PDValue> copy = CopiedValue(input, *value))
                table.names->Dict()->Set(key, std::move(copy));
        }
    }
}

bool PDNameStore::Write(PDOutputDoc& output) {
    bool ok = WriteDests(output);
    ok = WriteNames(output) && ok;
    return PDWriteAcroForm(output) && ok;
}
