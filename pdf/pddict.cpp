#include "pdf/pdvalue.h"

#include "pdf/pddiag.h"
#include "pdf/pdlimits.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr int kInitialSlots = 30;
constexpr int kGrowSlots = 10;
// From this many key slots on, exact look-ups go through a hash index instead of a scan.
constexpr int kIndexFrom = 32;

constexpr std::string_view kWellKnown[] = {
#define PD_KEY_VIEW(id, text) std::string_view(text),
    PD_WELL_KNOWN_KEYS(PD_KEY_VIEW)
#undef PD_KEY_VIEW
};

int TextLength(const char* text) noexcept {
    size_t n = std::strlen(text);
    return n > 0x7FFFFFF0U ? 0x7FFFFFF0 : static_cast<int>(n);
}

} // namespace

PDDict::PDDict() : m_capacity(kInitialSlots), m_oddKeys(false) {
    m_values.resize(kInitialSlots);
}

PDDict::~PDDict() = default;

std::string_view PDDict::KeyView(int slot) const noexcept {
    if (slot < 0)
        return {};
    if (slot < pdkey::kWellKnownCount)
        return kWellKnown[slot];
    auto owned = static_cast<size_t>(slot - pdkey::kWellKnownCount);
    return owned < m_ownedKeys.size() ? m_ownedKeys[owned].View() : std::string_view();
}

int PDDict::FindExact(const char* key, int length) const noexcept {
    std::string_view wanted(key, static_cast<size_t>(length));
    if (!m_lookup.empty()) {
        auto it = m_lookup.find(wanted);
        return it == m_lookup.end() ? -1 : it->second;
    }
    for (int slot = 0, n = SlotsInUse(); slot < n; ++slot) {
        if (KeyView(slot) == wanted)
            return slot;
    }
    return -1;
}

// A plain key (no slash) matches a stored key once that is decoded as a name.
int PDDict::FindDecoded(const char* key, int length) const noexcept {
    if (!m_oddKeys && length < 0x7FFFFF00) {
        // Every key is "/" + plain bytes, so decoding just drops the slash: look up "/key".
        char local[128];
        if (length + 1 <= static_cast<int>(sizeof local)) {
            local[0] = '/';
            std::memcpy(local + 1, key, static_cast<size_t>(length));
            return FindExact(local, length + 1);
        }
    }
    for (int slot = 0, n = SlotsInUse(); slot < n; ++slot) {
        std::string_view k = KeyView(slot);
        if (PDNameMatches(k.data(), static_cast<int>(k.size()), key, length))
            return slot;
    }
    return -1;
}

int PDDict::FindAny(const char* key) const noexcept {
    if (key == nullptr)
        return -1;
    int length = TextLength(key);
    int slot = FindExact(key, length);
    if (slot < 0 && key[0] != '/')
        slot = FindDecoded(key, length);
    return slot;
}

void PDDict::IndexSlot(int slot) {
    if (m_lookup.empty()) {
        if (SlotsInUse() < kIndexFrom)
            return;
        for (int i = 0, n = SlotsInUse(); i < n; ++i) // first time: every slot so far
            m_lookup.emplace(KeyView(i), i);
        return;
    }
    m_lookup.emplace(KeyView(slot), slot);
}

int PDDict::Intern(const char* key) {
    return key == nullptr ? -1 : Intern(key, TextLength(key));
}

int PDDict::Intern(const char* key, int length) {
    if (key == nullptr || length < 0)
        return -1;
    int slot = FindExact(key, length);
    if (slot >= 0)
        return slot;
    if (SlotsInUse() >= pdlimits::kMaxDictKeys)
        return -1;
    if (SlotsInUse() >= m_capacity) {
        m_capacity = std::min(std::max(m_capacity + kGrowSlots, m_capacity + m_capacity / 2),
                              pdlimits::kMaxDictKeys);
        m_values.resize(static_cast<size_t>(m_capacity));
    }
    // Owned key storage never moves its bytes: a PDStr keeps its buffer when the vector grows.
    m_ownedKeys.emplace_back(key, length);
    std::string_view text(key, static_cast<size_t>(length));
    if (text.empty() || text[0] != '/' || text.find('#') != std::string_view::npos)
        m_oddKeys = true;
    slot = SlotsInUse() - 1;
    IndexSlot(slot);
    return slot;
}

void PDDict::SaveAttrVal(int slot, std::unique_ptr<PDValue> v) {
    if (slot < 0 || slot >= m_capacity) {
        PDReport("SaveAttrVal: internal error\n");
        return;
    }
    if (v == nullptr) {
        RemoveSlot(slot);
        return;
    }
    auto& entry = m_values[static_cast<size_t>(slot)];
    if (entry == nullptr)
        m_order.push_back(static_cast<int16_t>(slot));
    entry = std::move(v); // a replaced value keeps its place in the order
}

void PDDict::Set(const char* key, std::unique_ptr<PDValue> v) {
    SaveAttrVal(Intern(key), std::move(v));
}

PDValue* PDDict::Get(const char* key) const noexcept {
    if (key == nullptr)
        return nullptr;
    int length = TextLength(key);
    return GetSlot(key[0] == '/' ? FindExact(key, length) : FindDecoded(key, length));
}

PDValue* PDDict::GetSlot(int slot) const noexcept {
    if (slot < 0 || slot >= m_capacity)
        return nullptr;
    return m_values[static_cast<size_t>(slot)].get();
}

const char* PDDict::KeyText(int slot) const noexcept {
    if (slot < 0 || slot >= SlotsInUse())
        return nullptr;
    return KeyView(slot).data();
}

bool PDDict::Entry(int i, PDValue** value, const char** key) const noexcept {
    int slot = 0;
    if (!EntrySlot(i, value, &slot))
        return false;
    if (key != nullptr)
        *key = KeyText(slot);
    return true;
}

bool PDDict::EntrySlot(int i, PDValue** value, int* slot) const noexcept {
    if (i < 0 || i >= Count())
        return false;
    int s = m_order[static_cast<size_t>(i)];
    if (value != nullptr)
        *value = m_values[static_cast<size_t>(s)].get();
    if (slot != nullptr)
        *slot = s;
    return true;
}

void PDDict::DropFromOrder(int slot) noexcept {
    auto it = std::find(m_order.begin(), m_order.end(), static_cast<int16_t>(slot));
    if (it != m_order.end())
        m_order.erase(it);
}

std::unique_ptr<PDValue> PDDict::Release(int slot) {
    if (GetSlot(slot) == nullptr)
        return nullptr;
    DropFromOrder(slot);
    return std::move(m_values[static_cast<size_t>(slot)]);
}

void PDDict::RemoveSlot(int slot) {
    Release(slot).reset();
}

bool PDDict::Remove(const char* key) {
    int slot = FindAny(key);
    if (GetSlot(slot) == nullptr)
        return false;
    RemoveSlot(slot);
    return true;
}

bool PDDict::MoveTo(const char* key, PDDict& other) {
    int slot = FindAny(key);
    std::unique_ptr<PDValue> v = Release(slot);
    if (v == nullptr)
        return false;
    std::string_view text = KeyView(slot);
    int target =
        slot < SlotsInUse() ? other.Intern(text.data(), static_cast<int>(text.size())) : slot;
    other.SaveAttrVal(target, std::move(v));
    return true;
}

void PDDict::Clear() noexcept {
    for (int16_t slot : m_order)
        m_values[static_cast<size_t>(slot)].reset();
    m_order.clear();
}
