// The end-of-document writer of the name store: destination objects, the /Dests tree of at most
// two levels, and the catalog's /Names dictionary with one merged JavaScript list.
#include "structure/pdnames.h"

#include "pdf/pdstring.h"
#include "structure/pdnames_table.h"
#include "structure/pdoutput.h"

#include <algorithm>
#include <vector>

namespace {

using Dest = PDNameStore::Table::Dest;
using DestIter = std::vector<Dest*>::const_iterator;

// A single leaf holds up to this many names; beyond it the root only lists leaves.
constexpr size_t kSingleLeafMax = 40;
constexpr size_t kLeafSize = 20;
constexpr size_t kLeafCountLimit = 30;

bool WriteName(PDFile& out, const PDStr& name) {
    return out.WriteStringBytes(name.Bytes(), name.Length(), kPDLiteral);
}

bool WriteDestObject(PDFile& out, Dest& dest) {
    dest.number = out.NewObjectNumber();
    bool ok = out.WriteObjectHeader(dest.number, 0);
    ok = out.WriteToken("<</D [") && ok;
    int32_t page = out.OutputPage(dest.page);
    if (page > 0)
        ok = out.WriteReference(page + PDFile::kOutputBias, 0) && ok;
    else
        ok = out.WriteToken("null") && ok;
    ok = out.WriteToken("/XYZ") && ok;
    if (dest.left != 0 && dest.top != 0)
        ok = out.WriteInt(dest.left) && out.WriteInt(dest.top) && ok;
    else
        ok = out.WriteToken("null") && out.WriteToken("null") && ok;
    if (dest.zoom > 0)
        ok = out.WriteReal(dest.zoom) && ok;
    else
        ok = out.WriteToken("null") && ok;
    ok = out.WriteToken("] >>") && ok;
    return out.WriteEndObj() && ok;
}

bool WriteLeaf(PDFile& out, int32_t number, DestIter first, DestIter end) {
    bool ok = out.WriteObjectHeader(number, 0);
    ok = out.WriteToken("<< /Limits [") && ok;
    ok = WriteName(out, (*first)->name) && WriteName(out, (*(end - 1))->name) && ok;
    ok = out.WriteToken("]") && out.NewLine() && ok;
    ok = out.WriteToken("/Names [") && ok;
    for (DestIter it = first; it != end; ++it) {
        ok = WriteName(out, (*it)->name) && ok;
        if ((*it)->value)
            ok = out.WriteValue((*it)->value.get(), 0) && ok;
        else
            ok = out.WriteReference((*it)->number, 0) && ok;
    }
    ok = out.WriteToken("] >>") && ok;
    return out.WriteEndObj() && ok;
}

// Leaves grow with the number of names, so that the root never lists far more leaves than a leaf
// lists names.
void LeafShape(size_t n, size_t& size, size_t& count) {
    size = kLeafSize;
    count = n / size;
    if (count <= kLeafCountLimit)
        return;
    do {
        size = (size + count) / 2;
        count = n / size;
    } while (count > size + 10);
}

bool WriteTree(PDFile& out, int32_t root, const std::vector<Dest*>& sorted) {
    size_t n = sorted.size();
    if (n <= kSingleLeafMax)
        return WriteLeaf(out, root, sorted.begin(), sorted.end());
    size_t size = 0;
    size_t count = 0;
    LeafShape(n, size, count);
    std::vector<int32_t> leaves;
    for (size_t i = 0; i < count; ++i)
        leaves.push_back(out.NewObjectNumber());
    bool ok = out.WriteObjectHeader(root, 0);
    ok = out.WriteToken("<< /Kids [") && ok;
    for (int32_t leaf : leaves)
        ok = out.WriteReference(leaf, 0) && ok;
    ok = out.WriteToken("] >>") && ok;
    ok = out.WriteEndObj() && ok;
    for (size_t i = 0; i < count; ++i) {
        DestIter first = sorted.begin() + static_cast<std::ptrdiff_t>(i * size);
        DestIter end = i + 1 < count ? first + static_cast<std::ptrdiff_t>(size) : sorted.end();
        ok = WriteLeaf(out, leaves[i], first, end) && ok;
    }
    return ok;
}

} // namespace

bool PDNameStore::WriteDests(PDOutputDoc& output) {
    if (!m_table || m_table->dests.empty())
        return true;
    std::vector<Dest*> sorted;
    sorted.reserve(m_table->dests.size());
    for (const auto& dest : m_table->dests)
        sorted.push_back(dest.get());
    std::sort(sorted.begin(), sorted.end(),
              [](const Dest* a, const Dest* b) { return a->name.View() < b->name.View(); });
    bool ok = true;
    for (Dest* dest : sorted) {
        if (!dest->value)
            ok = WriteDestObject(output, *dest) && ok;
    }
    int32_t root = output.NewObjectNumber();
    m_table->names->Dict()->Set("/Dests", PDValue::MakeReference(root));
    return WriteTree(output, root, sorted) && ok;
}

bool PDNameStore::WriteNames(PDOutputDoc& output) {
    if (!m_table || m_table->names->Dict()->Count() == 0)
        return true;
    std::stable_sort(
        m_table->scripts.begin(), m_table->scripts.end(),
        [](const Table::Pair& a, const Table::Pair& b) { return a.name.View() < b.name.View(); });
    int32_t number = output.NewObjectNumber();
    output.OutputCatalog().Dict()->Set("/Names", PDValue::MakeReference(number));
    bool ok = output.WriteObjectHeader(number, 0);
    ok = output.WriteToken("<<") && ok;
    PDValue* value = nullptr;
    const char* key = nullptr;
    for (int i = 0; m_table->names->Dict()->Entry(i, &value, &key); ++i) {
        ok = output.WriteToken(key) && ok;
        if (std::string_view(key) != "/JavaScript") {
            ok = output.WriteValue(value, 0) && ok;
            continue;
        }
        ok = output.WriteToken("<</Names [") && ok;
        for (const Table::Pair& script : m_table->scripts)
            ok = WriteName(output, script.name) && output.WriteValue(script.value.get(), 0) && ok;
        ok = output.WriteToken("]>>") && ok;
    }
    ok = output.WriteToken(">>") && ok;
    return output.WriteEndObj() && ok;
}
