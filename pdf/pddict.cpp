#include "pdf/pdvalue.h"

#include "streams/pddiag.h"
#include "streams/pdlimits.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <unordered_map>
#include <unordered_set>

namespace {

constexpr int kInitialSlots = 30;
constexpr int kGrowSlots = 10;
// From this many keys of its own on, a table indexes its keys and entries.
constexpr int kIndexFrom = 32;
// Entries are taken in steps of this many first, as most tables hold few.
constexpr size_t kFirstEntries = 4;

constexpr std::string_view kWellKnown[] = {
#define PD_KEY_VIEW(id, text) std::string_view(text),
    PD_WELL_KNOWN_KEYS(PD_KEY_VIEW)
#undef PD_KEY_VIEW
};

// Length and the two bytes behind the slash of a key, in one number: look-ups compare these
// first, so a key is compared byte for byte only with the one it most likely is.
constexpr uint32_t Signature(const char* key, size_t length) noexcept {
    if (length < 3)
        return static_cast<uint32_t>(length);
    return static_cast<uint32_t>(length) |
           static_cast<uint32_t>(static_cast<uint8_t>(key[1])) << 16 |
           static_cast<uint32_t>(static_cast<uint8_t>(key[2])) << 24;
}

struct WellKnownSignatures {
    uint32_t of[pdkey::kWellKnownCount];
    constexpr WellKnownSignatures() : of() {
        for (int slot = 0; slot < pdkey::kWellKnownCount; ++slot)
            of[slot] = Signature(kWellKnown[slot].data(), kWellKnown[slot].size());
    }
};
constexpr WellKnownSignatures kSignatures;

int TextLength(const char* text) noexcept {
    size_t n = std::strlen(text);
    return n > 0x7FFFFFF0U ? 0x7FFFFFF0 : static_cast<int>(n);
}

// The bytes of every key beyond the well-known ones, held once for all tables: documents repeat a
// few dozen keys thousands of times. Each text is zero-terminated and never moves or goes away.
class KeyPool {
public:
    std::string_view Intern(std::string_view key) {
        auto found = m_keys.find(key);
        if (found != m_keys.end())
            return *found;
        std::string_view kept(Store(key), key.size());
        m_keys.insert(kept);
        return kept;
    }

private:
    static constexpr size_t kBlock = 16384;

    const char* Store(std::string_view key) {
        size_t need = key.size() + 1;
        if (need > kBlock / 4) { // a long key gets a block of its own
            m_blocks.emplace_back(Allocate(need));
            return Fill(m_blocks.back().get(), key);
        }
        if (m_room < need) {
            m_blocks.emplace_back(Allocate(kBlock));
            m_open = m_blocks.back().get();
            m_room = kBlock;
        }
        char* at = m_open;
        m_open += need;
        m_room -= need;
        return Fill(at, key);
    }
    static char* Allocate(size_t n) {
        auto* block = static_cast<char*>(std::malloc(n));
        if (block == nullptr)
            PDThrowAlloc();
        return block;
    }
    static const char* Fill(char* at, std::string_view key) {
        if (!key.empty())
            std::memcpy(at, key.data(), key.size());
        at[key.size()] = 0;
        return at;
    }
    struct Free {
        void operator()(char* p) const noexcept { std::free(p); }
    };

    std::unordered_set<std::string_view, std::hash<std::string_view>,
                       std::equal_to<std::string_view>, PDAllocator<std::string_view>>
        m_keys;
    std::vector<std::unique_ptr<char, Free>, PDAllocator<std::unique_ptr<char, Free>>> m_blocks;
    char* m_open = nullptr;
    size_t m_room = 0;
};

KeyPool& Keys() {
    static KeyPool pool;
    return pool;
}

} // namespace

struct PDDict::BigIndex {
    std::unordered_map<std::string_view, int, std::hash<std::string_view>,
                       std::equal_to<std::string_view>,
                       PDAllocator<std::pair<const std::string_view, int>>>
        slots;              // owned key -> slot
    Vec<int32_t> positions; // slot -> entry index + 1; 0 when the slot holds nothing
};

PDDict::PDDict() noexcept : m_capacity(kInitialSlots), m_oddKeys(false) {}

PDDict::~PDDict() = default;

std::string_view PDDict::KeyView(int slot) const noexcept {
    if (slot < 0)
        return {};
    if (slot < pdkey::kWellKnownCount)
        return kWellKnown[slot];
    auto owned = static_cast<size_t>(slot - pdkey::kWellKnownCount);
    return owned < m_ownedKeys.size() ? m_ownedKeys[owned] : std::string_view();
}

