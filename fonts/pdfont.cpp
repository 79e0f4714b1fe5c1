#include "fonts/pdfont.h"

#include "fonts/pdfontread.h"
#include "pdf/pddecode.h"
#include "pdf/pdreader.h"

#include <algorithm>
#include <cmath>

double PDGlyphRun::Width() const {
    double sum = 0;
    for (double a : advances)
        sum += a;
    for (double s : spacings)
        sum += s;
    return sum;
}

PDFont::PDFont(const char* name) {
    if (name != nullptr && name[0] == '^') {
        m_name = name + 1;
    } else {
        m_ownedName = name != nullptr ? name : "";
        m_name = m_ownedName.Text();
    }
}

PDFont::~PDFont() = default;

void PDFont::Load(PDReader& file, const PDValue& dict) {
    ReadEncoding(file, dict);
    ReadToUnicode(file, dict);
}

void PDFont::SetEncoding(const PDEncoding* encoding, bool owned) {
    m_ownedEncoding.reset(owned ? encoding : nullptr);
    m_encoding = encoding;
}

const PDEncoding& PDFont::Encoding() const {
    return m_encoding != nullptr ? *m_encoding : PDDefaultTextEncoding();
}

// A name picks a built-in encoding; a dictionary applies /Differences to /BaseEncoding, or to
// the font's own encoding when it names none. Names of composite encodings are the composite
// font's business.
void PDFont::ReadEncoding(PDReader& file, const PDValue& dict) {
    std::unique_ptr<PDValue> keep;
    const PDValue* enc = PDFollowKey(file, dict, "/Encoding", keep);
    if (enc == nullptr)
        return;
    if (enc->IsName()) {
        const PDEncoding* named = PDDiffEncoding::NamedBase(enc->Text().Text());
        if (named == &PDDefaultTextEncoding())
            SetEncoding(named, false);
        else if (named != nullptr)
            SetEncoding(new PDDiffEncoding(named, nullptr), true);
        return;
    }
    if (enc->Kind() != kPDDictionary)
        return;
    std::unique_ptr<PDValue> keepBase;
    const PDValue* baseName = PDFollowKey(file, *enc, "/BaseEncoding", keepBase);
    const PDEncoding* base = baseName != nullptr && baseName->IsName()
                                 ? PDDiffEncoding::NamedBase(baseName->Text().Text())
                                 : nullptr;
    // The text fonts' own encoding is the differences base table, which a null base selects.
    if (base == nullptr && m_encoding != &PDDefaultTextEncoding())
        base = m_encoding;
    std::unique_ptr<PDValue> keepDiff;
    const PDValue* diff = PDFollowKey(file, *enc, "/Differences", keepDiff);
    SetEncoding(
        new PDDiffEncoding(base, diff != nullptr && diff->Kind() == kPDArray ? diff : nullptr),
        true);
}

void PDFont::ReadToUnicode(PDReader& file, const PDValue& dict) {
    std::unique_ptr<PDValue> keep;
    const PDValue* stream = PDFollowKey(file, dict, "/ToUnicode", keep);
    if (stream == nullptr || !stream->HasStream())
        return;
    PDStr data;
    if (DecodeStream(*stream, data, &file) != 1)
        return;
    auto map = std::make_unique<PDToUnicode>();
    if (map->Read(data.Bytes(), data.Length()))
        m_toUnicode = std::move(map);
}

void PDFont::ReadDescriptorBBox(PDReader& file, const PDValue& dict) {
    std::unique_ptr<PDValue> keepDesc;
    const PDValue* desc = PDFollowKey(file, dict, "/FontDescriptor", keepDesc);
    if (desc == nullptr || desc->Kind() != kPDDictionary)
        return;
    std::unique_ptr<PDValue> keepBox;
    const PDValue* box = PDFollowKey(file, *desc, "/FontBBox", keepBox);
    if (box == nullptr || box->Kind() != kPDArray)
        return;
    double v[4] = {};
    int i = 0;
    for (const PDValue* e = box->First(); e != nullptr && i < 4; e = e->Next(), ++i) {
        if (!PDIsNumber(e))
            return;
        v[i] = std::clamp(e->GetReal(), -32768.0, 32767.0);
    }
    if (i == 4)
        SetBBox(static_cast<int>(v[0]), static_cast<int>(std::min(v[1], v[3])),
                static_cast<int>(v[2]), static_cast<int>(std::max(v[1], v[3])));
}

