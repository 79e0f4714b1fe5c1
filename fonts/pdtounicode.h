// PDToUnicode: the code-to-text map of a font's /ToUnicode CMap (bfchar and bfrange sections).
#pragma once

#include "fonts/pdencoding.h"
#include "streams/pdstr.h"

#include <cstdint>
#include <vector>

class PDCMapScanner;

class PDToUnicode : public PDEncoding {
public:
    // CMap data are file data: at most this many mappings are kept, a range covering more
    // codes than kMaxRangeCodes is dropped, and text longer than kMaxTextBytes is cut.
    static constexpr int kMaxMappings = 65536;
    static constexpr uint32_t kMaxRangeCodes = 65536;
    static constexpr int kMaxTextBytes = 32;

    // Reads the decoded CMap; whatever is malformed is skipped. False when nothing was mapped.
    bool Read(const uint8_t* data, int64_t length);
    int Count() const noexcept { return static_cast<int>(m_maps.size()); }

    int AppendText(uint32_t code, PDStr& text) const override;
    // The first UTF-16 unit of the code's text; 0 when it has none.
    int CodeToChar(uint32_t code) const override;
    // The lowest code whose text is exactly this one character (a pair of surrogates beyond the
    // basic plane); 0 when none is.
    uint32_t UnicodeToCode(uint32_t unicode) const override;
    // The glyph list's name of the code's text when that is one character; null otherwise.
    const char* GlyphName(uint32_t code) const override;
    int NameToCode(const char* name) const override;

    // Like UnicodeToCode, telling code 0 apart from "none".
    bool CodeFor(uint32_t unicode, uint32_t& code) const;

private:
    // Codes lo to hi show text whose last 16-bit unit grows by one per code (bfchar: lo == hi).
    struct Mapping {
        uint32_t lo;
        uint32_t hi;
        PDStr text;
    };
    const Mapping* Find(uint32_t code) const;
    void Add(uint32_t lo, uint32_t hi, const PDStr& text);
    void ReadSection(PDCMapScanner& scan, bool chars);

    std::vector<Mapping> m_maps; // sorted by lo once read
};