int PDDict::FindExact(const char* key, int length) const noexcept {
    std::string_view wanted(key, static_cast<size_t>(length));
    uint32_t signature = Signature(key, wanted.size());
    for (int slot = 0; slot < pdkey::kWellKnownCount; ++slot) {
        if (kSignatures.of[slot] == signature && kWellKnown[slot] == wanted)
            return slot;
    }
    if (m_big != nullptr) {
        auto it = m_big->slots.find(wanted);
        return it == m_big->slots.end() ? -1 : it->second;
    }
    for (size_t i = 0; i < m_ownedKeys.size(); ++i) {
        std::string_view k = m_ownedKeys[i];
        if (k.size() == wanted.size() && (k.empty() || k.back() == wanted.back()) && k == wanted)
            return pdkey::kWellKnownCount + static_cast<int>(i);
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

int PDDict::Position(int slot) const noexcept {
    if (slot < 0 || slot >= m_capacity)
        return -1;
    if (m_big != nullptr) {
        auto at = static_cast<size_t>(slot);
        return at < m_big->positions.size() ? m_big->positions[at] - 1 : -1;
    }
    for (size_t i = 0; i < m_entries.size(); ++i) {
        if (m_entries[i].slot == slot)
            return static_cast<int>(i);
    }
    return -1;
}

// Entries from index `from` on moved: their slots learn their new places.
void PDDict::Reindex(size_t from) noexcept {
    if (m_big == nullptr)
        return;
    for (size_t i = from; i < m_entries.size(); ++i)
        m_big->positions[static_cast<size_t>(m_entries[i].slot)] = static_cast<int32_t>(i + 1);
}

void PDDict::IndexKey(int slot) {
    if (m_big == nullptr) {
        if (static_cast<int>(m_ownedKeys.size()) < kIndexFrom)
            return;
        // First time: every key and entry so far.
        m_big = std::make_unique<BigIndex>();
        for (size_t i = 0; i < m_ownedKeys.size(); ++i)
            m_big->slots.emplace(m_ownedKeys[i], pdkey::kWellKnownCount + static_cast<int>(i));
        m_big->positions.assign(static_cast<size_t>(m_capacity), 0);
        Reindex(0);
        return;
    }
    m_big->slots.emplace(KeyView(slot), slot);
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
        if (m_big != nullptr)
            m_big->positions.resize(static_cast<size_t>(m_capacity), 0);
    }
    std::string_view text = Keys().Intern(std::string_view(key, static_cast<size_t>(length)));
    if (m_ownedKeys.size() == m_ownedKeys.capacity())
        m_ownedKeys.reserve(std::max(kFirstEntries, m_ownedKeys.size() * 2));
    m_ownedKeys.push_back(text);
    if (text.empty() || text[0] != '/' || text.find('#') != std::string_view::npos)
        m_oddKeys = true;
    slot = SlotsInUse() - 1;
    IndexKey(slot);
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
    int at = Position(slot);
    if (at >= 0) {
        m_entries[static_cast<size_t>(at)].value = std::move(v); // keeps its place in the order
        return;
    }
    if (m_entries.size() == m_entries.capacity()) // most tables never grow past the first step
        m_entries.reserve(std::max(kFirstEntries, m_entries.size() * 2));
    m_entries.push_back(Item{std::move(v), slot});
    if (m_big != nullptr)
        m_big->positions[static_cast<size_t>(slot)] = static_cast<int32_t>(m_entries.size());
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
    int at = Position(slot);
    return at < 0 ? nullptr : m_entries[static_cast<size_t>(at)].value.get();
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
    const Item& item = m_entries[static_cast<size_t>(i)];
    if (value != nullptr)
        *value = item.value.get();
    if (slot != nullptr)
        *slot = item.slot;
    return true;
}

std::unique_ptr<PDValue> PDDict::Release(int slot) {
    int at = Position(slot);
    if (at < 0)
        return nullptr;
    auto index = static_cast<size_t>(at);
    std::unique_ptr<PDValue> v = std::move(m_entries[index].value);
    m_entries.erase(m_entries.begin() + at);
    if (m_big != nullptr) {
        m_big->positions[static_cast<size_t>(slot)] = 0;
        Reindex(index);
    }
    return v;
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
    m_entries.clear();
    if (m_big != nullptr)
        std::fill(m_big->positions.begin(), m_big->positions.end(), 0);
}

void PDDict::Compact() {
    if (m_entries.capacity() > m_entries.size())
        m_entries.shrink_to_fit();
    if (m_ownedKeys.capacity() > m_ownedKeys.size())
        m_ownedKeys.shrink_to_fit();
}
