// Adding text fields to the template: a merged field and widget on a page, listed in /Fields or
// under its parent, with its font in the form's resources. The value set next draws it.
#include "forms/form_fonts.h"
#include "forms/form_template.h"
#include "pdf/pdformat.h"
#include "pdf/pdstring.h"
#include "streams/pddiag.h"
#include "streams/pdlimits.h"

namespace {

std::unique_ptr<PDValue> Word(const std::string& text) {
    return std::make_unique<PDValue>(text.c_str());
}

std::unique_ptr<PDValue> Real(float v) {
    return Word(PDFormatReal(v));
}

std::unique_ptr<PDValue> StringOf(const std::string& bytes) {
    PDStr written;
    PDEncodeString(reinterpret_cast<const uint8_t*>(bytes.data()), static_cast<int>(bytes.size()),
                   written, kPDLiteral);
    return std::make_unique<PDValue>(written);
}

// The entry key of dict, made a dictionary (in place) when it is missing; null when it holds
// something else.
PDValue* DictEntry(PDFormTemplate& form, PDValue& dict, const char* key) {
    PDValue* entry = form.Resolve(dict.Get(key));
    if (entry == nullptr) {
        dict.Dict()->Set(key, PDValue::MakeDictionary());
        entry = dict.Get(key);
    }
    return entry != nullptr && entry->Kind() == kPDDictionary ? entry : nullptr;
}

} // namespace

// The form dictionary, made when the template has none.
PDValue* PDFormTemplate::FormDictionary() {
    PDValue* catalog = Catalog();
    if (catalog == nullptr || catalog->Kind() != kPDDictionary)
        return nullptr;
    PDValue* form = DictEntry(*this, *catalog, "/AcroForm");
    if (form != nullptr && Resolve(form->Get("/Fields")) == nullptr)
        form->Dict()->Set("/Fields", PDValue::MakeArray());
    return form;
}

// The field node (terminal or not) of this fully-qualified name as the file writes it; its object
// number in number (0 when it is written in place). Null when there is none.
PDValue* PDFormTemplate::FindNode(std::string_view name, int32_t& number) {
    PDValue* array = FormFields();
    number = 0;
    for (int depth = 0; array != nullptr && depth < pdlimits::kMaxTreeDepth; ++depth) {
        PDValue* next = nullptr;
        for (PDValue* e = array->First(); e != nullptr && next == nullptr; e = e->Next()) {
            PDValue* node = Resolve(e);
            if (node == nullptr || node->Kind() != kPDDictionary)
                continue;
            PDStr part;
            if (const PDValue* t = Resolve(node->Get("/T")); t != nullptr)
                PDDecodeString(t->Text(), part);
            std::string_view p = part.View();
            if (p.empty() || name.substr(0, p.size()) != p)
                continue;
            if (name.size() == p.size()) {
                number = e->Kind() == kPDReference ? e->Number() : 0;
                return node;
            }
            if (name[p.size()] == '.') {
                name.remove_prefix(p.size() + 1);
                next = Resolve(node->GetSlot(pdkey::Kids));
            }
        }
        array = next != nullptr && next->Kind() == kPDArray ? next : nullptr;
    }
    return nullptr;
}

