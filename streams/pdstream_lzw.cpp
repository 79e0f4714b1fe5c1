// LZW decoding with the fixed parameters of PDF streams: 8-bit symbols, codes packed most
// significant bit first, early change 1. /EarlyChange is never read.
#include "streams/pdfilters.h"

#include "streams/pddiag.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

namespace {

constexpr int kClearCode = 256;
constexpr int kEndCode = 257; // also ends every prefix chain
constexpr int kFirstFreeCode = 258;
constexpr int kFirstWidth = 9;
constexpr int kMaxCodes = 4096;
constexpr int kTableEntries = kMaxCodes + 1;
constexpr uint8_t kLongString = 255; // saturated length; also marks the two special codes
constexpr int kOutBuffer = 500000;

enum LZWResult : int { kLZWEndOfInput = 0, kLZWBufferFull = 1, kLZWEndCode = -1, kLZWError = -2 };

struct LZWEntry {
    uint8_t byte;    // last byte of the string
    uint8_t length;  // saturated at kLongString
    uint16_t prefix; // code of the string without its last byte
};
static_assert(sizeof(LZWEntry) == 4);

// Decoder state between calls: a call stops when its output buffer is full and the next call
// resumes with the string that did not fit.
class LZWState {
public:
    LZWState(const uint8_t* in, int64_t length);
    // Decodes into out (size bytes); *written gets the bytes written. Returns an LZWResult.
    int Decode(uint8_t* out, int size, int* written);

private:
    void Reset() noexcept;
    bool ReadCode(int* code) noexcept;
    int StringLength(int code) const noexcept;
    uint8_t FirstByte(int code) const noexcept;
    uint8_t WriteString(int code, int length, int from, int count, uint8_t* out) const noexcept;
    bool AddEntry(uint8_t firstByte) noexcept;
    int ResumePending(uint8_t* out, int size) noexcept;

