// PDStr: the library's growable byte string. Always zero-terminated; the length excludes the zero.
// Texts of up to kLocalBytes - 1 bytes (most names and numbers of a file) live inside the string
// itself, so a value made from such a token costs no allocation of its own. Text() of such a
// string moves with it: a pointer taken before a move does not follow the text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

class PDStr {
public:
    PDStr() noexcept;
    PDStr(const char* text); // NOLINT: implicit on purpose, texts convert freely
    PDStr(const char* bytes, int length);
    explicit PDStr(std::string_view bytes);
    PDStr(const PDStr& other);
    PDStr(PDStr&& other) noexcept;
    PDStr& operator=(const PDStr& other);
    PDStr& operator=(PDStr&& other) noexcept;
    PDStr& operator=(const char* text);
    ~PDStr();

    const char* Text() const noexcept { return m_text; }
    const uint8_t* Bytes() const noexcept { return reinterpret_cast<const uint8_t*>(m_text); }
    char* Buffer() noexcept; // writable bytes (owned storage only; the shared empty text is not)
    int Length() const noexcept { return m_length; }
    int Capacity() const noexcept { return m_capacity; }
    bool IsEmpty() const noexcept { return m_length == 0; }
    std::string_view View() const noexcept { return {m_text, static_cast<size_t>(m_length)}; }
    std::string ToString() const { return std::string(View()); }
    // Byte at i, or 0 outside the string.
    uint8_t At(int i) const noexcept;

    // Inline: the lexer appends one byte at a time.
    void Append(char byte) {
        if (m_length + 1 >= m_capacity)
            Grow(1);
        m_text[m_length++] = byte;
        m_text[m_length] = 0;
    }
    void Append(const char* text);
    void Append(const char* bytes, int length);
    void Append(std::string_view bytes);
    void Append(const PDStr& other);

    PDStr Concat(const PDStr& other) const;
    PDStr Tail(int from) const;                 // empty when from is at or past the end
    PDStr Substring(int from, int count) const; // count cut to what remains
    int Find(char byte) const noexcept;         // -1 when absent
    int Find(const char* text) const noexcept;
    // Unsigned bytes up to the first zero; -1, 0 or 1.
    int Compare(const char* text) const noexcept;
    bool operator==(const char* text) const noexcept { return Compare(text) == 0; }
    bool operator==(const PDStr& other) const noexcept { return View() == other.View(); }

    void Clear() noexcept; // keeps the buffer
    // Sets the length to n, zero-filling fresh storage. False (length and capacity 0) on failure.
    bool Reserve(int n);
    // Makes room for n bytes and the terminator without changing the text or filling the fresh
    // storage. False (the string unchanged) on failure.
    bool ReserveRoom(int n);
    // Cuts the string to n bytes (n at most the current length).
    void Truncate(int n) noexcept;

    static constexpr int kLocalBytes = 8;

private:
    void Grow(int added);
    void Release() noexcept;
    bool IsLocal() const noexcept { return m_text == m_local; }
    void TakeFrom(PDStr& other) noexcept;

    char* m_text;
    int32_t m_length;
    int32_t m_capacity; // 0 while the text is the shared empty one
    char m_local[kLocalBytes];
};
