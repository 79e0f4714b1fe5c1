// The byte filters: decoders of stream data, and Flate encoding of generated content.
#pragma once

#include "streams/pdstr.h"

#include <cstdint>

// ASCII85 into out (outSize bytes). Returns the number of bytes written; on an error the bytes
// written before it are the result.
int64_t DecodeASCII85(const uint8_t* in, int64_t length, uint8_t* out, int64_t outSize);

// Appends the LZW decoding of in to content. 1 when it ran (also on a decoding error), 0 when in
// is null, -1 when the data decode beyond PDDecodedCap (content is then emptied).
int DecodeLZW(const uint8_t* in, int64_t length, PDStr& content);

// Appends the Flate (zlib) decoding of in to content. Returns the byte count of the last inflate
// call; 0 on failure, with content emptied when the data are corrupt; -1, with content emptied,
// when the data decode beyond PDDecodedCap.
int64_t DecodeFlate(const uint8_t* in, int64_t length, PDStr& content);

// Flate-compressed content followed by one line feed; empty when compression failed or did not
// finish in one pass.
PDStr CompressFlate(const PDStr& content);

// How far data encoded in the given number of bytes may decode: pdlimits::kMaxDecodedStream, or
// kMaxDecodedRatio times the encoded size when that is larger, never beyond kMaxDecodedCeiling.
int64_t PDDecodedCap(int64_t encoded);

// Appends decoded bytes to content, growing its buffer geometrically (decoders append large
// buffers many times). False, with a report and content emptied, when the bytes do not fit
// under cap: the stream counts as damaged.
bool PDAppendDecoded(PDStr& content, const uint8_t* bytes, int64_t count, int64_t cap);
