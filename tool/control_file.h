// Control files: assignments read line by line from a file named "@file", or from standard input
// for "@" alone.
#pragma once

#include "tool/run_streams.h"

#include <cstdio>
#include <string>
#include <vector>

// Splits a file into logical lines. A physical line ends at any byte below 32; '#' starts a comment
// line; a line ending in a backslash continues on the next, joined by one line break.
class PDControlFile {
public:
    // Does not take ownership of file.
    explicit PDControlFile(FILE* file) : m_file(file) {}

    // The next logical line into line; false once the file has ended.
    bool NextLine(std::string& line);

private:
    enum class LineEnd { kControl, kNul, kEof };
    LineEnd ReadPhysical(std::string& line);
    // Reads one physical line; false (and the file ends) for an empty line ended by EOF or NUL.
    bool ReadOrEnd(std::string& line);

    FILE* m_file;
    bool m_ended = false;
};

// Appends every logical line of the control file that arg ("@name" or "@") names to lines. The
// lines are read before anything is carried out, so that standard input is read once and an
// assignment the run cannot carry out is refused before the output exists. A file that cannot be
// opened or read (a folder, say) is reported with the system's reason and skipped.
void ReadControlFile(const char* arg, std::vector<std::string>& lines, RunStreams& io);
