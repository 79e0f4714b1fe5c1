#include "fonts/pdcompositefont.h"

#include "fonts/pdfontread.h"
#include "pdf/pdreader.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr int kHalfWidth = 500;

int32_t ClampWidth(double w) {
    if (!(w >= 0))
        return 0;
    return w >= 500000 ? 500000 : static_cast<int32_t>(w);
}

} // namespace

void PDCompositeFont::Load(PDReader& file, const PDValue& dict) {
    std::unique_ptr<PDValue> keepEnc;
    const PDValue* enc = PDFollowKey(file, dict, "/Encoding", keepEnc);
    m_shiftJis = enc != nullptr && enc->IsName("/90ms-RKSJ-H");
    ReadToUnicode(file, dict);
    std::unique_ptr<PDValue> keepKids;
    std::unique_ptr<PDValue> keepKid;
    const PDValue* kids = PDFollowKey(file, dict, "/DescendantFonts", keepKids);
    const PDValue* kid = kids != nullptr ? PDFollow(file, kids->First(), keepKid) : nullptr;
    if (kid == nullptr || kid->Kind() != kPDDictionary)
        return;
    ReadWidths(file, *kid);
    ReadDescriptorBBox(file, *kid);
}

// /W holds "c [w1 w2 ...]" (widths from c on) and "cfirst clast w" runs.
void PDCompositeFont::ReadWidths(PDReader& file, const PDValue& descendant) {
    std::unique_ptr<PDValue> keep;
    const PDValue* dw = PDFollowKey(file, descendant, "/DW", keep);
    if (PDIsNumber(dw))
        m_defaultWidth = ClampWidth(dw->GetReal());
    const PDValue* w = PDFollowKey(file, descendant, "/W", keep);
    if (w == nullptr || w->Kind() != kPDArray)
        return;
    for (const PDValue* e = w->First(); e != nullptr && PDIsNumber(e); e = e->Next()) {
        double first = e->GetReal();
        const PDValue* second = e->Next();
        if (second == nullptr || first < 0 || first > 0xFFFF)
            break;
        if (second->Kind() == kPDArray) {
            auto code = static_cast<uint32_t>(first);
            for (const PDValue* v = second->First(); v != nullptr && code <= 0xFFFF;
                 v = v->Next(), ++code)
                AddWidth(code, code, v);
            e = second;
            continue;
        }
        const PDValue* width = second->Next();
        if (!PDIsNumber(second) || width == nullptr)
            break;
        double last = second->GetReal();
        if (last >= first && last <= 0xFFFF)
            AddWidth(static_cast<uint32_t>(first), static_cast<uint32_t>(last), width);
        e = width;
    }
    std::stable_sort(m_widths.begin(), m_widths.end(),
                     [](const WidthRange& a, const WidthRange& b) { return a.first < b.first; });
}

void PDCompositeFont::AddWidth(uint32_t first, uint32_t last, const PDValue* width) {
    if (static_cast<int>(m_widths.size()) < kMaxWidthEntries && PDIsNumber(width))
        m_widths.push_back({first, last, ClampWidth(width->GetReal())});
}

int PDCompositeFont::Width(int code) const {
    if (code < 0)
        return 0;
    if (m_shiftJis)
        return code < 0x100 ? kHalfWidth : m_defaultWidth;
    auto c = static_cast<uint32_t>(code);
    auto it = std::upper_bound(m_widths.begin(), m_widths.end(), c,
                               [](uint32_t v, const WidthRange& r) { return v < r.first; });
    if (it != m_widths.begin() && c <= std::prev(it)->last)
        return std::prev(it)->width;
    return m_defaultWidth;
}

bool PDCompositeFont::IsLeadByte(uint8_t byte) {
    return (byte >= 0x81 && byte <= 0x9F) || (byte >= 0xE0 && byte <= 0xFC);
}

int PDCompositeFont::NextCode(const uint8_t* codes, int length, int& pos) const {
    if (pos >= length)
        return -1;
    uint8_t first = codes[pos++];
    if (m_shiftJis && !IsLeadByte(first))
        return first;
    if (pos >= length) // a lone last byte of a two-byte string
        return m_shiftJis ? first : -1;
    return first << 8 | codes[pos++];
}

bool PDCompositeFont::AppendCode(uint32_t unicode, PDStr& codes) const {
    uint32_t code = 0;
    const PDToUnicode* map = ToUnicode();
    if (map == nullptr || !map->CodeFor(unicode, code) || code == 0 || code > 0xFFFF)
        return false;
    if (!m_shiftJis || code > 0xFF)
        codes.Append(static_cast<char>(code >> 8));
    codes.Append(static_cast<char>(code & 0xFF));
    return true;
}
