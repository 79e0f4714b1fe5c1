// One object of an input document and how it reaches an output: written through the renumbering
// map, or handed to the output's field and font stores.
#include "pdf/pdkeys.h"
#include "structure/pdinput.h"
#include "structure/pdoutput.h"

PDInputObj::PDInputObj(PDFInput* doc, int32_t number) : m_doc(doc) {
    SetNumber(number);
    SetFile(doc);
}

PDInputObj::~PDInputObj() = default;

PDInputObj* PDInputObj::ParentNode() const {
    return m_parent != 0 && m_doc != nullptr ? m_doc->GetObj(m_parent) : nullptr;
}

void PDInputObj::SetParentNode(const PDInputObj* parent) noexcept {
    m_parent = parent != nullptr ? parent->Number() : 0;
}

bool PDInputObj::TransferToOutput(PDOutputDoc& output) {
    PDValue* value = Value();
    if (value == nullptr || m_doc == nullptr)
        return false;
    if (value->Kind() == kPDDictionary) {
        const PDValue* subtype = value->Get("/Subtype");
        const PDValue* type = value->GetSlot(pdkey::Type);
        const bool annotType = type != nullptr && type->IsName("/Annot");
        if (subtype != nullptr && (type == nullptr || annotType)) {
            if (subtype->IsName("/Widget")) {
                output.Fields().StoreField(output, *this, *m_doc);
                return true;
            }
            if (annotType)
                return output.WriteObject(Number(), *value, m_doc->MapIndex());
        }
        const PDValue* title = value->Get("/T");
        if (value->GetSlot(pdkey::Kids) != nullptr && title != nullptr &&
            title->Kind() == kPDString) {
            output.Fields().StoreField(output, *this, *m_doc);
            return true;
        }
        if (value->GetSlot(pdkey::Length) != nullptr && value->Get("/BBox") != nullptr)
            return TransferFormXObject(output, *value);
        if (type != nullptr && type->IsName("/Font") && value->Get("/Widths") != nullptr &&
            value->Get("/BaseFont") != nullptr)
            return TransferFont(output);
    }
    return output.WriteObject(Number(), *value, m_doc->MapIndex());
}

// The fonts of a form XObject are numbered now and offered to the form's resource list, so
// that appearances drawn with them find them in /DR.
bool PDInputObj::TransferFormXObject(PDOutputDoc& output, const PDValue& dict) {
    const int map = m_doc->MapIndex();
    PDValue* resources = m_doc->ResolveKey(&dict, "/Resources");
    PDValue* fonts = m_doc->ResolveKey(resources, "/Font");
    PDValue* font = nullptr;
    const char* name = nullptr;
    for (int i = 0; fonts != nullptr && fonts->Kind() == kPDDictionary &&
                    fonts->Dict()->Entry(i, &font, &name);
         ++i) {
        if (font != nullptr && font->Kind() == kPDReference)
            output.Fonts().RegisterResource(name, output.MapId(font->Number(), map));
    }
    return output.WriteObject(Number(), dict, map);
}

// Fonts with widths are stored, not written: fonts of one base name get their widths completed
// from each other when the document ends.
bool PDInputObj::TransferFont(PDOutputDoc& output) {
    const int map = m_doc->MapIndex();
    PDValue* value = Value();
    const int32_t number = output.MapId(Number(), map);
    for (const char* key : {"/Widths", "/BaseFont"}) {
        PDValue* entry = value->Get(key);
        if (entry == nullptr || entry->Kind() != kPDReference)
            continue;
        if (PDValue* target = m_doc->Resolve(entry))
            value->Dict()->Set(key, target->Copy());
    }
    std::unique_ptr<PDValue> copy = value->Copy();
    if (copy == nullptr)
        return false;
    output.RenumberToOutput(*copy, map);
    output.Fonts().StoreFont(std::move(copy), number);
    return true;
}
