// PDParser: the data of a stream behind its dictionary, and the repair of a wrong /Length.
#include "pdf/pdparse.h"

#include "streams/pddiag.h"
#include "streams/pdprefault.h"

#include <algorithm>
#include <charconv>
#include <cstring>

namespace {

constexpr int64_t kShortBuffer = 32000; // byte-by-byte reads without a usable length
constexpr int64_t kGrowStep = 100;
constexpr int64_t kSlack = 64;
// Beyond any real file; keeps the arithmetic on a declared length clear of overflow.
constexpr int64_t kHugeLength = int64_t{1} << 50;
constexpr char kEndstream[] = "endstream";
constexpr int64_t kEndstreamLength = 9;

bool IsWhite(int c) noexcept {
    return c == 0 || c == '\t' || c == '\n' || c == '\f' || c == '\r' || c == ' ';
}

bool MatchAt(const std::vector<uint8_t>& data, int64_t pos, const char* text, int64_t length) {
    return pos >= 0 && pos + length <= static_cast<int64_t>(data.size()) &&
           std::memcmp(data.data() + pos, text, static_cast<size_t>(length)) == 0;
}

// The last position at or before from where text starts; -1 when none.
int64_t FindBackwards(const std::vector<uint8_t>& data, int64_t from, const char* text) {
    auto length = static_cast<int64_t>(std::strlen(text));
    for (int64_t pos = std::min(from, static_cast<int64_t>(data.size()) - length); pos >= 0;
         --pos) {
        if (MatchAt(data, pos, text, length))
            return pos;
    }
    return -1;
}

int64_t Size(const std::vector<uint8_t>& data) noexcept {
    return static_cast<int64_t>(data.size());
}

} // namespace

int PDParser::DataByte() {
    if (m_pendingData >= 0) {
        int c = m_pendingData;
        m_pendingData = -1;
        return c;
    }
    if (m_dataEnd >= 0 && m_source.Offset() >= m_dataEnd) {
        m_hitDataEnd = true;
        return -1;
    }
    return m_source.GetByte();
}

// How many data bytes can still come: to the bound of this stream, or to the end of the input.
int64_t PDParser::DataRoom() noexcept {
    if (m_dataEnd >= 0)
        return std::max<int64_t>(m_dataEnd - m_source.Offset(), 0) + kSlack;
    return m_source.Buffered() + m_source.Host().Remaining() + kSlack;
}

// Adds a byte, growing the buffer in steps but never far beyond what the input still holds.
void PDParser::Keep(std::vector<uint8_t>& data, int byte, int64_t limit) {
    if (data.size() == data.capacity()) {
        int64_t size = Size(data);
        int64_t wanted = std::max(size + kGrowStep, size + size / 2);
        data.reserve(static_cast<size_t>(std::max(std::min(wanted, limit), size + 1)));
    }
    data.push_back(static_cast<uint8_t>(byte));
}

// Adds up to count bytes that the byte source holds already, all at once, as many as DataByte
// would have handed out one by one. False when there were none to take.
bool PDParser::KeepBuffered(std::vector<uint8_t>& data, int64_t count, int64_t limit) {
    int64_t n = std::min<int64_t>(count, m_source.Buffered());
    if (m_dataEnd >= 0)
        n = std::min(n, m_dataEnd - m_source.Offset());
    if (n <= 0)
        return false;
    int64_t size = Size(data);
    if (size + n > static_cast<int64_t>(data.capacity())) {
        int64_t wanted = std::max(size + kGrowStep, size + size / 2);
        data.reserve(static_cast<size_t>(std::max(std::min(wanted, limit), size + n)));
    }
    const uint8_t* bytes = m_source.Pending();
    data.insert(data.end(), bytes, bytes + n);
    m_source.Skip(static_cast<int32_t>(n));
    return true;
}

