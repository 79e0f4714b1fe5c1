#include "forms/form_describe.h"

#include "forms/form_template.h"
#include "pdf/pdstring.h"
#include "pdf/pdtextstring.h"
#include "streams/pdlimits.h"
#include "streams/pdnumtext.h"

#include <algorithm>
#include <string_view>

namespace {

constexpr uint32_t kReadOnly = 1u << 0;
constexpr uint32_t kRadio = 1u << 15;
constexpr uint32_t kPushButton = 1u << 16;
constexpr uint32_t kCombo = 1u << 17;

struct FlagName {
    uint32_t bit;
    const char* name;
    const char* kinds; // field types the bit means this for ("" for every type)
};

// The bits of /Ff that mean something, by field type: the same bit has different names.
constexpr FlagName kFlagNames[] = {
    {1u << 0, "read-only", ""},
    {1u << 1, "required", ""},
    {1u << 2, "no-export", ""},
    {1u << 12, "multiline", "Tx"},
    {1u << 13, "password", "Tx"},
    {1u << 14, "no-toggle-to-off", "Btn"},
    {1u << 15, "radio", "Btn"},
    {1u << 16, "push-button", "Btn"},
    {1u << 17, "combo", "Ch"},
    {1u << 18, "edit", "Ch"},
    {1u << 19, "sort", "Ch"},
    {1u << 20, "file-select", "Tx"},
    {1u << 21, "multi-select", "Ch"},
    {1u << 22, "do-not-spell-check", "TxCh"},
    {1u << 23, "do-not-scroll", "Tx"},
    {1u << 24, "comb", "Tx"},
    {1u << 25, "rich-text", "Tx"},
    {1u << 25, "radios-in-unison", "Btn"},
    {1u << 26, "commit-on-sel-change", "Ch"},
};

bool IsControl(uint32_t cp) {
    return (cp < 0x20 && cp != '\t' && cp != '\n' && cp != '\r') || (cp >= 0x7F && cp < 0xA0);
}

bool IsUtf16Text(std::string_view b, bool bigEndian) {
    if (b.size() % 2 != 0)
        return false;
    for (size_t i = 2; i + 1 < b.size(); i += 2) {
        auto hi = static_cast<uint8_t>(b[bigEndian ? i : i + 1]);
        auto lo = static_cast<uint8_t>(b[bigEndian ? i + 1 : i]);
        uint32_t u = (uint32_t{hi} << 8) | lo;
        if (u >= 0xDC00 && u <= 0xDFFF)
            return false;
        if (u >= 0xD800 && u <= 0xDBFF) {
            i += 2;
            if (i + 1 >= b.size())
                return false;
            auto hi2 = static_cast<uint8_t>(b[bigEndian ? i : i + 1]);
            if (hi2 < 0xDC || hi2 > 0xDF)
                return false;
        } else if (IsControl(u)) {
            return false;
        }
    }
    return true;
}

bool IsUtf8Text(std::string_view b) {
    size_t i = 0;
    while (i < b.size()) {
        auto c = static_cast<uint8_t>(b[i]);
        size_t more = c < 0x80         ? 0
                      : (c >> 5) == 6  ? 1
                      : (c >> 4) == 14 ? 2
                      : (c >> 3) == 30 ? 3
                                       : 9;
        if (more == 9 || i + more >= b.size() + (more == 0 ? 1 : 0))
            return false;
        uint32_t cp = more == 0 ? c : c & (0x3Fu >> more);
        for (size_t k = 1; k <= more; ++k) {
            auto t = static_cast<uint8_t>(b[i + k]);
            if ((t & 0xC0) != 0x80)
                return false;
            cp = (cp << 6) | (t & 0x3F);
        }
        static constexpr uint32_t kLeast[] = {0, 0x80, 0x800, 0x10000};
        if (cp < kLeast[more] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF) || IsControl(cp))
            return false;
        i += more + 1;
    }
    return true;
}

} // namespace

bool PDIsTextString(const std::string& bytes) {
    std::string_view b = bytes;
    if (b.size() >= 2 && static_cast<uint8_t>(b[0]) == 0xFE && static_cast<uint8_t>(b[1]) == 0xFF)
        return IsUtf16Text(b, true);
    if (b.size() >= 2 && static_cast<uint8_t>(b[0]) == 0xFF && static_cast<uint8_t>(b[1]) == 0xFE)
        return IsUtf16Text(b, false);
    if (b.size() >= 3 && b.substr(0, 3) == "\xEF\xBB\xBF")
        return IsUtf8Text(b.substr(3));
    return std::none_of(b.begin(), b.end(), [](char c) {
        return IsControl(kPDFDocToUnicode[static_cast<uint8_t>(c)]);
    });
}

