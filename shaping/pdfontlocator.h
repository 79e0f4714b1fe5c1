// PDFontLocator: finds the font that shows a value's characters: the user's own font files first,
// then the system's through fontconfig, matched to the style of the field's font. What it finds is
// kept for the rest of the run.
#pragma once

#include "shaping/pdsystemfont.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

struct PDFontStyle {
    enum Family { kSans, kSerif, kMono };
    Family family = kSans;
    bool bold = false;
    bool italic = false;
};

class PDFontLocator {
public:
    PDFontLocator();
    ~PDFontLocator();
    PDFontLocator(const PDFontLocator&) = delete;
    PDFontLocator& operator=(const PDFontLocator&) = delete;

    // A font file of the user's, tried before the system's. One that cannot be read is named in
    // Problems() and left out.
    void AddUserFont(const std::string& path);
    // The font that shows every character of chars, else the one that shows the most of them;
    // null when none shows any. Blanks and line ends need no font.
    PDSystemFont* Find(const std::u32string& chars, const PDFontStyle& style);
    // One line per font file that could not be used.
    const std::vector<std::string>& Problems() const noexcept { return m_problems; }

private:
    PDSystemFont* FindSystemFont(const std::u32string& needed, const PDFontStyle& style,
                                 size_t& covered);
    PDSystemFont* Opened(const std::string& path, unsigned index);

    std::vector<std::unique_ptr<PDSystemFont>> m_user;
    std::map<std::pair<std::string, unsigned>, std::unique_ptr<PDSystemFont>> m_opened;
    std::map<std::u32string, PDSystemFont*> m_found; // style and characters -> font
    std::vector<std::string> m_problems;
    void* m_config = nullptr; // the fontconfig configuration, loaded when first needed
};
