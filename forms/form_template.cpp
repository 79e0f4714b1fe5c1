#include "forms/form_template.h"

#include "forms/form_document.h"
#include "forms/form_fonts.h"
#include "pdf/pdformat.h"
#include "pdf/pdstring.h"
#include "pdf/pdtextstring.h"
#include "streams/pdlimits.h"
#include "streams/pdnumtext.h"

#include <cstdio>
#include <unordered_set>

namespace {

// Decoded text of a name or string value; empty for anything else.
PDStr TextOf(const PDValue* v) {
    PDStr out;
    if (v != nullptr && (v->Kind() == kPDString || v->IsName()))
        PDDecodeString(v->Text(), out);
    return out;
}

size_t DisplayLength(const std::string& utf8) {
    size_t n = 0;
    for (char c : utf8)
        n += (static_cast<uint8_t>(c) & 0xC0) != 0x80 ? 1 : 0;
    return n;
}

std::string Utf8(const PDStr& s) {
    return PDTextToUtf8(s.View());
}

} // namespace

PDFormTemplate::PDFormTemplate() = default;
PDFormTemplate::~PDFormTemplate() {
    if (m_document != nullptr)
        m_document->DetachTemplate();
}

void PDFormTemplate::SetPendingValue(const PDStr& name, PDPendingValue value) {
    auto [it, added] = m_pending.insert_or_assign(name.ToString(), std::move(value));
    if (added)
        m_pendingOrder.push_back(it->first);
}

int PDFormTemplate::TerminalCount() {
    CollectFields();
    return static_cast<int>(m_terminals.size());
}

PDValue* PDFormTemplate::TerminalField(int field) {
    CollectFields();
    if (field < 1 || static_cast<size_t>(field) > m_terminals.size())
        return nullptr;
    return TerminalDict(m_terminals[static_cast<size_t>(field - 1)]);
}

PDValue* PDFormTemplate::EditTerminalField(int field) {
    PDValue* dict = TerminalField(field);
    if (dict == nullptr)
        return nullptr;
    const Terminal& t = m_terminals[static_cast<size_t>(field - 1)];
    KeepEdited(t.holder);
    KeepEdited(t.objNum);
    PDValue* kids = Deref(dict->GetSlot(pdkey::Kids));
    for (PDValue* k = kids != nullptr && kids->Kind() == kPDArray ? kids->First() : nullptr;
         k != nullptr; k = k->Next()) {
        if (k->Kind() == kPDReference)
            KeepEdited(k->Number());
    }
    return dict;
}

const PDPendingValue* PDFormTemplate::PendingValue(const PDStr& name) const {
    auto it = m_pending.find(name.ToString());
    return it != m_pending.end() ? &it->second : nullptr;
}

bool PDFormTemplate::AcceptPage(PDInputObj& page) {
    return m_document == nullptr || m_document->AcceptTemplatePage(page);
}

void PDFormTemplate::ForgetFields() {
    m_terminals.clear();
    m_visited.clear();
    m_fieldsCollected = false;
}

PDValue* PDFormTemplate::Deref(PDValue* v) {
    return Resolve(v);
}

PDValue* PDFormTemplate::FormFields() {
    PDValue* catalog = Catalog();
    PDValue* form = catalog ? Deref(catalog->Get("/AcroForm")) : nullptr;
    PDValue* fields = form ? Deref(form->Get("/Fields")) : nullptr;
    return fields != nullptr && fields->Kind() == kPDArray ? fields : nullptr;
}

void PDFormTemplate::CollectFields() {
    if (m_fieldsCollected)
        return;
    m_fieldsCollected = true;
    PDValue* fields = FormFields();
    uint16_t index = 0;
    for (PDValue* f = fields ? fields->First() : nullptr; f != nullptr && index < UINT16_MAX;
         f = f->Next(), ++index) {
        bool counted = false;
        int32_t num = f->Kind() == kPDReference ? f->Number() : 0;
        Terminal at = num != 0 ? Terminal{num, num, {}} : Terminal{0, 0, {index}};
        CollectNode(Deref(f), at, 0, counted);
    }
}

// A node with /Kids is searched through its kids first; only when none of them was counted is the
// node itself a terminal field (so a field whose kids are bare widgets is one field).
void PDFormTemplate::CollectNode(PDValue* node, const Terminal& at, int depth, bool& counted) {
    counted = false;
    if (node == nullptr || node->Kind() != kPDDictionary || depth > pdlimits::kMaxTreeDepth)
        return;
    if (at.objNum != 0) {
        if (m_visited.count(at.objNum))
            return; // a field reached twice (a cycle, or listed twice) is counted once
        m_visited[at.objNum] = true;
    }
    PDValue* kids = Deref(node->GetSlot(pdkey::Kids));
    bool anyKid = false;
    uint16_t index = 0;
    for (PDValue* k = kids != nullptr && kids->Kind() == kPDArray ? kids->First() : nullptr;
         k != nullptr && index < UINT16_MAX; k = k->Next(), ++index) {
        bool kidCounted = false;
        Terminal kid{0, at.holder, at.path};
        if (k->Kind() == kPDReference)
            kid = Terminal{k->Number(), k->Number(), {}};
        else
            kid.path.push_back(index);
        CollectNode(Deref(k), kid, depth + 1, kidCounted);
        anyKid = anyKid || kidCounted;
    }
    if (!anyKid && node->Get("/T") != nullptr) {
        m_terminals.push_back(at);
        counted = true;
    }
    counted = counted || anyKid;
}

