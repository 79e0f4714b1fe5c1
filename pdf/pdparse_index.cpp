// PDKeywordIndex: where "endstream", "endobj" and object headers lie in an input, found in one
// pass, so that the end of a stream is looked up instead of searched for.
#include "pdf/pdparse.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr int64_t kEndstreamLength = 9;
// An "endstream" this far behind the declared end of the data still confirms the length (line
// ends and blanks in front of the keyword).
constexpr int64_t kLengthBefore = 2;
constexpr int64_t kLengthAfter = 14;

bool IsWhite(int c) noexcept {
    return c == 0 || c == '\t' || c == '\n' || c == '\f' || c == '\r' || c == ' ';
}

bool IsDelimiter(int c) noexcept {
    return c == '(' || c == ')' || c == '<' || c == '>' || c == '[' || c == ']' || c == '{' ||
           c == '}' || c == '/' || c == '%';
}

bool IsDigit(int c) noexcept {
    return c >= '0' && c <= '9';
}

// The start of "N G obj" when "obj" at i ends such a header; -1 otherwise.
int64_t HeaderStart(const uint8_t* data, int64_t size, int64_t i) {
    if (i < 1 || !IsWhite(data[i - 1]) ||
        (i + 3 < size && !IsWhite(data[i + 3]) && !IsDelimiter(data[i + 3])))
        return -1;
    int64_t p = i - 1;
    while (p >= 0 && i - p < 32 && IsWhite(data[p]))
        --p;
    int64_t genEnd = p;
    while (p >= 0 && genEnd - p < 12 && IsDigit(data[p]))
        --p;
    if (p == genEnd || p < 0 || !IsWhite(data[p]))
        return -1;
    while (p >= 0 && i - p < 64 && IsWhite(data[p]))
        --p;
    int64_t numEnd = p;
    while (p >= 0 && numEnd - p < 12 && IsDigit(data[p]))
        --p;
    if (p == numEnd || (p >= 0 && !IsWhite(data[p]) && !IsDelimiter(data[p])))
        return -1;
    return p + 1;
}

// The first position at or after from; -1 when none.
int64_t FirstFrom(const std::vector<int64_t>& positions, int64_t from) {
    auto it = std::lower_bound(positions.begin(), positions.end(), from);
    return it != positions.end() ? *it : -1;
}

} // namespace

void PDKeywordIndex::Scan(const uint8_t* data, int64_t size, int64_t base, int64_t from,
                          int64_t until) {
    until = std::min(until, size);
    for (int64_t i = std::max<int64_t>(from, 0); i < until && i + 3 <= size; ++i) {
        const auto* hit =
            static_cast<const uint8_t*>(std::memchr(data + i, 'o', static_cast<size_t>(size - i)));
        if (hit == nullptr)
            break;
        i = hit - data;
        if (i >= until)
            break;
        if (i + 3 > size || data[i + 1] != 'b' || data[i + 2] != 'j')
            continue;
        if (i >= 3 && std::memcmp(data + i - 3, "end", 3) == 0) {
            m_endobj.push_back(base + i - 3);
            continue;
        }
        int64_t start = HeaderStart(data, size, i);
        if (start >= 0)
            m_headers.push_back(base + start);
    }
    // "endstream" has no "obj" in it: a second, equally cheap pass over the same bytes.
    for (int64_t i = std::max<int64_t>(from, 0); i < until && i + kEndstreamLength <= size; ++i) {
        const auto* hit =
            static_cast<const uint8_t*>(std::memchr(data + i, 'e', static_cast<size_t>(size - i)));
        if (hit == nullptr)
            break;
        i = hit - data;
        if (i >= until)
            break;
        if (i + kEndstreamLength <= size &&
            std::memcmp(data + i, "endstream", static_cast<size_t>(kEndstreamLength)) == 0)
            m_endstream.push_back(base + i);
    }
}

int64_t PDKeywordIndex::StreamLimit(int64_t dataStart, int64_t length) const {
    if (length >= 0 && length <= INT64_MAX / 2 - dataStart) {
        int64_t confirmed = FirstFrom(m_endstream, dataStart + length - kLengthBefore);
        if (confirmed >= dataStart && confirmed <= dataStart + length + kLengthAfter)
            return confirmed + kEndstreamLength + 1;
    }
    // The length does not hold: the data end at the first keyword or object header behind them.
    int64_t limit = -1;
    int64_t keyword = FirstFrom(m_endstream, dataStart);
    if (keyword >= 0)
        limit = keyword + kEndstreamLength + 1;
    for (int64_t bound : {FirstFrom(m_endobj, dataStart), FirstFrom(m_headers, dataStart)}) {
        if (bound >= 0 && (limit < 0 || bound < limit))
            limit = bound;
    }
    return limit;
}
