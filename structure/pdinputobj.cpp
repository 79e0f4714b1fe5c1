// One object of an input document and how it reaches an output: written through the renumbering
// map, or handed to the output's field and font stores; and the /Annots and /Contents arrays of
// a page, which the form work adds to.
#include "pdf/pdkeys.h"
#include "streams/pddiag.h"
#include "structure/pdinput.h"
#include "structure/pdoutput.h"

namespace {

void Prepend(PDValue& array, std::unique_ptr<PDValue> element) {
    std::unique_ptr<PDValue> old = array.Copy();
    array.SetFirst(std::move(element));
    for (const PDValue* e = old != nullptr ? old->First() : nullptr; e != nullptr; e = e->Next())
        array.Append(e->Copy());
}

} // namespace

PDInputObj::PDInputObj(PDFInput* doc, int32_t number) : m_doc(doc) {
    SetNumber(number);
    SetFile(doc);
}

PDInputObj::~PDInputObj() = default;

PDInputObj* PDInputObj::ParentNode() const {
    return m_parent != 0 && m_doc != nullptr ? m_doc->GetObj(m_parent) : nullptr;
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

bool PDInputObj::AddEntry(int keySlot, int32_t n, bool atEnd) {
    PDValue* dict = Value();
    if (dict == nullptr || dict->Kind() != kPDDictionary) {
        PDReport("Unexpected type encountered during AddEntry\n");
        return false;
    }
    PDValue* entry = dict->GetSlot(keySlot);
    if (entry == nullptr) {
        std::unique_ptr<PDValue> array = PDValue::MakeArray();
        array->Append(PDValue::MakeReference(n));
        dict->Dict()->SaveAttrVal(keySlot, std::move(array));
        return true;
    }
    PDValue* array = entry;
    if (entry->Kind() == kPDReference) {
        PDInputObj* target = m_doc != nullptr ? m_doc->GetObj(entry->Number()) : nullptr;
        if (target == nullptr || target->Value() == nullptr) {
            PDReport("internal error in AddRef\n");
            return false;
        }
        if (target->Value()->Kind() != kPDArray) {
            // A single stream (or annotation) becomes the one element beside the new one.
            std::unique_ptr<PDValue> wrapped = PDValue::MakeArray();
            wrapped->Append(atEnd ? entry->Copy() : PDValue::MakeReference(n));
            wrapped->Append(atEnd ? PDValue::MakeReference(n) : entry->Copy());
            dict->Dict()->SaveAttrVal(keySlot, std::move(wrapped));
            return true;
        }
        array = target->Value();
    }
    if (array->Kind() != kPDArray) {
        PDReport("Unexpected type encountered during AddEntry\n");
        return false;
    }
    if (atEnd)
        array->Append(PDValue::MakeReference(n));
    else
        Prepend(*array, PDValue::MakeReference(n));
    return true;
}
