#include "streams/pdstr.h"

#include "streams/pddiag.h"
#include "streams/pdslab.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>

namespace {

// Every string without storage points here; it is never written through.
const char kSharedEmpty[1] = {0};

// Growth leaves this much room beyond the new length so that byte-wise appends stay cheap.
constexpr int32_t kGrowSlack = 64;

char* SharedEmpty() noexcept {
    return const_cast<char*>(kSharedEmpty);
}

int32_t CheckedLength(size_t n) {
    if (n >= static_cast<size_t>(std::numeric_limits<int32_t>::max()))
        PDThrowAlloc();
    return static_cast<int32_t>(n);
}

size_t Unsigned(int32_t n) noexcept {
    return static_cast<size_t>(n);
}

// A zero-filled block. Large ones come zeroed from the system, untouched until used.
void* ZeroBlock(size_t n) noexcept {
    if (n > kPDSlabLargest)
        return std::calloc(n, 1);
    void* block = PDSlabAlloc(n);
    if (block != nullptr)
        std::memset(block, 0, n);
    return block;
}

// Fills a string that owns nothing with exactly length + 1 bytes.
void Adopt(PDStr& s, const char* bytes, int length) {
    if (bytes == nullptr || length <= 0)
        return;
    if (!s.Reserve(length))
        PDThrowAlloc();
    std::memcpy(s.Buffer(), bytes, Unsigned(length));
}

} // namespace

PDStr::PDStr() noexcept : m_text(SharedEmpty()), m_length(0), m_capacity(0), m_local() {}

PDStr::PDStr(const char* text) : PDStr() {
    if (text != nullptr)
        Adopt(*this, text, CheckedLength(std::strlen(text)));
}

PDStr::PDStr(const char* bytes, int length) : PDStr() {
    Adopt(*this, bytes, length);
}

PDStr::PDStr(std::string_view bytes) : PDStr() {
    Adopt(*this, bytes.data(), CheckedLength(bytes.size()));
}

PDStr::PDStr(const PDStr& other) : PDStr() {
    Adopt(*this, other.m_text, other.m_length);
}

PDStr::PDStr(PDStr&& other) noexcept : PDStr() {
    TakeFrom(other);
}

// Takes over what other holds and leaves it empty. This string must hold nothing.
void PDStr::TakeFrom(PDStr& other) noexcept {
    if (other.IsLocal()) {
        std::memcpy(m_local, other.m_local, sizeof m_local);
        m_text = m_local;
    } else {
        m_text = other.m_text;
    }
    m_length = other.m_length;
    m_capacity = other.m_capacity;
    other.m_text = SharedEmpty();
    other.m_length = 0;
    other.m_capacity = 0;
}

PDStr& PDStr::operator=(const PDStr& other) {
    if (this != &other) {
        PDStr copy(other);
        *this = std::move(copy);
    }
    return *this;
}

PDStr& PDStr::operator=(PDStr&& other) noexcept {
    if (this != &other) {
        Release();
        TakeFrom(other);
    }
    return *this;
}

PDStr& PDStr::operator=(const char* text) {
    PDStr copy(text); // the text may point into this string
    *this = std::move(copy);
    return *this;
}

PDStr::~PDStr() {
    Release();
}

void PDStr::Release() noexcept {
    if (m_capacity > 0 && !IsLocal())
        PDSlabFree(m_text, Unsigned(m_capacity));
    m_text = SharedEmpty();
    m_length = 0;
    m_capacity = 0;
}

char* PDStr::Buffer() noexcept {
    if (m_capacity > 0)
        return m_text;
    // Deliberate: callers of an empty string get a private scratch byte, never the shared text.
    static char scratch[1];
    scratch[0] = 0;
    return scratch;
}

uint8_t PDStr::At(int i) const noexcept {
    if (i < 0 || i >= m_length)
        return 0;
    return static_cast<uint8_t>(m_text[i]);
}

// Makes room for `added` more bytes plus the terminator: the room inside the string when that
// suffices, else a fresh block or a reallocation of at least the new length + 64 bytes.
void PDStr::Grow(int added) {
    int64_t newLength = int64_t{m_length} + added;
    if (added < 0 || newLength + kGrowSlack > std::numeric_limits<int32_t>::max())
        PDThrowAlloc();
    if (newLength < m_capacity)
        return;
    if (m_capacity == 0 && newLength < kLocalBytes) {
        m_text = m_local;
        m_text[0] = 0;
        m_capacity = kLocalBytes;
        return;
    }
    // Growing by half of what is held keeps a long run of appends linear overall.
    int64_t wanted = std::max(newLength + kGrowSlack, int64_t{m_capacity} + m_capacity / 2);
    auto size =
        static_cast<int32_t>(std::min<int64_t>(wanted, std::numeric_limits<int32_t>::max()));
    bool moves = m_capacity == 0 || IsLocal();
    char* block =
        moves ? static_cast<char*>(PDSlabAlloc(Unsigned(size)))
              : static_cast<char*>(PDSlabResize(m_text, Unsigned(m_capacity), Unsigned(size)));
    if (block == nullptr)
        PDThrowAlloc();
    if (m_capacity == 0)
        block[0] = 0;
    else if (IsLocal())
        std::memcpy(block, m_local, Unsigned(m_length) + 1);
    m_text = block;
    m_capacity = size;
}

