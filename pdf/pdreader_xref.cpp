// Classic cross-reference sections, the /Prev chain, the index and its repair by scanning.
#include "pdf/pdreader.h"

#include "streams/pddiag.h"
#include "streams/pdlimits.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace {

constexpr int kMaxLine = 4096;
// A repair that has to guess the catalog gives up after loading this many objects.
constexpr int kMaxRepairLoads = 20000;

bool IsWhite(int c) {
    return c == 0 || c == '\t' || c == '\n' || c == '\f' || c == '\r' || c == ' ';
}

bool IsDelimiter(int c) {
    return c == '(' || c == ')' || c == '<' || c == '>' || c == '[' || c == ']' || c == '{' ||
           c == '}' || c == '/' || c == '%';
}

bool IsDigit(int c) {
    return c >= '0' && c <= '9';
}

// Lines of a classic section, split at CR, LF or CR LF, each cut at kMaxLine bytes.
class LineReader {
public:
    using Source = int64_t (*)(void* ctx, int64_t pos, uint8_t* buffer, int64_t n);
    LineReader(Source source, void* ctx, int64_t pos) : m_source(source), m_ctx(ctx), m_pos(pos) {}

    // False at the end of the input.
    bool Next(std::string& line) {
        line.clear();
        m_lineStart = m_pos;
        int c = Get();
        if (c < 0)
            return false;
        while (c >= 0 && c != '\n' && c != '\r') {
            if (line.size() < kMaxLine)
                line.push_back(static_cast<char>(c));
            c = Get();
        }
        if (c == '\r' && Peek() == '\n')
            Get();
        return true;
    }
    // File position of the first byte of the last line.
    int64_t LineStart() const { return m_lineStart; }

private:
    int Peek() {
        if (m_at >= m_fill) {
            m_base = m_pos;
            m_fill = static_cast<int>(m_source(m_ctx, m_base, m_buffer, sizeof m_buffer));
            m_at = 0;
            if (m_fill <= 0)
                return -1;
        }
        return m_buffer[m_at];
    }
    int Get() {
        int c = Peek();
        if (c >= 0) {
            ++m_at;
            ++m_pos;
        }
        return c;
    }

    Source m_source;
    void* m_ctx;
    int64_t m_pos;
    int64_t m_lineStart = 0;
    int64_t m_base = 0;
    int m_at = 0;
    int m_fill = 0;
    uint8_t m_buffer[kMaxLine];
};

// Reads a decimal number at line[i], as the entry lines want it; -1 when there are no digits.
int64_t LineNumber(const std::string& line, size_t& i) {
    if (i >= line.size() || !IsDigit(static_cast<uint8_t>(line[i])))
        return -1;
    int64_t value = 0;
    while (i < line.size() && IsDigit(static_cast<uint8_t>(line[i]))) {
        if (value < INT64_MAX / 16)
            value = value * 10 + (line[i] - '0');
        ++i;
    }
    return value;
}

void SkipBelowZero(const std::string& line, size_t& i) {
    while (i < line.size() && static_cast<uint8_t>(line[i]) < '0')
        ++i;
}

size_t SkipWhite(const std::string& line) {
    size_t i = 0;
    while (i < line.size() && IsWhite(static_cast<uint8_t>(line[i])))
        ++i;
    return i;
}

int64_t IntegerOf(const PDValue* v) {
    if (v == nullptr || (v->Kind() != kPDInteger && v->Kind() != kPDText))
        return 0;
    return v->GetInt64();
}

} // namespace

// Reads the section at offset and, for classic tables, every older one through /Prev. An older
// cross-reference stream is left pending until an object is missing.
bool PDReader::ReadXrefChain(int64_t offset) {
    int64_t next = offset;
    bool first = true;
    while (next > 0) {
        int64_t prev = 0;
        bool isStream = false;
        if (!ReadSection(next, prev, isStream))
            return !first;
        first = false;
        if (isStream) {
            m_pendingPrev = prev;
            return true;
        }
        next = prev;
    }
    return true;
}

