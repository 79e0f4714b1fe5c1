// The /Filter chain of a stream read from a file.
#include "pdf/pddecode.h"

#include "streams/pddiag.h"
#include "streams/pdfilters.h"
#include "streams/pdlimits.h"
#include "streams/pdprefault.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

namespace {

// Real chains hold one to three filters; each stage rereads the whole raw data, so a chain of
// thousands would only burn time.
constexpr int kMaxFilters = 32;

// Output of an ASCII85 stage, which later Flate or LZW stages read instead of the raw data.
struct Scratch {
    std::unique_ptr<uint8_t[]> bytes;
    int64_t length = 0;
    bool used = false;
};

bool IsFlateName(const PDStr& name) {
    static constexpr char kFlate[] = "/FlateDecode";
    // Deliberate: only the leading part of the filter name is compared, over the length of the
    // name in the file, so /Fl (and any other leading part of /FlateDecode) is accepted.
    size_t n = static_cast<size_t>(name.Length());
    return name.At(0) == '/' && n < sizeof kFlate && std::memcmp(name.Text(), kFlate, n) == 0;
}

bool IsASCII85Name(const PDStr& name) {
    return name == "/ASCII85Decode" || name == "/A85";
}

// ASCII85 always reads the raw data, so it is only meaningful as the first filter.
void RunASCII85(const PDValue& stream, Scratch& scratch) {
    int64_t raw = stream.StreamLength();
    // Four bytes per input byte (the letter z) plus one group; never beyond the decoded cap.
    int64_t size = pdlimits::kMaxDecodedStream;
    if (raw < (pdlimits::kMaxDecodedStream - 4) / 4)
        size = 4 * std::max<int64_t>(raw, 0) + 4;
    if (!scratch.bytes) { // every ASCII85 stage reads the same raw data, so one buffer serves
        scratch.bytes.reset(new (std::nothrow) uint8_t[static_cast<size_t>(size)]);
        if (!scratch.bytes)
            PDThrowAlloc();
    }
    scratch.length = DecodeASCII85(stream.StreamData(), raw, scratch.bytes.get(), size);
    scratch.used = true;
}

// Raw data, or the last ASCII85 result when there was one.
void StageInput(const PDValue& stream, const Scratch& scratch, const uint8_t** in,
                int64_t* length) {
    if (scratch.used) {
        *in = scratch.bytes.get();
        *length = scratch.length;
    } else {
        *in = stream.StreamData();
        *length = stream.StreamLength();
    }
}

// Runs one filter of the chain. False for a filter that is not supported.
bool RunFilter(const PDValue& filter, bool last, const PDValue& stream, Scratch& scratch,
               PDStr& content) {
    const PDStr& name = filter.Text();
    const uint8_t* in = nullptr;
    int64_t length = 0;
    if (filter.Kind() == kPDText && IsASCII85Name(name)) {
        RunASCII85(stream, scratch);
        if (last) {
            content.Clear();
            content.Append(reinterpret_cast<const char*>(scratch.bytes.get()),
                           static_cast<int>(scratch.length));
        }
        return true;
    }
    if (filter.Kind() == kPDText && name == "/LZWDecode") {
        StageInput(stream, scratch, &in, &length);
        content.Clear();
        return DecodeLZW(in != nullptr ? in : reinterpret_cast<const uint8_t*>(""), length,
                         content) >= 0;
    }
    if (filter.Kind() == kPDText && IsFlateName(name)) {
        StageInput(stream, scratch, &in, &length);
        content.Clear();
        return DecodeFlate(in != nullptr ? in : reinterpret_cast<const uint8_t*>(""), length,
                           content) >= 0;
    }
    PDReport("cannot decode %s\n", name.Text());
    return false;
}

int32_t DeclaredLength(const PDValue& stream, PDResolver* file) {
    const PDValue* length = stream.GetSlot(pdkey::Length);
    if (length != nullptr && length->Kind() == kPDReference && file != nullptr) {
        std::unique_ptr<PDValue> resolved = file->LoadValue(length->Number());
        return resolved ? resolved->GetInt() : 0;
    }
    return length != nullptr ? length->GetInt() : 0;
}

// Without filters the content is the first /Length bytes of the data that are actually present.
void CopyUnfiltered(const PDValue& stream, PDStr& content, PDResolver* file) {
    int64_t n = std::clamp<int64_t>(DeclaredLength(stream, file), 0, stream.StreamLength());
    n = std::min(n, pdlimits::kMaxDecodedStream);
    content.Clear();
    if (stream.StreamData() != nullptr)
        content.Append(reinterpret_cast<const char*>(stream.StreamData()), static_cast<int>(n));
}

} // namespace

int64_t PDDecodedCap(int64_t encoded) {
    int64_t byRatio = encoded < pdlimits::kMaxDecodedCeiling / pdlimits::kMaxDecodedRatio
                          ? std::max<int64_t>(encoded, 0) * pdlimits::kMaxDecodedRatio
                          : pdlimits::kMaxDecodedCeiling;
    return std::clamp(byRatio, pdlimits::kMaxDecodedStream, pdlimits::kMaxDecodedCeiling);
}

bool PDAppendDecoded(PDStr& content, const uint8_t* bytes, int64_t count, int64_t cap) {
    int64_t length = content.Length();
    int64_t room = std::max<int64_t>(cap - length, 0);
    int64_t take = std::clamp<int64_t>(count, 0, room);
    if (take > 0 && length + take >= content.Capacity()) {
        int64_t grown = std::clamp<int64_t>(2 * length, length + take, cap);
        // Only the bytes appended are written: room never filled stays untouched memory.
        if (!content.ReserveRoom(static_cast<int>(grown)))
            PDThrowAlloc();
    }
    if (take > 0)
        PDPrefault(content.Buffer() + length, static_cast<size_t>(take));
    content.Append(reinterpret_cast<const char*>(bytes), static_cast<int>(take));
    if (count <= room)
        return true;
    PDReport("stream decodes to more than %lld bytes: treated as damaged\n",
             static_cast<long long>(cap));
    content.Clear();
    return false;
}

int DecodeStream(const PDValue& stream, PDStr& content, PDResolver* file) {
    if (stream.Kind() != kPDDictionary || stream.Dict() == nullptr || !stream.HasStream())
        return 0;
    content.Clear(); // the result replaces the content, also when a filter is refused
    const PDValue* filter = stream.GetSlot(pdkey::Filter);
    std::unique_ptr<PDValue> resolved;
    if (filter != nullptr && filter->Kind() == kPDReference && file != nullptr) {
        resolved = file->LoadValue(filter->Number());
        filter = resolved.get();
    }
    // An empty filter array or a null filters nothing, like an absent /Filter.
    if (filter == nullptr || (filter->Kind() == kPDArray && filter->First() == nullptr) ||
        (filter->Kind() == kPDText && filter->Text() == "null")) {
        CopyUnfiltered(stream, content, file);
        return 1;
    }
    Scratch scratch;
    if (filter->Kind() != kPDArray)
        return RunFilter(*filter, true, stream, scratch, content) ? 1 : 0;
    int steps = 0;
    for (const PDValue* f = filter->First(); f != nullptr; f = f->Next()) {
        if (++steps > kMaxFilters)
            return 0;
        if (!RunFilter(*f, f->Next() == nullptr, stream, scratch, content))
            return 0;
    }
    return 1;
}