PDValue* PDFormTemplate::TerminalDict(const Terminal& t) {
    PDInputObj* holder = t.holder != 0 ? GetObj(t.holder) : nullptr;
    PDValue* node = holder != nullptr ? holder->Value() : nullptr;
    auto step = t.path.begin();
    if (t.holder == 0 && step != t.path.end()) {
        PDValue* fields = FormFields();
        node = fields != nullptr ? fields->Element(*step++) : nullptr;
    }
    for (; node != nullptr && step != t.path.end(); ++step) {
        PDValue* kids = Deref(node->GetSlot(pdkey::Kids));
        node = kids != nullptr && kids->Kind() == kPDArray ? kids->Element(*step) : nullptr;
    }
    return node != nullptr && node->Kind() == kPDDictionary ? node : nullptr;
}

bool PDFormTemplate::GetField(int field, PDFieldInfo& info) {
    info = PDFieldInfo{};
    CollectFields();
    if (field < 1 || static_cast<size_t>(field) > m_terminals.size())
        return false;
    PDValue* dict = TerminalDict(m_terminals[static_cast<size_t>(field - 1)]);
    if (dict == nullptr)
        return false;
    info.name = FullNameUtf8(dict);
    info.value = PDStr(Utf8(TextOf(Deref(dict->Get("/V")))));
    info.tooltip = PDStr(Utf8(TextOf(Deref(dict->Get("/TU")))));
    PDValue* ff = Deref(dict->Get("/Ff"));
    PDValue* f = Deref(dict->Get("/F"));
    info.fieldFlags = static_cast<uint16_t>(ff ? ff->GetInt() : 0);
    info.annotationFlags = static_cast<uint16_t>(f ? f->GetInt() : 0);
    return true;
}

PDStr PDFormTemplate::FullName(const PDValue* field) {
    return JoinName(field, [](const PDValue* t) { return TextOf(t); });
}

// Each part is converted on its own: one name may mix PDFDocEncoding and UTF-16 parts.
PDStr PDFormTemplate::FullNameUtf8(const PDValue* field) {
    return JoinName(field, [](const PDValue* t) {
        PDStr bytes = TextOf(t);
        return PDStr(PDTextToUtf8(bytes.View()));
    });
}

template <class Convert> PDStr PDFormTemplate::JoinName(const PDValue* field, Convert convert) {
    PDStr name = convert(field ? field->Get("/T") : nullptr);
    std::unordered_set<const PDValue*> seen{field};
    const PDValue* node = field;
    for (int depth = 0; node != nullptr && depth < pdlimits::kMaxTreeDepth; ++depth) {
        const PDValue* parent = Deref(node->GetSlot(pdkey::Parent));
        if (parent == nullptr || parent->Kind() != kPDDictionary || !seen.insert(parent).second)
            break;
        if (const PDValue* t = parent->Get("/T")) {
            PDStr prefix = convert(Deref(const_cast<PDValue*>(t)));
            if (!name.IsEmpty()) {
                prefix.Append('.');
                prefix.Append(name);
            }
            name = prefix;
        }
        node = parent;
    }
    return name;
}

PDValue* PDFormTemplate::WidgetDict(PDValue* field, const Terminal& t, int widget,
                                    int32_t& objNum) {
    PDValue* kids = Deref(field->GetSlot(pdkey::Kids));
    PDValue* w = nullptr;
    objNum = 0;
    if (kids == nullptr || kids->Kind() != kPDArray) {
        if (widget == 1) {
            w = field;
            objNum = t.objNum;
        }
    } else if (PDValue* k = kids->Element(widget - 1)) {
        objNum = k->Kind() == kPDReference ? k->Number() : 0;
        w = Deref(k);
    }
    if (w == nullptr || w->Kind() != kPDDictionary)
        return nullptr;
    PDValue* subtype = Deref(w->Get("/Subtype"));
    return subtype && subtype->IsName("/Widget") ? w : nullptr;
}

