#include "forms/form_document.h"

#include "forms/form_fill.h"
#include "forms/form_flatten.h"
#include "pdf/pdkeys.h"
#include "pdf/pdstring.h"
#include "streams/pdlimits.h"
#include "streams/pdsecurity.h"
#include "structure/pdoutln.h"

#include <climits>
#include <cstdio>
#include <ctime>
#include <unordered_set>
#include <vector>

namespace {

// Catalog entries carried from the template into the output, besides those the stores write
// (/Pages, /Outlines, /AcroForm, /Names, /Dests). Optional content must come along, or hidden
// layers would show; a tagged file keeps its structure tree, whose page and annotation references
// land on the copies already made.
constexpr const char* kCatalogEntries[] = {
    "/Threads",        "/ViewerPreferences", "/PageMode",   "/PageLayout",
    "/Lang",           "/OCProperties",      "/OpenAction", "/MarkInfo",
    "/StructTreeRoot", "/Metadata",          "/PageLabels", "/OutputIntents",
};

// Form dictionary entries the output builds itself, or must not carry: a form description of
// another kind would show the template's values instead of the filled ones.
constexpr const char* kFormEntriesNotCopied[] = {
    "/Fields", "/DR", "/DA", "/CO", "/NeedAppearances", "/XFA",
};

bool StartsWith(const PDStr& text, const char* prefix) {
    return text.View().substr(0, std::char_traits<char>::length(prefix)) == prefix;
}

bool EndsWith(const PDStr& text, std::string_view suffix) {
    std::string_view v = text.View();
    return v.size() >= suffix.size() && v.substr(v.size() - suffix.size()) == suffix;
}

// The same text in UTF-16BE, for producers written with a byte order mark.
std::string Utf16(std::string_view ascii) {
    std::string out;
    for (char c : ascii) {
        out += '\0';
        out += c;
    }
    return out;
}

} // namespace

PDFormDocument::PDFormDocument() = default;

PDFormDocument::~PDFormDocument() {
    DetachTemplate();
}

void PDFormDocument::ResetLimits() noexcept {
    m_largest = 12.0f;
    m_smallest = 5.0f;
}

void PDFormDocument::SetFontSizeLimits(float largest, float smallest) noexcept {
    m_largest = largest;
    m_smallest = smallest;
}

bool PDFormDocument::CreateFile(const char* name) {
    ResetLimits();
    return BeginWrite(name);
}

void PDFormDocument::CreateInMemory() {
    ResetLimits();
    BeginWriteMemory();
}

void PDFormDocument::SetPermissions(const char* letters) {
    OutputSecurity().SetPermissions(letters);
}

void PDFormDocument::SetUserPassword(const char* password) {
    OutputSecurity().SetUserPassword(password);
}

void PDFormDocument::SetOwnerPassword(const char* password) {
    OutputSecurity().SetOwnerPassword(password);
}

void PDFormDocument::UseAes256() {
    OutputSecurity().ChooseAes256();
}

// Deliberate: an outline whose /Count is negative (closed) or missing still has items to carry.
bool PDFormDocument::TemplateHasOutline() const {
    return m_template != nullptr && PDOutlineRoot::OpenCount(*m_template) != 0;
}

void PDFormDocument::RemoveUsageRights() {
    if (m_template != nullptr)
        m_template->RemoveRights();
}

bool PDFormDocument::AttachTemplate(PDFormTemplate& form) {
    if (form.Document() != nullptr && form.Document() != this)
        return false;
    DetachTemplate();
    m_template = &form;
    form.SetDocument(this);
    form.AddUse();
    return true;
}

void PDFormDocument::DetachTemplate() {
    if (m_template != nullptr && m_template->Output() == this)
        SetMapSource(m_template->MapIndex(), nullptr);
    if (m_template != nullptr && m_template->Document() == this)
        m_template->SetDocument(nullptr);
    m_template = nullptr;
}

bool PDFormDocument::SetValue(const PDStr& name, const PDStr& value, int option1, int option2,
                              int option3) {
    if (m_template == nullptr || !m_template->IsOpenForReading())
        return false;
    m_template->SetPendingValue(name, PDPendingValue{value, option1, option2, option3});
    return true;
}

