#include "forms/form_fallback.h"

#include "forms/form_fonts.h"
#include "shaping/pdshaper.h"

#include <algorithm>

namespace {

// The part of a cluster's text that its glyph k of count gives back when the text is extracted:
// glyphs in the order drawn take the characters in the order read (extractors put right-to-left
// text back in reading order themselves), each at least one while there are characters to give.
std::u32string TextOfGlyph(const std::u32string& text, size_t k, size_t count, bool rightToLeft) {
    if (rightToLeft)
        k = count - 1 - k;
    size_t n = text.size();
    if (count > n)
        return k < n ? text.substr(k, 1) : std::u32string();
    size_t from = k * n / count;
    size_t to = (k + 1) * n / count;
    return text.substr(from, to - from);
}

} // namespace

PDFontStyle PDStyleOfFont(const std::string& resourceName, const char* baseFont) {
    int index = formfont::IndexOf(resourceName);
    std::string base = index >= 0 && index < formfont::Ctm1 ? formfont::BaseName(index)
                       : baseFont != nullptr                ? baseFont
                                                            : "";
    auto has = [&base](const char* word) { return base.find(word) != std::string::npos; };
    PDFontStyle style;
    if (has("Courier") || has("Mono"))
        style.family = PDFontStyle::kMono;
    else if (has("Times") || (has("Serif") && !has("Sans")) || has("Roman"))
        style.family = PDFontStyle::kSerif;
    style.bold = has("Bold") || has("Black") || has("Heavy");
    style.italic = has("Italic") || has("Oblique");
    return style;
}

struct PDFallbackFonts::Used {
    PDSystemFont* font = nullptr;
    std::unique_ptr<PDFontSubset> subset;
    int32_t object = 0;
    std::string resourceName;
};

PDFallbackFonts::PDFallbackFonts(PDFormTemplate& form, std::vector<std::string> userFonts)
    : m_form(form), m_userFonts(std::move(userFonts)) {}

PDFallbackFonts::~PDFallbackFonts() = default;

PDValue* PDFallbackFonts::FormFonts() {
    PDValue* catalog = m_form.Catalog();
    PDValue* form = catalog != nullptr ? m_form.ResolveKey(catalog, "/AcroForm") : nullptr;
    if (form == nullptr || form->Kind() != kPDDictionary)
        return nullptr;
    PDValue* dr = m_form.ResolveKey(form, "/DR");
    if (dr == nullptr || dr->Kind() != kPDDictionary) {
        form->Dict()->Set("/DR", PDValue::MakeDictionary());
        dr = form->Get("/DR");
    }
    PDValue* fonts = m_form.ResolveKey(dr, "/Font");
    if (fonts == nullptr || fonts->Kind() != kPDDictionary) {
        dr->Dict()->Set("/Font", PDValue::MakeDictionary());
        fonts = dr->Get("/Font");
    }
    return fonts;
}

// A name no font of the form's resources has yet.
std::string PDFallbackFonts::FreeResourceName() {
    PDValue* fonts = FormFonts();
    for (;; ++m_nextName) {
        std::string name = "/Fb" + std::to_string(m_nextName);
        if (fonts == nullptr || fonts->Get(name.c_str()) == nullptr) {
            ++m_nextName;
            return name;
        }
    }
}

PDFallbackFonts::Used& PDFallbackFonts::UsedFor(PDSystemFont& font) {
    for (auto& used : m_used) {
        if (used->font == &font)
            return *used;
    }
    auto used = std::make_unique<Used>();
    used->font = &font;
    used->subset = std::make_unique<PDFontSubset>(font);
    // Filled in by Finish, when every glyph of the run is known.
    used->object = m_form.NewObj(PDValue::MakeDictionary())->Number();
    used->resourceName = FreeResourceName();
    m_used.push_back(std::move(used));
    return *m_used.back();
}

// The font of each character: the one that shows the most of the value where it can, else the
// first that shows the character; blanks and marks stay with the font before them.
std::vector<PDSystemFont*> PDFallbackFonts::FontsOf(const std::u32string& text, PDSystemFont& best,
                                                    const PDFontStyle& style) {
    std::vector<PDSystemFont*> fonts(text.size(), &best);
    PDSystemFont* previous = &best;
    for (size_t i = 0; i < text.size(); ++i) {
        char32_t c = text[i];
        if (c <= U' ' || previous->Covers(c)) {
            fonts[i] = previous;
            continue;
        }
        PDSystemFont* own = best.Covers(c) ? &best : m_locator->Find(std::u32string(1, c), style);
        fonts[i] = previous = own != nullptr ? own : &best;
    }
    return fonts;
}

