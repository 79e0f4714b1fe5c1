#include "tool/control_file.h"

#include "tool/assignment.h"

#include <cerrno>
#include <cstring>

PDControlFile::LineEnd PDControlFile::ReadPhysical(std::string& line) {
    line.clear();
    for (;;) {
        int c = std::getc(m_file);
        if (c == EOF) {
            return LineEnd::kEof;
        }
        if (c == 0) {
            return LineEnd::kNul;
        }
        if (c < 32) {
            return LineEnd::kControl;
        }
        line.push_back(static_cast<char>(c));
    }
}

bool PDControlFile::ReadOrEnd(std::string& line) {
    LineEnd end = ReadPhysical(line);
    if (line.empty() && end != LineEnd::kControl) {
        m_ended = true;
        return false;
    }
    return true;
}

bool PDControlFile::NextLine(std::string& line) {
    line.clear();
    if (m_ended) {
        return false;
    }
    std::string physical;
    do {
        if (!ReadOrEnd(physical)) {
            return false;
        }
    } while (!physical.empty() && physical[0] == '#');
    // Deliberate: a continuation line that starts with '#' is text, not a comment.
    while (!physical.empty() && physical.back() == '\\') {
        physical.pop_back();
        line += physical;
        line += '\n';
        if (!ReadOrEnd(physical)) {
            break;
        }
    }
    line += physical;
    return true;
}

namespace {

void ReportOpenFailure(const char* name, RunStreams& io) {
    int error = errno;
    std::fprintf(io.err, "File open failed (%s)\n", name);
    // What perror("") prints, sent to the run's error stream so that it can be captured.
    std::fprintf(io.err, "%s\n", std::strerror(error));
}

void CarryOutLines(FILE* file, FormSession& session, bool quiet, RunStreams& io) {
    PDControlFile control(file);
    std::string line;
    while (control.NextLine(line)) {
        CarryOutAssignment(line, session, quiet, io);
    }
}

} // namespace

void CarryOutControlFile(const char* arg, FormSession& session, bool quiet, RunStreams& io) {
    const char* name = arg + 1;
    if (*name == '\0') {
        CarryOutLines(io.in, session, quiet, io);
        return;
    }
    FILE* file = std::fopen(name, "r");
    if (file == nullptr) {
        ReportOpenFailure(name, io);
        return;
    }
    CarryOutLines(file, session, quiet, io);
    std::fclose(file);
}
