// The usage text printed when the tool is started without arguments, and the texts of --help and
// --version.
#pragma once

#include <cstdio>

inline constexpr const char* kQuilletVersion = "3.10p";

// Prints the usage text with the given build date (as the compiler writes __DATE__).
void WriteUsage(FILE* out, const char* buildDate);
// The same with the date this file was compiled on.
void WriteUsage(FILE* out);
// The usage text, then the long options and the project's address.
void WriteHelp(FILE* out);
// One line: the tool's name, version and build date.
void WriteVersion(FILE* out);
