// The field store: every widget and field met by a transfer, stored once under its output number
// as a renumbered copy, with same-named top-level fields of different inputs merged into one.
#include "structure/pdfieldstore.h"

#include "pdf/pddiag.h"
#include "pdf/pdkeys.h"
#include "pdf/pdstring.h"
#include "structure/pdinput.h"
#include "structure/pdoutput.h"

struct PDFieldStore::Stored {
    int32_t number;                // biased
    std::unique_ptr<PDValue> dict; // references biased
};

namespace {

std::unique_ptr<PDValue> Renumbered(const PDValue& value, PDOutputDoc& output, int map) {
    std::unique_ptr<PDValue> copy = value.Copy();
    if (copy != nullptr)
        output.RenumberToOutput(*copy, map);
    return copy;
}

// A field turned into a kid: its name goes, its parent is the given one.
void MakeKid(PDValue& dict, int32_t parent) {
    dict.Dict()->Remove("/T");
    dict.Dict()->SaveAttrVal(pdkey::Parent, PDValue::MakeReference(parent));
}

std::string NameKey(const PDValue& title) {
    PDStr bytes;
    PDDecodeString(title.Text(), bytes);
    return bytes.ToString();
}

} // namespace

PDFieldStore::PDFieldStore() = default;

PDFieldStore::~PDFieldStore() = default;

std::vector<int32_t> PDFieldStore::TopLevelNumbers() const {
    std::vector<int32_t> numbers;
    numbers.reserve(m_topLevel.size());
    for (const auto& field : m_topLevel)
        numbers.push_back(field->number);
    return numbers;
}

PDValue& PDFieldStore::FormEntries() {
    if (m_formEntries == nullptr)
        m_formEntries = PDValue::MakeDictionary();
    return *m_formEntries;
}

bool PDFieldStore::HasFields() const noexcept {
    return !m_topLevel.empty();
}

PDValue* PDFieldStore::StoredField(int32_t n) const {
    auto it = m_byNumber.find(n);
    return it != m_byNumber.end() ? it->second->dict.get() : nullptr;
}

void PDFieldStore::AddChild(int32_t n, std::unique_ptr<PDValue> dict) {
    if (dict == nullptr)
        return;
    m_children.push_back(std::make_unique<Stored>(Stored{n, std::move(dict)}));
    m_byNumber[n] = m_children.back().get();
}

void PDFieldStore::StoreField(PDOutputDoc& output, PDInputObj& field, PDFInput& input) {
    const PDValue* value = field.Value();
    if (value == nullptr || value->Kind() != kPDDictionary) {
        PDReport("assertion failed in StoreField\n");
        return;
    }
    const int map = input.MapIndex();
    const int32_t n = output.MapId(field.Number(), map);
    if (m_byNumber.count(n) != 0)
        return;
    const PDValue* title = value->Get("/T");
    // A kid of a field of its own input, or a widget that belongs to no field: stored, but not
    // listed in /Fields.
    if (value->GetSlot(pdkey::Parent) != nullptr || title == nullptr) {
        AddChild(n, Renumbered(*value, output, map));
        return;
    }
    auto [it, added] = m_byName.try_emplace(NameKey(*title), m_topLevel.size());
    if (added) {
        std::unique_ptr<PDValue> copy = Renumbered(*value, output, map);
        if (copy == nullptr)
            return;
        m_topLevel.push_back(std::make_unique<Stored>(Stored{n, std::move(copy)}));
        m_byNumber[n] = m_topLevel.back().get();
        return;
    }
    Stored& existing = *m_topLevel[it->second];
    const bool existingKids = existing.dict->GetSlot(pdkey::Kids) != nullptr;
    const bool fieldKids = value->GetSlot(pdkey::Kids) != nullptr;
    if (existingKids)
        MakeKidsOf(existing, output, field, input);
    else if (fieldKids)
        TakeOver(existing, output, field, input);
    else
        MergePair(existing, output, field, input);
}

