// The font family: PDFont, the base; PDMetricFont, a font measured through a 256-entry width
// table (the built-in width sets, and simple fonts loaded from a file); PDStdFont, one of the
// fourteen standard fonts over a built-in width set.
#pragma once

#include "fonts/pdencoding.h"
#include "fonts/pdtounicode.h"
#include "streams/pdstr.h"

#include <cstdint>
#include <memory>
#include <vector>

class PDReader;
class PDValue;

// The text state that spaces glyphs: size, character and word spacing, horizontal scaling (%).
struct PDTextState {
    double size = 1;
    double charSpacing = 0;
    double wordSpacing = 0;
    double scaling = 100;
};

// What a shown string comes to: its text (UTF-16BE) and, per character of the text, the advance
// of its glyph and the spacing after it, in text space units.
struct PDGlyphRun {
    PDStr text;
    std::vector<double> advances;
    std::vector<double> spacings;
    double Width() const;
};

class PDFont {
public:
    // A name starting with '^' is static text the font points into (after the caret); any other
    // name is copied.
    explicit PDFont(const char* name);
    virtual ~PDFont();
    PDFont(const PDFont&) = delete;
    PDFont& operator=(const PDFont&) = delete;

    // Takes what the font dictionary says about encoding and text (/Encoding, /ToUnicode);
    // objects it references are read from file. A standard font keeps its built-in box.
    virtual void Load(PDReader& file, const PDValue& dict);
    // Replaces the encoding; owned says whether the font deletes it.
    virtual void SetEncoding(const PDEncoding* encoding, bool owned);
    // The font's encoding, or the default text encoding when it has none.
    virtual const PDEncoding& Encoding() const;
    // Null when the font has no /ToUnicode map.
    virtual const PDToUnicode* ToUnicode() const { return m_toUnicode.get(); }
    // Width of a code in 1/1000 text space units.
    virtual int Width(int code) const = 0;
    // Text, advances and spacings of a shown string. state may be null (size and scaling 1, no
    // spacing); map null takes the font's own: /ToUnicode, else its encoding.
    virtual void GlyphAdvances(const uint8_t* codes, int length, const PDTextState* state,
                               const PDEncoding* map, PDGlyphRun& run) const;
    virtual void SetFirstChar(int firstChar) { m_firstChar = static_cast<int16_t>(firstChar); }
    // The next code of a shown string at pos, which moves past it; -1 at the end.
    virtual int NextCode(const uint8_t* codes, int length, int& pos) const;
    // Appends the bytes that show the Unicode character; false when the font cannot show it.
    virtual bool AppendCode(uint32_t unicode, PDStr& codes) const;

    // Sum of the widths of the codes of a shown string, in 1/1000 units.
    double TextWidth(const uint8_t* codes, int length) const;
    // How far below the top of a text box the first baseline goes, in units of the font size:
    // the height of the font's bounding box over 1000. 0 when the font gives no box (callers
    // then use a factor of their own).
    double LineFactor() const;

    const char* Name() const noexcept { return m_name; }
    int32_t ObjectNumber() const noexcept { return m_objectNumber; }
    void SetObjectNumber(int32_t n) noexcept { m_objectNumber = n; }
    int FirstChar() const noexcept { return m_firstChar; }
    bool IsBuiltin() const noexcept { return m_builtin; }
    // Sets the bounding box (its height gives LineFactor).
    void SetBBox(int left, int bottom, int right, int top);

protected:
    // Reads /FontBBox of the font descriptor of dict, when there is one.
    void ReadDescriptorBBox(PDReader& file, const PDValue& dict);
    void ReadToUnicode(PDReader& file, const PDValue& dict);
    bool m_builtin = false;

private:
    void ReadEncoding(PDReader& file, const PDValue& dict);

    const char* m_name;
    PDStr m_ownedName;
    const PDEncoding* m_encoding = nullptr;
    std::unique_ptr<const PDEncoding> m_ownedEncoding;
    std::unique_ptr<PDToUnicode> m_toUnicode;
    int32_t m_objectNumber = 0;
    int16_t m_firstChar = 0;
    int16_t m_bbox[4] = {0, -220, 600, 1000};
    bool m_hasBBox = false;
};

class PDMetricFont : public PDFont {
public:
    // A built-in width set over static widths (not owned).
    PDMetricFont(const char* name, const int32_t* widths, const PDEncoding& encoding);
    // A simple font loaded from a file, with a zeroed width table of its own.
    explicit PDMetricFont(const char* name);

    // The base's reading, and the box of the font descriptor.
    void Load(PDReader& file, const PDValue& dict) override;
    // The table entry; 0 outside 0 to 255.
    int Width(int code) const override;
    // The table of a loaded font (null for a built-in set).
    int32_t* MutableWidths() noexcept { return m_ownWidths.get(); }

private:
    const int32_t* m_widths;
    std::unique_ptr<int32_t[]> m_ownWidths;
};

class PDStdFont : public PDFont {
public:
    // name is static text; metrics is a built-in set, not owned.
    PDStdFont(const char* name, const PDMetricFont& metrics);

    // The set's width; through a non-default encoding the code is first turned into the default
    // text encoding's code of its glyph name.
    int Width(int code) const override;
    const PDMetricFont& Metrics() const noexcept { return m_metrics; }

private:
    const PDMetricFont& m_metrics;
};
