#include "pdf/pdkeys.h"

namespace pdkey {

const char* WellKnownText(int slot) {
    static const char* const kTexts[] = {
#define PD_KEY_TEXT(id, text) text,
        PD_WELL_KNOWN_KEYS(PD_KEY_TEXT)
#undef PD_KEY_TEXT
    };
    if (slot < 0 || slot >= kWellKnownCount)
        return nullptr;
    return kTexts[slot];
}

} // namespace pdkey
