#include "forms/form_fill.h"

#include "forms/form_fonts.h"
#include "forms/form_text.h"
#include "pdf/pddecode.h"
#include "pdf/pdformat.h"
#include "pdf/pdstring.h"
#include "pdf/pdtextstring.h"
#include "streams/pdlimits.h"
#include "streams/pdnumtext.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <unordered_set>

namespace {

constexpr uint32_t kRadio = 1u << 15;
constexpr uint32_t kPushButton = 1u << 16;
constexpr uint32_t kCombo = 1u << 17;
constexpr uint32_t kEditable = 1u << 18;
// A factor below this is no factor a font could have: the Helvetica one stands in.
constexpr double kSmallestLineFactor = 0.9;
constexpr double kDefaultLineFactor = 1.156;
// ZapfDingbats' check mark.
constexpr char kCheckMark = '4';
// No text is drawn smaller than this, whatever the size limits say.
constexpr float kSmallestSize = 1.0f;
// Page coordinates stay within this (the largest user space a page may have, twice over).
constexpr double kLargestCoordinate = 1e6;
// How many characters a warning names before it stops listing them.
constexpr size_t kNamedCharacters = 8;

// Height and depth of the standard fonts in thousandths of the size, by the form font resource
// name, for centring a line vertically.
struct Extent {
    const char* name;
    int height;
    int depth;
};
constexpr Extent kExtents[] = {
    {"/Helv", 1172, 220}, {"/HeBo", 1189, 220}, {"/HeOb", 1186, 220}, {"/HeBO", 1194, 220},
    {"/Cour", 1052, 219}, {"/CoBo", 1052, 219}, {"/CoOb", 1060, 219}, {"/CoBO", 1060, 219},
    {"/TiBo", 1139, 220}, {"/TiIt", 1118, 220}, {"/TiBI", 1119, 220}, {"/Symb", 1303, 263},
    {"/ZaDb", 963, 113},
};

Extent ExtentOf(const std::string& name) {
    for (const Extent& e : kExtents) {
        if (name == e.name)
            return e;
    }
    return {"", 1128, 220};
}

std::string Text(const PDValue* v) {
    PDStr out;
    if (v != nullptr && (v->Kind() == kPDString || v->IsName()))
        PDDecodeString(v->Text(), out);
    return out.ToString();
}

std::string Lower(std::string s) {
    for (char& c : s)
        c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    return s;
}

// Colour operators for an /MK colour array: gray, RGB or CMYK by its length; empty otherwise.
std::string ColourOf(const PDValue* array, bool stroke) {
    if (array == nullptr || array->Kind() != kPDArray)
        return {};
    std::string out;
    int n = 0;
    for (const PDValue* c = array->First(); c != nullptr && n < 5; c = c->Next(), ++n)
        out += PDNumber(c->GetReal()) + " ";
    switch (n) {
    case 1:
        return out + (stroke ? "G" : "g");
    case 3:
        return out + (stroke ? "RG" : "rg");
    case 4:
        return out + (stroke ? "K" : "k");
    default:
        return {};
    }
}

// "é (U+00E9), ..." for a warning.
std::string NamedCharacters(const std::u32string& missing) {
    std::string list;
    for (size_t i = 0; i < missing.size() && i < kNamedCharacters; ++i) {
        char hex[16];
        std::snprintf(hex, sizeof hex, "U+%04X", static_cast<unsigned>(missing[i]));
        list += (i > 0 ? ", " : "") + PDUtf8(missing[i]) + " (" + hex + ")";
    }
    if (missing.size() > kNamedCharacters)
        list += ", ...";
    return list;
}

std::unique_ptr<PDValue> Name(const std::string& written) {
    return std::make_unique<PDValue>(written.c_str());
}

std::unique_ptr<PDValue> Real(double v) {
    return std::make_unique<PDValue>(PDNumber(v).c_str());
}

std::unique_ptr<PDValue> NumberArray(std::initializer_list<double> values) {
    std::unique_ptr<PDValue> array = PDValue::MakeArray();
    for (double v : values)
        array->Append(Real(v));
    return array;
}

} // namespace

// What one widget's appearance is drawn with.
struct PDFieldFiller::Appearance {
    float width = 0; // of the box drawn into (after the widget's rotation)
    float height = 0;
    int rotation = 0; // /MK /R: 0, 90, 180 or 270
    std::string fontName = "/Helv";
    float fontSize = 0;   // 0: sized to fit
    std::string daBefore; // the default appearance around the size of its font selection
    std::string daAfter;
    const PDFont* font = nullptr;
    std::unique_ptr<PDValue> fontRef; // what the resources name the font by
    PDValue* existing = nullptr;      // the widget's normal appearance stream, if any
    std::string kept;                 // content kept in front of the new text
    uint32_t flags = 0;
    int maxLength = 0;
    int quadding = 0;
    bool quaddingGiven = false;
    // Fonts that show what the field's font cannot (resource name, object), the first drawn first.
    std::vector<std::pair<std::string, int32_t>> fallbacks;
};

