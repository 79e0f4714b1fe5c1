// Flate decoding and encoding through zlib.
#include "streams/pdfilters.h"

#include "streams/pddiag.h"
#include "streams/pdlimits.h"

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
// Inflated data go out through one buffer of this size, appended piece by piece: a buffer sized
// to the stream would cost memory the run never gives back.
constexpr int64_t kOutBuffer = 64 * 1024;
constexpr int64_t kCompressSlack = 1000;
// zlib counts in 32 bits; longer inputs are fed in pieces of this size.
constexpr int64_t kMaxFeed = UINT_MAX;

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

namespace {

// One decompressor and one output buffer for small streams for the whole run: a document holds
// hundreds of streams, and setting zlib up and touching a fresh buffer for each costs more than
// inflating most of them.
class Decompressor {
public:
    Decompressor() = default;
    ~Decompressor() {
        if (m_ready)
            inflateEnd(&m_zs);
    }
    Decompressor(const Decompressor&) = delete;
    Decompressor& operator=(const Decompressor&) = delete;

    // The stream, ready for new input; null when zlib cannot be set up.
    z_stream* Take() {
        if (m_ready) {
            // A reset keeps whatever input the last stream left unread.
            m_zs.next_in = nullptr;
            m_zs.avail_in = 0;
            return inflateReset(&m_zs) == Z_OK ? &m_zs : nullptr;
        }
        m_zs = z_stream{};
        m_ready = inflateInit2_(&m_zs, kWindowBits, kZlibVersion,
                                static_cast<int>(sizeof(z_stream))) == Z_OK;
        return m_ready ? &m_zs : nullptr;
    }
    // The output buffer (kOutBuffer bytes); null when memory runs out.
    uint8_t* OutBuffer() {
        if (!m_out)
            m_out.reset(new (std::nothrow) uint8_t[static_cast<size_t>(kOutBuffer)]);
        return m_out.get();
    }

private:
    z_stream m_zs{};
    bool m_ready = false;
    std::unique_ptr<uint8_t[]> m_out;
};

} // namespace

int64_t DecodeFlate(const uint8_t* in, int64_t length, PDStr& content) {
    if (in == nullptr || length < 0)
        return 0;
    static Decompressor decompressor;
    z_stream* zs = decompressor.Take();
    if (zs == nullptr)
        return 0;
    const int64_t size = kOutBuffer;
    uint8_t* out = decompressor.OutBuffer();
    if (out == nullptr)
        PDThrowAlloc();
    const uint8_t* next = in;
    const uint8_t* end = in + length;
    const int64_t cap = PDDecodedCap(length);
    int code = Z_OK;
    int64_t produced = 0;
    for (;;) {
        Feed(*zs, next, end);
        zs->next_out = out;
        zs->avail_out = static_cast<uInt>(size);
        uInt inBefore = zs->avail_in;
        code = inflate(zs, Z_SYNC_FLUSH);
        produced = size - static_cast<int64_t>(zs->avail_out);
        if (!PDAppendDecoded(content, out, produced, cap))
            return -1;
        if (zs->avail_in == 0 && next == end) {
            code = Z_OK; // input used up: a success with what came out
            break;
        }
        bool stalled = produced == 0 && zs->avail_in == inBefore;
        if ((code != Z_OK && produced == 0) || stalled)
            break;
    }
    if (code != Z_OK && code != Z_STREAM_END) {
        content.Clear();
        return 0;
    }
    return produced;
}

namespace {

// One compressor for the whole run: setting up zlib's state costs more than compressing a small
// stream, and deflateReset makes the next stream come out exactly as from a fresh one.
class Compressor {
public:
    Compressor() = default;
    ~Compressor() {
        if (m_ready)
            deflateEnd(&m_zs);
    }
    Compressor(const Compressor&) = delete;
    Compressor& operator=(const Compressor&) = delete;

    // The stream, ready for new input; null when zlib cannot be set up.
    z_stream* Take() {
        if (m_ready)
            return deflateReset(&m_zs) == Z_OK ? &m_zs : nullptr;
        m_zs = z_stream{};
        m_ready = deflateInit2_(&m_zs, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kWindowBits, kMemLevel,
                                Z_DEFAULT_STRATEGY, kZlibVersion,
                                static_cast<int>(sizeof(z_stream))) == Z_OK;
        return m_ready ? &m_zs : nullptr;
    }

private:
    z_stream m_zs{};
    bool m_ready = false;
};

} // namespace

PDStr CompressFlate(const PDStr& content) {
    PDStr result;
    int64_t capacity = int64_t{content.Length()} + kCompressSlack;
    if (capacity >= INT_MAX)
        return result;
    static Compressor compressor;
    z_stream* zs = compressor.Take();
    if (zs == nullptr) {
        PDReport("deflate error\n");
        return result;
    }
    if (!result.Reserve(static_cast<int>(capacity)))
        PDThrowAlloc();
    zs->next_in = const_cast<Bytef*>(content.Bytes()); // zlib never writes through next_in
    zs->avail_in = static_cast<uInt>(content.Length());
    zs->next_out = reinterpret_cast<Bytef*>(result.Buffer());
    zs->avail_out = static_cast<uInt>(capacity);
    int code = deflate(zs, Z_FINISH);
    if (code != Z_STREAM_END) {
        result.Clear();
        return result;
    }
    result.Truncate(static_cast<int>(capacity - static_cast<int64_t>(zs->avail_out)));
    result.Append('\n');
    return result;
}
