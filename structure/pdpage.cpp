// Pages of an input document: finding them by index, walking the tree for a transfer, inherited
// attributes, resources, and the catalog entries the form code changes.
#include "structure/pdpage.h"

#include "pdf/pdkeys.h"
#include "streams/pddiag.h"
#include "streams/pdlimits.h"
#include "structure/pdinput.h"
#include "structure/pdoutput.h"
#include "structure/pdrefcopier.h"

#include <algorithm>
#include <vector>

namespace {

bool IsDictionary(const PDInputObj* obj) {
    return obj != nullptr && obj->Value() != nullptr && obj->Value()->Kind() == kPDDictionary;
}

// The numbers of a node's kids: the references of its /Kids array (held directly or in an
// object of its own), or the one kid that /Kids names.
} // namespace

// ------------------------------------------------------------------ annotation cursor

PDAnnotCursor::PDAnnotCursor(PDFile& doc, const PDValue& page) {
    PDValue* annots = page.GetSlot(pdkey::Annots);
    if (annots != nullptr && annots->Kind() == kPDReference) {
        if (auto* input = dynamic_cast<PDFInput*>(&doc)) {
            PDInputObj* obj = input->GetObj(annots->Number());
            annots = obj != nullptr ? obj->Value() : nullptr;
        } else {
            m_owned = doc.LoadValue(annots->Number());
            annots = m_owned.get();
        }
    }
    if (annots == nullptr)
        return;
    if (annots->Kind() != kPDArray) {
        PDReport("Array expected for annotations\n");
        return;
    }
    m_next = annots->First();
}

PDAnnotCursor::~PDAnnotCursor() = default;

PDValue* PDAnnotCursor::Next() noexcept {
    PDValue* element = m_next;
    if (element != nullptr)
        m_next = element->Next();
    return element;
}

// ------------------------------------------------------------------ tree navigation

PDInputObj* PDFInput::ParentOf(PDInputObj& node) {
    if (node.ParentLink() != 0)
        return node.ParentNode();
    const PDValue* parent =
        node.Value() != nullptr ? node.Value()->GetSlot(pdkey::Parent) : nullptr;
    return parent != nullptr && parent->Kind() == kPDReference ? GetObj(parent->Number()) : nullptr;
}

bool PDFInput::CountOf(PDInputObj& node, int32_t& count) {
    PDValue* value = node.Value() != nullptr ? node.Value()->GetSlot(pdkey::Count) : nullptr;
    if (value != nullptr && value->Kind() == kPDReference) {
        const PDValue* resolved = Resolve(value);
        if (resolved == nullptr || resolved->Kind() != kPDInteger)
            return false;
        count = resolved->Number();
        node.Value()->Dict()->SaveAttrVal(pdkey::Count, PDValue::MakeInteger(count));
        return true;
    }
    if (value == nullptr || value->Kind() != kPDInteger)
        return false;
    count = value->Number();
    return true;
}

PDValue* PDFInput::LookupInherited(PDValue* dict, const char* key) {
    for (int depth = 0; dict != nullptr && depth < pdlimits::kMaxTreeDepth; ++depth) {
        if (PDValue* value = dict->Get(key))
            return value;
        const PDValue* parent = dict->GetSlot(pdkey::Parent);
        PDInputObj* obj = parent != nullptr && parent->Kind() == kPDReference
                              ? GetObj(parent->Number())
                              : nullptr;
        dict = obj != nullptr ? obj->Value() : nullptr;
    }
    return nullptr;
}

PDInputObj* PDFInput::PageByIndex(int index) {
    if (!IsOpenForReading()) {
        SetErrorCode(pderr::kNoPageTree);
        return nullptr;
    }
    const std::vector<PDPageSlot>& pages = PageSlots();
    if (pages.empty()) {
        SetErrorCode(pderr::kNoPageTree);
        return nullptr;
    }
    if (index < 0 || static_cast<size_t>(index) >= pages.size())
        return nullptr;
    const PDPageSlot& slot = pages[static_cast<size_t>(index)];
    PDInputObj* page = GetObj(slot.number);
    if (page != nullptr && slot.parent != 0)
        page->SetParentNumber(slot.parent);
    return page;
}