PDFieldFiller::PDFieldFiller(PDFormTemplate& form, PDFillLimits limits,
                             std::vector<std::string>& warnings, std::vector<std::string> fontFiles)
    : m_form(form), m_limits(limits), m_warnings(warnings), m_fallback(form, std::move(fontFiles)) {
    // Limits come from the command line as given: text is never drawn below one unit, and the
    // largest size is never below the smallest.
    if (!(m_limits.smallest >= kSmallestSize) || !std::isfinite(m_limits.smallest))
        m_limits.smallest = kSmallestSize;
    if (!(m_limits.largest >= m_limits.smallest) || !std::isfinite(m_limits.largest))
        m_limits.largest = std::max(m_limits.smallest, 12.0f);
}

PDFieldFiller::~PDFieldFiller() = default;

PDValue* PDFieldFiller::Resolved(PDValue* value) {
    return m_form.Resolve(value);
}

PDValue* PDFieldFiller::Inherited(PDValue* dict, const char* key) {
    return Resolved(m_form.LookupInherited(dict, key));
}

int PDFieldFiller::InheritedInt(PDValue* dict, const char* key, int fallback) {
    PDValue* v = Inherited(dict, key);
    return v != nullptr && v->Kind() == kPDInteger ? v->GetInt() : fallback;
}

// ------------------------------------------------------------------ matching names to fields

void PDFieldFiller::FillAll() {
    const std::vector<std::string>& names = m_form.PendingNames();
    if (names.empty())
        return;
    std::unordered_map<std::string, std::vector<int>> byBytes;
    std::unordered_map<std::string, std::vector<int>> byUtf8;
    int count = m_form.TerminalCount();
    for (int i = 1; i <= count; ++i) {
        PDValue* field = m_form.TerminalField(i);
        if (field == nullptr)
            continue;
        byBytes[m_form.FullName(field).ToString()].push_back(i);
        byUtf8[m_form.FullNameUtf8(field).ToString()].push_back(i);
    }
    for (const std::string& name : names) {
        // A name copied from the listing (UTF-8) fills the field when no name matches byte for
        // byte.
        auto bytes = byBytes.find(name);
        auto utf8 = byUtf8.find(name);
        const std::vector<int>* fields = bytes != byBytes.end() ? &bytes->second
                                         : utf8 != byUtf8.end() ? &utf8->second
                                                                : nullptr;
        if (fields == nullptr) {
            m_warnings.push_back("Field '" + name + "' not found: its value is not used");
            continue;
        }
        const PDPendingValue* pending = m_form.PendingValue(PDStr(name));
        for (int i : *fields) {
            if (PDValue* field = m_form.EditTerminalField(i);
                field != nullptr && pending != nullptr)
                Fill(*field, name, *pending);
        }
    }
    m_fallback.Finish(m_warnings);
}

void PDFieldFiller::Fill(PDValue& field, const std::string& name, const PDPendingValue& pending) {
    PDValue* type = Inherited(&field, "/FT");
    auto flags = static_cast<uint32_t>(InheritedInt(&field, "/Ff", 0));
    std::string bytes = pending.value.ToString();
    std::u32string value = PDValueCharacters(bytes);
    if (type != nullptr && type->IsName("/Btn")) {
        if ((flags & kPushButton) != 0)
            m_warnings.push_back("Field '" + name + "' is a push button: it takes no value");
        else
            FillButton(field, name, bytes, (flags & kRadio) != 0);
    } else if (type != nullptr && type->IsName("/Sig")) {
        m_warnings.push_back("Field '" + name + "' is a signature field: it takes no value");
    } else if (type != nullptr && type->IsName("/Ch")) {
        FillChoice(field, name, value, bytes);
    } else {
        FillText(field, name, value);
    }
}

std::vector<PDFieldFiller::Widget> PDFieldFiller::WidgetsOf(PDValue& field) {
    std::vector<Widget> widgets;
    PDValue* kids = Resolved(field.GetSlot(pdkey::Kids));
    if (kids == nullptr || kids->Kind() != kPDArray) {
        widgets.push_back({&field, 0});
        return widgets;
    }
    int index = 0;
    for (PDValue* k = kids->First(); k != nullptr; k = k->Next(), ++index) {
        PDValue* kid = Resolved(k);
        if (kid != nullptr && kid->Kind() == kPDDictionary && kid->Get("/T") == nullptr)
            widgets.push_back({kid, index});
    }
    return widgets;
}

