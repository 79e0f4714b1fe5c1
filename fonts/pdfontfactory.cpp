#include "fonts/pdfontfactory.h"

#include "fonts/pdcompositefont.h"
#include "fonts/pdfont_tables.h"
#include "fonts/pdfontread.h"
#include "fonts/pdglyphs.h"
#include "pdf/pdobject.h"
#include "pdf/pdreader.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr int32_t kNoWidthsWidth = 450;
constexpr int32_t kUnlistedWidth = 250;
constexpr double kMaxWidth = 500000;

// The built-in width sets and the standard fonts over them, made on first use and kept for the
// rest of the run.
struct StdFonts {
    std::vector<std::unique_ptr<PDMetricFont>> sets;
    std::vector<std::unique_ptr<PDStdFont>> fonts;

    StdFonts() {
        for (int i = 0; i < kPDMetricSetCount; ++i) {
            const PDMetricSetEntry& set = kPDMetricSets[i];
            sets.push_back(std::make_unique<PDMetricFont>(set.name, set.widths,
                                                          PDBuiltinEncodingOf(set.encoding)));
        }
        for (int i = 0; i < kPDStdFontCount; ++i) {
            const PDStdFontEntry& entry = kPDStdFonts[i];
            auto font = std::make_unique<PDStdFont>(entry.name,
                                                    *sets[static_cast<size_t>(entry.metricSet)]);
            font->SetBBox(entry.bbox[0], entry.bbox[1], entry.bbox[2], entry.bbox[3]);
            fonts.push_back(std::move(font));
        }
    }
};

const StdFonts& Standard() {
    static const StdFonts fonts;
    return fonts;
}

int StdIndex(const char* name) {
    if (name == nullptr)
        return -1;
    if (name[0] == '/')
        ++name;
    for (int i = 0; i < kPDStdFontCount; ++i)
        if (std::strcmp(name, kPDStdFonts[i].name) == 0)
            return i;
    return -1;
}

double IntOr(const PDValue* v, double fallback) {
    return PDIsNumber(v) ? v->GetReal() : fallback;
}

} // namespace

PDFontFactory::~PDFontFactory() = default;

const PDFont* PDFontFactory::StdFont(const char* name) {
    int i = StdIndex(name);
    return i >= 0 ? Standard().fonts[static_cast<size_t>(i)].get() : nullptr;
}

int PDFontFactory::GlyphCode(const char* nameWithSlash) {
    return ::GlyphCode(nameWithSlash);
}

PDFont* PDFontFactory::LoadFont(PDReader& file, int32_t objNum) {
    auto found = m_byNumber.find(objNum);
    if (found != m_byNumber.end())
        return found->second;
    ObjHolder holder;
    if (!holder.Reset(file, objNum) || holder.Value() == nullptr ||
        holder.Value()->Kind() != kPDDictionary)
        return nullptr;
    std::unique_ptr<PDFont> font = MakeFont(file, *holder.Value());
    font->SetObjectNumber(objNum);
    PDFont* kept = font.get();
    m_fonts.push_back(std::move(font));
    m_byNumber.emplace(objNum, kept);
    return kept;
}

std::unique_ptr<PDFont> PDFontFactory::MakeFont(PDReader& file, const PDValue& dict) {
    std::unique_ptr<PDValue> keepBase;
    const PDValue* baseFont = PDFollowKey(file, dict, "/BaseFont", keepBase);
    PDStr baseName = baseFont != nullptr && baseFont->IsName() ? baseFont->Text() : PDStr();
    // A standard font always measures with the built-in tables, whatever /Widths says.
    int std = StdIndex(baseName.Text());
    if (std >= 0) {
        const StdFonts& all = Standard();
        const PDStdFont& model = *all.fonts[static_cast<size_t>(std)];
        auto font = std::make_unique<PDStdFont>(kPDStdFonts[std].name, model.Metrics());
        const int16_t* box = kPDStdFonts[std].bbox;
        font->SetBBox(box[0], box[1], box[2], box[3]);
        font->Load(file, dict);
        return font;
    }
    std::unique_ptr<PDValue> keepEnc;
    const PDValue* enc = PDFollowKey(file, dict, "/Encoding", keepEnc);
    bool identity = enc != nullptr && enc->IsName("/Identity-H");
    bool shiftJis = enc != nullptr && enc->IsName("/90ms-RKSJ-H") && dict.Get("/ToUnicode");
    const char* name = baseName.IsEmpty() ? "" : baseName.Text() + 1;
    if (identity || shiftJis) {
        auto font = std::make_unique<PDCompositeFont>(name);
        font->Load(file, dict);
        return font;
    }
    auto font = std::make_unique<PDMetricFont>(name);
    font->Load(file, dict);
    TakeWidths(file, dict, *font);
    return font;
}

// Widths listed from /FirstChar to /LastChar; a Type 3 font's are in glyph space and scaled by
// its /FontMatrix. Code 0 then carries the first code when the encoding is a separate object,
// which is how the code that writes fonts back learns where the widths start.
void PDFontFactory::TakeWidths(PDReader& file, const PDValue& dict, PDMetricFont& font) {
    int32_t* widths = font.MutableWidths();
    std::unique_ptr<PDValue> keep;
    double first = IntOr(PDFollowKey(file, dict, "/FirstChar", keep), 0);
    double last = IntOr(PDFollowKey(file, dict, "/LastChar", keep), 255);
    const PDValue* list = PDFollowKey(file, dict, "/Widths", keep);
    if (list == nullptr) {
        std::fill(widths, widths + 256, kNoWidthsWidth);
    } else {
        std::fill(widths, widths + 256, kUnlistedWidth);
        double scale = 1;
        std::unique_ptr<PDValue> keepType;
        std::unique_ptr<PDValue> keepMatrix;
        const PDValue* subtype = PDFollowKey(file, dict, "/Subtype", keepType);
        const PDValue* matrix = PDFollowKey(file, dict, "/FontMatrix", keepMatrix);
        if (subtype != nullptr && subtype->IsName("/Type3") && matrix != nullptr &&
            matrix->Kind() == kPDArray)
            scale = IntOr(matrix->First(), 0) * 1000;
        double code = first;
        for (const PDValue* e = list->First(); e != nullptr && code <= last;
             e = e->Next(), ++code) {
            double w = PDIsNumber(e) ? e->GetReal() * scale : -1;
            if (code < 0 || code > 255 || !(w >= 0))
                continue;
            widths[static_cast<int>(code)] =
                w >= kMaxWidth ? static_cast<int32_t>(kMaxWidth) : static_cast<int32_t>(w);
        }
    }
    bool indirectEncoding = dict.Get("/Encoding") && dict.Get("/Encoding")->Kind() == kPDReference;
    int firstChar =
        indirectEncoding && first >= -32768 && first <= 32767 ? static_cast<int>(first) : 0;
    font.SetFirstChar(firstChar);
    widths[0] = firstChar;
}