bool PDReader::ReadPendingSection() {
    int64_t offset = m_pendingPrev;
    m_pendingPrev = 0;
    if (offset <= 0)
        return false;
    int64_t saved = m_inPos;
    bool ok = ReadXrefChain(offset);
    m_inPos = saved;
    return ok;
}

// One section: a classic table when "xref" is found near the offset, else a stream object.
bool PDReader::ReadSection(int64_t offset, int64_t& prev, bool& isStream) {
    prev = 0;
    isStream = false;
    if (offset <= 0 || offset >= m_inSize || m_sectionsRead >= pdlimits::kMaxXrefSections)
        return false;
    if (!m_sectionsSeen.insert(offset).second) {
        // A chain that comes back to a section it read may hide older sections: objects the index
        // lacks are then looked for among the object headers of the file.
        PDReport("loop in the cross-reference chain at %lld\n", static_cast<long long>(offset));
        m_chainLooped = true;
        return false;
    }
    ++m_sectionsRead;
    uint8_t bytes[16] = {};
    int64_t got = ReadAt(offset - 1, bytes, 10);
    const void* x = std::memchr(bytes, 'x', static_cast<size_t>(got));
    if (x != nullptr) {
        int64_t at = offset - 1 + (static_cast<const uint8_t*>(x) - bytes);
        uint8_t word[4] = {};
        if (ReadAt(at, word, 4) == 4 && std::memcmp(word, "xref", 4) == 0)
            return ReadClassicSection(at + 4, prev);
    }
    if (std::strncmp(m_version, "1.5", 3) < 0) {
        PDReport("expect 'xref'\n");
        PDReport("found %s\n",
                 PDStr(reinterpret_cast<const char*>(bytes), static_cast<int>(got)).Text());
        // Deliberate: older headers still get a chance as a stream; writers that add
        // cross-reference streams do not always raise the version.
    }
    isStream = true;
    return ReadXrefStreamAt(offset, prev);
}

bool PDReader::ReadClassicSection(int64_t start, int64_t& prev) {
    struct Access {
        static int64_t Read(void* ctx, int64_t pos, uint8_t* buffer, int64_t n) {
            return static_cast<PDReader*>(ctx)->ReadAt(pos, buffer, n);
        }
    };
    LineReader lines(&Access::Read, this, start);
    std::string line;
    int64_t first = 0;
    int64_t remaining = 0; // entries left in the current subsection
    while (lines.Next(line)) {
        size_t i = SkipWhite(line);
        if (i >= line.size() || line[i] == '%')
            continue;
        if (line.compare(i, 7, "trailer") == 0) {
            int64_t xrefStm = 0;
            int64_t dictPos = lines.LineStart() + static_cast<int64_t>(i) + 7;
            if (!ReadTrailerDict(dictPos, prev, xrefStm))
                return false;
            // Each section is read once, by offset, however many trailers name it.
            if (xrefStm > 0 && m_sectionsRead < pdlimits::kMaxXrefSections &&
                m_sectionsSeen.insert(xrefStm).second) {
                ++m_sectionsRead;
                int64_t ignored = 0;
                int64_t saved = m_inPos;
                ReadXrefStreamAt(xrefStm, ignored);
                m_inPos = saved;
            }
            return true;
        }
        if (remaining <= 0) {
            first = LineNumber(line, i);
            SkipBelowZero(line, i);
            remaining = LineNumber(line, i);
            if (first < 0 || remaining < 0) {
                m_error = pderr::kTrailer;
                return false;
            }
            continue;
        }
        --remaining;
        int64_t n = first++;
        SkipBelowZero(line, i);
        int64_t offset = LineNumber(line, i);
        SkipBelowZero(line, i);
        LineNumber(line, i);
        while (i < line.size() && (line[i] == ' ' || line[i] == '\t'))
            ++i;
        char type = i < line.size() ? line[i] : 0;
        if (type == 'n') {
            SetFileEntry(n, FileOffset(offset));
        } else if (type != 'f') {
            m_error = pderr::kTrailer;
            return false;
        }
    }
    return false; // no "trailer"
}

