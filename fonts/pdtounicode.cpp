#include "fonts/pdtounicode.h"

#include "fonts/pdglyphs.h"
#include "streams/pdnumtext.h"

#include <algorithm>
#include <cstring>

namespace {

// Mappings looked at behind the one found, for ranges that overlap others.
constexpr int kMaxOverlapSteps = 8;

} // namespace

enum class PDCMapToken { kEnd, kHex, kWord, kOpen, kClose, kOther };

// The few token kinds a CMap's mapping sections use; every call consumes at least one byte.
class PDCMapScanner {
public:
    PDCMapScanner(const uint8_t* data, int64_t length) : m_p(data), m_end(data + length) {}

    PDCMapToken Next() {
        SkipBlanks();
        m_value.Clear();
        if (m_p >= m_end)
            return PDCMapToken::kEnd;
        uint8_t c = *m_p++;
        if (c == '<')
            return ReadHex();
        if (c == '[')
            return PDCMapToken::kOpen;
        if (c == ']')
            return PDCMapToken::kClose;
        if (!IsRegular(c))
            return PDCMapToken::kOther;
        m_value.Append(static_cast<char>(c));
        while (m_p < m_end && IsRegular(*m_p))
            m_value.Append(static_cast<char>(*m_p++));
        return PDCMapToken::kWord;
    }
    const PDStr& Value() const noexcept { return m_value; }

private:
    static bool IsRegular(uint8_t c) { return c > ' ' && std::strchr("<>[]()%{}", c) == nullptr; }
    void SkipBlanks() {
        while (m_p < m_end && (*m_p <= ' ' || *m_p == '%')) {
            if (*m_p++ == '%')
                while (m_p < m_end && *m_p != '\n' && *m_p != '\r')
                    ++m_p;
        }
    }
    PDCMapToken ReadHex() {
        int high = -1;
        for (; m_p < m_end && *m_p != '>'; ++m_p) {
            int digit = PDHexValue(*m_p);
            if (digit < 0)
                continue; // blanks inside are allowed, other bytes are dropped
            if (high < 0) {
                high = digit;
            } else {
                m_value.Append(static_cast<char>(high * 16 + digit));
                high = -1;
            }
        }
        if (high >= 0)
            m_value.Append(static_cast<char>(high * 16));
        if (m_p < m_end)
            ++m_p;
        return PDCMapToken::kHex;
    }

    const uint8_t* m_p;
    const uint8_t* m_end;
    PDStr m_value;
};

namespace {

// A source code: one to four bytes, big-endian.
bool CodeOf(const PDStr& bytes, uint32_t& code) {
    if (bytes.Length() < 1 || bytes.Length() > 4)
        return false;
    code = 0;
    for (int i = 0; i < bytes.Length(); ++i)
        code = code << 8 | bytes.At(i);
    return true;
}

// The text of the code at offset steps from the start of a range: the last unit grows.
void TextAt(const PDStr& text, uint32_t steps, PDStr& out) {
    int n = text.Length();
    if (n < 2) {
        out.Append(text);
        return;
    }
    uint32_t unit = (static_cast<uint32_t>(text.At(n - 2)) << 8 | text.At(n - 1)) + steps;
    out.Append(text.Text(), n - 2);
    out.Append(static_cast<char>((unit >> 8) & 0xFF));
    out.Append(static_cast<char>(unit & 0xFF));
}

void Utf16(uint32_t unicode, PDStr& out) {
    auto unit = [&out](uint32_t u) {
        out.Append(static_cast<char>((u >> 8) & 0xFF));
        out.Append(static_cast<char>(u & 0xFF));
    };
    if (unicode < 0x10000) {
        unit(unicode);
    } else {
        unicode -= 0x10000;
        unit(0xD800 + (unicode >> 10));
        unit(0xDC00 + (unicode & 0x3FF));
    }
}

} // namespace

void PDToUnicode::Add(uint32_t lo, uint32_t hi, const PDStr& text) {
    if (static_cast<int>(m_maps.size()) >= kMaxMappings || hi < lo || hi - lo >= kMaxRangeCodes)
        return;
    if (text.IsEmpty())
        return;
    m_maps.push_back({lo, hi, text.Substring(0, kMaxTextBytes & ~1)});
}