std::string PDEscapeBytes(const std::string& bytes) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string out;
    for (char ch : bytes) {
        auto c = static_cast<uint8_t>(ch);
        if (c > ' ' && c < 0x7F && c != '#') {
            out.push_back(ch);
        } else {
            out.push_back('#');
            out.push_back(kHex[c >> 4]);
            out.push_back(kHex[c & 15]);
        }
    }
    return out;
}

namespace {

// Decoded bytes of a name or string value; empty for anything else.
std::string BytesOf(const PDValue* v) {
    PDStr out;
    if (v != nullptr && (v->Kind() == kPDString || v->IsName()))
        PDDecodeString(v->Text(), out);
    return out.ToString();
}

std::string TextOf(const PDValue* v) {
    return PDTextToUtf8(BytesOf(v));
}

const char* KindOf(std::string_view type, uint32_t flags) {
    if (type == "/Btn")
        return (flags & kPushButton) ? "button" : (flags & kRadio) ? "radio" : "checkbox";
    if (type == "/Ch")
        return (flags & kCombo) ? "combo" : "list";
    if (type == "/Sig")
        return "signature";
    return "text";
}

std::vector<std::string> FlagNames(std::string_view type, uint32_t flags) {
    std::vector<std::string> names;
    std::string_view bare = type.empty() ? "" : type.substr(1);
    for (const FlagName& f : kFlagNames) {
        std::string_view kinds = f.kinds;
        if ((flags & f.bit) != 0 &&
            (kinds.empty() || (!bare.empty() && kinds.find(bare) != std::string_view::npos)))
            names.emplace_back(f.name);
    }
    return names;
}

void AddUnique(std::vector<std::string>& list, const std::string& item) {
    if (std::find(list.begin(), list.end(), item) == list.end())
        list.push_back(item);
}

// The font name and size of the first "name size Tf" in a default appearance string.
void ReadAppearance(const std::string& da, PDWidgetDescription& w) {
    size_t tf = da.find("Tf");
    for (; tf != std::string::npos; tf = da.find("Tf", tf + 2)) {
        size_t slash = da.rfind('/', tf);
        if (slash == std::string::npos)
            continue;
        size_t end = da.find_first_of(" \t\r\n", slash);
        if (end == std::string::npos || end > tf)
            continue;
        w.fontName = da.substr(slash + 1, end - slash - 1);
        w.fontSize = static_cast<float>(PDParseReal(da.c_str() + end));
        return;
    }
}

} // namespace

std::vector<PDFieldDescription> PDFormTemplate::DescribeFields() {
    std::vector<PDFieldDescription> fields;
    CollectFields();
    for (size_t i = 0; i < m_terminals.size(); ++i) {
        const Terminal& t = m_terminals[i];
        PDValue* dict = TerminalDict(t);
        if (dict == nullptr)
            continue;
        PDFieldDescription d;
        DescribeField(dict, d);
        PDValue* w = nullptr;
        int32_t objNum = 0;
        for (int n = 1; n <= UINT16_MAX && (w = WidgetDict(dict, t, n, objNum)) != nullptr; ++n)
            DescribeWidget(dict, w, objNum, d);
        // The listing leaves out fields without widgets; so does this.
        if (!d.widgets.empty())
            fields.push_back(std::move(d));
    }
    return fields;
}

