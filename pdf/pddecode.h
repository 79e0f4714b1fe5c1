// Decoding of stream data read from a file through the stream's /Filter chain.
#pragma once

#include "pdf/pdresolve.h"
#include "pdf/pdvalue.h"
#include "streams/pdstr.h"

// Decodes the stream value's raw data through its /Filter chain; the result replaces content.
// 1 on success; 0 when the value is not a stream or a filter is not supported ("cannot decode"
// is reported and whatever an earlier stage produced stays in content). file resolves an indirect
// /Filter and may be null.
int DecodeStream(const PDValue& stream, PDStr& content, PDResolver* file);
