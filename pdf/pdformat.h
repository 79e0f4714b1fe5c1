// Number formats of the PDF output (also used by the field listing).
#pragma once

#include <cstdint>
#include <string>

// At most three decimals, trailing zeros dropped: 0.5, 2.25, 3, -0 for -0.0001.
std::string PDFormatReal(float value);
std::string PDFormatInt(int64_t value);
// Zero-padded to width digits (the cross-reference table uses 10).
std::string PDFormatPadded(int64_t value, int width);