bool PDFormTemplate::GetWidget(int field, int widget, PDWidgetInfo& info) {
    info = PDWidgetInfo{};
    CollectFields();
    if (field < 1 || static_cast<size_t>(field) > m_terminals.size() || widget < 1)
        return false;
    const Terminal& t = m_terminals[static_cast<size_t>(field - 1)];
    PDValue* dict = TerminalDict(t);
    int32_t objNum = 0;
    PDValue* w = dict != nullptr ? WidgetDict(dict, t, widget, objNum) : nullptr;
    if (w == nullptr)
        return false;
    PDValue* rect = Deref(w->Get("/Rect"));
    if (rect != nullptr && rect->Kind() == kPDArray) {
        float c[4] = {};
        int i = 0;
        for (PDValue* e = rect->First(); e != nullptr && i < 4; e = e->Next(), ++i)
            c[i] = static_cast<float>(Deref(e) ? Deref(e)->GetReal() : 0.0);
        info.x = c[0];
        info.y = c[1];
        info.width = c[2] - c[0];
        info.height = c[3] - c[1];
    }
    info.page = PageOf(objNum, w);
    PDStr da;
    if (DefaultAppearance(w, dict, da)) {
        info.fontIndex = formfont::IndexOfPrefix(da.Text(), da.Length());
        info.fontSize = da.Length() > 6 ? static_cast<float>(PDParseReal(da.Text() + 6)) : 0.0f;
    }
    return true;
}

// /DA is inheritable: the widget, then the field and its ancestors, then the form dictionary.
bool PDFormTemplate::DefaultAppearance(const PDValue* widget, const PDValue* field, PDStr& da) {
    std::unordered_set<const PDValue*> seen;
    const PDValue* node = widget;
    for (int depth = 0; node != nullptr && depth < pdlimits::kMaxTreeDepth; ++depth) {
        if (!seen.insert(node).second)
            break;
        if (const PDValue* v = Deref(node->Get("/DA")); v && v->Kind() == kPDString) {
            PDDecodeString(v->Text(), da);
            return true;
        }
        const PDValue* parent = Deref(node->GetSlot(pdkey::Parent));
        node = (parent == nullptr && node == widget && widget != field) ? field : parent;
        if (node != nullptr && node->Kind() != kPDDictionary)
            node = nullptr;
    }
    PDValue* catalog = Catalog();
    PDValue* form = catalog ? Deref(catalog->Get("/AcroForm")) : nullptr;
    const PDValue* v = form ? Deref(form->Get("/DA")) : nullptr;
    if (v == nullptr || v->Kind() != kPDString)
        return false;
    PDDecodeString(v->Text(), da);
    return true;
}

void PDFormTemplate::CollectPages() {
    if (m_pagesCollected)
        return;
    m_pagesCollected = true;
    std::vector<int32_t> pages = PageNumbers();
    for (size_t i = 0; i < pages.size(); ++i) {
        int pageNo = static_cast<int>(i) + 1;
        m_pageIndex.emplace(pages[i], pageNo);
        PDIndirectObj* page = GetObj(pages[i]);
        PDValue* annots =
            page && page->Value() ? Deref(page->Value()->GetSlot(pdkey::Annots)) : nullptr;
        if (annots == nullptr || annots->Kind() != kPDArray)
            continue;
        for (PDValue* a = annots->First(); a != nullptr; a = a->Next()) {
            if (a->Kind() == kPDReference)
                m_annotPage.emplace(a->Number(), pageNo);
        }
    }
}

// The page whose /Annots lists the widget; failing that, the widget's own /P.
int PDFormTemplate::PageOf(int32_t widgetObj, const PDValue* widget) {
    CollectPages();
    if (auto it = m_annotPage.find(widgetObj); widgetObj != 0 && it != m_annotPage.end())
        return it->second;
    const PDValue* p = widget->Get("/P");
    if (p != nullptr && p->Kind() == kPDReference) {
        if (auto it = m_pageIndex.find(p->Number()); it != m_pageIndex.end())
            return it->second;
    }
    return 0;
}

// ------------------------------------------------------------------ deletion

namespace {

// Removes the element at index from array (elements are copied, since the chain has no unlink of
// its own for values written in place).
void RemoveElement(PDValue& array, int index) {
    std::vector<std::unique_ptr<PDValue>> kept;
    int i = 0;
    for (PDValue* e = array.First(); e != nullptr; e = e->Next(), ++i) {
        if (i != index)
            kept.push_back(e->Copy());
    }
    array.SetFirst(nullptr);
    for (auto& e : kept)
        array.Append(std::move(e));
}

} // namespace

bool PDFormTemplate::DeleteField(const PDStr& name) {
    PDValue* fields = FormFields();
    if (fields == nullptr) {
        SetErrorCode(pderr::kCatalog);
        return false;
    }
    // The name as the file writes it wins; the name as the listing shows it is the fallback.
    if (DeleteIn(*fields, name.View(), false, 0) || DeleteIn(*fields, name.View(), true, 0)) {
        ForgetFields();
        return true;
    }
    SetErrorCode(pderr::kNoField);
    return false;
}

