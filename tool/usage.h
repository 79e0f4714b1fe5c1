// The usage text printed when the tool is started without arguments.
#pragma once

#include <cstdio>

inline constexpr const char* kQuilletVersion = "3.10p";

// Prints the usage text with the given build date (as the compiler writes __DATE__).
void WriteUsage(FILE* out, const char* buildDate);
// The same with the date this file was compiled on.
void WriteUsage(FILE* out);
