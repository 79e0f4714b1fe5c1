// Number readers for command-line and assignment text. None of them depends on the locale.
#pragma once

#include <string_view>

// Reads a decimal number at the start of text: white space skipped, trailing text ignored,
// unreadable text (or a value beyond the float range) giving 0. Null text gives 0.
float ReadLeadingDecimal(const char* text);

// The whole item must be the number (leading white space allowed): optional sign, digits, for
// ReadStrictNumber also one decimal point. False, with out untouched, when the item does not fit.
bool ReadStrictInt(std::string_view item, int& out);
bool ReadStrictNumber(std::string_view item, float& out);

// Cuts towards zero; values beyond the int range saturate, NaN gives 0.
int TruncateToInt(float value);
