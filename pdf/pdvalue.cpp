#include "pdf/pdvalue.h"

#include "pdf/pdformat.h"
#include "streams/pddiag.h"
#include "streams/pdnumtext.h"

#include <new>
#include <utility>

PDValue::PDValue() noexcept
    : m_kind(kPDNone), m_payload(kNoPayload), m_number(0), m_next(nullptr) {}

PDValue::PDValue(const char* text) : PDValue() {
    new (&m_body.text) PDStr(text);
    m_payload = kTextPayload;
    m_kind = m_body.text.At(0) == '(' ? kPDString : kPDText;
}

PDValue::PDValue(const PDStr& text) : PDValue() {
    new (&m_body.text) PDStr(text);
    m_payload = kTextPayload;
    m_kind = m_body.text.At(0) == '(' ? kPDString : kPDText;
}

PDValue::PDValue(double real) : PDValue(PDFormatReal(static_cast<float>(real)).c_str()) {}

PDValue::~PDValue() {
    DestroyChildren();
    DropPayload();
}

const PDStr& PDValue::EmptyText() noexcept {
    static const PDStr empty;
    return empty;
}

std::unique_ptr<PDValue> PDValue::MakeInteger(int32_t n) {
    auto v = std::make_unique<PDValue>();
    v->SetInteger(n);
    return v;
}

std::unique_ptr<PDValue> PDValue::MakeReference(int32_t objNum) {
    auto v = std::make_unique<PDValue>();
    v->SetReference(objNum);
    return v;
}

std::unique_ptr<PDValue> PDValue::MakeArray() {
    auto v = std::make_unique<PDValue>();
    v->m_kind = kPDArray;
    return v;
}

std::unique_ptr<PDValue> PDValue::MakeDictionary() {
    auto v = std::make_unique<PDValue>();
    v->MakeDict();
    return v;
}

// Ends the live member of the body. Children must be gone already (DestroyChildren).
void PDValue::DropPayload() noexcept {
    if (m_payload == kTextPayload)
        m_body.text.~PDStr();
    m_payload = kNoPayload;
    m_body.chain = Chain{nullptr, nullptr, 0};
}

void PDValue::Become(Payload payload) {
    if (m_payload == payload)
        return;
    DestroyChildren();
    DropPayload();
    if (payload == kTextPayload)
        new (&m_body.text) PDStr();
    m_payload = payload;
}

PDStr& PDValue::MutableText() {
    Become(kTextPayload);
    return m_body.text;
}

// Moves the array chain and the dictionary entries of v onto the work list.
void PDValue::DetachChildren(PDValue* v, PDValue*& work) noexcept {
    if (v->m_payload == kChainPayload) {
        if (v->m_body.chain.first != nullptr) {
            v->m_body.chain.last->m_next = work;
            work = v->m_body.chain.first;
        }
        v->m_body.chain = Chain{nullptr, nullptr, 0};
        v->m_payload = kNoPayload;
    } else if (v->m_payload == kDictPayload) {
        PDDict* dict = v->m_body.dict;
        for (auto& item : dict->m_entries) {
            PDValue* child = item.value.release();
            if (child != nullptr) {
                child->m_next = work;
                work = child;
            }
        }
        dict->m_entries.clear();
        delete dict;
        v->m_body.chain = Chain{nullptr, nullptr, 0};
        v->m_payload = kNoPayload;
    }
}

void PDValue::DestroyChildren() noexcept {
    PDValue* work = nullptr;
    DetachChildren(this, work);
    while (work != nullptr) {
        PDValue* v = work;
        work = v->m_next;
        v->m_next = nullptr;
        DetachChildren(v, work);
        delete v; // has no children left, so its destructor does not recurse
    }
}

// The new text is copied before the value lets go of what it held, as it may lie inside it.
void PDValue::SetText(const char* text) {
    SetText(PDStr(text));
}

void PDValue::SetText(const PDStr& text) {
    PDStr copy(text);
    MutableText() = std::move(copy);
    m_kind = m_body.text.At(0) == '/' ? kPDText : kPDString;
}

void PDValue::SetIntegerText(const char* digits) {
    int64_t n = PDParseInt64(digits);
    // Deliberate: both 32-bit extremes count as not fitting, so that 2147483647 stays a marker.
    if (n >= -2147483647 && n <= 2147483646) {
        m_kind = kPDInteger;
        m_number = static_cast<int32_t>(n);
        return;
    }
    PDStr copy(digits);
    MutableText() = std::move(copy);
    m_number = kPDBigNumber;
    m_kind = kPDText;
}

void PDValue::SetInteger(int32_t n) noexcept {
    m_kind = kPDInteger;
    m_number = n;
}

void PDValue::SetReference(int32_t objNum) noexcept {
    m_kind = kPDReference;
    m_number = objNum;
}

double PDValue::GetReal() const noexcept {
    if (m_kind == kPDInteger)
        return m_number;
    return PDParseReal(Text().Text());
}

int32_t PDValue::GetInt() const noexcept {
    if (m_kind == kPDText)
        return PDParseInt32(Text().Text());
    return m_number;
}

int64_t PDValue::GetInt64() const noexcept {
    if (m_kind != kPDText && m_number != kPDBigNumber)
        return m_number;
    return PDParseInt64(Text().Text());
}

PDValue* PDValue::First() const noexcept {
    return m_kind == kPDArray && m_payload == kChainPayload ? m_body.chain.first : nullptr;
}

