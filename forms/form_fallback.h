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
#include <vector>

// The style of a field's font (its resource name and base font name): sans, serif or mono, bold,
// italic, as far as the names tell.
PDFontStyle PDStyleOfFont(const std::string& resourceName, const char* baseFont);

class PDFallbackFonts {
public:
    PDFallbackFonts(PDFormTemplate& form, std::vector<std::string> userFonts);
    ~PDFallbackFonts();

    struct Drawn {
        std::string resourceName; // "/Fb1": how the appearance's resources name the font
        int32_t font = 0;         // the font object
        std::vector<PDLayoutChar> chars;
        bool rightToLeft = false; // the value is a right-to-left paragraph
        std::u32string missing;   // characters no font could show, drawn as '?'
    };
    // The value laid out in a font that shows it, the one closest to style among those that show
    // the most of it. False when no font shows any of its characters.
    bool Draw(const std::u32string& value, const PDFontStyle& style, bool oneLine, Drawn& out);
    // Writes the subsets of every font drawn with and adds the fonts to the form's /DR. Font files
    // that could not be used are named in warnings.
    void Finish(std::vector<std::string>& warnings);

private:
    struct Used;
    Used& UsedFor(PDSystemFont& font);
    std::string FreeResourceName();
    PDValue* FormFonts();

    PDFormTemplate& m_form;
    std::vector<std::string> m_userFonts;
    std::unique_ptr<PDFontLocator> m_locator; // made when a value first needs it
    std::vector<std::unique_ptr<Used>> m_used;
    int m_nextName = 1;
};