    const uint8_t* m_in;
    const uint8_t* m_end;
    uint8_t m_bitBuffer = 0;
    int m_bitsLeft = 0;
    int m_nextCode = kFirstFreeCode;
    int m_codeWidth = kFirstWidth;
    int m_prevCode = -1;
    int m_prevLength = 0;
    int m_pendingCode = -1;
    int m_pendingLength = 0;
    int m_pendingLeft = 0;
    std::unique_ptr<LZWEntry[]> m_table;
};

LZWState::LZWState(const uint8_t* in, int64_t length)
    : m_in(in), m_end(in + (length > 0 ? length : 0)),
      m_table(new (std::nothrow) LZWEntry[kTableEntries]()) {
    if (!m_table)
        PDThrowAlloc();
    for (int i = 0; i < 256; ++i)
        m_table[static_cast<size_t>(i)] = {static_cast<uint8_t>(i), 1, kEndCode};
    m_table[kClearCode] = {0, kLongString, kEndCode};
    m_table[kEndCode] = {0, kLongString, kEndCode};
}

void LZWState::Reset() noexcept {
    m_nextCode = kFirstFreeCode;
    m_codeWidth = kFirstWidth;
    m_prevCode = -1;
    m_prevLength = 0;
}

bool LZWState::ReadCode(int* code) noexcept {
    int value = 0;
    for (int need = m_codeWidth; need > 0;) {
        if (m_bitsLeft == 0) {
            if (m_in == m_end)
                return false;
            m_bitBuffer = *m_in++;
            m_bitsLeft = 8;
        }
        int take = std::min(need, m_bitsLeft);
        int bits = (m_bitBuffer >> (m_bitsLeft - take)) & ((1 << take) - 1);
        value = (value << take) | bits;
        m_bitsLeft -= take;
        need -= take;
    }
    *code = value;
    return true;
}

int LZWState::StringLength(int code) const noexcept {
    int length = m_table[static_cast<size_t>(code)].length;
    if (length != kLongString)
        return length;
    length = 0;
    for (int c = code; c != kEndCode && length < kTableEntries; ++length)
        c = m_table[static_cast<size_t>(c)].prefix;
    return length;
}

uint8_t LZWState::FirstByte(int code) const noexcept {
    int c = code;
    for (int steps = 0; steps < kTableEntries; ++steps) {
        const LZWEntry& e = m_table[static_cast<size_t>(c)];
        if (e.prefix == kEndCode)
            return e.byte;
        c = e.prefix;
    }
    return m_table[static_cast<size_t>(c)].byte;
}

// Writes bytes [from, from + count) of the string of code (length bytes) to out, walking the
// prefix chain backwards from the string's end. Returns the string's first byte.
uint8_t LZWState::WriteString(int code, int length, int from, int count,
                              uint8_t* out) const noexcept {
    int c = code;
    uint8_t byte = 0;
    for (int i = length - 1; i >= 0; --i) {
        const LZWEntry& e = m_table[static_cast<size_t>(c)];
        byte = e.byte;
        if (i >= from && i < from + count)
            out[i - from] = byte;
        if (e.prefix == kEndCode)
            break;
        c = e.prefix;
    }
    return byte;
}

bool LZWState::AddEntry(uint8_t firstByte) noexcept {
    // A stream that fills the table without sending a clear code ends here.
    if (m_nextCode >= kMaxCodes)
        return false;
    int length = std::min(m_prevLength + 1, static_cast<int>(kLongString));
    m_table[static_cast<size_t>(m_nextCode)] = {firstByte, static_cast<uint8_t>(length),
                                                static_cast<uint16_t>(m_prevCode)};
    ++m_nextCode;
    if (m_nextCode == (1 << m_codeWidth) - 1 && m_nextCode < kMaxCodes - 1)
        ++m_codeWidth;
    return true;
}

// Writes what is left of the string that did not fit into the previous buffer.
int LZWState::ResumePending(uint8_t* out, int size) noexcept {
    if (m_pendingCode < 0)
        return 0;
    int count = std::min(m_pendingLeft, size);
    WriteString(m_pendingCode, m_pendingLength, m_pendingLength - m_pendingLeft, count, out);
    m_pendingLeft -= count;
    if (m_pendingLeft == 0)
        m_pendingCode = -1;
    return count;
}

int LZWState::Decode(uint8_t* out, int size, int* written) {
    int pos = ResumePending(out, size);
    *written = pos;
    if (m_pendingCode >= 0)
        return kLZWBufferFull;
    int code = 0;
    while (ReadCode(&code)) {
        if (code == kClearCode) {
            Reset();
            continue;
        }
        if (code == kEndCode)
            return kLZWEndCode;
        if (code > m_nextCode || (code == m_nextCode && m_prevCode < 0))
            return kLZWError;
        if (code == m_nextCode) {
            // The string is the previous one plus its own first byte: build the entry first.
            int length = std::min(m_prevLength + 1, static_cast<int>(kLongString));
            m_table[static_cast<size_t>(code)] = {FirstByte(m_prevCode),
                                                  static_cast<uint8_t>(length),
                                                  static_cast<uint16_t>(m_prevCode)};
        }
        int length = StringLength(code);
        int count = std::min(length, size - pos);
        uint8_t first = WriteString(code, length, 0, count, out + pos);
        pos += count;
        *written = pos;
        if (m_prevCode >= 0 && !AddEntry(first))
            return kLZWError;
        m_prevCode = code;
        m_prevLength = length;
        if (count < length) {
            m_pendingCode = code;
            m_pendingLength = length;
            m_pendingLeft = length - count;
            return kLZWBufferFull;
        }
    }
    return kLZWEndOfInput;
}

// Appends one output buffer to content. False once the decoded-size cap is reached.
bool AppendBuffer(PDStr& content, const uint8_t* buffer, int written, int64_t cap) {
    // Deliberate: the buffer's last byte is counted only when it is not 0x00, so an output whose
    // 500000th byte (or whose very last byte) is zero loses that byte. Output files depend on it.
    int count = written;
    if (count > 0 && buffer[count - 1] == 0)
        --count;
    return PDAppendDecoded(content, buffer, count, cap);
}

} // namespace

int DecodeLZW(const uint8_t* in, int64_t length, PDStr& content) {
    if (in == nullptr)
        return 0;
    LZWState state(in, length);
    const int64_t cap = PDDecodedCap(length);
    std::unique_ptr<uint8_t[]> buffer(new (std::nothrow) uint8_t[kOutBuffer + 4]());
    if (!buffer)
        PDThrowAlloc();
    for (bool first = true;; first = false) {
        int written = 0;
        int result = state.Decode(buffer.get(), kOutBuffer, &written);
        // An error inside the first buffer keeps nothing; a later one keeps its buffer.
        if (result == kLZWError && first)
            break;
        if (!AppendBuffer(content, buffer.get(), written, cap))
            return -1;
        if (result != kLZWBufferFull)
            break;
        std::memset(buffer.get(), 0, kOutBuffer);
    }
    return 1;
}