bool PDFInput::IsPageObject(int32_t n) {
    if (!m_pageObjectsKnown) {
        m_pageObjectsKnown = true;
        for (const PDPageSlot& slot : PageSlots())
            m_pageObjects.insert(slot.number);
        for (const auto& [node, parent] : NodeParents())
            m_pageObjects.insert(node);
    }
    return m_pageObjects.count(n) != 0;
}

// ------------------------------------------------------------------ resources

PDValue* PDFInput::PageResources(PDInputObj& page) {
    PDValue* dict = page.Value();
    if (dict == nullptr || dict->Kind() != kPDDictionary) {
        PDReport("no dictionary found on page object\n");
        return nullptr;
    }
    PDInputObj* holder = &page;
    PDValue* resources = dict->GetSlot(pdkey::Resources);
    if (resources == nullptr && dict->GetSlot(pdkey::Parent) == nullptr) {
        PDReport("no /Resources and no /Parent");
        return nullptr;
    }
    // Deliberate: only the page's own /Parent is reported missing; an ancestor without one ends
    // the search silently.
    for (int depth = 0; resources == nullptr && depth < pdlimits::kMaxTreeDepth; ++depth) {
        holder = ParentOf(*holder);
        if (!IsDictionary(holder))
            return nullptr;
        resources = holder->Value()->GetSlot(pdkey::Resources);
    }
    if (resources != nullptr && resources->Kind() == kPDReference) {
        PDInputObj* owner = GetObj(resources->Number());
        if (!IsDictionary(owner))
            return nullptr;
        page.SetResourcesOwner(owner->Number());
        return owner->Value();
    }
    if (resources == nullptr || resources->Kind() != kPDDictionary)
        return nullptr;
    page.SetResourcesOwner(holder->Number());
    return resources;
}

// An object about to change: written at the end of the transfer, and again if it went out
// already.
void PDFInput::MarkChanged(int32_t n) {
    if (m_held.empty())
        return;
    if (NeedsCopy(n)) {
        MarkHeld(n);
    } else if (!IsHeld(n)) {
        if (m_output != nullptr)
            m_output->ClearMapEntry(n, m_mapIndex);
        MarkHeld(n);
        MarkCopied(n, false);
    }
}

void PDFInput::AddResource(PDInputObj& page, const char* category, const char* name, int32_t n) {
    PDValue* resources = PageResources(page);
    if (resources == nullptr || category == nullptr)
        return;
    int slot = resources->Dict()->Intern(category);
    if (slot >= 0)
        AddResource(page, slot, name, n);
}

void PDFInput::AddResource(PDInputObj& page, int categorySlot, const char* name, int32_t n) {
    PDValue* resources = PageResources(page);
    // The page itself goes out after its hook anyway; holding it would write it twice.
    if (page.ResourcesOwner() != 0 && page.ResourcesOwner() != page.Number())
        MarkHeld(page.ResourcesOwner());
    if (resources == nullptr || name == nullptr)
        return;
    PDValue* entry = resources->Dict()->GetSlot(categorySlot);
    if (entry == nullptr) {
        resources->Dict()->SaveAttrVal(categorySlot,
                                       n != 0 ? PDValue::MakeDictionary() : PDValue::MakeArray());
        entry = resources->Dict()->GetSlot(categorySlot);
        if (entry == nullptr)
            return;
    }
    if (entry->Kind() == kPDReference) {
        PDInputObj* obj = GetObj(entry->Number());
        if (obj == nullptr || obj->Value() == nullptr)
            return;
        MarkChanged(obj->Number());
        entry = obj->Value();
    }
    if (entry->Kind() == kPDArray) {
        for (const PDValue* e = entry->First(); e != nullptr; e = e->Next()) {
            if (e->Text() == name)
                return;
        }
        if (n != 0) {
            PDReport("AddResource: null id expected for array type resource entry\n");
            return;
        }
        entry->Append(std::make_unique<PDValue>(name));
    } else if (entry->Kind() == kPDDictionary) {
        if (entry->Get(name) != nullptr)
            return;
        if (n == 0) {
            // Deliberate: the text names the wrong fault; it is kept as it stands.
            PDReport("dictionary expected for /Resources\n");
            return;
        }
        entry->Dict()->Set(name, PDValue::MakeReference(n));
    } else {
        PDReport("AddResource: resource entry must be dictionary or array\n");
    }
}