// ------------------------------------------------------------------ text fields

void PDFieldFiller::FillText(PDValue& field, const std::string& name, const std::u32string& value) {
    field.Dict()->Set("/V", std::make_unique<PDValue>(PDWrittenTextString(value)));
    field.Dict()->Remove("/RV"); // rich text would be shown instead of the new value
    for (Widget& widget : WidgetsOf(field))
        BuildTextAppearance(field, widget, name, value);
}

bool PDFieldFiller::BuildTextAppearance(PDValue& field, Widget& widget, const std::string& name,
                                        const std::u32string& value) {
    Appearance ap;
    if (!PrepareAppearance(field, widget, ap))
        return false;
    bool multiline = (ap.flags & pdfield::kMultiline) != 0;
    bool comb = (ap.flags & pdfield::kComb) != 0 && ap.maxLength >= 1;
    std::vector<PDLayoutChar> chars;
    if (!DrawFallback(ap, value, name, !multiline, chars))
        chars = Characters(ap, value, name, !multiline);
    PDLayoutBox box{ap.width, ap.height, ap.flags, ap.maxLength, ap.quadding};
    double factor = ap.font != nullptr ? ap.font->LineFactor() : 0.0;
    if (factor < kSmallestLineFactor)
        factor = kDefaultLineFactor;
    float size = ap.fontSize;
    PDLayout layout;
    if (size > 0) {
        layout = PDLayOutText(chars, size, box);
    } else {
        float start = m_limits.largest;
        // One line starts from the size that fills the box's height.
        if (!multiline || comb)
            start = std::min(start, static_cast<float>((ap.height - 4.0) / factor));
        start = std::max(start, m_limits.smallest);
        layout = PDAutoSizeText(chars, box, start, m_limits.smallest, size);
    }
    double baseline = ap.height - factor * size - 1.5;
    if (baseline < 1.0 || !multiline) {
        Extent e = ExtentOf(ap.fontName);
        baseline = ap.height * 0.5 - e.height * static_cast<double>(size) * 0.001 * 0.5 +
                   e.depth * static_cast<double>(size) * 0.001;
    }
    std::string content = ap.kept + "/Tx BMC q 0 0 " + PDNumber(ap.width) + " " +
                          PDNumber(ap.height) + " re W n 0 g BT " + ap.daBefore + PDNumber(size) +
                          ap.daAfter;
    if (!ap.fallbacks.empty())
        content += " " + ap.fallbacks.front().first + " " + PDNumber(size) + " Tf";
    content += comb ? " 1 " + PDNumber(baseline + 0.2) : " 2 " + PDNumber(baseline);
    content += " Td\n";
    if (layout.lines > 1)
        content += PDNumber(layout.lineHeight) + " TL\n";
    content += layout.body + " ET Q EMC";
    int32_t stream = WriteAppearance(ap, content, ap.existing);
    if (stream == 0)
        return false;
    SetNormalAppearance(*widget.dict, stream);
    return true;
}

// Box, flags, font and what stays of the old appearance, for a widget about to get a new one.
bool PDFieldFiller::PrepareAppearance(PDValue& field, Widget& widget, Appearance& ap) {
    PDValue* w = widget.dict;
    PDValue* rect = Resolved(w->Get("/Rect"));
    if (rect == nullptr || rect->Kind() != kPDArray || rect->ElementCount() < 4)
        return false;
    double c[4];
    for (int i = 0; i < 4; ++i)
        c[i] = Resolved(rect->Element(i)) != nullptr ? Resolved(rect->Element(i))->GetReal() : 0.0;
    // Boxes beyond the largest page a file may have are no boxes.
    for (double v : c) {
        if (!(std::fabs(v) <= kLargestCoordinate))
            return false;
    }
    ap.width = static_cast<float>(std::fabs(c[2] - c[0]));
    ap.height = static_cast<float>(std::fabs(c[3] - c[1]));
    PDValue* mk = Inherited(w, "/MK");
    PDValue* r = mk != nullptr && mk->Kind() == kPDDictionary ? Resolved(mk->Get("/R")) : nullptr;
    ap.rotation = r != nullptr ? ((r->GetInt() % 360) + 360) % 360 : 0;
    if (ap.rotation % 90 != 0)
        ap.rotation = 0;
    if (ap.rotation == 90 || ap.rotation == 270)
        std::swap(ap.width, ap.height);
    ap.flags = static_cast<uint32_t>(InheritedInt(&field, "/Ff", 0));
    ap.maxLength = std::max(0, InheritedInt(&field, "/MaxLen", 0));
    ap.quadding = InheritedInt(w, "/Q", InheritedInt(&field, "/Q", 0));
    ap.quaddingGiven = Inherited(w, "/Q") != nullptr || Inherited(&field, "/Q") != nullptr;
    PDValue* apDict = Resolved(w->Get("/AP"));
    PDValue* normal = apDict != nullptr && apDict->Kind() == kPDDictionary
                          ? Resolved(apDict->Get("/N"))
                          : nullptr;
    std::string old;
    if (normal != nullptr && normal->Kind() == kPDDictionary && normal->HasStream()) {
        ap.existing = normal;
        PDStr content;
        if (DecodeStream(*normal, content, &m_form) == 1)
            old = content.ToString();
    }
    ChooseFont(field, widget, ap);
    size_t marked = old.find("/Tx BMC");
    if (marked != std::string::npos) {
        ap.kept = old.substr(0, marked);
    } else if (ap.existing != nullptr && old.find("BT") == std::string::npos) {
        ap.kept = old.empty() ? std::string() : old + " ";
    } else {
        // No appearance, or one that draws text of its own outside a marked part: that text
        // would show through the new value, so the box is drawn anew from its /MK colours.
        std::string bg = mk != nullptr ? ColourOf(Resolved(mk->Get("/BG")), false) : "";
        std::string bc = mk != nullptr ? ColourOf(Resolved(mk->Get("/BC")), true) : "";
        if (!bg.empty())
            ap.kept +=
                "q " + bg + " 0 0 " + PDNumber(ap.width) + " " + PDNumber(ap.height) + " re f Q ";
        if (!bc.empty())
            ap.kept += "q " + bc + " 1 w 0.5 0.5 " + PDNumber(ap.width - 1) + " " +
                       PDNumber(ap.height - 1) + " re S Q ";
    }
    return true;
}

