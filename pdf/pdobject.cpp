#include "pdf/pdobject.h"

#include "pdf/pdkeys.h"
#include "pdf/pdreader.h"

PDIndirectObj::PDIndirectObj(int32_t number, std::unique_ptr<PDValue> value)
    : m_value(std::move(value)), m_number(number), m_kind(KindOf(m_value.get())) {}

PDIndirectObj::~PDIndirectObj() = default;

int PDIndirectObj::KindOf(const PDValue* value) noexcept {
    if (value == nullptr)
        return kPDObjOther;
    const PDValue* type = value->GetSlot(pdkey::Type);
    if (type == nullptr || !type->IsName())
        return kPDObjOther;
    if (type->Text() == "/Pages")
        return kPDObjPages;
    if (type->Text() == "/Page")
        return kPDObjPage;
    return kPDObjOther;
}

bool ObjHolder::Reset(PDReader& file, int32_t number) {
    Clear();
    m_obj = file.PeekCached(number);
    if (m_obj != nullptr)
        return true;
    auto copy = std::make_unique<PDIndirectObj>();
    if (!file.LoadObject(*copy, number))
        return false;
    m_owned = std::move(copy);
    m_obj = m_owned.get();
    return true;
}

void ObjHolder::Clear() noexcept {
    m_obj = nullptr;
    m_owned.reset();
}
