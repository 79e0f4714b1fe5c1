// Annotations and content streams added to pages, and the /Annots and /Contents arrays that
// list them.
#include "structure/pdannots.h"

#include "pdf/pddiag.h"
#include "pdf/pdkeys.h"
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

PDAnnotation::PDAnnotation(std::unique_ptr<PDValue> dict)
    : m_dict(dict != nullptr && dict->Kind() == kPDDictionary ? std::move(dict)
                                                              : PDValue::MakeDictionary()) {}

PDAnnotation::~PDAnnotation() = default;

bool PDAnnotation::PrepareForPage(PDInputObj& page) {
    PDFInput* doc = page.Document();
    if (doc != nullptr && doc->Output() != nullptr)
        m_dict->Dict()->Set(
            "/P", PDValue::MakeReference(doc->Output()->MapId(page.Number(), doc->MapIndex())));
    return true;
}

bool PDAnnotation::Write(PDOutputDoc& output) {
    return output.WriteObject(m_number, *m_dict, m_map);
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

bool PDInputObj::AddAnnotation(std::unique_ptr<PDAnnotation> annotation) {
    PDValue* dict = Value();
    if (annotation == nullptr || m_doc == nullptr || m_doc->Output() == nullptr ||
        dict == nullptr || dict->Kind() != kPDDictionary)
        return false;
    // An /Annots array of its own object that nobody holds is taken into the page, so the
    // change goes out with the page.
    PDValue* annots = dict->GetSlot(pdkey::Annots);
    if (annots != nullptr && annots->Kind() == kPDReference &&
        m_doc->PeekObj(annots->Number()) == nullptr) {
        if (std::unique_ptr<PDValue> loaded = m_doc->LoadValue(annots->Number()))
            dict->Dict()->SaveAttrVal(pdkey::Annots, std::move(loaded));
    }
    PDOutputDoc& output = *m_doc->Output();
    int32_t n = output.NewObjectNumber();
    if (!AddEntry(pdkey::Annots, n, true))
        return false;
    annotation->SetNumber(n);
    annotation->SetMap(m_doc->MapIndex());
    if (!annotation->PrepareForPage(*this))
        return false;
    output.AddPendingAnnotation(std::move(annotation));
    return true;
}

int32_t PDInputObj::AddContents(bool atEnd, int32_t n) {
    if (n == 0) {
        if (m_doc == nullptr || m_doc->Output() == nullptr)
            return 0;
        n = m_doc->Output()->NewObjectNumber();
    }
    return AddEntry(pdkey::Contents, n, atEnd) ? n : 0;
}