bool PDFormDocument::DeleteField(const PDStr& name) {
    if (m_template == nullptr || !m_template->IsOpenForReading())
        return false;
    if (m_template->DeleteField(name))
        return true;
    m_warnings.push_back("Field '" + name.ToString() + "' not found: nothing deleted");
    return false;
}

bool PDFormDocument::AddTextField(const PDStr& name, int pageIndex, float x, float y, float width,
                                  float height, int font, float size) {
    return m_template != nullptr && m_template->IsOpenForReading() &&
           m_template->AddTextField(name.ToString(), pageIndex, x, y, width, height, font, size);
}

bool PDFormDocument::AcceptTemplatePage(PDInputObj& page) {
    if (m_template != nullptr && m_template->HasDeletions())
        DropDeletedWidgets(page);
    if (m_template != nullptr && m_flatten == 0)
        PDFlattener(*m_template).FlattenPage(page);
    return true;
}

// Widgets of deleted fields leave the page. The page is written after this, so its own /Annots
// entry is replaced by the array that is left; a shared array object stays as it was.
void PDFormDocument::DropDeletedWidgets(PDInputObj& page) {
    PDFormTemplate& form = *m_template;
    PDValue* annots =
        page.Value() != nullptr ? form.Resolve(page.Value()->GetSlot(pdkey::Annots)) : nullptr;
    if (annots == nullptr || annots->Kind() != kPDArray)
        return;
    std::unique_ptr<PDValue> kept = PDValue::MakeArray();
    bool dropped = false;
    for (PDValue* a = annots->First(); a != nullptr; a = a->Next()) {
        PDValue* annot = form.Resolve(a);
        int32_t number = a->Kind() == kPDReference ? a->Number() : 0;
        if (annot != nullptr && annot->Kind() == kPDDictionary && form.IsDeleted(annot, number)) {
            dropped = true;
            continue;
        }
        kept->Append(a->Copy());
    }
    if (dropped)
        page.Value()->Dict()->SaveAttrVal(pdkey::Annots, std::move(kept));
}

// ------------------------------------------------------------------ import

bool PDFormDocument::ImportPages() {
    if (m_template == nullptr) {
        SetErrorCode(pderr::kNoPageTree);
        return false;
    }
    m_template->BindOutput(*this);
    SetMapSource(m_template->MapIndex(), m_template);
    // Values go into the template's fields before anything is copied, so that fields, widgets
    // and their new appearances are written once, as filled.
    PDFieldFiller(*m_template, PDFillLimits{m_largest, m_smallest}, m_warnings, m_fontFiles)
        .FillAll();
    // Flattening burns every field into its page: the output has no form.
    if (m_flatten != 0)
        ImportForm();
    bool transferred = m_template->Transfer(*this, 1, INT_MAX);
    if (m_flatten != 0)
        ImportFormResources();
    if (!transferred) {
        if (m_template->ErrorCode() != 0)
            SetErrorCode(m_template->ErrorCode());
        return false;
    }
    if (ErrorCode() == pderr::kDuplicate)
        SetErrorCode(0);
    return true;
}

// A deep copy of a template value whose references are pulled into the output and renumbered.
std::unique_ptr<PDValue> PDFormDocument::CopiedValue(const PDValue& value) {
    return m_template->CopyIntoOutput(value, true);
}

