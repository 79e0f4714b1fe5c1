#include "forms/form_layout.h"

#include "forms/form_text.h"
#include "pdf/pdformat.h"
#include "pdf/pdstring.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {

bool IsComb(const PDLayoutBox& box) {
    return (box.flags & pdfield::kComb) != 0 && box.maxLength >= 1;
}

bool IsMultiline(const PDLayoutBox& box) {
    return (box.flags & pdfield::kMultiline) != 0;
}

// Visual order of the clusters [from, to): runs at each odd level and above, from the highest
// level down, are reversed.
std::vector<size_t> VisualOrder(const std::vector<PDLayoutChar>& text, size_t from, size_t to) {
    std::vector<size_t> order;
    uint8_t highest = 0;
    for (size_t i = from; i < to; ++i) {
        order.push_back(i);
        highest = std::max(highest, text[i].level);
    }
    for (uint8_t level = highest; level >= 1; --level) {
        for (size_t i = 0; i < order.size();) {
            if (text[order[i]].level < level) {
                ++i;
                continue;
            }
            size_t j = i;
            while (j < order.size() && text[order[j]].level >= level)
                ++j;
            std::reverse(order.begin() + static_cast<std::ptrdiff_t>(i),
                         order.begin() + static_cast<std::ptrdiff_t>(j));
            i = j;
        }
    }
    return order;
}

// Shaped glyphs as TJ arrays: numbers between glyphs move each to where shaping put it, and a text
// rise lifts the glyphs that shaping raised or lowered (marks).
std::string ShownGlyphs(const std::vector<PDLayoutChar>& text, size_t from, size_t to, float size) {
    std::string out;
    std::string array;
    double pen = 0;    // where the font's widths have put the current point
    double shaped = 0; // where shaping places it
    double rise = 0;
    // Appended piece by piece: GCC's release build misreads some concatenations of temporaries.
    auto flush = [&]() {
        if (!array.empty())
            out.append("[").append(array).append("] TJ ");
        array.clear();
    };
    // Lines start and end in the font of the value's first character, the one selected before them.
    const std::string& first = text.front().font;
    std::string font = first;
    for (size_t i : VisualOrder(text, from, to)) {
        if (text[i].font != font) {
            flush();
            font = text[i].font;
            out.append(font).append(" ").append(PDNumber(size)).append(" Tf ");
        }
        for (const PDLayoutGlyph& g : text[i].glyphs) {
            if (g.yOffset != rise) {
                flush();
                rise = g.yOffset;
                out.append(PDNumber(rise * size * 0.001)).append(" Ts ");
            }
            double move = pen - (shaped + g.xOffset);
            if (std::fabs(move) > 0.01)
                array.append(" ").append(PDNumber(move)).append(" ");
            char hex[8];
            std::snprintf(hex, sizeof hex, "<%04X>", static_cast<unsigned>(g.code));
            array += hex;
            pen = shaped + g.xOffset + g.width;
            shaped += g.advance;
        }
    }
    flush();
    if (rise != 0)
        out += "0 Ts ";
    if (font != first)
        out.append(first).append(" ").append(PDNumber(size)).append(" Tf ");
    if (out.empty())
        return "[] TJ";
    out.pop_back();
    return out;
}

// The show operator of the characters [from, to).
std::string Shown(const std::vector<PDLayoutChar>& text, size_t from, size_t to, float size) {
    if (from < to && !text[from].glyphs.empty())
        return ShownGlyphs(text, from, to, size);
    std::string codes;
    for (size_t i = from; i < to; ++i)
        codes += text[i].code;
    PDStr written;
    PDEncodeString(reinterpret_cast<const uint8_t*>(codes.data()), static_cast<int>(codes.size()),
                   written, kPDLiteral);
    return written.ToString() + " Tj";
}

// Widths summed up front, so that measuring any piece of a long value costs one subtraction.
class Widths {
public:
    explicit Widths(const std::vector<PDLayoutChar>& text) : m_sum(text.size() + 1, 0.0) {
        for (size_t i = 0; i < text.size(); ++i)
            m_sum[i + 1] = m_sum[i] + text[i].width;
    }
    double Of(size_t from, size_t to, float size) const {
        return (m_sum[to] - m_sum[from]) * size * 0.001;
    }

private:
    std::vector<double> m_sum;
};