// The default appearance names the font and size: "/Helv 0 Tf 0 g". Its font is measured with the
// standard font when it is a form font, else loaded from the resources; Helvetica otherwise.
void PDFieldFiller::ChooseFont(PDValue& field, Widget& widget, Appearance& ap) {
    PDValue* da = Inherited(widget.dict, "/DA");
    if (da == nullptr || da->Kind() != kPDString)
        da = Inherited(&field, "/DA");
    if (da == nullptr || da->Kind() != kPDString) {
        PDValue* catalog = m_form.Catalog();
        PDValue* form = catalog != nullptr ? m_form.ResolveKey(catalog, "/AcroForm") : nullptr;
        da = form != nullptr ? m_form.ResolveKey(form, "/DA") : nullptr;
    }
    std::string text = Text(da != nullptr && da->Kind() == kPDString ? da : nullptr);
    // Tokens by position, to find the last "name size Tf".
    std::vector<std::pair<size_t, size_t>> tokens;
    for (size_t at = 0; at < text.size() && tokens.size() < 4096;) {
        size_t start = text.find_first_not_of(" \t\r\n\f", at);
        if (start == std::string::npos)
            break;
        size_t end = text.find_first_of(" \t\r\n\f", start);
        end = end == std::string::npos ? text.size() : end;
        tokens.emplace_back(start, end);
        at = end;
    }
    size_t tf = tokens.size();
    for (size_t k = tokens.size(); k-- > 2;) {
        if (text.compare(tokens[k].first, tokens[k].second - tokens[k].first, "Tf") == 0 &&
            text[tokens[k - 2].first] == '/') {
            tf = k;
            break;
        }
    }
    if (tf == tokens.size()) {
        ap.daBefore = "/Helv ";
        ap.daAfter = " Tf " + text;
    } else {
        const auto& name = tokens[tf - 2];
        const auto& size = tokens[tf - 1];
        ap.fontName = text.substr(name.first, name.second - name.first);
        ap.fontSize = static_cast<float>(
            PDParseReal(text.substr(size.first, size.second - size.first).c_str()));
        if (!(ap.fontSize >= 0) || ap.fontSize > 10000)
            ap.fontSize = 0;
        else if (ap.fontSize > 0 && ap.fontSize < kSmallestSize)
            ap.fontSize = kSmallestSize;
        ap.daBefore = text.substr(0, size.first);
        ap.daAfter = text.substr(size.second);
    }
    ap.fontRef = nullptr;
    PDValue* resource = FontResource(widget.dict, ap.existing, ap.fontName);
    int index = formfont::IndexOf(ap.fontName);
    bool formFont = index >= 0 && index < formfont::Ctm1;
    if (formFont)
        ap.font = PDFontFactory::StdFont(formfont::BaseName(index));
    if (resource != nullptr) {
        ap.fontRef = resource->Copy();
        if (ap.font == nullptr && resource->Kind() == kPDReference)
            ap.font = m_fonts.LoadFont(m_form, resource->Number());
    } else {
        const char* base = formFont ? formfont::BaseName(index) : "Helvetica";
        ap.fontRef = PDValue::MakeReference(FontObject(ap.fontName, base));
    }
    if (ap.font == nullptr)
        ap.font = PDFontFactory::StdFont("Helvetica");
}