PDValue* PDValue::Next() const noexcept {
    return m_next;
}

void PDValue::SetFirst(std::unique_ptr<PDValue> first) {
    if (m_kind != kPDArray) {
        PDReport("element assignment to non-array\n");
        return;
    }
    Become(kChainPayload);
    PDValue* work = m_body.chain.first; // the old chain goes, iteratively
    m_body.chain = Chain{nullptr, nullptr, 0};
    while (work != nullptr) {
        PDValue* v = work;
        work = v->m_next;
        v->m_next = nullptr;
        delete v;
    }
    PDValue* last = first.release();
    m_body.chain.first = last;
    m_body.chain.count = last != nullptr ? 1 : 0;
    while (last != nullptr && last->m_next != nullptr) {
        last = last->m_next;
        ++m_body.chain.count;
    }
    m_body.chain.last = last;
}

void PDValue::LinkLast(PDValue* element) {
    Become(kChainPayload);
    if (m_body.chain.first == nullptr)
        m_body.chain.first = element;
    else
        m_body.chain.last->m_next = element;
    m_body.chain.last = element;
    ++m_body.chain.count;
}

void PDValue::Append(std::unique_ptr<PDValue> element) {
    if (element == nullptr)
        return;
    if (m_kind != kPDArray) {
        PDReport("element assignment to non-array\n");
        return;
    }
    // Deliberate: the stored count is 1 after the first element and afterwards the number of
    // steps a walk to the old last element takes. Nothing reads it to iterate; it is kept so.
    m_number = First() == nullptr ? 1 : m_body.chain.count - 1;
    LinkLast(element.release());
}

PDValue* PDValue::Element(int i) const noexcept {
    if (i < 0)
        return nullptr;
    PDValue* e = First();
    for (; e != nullptr && i > 0; --i)
        e = e->m_next;
    return e;
}

int PDValue::ElementCount() const noexcept {
    // Leaving the chain payload always empties the chain, so any other payload counts none.
    return m_kind == kPDArray && m_payload == kChainPayload ? m_body.chain.count : 0;
}

bool PDValue::RemoveReference(int32_t objNum) {
    PDValue* prev = nullptr;
    for (PDValue* e = First(); e != nullptr; prev = e, e = e->m_next) {
        if (e->m_kind != kPDReference || e->m_number != objNum)
            continue;
        (prev == nullptr ? m_body.chain.first : prev->m_next) = e->m_next;
        if (m_body.chain.last == e)
            m_body.chain.last = prev;
        e->m_next = nullptr;
        delete e;
        --m_body.chain.count;
        --m_number;
        return true;
    }
    return false;
}

void PDValue::MakeDict() {
    DestroyChildren();
    DropPayload();
    m_body.dict = new PDDict();
    m_payload = kDictPayload;
    m_kind = kPDDictionary;
}

PDValue* PDValue::Get(const char* key) const noexcept {
    PDDict* dict = Dict();
    return m_kind == kPDDictionary && dict != nullptr ? dict->Get(key) : nullptr;
}

PDValue* PDValue::GetSlot(int slot) const noexcept {
    PDDict* dict = Dict();
    return m_kind == kPDDictionary && dict != nullptr ? dict->GetSlot(slot) : nullptr;
}

bool PDValue::HasStream() const noexcept {
    return Dict() != nullptr && m_body.dict->m_stream != nullptr;
}

const uint8_t* PDValue::StreamData() const noexcept {
    return HasStream() ? m_body.dict->m_stream->data.data() : nullptr;
}

int64_t PDValue::StreamLength() const noexcept {
    return HasStream() ? m_body.dict->m_stream->length : 0;
}

std::vector<uint8_t>& PDValue::MutableStreamData() {
    if (Dict() == nullptr) {
        // Deliberate: only a table can hold data, so anything else hands out an empty scratch.
        static std::vector<uint8_t> scratch;
        scratch.clear();
        return scratch;
    }
    if (m_body.dict->m_stream == nullptr)
        m_body.dict->m_stream = std::make_unique<PDDict::Stream>();
    return m_body.dict->m_stream->data;
}

bool PDValue::AssignStream(const uint8_t* data, int64_t length, const char* filter) {
    PDDict* dict = Dict();
    if (m_kind != kPDDictionary || dict == nullptr) {
        PDReport("PDValue::AssignStream: not a dictionary\n");
        return false;
    }
    if (data == nullptr || length < 0)
        length = 0;
    std::vector<uint8_t>& held = MutableStreamData();
    held.assign(data, data + length);
    dict->m_stream->length = length;
    std::string digits = PDFormatInt(length);
    if (PDValue* old = dict->GetSlot(pdkey::Length); old != nullptr) {
        old->DestroyChildren();
        old->SetIntegerText(digits.c_str()); // turned in place, so holders of it see the change
    } else {
        auto v = std::make_unique<PDValue>();
        v->SetIntegerText(digits.c_str());
        dict->SaveAttrVal(pdkey::Length, std::move(v));
    }
    if (filter == nullptr)
        dict->RemoveSlot(pdkey::Filter);
    else
        dict->SaveAttrVal(pdkey::Filter, std::make_unique<PDValue>(filter));
    return true;
}

void PDValue::AdoptStreamData(std::vector<uint8_t>&& data, int64_t length) {
    if (Dict() == nullptr) {
        PDReport("PDValue::AdoptStreamData: not a dictionary\n");
        return;
    }
    MutableStreamData() = std::move(data);
    m_body.dict->m_stream->length = length;
}
