#include "shaping/pdshaper.h"

#include <fribidi.h>

#include <algorithm>

namespace {

bool IsLineEnd(char32_t c) {
    return c == U'\r' || c == U'\n';
}

// Scripts written without blanks between words: a line may be cut between any two characters.
bool BreaksAnywhere(char32_t c) {
    return (c >= 0x2E80 && c <= 0x9FFF) || (c >= 0xF900 && c <= 0xFAFF) ||
           (c >= 0xFF01 && c <= 0xFF60) || (c >= 0x20000 && c <= 0x3FFFF);
}

// Closing marks never start a line, opening ones never end it.
bool Closing(char32_t c) {
    return std::u32string_view(U"、。，．：；！？）」』】〕〉》ー々ゃゅょっャュョッ").find(c) !=
           std::u32string_view::npos;
}
bool Opening(char32_t c) {
    return std::u32string_view(U"（「『【〔〈《").find(c) != std::u32string_view::npos;
}

std::vector<uint8_t> Levels(const std::u32string& text, bool& rightToLeft) {
    std::vector<uint8_t> levels(text.size(), 0);
    if (text.empty())
        return levels;
    const auto* chars = reinterpret_cast<const FriBidiChar*>(text.data());
    auto n = static_cast<FriBidiStrIndex>(text.size());
    std::vector<FriBidiCharType> types(text.size());
    std::vector<FriBidiBracketType> brackets(text.size());
    std::vector<FriBidiLevel> raw(text.size());
    fribidi_get_bidi_types(chars, n, types.data());
    fribidi_get_bracket_types(chars, n, types.data(), brackets.data());
    FriBidiParType direction = FRIBIDI_PAR_ON;
    if (fribidi_get_par_embedding_levels_ex(types.data(), brackets.data(), n, &direction,
                                            raw.data()) == 0)
        return levels;
    rightToLeft = FRIBIDI_IS_RTL(direction);
    for (size_t i = 0; i < text.size(); ++i)
        levels[i] = static_cast<uint8_t>(raw[i]);
    return levels;
}

// A run shares one level and one script (characters of no script join the run they are in).
size_t RunEnd(const std::u32string& text, const std::vector<uint8_t>& levels, size_t from,
              hb_unicode_funcs_t* unicode) {
    hb_script_t script = HB_SCRIPT_COMMON;
    size_t i = from;
    for (; i < text.size() && !IsLineEnd(text[i]) && levels[i] == levels[from]; ++i) {
        hb_script_t s = hb_unicode_script(unicode, text[i]);
        if (s == HB_SCRIPT_COMMON || s == HB_SCRIPT_INHERITED || s == HB_SCRIPT_UNKNOWN)
            continue;
        if (script != HB_SCRIPT_COMMON && s != script)
            break;
        script = s;
    }
    return std::max(i, from + 1);
}

void ShapeRun(const PDSystemFont& font, const std::u32string& text, size_t from, size_t to,
              uint8_t level, std::vector<PDShapedCluster>& out) {
    hb_buffer_t* buffer = hb_buffer_create();
    hb_buffer_add_utf32(buffer, reinterpret_cast<const uint32_t*>(text.data()),
                        static_cast<int>(text.size()), static_cast<unsigned>(from),
                        static_cast<int>(to - from));
    hb_buffer_set_direction(buffer, (level & 1) != 0 ? HB_DIRECTION_RTL : HB_DIRECTION_LTR);
    hb_buffer_guess_segment_properties(buffer);
    hb_shape(font.Font(), buffer, nullptr, 0);
    unsigned count = 0;
    hb_glyph_info_t* info = hb_buffer_get_glyph_infos(buffer, &count);
    hb_glyph_position_t* pos = hb_buffer_get_glyph_positions(buffer, &count);
    std::vector<PDShapedCluster> run;
    for (unsigned g = 0; g < count; ++g) {
        if (run.empty() || run.back().start != info[g].cluster) {
            run.emplace_back();
            run.back().start = info[g].cluster;
            run.back().level = level;
        }
        run.back().glyphs.push_back({info[g].codepoint, font.ToThousandths(pos[g].x_advance),
                                     font.ToThousandths(pos[g].x_offset),
                                     font.ToThousandths(pos[g].y_offset)});
    }
    hb_buffer_destroy(buffer);
    // Right-to-left glyphs come in the order they are drawn: the clusters go back to the text's.
    if ((level & 1) != 0)
        std::reverse(run.begin(), run.end());
    for (size_t i = 0; i < run.size(); ++i) {
        size_t end = i + 1 < run.size() ? run[i + 1].start : to;
        run[i].length = end > run[i].start ? end - run[i].start : 0;
        out.push_back(std::move(run[i]));
    }
}

void MarkBreaks(const std::u32string& text, std::vector<PDShapedCluster>& clusters) {
    for (size_t i = 0; i < clusters.size(); ++i) {
        PDShapedCluster& c = clusters[i];
        char32_t first = c.start < text.size() ? text[c.start] : U' ';
        c.blank = first == U' ' || first == U'\u3000';
        if (i == 0 || c.lineEnd || clusters[i - 1].lineEnd || clusters[i - 1].length == 0)
            continue;
        const PDShapedCluster& p = clusters[i - 1];
        char32_t last = text[p.start + p.length - 1];
        c.breakBefore =
            (BreaksAnywhere(first) || BreaksAnywhere(last)) && !Closing(first) && !Opening(last);
    }
}

} // namespace

PDShapedText PDShapeText(const PDSystemFont& font, const std::u32string& text) {
    PDShapedText shaped;
    std::vector<uint8_t> levels = Levels(text, shaped.rightToLeft);
    hb_unicode_funcs_t* unicode = hb_unicode_funcs_get_default();
    for (size_t at = 0; at < text.size();) {
        if (IsLineEnd(text[at])) {
            PDShapedCluster end;
            end.start = at;
            end.length = 1;
            end.lineEnd = true;
            shaped.clusters.push_back(end);
            ++at;
            continue;
        }
        size_t to = RunEnd(text, levels, at, unicode);
        ShapeRun(font, text, at, to, levels[at], shaped.clusters);
        at = to;
    }
    MarkBreaks(text, shaped.clusters);
    return shaped;
}
