#include "pdf/pdvalue.h"

#include "pdf/pddiag.h"
#include "pdf/pdformat.h"
#include "pdf/pdnumtext.h"

#include <utility>

PDValue::PDValue() noexcept
    : m_kind(kPDNone), m_link(nullptr), m_number(0), m_next(nullptr), m_last(nullptr),
      m_streamLength(0), m_realCount(0), m_hasStream(false) {}

PDValue::PDValue(const char* text) : PDValue() {
    m_text = text;
    m_kind = m_text.At(0) == '(' ? kPDString : kPDText;
}

PDValue::PDValue(const PDStr& text) : PDValue() {
    m_text = text;
    m_kind = m_text.At(0) == '(' ? kPDString : kPDText;
}

PDValue::PDValue(double real) : PDValue(PDFormatReal(static_cast<float>(real)).c_str()) {}

PDValue::~PDValue() {
    DestroyChildren();
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

// Moves the array chain and the dictionary entries of v onto the work list.
void PDValue::DetachChildren(PDValue* v, PDValue*& work) noexcept {
    if (v->m_link != nullptr) {
        PDValue* tail = v->m_link;
        while (tail->m_next != nullptr)
            tail = tail->m_next;
        tail->m_next = work;
        work = v->m_link;
        v->m_link = nullptr;
        v->m_last = nullptr;
        v->m_realCount = 0;
    }
    if (v->m_dict != nullptr) {
        for (auto& item : v->m_dict->m_entries) {
            PDValue* child = item.value.release();
            if (child != nullptr) {
                child->m_next = work;
                work = child;
            }
        }
        v->m_dict->m_entries.clear();
        v->m_dict.reset();
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

void PDValue::SetText(const char* text) {
    m_text = text;
    m_kind = m_text.At(0) == '/' ? kPDText : kPDString;
}

void PDValue::SetText(const PDStr& text) {
    m_text = text;
    m_kind = m_text.At(0) == '/' ? kPDText : kPDString;
}

void PDValue::SetIntegerText(const char* digits) {
    int64_t n = PDParseInt64(digits);
    // Deliberate: both 32-bit extremes count as not fitting, so that 2147483647 stays a marker.
    if (n >= -2147483647 && n <= 2147483646) {
        m_kind = kPDInteger;
        m_number = static_cast<int32_t>(n);
        return;
    }
    m_text = digits;
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
    return PDParseReal(m_text.Text());
}

int32_t PDValue::GetInt() const noexcept {
    if (m_kind == kPDText)
        return PDParseInt32(m_text.Text());
    return m_number;
}

int64_t PDValue::GetInt64() const noexcept {
    if (m_kind != kPDText && m_number != kPDBigNumber)
        return m_number;
    return PDParseInt64(m_text.Text());
}

PDValue* PDValue::First() const noexcept {
    return m_kind == kPDArray ? m_link : nullptr;
}

PDValue* PDValue::Next() const noexcept {
    return m_next;
}

void PDValue::SetFirst(std::unique_ptr<PDValue> first) {
    if (m_kind != kPDArray) {
        PDReport("element assignment to non-array\n");
        return;
    }
    PDValue* work = m_link; // the old chain goes, iteratively
    m_link = nullptr;
    while (work != nullptr) {
        PDValue* v = work;
        work = v->m_next;
        v->m_next = nullptr;
        delete v;
    }
    m_link = first.release();
    m_last = m_link;
    m_realCount = m_link != nullptr ? 1 : 0;
    while (m_last != nullptr && m_last->m_next != nullptr) {
        m_last = m_last->m_next;
        ++m_realCount;
    }
}

void PDValue::LinkLast(PDValue* element) noexcept {
    if (m_link == nullptr)
        m_link = element;
    else
        m_last->m_next = element;
    m_last = element;
    ++m_realCount;
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
    m_number = m_link == nullptr ? 1 : m_realCount - 1;
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
    return m_kind == kPDArray ? m_realCount : 0;
}

bool PDValue::RemoveReference(int32_t objNum) {
    PDValue* prev = nullptr;
    for (PDValue* e = First(); e != nullptr; prev = e, e = e->m_next) {
        if (e->m_kind != kPDReference || e->m_number != objNum)
            continue;
        (prev == nullptr ? m_link : prev->m_next) = e->m_next;
        if (m_last == e)
            m_last = prev;
        e->m_next = nullptr;
        delete e;
        --m_realCount;
        --m_number;
        return true;
    }
    return false;
}

void PDValue::MakeDict() {
    DestroyChildren();
    m_dict = std::make_unique<PDDict>();
    m_kind = kPDDictionary;
}

PDValue* PDValue::Get(const char* key) const noexcept {
    return m_kind == kPDDictionary && m_dict != nullptr ? m_dict->Get(key) : nullptr;
}

PDValue* PDValue::GetSlot(int slot) const noexcept {
    return m_kind == kPDDictionary && m_dict != nullptr ? m_dict->GetSlot(slot) : nullptr;
}

bool PDValue::AssignStream(const uint8_t* data, int64_t length, const char* filter) {
    if (m_kind != kPDDictionary || m_dict == nullptr) {
        PDReport("PDValue::AssignStream: not a dictionary\n");
        return false;
    }
    if (data == nullptr || length < 0)
        length = 0;
    m_data.assign(data, data + length);
    m_streamLength = length;
    m_hasStream = true;
    std::string digits = PDFormatInt(length);
    if (PDValue* old = m_dict->GetSlot(pdkey::Length); old != nullptr) {
        old->DestroyChildren();
        old->SetIntegerText(digits.c_str()); // turned in place, so holders of it see the change
    } else {
        auto v = std::make_unique<PDValue>();
        v->SetIntegerText(digits.c_str());
        m_dict->SaveAttrVal(pdkey::Length, std::move(v));
    }
    if (filter == nullptr)
        m_dict->RemoveSlot(pdkey::Filter);
    else
        m_dict->SaveAttrVal(pdkey::Filter, std::make_unique<PDValue>(filter));
    return true;
}

void PDValue::AdoptStreamData(std::vector<uint8_t>&& data, int64_t length) {
    m_data = std::move(data);
    m_streamLength = length;
    m_hasStream = true;
}
