// The field store: every widget and field met by a transfer, stored once under its output number
// as a renumbered copy, with same-named top-level fields of different inputs merged into one.
#include "structure/pdfieldstore.h"

#include "pdf/pdkeys.h"
#include "pdf/pdstring.h"
#include "streams/pddiag.h"
#include "structure/pdinput.h"
#include "structure/pdoutput.h"

// A field is held by its input and number and read from there when the output is written, so
// that what changes in the input until then reaches the output. Only a field the store itself
// changes (merged, made a kid) or one that will leave the cache (held) is an owned copy.
struct PDFieldStore::Stored {
    int32_t number;                // biased
    std::unique_ptr<PDValue> dict; // owned copy, references biased; null while held by number
    PDFInput* input = nullptr;
    int32_t source = 0; // input object number
};

namespace {

std::unique_ptr<PDValue> Renumbered(const PDValue& value, PDOutputDoc& output, int map) {
    std::unique_ptr<PDValue> copy = value.Copy();
    if (copy != nullptr)
        output.RenumberToOutput(*copy, map);
    return copy;
}

// Output numbers for every reference of a field held by number are handed out now, in the order a
// copy would take them, so that the output is numbered as if the field had been copied.
void NumberReferences(PDValue& value, PDOutputDoc& output, int map) {
    value.RenumberReferences([&output, map](int32_t n) {
        output.MapId(n, map);
        return n;
    });
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

std::unique_ptr<PDValue> PDFieldStore::StoredField(int32_t n, PDOutputDoc& output) const {
    auto it = m_byNumber.find(n);
    const PDValue* value = it != m_byNumber.end() ? Current(*it->second) : nullptr;
    if (value == nullptr)
        return nullptr;
    if (it->second->dict != nullptr)
        return value->Copy();
    return Renumbered(*value, output, it->second->input->MapIndex());
}

const PDValue* PDFieldStore::Current(const Stored& stored) {
    if (stored.dict != nullptr)
        return stored.dict.get();
    PDInputObj* obj = stored.input != nullptr ? stored.input->GetObj(stored.source) : nullptr;
    return obj != nullptr ? obj->Value() : nullptr;
}

// A field held by number becomes an owned copy of what its input holds now.
bool PDFieldStore::Own(Stored& stored, PDOutputDoc& output) {
    if (stored.dict != nullptr)
        return true;
    const PDValue* value = Current(stored);
    if (value == nullptr || stored.input == nullptr)
        return false;
    stored.dict = Renumbered(*value, output, stored.input->MapIndex());
    return stored.dict != nullptr;
}

void PDFieldStore::AddChild(int32_t n, std::unique_ptr<PDValue> dict) {
    if (dict == nullptr)
        return;
    m_children.push_back(std::make_unique<Stored>(Stored{n, std::move(dict)}));
    m_byNumber[n] = m_children.back().get();
}

void PDFieldStore::AddByNumber(std::vector<std::unique_ptr<Stored>>& list, int32_t n,
                               PDInputObj& field, PDFInput& input, PDOutputDoc& output) {
    list.push_back(std::make_unique<Stored>(Stored{n, nullptr, &input, field.Number()}));
    m_byNumber[n] = list.back().get();
    NumberReferences(*field.Value(), output, input.MapIndex());
    if (input.IsHeld(field.Number()))
        Own(*list.back(), output);
}

void PDFieldStore::StoreField(PDOutputDoc& output, PDInputObj& field, PDFInput& input) {
    const PDValue* value = field.Value();
    if (value == nullptr || value->Kind() != kPDDictionary) {
        PDReport("assertion failed in StoreField\n");
        return;
    }
    const int map = input.MapIndex();
    const int32_t n = output.MapId(field.Number(), map);
    if (auto known = m_byNumber.find(n); known != m_byNumber.end()) {
        // Held objects are stored again after the pages, when their changes are complete and
        // before they leave the cache.
        if (input.IsHeld(field.Number()))
            Own(*known->second, output);
        return;
    }
    const PDValue* title = value->Get("/T");
    // A kid of a field of its own input, or a widget that belongs to no field: stored, but not
    // listed in /Fields.
    if (value->GetSlot(pdkey::Parent) != nullptr || title == nullptr) {
        AddByNumber(m_children, n, field, input, output);
        return;
    }
    auto [it, added] = m_byName.try_emplace(NameKey(*title), m_topLevel.size());
    if (added) {
        AddByNumber(m_topLevel, n, field, input, output);
        return;
    }
    Stored& existing = *m_topLevel[it->second];
    if (!Own(existing, output))
        return;
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
    for (const auto* list : {&m_topLevel, &m_children}) {
        for (const auto& stored : *list) {
            const PDValue* value = Current(*stored);
            if (value == nullptr) {
                PDReport("StoreField: field %ld is gone\n", static_cast<long>(stored->source));
                ok = false;
                continue;
            }
            int map = stored->dict != nullptr ? 0 : stored->input->MapIndex();
            ok = output.WriteObject(stored->number, *value, map) && ok;
            // Read again for the write, the field need not stay for the rest of the output.
            if (stored->dict == nullptr)
                stored->input->ReleaseRead(stored->source);
        }
    }
    return ok;
}