// The form's fields come first, in the order of /Fields, so the output lists them alike.
void PDFormDocument::ImportForm() {
    PDFormTemplate& form = *m_template;
    PDValue* catalog = form.Catalog();
    PDValue* acro = catalog != nullptr ? form.Resolve(catalog->Get("/AcroForm")) : nullptr;
    if (acro == nullptr || acro->Kind() != kPDDictionary)
        return;
    int map = form.MapIndex();
    PDValue* fields = form.ResolveKey(acro, "/Fields");
    for (PDValue* f = fields != nullptr && fields->Kind() == kPDArray ? fields->First() : nullptr;
         f != nullptr; f = f->Next()) {
        PDValue* field = form.Resolve(f);
        if (f->Kind() != kPDReference || field == nullptr || field->Get("/Deleted") != nullptr)
            continue;
        // The values are in already: what a field brought along is written and can go.
        form.CopyObject(f->Number());
        form.ReleaseCopied(f->Number());
    }
    PDValue* need = form.ResolveKey(acro, "/NeedAppearances");
    if (need != nullptr && need->Text() == "true")
        Fields().FormEntries().Dict()->Set("/NeedAppearances", need->Copy());
    PDValue* order = form.ResolveKey(acro, "/CO");
    for (PDValue* c = order != nullptr && order->Kind() == kPDArray ? order->First() : nullptr;
         c != nullptr; c = c->Next()) {
        if (c->Kind() == kPDReference && !form.IsDeleted(form.Resolve(c), c->Number()) &&
            form.CopyObject(c->Number()))
            Fields().CalculationOrder().Append(MapId(c->Number(), map));
    }
    PDValue* entry = nullptr;
    const char* key = nullptr;
    for (int i = 0; acro->Dict()->Entry(i, &entry, &key); ++i) {
        bool skip = entry == nullptr;
        for (const char* name : kFormEntriesNotCopied)
            skip = skip || std::string_view(key) == name;
        if (skip || Fields().FormEntries().Get(key) != nullptr)
            continue;
        if (std::unique_ptr<PDValue> copy = CopiedValue(*entry))
            Fields().FormEntries().Dict()->Set(key, std::move(copy));
    }
}

// The form's /DR fonts join the names that the pages' appearance streams registered. They come
// last and only a name still free takes a number, so a copied file is copied alike again.
void PDFormDocument::ImportFormResources() {
    PDFormTemplate& form = *m_template;
    // A form without fields is not written, and neither are its resources.
    PDValue* acro =
        form.Catalog() != nullptr ? form.ResolveKey(form.Catalog(), "/AcroForm") : nullptr;
    if (acro == nullptr || !Fields().HasFields())
        return;
    int map = form.MapIndex();
    PDValue* resources = form.ResolveKey(acro, "/DR");
    PDValue* fonts = resources != nullptr ? form.ResolveKey(resources, "/Font") : nullptr;
    PDValue* font = nullptr;
    const char* key = nullptr;
    for (int i = 0;
         fonts != nullptr && fonts->Kind() == kPDDictionary && fonts->Dict()->Entry(i, &font, &key);
         ++i) {
        if (font == nullptr || font->Kind() != kPDReference || HasFontResource(key))
            continue;
        if (form.CopyObject(font->Number()))
            Fonts().RegisterResource(key, MapId(font->Number(), map));
    }
    PDValue* encoding = resources != nullptr ? resources->Get("/Encoding") : nullptr;
    if (encoding != nullptr && encoding->Kind() == kPDReference && Fonts().EncodingNumber() == 0 &&
        form.CopyObject(encoding->Number()))
        Fonts().SetEncodingNumber(MapId(encoding->Number(), map));
}

bool PDFormDocument::HasFontResource(const char* name) {
    for (const auto& [registered, number] : Fonts().Resources()) {
        if (registered == name)
            return true;
    }
    return false;
}

void PDFormDocument::CopyOutlines() {
    if (m_template != nullptr)
        CreateOutlines().Import(*m_template);
}

void PDFormDocument::CopyNamedDestinations() {
    if (m_template == nullptr)
        return;
    PDFormTemplate& form = *m_template;
    PDValue* catalog = form.Catalog();
    if (catalog == nullptr)
        return;
    PDValue* names = form.ResolveKey(catalog, "/Names");
    PDValue* tree = names != nullptr ? names->Get("/Dests") : nullptr;
    if (tree != nullptr)
        Names().ImportDests(form, *this, *tree);
    PDValue* dests = form.ResolveKey(catalog, "/Dests");
    if (dests != nullptr && dests->Kind() == kPDDictionary)
        Names().ImportCatalogDests(form, *this, *dests);
}

