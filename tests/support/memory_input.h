// Parsing values, and opening and writing documents, in memory.
#pragma once

#include "pdf/pdfile.h"
#include "pdf/pdparse.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
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

// Ends a file written to memory and returns its bytes.
inline std::string Finish(PDFile& file) {
    EXPECT_TRUE(file.EndWrite());
    int64_t length = 0;
    std::unique_ptr<uint8_t[]> image = file.TakeImage(&length);
    return std::string(reinterpret_cast<const char*>(image.get()), static_cast<size_t>(length));
}

} // namespace testpdf
