// Control files: assignments read line by line from a file named "@file", or from standard input
// for "@" alone.
#pragma once

#include "tool/run_streams.h"

#include <cstdio>
#include <string>

class FormSession;

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

// Carries out every line of the control file that arg ("@name" or "@") names. A file that cannot
// be opened is reported and skipped.
void CarryOutControlFile(const char* arg, FormSession& session, bool quiet, RunStreams& io);
