// Parsing values and opening documents from bytes held in memory.
#pragma once

#include "pdf/pdfile.h"
#include "pdf/pdparse.h"

#include <memory>
#include <string_view>

namespace testpdf {

// The value that starts the text, as the reader parses it from a file.
inline std::unique_ptr<PDValue> ParseText(std::string_view text) {
    PDMemoryHost host(reinterpret_cast<const uint8_t*>(text.data()),
                      static_cast<int64_t>(text.size()));
    PDParser parser(host);
    parser.GetToken();
    auto value = std::make_unique<PDValue>();
    parser.ParseValue(*value);
    return value;
}

inline bool OpenBytes(PDFile& file, std::string_view pdf) {
    return file.OpenMemory(reinterpret_cast<const uint8_t*>(pdf.data()),
                           static_cast<int64_t>(pdf.size()));
}

} // namespace testpdf
