// The output page tree: pages registered in order, first-level nodes of six pages each, and the
// balanced tree and catalog written at the end.
#include "pdf/pdwriter_state.h"

#include "streams/pddiag.h"

#include <algorithm>

namespace {
constexpr size_t kKidsPerNode = 6;
} // namespace

bool PDWriter::CountPage(int32_t n, int map) {
    if (!m_out)
        return false;
    WriteState& out = *m_out;
    int32_t number = FileNumber(n, map);
    if (out.pageCursor < out.pages.size()) {
        if (out.pages[out.pageCursor] != number)
            PDReport("PDWriter::CountPage - assertion failed\n");
    } else {
        out.pages.push_back(number);
    }
    ++out.pageCursor;
    return true;
}

int32_t PDWriter::ParentForPage(int pageIndex, int32_t pageNumber) {
    (void)pageNumber; // the page's number is in the page list already
    if (!m_out || pageIndex < 0)
        return 0;
    auto group = static_cast<size_t>(pageIndex) / kKidsPerNode;
    std::vector<int32_t>& parents = m_out->parents;
    if (group > parents.size()) {
        PDReport("parent id allocation error\n");
        m_error = pderr::kNullArgument;
        return 0;
    }
    if (group == parents.size())
        parents.push_back(NewObjectNumber());
    return parents[group];
}

int PDWriter::OutputPageCount() const noexcept {
    return m_out ? static_cast<int>(m_out->pages.size()) : 0;
}

int32_t PDWriter::OutputPage(int index) const noexcept {
    if (!m_out || index < 0 || static_cast<size_t>(index) >= m_out->pages.size())
        return 0;
    return m_out->pages[static_cast<size_t>(index)];
}

// One /Pages node; counts are the kids' page counts (1 for a page). parent 0 for the root.
bool PDWriter::WritePagesNode(int32_t own, int32_t parent, const std::vector<int32_t>& kids,
                              const std::vector<int32_t>& counts, int32_t& count) {
    bool ok = WriteObjectHeader(own, 0);
    ok = WriteToken("<<") && NewLine() && ok;
    ok = WriteToken("/Type") && WriteToken("/Pages") && NewLine() && ok;
    ok = WriteToken("/Kids") && WriteToken("[") && ok;
    count = 0;
    for (size_t i = 0; i < kids.size(); ++i) {
        ok = WriteReference(kids[i] % kOutputBias + kOutputBias, 0) && ok;
        count += counts[i];
    }
    ok = WriteToken("]") && NewLine() && ok;
    ok = WriteToken("/Count") && WriteInt(count) && NewLine() && ok;
    if (parent != 0)
        ok = WriteToken("/Parent") && WriteReference(parent, 0) && NewLine() && ok;
    ok = WriteToken(">>") && NewLine() && ok;
    return WriteEndObj() && ok;
}

bool PDWriter::WritePageTreeAndCatalog() {
    WriteState& out = *m_out;
    if (out.parents.size() != (out.pages.size() + kKidsPerNode - 1) / kKidsPerNode)
        PDReport("assertion failed in PDWriter::WriteContents\n");
    std::vector<int32_t> level(out.pages.begin(), out.pages.end());
    std::vector<int32_t> counts(level.size(), 1);
    bool ok = true;
    int32_t count = 0;
    if (out.parents.size() <= 1) {
        // At most six pages: the one first-level node is the root.
        out.root = out.parents.empty() ? NewObjectNumber() : out.parents[0];
        ok = WritePagesNode(out.root, 0, level, counts, count);
        return WriteCatalog() && ok;
    }
    // Each pass writes one level of nodes under parents numbered now; at most six nodes left
    // hang under the root.
    std::vector<int32_t> own = out.parents;
    for (;;) {
        size_t groups = own.size();
        bool underRoot = groups <= kKidsPerNode;
        std::vector<int32_t> upper;
        for (size_t g = 0; g < (underRoot ? 1 : (groups + kKidsPerNode - 1) / kKidsPerNode); ++g)
            upper.push_back(NewObjectNumber());
        std::vector<int32_t> nodeCounts;
        for (size_t g = 0; g < groups; ++g) {
            size_t begin = std::min(g * kKidsPerNode, level.size());
            size_t end = std::min(begin + kKidsPerNode, level.size());
            std::vector<int32_t> kids(level.begin() + static_cast<long>(begin),
                                      level.begin() + static_cast<long>(end));
            std::vector<int32_t> kidCounts(counts.begin() + static_cast<long>(begin),
                                           counts.begin() + static_cast<long>(end));
            ok = WritePagesNode(own[g], upper[g / kKidsPerNode], kids, kidCounts, count) && ok;
            nodeCounts.push_back(count);
        }
        level = own;
        counts = nodeCounts;
        if (underRoot) {
            out.root = upper[0];
            break;
        }
        own = upper;
    }
    ok = WritePagesNode(out.root, 0, level, counts, count) && ok;
    return WriteCatalog() && ok;
}

bool PDWriter::WriteCatalog() {
    WriteState& out = *m_out;
    int32_t rootNode = out.root;
    out.root = NewObjectNumber();
    bool ok = WriteObjectHeader(out.root, 0);
    ok = WriteToken("<<") && NewLine() && ok;
    ok = WriteToken("/Type") && WriteToken("/Catalog") && NewLine() && ok;
    ok = WriteToken("/Pages") && WriteReference(rootNode, 0) && NewLine() && ok;
    PDValue* value = nullptr;
    const char* key = nullptr;
    for (int i = 0; out.catalog && out.catalog->Dict()->Entry(i, &value, &key); ++i) {
        if (value == nullptr ||
            (value->Kind() == kPDDictionary && value->Dict()->Count() == 0 && !value->HasStream()))
            continue;
        ok = WriteToken(key) && WriteValue(value, 0) && NewLine() && ok;
    }
    ok = WriteToken(">>") && NewLine() && ok;
    return WriteEndObj() && ok;
}
