// The font store: fonts with width tables, filed by base name, written once each at the end with
// the widths that one copy lacks taken from the others.
#include "structure/pdfontstore.h"

#include "streams/pddiag.h"
#include "structure/pdoutput.h"

#include <algorithm>
#include <array>

struct PDFontStore::Entry {
    std::string baseName; // "/Helvetica"
    std::vector<std::pair<int32_t, std::unique_ptr<PDValue>>> fonts;
};

namespace {

constexpr int kCodes = 256;
constexpr size_t kMaxRenamedLength = 100;

// The code range of a font; false when /FirstChar, /LastChar or /Widths is missing.
bool CodeRange(const PDValue& font, int& first, int& last, PDValue*& widths) {
    const PDValue* firstChar = font.Get("/FirstChar");
    const PDValue* lastChar = font.Get("/LastChar");
    widths = font.Get("/Widths");
    if (firstChar == nullptr || lastChar == nullptr || widths == nullptr ||
        widths->Kind() != kPDArray)
        return false;
    first = firstChar->GetInt();
    last = lastChar->GetInt();
    return true;
}

// Calls visit(code, element) for each width of the font with a code from 0 to 255.
template <class Visit> void ForEachWidth(const PDValue& font, Visit visit) {
    int first = 0;
    int last = 0;
    PDValue* widths = nullptr;
    if (!CodeRange(font, first, last, widths))
        return;
    int64_t code = first;
    for (PDValue* w = widths->First(); w != nullptr && code <= last && code < kCodes;
         w = w->Next(), ++code) {
        if (code >= 0)
            visit(static_cast<int>(code), *w);
    }
}

void AssignNumber(PDValue& target, const PDValue& source) {
    if (source.Kind() == kPDInteger) {
        target.SetInteger(source.Number());
        return;
    }
    target.SetKind(source.Kind());
    target.MutableText() = source.Text();
    target.SetNumber(source.Number());
}

} // namespace

PDFontStore::PDFontStore() = default;

PDFontStore::~PDFontStore() = default;

void PDFontStore::StoreFont(std::unique_ptr<PDValue> font, int32_t n) {
    const PDValue* baseFont = font != nullptr ? font->Get("/BaseFont") : nullptr;
    if (baseFont == nullptr || baseFont->Text().IsEmpty()) {
        PDReport("StoreFont - error 1\n");
        return;
    }
    std::string name = baseFont->Text().ToString();
    if (name.size() > 7 && name[7] == '+') {
        name.erase(0, 7);
        name[0] = '/';
    }
    auto [it, added] = m_byName.try_emplace(name, m_fonts.size());
    if (added) {
        m_fonts.push_back(std::make_unique<Entry>());
        m_fonts.back()->baseName = name;
    }
    Entry& entry = *m_fonts[it->second];
    for (const auto& stored : entry.fonts) {
        if (stored.first == n) {
            PDReport("StoreFont\n");
            return;
        }
    }
    entry.fonts.emplace_back(n, std::move(font));
}

int PDFontStore::FontCount(const char* baseName) const {
    auto it = m_byName.find(baseName != nullptr ? baseName : "");
    return it != m_byName.end() ? static_cast<int>(m_fonts[it->second]->fonts.size()) : 0;
}

void PDFontStore::RegisterResource(const char* name, int32_t n) {
    if (name == nullptr)
        return;
    for (const auto& resource : m_resources) {
        if (resource.first == name)
            return;
    }
    m_resources.emplace_back(name, n);
}

// Deliberate: each step takes the remainder modulo 16 but divides by 10, so the tag is neither
// decimal nor hexadecimal. Names already written this way must stay the same.
std::string PDFontStore::SubsetTag(int32_t m) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string tag;
    int steps = 0;
    do {
        tag.insert(tag.begin(), kDigits[m % 16]);
        m /= 10;
    } while (++steps < 4 && m != 0);
    return tag;
}

bool PDFontStore::Write(PDOutputDoc& output) {
    bool ok = true;
    for (auto& entry : m_fonts)
        ok = WriteEntry(output, *entry) && ok;
    return ok;
}

bool PDFontStore::WriteEntry(PDOutputDoc& output, Entry& entry) {
    std::array<const PDValue*, kCodes> table{};
    int64_t largest = -1;
    for (const auto& [number, font] : entry.fonts) {
        ForEachWidth(*font, [&table](int code, const PDValue& w) {
            if (w.GetReal() != 0)
                table[static_cast<size_t>(code)] = &w;
        });
        int first = 0;
        int last = 0;
        PDValue* widths = nullptr;
        if (CodeRange(*font, first, last, widths))
            largest = std::max(largest, int64_t{last} - first);
    }
    bool ok = true;
    for (const auto& [number, font] : entry.fonts) {
        ForEachWidth(*font, [&table](int code, PDValue& w) {
            const PDValue* known = table[static_cast<size_t>(code)];
            if (w.GetReal() == 0 && known != nullptr)
                AssignNumber(w, *known);
        });
        int first = 0;
        int last = 0;
        PDValue* widths = nullptr;
        if (!m_renaming && CodeRange(*font, first, last, widths) &&
            int64_t{last} - first != largest) {
            int32_t m = number < PDFile::kOutputBias ? output.MapId(number, 0) : number;
            std::string base = entry.baseName.substr(1, kMaxRenamedLength);
            std::string renamed = "/A" + SubsetTag(m % PDFile::kOutputBias) + "+" +
                                  (base.empty() ? std::string(" ") : base);
            font->Dict()->Set("/BaseFont", std::make_unique<PDValue>(renamed.c_str()));
        }
        if (!output.WriteObjectHeader(number, 0)) {
            PDReport("Write stored font - error\n");
            ok = false;
            continue;
        }
        ok = output.WriteValue(font.get(), 0) && ok;
        ok = output.WriteEndObj() && ok;
    }
    return ok;
}
