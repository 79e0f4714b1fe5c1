#include "shaping/pdfontsubset.h"

#include "streams/md5.h"
#include "streams/pdfilters.h"

#include <hb-subset.h>

#include <cmath>

namespace {

constexpr uint32_t kMaxCode = 0xFFFF;
// Entries per bfchar block of a CMap.
constexpr size_t kBlock = 100;

std::unique_ptr<PDValue> Name(const std::string& written) {
    return std::make_unique<PDValue>(written.c_str());
}

std::unique_ptr<PDValue> Int(int64_t n) {
    return PDValue::MakeInteger(static_cast<int32_t>(n));
}

std::string Hex4(uint32_t v) {
    static const char kDigits[] = "0123456789ABCDEF";
    std::string out(4, '0');
    for (int i = 3; i >= 0; --i, v >>= 4)
        out[static_cast<size_t>(i)] = kDigits[v & 15];
    return out;
}

std::string Utf16Hex(const std::u32string& text) {
    std::string out;
    for (char32_t c : text) {
        if (c >= 0x10000) {
            char32_t v = c - 0x10000;
            out += Hex4(0xD800 + (v >> 10)) + Hex4(0xDC00 + (v & 0x3FF));
        } else {
            out += Hex4(c);
        }
    }
    return out;
}

// A stream object, Flate-compressed when that works.
std::unique_ptr<PDValue> Stream(std::unique_ptr<PDValue> dict, const std::string& bytes) {
    PDStr packed = CompressFlate(PDStr(std::string_view(bytes)));
    if (packed.IsEmpty())
        dict->AssignStream(reinterpret_cast<const uint8_t*>(bytes.data()),
                           static_cast<int64_t>(bytes.size()), nullptr);
    else
        dict->AssignStream(packed.Bytes(), packed.Length(), "/FlateDecode");
    return dict;
}

// The subset program and, for TrueType, the subset's glyph of each glyph of the font.
hb_blob_t* SubsetProgram(hb_face_t* face, const std::vector<uint32_t>& glyphs, bool cff,
                         std::vector<uint32_t>& newGlyphs) {
    hb_subset_input_t* input = hb_subset_input_create_or_fail();
    if (input == nullptr)
        return nullptr;
    hb_set_t* set = hb_subset_input_glyph_set(input);
    for (uint32_t g : glyphs)
        hb_set_add(set, g);
    hb_set_clear(hb_subset_input_unicode_set(input));
    // The text is shaped already and the viewer draws glyphs by number: layout tables, hinting
    // and the glyph names only add bytes.
    hb_set_t* drop = hb_subset_input_set(input, HB_SUBSET_SETS_DROP_TABLE_TAG);
    for (const char* tag : {"GSUB", "GPOS", "GDEF", "BASE", "JSTF", "MATH", "morx", "kern", "DSIG",
                            "vhea", "vmtx", "VORG"})
        hb_set_add(drop, hb_tag_from_string(tag, 4));
    unsigned flags = HB_SUBSET_FLAGS_NO_HINTING | HB_SUBSET_FLAGS_DESUBROUTINIZE;
    // A CFF subset numbers its CIDs anew, and the codes drawn are the font's glyph numbers: they
    // are kept (the empty glyphs cost little once compressed).
    if (cff)
        flags |= HB_SUBSET_FLAGS_RETAIN_GIDS;
    hb_subset_input_set_flags(input, flags);
    hb_subset_plan_t* plan = hb_subset_plan_create_or_fail(face, input);
    hb_subset_input_destroy(input);
    if (plan == nullptr)
        return nullptr;
    const hb_map_t* map = hb_subset_plan_old_to_new_glyph_mapping(plan);
    newGlyphs.clear();
    for (uint32_t g : glyphs)
        newGlyphs.push_back(hb_map_has(map, g) ? hb_map_get(map, g) : 0);
    hb_face_t* subset = hb_subset_plan_execute_or_fail(plan);
    hb_subset_plan_destroy(plan);
    if (subset == nullptr)
        return nullptr;
    hb_blob_t* blob = hb_face_reference_blob(subset);
    hb_face_destroy(subset);
    return blob;
}

} // namespace

PDFontSubset::PDFontSubset(const PDSystemFont& font) : m_font(font) {}