bool PDFormTemplate::DeleteIn(PDValue& array, std::string_view name, bool utf8, int depth) {
    if (depth > pdlimits::kMaxTreeDepth)
        return false;
    int index = 0;
    for (PDValue* e = array.First(); e != nullptr; e = e->Next(), ++index) {
        PDValue* field = Deref(e);
        if (field == nullptr || field->Kind() != kPDDictionary || field->Get("/T") == nullptr)
            continue;
        PDStr bytes = TextOf(Deref(field->Get("/T")));
        std::string part = utf8 ? Utf8(bytes) : bytes.ToString();
        if (name == part) {
            MarkDeleted(*e, *field);
            RemoveElement(array, index);
            return true;
        }
        if (name.size() <= part.size() || name.substr(0, part.size()) != part ||
            name[part.size()] != '.')
            continue;
        PDValue* kids = Deref(field->GetSlot(pdkey::Kids));
        if (kids == nullptr || kids->Kind() != kPDArray ||
            !DeleteIn(*kids, name.substr(part.size() + 1), utf8, depth + 1))
            continue;
        if (e->Kind() == kPDReference)
            KeepEdited(e->Number()); // its kids changed
        if (kids->First() == nullptr) {
            MarkDeleted(*e, *field);
            RemoveElement(array, index);
        }
        return true;
    }
    return false;
}

// The mark goes into the field; the number is kept as well, so that the field counts as deleted
// even when the cache reads it anew.
void PDFormTemplate::MarkDeleted(const PDValue& entry, PDValue& field) {
    field.Dict()->Set("/Deleted", std::make_unique<PDValue>("true"));
    m_deletedAny = true;
    if (entry.Kind() == kPDReference)
        m_deleted.insert(entry.Number());
}

bool PDFormTemplate::IsDeleted(const PDValue* node, int32_t number) {
    for (int depth = 0; node != nullptr && depth < pdlimits::kMaxTreeDepth; ++depth) {
        if (number != 0 && m_deleted.count(number) != 0)
            return true;
        if (const PDValue* d = node->Get("/Deleted"); d != nullptr && d->Text() == "true")
            return true;
        const PDValue* link = node->GetSlot(pdkey::Parent);
        number = link != nullptr && link->Kind() == kPDReference ? link->Number() : 0;
        const PDValue* parent = Deref(const_cast<PDValue*>(link));
        node = parent != nullptr && parent->Kind() == kPDDictionary ? parent : nullptr;
    }
    return false;
}

PDValue* PDFormTemplate::FindField(const PDStr& name) {
    PDValue* catalog = Catalog();
    PDValue* form = catalog ? Deref(catalog->Get("/AcroForm")) : nullptr;
    PDValue* fields = form ? Deref(form->Get("/Fields")) : nullptr;
    if (fields == nullptr || fields->Kind() != kPDArray)
        return nullptr;
    for (PDValue* f = fields->First(); f != nullptr; f = f->Next()) {
        PDValue* top = Deref(f);
        if (top == nullptr || top->Kind() != kPDDictionary)
            continue;
        PDValue* kids = Deref(top->GetSlot(pdkey::Kids));
        if (kids == nullptr || kids->Kind() != kPDArray) {
            if (FullName(top) == name)
                return top;
            continue;
        }
        for (PDValue* k = kids->First(); k != nullptr; k = k->Next()) {
            PDValue* kid = Deref(k);
            if (kid != nullptr && kid->Kind() == kPDDictionary && FullName(kid) == name)
                return kid;
        }
    }
    return nullptr;
}

std::string PDFormTemplate::ListFields() {
    std::string out;
    PDFieldInfo field;
    for (int f = 1; GetField(f, field); ++f) {
        std::string name = field.name.ToString();
        std::string value = field.value.ToString();
        PDWidgetInfo w;
        for (int n = 1; GetWidget(f, n, w); ++n) {
            std::string pos = std::to_string(w.page) + " [" + PDFormatReal(w.x) + "," +
                              PDFormatReal(w.y) + "/" + PDFormatReal(w.width) + "," +
                              PDFormatReal(w.height) + "]";
            // "%*s" with a negative width: the name left-aligned in (40 - position length)
            // columns, counted in characters so that UTF-8 names line up too.
            int width = static_cast<int>(pos.size()) - 40;
            size_t column = width < 0 ? static_cast<size_t>(-width) : static_cast<size_t>(width);
            size_t shown = DisplayLength(name);
            std::string line = name;
            if (shown < column && width < 0)
                line.append(column - shown, ' ');
            else if (shown < column)
                line.insert(0, column - shown, ' ');
            out += line + " " + pos + " : " + value + "\n";
        }
    }
    return out;
}
