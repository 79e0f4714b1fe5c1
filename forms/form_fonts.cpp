#include "forms/form_fonts.h"

#include <cstring>
#include <string>

namespace formfont {
namespace {
constexpr const char* kNames[] = {
#define PD_FORM_FONT_NAME(id, res, base) res,
    PD_FORM_FONTS(PD_FORM_FONT_NAME)
#undef PD_FORM_FONT_NAME
};
static_assert(sizeof(kNames) / sizeof(kNames[0]) == kCount);
constexpr const char* kBaseNames[] = {
#define PD_FORM_FONT_BASE(id, res, base) base,
    PD_FORM_FONTS(PD_FORM_FONT_BASE)
#undef PD_FORM_FONT_BASE
};
} // namespace

const char* ResourceName(int i) {
    return i >= 0 && i < kCount ? kNames[i] : nullptr;
}

const char* BaseName(int i) {
    return i >= 0 && i < kCount ? kBaseNames[i] : nullptr;
}

std::unique_ptr<PDValue> StandardFontDictionary(std::string_view baseFont) {
    std::unique_ptr<PDValue> font = PDValue::MakeDictionary();
    font->Dict()->Set("/Type", std::make_unique<PDValue>("/Font"));
    font->Dict()->Set("/Subtype", std::make_unique<PDValue>("/Type1"));
    std::string name(1, '/');
    name.append(baseFont.data(), baseFont.size());
    font->Dict()->Set("/BaseFont", std::make_unique<PDValue>(name.c_str()));
    if (baseFont != "Symbol" && baseFont != "ZapfDingbats")
        font->Dict()->Set("/Encoding", std::make_unique<PDValue>("/WinAnsiEncoding"));
    return font;
}

int IndexOf(std::string_view name) {
    for (int i = 0; i < kCount; ++i) {
        if (name == kNames[i])
            return i;
    }
    return -1;
}

int IndexOfPrefix(const char* text, int length) {
    // Deliberate: only the first five bytes count, which fits the "/Helv 0 Tf 0 g" strings this
    // system writes itself; any other font name gives -1.
    if (text == nullptr || length < 5)
        return -1;
    for (int i = 0; i < kCount; ++i) {
        if (std::memcmp(text, kNames[i], 5) == 0)
            return i;
    }
    return -1;
}
} // namespace formfont