// Parses the trailer dictionary at pos and merges it; its /Prev and /XRefStm are returned.
bool PDReader::ReadTrailerDict(int64_t pos, int64_t& prev, int64_t& xrefStm) {
    int64_t saved = m_inPos;
    m_inPos = pos;
    auto dict = std::make_unique<PDValue>();
    {
        PDParser parser(*this);
        parser.GetToken();
        parser.ParseValue(*dict);
    }
    m_inPos = saved;
    if (dict->Kind() != kPDDictionary) {
        PDReport("could not scan trailer information (%s)\n", m_inName.Text());
        m_error = pderr::kTrailer;
        return false;
    }
    const PDValue* prevValue = dict->GetSlot(pdkey::Prev);
    int64_t p = IntegerOf(prevValue);
    int64_t s = IntegerOf(dict->Get("/XRefStm"));
    prev = FileOffset(p);
    // A /Prev that names no place in the file leaves the older sections unknown: the objects they
    // held are found by scanning, as for any other broken cross-reference data.
    if (prevValue != nullptr && prev == 0)
        m_xrefDamaged = true;
    xrefStm = FileOffset(s);
    MergeTrailer(*dict);
    return true;
}

// Adds the section's trailer keys that no newer section gave.
void PDReader::MergeTrailer(const PDValue& section) {
    static const char* const kSkipped[] = {"/Length", "/Filter", "/DecodeParms", "/W", "/Index",
                                           "/Type",   "/Prev",   "/XRefStm",     "/N", "/First"};
    if (section.Kind() != kPDDictionary || section.Dict() == nullptr)
        return;
    if (m_trailer == nullptr)
        m_trailer = PDValue::MakeDictionary();
    PDValue* value = nullptr;
    const char* key = nullptr;
    for (int i = 0; section.Dict()->Entry(i, &value, &key); ++i) {
        if (value == nullptr || key == nullptr || m_trailer->Get(key) != nullptr)
            continue;
        bool skipped = false;
        for (const char* s : kSkipped)
            skipped = skipped || std::strcmp(key, s) == 0;
        if (!skipped)
            m_trailer->Dict()->Set(key, value->Copy());
    }
}

int64_t PDReader::HighestObjectNumber() const noexcept {
    return std::min<int64_t>(pdlimits::kMaxObjectNumber,
                             std::max(pdlimits::kObjectNumbersFloor, m_inSize));
}

PDXrefEntry* PDReader::GrowIndex(int64_t n) {
    if (n <= 0 || n > HighestObjectNumber()) {
        if (n > 0 && !m_numberLimitReported)
            PDReport("object number %lld is beyond what the file can hold: ignored\n",
                     static_cast<long long>(n));
        m_numberLimitReported = n > 0 || m_numberLimitReported;
        return nullptr;
    }
    if (static_cast<size_t>(n) >= m_index.size())
        m_index.resize(static_cast<size_t>(n) + 1);
    return &m_index[static_cast<size_t>(n)];
}

// In-use entries only fill empty slots: sections are read newest first, so the newest wins.
void PDReader::SetFileEntry(int64_t n, int64_t offset) {
    PDXrefEntry* e = GrowIndex(n);
    if (e != nullptr && e->IsEmpty() && offset > 0 && offset < m_inSize)
        e->offset = offset;
}

void PDReader::SetStreamEntry(int64_t n, int64_t stream, int64_t index) {
    if (stream <= 0 || stream > pdlimits::kMaxObjectNumber || index < 0 || index > INT32_MAX)
        return;
    PDXrefEntry* e = GrowIndex(n);
    if (e != nullptr && e->IsEmpty()) {
        e->stream = static_cast<int32_t>(stream);
        e->index = static_cast<int32_t>(index);
    }
}

const PDXrefEntry* PDReader::XrefEntry(int32_t n) {
    if (n <= 0 || n > pdlimits::kMaxObjectNumber)
        return nullptr;
    for (int guard = 0; guard <= pdlimits::kMaxXrefSections; ++guard) {
        if (static_cast<size_t>(n) < m_index.size() && !m_index[static_cast<size_t>(n)].IsEmpty())
            return &m_index[static_cast<size_t>(n)];
        if (m_pendingPrev <= 0 || !ReadPendingSection())
            break;
    }
    return nullptr;
}

