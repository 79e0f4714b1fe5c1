#include "fonts/pdencoding.h"

#include "fonts/pdfont_tables.h"
#include "fonts/pdglyphs.h"
#include "pdf/pdvalue.h"

#include <cstring>

namespace {

void AppendUnit(PDStr& text, uint32_t unit) {
    text.Append(static_cast<char>((unit >> 8) & 0xFF));
    text.Append(static_cast<char>(unit & 0xFF));
}

const char* SkipSlash(const char* name) {
    return name != nullptr && name[0] == '/' ? name + 1 : name;
}

// Unicode value of a glyph name, also for the "uniXXXX" names many writers use for glyphs the
// glyph list does not know; 0 when neither gives one.
uint32_t NameValue(const char* name) {
    int32_t value = GlyphToUnicode(name);
    if (value >= 1)
        return static_cast<uint32_t>(value);
    if (std::strncmp(name, "uni", 3) != 0 || std::strlen(name) != 7)
        return 0;
    uint32_t hex = 0;
    for (const char* p = name + 3; *p != 0; ++p) {
        char c = *p;
        int digit = c >= '0' && c <= '9' ? c - '0' : c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
        if (digit < 0)
            return 0;
        hex = hex * 16 + static_cast<uint32_t>(digit);
    }
    return hex;
}

} // namespace

int PDTableEncoding::AppendText(uint32_t code, PDStr& text) const {
    const char* name = GlyphName(code);
    if (m_default) {
        int32_t value = name != nullptr ? GlyphToUnicode(name) : 0;
        AppendUnit(text, value >= 1 ? static_cast<uint32_t>(value) : code);
        return 1;
    }
    if (name == nullptr)
        return 0;
    AppendUnit(text, m_table.unicodes[code - static_cast<uint32_t>(m_table.first)]);
    return 1;
}

int PDTableEncoding::CodeToChar(uint32_t code) const {
    return static_cast<int>(code);
}

uint32_t PDTableEncoding::UnicodeToCode(uint32_t unicode) const {
    for (int i = 0; i < m_table.count && unicode != 0; ++i)
        if (m_table.unicodes[i] == unicode)
            return static_cast<uint32_t>(m_table.first + i);
    return 0;
}

const char* PDTableEncoding::GlyphName(uint32_t code) const {
    auto first = static_cast<uint32_t>(m_table.first);
    if (code < first || code - first >= static_cast<uint32_t>(m_table.count))
        return nullptr;
    return m_table.names[code - first];
}

int PDTableEncoding::NameToCode(const char* name) const {
    int notFound = m_default ? -1 : 0;
    name = SkipSlash(name);
    if (name == nullptr)
        return notFound;
    if (m_default && std::strcmp(name, "minus") == 0)
        return 45;
    int lo = 0;
    int hi = m_table.named;
    while (lo < hi) {
        int mid = lo + (hi - lo) / 2;
        if (std::strcmp(m_table.names[m_table.byName[mid] - m_table.first], name) < 0)
            lo = mid + 1;
        else
            hi = mid;
    }
    if (lo >= m_table.named || std::strcmp(m_table.names[m_table.byName[lo] - m_table.first], name))
        return notFound;
    int code = m_table.byName[lo];
    return m_default && code == 160 ? 32 : code;
}

const PDEncoding& PDDefaultTextEncoding() {
    static const PDTableEncoding encoding(kPDDefaultTable, true);
    return encoding;
}

const PDEncoding& PDSymbolEncoding() {
    static const PDTableEncoding encoding(kPDSymbolTable);
    return encoding;
}

const PDEncoding& PDZapfDingbatsEncoding() {
    static const PDTableEncoding encoding(kPDZapfDingbatsTable);
    return encoding;
}

const PDEncoding& PDBuiltinEncodingOf(int which) {
    if (which == kPDEncodingSymbol)
        return PDSymbolEncoding();
    if (which == kPDEncodingZapfDingbats)
        return PDZapfDingbatsEncoding();
    return PDDefaultTextEncoding();
}

const PDEncoding* PDDiffEncoding::NamedBase(const char* name) {
    static const PDTableEncoding standard(kPDStandardTable);
    static const PDTableEncoding macRoman(kPDMacRomanTable);
    name = SkipSlash(name);
    if (name == nullptr)
        return nullptr;
    if (std::strcmp(name, "WinAnsiEncoding") == 0)
        return &PDDefaultTextEncoding();
    if (std::strcmp(name, "MacRomanEncoding") == 0)
        return &macRoman;
    if (std::strcmp(name, "StandardEncoding") == 0)
        return &standard;
    return nullptr;
}

PDDiffEncoding::PDDiffEncoding(const PDEncoding* base, const PDValue* differences) {
    if (base == nullptr)
        base = NamedBase("StandardEncoding");
    for (uint32_t code = 0; code < 256; ++code) {
        const char* name = base->GlyphName(code);
        if (name != nullptr)
            m_names[code] = name;
    }
    // The array is a chain of values already in memory, so walking it is bounded by its length.
    int64_t code = -1;
    for (const PDValue* v = differences != nullptr ? differences->First() : nullptr; v != nullptr;
         v = v->Next()) {
        if (v->Kind() == kPDInteger)
            code = v->Number();
        else if (v->IsName() && code >= 0) {
            if (code < 256)
                m_names[code] = PDDecodeName(v->Text().Text(), v->Text().Length());
            ++code;
        }
    }
}

int PDDiffEncoding::ValueOf(uint32_t code) const {
    const char* name = GlyphName(code);
    if (name == nullptr)
        return 0;
    int standard = PDDefaultTextEncoding().NameToCode(name);
    if (standard >= 32 && standard <= 127)
        return standard;
    return static_cast<int>(NameValue(name));
}

int PDDiffEncoding::AppendText(uint32_t code, PDStr& text) const {
    int value = ValueOf(code);
    if (value <= 0)
        return 0;
    AppendUnit(text, static_cast<uint32_t>(value));
    return 1;
}

int PDDiffEncoding::CodeToChar(uint32_t code) const {
    return NameToCode(PDDefaultTextEncoding().GlyphName(code));
}

uint32_t PDDiffEncoding::UnicodeToCode(uint32_t unicode) const {
    for (uint32_t code = 1; code < 256 && unicode != 0; ++code)
        if (static_cast<uint32_t>(ValueOf(code)) == unicode)
            return code;
    return 0;
}

const char* PDDiffEncoding::GlyphName(uint32_t code) const {
    return code < 256 && !m_names[code].IsEmpty() ? m_names[code].Text() : nullptr;
}

int PDDiffEncoding::NameToCode(const char* name) const {
    name = SkipSlash(name);
    if (name == nullptr || *name == 0)
        return 0;
    for (int code = 0; code < 256; ++code)
        if (m_names[code] == name)
            return code;
    return 0;
}
