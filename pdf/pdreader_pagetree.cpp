// The walk over the input's page tree, and the page objects found when the tree gives none.
#include "pdf/pdreader.h"

#include "pdf/pdkeys.h"
#include "streams/pddiag.h"
#include "streams/pdlimits.h"

#include <algorithm>
#include <tuple>
#include <unordered_set>

namespace {

// One kid of a node: a reference, or a dictionary written in place (owned here, since the value
// that held it may leave the cache while the walk goes on).
struct PDKid {
    int32_t number = 0;
    std::unique_ptr<PDValue> direct;
};

// A node whose kids are being walked.
struct PDWalkFrame {
    int32_t node = 0;
    std::vector<PDKid> kids;
    size_t next = 0;
};

bool IsNodeValue(const PDValue& value, int kind) {
    // Deliberate: a kid without /Type that has /Kids is taken for a node, any other for a page;
    // writers that drop /Type still get their pages listed.
    return kind == kPDObjPages || (kind == kPDObjOther && value.GetSlot(pdkey::Kids) != nullptr);
}

int KindOf(const PDValue& value) {
    const PDValue* type = value.GetSlot(pdkey::Type);
    if (type != nullptr && type->IsName("/Pages"))
        return kPDObjPages;
    if (type != nullptr && type->IsName("/Page"))
        return kPDObjPage;
    return kPDObjOther;
}

// The kids of a node, taken out of its value: references to other objects, and dictionaries
// written in place. A kid that is the node itself is reported and dropped at once.
PDWalkFrame FrameFor(PDReader& file, int32_t node, const PDValue& value) {
    PDWalkFrame frame;
    frame.node = node;
    const PDValue* kids = value.GetSlot(pdkey::Kids);
    std::unique_ptr<PDValue> resolved;
    if (kids != nullptr && kids->Kind() == kPDReference) {
        resolved = file.LoadValue(kids->Number());
        if (resolved != nullptr && resolved->Kind() == kPDArray)
            kids = resolved.get();
    }
    if (kids == nullptr || (kids->Kind() != kPDArray && kids->Kind() != kPDReference)) {
        PDReport("pages object without kids\n");
        return frame;
    }
    const PDValue* kid = kids->Kind() == kPDReference ? kids : kids->First();
    for (; kid != nullptr; kid = kids->Kind() == kPDReference ? nullptr : kid->Next()) {
        if (kid->Kind() == kPDReference && kid->Number() == node)
            PDReport("object id recursion in /Pages object %ld\n", static_cast<long>(node));
        else if (kid->Kind() == kPDReference)
            frame.kids.push_back({kid->Number(), nullptr});
        else if (kid->Kind() == kPDDictionary)
            frame.kids.push_back({0, kid->Copy()});
    }
    return frame;
}

} // namespace

const std::vector<PDPageSlot>& PDReader::PageSlots() {
    if (m_pagesWalked)
        return m_pageSlots;
    m_pagesWalked = true;
    m_pageSlots.clear();
    m_nodeParents.clear();
    m_pagesFromScan = false;
    WalkPageTree();
    if (m_pageSlots.empty() && m_inOpen) {
        // The tree gives nothing: the page objects of the file stand in, in file order.
        for (int32_t n : ScanPageObjects())
            m_pageSlots.push_back({n, 0});
        m_pagesFromScan = !m_pageSlots.empty();
        if (m_pagesFromScan)
            PDReport("page tree unusable: %zu page objects found in the file\n",
                     m_pageSlots.size());
    }
    return m_pageSlots;
}

std::vector<int32_t> PDReader::CollectPages() {
    std::vector<int32_t> pages;
    for (const PDPageSlot& slot : PageSlots())
        pages.push_back(slot.number);
    return pages;
}

void PDReader::ForgetPages() noexcept {
    m_pagesWalked = false;
    m_nodeParents.clear();
    m_pagesFromScan = false;
    m_pageSlots.clear();
}

// Walks /Kids by what is there, with a stack of its own, so that no depth drops pages; /Count is
// never trusted. A node is walked once (a cycle or a shared subtree would repeat pages); a kid
// that cannot be read is skipped and its siblings kept. A page listed twice is kept twice, as
// other readers do.
void PDReader::WalkPageTree() {
    if (m_pagesRoot <= 0)
        return;
    ObjHolder root(*this, m_pagesRoot);
    if (!root || root.Value()->Kind() != kPDDictionary)
        return;
    if (root->Kind() == kPDObjPage) {
        m_pageSlots.push_back({m_pagesRoot, 0});
        return;
    }
    std::unordered_set<int32_t> seen{m_pagesRoot};
    std::vector<PDWalkFrame> stack;
    stack.push_back(FrameFor(*this, m_pagesRoot, *root.Value()));
    root.Clear();
    while (!stack.empty()) {
        PDWalkFrame& frame = stack.back();
        if (frame.next >= frame.kids.size()) {
            stack.pop_back();
            continue;
        }
        PDKid kid = std::move(frame.kids[frame.next++]);
        const int32_t parent = frame.node;
        int32_t number = kid.number;
        if (kid.direct != nullptr) {
            number = AdoptDirectKid(std::move(kid.direct), parent);
            if (number <= 0) {
                PDReport("direct kid of %ld left out\n", static_cast<long>(parent));
                continue;
            }
        }
        ObjHolder obj(*this, number);
        if (!obj || obj.Value()->Kind() != kPDDictionary) {
            PDReport("cannot read kid of %ld\n", static_cast<long>(parent));
            continue;
        }
        if (!IsNodeValue(*obj.Value(), obj->Kind())) {
            m_pageSlots.push_back({number, parent});
            continue;
        }
        if (!seen.insert(number).second) {
            PDReport("object id recursion in /Pages object %ld\n", static_cast<long>(number));
            continue;
        }
        m_nodeParents.emplace(number, parent);
        stack.push_back(FrameFor(*this, number, *obj.Value()));
    }
}

// Every object of the file whose /Type is /Page, ordered by where it stands in the file.
std::vector<int32_t> PDReader::ScanPageObjects() {
    std::vector<std::tuple<int64_t, int32_t, int32_t>> found; // position, index in stream, number
    const int32_t count = PDReader::ObjectCount();
    for (int32_t n = 1; n < count; ++n) {
        int64_t position = 0;
        int32_t index = 0;
        if (const PDXrefEntry* entry = XrefEntry(n); entry != nullptr) {
            position = entry->offset;
            index = entry->index;
            if (position <= 0 && entry->stream > 0) {
                const PDXrefEntry* stream = XrefEntry(entry->stream);
                position = stream != nullptr ? stream->offset : 0;
            }
        } else if (m_repairMode) {
            position = ScannedOffset(n);
        }
        if (position <= 0)
            continue;
        std::unique_ptr<PDValue> value = LoadValue(n);
        if (value != nullptr && value->Kind() == kPDDictionary && KindOf(*value) == kPDObjPage)
            found.emplace_back(position, index, n);
    }
    std::sort(found.begin(), found.end());
    std::vector<int32_t> pages;
    for (const auto& [position, index, n] : found)
        pages.push_back(n);
    return pages;
}
