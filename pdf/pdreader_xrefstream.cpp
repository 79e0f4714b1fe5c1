// Cross-reference streams and objects packed in object streams.
#include "pdf/pdreader.h"

#include "pdf/pddecode.h"
#include "streams/pddiag.h"
#include "streams/pdfilters.h"
#include "streams/pdlimits.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

// Fields wider than this cannot be a 64-bit offset: such a stream is rejected.
constexpr int kMaxFieldWidth = 8;
// /Columns beyond this cannot describe a cross-reference row.
constexpr int64_t kMaxColumns = 3 * kMaxFieldWidth;
// How far in front of a cross-reference stream comments and blank lines are skipped.
constexpr int kCommentWindow = 1024;

uint64_t BigEndian(const uint8_t* p, int width) {
    uint64_t v = 0;
    for (int i = 0; i < width; ++i)
        v = (v << 8) | p[i];
    return v;
}

int64_t IntegerOf(const PDValue* v) {
    if (v == nullptr || (v->Kind() != kPDInteger && v->Kind() != kPDText))
        return 0;
    return v->GetInt64();
}

struct IndexPair {
    int64_t first;
    int64_t count;
};

// The layout of the rows of one cross-reference stream.
struct RowLayout {
    int widths[3] = {0, 0, 0};
    int rowWidth = 0;
    bool predictor = false;
    int64_t rowLength = 0;
    // The TIFF predictor: each byte is stored as its difference to the byte colors before it,
    // within rows of tiffRow bytes. 0 when not used.
    int64_t tiffRow = 0;
    int64_t colors = 1;
};

// Undoes the TIFF predictor in place, row by row.
void UndoTiffPredictor(uint8_t* data, int64_t length, const RowLayout& layout) {
    for (int64_t row = 0; row + layout.tiffRow <= length; row += layout.tiffRow) {
        for (int64_t k = layout.colors; k < layout.tiffRow; ++k)
            data[row + k] = static_cast<uint8_t>(data[row + k] + data[row + k - layout.colors]);
    }
}

bool ReadLayout(const PDValue& stream, RowLayout& layout) {
    const PDValue* w = stream.Get("/W");
    if (w == nullptr || w->Kind() != kPDArray || w->ElementCount() < 3)
        return false;
    for (int i = 0; i < 3; ++i) {
        const PDValue* e = w->Element(i);
        int64_t width = e != nullptr && e->Kind() == kPDInteger ? e->Number() : -1;
        if (width < 0 || width > kMaxFieldWidth)
            return false;
        layout.widths[i] = static_cast<int>(width);
        layout.rowWidth += layout.widths[i];
    }
    const PDValue* parms = stream.Get("/DecodeParms");
    if (parms != nullptr && parms->Kind() == kPDArray)
        parms = parms->First();
    int64_t predictor = parms != nullptr ? IntegerOf(parms->Get("/Predictor")) : 0;
    int64_t columns = parms != nullptr ? IntegerOf(parms->Get("/Columns")) : 0;
    if (predictor == 2) {
        int64_t colors = parms != nullptr ? IntegerOf(parms->Get("/Colors")) : 0;
        layout.colors = std::clamp<int64_t>(colors, 1, kMaxFieldWidth);
        layout.tiffRow = std::clamp<int64_t>(columns, layout.rowWidth, kMaxColumns) * layout.colors;
    }
    // Only the PNG predictors put a filter byte in front of each row.
    layout.predictor = predictor >= 10;
    if (layout.predictor) {
        if (columns < layout.rowWidth)
            columns = layout.rowWidth;
        if (columns > kMaxColumns)
            return false;
        layout.rowLength = columns + 1;
    } else {
        layout.rowLength = layout.rowWidth;
    }
    return true;
}