bool PDToUnicode::Read(const uint8_t* data, int64_t length) {
    PDCMapScanner scan(data, length);
    for (PDCMapToken t = scan.Next(); t != PDCMapToken::kEnd; t = scan.Next()) {
        if (t == PDCMapToken::kWord && scan.Value() == "beginbfchar")
            ReadSection(scan, true);
        else if (t == PDCMapToken::kWord && scan.Value() == "beginbfrange")
            ReadSection(scan, false);
    }
    std::stable_sort(m_maps.begin(), m_maps.end(),
                     [](const Mapping& a, const Mapping& b) { return a.lo < b.lo; });
    return !m_maps.empty();
}

// Entries up to the next word starting with "end". A token out of place is looked at again as
// the start of the next entry, so every round consumes at least one token.
void PDToUnicode::ReadSection(PDCMapScanner& scan, bool chars) {
    PDCMapToken t = scan.Next();
    while (t != PDCMapToken::kEnd &&
           !(t == PDCMapToken::kWord && scan.Value().View().starts_with("end"))) {
        uint32_t lo = 0;
        uint32_t hi = 0;
        if (t != PDCMapToken::kHex || !CodeOf(scan.Value(), lo)) {
            t = scan.Next();
            continue;
        }
        if (chars)
            hi = lo;
        else if ((t = scan.Next()) != PDCMapToken::kHex || !CodeOf(scan.Value(), hi))
            continue;
        t = scan.Next();
        if (t == PDCMapToken::kHex) {
            Add(lo, hi, scan.Value());
        } else if (t == PDCMapToken::kOpen && !chars) {
            for (uint32_t code = lo; (t = scan.Next()) == PDCMapToken::kHex; ++code)
                if (code <= hi)
                    Add(code, code, scan.Value());
            if (t != PDCMapToken::kClose)
                continue;
        } else {
            continue;
        }
        t = scan.Next();
    }
}

const PDToUnicode::Mapping* PDToUnicode::Find(uint32_t code) const {
    auto it = std::upper_bound(m_maps.begin(), m_maps.end(), code,
                               [](uint32_t c, const Mapping& m) { return c < m.lo; });
    for (int step = 0; step < kMaxOverlapSteps && it != m_maps.begin(); ++step) {
        --it;
        if (code <= it->hi)
            return &*it;
    }
    return nullptr;
}

int PDToUnicode::AppendText(uint32_t code, PDStr& text) const {
    const Mapping* m = Find(code);
    if (m == nullptr)
        return 0;
    int before = text.Length();
    TextAt(m->text, code - m->lo, text);
    return (text.Length() - before) / 2;
}

int PDToUnicode::CodeToChar(uint32_t code) const {
    PDStr text;
    return AppendText(code, text) > 0 ? text.At(0) << 8 | text.At(1) : 0;
}

bool PDToUnicode::CodeFor(uint32_t unicode, uint32_t& code) const {
    PDStr want;
    Utf16(unicode, want);
    int n = want.Length();
    uint32_t last = static_cast<uint32_t>(want.At(n - 2)) << 8 | want.At(n - 1);
    for (const Mapping& m : m_maps) {
        if (m.text.Length() != n ||
            std::memcmp(m.text.Text(), want.Text(), static_cast<size_t>(n - 2)) != 0)
            continue;
        uint32_t first = static_cast<uint32_t>(m.text.At(n - 2)) << 8 | m.text.At(n - 1);
        if (last >= first && last - first <= m.hi - m.lo && Find(m.lo + (last - first)) == &m) {
            code = m.lo + (last - first);
            return true;
        }
    }
    return false;
}

uint32_t PDToUnicode::UnicodeToCode(uint32_t unicode) const {
    uint32_t code = 0;
    return CodeFor(unicode, code) ? code : 0;
}

const char* PDToUnicode::GlyphName(uint32_t code) const {
    PDStr text;
    if (AppendText(code, text) != 1)
        return nullptr;
    return UnicodeToGlyph(static_cast<uint32_t>(text.At(0) << 8 | text.At(1)));
}

int PDToUnicode::NameToCode(const char* name) const {
    int32_t value = GlyphToUnicode(name);
    return value >= 1 ? static_cast<int>(UnicodeToCode(static_cast<uint32_t>(value))) : 0;
}
