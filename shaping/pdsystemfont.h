// PDSystemFont: a TrueType or OpenType font from the system or the command line, opened for
// shaping and subsetting. Fonts inside PDF files never come here.
#pragma once

#include <hb.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// Font files larger than this are refused: the largest system fonts (CJK collections) are a
// fifth of it.
inline constexpr uint64_t kPDMaxFontFileSize = uint64_t{128} << 20;

class PDSystemFont {
public:
    // The face at index of a font file; null with error set when the file cannot be read or holds
    // no usable font.
    static std::unique_ptr<PDSystemFont> Open(const std::string& path, unsigned index,
                                              std::string& error);
    // The same from bytes in memory (copied).
    static std::unique_ptr<PDSystemFont> FromBytes(const uint8_t* data, size_t length,
                                                   unsigned index, std::string& error);
    ~PDSystemFont();
    PDSystemFont(const PDSystemFont&) = delete;
    PDSystemFont& operator=(const PDSystemFont&) = delete;

    bool Covers(char32_t c) const;
    hb_font_t* Font() const noexcept { return m_font; }
    hb_face_t* Face() const noexcept { return m_face; }
    // CFF outlines (an OpenType font) rather than TrueType ones.
    bool HasCff() const noexcept { return m_cff; }
    // The PostScript name, reduced to the characters a PDF name keeps plainly.
    const std::string& Name() const noexcept { return m_name; }
    // Horizontal advance of a glyph in thousandths of the em.
    double Advance(uint32_t glyph) const;
    // Thousandths of the em.
    double ToThousandths(int32_t units) const;
    int Ascent() const noexcept { return m_ascent; }
    int Descent() const noexcept { return m_descent; }
    int CapHeight() const noexcept { return m_capHeight; }
    const int* BoundingBox() const noexcept { return m_bbox; }
    bool FixedPitch() const noexcept { return m_fixedPitch; }
    bool Italic() const noexcept { return m_italic; }

private:
    PDSystemFont() = default;
    static std::unique_ptr<PDSystemFont> FromBlob(hb_blob_t* blob, unsigned index,
                                                  std::string& error);
    void ReadMetrics();

    hb_face_t* m_face = nullptr;
    hb_font_t* m_font = nullptr;
    unsigned m_upem = 1000;
    bool m_cff = false;
    bool m_fixedPitch = false;
    bool m_italic = false;
    std::string m_name;
    int m_ascent = 0;
    int m_descent = 0;
    int m_capHeight = 0;
    int m_bbox[4] = {0, 0, 0, 0};
};