std::vector<IndexPair> ReadIndexPairs(const PDValue& stream) {
    std::vector<IndexPair> pairs;
    const PDValue* index = stream.Get("/Index");
    if (index == nullptr || index->Kind() != kPDArray) {
        int64_t size = IntegerOf(stream.Get("/Size"));
        pairs.push_back(
            {0, std::min<int64_t>(std::max<int64_t>(size, 0), pdlimits::kMaxObjectNumber + 1)});
        return pairs;
    }
    for (const PDValue* e = index->First(); e != nullptr && e->Next() != nullptr;
         e = e->Next()->Next()) {
        int64_t first = IntegerOf(e);
        int64_t count = IntegerOf(e->Next());
        if (first < 0 || count <= 0)
            break;
        // Numbers beyond the cap are ignored when stored; clamping keeps the count from
        // overflowing.
        pairs.push_back({std::min<int64_t>(first, pdlimits::kMaxObjectNumber + 1), count});
    }
    return pairs;
}

// The minimal number reader of the object-stream header pairs.
int64_t ReadPairNumber(const uint8_t*& p, const uint8_t* end) {
    while (p < end && *p < 33)
        ++p;
    int64_t value = 0;
    bool negative = false;
    while (p < end) {
        uint8_t c = *p++;
        if (c == '-')
            negative = true;
        else if (c >= '0' && c <= '9')
            value = value < INT64_MAX / 16 ? value * 10 + (c - '0') : value;
        else
            break;
    }
    return negative ? -value : value;
}

} // namespace

// Some writers let "startxref" point at a comment line in front of the stream object.
int64_t PDReader::SkipCommentLines(int64_t offset) {
    uint8_t bytes[kCommentWindow];
    int64_t got = ReadAt(offset, bytes, kCommentWindow);
    int64_t i = 0;
    while (i < got) {
        if (bytes[i] == '%') {
            while (i < got && bytes[i] != '\r' && bytes[i] != '\n')
                ++i;
        } else if (bytes[i] <= ' ') {
            ++i;
        } else {
            return offset + i;
        }
    }
    return offset;
}

bool PDReader::ReadXrefStreamAt(int64_t offset, int64_t& prev) {
    prev = 0;
    int64_t saved = m_inPos;
    m_inPos = SkipCommentLines(offset);
    std::unique_ptr<PDValue> value;
    {
        PDParser parser(*this);
        if (parser.ParseIndirectObject())
            value = parser.TakeValue();
    }
    m_inPos = saved;
    return value != nullptr && ReadXrefStream(*value, prev);
}

// Fills the index from one cross-reference stream and merges its dictionary into the trailer.
bool PDReader::ReadXrefStream(PDValue& stream, int64_t& prev) {
    prev = 0;
    RowLayout layout;
    if (stream.Kind() != kPDDictionary || !stream.HasStream() || !ReadLayout(stream, layout))
        return false;
    int64_t p = IntegerOf(stream.GetSlot(pdkey::Prev));
    prev = FileOffset(p);
    MergeTrailer(stream);
    std::vector<IndexPair> pairs = ReadIndexPairs(stream);
    PDStr content;
    // Cross-reference streams may not use an indirect /Filter, so nothing is resolved here.
    DecodeStream(stream, content, nullptr);
    if (layout.rowLength <= 0 || pairs.empty())
        return true;
    uint8_t* data = content.Length() > 0 ? reinterpret_cast<uint8_t*>(content.Buffer()) : nullptr;
    int64_t length = content.Length();
    if (data != nullptr && layout.tiffRow > 0)
        UndoTiffPredictor(data, length, layout);
    size_t pair = 0;
    int64_t n = pairs[0].first;
    int64_t left = pairs[0].count;
    int fieldStart = layout.predictor ? 1 : 0;
    bool reported = false;
    for (int64_t pos = 0; data != nullptr && pos + layout.rowLength <= length;
         pos += layout.rowLength) {
        uint8_t* row = data + pos;
        const uint8_t* f = row + fieldStart;
        // A type field of width 0 means type 1, as the PDF reference defines it.
        uint64_t type = layout.widths[0] == 0 ? 1 : BigEndian(f, layout.widths[0]);
        uint64_t second = BigEndian(f + layout.widths[0], layout.widths[1]);
        uint64_t third = BigEndian(f + layout.widths[0] + layout.widths[1], layout.widths[2]);
        if (type == 1 && second < static_cast<uint64_t>(INT64_MAX))
            SetFileEntry(n, FileOffset(static_cast<int64_t>(second)));
        else if (type == 2 && second <= static_cast<uint64_t>(pdlimits::kMaxObjectNumber))
            SetStreamEntry(n, static_cast<int64_t>(second),
                           third <= static_cast<uint64_t>(INT32_MAX) ? static_cast<int64_t>(third)
                                                                     : -1);
        ++n;
        if (--left <= 0) {
            if (++pair >= pairs.size())
                break;
            n = pairs[pair].first;
            left = pairs[pair].count;
        }
        // The filter byte of the row just read decides how the next row is undone.
        if (!layout.predictor || pos + 2 * layout.rowLength > length)
            continue;
        uint8_t* next = row + layout.rowLength;
        if (row[0] == 2) {
            for (int64_t k = 1; k < layout.rowLength; ++k)
                next[k] = static_cast<uint8_t>(next[k] + row[k]);
        } else if (row[0] != 0 && !reported) {
            // The one message of the library that goes to the console: a file that predicts its
            // cross-reference rows otherwise is read wrongly, and the user should learn why.
            // Deliberate: once per stream, so a damaged stream cannot flood the console.
            std::fprintf(stderr, "unexpected predictor %d\n", row[0]); // stderr-ok
            reported = true;
        }
    }
    return true;
}