uint16_t PDFontSubset::Code(uint32_t glyph, const std::u32string& text) {
    if (m_font.HasCff()) {
        // The glyph number is the code; the first text a glyph stands for is the one kept.
        if (glyph == 0 || glyph > kMaxCode)
            return 0;
        if (m_textOf.size() <= glyph) {
            m_textOf.resize(glyph + 1);
            m_glyphOf.resize(glyph + 1, 0);
        }
        m_glyphOf[glyph] = glyph;
        if (m_textOf[glyph].empty())
            m_textOf[glyph] = text;
        return static_cast<uint16_t>(glyph);
    }
    auto key = std::make_pair(glyph, text);
    auto it = m_codes.find(key);
    if (it != m_codes.end())
        return it->second;
    if (m_glyphOf.size() > kMaxCode)
        return 0;
    auto code = static_cast<uint16_t>(m_glyphOf.size());
    m_glyphOf.push_back(glyph);
    m_textOf.push_back(text);
    m_codes[key] = code;
    return code;
}

double PDFontSubset::Width(uint16_t code) const {
    // Whole units, as the widths array gives them.
    return code < m_glyphOf.size() ? std::round(m_font.Advance(m_glyphOf[code])) : 0.0;
}

// Six capitals from the codes and glyphs, so that the same glyphs give the same name.
std::string PDFontSubset::Tag() const {
    PDMd5 md5;
    for (size_t code = 1; code < m_glyphOf.size(); ++code) {
        uint8_t bytes[6] = {static_cast<uint8_t>(code >> 8),
                            static_cast<uint8_t>(code),
                            static_cast<uint8_t>(m_glyphOf[code] >> 16),
                            static_cast<uint8_t>(m_glyphOf[code] >> 8),
                            static_cast<uint8_t>(m_glyphOf[code]),
                            0};
        md5.Update(bytes, sizeof bytes);
    }
    uint8_t digest[PDMd5::kDigestLength];
    md5.Final(digest);
    std::string tag;
    for (int i = 0; i < 6; ++i)
        tag += static_cast<char>('A' + digest[i] % 26);
    return tag;
}

std::unique_ptr<PDValue> PDFontSubset::Widths() const {
    std::unique_ptr<PDValue> w = PDValue::MakeArray();
    std::unique_ptr<PDValue> run;
    size_t next = 0; // the code that continues the current run
    for (size_t code = 1; code < m_glyphOf.size(); ++code) {
        if (m_glyphOf[code] == 0)
            continue;
        if (run == nullptr || code != next) {
            if (run != nullptr)
                w->Append(std::move(run));
            w->Append(Int(static_cast<int64_t>(code)));
            run = PDValue::MakeArray();
        }
        next = code + 1;
        run->Append(Int(std::lround(Width(static_cast<uint16_t>(code)))));
    }
    if (run != nullptr)
        w->Append(std::move(run));
    return w;
}

std::unique_ptr<PDValue> PDFontSubset::Descriptor(const std::string& name, int32_t file) const {
    std::unique_ptr<PDValue> d = PDValue::MakeDictionary();
    d->Dict()->Set("/Type", Name("/FontDescriptor"));
    d->Dict()->Set("/FontName", Name(std::string("/").append(name)));
    // Symbolic: the glyphs are chosen by number, not through a standard character set.
    int flags = 4 | (m_font.FixedPitch() ? 1 : 0) | (m_font.Italic() ? 64 : 0);
    d->Dict()->Set("/Flags", Int(flags));
    std::unique_ptr<PDValue> box = PDValue::MakeArray();
    for (int i = 0; i < 4; ++i)
        box->Append(Int(m_font.BoundingBox()[i]));
    d->Dict()->Set("/FontBBox", std::move(box));
    d->Dict()->Set("/ItalicAngle", Int(0));
    d->Dict()->Set("/Ascent", Int(m_font.Ascent()));
    d->Dict()->Set("/Descent", Int(m_font.Descent()));
    d->Dict()->Set("/CapHeight", Int(m_font.CapHeight()));
    d->Dict()->Set("/StemV", Int(80));
    d->Dict()->Set(m_font.HasCff() ? "/FontFile3" : "/FontFile2", PDValue::MakeReference(file));
    return d;
}