// ------------------------------------------------------------------ catalog

bool PDFInput::RemoveRights() {
    PDValue* prefs = ResolveKey(Catalog(), "/ViewerPreferences");
    return prefs != nullptr && prefs->Kind() == kPDDictionary && prefs->Dict()->Remove("/Rights");
}

int32_t PDFInput::RemoveFromPageTree(PDInputObj* node, int32_t child, int32_t delta) {
    for (int depth = 0; node != nullptr && depth < pdlimits::kMaxTreeDepth; ++depth) {
        int32_t count = 0;
        if (!CountOf(*node, count))
            return 0;
        if (delta > 0 && count > 0) {
            count -= delta;
            node->Value()->Dict()->SaveAttrVal(pdkey::Count, PDValue::MakeInteger(count));
        }
        if (child != 0) {
            PDValue* kids = ResolveKey(node->Value(), "/Kids");
            if (kids != nullptr)
                kids->RemoveReference(child);
        }
        PDInputObj* parent = ParentOf(*node);
        if (count != 0) {
            if (delta == 0 || parent == nullptr)
                return count;
            child = 0;
        } else if (parent == nullptr) {
            PDReport("top /Pages to be removed\n");
            return 0;
        } else {
            child = node->Number();
        }
        node = parent;
    }
    return 0;
}

// ------------------------------------------------------------------ the page walk of a transfer

// Pages are copied in the order of the page walk, each with the node it was reached from as its
// parent, so that inherited attributes come from the real ancestors.
bool PDFInput::CopyPages() {
    const std::vector<PDPageSlot> pages = PageSlots();
    for (const auto& [node, parent] : NodeParents()) {
        if (PDInputObj* obj = GetObj(node); obj != nullptr && parent != 0)
            obj->SetParentNumber(parent);
    }
    m_pagesFound = static_cast<int>(pages.size());
    for (size_t i = 0; i < pages.size(); ++i) {
        const int64_t index = static_cast<int64_t>(i) + 1;
        if (index < m_firstPage || index > m_lastPage)
            continue;
        PDInputObj* page = GetObj(pages[i].number);
        if (page == nullptr || page->Value() == nullptr || page->Value()->Kind() != kPDDictionary)
            continue;
        page->SetParentNumber(pages[i].parent);
        CopyPage(*page);
    }
    return !pages.empty();
}

// The four attributes a page inherits by the rules of the format.
constexpr const char* kInheritable[] = {"/Resources", "/MediaBox", "/CropBox", "/Rotate"};

// For each inheritable attribute, the nearest node from node upwards that holds it (0: none).
// Each node is worked out once from its parent's answer, so deep trees cost linear time.
PDFInput::InheritedFrom PDFInput::InheritedSources(int32_t node) {
    std::vector<int32_t> chain;
    std::unordered_set<int32_t> onChain;
    InheritedFrom above{};
    for (int32_t n = node; n != 0;) {
        if (auto it = m_inherited.find(n); it != m_inherited.end()) {
            above = it->second;
            break;
        }
        if (!onChain.insert(n).second)
            break; // a /Parent cycle: what is above it is what the chain found so far
        chain.push_back(n);
        PDInputObj* obj = GetObj(n);
        PDInputObj* parent = obj != nullptr ? ParentOf(*obj) : nullptr;
        n = parent != nullptr ? parent->Number() : 0;
    }
    for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
        PDInputObj* obj = GetObj(*it);
        const PDValue* dict = obj != nullptr ? obj->Value() : nullptr;
        for (size_t k = 0; k < above.size(); ++k) {
            if (dict != nullptr && dict->Kind() == kPDDictionary &&
                dict->Get(kInheritable[k]) != nullptr)
                above[k] = *it;
        }
        m_inherited[*it] = above;
    }
    return above;
}