// The stored field has no kids, the new one has: the new one takes the top-level place and the
// stored one becomes its kid.
void PDFieldStore::TakeOver(Stored& top, PDOutputDoc& output, PDInputObj& field, PDFInput& input) {
    const int32_t n = output.MapId(field.Number(), input.MapIndex());
    std::unique_ptr<PDValue> copy = Renumbered(*field.Value(), output, input.MapIndex());
    PDValue* kids = copy != nullptr ? copy->GetSlot(pdkey::Kids) : nullptr;
    if (kids == nullptr || kids->Kind() != kPDArray) {
        PDReport("assertion failed in StoreField\n");
        return;
    }
    kids->Append(PDValue::MakeReference(top.number));
    std::unique_ptr<PDValue> old = std::move(top.dict);
    MakeKid(*old, n);
    m_byNumber.erase(top.number);
    AddChild(top.number, std::move(old));
    top.number = n;
    top.dict = std::move(copy);
    m_byNumber[n] = &top;
}

// Two terminal fields of one name: a new field of that name takes both as its widgets.
void PDFieldStore::MergePair(Stored& top, PDOutputDoc& output, PDInputObj& field, PDFInput& input) {
    const int32_t n = output.MapId(field.Number(), input.MapIndex());
    std::unique_ptr<PDValue> copy = Renumbered(*field.Value(), output, input.MapIndex());
    if (copy == nullptr)
        return;
    const int32_t parent = output.NewObjectNumber();
    std::unique_ptr<PDValue> merged = PDValue::MakeDictionary();
    std::unique_ptr<PDValue> kids = PDValue::MakeArray();
    kids->Append(PDValue::MakeReference(top.number));
    kids->Append(PDValue::MakeReference(n));
    merged->Dict()->SaveAttrVal(pdkey::Kids, std::move(kids));
    merged->Dict()->Set("/T", top.dict->Get("/T")->Copy());
    for (const char* key : {"/FT", "/Ff", "/AA"}) {
        PDValue* from = top.dict.get();
        if (from->Get(key) == nullptr)
            from = copy.get();
        if (PDValue* entry = from->Get(key)) {
            merged->Dict()->Set(key, entry->Copy());
            if (std::string_view(key) == "/AA")
                from->Dict()->Remove(key);
        }
    }
    std::unique_ptr<PDValue> old = std::move(top.dict);
    MakeKid(*old, parent);
    MakeKid(*copy, parent);
    m_byNumber.erase(top.number);
    AddChild(top.number, std::move(old));
    AddChild(n, std::move(copy));
    top.number = parent;
    top.dict = std::move(merged);
    m_byNumber[parent] = &top;
}

// The stored field has kids: the new field (or each of its kids) joins them.
void PDFieldStore::MakeKidsOf(Stored& top, PDOutputDoc& output, PDInputObj& field,
                              PDFInput& input) {
    PDValue* kids = top.dict->GetSlot(pdkey::Kids);
    if (kids->Kind() != kPDArray) {
        PDReport("assertion failed in StoreField\n");
        return;
    }
    const int map = input.MapIndex();
    auto join = [&](const PDValue& dict, int32_t n) {
        if (m_byNumber.count(n) != 0)
            return;
        std::unique_ptr<PDValue> copy = Renumbered(dict, output, map);
        if (copy == nullptr)
            return;
        MakeKid(*copy, top.number);
        AddChild(n, std::move(copy));
        kids->Append(PDValue::MakeReference(n));
    };
    const PDValue* own = input.ResolveKey(field.Value(), "/Kids");
    if (own == nullptr) {
        join(*field.Value(), output.MapId(field.Number(), map));
        return;
    }
    for (const PDValue* kid = own->First(); kid != nullptr; kid = kid->Next()) {
        PDInputObj* obj = kid->Kind() == kPDReference ? input.GetObj(kid->Number()) : nullptr;
        if (obj != nullptr && obj->Value() != nullptr && obj->Value()->Kind() == kPDDictionary)
            join(*obj->Value(), output.MapId(kid->Number(), map));
    }
}

bool PDFieldStore::Write(PDOutputDoc& output) {
    bool ok = true;
    for (const auto& field : m_topLevel)
        ok = output.WriteObject(field->number, *field->dict, 0) && ok;
    for (const auto& kid : m_children)
        ok = output.WriteObject(kid->number, *kid->dict, 0) && ok;
    return ok;
}