PDLayout LayOutComb(const std::vector<PDLayoutChar>& text, float size, const PDLayoutBox& box) {
    PDLayout out;
    out.lines = 1;
    double cell = std::floor(box.width / static_cast<float>(box.maxLength));
    double previous = 0;
    size_t count = std::min(text.size(), static_cast<size_t>(box.maxLength));
    for (size_t i = 0; i < count; ++i) {
        double x = static_cast<double>(i) * cell + (cell - text[i].width * size * 0.001) * 0.5;
        out.body += PDNumber(x - previous) + " 0 Td " + Shown(text, i, i + 1, size) + "\n";
        previous = x;
    }
    return out;
}

// A value's line [from, to) is cut until it fits: at its last blank or break between characters,
// else one character at a time.
// Returns the end of the part that stays on this line; cut is where the rest starts (unchanged
// when the line fits as it is).
size_t CutLine(const std::vector<PDLayoutChar>& text, const Widths& widths, size_t from, size_t to,
               float size, double room, size_t& cut) {
    while (to > from + 1 && widths.Of(from, to, size) > room) {
        size_t blank = to - 1;
        while (blank > from && !text[blank].blank && !text[blank].breakBefore)
            --blank;
        if (blank > from && text[blank].blank) {
            cut = blank + 1; // the blank at the cut goes with neither line
            to = blank;
            while (to > from + 1 && text[to - 1].blank)
                --to;
        } else if (blank > from) {
            cut = to = blank; // between two characters of text written without blanks
        } else {
            cut = --to;
        }
    }
    return to;
}

} // namespace

PDLayout PDLayOutText(const std::vector<PDLayoutChar>& text, float size, const PDLayoutBox& box) {
    if (IsComb(box))
        return LayOutComb(text, size, box);
    PDLayout out;
    out.lineHeight = std::floor(size * 1.7f);
    const bool multiline = IsMultiline(box);
    const double room = box.width - 2.0;
    std::vector<PDLayoutChar> oneLine;
    const std::vector<PDLayoutChar>* chars = &text;
    if (!multiline) {
        // Line ends of a single-line value are shown as blanks.
        oneLine = text;
        for (PDLayoutChar& c : oneLine) {
            if (c.lineEnd) {
                c.lineEnd = false;
                c.code.assign(1, ' ');
                c.blank = true;
            }
        }
        chars = &oneLine;
    }
    Widths lineWidths(*chars);
    double previousOffset = 0;
    size_t at = 0;
    double widest = 0;
    while (at < chars->size() || out.lines == 0) {
        size_t end = at;
        while (end < chars->size() && !(*chars)[end].lineEnd)
            ++end;
        size_t after = end < chars->size() ? end + 1 : end;
        if (end < chars->size() && (*chars)[end].code == "\r" && after < chars->size() &&
            (*chars)[after].lineEnd && (*chars)[after].code == "\n")
            ++after; // CR LF is one line end
        size_t stop = end;
        if (multiline) {
            while (stop > at && (*chars)[stop - 1].blank)
                --stop;
            size_t cut = end;
            stop = CutLine(*chars, lineWidths, at, stop, size, room, cut);
            if (cut < end) {
                while (cut < end && (*chars)[cut].blank)
                    ++cut;
                after = cut;
            }
        }
        double width = lineWidths.Of(at, stop, size);
        widest = std::max(widest, width);
        double offset = box.width - 4.0 - width;
        offset = box.quadding == 1 ? offset * 0.5 : box.quadding == 2 ? offset : 0.0;
        out.body += PDNumber(offset - previousOffset) + " " +
                    (out.lines == 0 ? "0" : PDNumber(-out.lineHeight)) + " Td " +
                    Shown(*chars, at, stop, size) + "\n";
        previousOffset = offset;
        ++out.lines;
        if (after == at)
            break;
        at = after;
    }
    if (multiline) {
        double needed = static_cast<double>(out.lines) * out.lineHeight + 2.0;
        if (box.height < needed) {
            out.nextSize =
                static_cast<float>(static_cast<double>(box.height) * size / needed - 0.1);
            out.fits = out.nextSize >= size;
        }
    } else if (widest > room && widest > 0) {
        out.nextSize = static_cast<float>(size * room / widest);
        out.fits = false;
    }
    return out;
}

PDLayout PDAutoSizeText(const std::vector<PDLayoutChar>& text, const PDLayoutBox& box, float start,
                        float smallest, float& size) {
    size = start;
    PDLayout layout = PDLayOutText(text, size, box);
    for (int attempt = 0; attempt < 3 && !layout.fits; ++attempt) {
        if (!(layout.nextSize > smallest))
            break;
        size = layout.nextSize;
        layout = PDLayOutText(text, size, box);
    }
    if (!layout.fits && !(layout.nextSize > smallest)) {
        size = smallest;
        layout = PDLayOutText(text, size, box);
    }
    return layout;
}
