#include "shaping/pdsystemfont.h"

#include <hb-ot.h>

#include <filesystem>
#include <system_error>

namespace {

constexpr hb_tag_t kCff = HB_TAG('C', 'F', 'F', ' ');
constexpr hb_tag_t kCff2 = HB_TAG('C', 'F', 'F', '2');
constexpr hb_tag_t kGlyf = HB_TAG('g', 'l', 'y', 'f');
constexpr hb_tag_t kHead = HB_TAG('h', 'e', 'a', 'd');
constexpr hb_tag_t kPost = HB_TAG('p', 'o', 's', 't');

bool HasTable(hb_face_t* face, hb_tag_t tag) {
    hb_blob_t* blob = hb_face_reference_table(face, tag);
    bool has = hb_blob_get_length(blob) > 0;
    hb_blob_destroy(blob);
    return has;
}

int16_t Signed16(const char* data, unsigned at) {
    return static_cast<int16_t>((static_cast<uint8_t>(data[at]) << 8) |
                                static_cast<uint8_t>(data[at + 1]));
}

std::string PlainName(const std::string& name) {
    std::string out;
    for (char c : name) {
        if ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
            c == '-' || c == '_')
            out += c;
        if (out.size() >= 100)
            break;
    }
    return out.empty() ? "Font" : out;
}

} // namespace

PDSystemFont::~PDSystemFont() {
    hb_font_destroy(m_font);
    hb_face_destroy(m_face);
}

std::unique_ptr<PDSystemFont> PDSystemFont::Open(const std::string& path, unsigned index,
                                                 std::string& error) {
    std::error_code ec;
    uintmax_t size = std::filesystem::file_size(path, ec);
    if (ec || size == 0 || size > kPDMaxFontFileSize) {
        error = ec || size == 0 ? "cannot be read" : "is too large";
        return nullptr;
    }
    hb_blob_t* blob = hb_blob_create_from_file_or_fail(path.c_str());
    if (blob == nullptr) {
        error = "cannot be read";
        return nullptr;
    }
    return FromBlob(blob, index, error);
}

std::unique_ptr<PDSystemFont> PDSystemFont::FromBytes(const uint8_t* data, size_t length,
                                                      unsigned index, std::string& error) {
    if (data == nullptr || length == 0 || length > kPDMaxFontFileSize) {
        error = "cannot be read";
        return nullptr;
    }
    hb_blob_t* blob =
        hb_blob_create(reinterpret_cast<const char*>(data), static_cast<unsigned>(length),
                       HB_MEMORY_MODE_DUPLICATE, nullptr, nullptr);
    return FromBlob(blob, index, error);
}

std::unique_ptr<PDSystemFont> PDSystemFont::FromBlob(hb_blob_t* blob, unsigned index,
                                                     std::string& error) {
    hb_face_t* face = hb_face_create(blob, index);
    hb_blob_destroy(blob);
    unsigned upem = hb_face_get_upem(face);
    bool outlines = HasTable(face, kGlyf) || HasTable(face, kCff) || HasTable(face, kCff2);
    // A face without glyphs, outlines or a character map cannot draw text.
    hb_set_t* unicodes = hb_set_create();
    hb_face_collect_unicodes(face, unicodes);
    bool mapped = !hb_set_is_empty(unicodes);
    hb_set_destroy(unicodes);
    if (hb_face_get_glyph_count(face) == 0 || !outlines || !mapped || upem < 16 || upem > 16384) {
        hb_face_destroy(face);
        error = "holds no usable TrueType or OpenType font";
        return nullptr;
    }
    std::unique_ptr<PDSystemFont> font(new PDSystemFont());
    font->m_face = face;
    font->m_font = hb_font_create(face);
    font->m_upem = upem;
    // CFF2 (variable CFF) outlines cannot be embedded; their fonts draw as TrueType would not.
    font->m_cff = HasTable(face, kCff) || HasTable(face, kCff2);
    font->ReadMetrics();
    return font;
}

void PDSystemFont::ReadMetrics() {
    char name[256];
    unsigned size = sizeof name;
    hb_ot_name_get_utf8(m_face, HB_OT_NAME_ID_POSTSCRIPT_NAME, HB_LANGUAGE_INVALID, &size, name);
    m_name = PlainName(std::string(name, size));
    hb_font_extents_t extents{};
    hb_font_get_h_extents(m_font, &extents);
    m_ascent = static_cast<int>(ToThousandths(extents.ascender));
    m_descent = static_cast<int>(ToThousandths(extents.descender));
    hb_position_t cap = 0;
    m_capHeight = hb_ot_metrics_get_position(m_font, HB_OT_METRICS_TAG_CAP_HEIGHT, &cap)
                      ? static_cast<int>(ToThousandths(cap))
                      : m_ascent;
    hb_blob_t* head = hb_face_reference_table(m_face, kHead);
    unsigned length = 0;
    const char* data = hb_blob_get_data(head, &length);
    if (length >= 54) {
        for (unsigned i = 0; i < 4; ++i)
            m_bbox[i] = static_cast<int>(ToThousandths(Signed16(data, 36 + 2 * i)));
        m_italic = (static_cast<uint8_t>(data[45]) & 2) != 0; // macStyle
    }
    hb_blob_destroy(head);
    hb_blob_t* post = hb_face_reference_table(m_face, kPost);
    data = hb_blob_get_data(post, &length);
    m_fixedPitch = length >= 16 && (data[12] | data[13] | data[14] | data[15]) != 0;
    hb_blob_destroy(post);
}

bool PDSystemFont::Covers(char32_t c) const {
    hb_codepoint_t glyph = 0;
    return hb_font_get_nominal_glyph(m_font, c, &glyph) && glyph != 0;
}

double PDSystemFont::ToThousandths(int32_t units) const {
    return static_cast<double>(units) * 1000.0 / m_upem;
}

double PDSystemFont::Advance(uint32_t glyph) const {
    return ToThousandths(hb_font_get_glyph_h_advance(m_font, glyph));
}