void PDFont::SetBBox(int left, int bottom, int right, int top) {
    m_bbox[0] = static_cast<int16_t>(left);
    m_bbox[1] = static_cast<int16_t>(bottom);
    m_bbox[2] = static_cast<int16_t>(right);
    m_bbox[3] = static_cast<int16_t>(top);
    m_hasBBox = true;
}

double PDFont::LineFactor() const {
    return m_hasBBox ? (m_bbox[3] - m_bbox[1]) / 1000.0 : 0;
}

int PDFont::NextCode(const uint8_t* codes, int length, int& pos) const {
    return pos < length ? codes[pos++] : -1;
}

double PDFont::TextWidth(const uint8_t* codes, int length) const {
    double sum = 0;
    int pos = 0;
    for (int code = NextCode(codes, length, pos); code >= 0; code = NextCode(codes, length, pos))
        sum += Width(code);
    return sum;
}

bool PDFont::AppendCode(uint32_t unicode, PDStr& codes) const {
    uint32_t code = Encoding().UnicodeToCode(unicode);
    if (code == 0 || code > 255)
        return false;
    codes.Append(static_cast<char>(code));
    return true;
}

void PDFont::GlyphAdvances(const uint8_t* codes, int length, const PDTextState* state,
                           const PDEncoding* map, PDGlyphRun& run) const {
    const PDTextState plain;
    const PDTextState& ts = state != nullptr ? *state : plain;
    const PDEncoding* encoding = m_encoding;
    if (map == nullptr)
        map = m_toUnicode ? m_toUnicode.get() : &Encoding();
    int pos = 0;
    for (int code = NextCode(codes, length, pos); code >= 0; code = NextCode(codes, length, pos)) {
        auto c = static_cast<uint32_t>(code);
        const PDEncoding* used = map;
        int units = map->AppendText(c, run.text);
        if (units == 0 && map == m_toUnicode.get()) {
            used = &Encoding();
            units = used->AppendText(c, run.text);
        }
        if (units <= 0)
            continue;
        int widthCode = code;
        if (used != encoding && units == 1 && encoding != nullptr) {
            int other = encoding->NameToCode(used->GlyphName(c));
            if (other > 0)
                widthCode = other;
        }
        for (int i = 1; i < units; ++i) {
            run.advances.push_back(0);
            run.spacings.push_back(0);
        }
        double scale = ts.scaling / 100;
        run.advances.push_back(Width(widthCode) * 0.001 * ts.size * scale);
        double spacing = code == 32 ? ts.charSpacing + ts.wordSpacing : ts.charSpacing;
        run.spacings.push_back(spacing * scale);
    }
}

PDMetricFont::PDMetricFont(const char* name, const int32_t* widths, const PDEncoding& encoding)
    : PDFont(name), m_widths(widths) {
    m_builtin = true;
    SetEncoding(&encoding, false);
}

PDMetricFont::PDMetricFont(const char* name)
    : PDFont(name), m_widths(nullptr), m_ownWidths(new int32_t[256]()) {
    m_widths = m_ownWidths.get();
}

void PDMetricFont::Load(PDReader& file, const PDValue& dict) {
    PDFont::Load(file, dict);
    ReadDescriptorBBox(file, dict);
}

int PDMetricFont::Width(int code) const {
    return code >= 0 && code < 256 ? m_widths[code] : 0;
}

PDStdFont::PDStdFont(const char* name, const PDMetricFont& metrics)
    : PDFont(name), m_metrics(metrics) {
    SetEncoding(&metrics.Encoding(), false);
}

int PDStdFont::Width(int code) const {
    const PDEncoding& encoding = Encoding();
    if (&encoding == &PDDefaultTextEncoding())
        return m_metrics.Width(code);
    const char* name = encoding.GlyphName(static_cast<uint32_t>(code));
    int mapped = name != nullptr ? PDDefaultTextEncoding().NameToCode(name) : -1;
    return m_metrics.Width(mapped >= 0 ? mapped : code);
}
