#include "forms/form_fonts.h"

#include <cstring>

namespace formfont {
namespace {
constexpr const char* kNames[] = {
#define PD_FORM_FONT_NAME(id, res, base) res,
    PD_FORM_FONTS(PD_FORM_FONT_NAME)
#undef PD_FORM_FONT_NAME
};
static_assert(sizeof(kNames) / sizeof(kNames[0]) == kCount);
} // namespace

const char* ResourceName(int i) {
    return i >= 0 && i < kCount ? kNames[i] : nullptr;
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
