// The walk over the input's page tree.
#include "pdf/pdfile.h"

#include "pdf/pddiag.h"
#include "pdf/pdkeys.h"
#include "pdf/pdlimits.h"

std::vector<int32_t> PDFile::CollectPages() {
    m_walkPages.clear();
    m_walkSeen.clear();
    m_walkDepth = 0;
    if (m_pagesRoot <= 0)
        return {};
    m_walkSeen.insert(m_pagesRoot);
    ObjHolder root(*this, m_pagesRoot);
    if (!root || root.Value()->Kind() != kPDDictionary)
        return {};
    if (root->Kind() == kPDObjPage)
        VisitPage(*root.Get(), 0);
    else
        WalkKids(*root.Get());
    m_walkSeen.clear();
    std::vector<int32_t> pages;
    pages.swap(m_walkPages);
    return pages;
}

void PDFile::WalkKids(const PDIndirectObj& node) {
    const PDValue* kids = node.Value() != nullptr ? node.Value()->GetSlot(pdkey::Kids) : nullptr;
    if (kids == nullptr) {
        PDReport("pages object without kids\n");
        return;
    }
    if (m_walkDepth >= pdlimits::kMaxTreeDepth)
        return;
    ++m_walkDepth;
    const int32_t self = node.Number();
    const PDValue* kid = kids->Kind() == kPDReference ? kids : kids->First();
    for (; kid != nullptr; kid = kids->Kind() == kPDReference ? nullptr : kid->Next()) {
        if (kid->Kind() != kPDReference)
            continue;
        if (kid->Number() == self) {
            PDReport("object id recursion in /Pages object %ld\n", static_cast<long>(self));
            continue;
        }
        if (!VisitKid(kid->Number(), self))
            PDReport("cannot read kid of %ld\n", static_cast<long>(self));
    }
    --m_walkDepth;
}

bool PDFile::VisitKid(int32_t kidNum, int32_t parentNum) {
    ObjHolder kid(*this, kidNum);
    if (!kid || kid.Value()->Kind() != kPDDictionary)
        return false;
    // Deliberate: a kid without /Type that has /Kids is taken for a node, any other for a page;
    // writers that drop /Type still get their pages listed.
    bool isNode = kid->Kind() == kPDObjPages ||
                  (kid->Kind() == kPDObjOther && kid.Value()->GetSlot(pdkey::Kids) != nullptr);
    if (!isNode)
        return VisitPage(*kid.Get(), parentNum);
    if (!m_walkSeen.insert(kidNum).second) {
        // A node met twice is a cycle or a shared subtree; either would repeat pages.
        PDReport("object id recursion in /Pages object %ld\n", static_cast<long>(kidNum));
        return true;
    }
    WalkKids(*kid.Get());
    return true;
}

bool PDFile::VisitPage(PDIndirectObj& page, int32_t parentNum) {
    (void)parentNum;
    m_walkPages.push_back(page.Number());
    return true;
}
