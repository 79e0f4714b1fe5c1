// What lets lower layers follow a reference without knowing the file classes.
#pragma once

#include "pdf/pdvalue.h"

#include <cstdint>
#include <memory>

class PDResolver {
public:
    virtual ~PDResolver() = default;
    // A private copy of object objNum's value (owned by the caller); null when it cannot be read.
    virtual std::unique_ptr<PDValue> LoadValue(int32_t objNum) = 0;
};
