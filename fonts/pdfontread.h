// Reading font dictionaries: references followed with a depth bound, numbers told from other
// values.
#pragma once

#include "pdf/pdvalue.h"

#include <cstdint>
#include <memory>

class PDReader;

// Chains of references longer than this (a reference to a reference ...) are not followed.
inline constexpr int kPDMaxFontRefDepth = 8;

// The value v stands for: v itself, or what its chain of references leads to; null when a link
// cannot be read or the chain is too long. keep owns what had to be loaded.
const PDValue* PDFollow(PDReader& file, const PDValue* v, std::unique_ptr<PDValue>& keep);
// PDFollow of the dictionary entry key; null when the entry is absent.
const PDValue* PDFollowKey(PDReader& file, const PDValue& dict, const char* key,
                           std::unique_ptr<PDValue>& keep);
// True for an integer or a real.
bool PDIsNumber(const PDValue* v);