// The field that holds a new field of this name: the form (number 0, null kids) for a plain
// name, else the parent field, made with the parents it needs. Returns the array the new field
// joins, null when a parent cannot hold kids.
PDValue* PDFormTemplate::ParentFor(const std::string& name, int32_t& parentNumber) {
    parentNumber = 0;
    size_t dot = name.rfind('.');
    if (dot == std::string::npos) {
        PDValue* form = FormDictionary();
        PDValue* fields = form != nullptr ? Resolve(form->Get("/Fields")) : nullptr;
        return fields != nullptr && fields->Kind() == kPDArray ? fields : nullptr;
    }
    std::string parentName = name.substr(0, dot);
    PDValue* parent = FindNode(parentName, parentNumber);
    if (parent == nullptr) {
        int32_t grand = 0;
        PDValue* siblings = ParentFor(parentName, grand);
        if (siblings == nullptr)
            return nullptr;
        std::unique_ptr<PDValue> node = PDValue::MakeDictionary();
        node->Dict()->Set("/T", StringOf(parentName.substr(parentName.rfind('.') + 1)));
        node->Dict()->Set("/Kids", PDValue::MakeArray());
        if (grand != 0)
            node->Dict()->SaveAttrVal(pdkey::Parent, PDValue::MakeReference(grand));
        PDInputObj* made = NewObj(std::move(node));
        siblings->Append(PDValue::MakeReference(made->Number()));
        parent = made->Value();
        parentNumber = made->Number();
    }
    // A parent written in place cannot be referred to, and a widget cannot take kids.
    if (parentNumber == 0 || parent->Get("/Subtype") != nullptr)
        return nullptr;
    KeepEdited(parentNumber); // it gains a kid
    PDValue* kids = Resolve(parent->GetSlot(pdkey::Kids));
    if (kids == nullptr) {
        parent->Dict()->SaveAttrVal(pdkey::Kids, PDValue::MakeArray());
        kids = parent->GetSlot(pdkey::Kids);
    }
    return kids != nullptr && kids->Kind() == kPDArray ? kids : nullptr;
}

// The form's /DR gets a standard font dictionary for the resource name unless it has one.
void PDFormTemplate::AddFormFont(int font) {
    PDValue* form = FormDictionary();
    PDValue* resources = form != nullptr ? DictEntry(*this, *form, "/DR") : nullptr;
    PDValue* fonts = resources != nullptr ? DictEntry(*this, *resources, "/Font") : nullptr;
    const char* name = formfont::ResourceName(font);
    if (fonts == nullptr || fonts->Get(name) != nullptr)
        return;
    std::string base = formfont::BaseName(font);
    if (base.empty())
        base = "Helvetica"; // the custom slots measure and draw as Helvetica
    fonts->Dict()->Set(
        name, PDValue::MakeReference(NewObj(formfont::StandardFontDictionary(base))->Number()));
}

bool PDFormTemplate::AddTextField(const std::string& name, int pageIndex, float x, float y,
                                  float width, float height, int font, float size) {
    int32_t existing = 0;
    if (name.empty() || name.back() == '.' || FindNode(name, existing) != nullptr || font < 0 ||
        font >= formfont::kCount || pageIndex < 0 || pageIndex >= PageCount())
        return false;
    PDInputObj* page = PageByIndex(pageIndex);
    if (page == nullptr || page->Value() == nullptr || page->Value()->Kind() != kPDDictionary)
        return false;
    int32_t parent = 0;
    PDValue* siblings = ParentFor(name, parent);
    if (siblings == nullptr)
        return false;
    std::unique_ptr<PDValue> field = PDValue::MakeDictionary();
    PDDict& d = *field->Dict();
    d.Set("/Type", Word("/Annot"));
    d.Set("/Subtype", Word("/Widget"));
    std::unique_ptr<PDValue> rect = PDValue::MakeArray();
    for (float v : {x, y, x + width, y + height})
        rect->Append(Real(v));
    d.Set("/Rect", std::move(rect));
    d.Set("/F", PDValue::MakeInteger(4));
    d.Set("/P", PDValue::MakeReference(page->Number()));
    d.Set("/T",
          StringOf(name.substr(name.rfind('.') == std::string::npos ? 0 : name.rfind('.') + 1)));
    d.Set("/FT", Word("/Tx"));
    d.Set("/MK", PDValue::MakeDictionary());
    d.Set("/DA", StringOf(std::string(formfont::ResourceName(font)) + " " + PDFormatReal(size) +
                          " Tf 0 g"));
    if (parent != 0)
        d.SaveAttrVal(pdkey::Parent, PDValue::MakeReference(parent));
    int32_t number = NewObj(std::move(field))->Number();
    siblings->Append(PDValue::MakeReference(number));
    PDValue* annots = Resolve(page->Value()->GetSlot(pdkey::Annots));
    std::unique_ptr<PDValue> list =
        annots != nullptr && annots->Kind() == kPDArray ? annots->Copy() : PDValue::MakeArray();
    list->Append(PDValue::MakeReference(number));
    page->Value()->Dict()->SaveAttrVal(pdkey::Annots, std::move(list));
    AddFormFont(font);
    ForgetFields();
    return true;
}
