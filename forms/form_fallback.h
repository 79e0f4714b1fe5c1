// PDFallbackFonts: values that the field's font cannot show are drawn in a font of the user's or
// the system's that can, shaped; every such font is embedded once per output, as a subset of the
// glyphs that all fields of the run drew with it, and joins the form's resources.
#pragma once

#include "forms/form_layout.h"
#include "forms/form_template.h"
#include "shaping/pdfontlocator.h"
#include "shaping/pdfontsubset.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

// The style of a field's font (its resource name and base font name): sans, serif or mono, bold,
// italic, as far as the names tell.
PDFontStyle PDStyleOfFont(const std::string& resourceName, const char* baseFont);

class PDFallbackFonts {
public:
    PDFallbackFonts(PDFormTemplate& form, std::vector<std::string> userFonts);
    ~PDFallbackFonts();

    struct Drawn {
        // How the appearance's resources name each font drawn with ("/Fb1"), and its object; the
        // first is the font of the first character.
        std::vector<std::pair<std::string, int32_t>> fonts;
        std::vector<PDLayoutChar> chars;
        bool rightToLeft = false; // the value is a right-to-left paragraph
        std::u32string missing;   // characters no font could show, drawn as '?'
    };
    // The value shaped in the font closest to style among those that show the most of it, and
    // what that font lacks in fonts that show it. False when no font shows any of it.
    bool Draw(const std::u32string& value, const PDFontStyle& style, bool oneLine, Drawn& out);
    // Writes the subsets of every font drawn with and adds the fonts to the form's /DR. Font files
    // that could not be used are named in warnings.
    void Finish(std::vector<std::string>& warnings);

private:
    struct Used;
    Used& UsedFor(PDSystemFont& font);
    std::vector<PDSystemFont*> FontsOf(const std::u32string& text, PDSystemFont& best,
                                       const PDFontStyle& style);
    void DrawRun(PDSystemFont& font, const std::u32string& text, size_t from, size_t to,
                 Drawn& out);
    std::string FreeResourceName();
    PDValue* FormFonts();

    PDFormTemplate& m_form;
    std::vector<std::string> m_userFonts;
    std::unique_ptr<PDFontLocator> m_locator; // made when a value first needs it
    std::vector<std::unique_ptr<Used>> m_used;
    int m_nextName = 1;
};