PDValue* PDFieldFiller::FormResources() {
    PDValue* catalog = m_form.Catalog();
    PDValue* form = catalog != nullptr ? m_form.ResolveKey(catalog, "/AcroForm") : nullptr;
    return form != nullptr ? m_form.ResolveKey(form, "/DR") : nullptr;
}

// The font the resource name stands for: in the old appearance's resources, the widget's own /DR,
// else the form's.
PDValue* PDFieldFiller::FontResource(PDValue* widget, PDValue* appearance,
                                     const std::string& resourceName) {
    PDValue* own = appearance != nullptr ? Resolved(appearance->Get("/Resources")) : nullptr;
    for (PDValue* dr : {own, Resolved(widget->Get("/DR")), FormResources()}) {
        PDValue* fonts =
            dr != nullptr && dr->Kind() == kPDDictionary ? m_form.ResolveKey(dr, "/Font") : nullptr;
        PDValue* font = fonts != nullptr && fonts->Kind() == kPDDictionary
                            ? fonts->Get(resourceName.c_str())
                            : nullptr;
        if (font != nullptr)
            return font;
    }
    return nullptr;
}

// A standard font dictionary made for resource names the file does not define, once per name.
int32_t PDFieldFiller::FontObject(const std::string& resourceName, const char* baseFont) {
    auto it = m_standardFonts.find(resourceName);
    if (it != m_standardFonts.end())
        return it->second;
    int32_t n = m_form.NewObj(formfont::StandardFontDictionary(baseFont))->Number();
    m_standardFonts[resourceName] = n;
    return n;
}

// A value with characters the field's font cannot show is drawn whole in a font that shows them,
// shaped; right-to-left text goes to the right unless the field says otherwise. False when the
// field's font shows the value or no font shows any of it.
bool PDFieldFiller::DrawFallback(Appearance& ap, const std::u32string& value,
                                 const std::string& name, bool oneLine,
                                 std::vector<PDLayoutChar>& chars) {
    PDStr code;
    bool shows = ap.font != nullptr;
    for (size_t i = 0; shows && i < value.size(); ++i) {
        char32_t c = value[i];
        shows = c == '\r' || c == '\n' || c == '\t' || ap.font->AppendCode(c, code);
    }
    PDFallbackFonts::Drawn drawn;
    if (shows ||
        !m_fallback.Draw(value,
                         PDStyleOfFont(ap.fontName, ap.font != nullptr ? ap.font->Name() : nullptr),
                         oneLine, drawn))
        return false;
    ap.fallbacks = drawn.fonts;
    if (drawn.rightToLeft && !ap.quaddingGiven)
        ap.quadding = 2;
    chars = std::move(drawn.chars);
    if (!drawn.missing.empty())
        m_warnings.push_back("Field '" + name + "': no font on this system shows " +
                             NamedCharacters(drawn.missing) +
                             "; drawn as '?' (--font FILE adds a font that does)");
    return true;
}

// The value in the codes of the font; what the font cannot show becomes '?', named in one warning
// for the field.
std::vector<PDLayoutChar> PDFieldFiller::Characters(const Appearance& ap,
                                                    const std::u32string& value,
                                                    const std::string& name, bool oneLine) {
    std::vector<PDLayoutChar> chars;
    chars.reserve(value.size());
    std::u32string missing;
    for (char32_t c : value) {
        PDLayoutChar ch;
        if ((c == '\r' || c == '\n') && !oneLine) {
            ch.lineEnd = true;
            ch.code = static_cast<char>(c);
            chars.push_back(ch);
            continue;
        }
        // Tabs, and the line ends of a one-line field, show as blanks.
        char32_t shown = c == '\t' || c == '\r' || c == '\n' ? U' ' : c;
        PDStr code;
        if (ap.font == nullptr || !ap.font->AppendCode(shown, code)) {
            if (missing.find(c) == std::u32string::npos)
                missing.push_back(c);
            code.Clear();
            if (ap.font == nullptr || !ap.font->AppendCode(U'?', code))
                code = PDStr("?");
        }
        ch.code = code.ToString();
        ch.blank = shown == U' ';
        ch.width = ap.font != nullptr ? ap.font->TextWidth(code.Bytes(), code.Length()) : 500.0;
        chars.push_back(std::move(ch));
    }
    if (!missing.empty())
        m_warnings.push_back("Field '" + name + "': its font cannot show " +
                             NamedCharacters(missing) + "; drawn as '?'");
    return chars;
}