void PDFormDocument::CopyCatalogEntry(const char* key) {
    PDValue* value = m_template->Catalog()->Get(key);
    if (value == nullptr)
        return;
    if (std::unique_ptr<PDValue> copy = CopiedValue(*value))
        OutputCatalog().Dict()->Set(key, std::move(copy));
}

// An object reference of the structure tree to a widget that the output does not have (burnt in,
// or deleted) leaves its element, so the tags point at nothing that is gone and do not pull the
// widget back in.
bool PDFormDocument::IsGoneWidget(const PDValue* annot, int32_t number) {
    PDFormTemplate& form = *m_template;
    const PDValue* subtype =
        annot != nullptr ? form.Resolve(const_cast<PDValue*>(annot)->Get("/Subtype")) : nullptr;
    if (subtype == nullptr || !subtype->IsName("/Widget"))
        return false;
    return m_flatten == 0 || form.IsDeleted(annot, number);
}

bool PDFormDocument::IsGoneReference(PDValue* kid) {
    PDFormTemplate& form = *m_template;
    PDValue* objr = form.Resolve(kid);
    if (objr == nullptr || objr->Kind() != kPDDictionary)
        return false;
    // /Type is optional in an object reference; a structure element has /S instead.
    PDValue* target = objr->Get("/Obj");
    PDValue* type = form.Resolve(objr->Get("/Type"));
    if (target == nullptr || target->Kind() != kPDReference || objr->Get("/S") != nullptr ||
        (type != nullptr && !type->IsName("/OBJR")))
        return false;
    return IsGoneWidget(form.Resolve(target), target->Number());
}

void PDFormDocument::PruneStructureTree() {
    PDFormTemplate& form = *m_template;
    PDValue* root = form.ResolveKey(form.Catalog(), "/StructTreeRoot");
    if (root == nullptr || root->Kind() != kPDDictionary)
        return;
    std::vector<PDValue*> work{root};
    std::unordered_set<const PDValue*> seen{root};
    // Elements may also be reached only through the parent tree (a number tree of elements and
    // arrays of elements).
    std::vector<PDValue*> nodes{form.Resolve(root->Get("/ParentTree"))};
    for (size_t steps = 0; !nodes.empty() && steps < pdlimits::kMaxStructureSteps; ++steps) {
        PDValue* node = nodes.back();
        nodes.pop_back();
        if (node == nullptr || node->Kind() != kPDDictionary || !seen.insert(node).second)
            continue;
        PDValue* kids = form.Resolve(node->Get("/Kids"));
        for (PDValue* k = kids != nullptr && kids->Kind() == kPDArray ? kids->First() : nullptr;
             k != nullptr; k = k->Next())
            nodes.push_back(form.Resolve(k));
        PDValue* nums = form.Resolve(node->Get("/Nums"));
        int i = 0;
        for (PDValue* e = nums != nullptr && nums->Kind() == kPDArray ? nums->First() : nullptr;
             e != nullptr; e = e->Next(), ++i) {
            PDValue* value = i % 2 == 1 ? form.Resolve(e) : nullptr;
            if (value != nullptr && value->Kind() == kPDDictionary)
                work.push_back(value);
            for (PDValue* a = value != nullptr && value->Kind() == kPDArray ? value->First()
                                                                            : nullptr;
                 a != nullptr; a = a->Next()) {
                if (PDValue* element = form.Resolve(a);
                    element != nullptr && element->Kind() == kPDDictionary)
                    work.push_back(element);
            }
        }
    }
    for (size_t steps = 0; !work.empty() && steps < pdlimits::kMaxStructureSteps; ++steps) {
        PDValue* element = work.back();
        work.pop_back();
        PDValue* k = form.Resolve(element->Get("/K"));
        if (k == nullptr)
            continue;
        if (k->Kind() == kPDDictionary && IsGoneReference(element->Get("/K"))) {
            element->Dict()->Remove("/K");
            continue;
        }
        std::vector<PDValue*> kids;
        if (k->Kind() == kPDArray) {
            std::unique_ptr<PDValue> kept = PDValue::MakeArray();
            bool dropped = false;
            for (PDValue* e = k->First(); e != nullptr; e = e->Next()) {
                if (IsGoneReference(e)) {
                    dropped = true;
                    continue;
                }
                kept->Append(e->Copy());
                kids.push_back(form.Resolve(e));
            }
            if (dropped)
                element->Dict()->Set("/K", std::move(kept));
        } else {
            kids.push_back(k);
        }
        for (PDValue* kid : kids) {
            if (kid != nullptr && kid->Kind() == kPDDictionary && seen.insert(kid).second)
                work.push_back(kid);
        }
    }
}

