// Every decoder, straight and through DecodeStream. The first byte picks the /Filter chain, the
// rest is the stream data.
#include "fuzz/fuzz_target.h"

#include "pdf/pddecode.h"
#include "pdf/pdvalue.h"
#include "streams/pdfilters.h"

#include <memory>
#include <vector>

namespace {

constexpr int kMaxRoundTrip = 1 << 20;

const char* const kNames[] = {"/FlateDecode", "/Fl",  "/ASCII85Decode", "/A85",
                              "/LZWDecode",   "/LZW", "/AHx",           "/F"};

// Bits 0-2 name the first filter, bits 3-5 the second; bit 6 makes a one-element chain an array,
// bit 7 drops /Filter altogether.
std::unique_ptr<PDValue> ChooseFilter(uint8_t selector) {
    if (selector & 0x80)
        return nullptr;
    const char* first = kNames[selector & 7];
    const char* second = kNames[(selector >> 3) & 7];
    if ((selector & 0x40) == 0)
        return std::make_unique<PDValue>(first);
    auto array = PDValue::MakeArray();
    array->Append(std::make_unique<PDValue>(first));
    if (first != second)
        array->Append(std::make_unique<PDValue>(second));
    return array;
}

void DecodeEachWay(const uint8_t* data, int64_t size) {
    std::vector<uint8_t> out(static_cast<size_t>(4 * size + 4));
    DecodeASCII85(data, size, out.data(), static_cast<int64_t>(out.size()));
    PDStr lzw;
    DecodeLZW(data, size, lzw);
    PDStr flate;
    DecodeFlate(data, size, flate);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // LZW expands up to a few thousand times; longer inputs only make the run slower.
    if (size == 0 || size > 65536)
        return 0;
    const uint8_t* body = data + 1;
    auto length = static_cast<int64_t>(size - 1);
    DecodeEachWay(body, length);

    auto stream = PDValue::MakeDictionary();
    stream->AssignStream(body, length, nullptr);
    if (auto filter = ChooseFilter(data[0]))
        stream->Dict()->Set("/Filter", std::move(filter));
    PDStr content;
    DecodeStream(*stream, content, nullptr);

    // Compressing is slow next to decoding; big results have been decoded, that is enough.
    if (content.Length() > kMaxRoundTrip)
        return 0;
    PDStr packed = CompressFlate(content);
    if (!packed.IsEmpty()) {
        PDStr back;
        DecodeFlate(packed.Bytes(), packed.Length() - 1, back);
        if (!(back == content))
            __builtin_trap(); // a round trip must give the content back
    }
    return 0;
}