void PDStr::Append(const char* text) {
    if (text != nullptr)
        Append(text, CheckedLength(std::strlen(text)));
}

void PDStr::Append(const char* bytes, int length) {
    if (bytes == nullptr || length <= 0)
        return;
    // The source may lie inside this string's own buffer, which growing may move.
    bool inside = m_capacity > 0 && !std::less<const char*>()(bytes, m_text) &&
                  std::less<const char*>()(bytes, m_text + m_capacity);
    std::ptrdiff_t offset = inside ? bytes - m_text : 0;
    Grow(length);
    const char* source = inside ? m_text + offset : bytes;
    std::memmove(m_text + m_length, source, Unsigned(length));
    m_length += length;
    m_text[m_length] = 0;
}

void PDStr::Append(std::string_view bytes) {
    Append(bytes.data(), CheckedLength(bytes.size()));
}

void PDStr::Append(const PDStr& other) {
    Append(other.m_text, other.m_length);
}

PDStr PDStr::Concat(const PDStr& other) const {
    PDStr result(*this);
    result.Append(other);
    return result;
}

PDStr PDStr::Tail(int from) const {
    if (from < 0)
        from = 0;
    if (from >= m_length)
        return PDStr();
    return PDStr(m_text + from, m_length - from);
}

PDStr PDStr::Substring(int from, int count) const {
    if (from < 0 || from >= m_length || count <= 0)
        return PDStr();
    if (count > m_length - from)
        count = m_length - from;
    return PDStr(m_text + from, count);
}

int PDStr::Find(char byte) const noexcept {
    const void* hit = std::memchr(m_text, static_cast<unsigned char>(byte), Unsigned(m_length));
    return hit == nullptr ? -1 : static_cast<int>(static_cast<const char*>(hit) - m_text);
}

int PDStr::Find(const char* text) const noexcept {
    if (text == nullptr)
        return -1;
    size_t at = View().find(text);
    return at == std::string_view::npos ? -1 : static_cast<int>(at);
}

int PDStr::Compare(const char* text) const noexcept {
    const auto* a = reinterpret_cast<const unsigned char*>(m_text);
    const auto* b = reinterpret_cast<const unsigned char*>(text != nullptr ? text : "");
    while (*a != 0 && *a == *b) {
        ++a;
        ++b;
    }
    if (*a == *b)
        return 0;
    return *a < *b ? -1 : 1;
}

void PDStr::Clear() noexcept {
    if (m_capacity > 0)
        m_text[0] = 0;
    m_length = 0;
}

bool PDStr::Reserve(int n) {
    if (n < 0 || n == std::numeric_limits<int32_t>::max()) {
        Release();
        return false;
    }
    if (m_capacity == 0 && n < kLocalBytes) {
        std::memset(m_local, 0, sizeof m_local);
        m_text = m_local;
        m_capacity = kLocalBytes;
    } else if (m_capacity == 0) {
        auto* block = static_cast<char*>(ZeroBlock(Unsigned(n) + 1));
        if (block == nullptr) {
            Release();
            return false;
        }
        m_text = block;
        m_capacity = n + 1;
    } else if (m_capacity <= n) {
        // The terminator needs byte n, so a capacity of exactly n is too small as well.
        auto* block =
            IsLocal()
                ? static_cast<char*>(PDSlabAlloc(Unsigned(n) + 1))
                : static_cast<char*>(PDSlabResize(m_text, Unsigned(m_capacity), Unsigned(n) + 1));
        if (block == nullptr) {
            Release();
            return false;
        }
        if (IsLocal())
            std::memcpy(block, m_local, sizeof m_local);
        std::memset(block + m_capacity, 0, Unsigned(n + 1 - m_capacity));
        m_text = block;
        m_capacity = n + 1;
    }
    m_length = n;
    m_text[n] = 0;
    return true;
}

bool PDStr::ReserveRoom(int n) {
    if (n < 0 || n == std::numeric_limits<int32_t>::max())
        return false;
    if (n < m_capacity)
        return true;
    char* block = nullptr;
    if (m_capacity == 0 || IsLocal()) {
        block = static_cast<char*>(PDSlabAlloc(Unsigned(n) + 1));
        if (block != nullptr && m_capacity == 0)
            block[0] = 0;
        else if (block != nullptr)
            std::memcpy(block, m_local, Unsigned(m_length) + 1);
    } else {
        block = static_cast<char*>(PDSlabResize(m_text, Unsigned(m_capacity), Unsigned(n) + 1));
    }
    if (block == nullptr)
        return false;
    m_text = block;
    m_capacity = n + 1;
    return true;
}

void PDStr::Truncate(int n) noexcept {
    if (n < 0)
        n = 0;
    if (n >= m_length)
        return;
    m_length = n;
    m_text[n] = 0;
}