// Attributes a page inherits are copied into it, nearest ancestor first, so the copy needs no
// tree above it; what the page holds itself is never replaced. Every attribute of the nearest
// ancestors comes along; the four inheritable ones come from any height.
void PDFInput::MakeInheritedExplicit(PDInputObj& page) {
    PDValue* dict = page.Value();
    std::unordered_set<int32_t> seen{page.Number()};
    PDInputObj* node = &page;
    for (int depth = 0; depth < pdlimits::kCheapTreeDepth; ++depth) {
        node = ParentOf(*node);
        if (!IsDictionary(node) || !seen.insert(node->Number()).second)
            break;
        PDValue* value = nullptr;
        int slot = 0;
        PDDict* from = node->Value()->Dict();
        for (int i = 0; from->EntrySlot(i, &value, &slot); ++i) {
            const char* key = from->KeyText(slot);
            if (value == nullptr || slot == pdkey::Parent || slot == pdkey::Kids ||
                slot == pdkey::Count || slot == pdkey::Type || dict->Get(key) != nullptr)
                continue;
            dict->Dict()->Set(key, value->Copy());
        }
    }
    PDInputObj* parent = ParentOf(page);
    InheritedFrom sources =
        parent != nullptr ? InheritedSources(parent->Number()) : InheritedFrom{};
    for (size_t k = 0; k < sources.size(); ++k) {
        if (sources[k] == 0 || dict->Get(kInheritable[k]) != nullptr)
            continue;
        PDInputObj* holder = GetObj(sources[k]);
        const PDValue* value =
            IsDictionary(holder) ? holder->Value()->Get(kInheritable[k]) : nullptr;
        if (value != nullptr)
            dict->Dict()->Set(kInheritable[k], value->Copy());
    }
    // A page without a media box is unreadable to others; a page of a broken tree that lost it
    // gets US Letter, the size readers assume.
    if (dict->GetSlot(pdkey::MediaBox) == nullptr) {
        auto box = PDValue::MakeArray();
        for (int v : {0, 0, 612, 792})
            box->Append(PDValue::MakeInteger(v));
        dict->Dict()->SaveAttrVal(pdkey::MediaBox, std::move(box));
    }
}

bool PDFInput::CopyPage(PDInputObj& page) {
    ForgetCopy(page.Number());
    MakeInheritedExplicit(page);
    // A page reached as a leaf of the tree is a page, whatever its writer called it.
    PDValue* type = page.Value()->GetSlot(pdkey::Type);
    if (type == nullptr || !type->IsName("/Page"))
        page.Value()->Dict()->SaveAttrVal(pdkey::Type, std::make_unique<PDValue>("/Page"));
    page.SetKind(kPDObjPage);
    PDValue* contents = page.Value()->GetSlot(pdkey::Contents);
    if (contents != nullptr && contents->Kind() == kPDReference) {
        PDInputObj* array = GetObj(contents->Number());
        if (array != nullptr && array->Value() != nullptr && array->Value()->Kind() == kPDArray)
            page.Value()->Dict()->SaveAttrVal(pdkey::Contents, array->Value()->Copy());
    }
    SetCurrentPage(&page);
    bool accepted = AcceptPage(page);
    SetCurrentPage(nullptr);
    if (!accepted || m_output == nullptr || page.Value() == nullptr)
        return true;
    PDOutputDoc& output = *m_output;
    const int32_t mapped = output.MapId(page.Number(), m_mapIndex);
    const int pageIndex = output.OutputPageCount();
    output.CountPage(page.Number(), m_mapIndex);
    const int32_t parent = output.ParentForPage(pageIndex, mapped);
    page.Value()->Dict()->SaveAttrVal(pdkey::Parent, PDValue::MakeReference(parent));
    if (!page.TransferToOutput(output))
        return true;
    RefCopier copier(*this, output, true);
    copier.Walk(*page.Value(), &page);
    m_transferred.Append(page.Number());
    m_transferredSet.insert(page.Number());
    m_outputPages.Append(pageIndex);
    ReleaseWritten(page);
    return true;
}