void PDFormTemplate::DescribeField(PDValue* dict, PDFieldDescription& d) {
    std::string raw = FullName(dict).ToString();
    d.name = FullNameUtf8(dict).ToString();
    d.nameIsText = NameIsText(dict);
    if (!d.nameIsText)
        d.name = PDEscapeBytes(raw);
    const PDValue* type = Deref(LookupInherited(dict, "/FT"));
    std::string typeName = type != nullptr && type->IsName() ? type->Text().ToString() : "";
    const PDValue* ff = Deref(LookupInherited(dict, "/Ff"));
    d.fieldFlags = ff != nullptr ? static_cast<uint32_t>(ff->GetInt64()) : 0;
    d.kind = KindOf(typeName, d.fieldFlags);
    d.flagNames = FlagNames(typeName, d.fieldFlags);
    d.alternateName = TextOf(Deref(dict->Get("/TU")));
    const PDValue* maxLen = Deref(LookupInherited(dict, "/MaxLen"));
    d.maxLength = maxLen != nullptr && maxLen->Kind() == kPDInteger ? maxLen->GetInt() : -1;
    PDValue* v = Deref(LookupInherited(dict, "/V"));
    if (v != nullptr && v->Kind() == kPDArray) {
        d.valueIsList = true;
        for (PDValue* e = v->First(); e != nullptr; e = e->Next())
            d.value.push_back(TextOf(Deref(e)));
    } else if (v != nullptr && (v->Kind() == kPDString || v->IsName())) {
        d.value.push_back(TextOf(v));
    }
    PDValue* opt = Deref(LookupInherited(dict, "/Opt"));
    for (PDValue* e = opt != nullptr && opt->Kind() == kPDArray ? opt->First() : nullptr;
         e != nullptr; e = e->Next()) {
        PDValue* item = Deref(e);
        if (item != nullptr && item->Kind() == kPDArray) {
            d.options.push_back({TextOf(Deref(item->Element(0))), TextOf(Deref(item->Element(1)))});
        } else {
            std::string text = TextOf(item);
            d.options.push_back({text, text});
        }
    }
}

bool PDFormTemplate::NameIsText(const PDValue* field) {
    std::unordered_set<const PDValue*> seen;
    const PDValue* node = field;
    for (int depth = 0; node != nullptr && depth < pdlimits::kMaxTreeDepth; ++depth) {
        if (!seen.insert(node).second)
            break;
        if (const PDValue* t = node->Get("/T"); t != nullptr) {
            if (!PDIsTextString(BytesOf(Deref(const_cast<PDValue*>(t)))))
                return false;
        }
        const PDValue* parent = Deref(node->GetSlot(pdkey::Parent));
        node = parent != nullptr && parent->Kind() == kPDDictionary ? parent : nullptr;
    }
    return true;
}

// The keys of one appearance subdictionary other than Off, decoded.
void PDFormTemplate::AddStates(PDValue* appearances, PDWidgetDescription& w,
                               PDFieldDescription& d) {
    PDDict* states = appearances != nullptr && appearances->Kind() == kPDDictionary
                         ? appearances->Dict()
                         : nullptr;
    for (int k = 0; states != nullptr && k < states->Count(); ++k) {
        PDValue* value = nullptr;
        const char* key = nullptr;
        if (!states->Entry(k, &value, &key) || key == nullptr)
            continue;
        PDStr decoded;
        PDDecodeString(key, static_cast<int>(std::string_view(key).size()), decoded);
        std::string state = PDTextToUtf8(decoded.View());
        if (state == "Off")
            continue;
        AddUnique(w.states, state);
        AddUnique(d.onStates, state);
    }
}

void PDFormTemplate::DescribeWidget(PDValue* field, PDValue* widget, int32_t objNum,
                                    PDFieldDescription& d) {
    PDWidgetDescription w;
    w.page = PageOf(objNum, widget);
    PDValue* rect = Deref(widget->Get("/Rect"));
    int i = 0;
    for (PDValue* e = rect != nullptr && rect->Kind() == kPDArray ? rect->First() : nullptr;
         e != nullptr && i < 4; e = e->Next(), ++i)
        w.rect[i] = static_cast<float>(Deref(e) ? Deref(e)->GetReal() : 0.0);
    PDValue* mk = Deref(widget->Get("/MK"));
    PDValue* r = mk != nullptr && mk->Kind() == kPDDictionary ? Deref(mk->Get("/R")) : nullptr;
    w.rotation = r != nullptr ? r->GetInt() : 0;
    PDStr da;
    if (DefaultAppearance(widget, field, da))
        ReadAppearance(da.ToString(), w);
    PDValue* ap = Deref(widget->Get("/AP"));
    if (ap != nullptr && ap->Kind() == kPDDictionary &&
        (d.kind == "checkbox" || d.kind == "radio")) {
        for (const char* which : {"/N", "/D"})
            AddStates(Deref(ap->Get(which)), w, d);
    }
    d.widgets.push_back(std::move(w));
}
