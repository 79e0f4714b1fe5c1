// PDFontFactory: the fonts of one document, loaded from their dictionaries and kept by object
// number, and the fourteen standard fonts, which every factory shares.
#pragma once

#include "fonts/pdfont.h"

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

class PDReader;

class PDFontFactory {
public:
    PDFontFactory() = default;
    virtual ~PDFontFactory();
    PDFontFactory(const PDFontFactory&) = delete;
    PDFontFactory& operator=(const PDFontFactory&) = delete;

    // The font of the font dictionary objNum of file, loaded on first request and kept (owned
    // by the factory) for every later one; null when the dictionary cannot be read.
    virtual PDFont* LoadFont(PDReader& file, int32_t objNum);
    // The standard font of that exact name (a leading slash skipped); null for any other name.
    static const PDFont* StdFont(const char* name);
    // The default text encoding's code of a glyph name written with its slash; 0 when unknown.
    static int GlyphCode(const char* nameWithSlash);

    int Count() const noexcept { return static_cast<int>(m_fonts.size()); }

private:
    static std::unique_ptr<PDFont> MakeFont(PDReader& file, const PDValue& dict);
    static void TakeWidths(PDReader& file, const PDValue& dict, PDMetricFont& font);

    std::vector<std::unique_ptr<PDFont>> m_fonts;
    std::unordered_map<int32_t, PDFont*> m_byNumber;
};
