// Flate decoding and encoding through zlib.
#include "streams/pdfilters.h"

#include "pdf/pddiag.h"
#include "pdf/pdlimits.h"

#include <zlib.h>

#include <algorithm>
#include <climits>
#include <memory>
#include <new>

namespace {

// The interface version the library was written against; any zlib 1.x accepts it.
constexpr const char* kZlibVersion = "1.1.4";
constexpr int kWindowBits = 15;
constexpr int kMemLevel = 8;
constexpr int64_t kSmallInput = 100000;
constexpr int64_t kSmallOutBuffer = 500000;
constexpr int64_t kCompressSlack = 1000;
// zlib counts in 32 bits; longer inputs are fed in pieces of this size.
constexpr int64_t kMaxFeed = UINT_MAX;

int64_t InflateBufferSize(int64_t length) {
    if (length <= kSmallInput)
        return kSmallOutBuffer;
    // Five times the input, but never more than the decoded data may grow to.
    if (length > pdlimits::kMaxDecodedStream / 5)
        return pdlimits::kMaxDecodedStream;
    return 5 * length;
}

// Moves the next piece of input into the stream when it has run dry.
void Feed(z_stream& zs, const uint8_t*& next, const uint8_t* end) {
    if (zs.avail_in != 0 || next == end)
        return;
    int64_t piece = std::min<int64_t>(end - next, kMaxFeed);
    zs.next_in = const_cast<Bytef*>(next); // zlib never writes through next_in
    zs.avail_in = static_cast<uInt>(piece);
    next += piece;
}

} // namespace

int64_t DecodeFlate(const uint8_t* in, int64_t length, PDStr& content) {
    if (in == nullptr || length < 0)
        return 0;
    z_stream zs{};
    if (inflateInit2_(&zs, kWindowBits, kZlibVersion, static_cast<int>(sizeof(z_stream))) != Z_OK)
        return 0;
    int64_t size = InflateBufferSize(length);
    std::unique_ptr<uint8_t[]> out(new (std::nothrow) uint8_t[static_cast<size_t>(size)]);
    if (!out) {
        inflateEnd(&zs);
        PDThrowAlloc();
    }
    const uint8_t* next = in;
    const uint8_t* end = in + length;
    const int64_t cap = PDDecodedCap(length);
    int code = Z_OK;
    int64_t produced = 0;
    for (;;) {
        Feed(zs, next, end);
        zs.next_out = out.get();
        zs.avail_out = static_cast<uInt>(size);
        uInt inBefore = zs.avail_in;
        code = inflate(&zs, Z_SYNC_FLUSH);
        produced = size - static_cast<int64_t>(zs.avail_out);
        if (!PDAppendDecoded(content, out.get(), produced, cap)) {
            inflateEnd(&zs);
            return -1;
        }
        if (zs.avail_in == 0 && next == end) {
            code = Z_OK; // input used up: a success with what came out
            break;
        }
        bool stalled = produced == 0 && zs.avail_in == inBefore;
        if ((code != Z_OK && produced == 0) || stalled)
            break;
    }
    inflateEnd(&zs);
    if (code != Z_OK && code != Z_STREAM_END) {
        content.Clear();
        return 0;
    }
    return produced;
}

PDStr CompressFlate(const PDStr& content) {
    PDStr result;
    int64_t capacity = int64_t{content.Length()} + kCompressSlack;
    if (capacity >= INT_MAX)
        return result;
    z_stream zs{};
    if (deflateInit2_(&zs, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kWindowBits, kMemLevel,
                      Z_DEFAULT_STRATEGY, kZlibVersion,
                      static_cast<int>(sizeof(z_stream))) != Z_OK) {
        PDReport("deflate error\n");
        return result;
    }
    if (!result.Reserve(static_cast<int>(capacity))) {
        deflateEnd(&zs);
        PDThrowAlloc();
    }
    zs.next_in = const_cast<Bytef*>(content.Bytes()); // zlib never writes through next_in
    zs.avail_in = static_cast<uInt>(content.Length());
    zs.next_out = reinterpret_cast<Bytef*>(result.Buffer());
    zs.avail_out = static_cast<uInt>(capacity);
    int code = deflate(&zs, Z_FINISH);
    deflateEnd(&zs);
    if (code != Z_STREAM_END) {
        result.Clear();
        return result;
    }
    result.Truncate(static_cast<int>(capacity - static_cast<int64_t>(zs.avail_out)));
    result.Append('\n');
    return result;
}
