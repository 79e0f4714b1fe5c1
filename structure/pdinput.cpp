#include "structure/pdinput.h"

#include "streams/pdlimits.h"

#include <algorithm>

namespace {
// References that point at references are followed this far, then given up as a loop.
constexpr int kMaxReferenceHops = 32;
} // namespace

PDFInput::PDFInput() = default;

PDFInput::~PDFInput() {
    Close();
}

int32_t PDFInput::ObjectCount() const {
    return InputObjectCount() + NewObjectCount();
}

PDInputObj* PDFInput::GetObj(int32_t n) {
    if (n <= 0 || n >= kOutputBias)
        return nullptr;
    int32_t inputCount = InputObjectCount();
    if (n >= inputCount && n - inputCount < NewObjectCount())
        return m_newObjs[static_cast<size_t>(n - inputCount)].get();
    if (static_cast<size_t>(n) < m_cache.size() && m_cache[static_cast<size_t>(n)] != nullptr)
        return m_cache[static_cast<size_t>(n)].get();
    if (m_currentPage != nullptr && m_currentPage->Number() == n)
        return m_currentPage;
    if (n > pdlimits::kMaxObjectNumber)
        return nullptr;
    auto obj = std::make_unique<PDInputObj>(this, n);
    if (!LoadObject(*obj, n))
        return nullptr;
    // The cache grows only for objects that exist, so a stray large reference costs nothing.
    if (static_cast<size_t>(n) >= m_cache.size())
        m_cache.resize(std::min<size_t>(static_cast<size_t>(n) + 100,
                                        static_cast<size_t>(pdlimits::kMaxObjectNumber) + 1));
    m_highest = std::max(m_highest, n);
    m_cache[static_cast<size_t>(n)] = std::move(obj);
    return m_cache[static_cast<size_t>(n)].get();
}

PDInputObj* PDFInput::PeekObj(int32_t n) const {
    if (n <= 0 || n >= kOutputBias)
        return nullptr;
    int32_t inputCount = InputObjectCount();
    if (n >= inputCount && n - inputCount < NewObjectCount())
        return m_newObjs[static_cast<size_t>(n - inputCount)].get();
    if (n <= m_highest && static_cast<size_t>(n) < m_cache.size() &&
        m_cache[static_cast<size_t>(n)] != nullptr)
        return m_cache[static_cast<size_t>(n)].get();
    if (m_currentPage != nullptr && m_currentPage->Number() == n)
        return m_currentPage;
    return nullptr;
}

PDInputObj* PDFInput::NewObj(std::unique_ptr<PDValue> value) {
    auto obj = std::make_unique<PDInputObj>(this, InputObjectCount() + NewObjectCount());
    obj->SetKind(PDIndirectObj::KindOf(value.get()));
    obj->SetValue(std::move(value));
    m_newObjs.push_back(std::move(obj));
    ResizeFlags();
    return m_newObjs.back().get();
}

void PDFInput::ReleaseAll(bool keepNew) {
    if (!keepNew) {
        while (!m_newObjs.empty())
            m_newObjs.pop_back();
    }
    for (auto& slot : m_cache)
        slot.reset();
    m_highest = 0;
    m_currentPage = nullptr;
    m_inherited.clear();
    m_pageObjects.clear();
    m_pageObjectsKnown = false;
}

PDValue* PDFInput::Resolve(PDValue* value) {
    for (int hops = 0; value != nullptr && value->Kind() == kPDReference; ++hops) {
        if (hops >= kMaxReferenceHops)
            return nullptr;
        PDInputObj* obj = GetObj(value->Number());
        value = obj != nullptr ? obj->Value() : nullptr;
    }
    return value;
}

const PDValue* PDFInput::Resolve(const PDValue* value) {
    if (value == nullptr || value->Kind() != kPDReference)
        return value;
    PDInputObj* obj = GetObj(value->Number());
    return Resolve(obj != nullptr ? obj->Value() : nullptr);
}

PDValue* PDFInput::ResolveKey(const PDValue* dict, const char* key) {
    if (dict == nullptr || key == nullptr || dict->Kind() != kPDDictionary)
        return nullptr;
    return Resolve(dict->Get(key));
}