// ---- Repair ----

// Records every "N G obj" header of the file (the last definition of a number wins) and the
// position behind the last "trailer" keyword.
void PDReader::ScanObjectHeaders() {
    m_scanDone = true;
    const uint8_t* data = m_image.data();
    const int64_t size = m_inSize;
    for (int64_t i = 1; i + 3 <= size; ++i) {
        if (data[i] == 't' && i + 7 <= size && std::memcmp(data + i, "trailer", 7) == 0 &&
            (i + 7 == size || !IsDigit(data[i + 7])))
            m_lastTrailerPos = i + 7;
        if (data[i] != 'o' || std::memcmp(data + i, "obj", 3) != 0 || !IsWhite(data[i - 1]))
            continue;
        if (i + 3 < size && !IsWhite(data[i + 3]) && !IsDelimiter(data[i + 3]))
            continue;
        // Backwards: white space, generation, white space, number, then a token boundary.
        int64_t p = i - 1;
        while (p >= 0 && i - p < 64 && IsWhite(data[p]))
            --p;
        int64_t genEnd = p;
        while (p >= 0 && IsDigit(data[p]))
            --p;
        if (p == genEnd || p < 0 || !IsWhite(data[p]))
            continue;
        while (p >= 0 && i - p < 96 && IsWhite(data[p]))
            --p;
        int64_t numEnd = p;
        while (p >= 0 && numEnd - p < 10 && IsDigit(data[p]))
            --p;
        if (p == numEnd || (p >= 0 && !IsWhite(data[p]) && !IsDelimiter(data[p])))
            continue;
        int64_t n = 0;
        for (int64_t k = p + 1; k <= numEnd; ++k)
            n = n * 10 + (data[k] - '0');
        if (n > 0 && n <= pdlimits::kMaxObjectNumber)
            m_scanned[static_cast<int32_t>(n)] = p + 1;
    }
}

int64_t PDReader::ScannedOffset(int32_t n) {
    if (!m_scanDone)
        ScanObjectHeaders();
    auto it = m_scanned.find(n);
    return it != m_scanned.end() ? it->second : 0;
}

// The cross-reference data could not be read (or named no catalog): the scanned headers become
// the index, the last trailer keyword gives the trailer, and when there is none the newest
// cross-reference stream dictionary or catalog object found among the objects stands in.
bool PDReader::RepairFromScan() {
    if (!m_scanDone)
        ScanObjectHeaders();
    m_repairMode = true;
    if ((m_trailer == nullptr || m_trailer->Get("/Root") == nullptr) && m_lastTrailerPos > 0) {
        int64_t prev = 0;
        int64_t xrefStm = 0;
        int saved = m_error;
        ReadTrailerDict(m_lastTrailerPos, prev, xrefStm);
        m_error = saved;
    }
    if (m_trailer != nullptr && m_trailer->Get("/Root") != nullptr)
        return true;
    std::vector<std::pair<int64_t, int32_t>> byOffset;
    byOffset.reserve(m_scanned.size());
    for (const auto& [n, offset] : m_scanned)
        byOffset.emplace_back(offset, n);
    std::sort(byOffset.rbegin(), byOffset.rend());
    int loads = 0;
    for (const auto& [offset, n] : byOffset) {
        if (++loads > kMaxRepairLoads)
            break;
        std::unique_ptr<PDValue> value = LoadValue(n);
        const PDValue* type = value != nullptr ? value->GetSlot(pdkey::Type) : nullptr;
        if (type != nullptr && type->IsName("/XRef")) {
            int64_t ignored = 0;
            ReadXrefStream(*value, ignored);
        } else if (type != nullptr && type->IsName("/Catalog")) {
            if (m_trailer == nullptr)
                m_trailer = PDValue::MakeDictionary();
            m_trailer->Dict()->Set("/Root", PDValue::MakeReference(n));
        }
        if (m_trailer != nullptr && m_trailer->Get("/Root") != nullptr)
            return true;
    }
    return false;
}
