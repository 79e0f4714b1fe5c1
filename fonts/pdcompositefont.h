// PDCompositeFont: a Type 0 font with two-byte /Identity-H codes, or with /90ms-RKSJ-H
// (Shift-JIS) codes whose text comes from its /ToUnicode map.
#pragma once

#include "fonts/pdfont.h"

#include <cstdint>
#include <vector>

class PDCompositeFont : public PDFont {
public:
    // /W entries beyond this many are ignored.
    static constexpr int kMaxWidthEntries = 65536;

    explicit PDCompositeFont(const char* name) : PDFont(name) {}

    // Reads /Encoding and /ToUnicode, and /W, /DW and the font descriptor of the descendant.
    void Load(PDReader& file, const PDValue& dict) override;
    // Identity-H: the descendant's /W entry for the code, else /DW. Shift-JIS: single-byte codes
    // are half width, two-byte codes /DW (the code-to-CID tables are not built in).
    int Width(int code) const override;
    int NextCode(const uint8_t* codes, int length, int& pos) const override;
    // Through the reverse of /ToUnicode; false without one.
    bool AppendCode(uint32_t unicode, PDStr& codes) const override;

    bool IsShiftJis() const noexcept { return m_shiftJis; }

private:
    struct WidthRange {
        uint32_t first;
        uint32_t last;
        int32_t width;
    };
    void ReadWidths(PDReader& file, const PDValue& descendant);
    void AddWidth(uint32_t first, uint32_t last, const PDValue* width);
    static bool IsLeadByte(uint8_t byte);

    bool m_shiftJis = false;
    int32_t m_defaultWidth = 1000;
    std::vector<WidthRange> m_widths; // sorted by first once read
};