// A new appearance stream: keepDict's entries (an old appearance's) or a form XObject of the box,
// with the font among its resources.
int32_t PDFieldFiller::WriteAppearance(Appearance& ap, const std::string& content,
                                       PDValue* keepDict) {
    std::unique_ptr<PDValue> dict;
    if (keepDict != nullptr) {
        dict = PDValue::MakeDictionary();
        PDValue* entry = nullptr;
        const char* key = nullptr;
        for (int i = 0; keepDict->Dict()->Entry(i, &entry, &key); ++i) {
            std::string_view k = key;
            if (entry == nullptr || k == "/Length" || k == "/Filter" || k == "/DecodeParms" ||
                k == "/DL")
                continue;
            dict->Dict()->Set(key, entry->Copy());
        }
    } else {
        dict = PDValue::MakeDictionary();
        dict->Dict()->Set("/Type", Name("/XObject"));
        dict->Dict()->Set("/Subtype", Name("/Form"));
        dict->Dict()->Set("/BBox", NumberArray({0, 0, ap.width, ap.height}));
        // The turned box starts at the origin again, so that a viewer and a page that draws
        // the form at the widget's corner put it in the same place.
        if (ap.rotation == 90)
            dict->Dict()->Set("/Matrix", NumberArray({0, 1, -1, 0, ap.height, 0}));
        else if (ap.rotation == 180)
            dict->Dict()->Set("/Matrix", NumberArray({-1, 0, 0, -1, ap.width, ap.height}));
        else if (ap.rotation == 270)
            dict->Dict()->Set("/Matrix", NumberArray({0, -1, 1, 0, 0, ap.width}));
    }
    if (ap.fontRef != nullptr) {
        // The resources become the stream's own, so that adding the font changes nothing shared.
        PDValue* resources = Resolved(dict->Get("/Resources"));
        std::unique_ptr<PDValue> own = resources != nullptr && resources->Kind() == kPDDictionary
                                           ? resources->Copy()
                                           : PDValue::MakeDictionary();
        PDValue* fonts = Resolved(own->Get("/Font"));
        std::unique_ptr<PDValue> ownFonts = fonts != nullptr && fonts->Kind() == kPDDictionary
                                                ? fonts->Copy()
                                                : PDValue::MakeDictionary();
        if (ownFonts->Get(ap.fontName.c_str()) == nullptr)
            ownFonts->Dict()->Set(ap.fontName.c_str(), ap.fontRef->Copy());
        for (const auto& [resource, object] : ap.fallbacks)
            ownFonts->Dict()->Set(resource.c_str(), PDValue::MakeReference(object));
        own->Dict()->Set("/Font", std::move(ownFonts));
        dict->Dict()->Set("/Resources", std::move(own));
    }
    dict->AssignStream(reinterpret_cast<const uint8_t*>(content.data()),
                       static_cast<int64_t>(content.size()), nullptr);
    return m_form.NewObj(std::move(dict))->Number();
}

// The widget shows the new stream; its other appearances would show the old value.
void PDFieldFiller::SetNormalAppearance(PDValue& widget, int32_t stream) {
    std::unique_ptr<PDValue> ap = PDValue::MakeDictionary();
    ap->Dict()->Set("/N", PDValue::MakeReference(stream));
    widget.Dict()->Set("/AP", std::move(ap));
}

// ------------------------------------------------------------------ check boxes and radios

// The on-states a widget has: the keys of its normal and down appearances other than /Off, as
// written. A widget without appearances has the one state it shows in /AS, else none.
std::vector<std::string> PDFieldFiller::OnStates(PDValue& widget) {
    std::vector<std::string> states;
    PDValue* ap = Resolved(widget.Get("/AP"));
    for (const char* which : {"/N", "/D"}) {
        PDValue* set =
            ap != nullptr && ap->Kind() == kPDDictionary ? Resolved(ap->Get(which)) : nullptr;
        if (set == nullptr || set->Kind() != kPDDictionary || set->HasStream())
            continue;
        PDValue* entry = nullptr;
        const char* key = nullptr;
        for (int i = 0; set->Dict()->Entry(i, &entry, &key); ++i) {
            if (PDPlainName(key) != "Off" &&
                std::find(states.begin(), states.end(), key) == states.end())
                states.emplace_back(key);
        }
    }
    return states;
}

