// The form font list: resource names of fields, added fields and appearance streams, by index.
#pragma once

#include "pdf/pdvalue.h"

#include <memory>
#include <string_view>

#define PD_FORM_FONTS(X)                                                                           \
    X(Helv, "/Helv", "Helvetica")                                                                  \
    X(HeBo, "/HeBo", "Helvetica-Bold")                                                             \
    X(HeOb, "/HeOb", "Helvetica-Oblique")                                                          \
    X(HeBO, "/HeBO", "Helvetica-BoldOblique")                                                      \
    X(Cour, "/Cour", "Courier")                                                                    \
    X(CoBo, "/CoBo", "Courier-Bold")                                                               \
    X(CoOb, "/CoOb", "Courier-Oblique")                                                            \
    X(CoBO, "/CoBO", "Courier-BoldOblique")                                                        \
    X(TiRo, "/TiRo", "Times-Roman")                                                                \
    X(TiBo, "/TiBo", "Times-Bold")                                                                 \
    X(TiIt, "/TiIt", "Times-Italic")                                                               \
    X(TiBI, "/TiBI", "Times-BoldItalic")                                                           \
    X(ZaDb, "/ZaDb", "ZapfDingbats")                                                               \
    X(Symb, "/Symb", "Symbol")                                                                     \
    X(Ctm1, "/Ctm1", "")                                                                           \
    X(Ctm2, "/Ctm2", "")

namespace formfont {
enum Index : int {
#define PD_FORM_FONT_ENUM(id, res, base) id,
    PD_FORM_FONTS(PD_FORM_FONT_ENUM)
#undef PD_FORM_FONT_ENUM
        kCount
};

// Resource name of index i ("/Helv" for 0); null outside the list.
const char* ResourceName(int i);
// Standard font name of index i ("Helvetica" for 0; empty for the custom slots); null outside.
const char* BaseName(int i);
// A Type 1 dictionary of a standard font: text fonts with /WinAnsiEncoding, Symbol and
// ZapfDingbats with their own encodings.
std::unique_ptr<PDValue> StandardFontDictionary(std::string_view baseFont);
// Index of a whole resource name; -1 when it is not in the list.
int IndexOf(std::string_view name);
// Index of a resource name (the first five bytes compared, as a default appearance string starts);
// -1 when it is not in the list.
int IndexOfPrefix(const char* text, int length);
} // namespace formfont