void PDFormDocument::WriteCatalog() {
    if (m_template == nullptr || m_template->Catalog() == nullptr)
        return;
    if (m_flatten == 0 || m_template->HasDeletions())
        PruneStructureTree();
    for (const char* key : kCatalogEntries)
        CopyCatalogEntry(key);
    PDValue* names = m_template->ResolveKey(m_template->Catalog(), "/Names");
    if (names != nullptr && names->Kind() == kPDDictionary)
        Names().ImportNames(*m_template, *this, *names);
}

bool PDFormDocument::Close() {
    return EndWrite();
}

// ------------------------------------------------------------------ document information

void PDFormDocument::SetInfo(const char* key, const char* value) {
    if (key != nullptr && value != nullptr)
        m_info[key] = value;
}

PDStr PDFormDocument::ProducerFor(const PDStr& existing) {
    std::string ours = std::string(kProducerName) + kVersion + " (" + kMakerAddress + ")";
    if (existing.IsEmpty() || StartsWith(existing, "Acrobat ") ||
        StartsWith(existing, "Gorsemill") || StartsWith(existing, kProducerName))
        return PDStr(ours);
    bool wide = existing.At(0) == 0xFE && existing.At(1) == 0xFF;
    std::string suffix = " / " + ours;
    if (wide)
        suffix = Utf16(suffix);
    // Deliberate: a producer that already ends with ours is kept, so filling a filled form again
    // does not name this library twice.
    if (EndsWith(existing, suffix))
        return existing;
    PDStr producer = existing;
    producer.Append(suffix);
    return producer;
}

std::string PDFormDocument::ModDateFor(long long t) {
    auto seconds = static_cast<std::time_t>(t);
    std::tm local{};
    localtime_r(&seconds, &local);
    char text[40];
    std::snprintf(text, sizeof text, "(D:%04d%02d%02d%02d%02d%02d)", local.tm_year + 1900,
                  local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
    return text;
}

void PDFormDocument::OnFinalWrite() {
    std::unique_ptr<PDValue> info;
    int map = m_template != nullptr ? m_template->MapIndex() : 0;
    if (m_template != nullptr && m_template->InfoNumber() > 0) {
        ObjHolder holder(*m_template, m_template->InfoNumber());
        if (holder && holder.Value()->Kind() == kPDDictionary)
            info = CopiedValue(*holder.Value());
    }
    if (!info)
        info = PDValue::MakeDictionary();
    if (m_info.count("/ModDate") == 0)
        info->Dict()->Set("/ModDate",
                          std::make_unique<PDValue>(
                              ModDateFor(static_cast<long long>(std::time(nullptr))).c_str()));
    for (const auto& [key, value] : m_info) {
        PDStr text;
        if (value[0] == '(' || value[0] == '/')
            text = value.c_str();
        else
            PDEncodeString(value.c_str(), text, kPDLiteral);
        info->Dict()->Set(key.c_str(), std::make_unique<PDValue>(text));
    }
    if (m_info.count("/Producer") == 0) {
        PDStr existing;
        PDValue* producer = info->Get("/Producer");
        if (producer != nullptr && producer->Kind() == kPDString)
            PDDecodeString(producer->Text(), existing);
        PDStr next = ProducerFor(existing);
        PDStr text;
        PDEncodeString(next.Bytes(), next.Length(), text, kPDLiteral);
        info->Dict()->Set("/Producer", std::make_unique<PDValue>(text));
    }
    int32_t number = NewObjectNumber();
    if (WriteObject(number, *info, map))
        SetOutputInfo(number);
}
