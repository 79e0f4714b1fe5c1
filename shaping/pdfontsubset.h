// PDFontSubset: the glyphs a run draws in one system font, and the font it embeds for them: a
// Type 0 font with /Identity-H over a CID font whose program is a subset of the font file, with
// the widths of the glyphs drawn and a /ToUnicode map that gives the text back.
#pragma once

#include "pdf/pdvalue.h"
#include "shaping/pdsystemfont.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

class PDFontSubset {
public:
    explicit PDFontSubset(const PDSystemFont& font);

    // The two-byte code that draws glyph for text (empty text: the glyph shows part of a cluster
    // whose text another glyph gives back). 0 when the font has no codes left.
    uint16_t Code(uint32_t glyph, const std::u32string& text);
    // The width the font dictionary gives a code, in thousandths of the em.
    double Width(uint16_t code) const;
    bool Empty() const noexcept { return m_glyphOf.size() <= 1; }

    using NewObject = std::function<int32_t(std::unique_ptr<PDValue>)>;
    // Turns type0 (a dictionary) into the font; newObject makes the objects it refers to. False
    // when the font program could not be subset (type0 is left as it was).
    bool Write(PDValue& type0, const NewObject& newObject) const;

private:
    std::string Tag() const;
    std::unique_ptr<PDValue> Widths() const;
    std::unique_ptr<PDValue> Descriptor(const std::string& name, int32_t file) const;
    std::string ToUnicode() const;

    const PDSystemFont& m_font;
    // CFF programs are subset with their glyph numbers kept, which are the codes then; TrueType
    // codes are numbered densely and mapped to the subset's glyphs, so one glyph may stand for
    // different texts in different places.
    std::map<std::pair<uint32_t, std::u32string>, uint16_t> m_codes;
    std::vector<uint32_t> m_glyphOf{0}; // code -> glyph of the font (code 0 draws nothing)
    std::vector<std::u32string> m_textOf{std::u32string()};
};
