// Encodings: the maps between a simple font's one-byte codes, glyph names and Unicode text.
#pragma once

#include "streams/pdstr.h"

#include <cstdint>
#include <memory>

class PDValue;
struct PDCodeTable;

class PDEncoding {
public:
    PDEncoding() = default;
    virtual ~PDEncoding() = default;
    PDEncoding(const PDEncoding&) = delete;
    PDEncoding& operator=(const PDEncoding&) = delete;

    // Appends the code's text as UTF-16BE; returns the number of 16-bit units appended (1 for
    // the one-byte encodings), 0 when the code shows nothing.
    virtual int AppendText(uint32_t code, PDStr& text) const = 0;
    // The code's character key.
    virtual int CodeToChar(uint32_t code) const = 0;
    // The code that shows the Unicode value; 0 when none does.
    virtual uint32_t UnicodeToCode(uint32_t unicode) const = 0;
    // The code's glyph name; null when it has none.
    virtual const char* GlyphName(uint32_t code) const = 0;
    // The glyph name's code; 0 when none (the default text encoding answers -1).
    virtual int NameToCode(const char* name) const = 0;
};

// One of the built-in tables: the default text encoding (Windows ANSI), Symbol, ZapfDingbats.
class PDTableEncoding : public PDEncoding {
public:
    explicit PDTableEncoding(const PDCodeTable& table, bool isDefault = false)
        : m_table(table), m_default(isDefault) {}

    int AppendText(uint32_t code, PDStr& text) const override;
    int CodeToChar(uint32_t code) const override;
    uint32_t UnicodeToCode(uint32_t unicode) const override;
    const char* GlyphName(uint32_t code) const override;
    // The default text encoding skips a leading slash, answers 45 for "minus", writes 160 as
    // 32 (a no-break space is shown as a plain one) and gives -1 for an unknown name.
    int NameToCode(const char* name) const override;

    const PDCodeTable& Table() const noexcept { return m_table; }

private:
    const PDCodeTable& m_table;
    bool m_default;
};

// The three built-ins, made once and shared; never owned by a font.
const PDEncoding& PDDefaultTextEncoding();
const PDEncoding& PDSymbolEncoding();
const PDEncoding& PDZapfDingbatsEncoding();
// Built-in encoding 0, 1 or 2 (PDBuiltinEncoding).
const PDEncoding& PDBuiltinEncodingOf(int which);

// A base encoding with the entries of a /Differences array applied, in a name table of its own.
class PDDiffEncoding : public PDEncoding {
public:
    // base: the names to start from (null: the differences base table); differences: the array
    // (may be null). Codes outside 0 to 255 in the array are skipped.
    PDDiffEncoding(const PDEncoding* base, const PDValue* differences);

    int AppendText(uint32_t code, PDStr& text) const override;
    int CodeToChar(uint32_t code) const override;
    uint32_t UnicodeToCode(uint32_t unicode) const override;
    const char* GlyphName(uint32_t code) const override;
    int NameToCode(const char* name) const override;

    // The base named by /BaseEncoding: Windows ANSI, Mac Roman or Standard; null otherwise.
    static const PDEncoding* NamedBase(const char* name);

private:
    int ValueOf(uint32_t code) const;
    PDStr m_names[256]; // empty where a code has no glyph
};