// ---- Object streams ----

bool PDReader::DecodeObjectStream(int32_t streamNum, PDObjStream& decoded) {
    PDIndirectObj holder;
    if (!LoadObject(holder, streamNum) || !holder.Value()->HasStream())
        return false;
    PDStr content;
    if (DecodeStream(*holder.Value(), content, this) == 0)
        return false;
    const PDValue& value = *holder.Value();
    int64_t count = IntegerOf(value.Get("/N"));
    int64_t first = IntegerOf(value.Get("/First"));
    if (count < 0 || first < 0 || first > content.Length())
        return false;
    // Each pair takes at least two bytes, so /N cannot exceed what the header part can hold.
    count = std::min<int64_t>(count, first / 2 + 1);
    const uint8_t* p = content.Bytes();
    const uint8_t* end = p + content.Length();
    decoded.pairs.reserve(static_cast<size_t>(count));
    for (int64_t i = 0; i < count; ++i) {
        int64_t num = ReadPairNumber(p, end);
        int64_t offset = ReadPairNumber(p, end);
        decoded.pairs.emplace_back(
            num > 0 && num <= pdlimits::kMaxObjectNumber ? static_cast<int32_t>(num) : 0, offset);
        decoded.byNumber.emplace(decoded.pairs.back().first, decoded.pairs.size() - 1);
    }
    decoded.first = first;
    decoded.data = std::move(content);
    return true;
}

bool PDReader::LoadFromObjectStream(PDIndirectObj& holder, int32_t n, const PDXrefEntry& entry) {
    const PDObjStream* stream = entry.stream != n
                                    ? m_objStreams.Hold(entry.stream, m_inSize,
                                                        [this](int32_t s, PDObjStream& d) {
                                                            return DecodeObjectStream(s, d);
                                                        })
                                    : nullptr;
    if (stream == nullptr)
        return false;
    const auto& pairs = stream->pairs;
    size_t i = static_cast<size_t>(entry.index);
    if (entry.index < 0 || i >= pairs.size() || pairs[i].first != n) {
        // A writer that miscounted: look the number up among the pairs instead.
        auto found = stream->byNumber.find(n);
        if (found == stream->byNumber.end())
            return false;
        i = found->second;
    }
    int64_t offset = stream->first + pairs[i].second;
    if (pairs[i].second < 0 || offset >= stream->data.Length())
        return false;
    PDMemoryHost host(stream->data.Bytes(), stream->data.Length());
    host.Seek(offset);
    auto value = std::make_unique<PDValue>();
    {
        PDParser parser(host);
        parser.GetToken();
        parser.ParseValue(*value);
    }
    if (value->Kind() == kPDNone)
        return false;
    holder.SetKind(PDIndirectObj::KindOf(value.get()));
    holder.SetValue(std::move(value));
    holder.SetNumber(n);
    holder.SetGeneration(0);
    holder.SetFile(this);
    holder.SetOffset(0);
    holder.SetEndOffset(0);
    return true;
}
