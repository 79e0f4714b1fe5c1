#include "shaping/pdfontlocator.h"

#include <fontconfig/fontconfig.h>

#include <algorithm>

namespace {

// Candidates fontconfig offers are looked at up to this many.
constexpr int kMaxCandidates = 1024;

bool NeedsNoFont(char32_t c) {
    return c == U' ' || c == U'\t' || c == U'\r' || c == U'\n' || c < 0x20;
}

std::u32string Needed(const std::u32string& chars) {
    std::u32string needed;
    for (char32_t c : chars) {
        if (!NeedsNoFont(c) && needed.find(c) == std::u32string::npos)
            needed.push_back(c);
    }
    std::sort(needed.begin(), needed.end());
    return needed;
}

size_t CoveredBy(const PDSystemFont& font, const std::u32string& needed) {
    size_t n = 0;
    for (char32_t c : needed)
        n += font.Covers(c) ? 1u : 0u;
    return n;
}

size_t CoveredBy(FcCharSet* set, const std::u32string& needed) {
    size_t n = 0;
    for (char32_t c : needed)
        n += FcCharSetHasChar(set, c) ? 1u : 0u;
    return n;
}

FcPattern* PatternFor(const std::u32string& needed, const PDFontStyle& style) {
    FcPattern* pattern = FcPatternCreate();
    const char* family = style.family == PDFontStyle::kSerif  ? "serif"
                         : style.family == PDFontStyle::kMono ? "monospace"
                                                              : "sans-serif";
    FcPatternAddString(pattern, FC_FAMILY, reinterpret_cast<const FcChar8*>(family));
    FcPatternAddInteger(pattern, FC_WEIGHT, style.bold ? FC_WEIGHT_BOLD : FC_WEIGHT_REGULAR);
    FcPatternAddInteger(pattern, FC_SLANT, style.italic ? FC_SLANT_ITALIC : FC_SLANT_ROMAN);
    FcCharSet* set = FcCharSetCreate();
    for (char32_t c : needed)
        FcCharSetAddChar(set, c);
    FcPatternAddCharSet(pattern, FC_CHARSET, set);
    FcCharSetDestroy(set);
    return pattern;
}

bool Embeddable(FcPattern* font) {
    FcChar8* format = nullptr;
    if (FcPatternGetString(font, FC_FONTFORMAT, 0, &format) != FcResultMatch)
        return false;
    std::string f = reinterpret_cast<const char*>(format);
    return f == "TrueType" || f == "CFF";
}

} // namespace

PDFontLocator::PDFontLocator() = default;

PDFontLocator::~PDFontLocator() {
    if (m_config != nullptr)
        FcConfigDestroy(static_cast<FcConfig*>(m_config));
}

void PDFontLocator::AddUserFont(const std::string& path) {
    std::string error;
    std::unique_ptr<PDSystemFont> font = PDSystemFont::Open(path, 0, error);
    if (font == nullptr) {
        m_problems.push_back("Font file '" + path + "' " + error + ": it is not used");
        return;
    }
    m_user.push_back(std::move(font));
}

PDSystemFont* PDFontLocator::Find(const std::u32string& chars, const PDFontStyle& style) {
    std::u32string needed = Needed(chars);
    if (needed.empty())
        return nullptr;
    std::u32string key = {static_cast<char32_t>(style.family), style.bold ? U'b' : U'r',
                          style.italic ? U'i' : U'r'};
    key += needed;
    auto cached = m_found.find(key);
    if (cached != m_found.end())
        return cached->second;
    PDSystemFont* best = nullptr;
    size_t bestCount = 0;
    for (const auto& font : m_user) {
        size_t n = CoveredBy(*font, needed);
        if (n > bestCount) {
            best = font.get();
            bestCount = n;
        }
    }
    if (bestCount < needed.size()) {
        size_t n = 0;
        PDSystemFont* system = FindSystemFont(needed, style, n);
        if (n > bestCount)
            best = system;
    }
    m_found[key] = best;
    return best;
}

PDSystemFont* PDFontLocator::FindSystemFont(const std::u32string& needed, const PDFontStyle& style,
                                            size_t& covered) {
    if (m_config == nullptr)
        m_config = FcInitLoadConfigAndFonts();
    auto* config = static_cast<FcConfig*>(m_config);
    if (config == nullptr)
        return nullptr;
    FcPattern* pattern = PatternFor(needed, style);
    FcConfigSubstitute(config, pattern, FcMatchPattern);
    FcDefaultSubstitute(pattern);
    FcResult result = FcResultNoMatch;
    FcFontSet* sorted = FcFontSort(config, pattern, FcFalse, nullptr, &result);
    FcPatternDestroy(pattern);
    PDSystemFont* best = nullptr;
    covered = 0;
    for (int i = 0; sorted != nullptr && i < sorted->nfont && i < kMaxCandidates; ++i) {
        FcPattern* font = sorted->fonts[i];
        FcCharSet* set = nullptr;
        FcChar8* file = nullptr;
        int index = 0;
        if (!Embeddable(font) || FcPatternGetCharSet(font, FC_CHARSET, 0, &set) != FcResultMatch ||
            FcPatternGetString(font, FC_FILE, 0, &file) != FcResultMatch)
            continue;
        FcPatternGetInteger(font, FC_INDEX, 0, &index);
        size_t n = CoveredBy(set, needed);
        if (n <= covered)
            continue;
        PDSystemFont* opened =
            Opened(reinterpret_cast<const char*>(file), static_cast<unsigned>(std::max(index, 0)));
        if (opened == nullptr)
            continue;
        best = opened;
        covered = n;
        if (n == needed.size())
            break;
    }
    if (sorted != nullptr)
        FcFontSetDestroy(sorted);
    return best;
}

PDSystemFont* PDFontLocator::Opened(const std::string& path, unsigned index) {
    auto key = std::make_pair(path, index);
    auto it = m_opened.find(key);
    if (it != m_opened.end())
        return it->second.get();
    std::string error;
    std::unique_ptr<PDSystemFont> font = PDSystemFont::Open(path, index, error);
    if (font == nullptr)
        m_problems.push_back("Font file '" + path + "' " + error + ": it is not used");
    PDSystemFont* raw = font.get();
    m_opened[key] = std::move(font);
    return raw;
}