// The /Length of the dictionary: -1 when it cannot be known.
int64_t PDParser::StreamLength() {
    int64_t length = -1;
    switch (m_lengthVal->Kind()) {
    case kPDInteger:
        length = m_lengthVal->Number();
        break;
    case kPDReference:
        length = IndirectLength(m_lengthVal->Number());
        break;
    case kPDText: // digits beyond 32 bits
        length = m_lengthVal->GetInt64();
        break;
    default:
        break;
    }
    // Deliberate: a negative length is as useless as an unreadable one.
    return length < 0 ? -1 : std::min(length, kHugeLength);
}

// Reads the object that holds an indirect /Length with a second parser, then sets the host back
// where this parser's byte source expects it.
int64_t PDParser::IndirectLength(int32_t objNum) {
    PDParseHost& host = m_source.Host();
    int64_t saved = host.Tell();
    int64_t length = -1;
    int64_t packed = 0;
    if (!host.SeekObject(objNum)) {
        if (host.PackedInteger(objNum, packed))
            length = packed;
        else
            PDReport("error reading Length object\n");
    } else {
        PDParser reader(host);
        reader.m_noStreams = true; // a length object that claims a stream cannot recurse here
        if (!reader.ParseIndirectObject() || reader.ObjectNumber() != objNum)
            PDReport("error reading Length object\n");
        else if (reader.m_value->Kind() != kPDInteger)
            PDReport("Length object does not contain number\n");
        else
            length = reader.m_value->Number();
    }
    host.Seek(saved);
    return length;
}

// Without a usable length (or with a suspiciously short one): byte by byte until "endstream"
// and a white-space byte. False when an unknown length passes the buffer.
bool PDParser::ReadUntilKeyword(std::vector<uint8_t>& data, int64_t length, int64_t& end) {
    int64_t limit = DataRoom();
    data.reserve(static_cast<size_t>(std::min(kShortBuffer, limit)));
    for (int c = DataByte(); c >= 0; c = DataByte()) {
        Keep(data, c, limit);
        int64_t n = Size(data);
        if (IsWhite(c) && MatchAt(data, n - 10, kEndstream, kEndstreamLength)) {
            end = n - 10;
            return true;
        }
        if (length == -1 && n > kShortBuffer) {
            PDReport("stream buffer too small (indirect length)\n");
            return false;
        }
    }
    int64_t n = Size(data);
    end = MatchAt(data, n - kEndstreamLength, kEndstream, kEndstreamLength) ? n - kEndstreamLength
                                                                            : n;
    return true;
}

// With a length L: L + 12 bytes, "endstream" expected 12 to 14 bytes before their end; when it
// is not there, byte by byte until it turns up. Without it the data run to the end of input.
void PDParser::ReadWithLength(std::vector<uint8_t>& data, int64_t length, int64_t& end) {
    int64_t limit = DataRoom();
    data.reserve(static_cast<size_t>(std::min(length + 40, limit)));
    PDPrefault(data.data(), data.capacity());
    int c = 0;
    while (Size(data) < length + 12) {
        if (m_pendingData < 0 && KeepBuffered(data, length + 12 - Size(data), limit))
            continue;
        if ((c = DataByte()) < 0)
            break;
        Keep(data, c, limit);
    }
    int64_t n = Size(data);
    for (int64_t back = 12; back <= 14; ++back) {
        if (MatchAt(data, n - back, kEndstream, kEndstreamLength)) {
            end = n - back;
            return;
        }
    }
    for (int64_t pos = std::max<int64_t>(n - 12, 0); pos + kEndstreamLength <= n; ++pos) {
        if (MatchAt(data, pos, kEndstream, kEndstreamLength)) {
            end = pos;
            return;
        }
    }
    while ((c = DataByte()) >= 0) {
        Keep(data, c, limit);
        n = Size(data);
        if (MatchAt(data, n - kEndstreamLength, kEndstream, kEndstreamLength)) {
            end = n - kEndstreamLength;
            return;
        }
    }
    // Deliberate: when the input ends first, a length that ran past this stream's "endstream"
    // (the last stream of a file with a too large /Length) is caught by the first one read.
    auto first = std::search(data.begin(), data.end(), kEndstream, kEndstream + kEndstreamLength);
    end = first - data.begin();
}

