// Opens a fuzzed font file the way a font given with --font is opened, shapes text of many
// scripts with it and embeds the glyphs drawn as a subset.
// Input: the font file's bytes.
// Contract: no crash, no sanitizer report, no hang; only PDAllocError may escape.
#include "fuzz/fuzz_target.h"

#include "shaping/pdfontsubset.h"
#include "shaping/pdshaper.h"

#include <memory>
#include <string>
#include <vector>

namespace {

// Latin with marks, Greek, Cyrillic, Arabic, Hebrew, Devanagari, CJK, Hangul, Lycian, Hatran,
// symbols, a line end, and a character beyond the basic plane.
const char32_t kText[] = U"Ŝtefan e\u0301 Παπα Ива محمد כהן देवनागरी 山田 김 \U00010280\U000108E0 "
                         U"∑≈ (a[b]c)\n\U0001F600";

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string error;
    std::unique_ptr<PDSystemFont> font = PDSystemFont::FromBytes(data, size, 0, error);
    if (font == nullptr)
        return 0;
    PDShapedText shaped = PDShapeText(*font, kText);
    PDFontSubset subset(*font);
    for (const PDShapedCluster& cluster : shaped.clusters) {
        for (const PDShapedGlyph& g : cluster.glyphs)
            subset.Width(subset.Code(g.glyph, std::u32string(kText).substr(cluster.start, 1)));
    }
    std::vector<std::unique_ptr<PDValue>> objects;
    std::unique_ptr<PDValue> type0 = PDValue::MakeDictionary();
    subset.Write(*type0, [&objects](std::unique_ptr<PDValue> v) {
        objects.push_back(std::move(v));
        return static_cast<int32_t>(objects.size());
    });
    return 0;
}