std::string PDFontSubset::ToUnicode() const {
    std::string entries;
    size_t inBlock = 0;
    std::string cmap;
    auto flush = [&]() {
        if (inBlock > 0)
            cmap += std::to_string(inBlock) + " beginbfchar\n" + entries + "endbfchar\n";
        entries.clear();
        inBlock = 0;
    };
    for (size_t code = 1; code < m_textOf.size(); ++code) {
        if (m_textOf[code].empty() || m_glyphOf[code] == 0)
            continue;
        // Appended piece by piece: GCC's release build misreads some concatenations of temporaries.
        entries.append("<").append(Hex4(static_cast<uint32_t>(code))).append("> <");
        entries.append(Utf16Hex(m_textOf[code])).append(">\n");
        if (++inBlock == kBlock)
            flush();
    }
    flush();
    return "/CIDInit /ProcSet findresource begin\n12 dict begin\nbegincmap\n"
           "/CIDSystemInfo << /Registry (Adobe) /Ordering (UCS) /Supplement 0 >> def\n"
           "/CMapName /Adobe-Identity-UCS def\n/CMapType 2 def\n"
           "1 begincodespacerange\n<0000> <FFFF>\nendcodespacerange\n" +
           cmap + "endcmap\nCMapName currentdict /CMap defineresource pop\nend\nend\n";
}

bool PDFontSubset::Write(PDValue& type0, const NewObject& newObject) const {
    std::vector<uint32_t> glyphs(m_glyphOf.begin() + 1, m_glyphOf.end());
    std::vector<uint32_t> newGlyphs;
    hb_blob_t* program = SubsetProgram(m_font.Face(), glyphs, m_font.HasCff(), newGlyphs);
    if (program == nullptr)
        return false;
    unsigned length = 0;
    const char* data = hb_blob_get_data(program, &length);
    std::string bytes(data, length);
    hb_blob_destroy(program);
    std::string name = Tag() + "+" + m_font.Name();
    std::unique_ptr<PDValue> fileDict = PDValue::MakeDictionary();
    if (m_font.HasCff())
        fileDict->Dict()->Set("/Subtype", Name("/OpenType"));
    else
        fileDict->Dict()->Set("/Length1", Int(static_cast<int64_t>(bytes.size())));
    int32_t file = newObject(Stream(std::move(fileDict), bytes));
    int32_t descriptor = newObject(Descriptor(name, file));

    std::unique_ptr<PDValue> cid = PDValue::MakeDictionary();
    cid->Dict()->Set("/Type", Name("/Font"));
    cid->Dict()->Set("/Subtype", Name(m_font.HasCff() ? "/CIDFontType0" : "/CIDFontType2"));
    cid->Dict()->Set("/BaseFont", Name(std::string("/").append(name)));
    std::unique_ptr<PDValue> info = PDValue::MakeDictionary();
    info->Dict()->Set("/Registry", Name("(Adobe)"));
    info->Dict()->Set("/Ordering", Name("(Identity)"));
    info->Dict()->Set("/Supplement", Int(0));
    cid->Dict()->Set("/CIDSystemInfo", std::move(info));
    cid->Dict()->Set("/FontDescriptor", PDValue::MakeReference(descriptor));
    cid->Dict()->Set("/W", Widths());
    if (!m_font.HasCff()) {
        std::string map(2, '\0');
        for (uint32_t g : newGlyphs) {
            map += static_cast<char>(g >> 8);
            map += static_cast<char>(g & 0xFF);
        }
        cid->Dict()->Set("/CIDToGIDMap",
                         PDValue::MakeReference(newObject(Stream(PDValue::MakeDictionary(), map))));
    }
    int32_t descendant = newObject(std::move(cid));
    std::unique_ptr<PDValue> toUnicode = Stream(PDValue::MakeDictionary(), ToUnicode());
    int32_t toUnicodeNumber = newObject(std::move(toUnicode));

    type0.Dict()->Set("/Type", Name("/Font"));
    type0.Dict()->Set("/Subtype", Name("/Type0"));
    type0.Dict()->Set("/BaseFont", Name(std::string("/").append(name)));
    type0.Dict()->Set("/Encoding", Name("/Identity-H"));
    std::unique_ptr<PDValue> descendants = PDValue::MakeArray();
    descendants->Append(PDValue::MakeReference(descendant));
    type0.Dict()->Set("/DescendantFonts", std::move(descendants));
    type0.Dict()->Set("/ToUnicode", PDValue::MakeReference(toUnicodeNumber));
    return true;
}