void PDParser::SetLengthValue(int64_t length) {
    if (length <= kPDBigNumber - 1) {
        m_lengthVal->SetInteger(static_cast<int32_t>(length));
        return;
    }
    char digits[24] = {};
    std::to_chars(digits, digits + sizeof digits - 1, length);
    m_lengthVal->SetIntegerText(digits);
}

namespace {

// How many bytes the stream keeps, given the declared length, the position of "endstream" and
// the data end without its line end. Sets correct when /Length must change to that count.
int64_t KeptLength(const std::vector<uint8_t>& data, int64_t length, int64_t end, int64_t measured,
                   bool& correct) {
    correct = true;
    if (length < 0)
        return measured;
    if (measured <= length + 100) {
        if (measured > length || measured < length - 8)
            return measured;
        // The declared length is trusted while it stays in front of "endstream".
        if (length <= end) {
            correct = false;
            return length;
        }
        // Deliberate: a length a few bytes into "endstream" is cut back so data and /Length agree.
        return measured;
    }
    // Far too long: a declared length that is right but whose "endstream" is broken ran on into
    // later objects. Look for the object behind it and the "endstream" in front of that.
    int64_t header = FindBackwards(data, length, " 0 obj");
    if (header < 0)
        return measured;
    int64_t keyword = FindBackwards(data, header - kEndstreamLength, kEndstream);
    if (keyword < 0)
        return measured;
    return std::max<int64_t>(keyword - 1, 0);
}

} // namespace

bool PDParser::ReadStream(PDValue& dict) {
    if (m_lengthVal == nullptr) {
        PDReport("%s %s\n", "assertion", "m_lengthVal != NULL failed");
        return true;
    }
    int64_t length = StreamLength();
    // The end of line behind "stream": a line feed, or any one byte and a line feed. Blanks
    // that some writers leave in front of the line end belong to neither.
    m_pendingData = -1;
    int c = m_cur;
    bool blanks = false;
    while (c == ' ' || c == '\t') {
        c = m_source.GetByte();
        blanks = true;
    }
    if (c == '\r' || (c != '\n' && !blanks)) {
        int next = m_source.GetByte();
        if (next != '\n')
            m_pendingData = next;
    } else if (c != '\n') {
        m_pendingData = c; // blanks, then data without a line end
    }
    // The data start where the next data byte is; a byte already taken counts from one before.
    int64_t dataStart = m_source.Offset() - (m_pendingData >= 0 ? 1 : 0);
    m_dataEnd = m_source.Host().StreamLimit(dataStart, length);
    m_hitDataEnd = false;
    std::vector<uint8_t> data;
    int64_t end = 0;
    bool ok = true;
    if (length == -1 || (length >= 1 && length <= 4))
        ok = ReadUntilKeyword(data, length, end);
    else
        ReadWithLength(data, length, end);
    m_pendingData = -1;
    m_dataEnd = -1;
    m_cur = m_source.GetByte();
    if (!ok)
        return false;
    if (m_hitDataEnd && !MatchAt(data, end, kEndstream, kEndstreamLength))
        PDReport("stream of object %ld has no endstream: its data end at the next object\n",
                 static_cast<long>(m_objNum));
    int64_t measured = end;
    int64_t floor = std::max<int64_t>(length - 2, 0);
    while (measured > floor && (data[static_cast<size_t>(measured - 1)] == '\r' ||
                                data[static_cast<size_t>(measured - 1)] == '\n'))
        --measured;
    bool correct = false;
    int64_t kept = KeptLength(data, length, end, measured, correct);
    // An indirect length is replaced by its value: the data now carry their own length, and a
    // copy must not drag the length object along.
    if (correct || m_lengthVal->Kind() == kPDReference)
        SetLengthValue(kept);
    data.resize(static_cast<size_t>(kept));
    dict.AdoptStreamData(std::move(data), kept);
    return true;
}