void PDFieldFiller::FillButton(PDValue& field, const std::string& name, const std::string& value,
                               bool radio) {
    std::vector<Widget> widgets = WidgetsOf(field);
    std::vector<std::vector<std::string>> states;
    std::vector<std::string> all;
    PDValue* opt = Resolved(field.Get("/Opt"));
    for (Widget& w : widgets) {
        states.push_back(OnStates(*w.dict));
        if (states.back().empty()) {
            // Without appearances the widget's state comes from its /AS, its export value or
            // "Yes"; it is given appearances below.
            PDValue* as = Resolved(w.dict->Get("/AS"));
            PDValue* export_ = opt != nullptr && opt->Kind() == kPDArray
                                   ? Resolved(opt->Element(w.index))
                                   : nullptr;
            std::string state = "/Yes";
            if (as != nullptr && as->IsName() && PDPlainName(as->Text().View()) != "Off")
                state = as->Text().ToString();
            else if (export_ != nullptr && export_->Kind() == kPDString && !Text(export_).empty())
                state = PDStr(("/" + Text(export_)).c_str()).ToString();
            states.back().push_back(state);
        }
        for (const std::string& s : states.back()) {
            if (std::find(all.begin(), all.end(), s) == all.end())
                all.push_back(s);
        }
    }
    std::string plain = PDPlainName(value);
    std::string target;
    bool found = PDPlainName(plain) == "Off";
    if (found)
        target = "/Off";
    for (size_t i = 0; !found && i < all.size(); ++i) {
        if (PDPlainName(all[i]) == plain) {
            target = all[i];
            found = true;
        }
    }
    // An export value of /Opt names the state of the widget at its index.
    for (size_t i = 0; !found && opt != nullptr && opt->Kind() == kPDArray && i < widgets.size();
         ++i) {
        PDValue* e = Resolved(opt->Element(widgets[i].index));
        if (e != nullptr && PDTextToUtf8(Text(e)) == value && !states[i].empty()) {
            target = states[i].front();
            found = true;
        }
    }
    if (!found && all.size() == 1) {
        std::string word = Lower(value);
        if (word == "yes" || word == "on" || word == "true" || word == "1" || word == "x") {
            target = all.front();
            found = true;
        } else if (word == "no" || word == "false" || word == "0" || word.empty()) {
            target = "/Off";
            found = true;
        }
    }
    if (!found) {
        std::string valid;
        for (const std::string& s : all)
            valid += (valid.empty() ? "" : ", ") + PDPlainName(s);
        m_warnings.push_back("Field '" + name + "': '" + value + "' is not one of its states (" +
                             valid + ", Off); left as it was");
        return;
    }
    field.Dict()->Set("/V", Name(target));
    bool onePlaced = false;
    for (size_t i = 0; i < widgets.size(); ++i) {
        bool has = std::find(states[i].begin(), states[i].end(), target) != states[i].end();
        bool on = has && target != "/Off" && !(radio && onePlaced);
        onePlaced = onePlaced || on;
        if (OnStates(*widgets[i].dict).empty())
            GiveButtonAppearance(field, widgets[i], states[i].front());
        widgets[i].dict->Dict()->Set("/AS", Name(on ? target : "/Off"));
    }
}

// On and off appearances for a check box or radio widget that has none: the ZapfDingbats
// character of /MK /CA (a check mark when none is given) over the /MK colours.
void PDFieldFiller::GiveButtonAppearance(PDValue& field, Widget& widget,
                                         const std::string& onState) {
    Appearance ap;
    if (!PrepareAppearance(field, widget, ap))
        return;
    PDValue* mk = Inherited(widget.dict, "/MK");
    PDValue* ca = mk != nullptr && mk->Kind() == kPDDictionary ? Resolved(mk->Get("/CA")) : nullptr;
    std::string mark = ca != nullptr && ca->Kind() == kPDString && !Text(ca).empty()
                           ? Text(ca).substr(0, 1)
                           : std::string(1, kCheckMark);
    ap.fontName = "/ZaDb";
    PDValue* resource = FontResource(widget.dict, ap.existing, ap.fontName);
    ap.fontRef = resource != nullptr ? resource->Copy()
                                     : PDValue::MakeReference(FontObject("/ZaDb", "ZapfDingbats"));
    ap.font = PDFontFactory::StdFont("ZapfDingbats");
    float size =
        ap.fontSize > 0 ? ap.fontSize : static_cast<float>(std::min(ap.width, ap.height) * 0.8);
    double w = ap.font != nullptr ? ap.font->Width(static_cast<uint8_t>(mark[0])) *
                                        static_cast<double>(size) * 0.001
                                  : size * 0.8;
    double x = (ap.width - w) * 0.5;
    double y = (ap.height - size * 0.7) * 0.5;
    PDStr shown;
    PDEncodeString(reinterpret_cast<const uint8_t*>(mark.data()), 1, shown, kPDLiteral);
    std::string on = ap.kept + "q 0 g BT /ZaDb " + PDNumber(size) + " Tf " + PDNumber(x) + " " +
                     PDNumber(y) + " Td " + shown.ToString() + " Tj ET Q";
    int32_t onStream = WriteAppearance(ap, on, nullptr);
    ap.fontRef = nullptr;
    int32_t offStream = WriteAppearance(ap, ap.kept, nullptr);
    std::unique_ptr<PDValue> normal = PDValue::MakeDictionary();
    normal->Dict()->Set(onState.c_str(), PDValue::MakeReference(onStream));
    normal->Dict()->Set("/Off", PDValue::MakeReference(offStream));
    std::unique_ptr<PDValue> apDict = PDValue::MakeDictionary();
    apDict->Dict()->Set("/N", std::move(normal));
    widget.dict->Dict()->Set("/AP", std::move(apDict));
}

