// Pages of an input document: finding them by index, walking the tree for a transfer, inherited
// attributes, resources, and the catalog entries the form code changes.
#include "structure/pdpage.h"

#include "pdf/pddiag.h"
#include "pdf/pdkeys.h"
#include "pdf/pdlimits.h"
#include "structure/pdinput.h"
#include "structure/pdoutput.h"
#include "structure/pdrefcopier.h"

#include <algorithm>
#include <vector>

bool PDIsPageNode(const PDIndirectObj& obj) noexcept {
    return obj.Kind() == kPDObjPages || (obj.Kind() == kPDObjOther && obj.Value() != nullptr &&
                                         obj.Value()->GetSlot(pdkey::Kids) != nullptr);
}

bool PDIsPage(const PDIndirectObj& obj) noexcept {
    return obj.Kind() == kPDObjPage ||
           (obj.Kind() == kPDObjOther && obj.Value() != nullptr &&
            obj.Value()->Kind() == kPDDictionary && obj.Value()->GetSlot(pdkey::Kids) == nullptr);
}

namespace {

bool IsDictionary(const PDInputObj* obj) {
    return obj != nullptr && obj->Value() != nullptr && obj->Value()->Kind() == kPDDictionary;
}

// The numbers of a node's kids: the references of its /Kids array (held directly or in an
// object of its own), or the one kid that /Kids names.
std::vector<int32_t> KidNumbers(PDFInput& doc, const PDInputObj& node) {
    std::vector<int32_t> numbers;
    const PDValue* kids = node.Value() != nullptr ? node.Value()->GetSlot(pdkey::Kids) : nullptr;
    if (kids != nullptr && kids->Kind() == kPDReference) {
        const PDValue* resolved = doc.Resolve(kids);
        if (resolved == nullptr || resolved->Kind() != kPDArray) {
            numbers.push_back(kids->Number());
            return numbers;
        }
        kids = resolved;
    }
    for (const PDValue* kid = kids != nullptr ? kids->First() : nullptr; kid != nullptr;
         kid = kid->Next()) {
        if (kid->Kind() == kPDReference)
            numbers.push_back(kid->Number());
    }
    return numbers;
}

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

PDInputObj* PDFInput::DescendToPage(PDInputObj* node) {
    for (int depth = 0; node != nullptr && depth < pdlimits::kMaxTreeDepth; ++depth) {
        if (PDIsPage(*node))
            return node;
        std::vector<int32_t> kids = KidNumbers(*this, *node);
        PDInputObj* kid = kids.empty() ? nullptr : GetObj(kids.front());
        if (kid != nullptr)
            kid->SetParentNode(node);
        node = kid;
    }
    return nullptr;
}

PDInputObj* PDFInput::NextPage(PDInputObj& page) {
    PDInputObj* node = &page;
    for (int depth = 0; depth < pdlimits::kMaxTreeDepth; ++depth) {
        PDInputObj* parent = ParentOf(*node);
        if (parent == nullptr)
            return nullptr;
        std::vector<int32_t> kids = KidNumbers(*this, *parent);
        auto it = std::find(kids.begin(), kids.end(), node->Number());
        if (it != kids.end() && it + 1 != kids.end()) {
            PDInputObj* next = GetObj(*(it + 1));
            if (next == nullptr)
                return nullptr;
            next->SetParentNode(parent);
            return DescendToPage(next);
        }
        node = parent;
    }
    return nullptr;
}

PDInputObj* PDFInput::PageByIndex(int index) {
    if (!IsOpenForReading() || PagesRoot() <= 0) {
        SetErrorCode(pderr::kNoPageTree);
        return nullptr;
    }
    if (m_cursorPage != 0 && (index == m_cursorIndex || index == m_cursorIndex + 1)) {
        PDInputObj* cursor = GetObj(m_cursorPage);
        PDInputObj* found =
            cursor == nullptr || index == m_cursorIndex ? cursor : NextPage(*cursor);
        if (found != nullptr) {
            m_cursorPage = found->Number();
            m_cursorIndex = index;
            return found;
        }
    }
    PDInputObj* node = GetObj(PagesRoot());
    int32_t count = 0;
    if (!IsDictionary(node)) {
        SetErrorCode(pderr::kCatalog);
        return nullptr;
    }
    if (!CountOf(*node, count)) {
        SetErrorCode(pderr::kNoPageCount);
        return nullptr;
    }
    if (index < 0 || index >= count)
        return nullptr;
    int64_t wanted = index;
    for (int depth = 0; node != nullptr && depth < pdlimits::kMaxTreeDepth; ++depth) {
        if (PDIsPage(*node)) {
            m_cursorPage = node->Number();
            m_cursorIndex = index;
            return node;
        }
        PDInputObj* next = nullptr;
        int64_t k = 0;
        for (int32_t kid : KidNumbers(*this, *node)) {
            PDInputObj* obj = GetObj(kid);
            int32_t n = 1;
            if (IsDictionary(obj) && PDIsPageNode(*obj) && !CountOf(*obj, n))
                n = 0;
            if (!IsDictionary(obj) && k == wanted)
                return nullptr;
            if (IsDictionary(obj) && k + n > wanted) {
                obj->SetParentNode(node);
                next = obj;
                wanted -= k;
            }
            k += n;
            if (next != nullptr)
                break;
        }
        node = next;
    }
    return nullptr;
}

int32_t PDFInput::PageNumberByIndex(int index) {
    PDInputObj* page = PageByIndex(index);
    return page != nullptr ? page->Number() : 0;
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

PDValue* PDFInput::FormDictionary() {
    PDValue* form = Catalog() != nullptr ? Resolve(Catalog()->Get("/AcroForm")) : nullptr;
    return form != nullptr && form->Kind() == kPDDictionary ? form : nullptr;
}

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

bool PDFInput::CopyPages(PDInputObj& node, int firstIndex) {
    std::unordered_set<int32_t> seen;
    int64_t index = firstIndex;
    return CopyPageNode(node, index, 0, seen);
}

bool PDFInput::CopyPageNode(PDInputObj& node, int64_t& index, int depth,
                            std::unordered_set<int32_t>& seen) {
    if (PDIsPage(node)) {
        bool inRange = index >= m_firstPage && index <= m_lastPage;
        ++index;
        return !inRange || CopyPage(node);
    }
    int32_t count = 0;
    if (CountOf(node, count) && count >= 0 && m_firstPage >= index + count) {
        index += count;
        return true;
    }
    // A node met twice (a cycle, or a subtree listed twice) would repeat its pages.
    if (index > m_lastPage || depth >= pdlimits::kMaxTreeDepth ||
        !seen.insert(node.Number()).second)
        return true;
    for (int32_t kid : KidNumbers(*this, node)) {
        if (index > m_lastPage)
            break;
        PDInputObj* obj = GetObj(kid);
        if (!IsDictionary(obj)) {
            SetErrorCode(pderr::kCatalog);
            return false;
        }
        obj->SetParentNode(&node);
        if (!CopyPageNode(*obj, index, depth + 1, seen))
            return false;
    }
    return true;
}

// Attributes a page inherits are copied into it, nearest ancestor first, so the copy needs no
// tree above it; what the page holds itself is never replaced.
void PDFInput::MakeInheritedExplicit(PDInputObj& page) {
    PDValue* dict = page.Value();
    std::unordered_set<int32_t> seen{page.Number()};
    PDInputObj* node = &page;
    for (int depth = 0; depth < pdlimits::kMaxTreeDepth; ++depth) {
        node = ParentOf(*node);
        if (!IsDictionary(node) || !seen.insert(node->Number()).second)
            return;
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
    return true;
}