bool PDFallbackFonts::Draw(const std::u32string& value, const PDFontStyle& style, bool oneLine,
                           Drawn& out) {
    if (m_locator == nullptr) {
        m_locator = std::make_unique<PDFontLocator>();
        for (const std::string& path : m_userFonts)
            m_locator->AddUserFont(path);
    }
    PDSystemFont* best = m_locator->Find(value, style);
    if (best == nullptr)
        return false;
    std::u32string text = value;
    for (char32_t& c : text) {
        // Tabs, and the line ends of a one-line field, show as blanks.
        if (c == U'\t' || (oneLine && (c == U'\r' || c == U'\n')))
            c = U' ';
    }
    std::vector<PDSystemFont*> fonts = FontsOf(text, *best, style);
    for (size_t from = 0; from < text.size();) {
        size_t to = from + 1;
        while (to < text.size() && fonts[to] == fonts[from])
            ++to;
        DrawRun(*fonts[from], text, from, to, out);
        from = to;
    }
    return !out.chars.empty();
}

// The characters [from, to) of text, shaped in font.
void PDFallbackFonts::DrawRun(PDSystemFont& font, const std::u32string& text, size_t from,
                              size_t to, Drawn& out) {
    Used& used = UsedFor(font);
    if (std::find(out.fonts.begin(), out.fonts.end(),
                  std::make_pair(used.resourceName, used.object)) == out.fonts.end())
        out.fonts.emplace_back(used.resourceName, used.object);
    hb_codepoint_t question = 0;
    hb_font_get_nominal_glyph(font.Font(), U'?', &question);
    PDShapedText shaped = PDShapeText(font, text.substr(from, to - from));
    out.rightToLeft = out.rightToLeft || (from == 0 && shaped.rightToLeft);
    for (const PDShapedCluster& cluster : shaped.clusters) {
        PDLayoutChar ch;
        ch.blank = cluster.blank;
        ch.breakBefore = cluster.breakBefore;
        ch.lineEnd = cluster.lineEnd;
        ch.level = cluster.level;
        std::u32string shows = text.substr(from + cluster.start, cluster.length);
        ch.font = used.resourceName;
        if (ch.lineEnd)
            ch.code = static_cast<char>(shows.empty() ? '\n' : shows[0]);
        // Marks (glyphs that do not advance) give no text of their own: their base gives it.
        size_t spacing = 0;
        for (const PDShapedGlyph& g : cluster.glyphs)
            spacing += g.advance != 0 ? 1u : 0u;
        for (size_t k = 0, nth = 0; k < cluster.glyphs.size(); ++k) {
            PDShapedGlyph g = cluster.glyphs[k];
            std::u32string gives;
            if (spacing == 0)
                gives = k == 0 ? shows : std::u32string();
            else if (g.advance != 0)
                gives = TextOfGlyph(shows, nth++, spacing, (ch.level & 1) != 0);
            if (g.glyph == 0) {
                // A character this font lacks: the '?' of the font, named in a warning.
                for (char32_t c : shows) {
                    if (!font.Covers(c) && out.missing.find(c) == std::u32string::npos)
                        out.missing.push_back(c);
                }
                g.glyph = question;
                g.advance = font.Advance(question);
                gives.assign(1, U'?');
            }
            uint16_t code = used.subset->Code(g.glyph, gives);
            ch.glyphs.push_back({code, used.subset->Width(code), g.advance, g.xOffset, g.yOffset});
            ch.width += g.advance;
        }
        out.chars.push_back(std::move(ch));
    }
}

void PDFallbackFonts::Finish(std::vector<std::string>& warnings) {
    if (m_locator != nullptr) {
        for (const std::string& problem : m_locator->Problems())
            warnings.push_back(problem);
    }
    PDValue* fonts = m_used.empty() ? nullptr : FormFonts();
    for (auto& used : m_used) {
        PDInputObj* object = m_form.GetObj(used->object);
        if (object == nullptr || object->Value() == nullptr)
            continue;
        bool written = used->subset->Write(*object->Value(), [this](std::unique_ptr<PDValue> v) {
            return m_form.NewObj(std::move(v))->Number();
        });
        if (!written) {
            warnings.push_back("Font '" + used->font->Name() + "' could not be subset");
            continue;
        }
        // Viewers that draw fields anew find the font among the form's.
        if (fonts != nullptr)
            fonts->Dict()->Set(used->resourceName.c_str(), PDValue::MakeReference(used->object));
    }
}