// ------------------------------------------------------------------ choice fields

void PDFieldFiller::FillChoice(PDValue& field, const std::string& name, const std::u32string& value,
                               const std::string& bytes) {
    auto flags = static_cast<uint32_t>(InheritedInt(&field, "/Ff", 0));
    PDValue* opt = Inherited(&field, "/Opt");
    std::vector<std::u32string> shown;
    int selected = -1;
    int index = 0;
    for (PDValue* o = opt != nullptr && opt->Kind() == kPDArray ? opt->First() : nullptr;
         o != nullptr; o = o->Next(), ++index) {
        PDValue* e = Resolved(o);
        std::string exportValue = Text(e);
        std::string display = exportValue;
        if (e != nullptr && e->Kind() == kPDArray) {
            exportValue = Text(Resolved(e->Element(0)));
            display = Text(Resolved(e->Element(1)));
        }
        std::u32string displayed = PDValueCharacters(PDTextToUtf8(display));
        std::u32string exported = PDValueCharacters(PDTextToUtf8(exportValue));
        if (selected < 0 && (exported == value || displayed == value))
            selected = index;
        shown.push_back(displayed);
    }
    if (selected < 0 && ((flags & kCombo) == 0 || (flags & kEditable) == 0))
        m_warnings.push_back("Field '" + name + "': '" + bytes + "' is not one of its options");
    field.Dict()->Set("/V", std::make_unique<PDValue>(PDWrittenTextString(value)));
    if ((flags & kCombo) != 0) {
        field.Dict()->Remove("/I");
        for (Widget& widget : WidgetsOf(field))
            BuildTextAppearance(field, widget, name, value);
        return;
    }
    if (selected >= 0) {
        std::unique_ptr<PDValue> indices = PDValue::MakeArray();
        indices->Append(PDValue::MakeInteger(selected));
        field.Dict()->Set("/I", std::move(indices));
    } else {
        field.Dict()->Remove("/I");
    }
    for (Widget& widget : WidgetsOf(field))
        BuildListAppearance(field, widget, name, shown, selected);
}

// A list box draws its options one a line from the top, the selected one on a highlight, scrolled
// so that the selection shows.
bool PDFieldFiller::BuildListAppearance(PDValue& field, Widget& widget, const std::string& name,
                                        const std::vector<std::u32string>& options, int selected) {
    Appearance ap;
    if (!PrepareAppearance(field, widget, ap))
        return false;
    float size = ap.fontSize > 0 ? ap.fontSize : m_limits.largest;
    double lineHeight = size * 1.15;
    double rows =
        std::clamp((ap.height - 2) / lineHeight, 1.0, static_cast<double>(options.size() + 1));
    int visible = static_cast<int>(rows);
    int first = selected >= visible ? selected - visible + 1 : 0;
    std::string body;
    std::string highlight;
    for (int i = first; i < static_cast<int>(options.size()) && i < first + visible; ++i) {
        double top = ap.height - 1 - (i - first) * lineHeight;
        if (i == selected)
            highlight = "0.6 0.75 0.85 rg 1 " + PDNumber(top - lineHeight) + " " +
                        PDNumber(ap.width - 2) + " " + PDNumber(lineHeight) + " re f ";
        std::string codes;
        for (const PDLayoutChar& c : Characters(ap, options[static_cast<size_t>(i)], name, true))
            codes += c.lineEnd ? " " : c.code;
        PDStr written;
        PDEncodeString(reinterpret_cast<const uint8_t*>(codes.data()),
                       static_cast<int>(codes.size()), written, kPDLiteral);
        double baseline = top - lineHeight + (lineHeight - size) * 0.5 + size * 0.22;
        body += "1 0 0 1 2 " + PDNumber(baseline) + " Tm " + written.ToString() + " Tj\n";
    }
    std::string content = ap.kept + "/Tx BMC q 0 0 " + PDNumber(ap.width) + " " +
                          PDNumber(ap.height) + " re W n " + highlight + "0 g BT " + ap.daBefore +
                          PDNumber(size) + ap.daAfter + "\n" + body + "ET Q EMC";
    int32_t stream = WriteAppearance(ap, content, ap.existing);
    if (stream == 0)
        return false;
    SetNormalAppearance(*widget.dict, stream);
    return true;
}
