#include "tool/control_file.h"

#include <cerrno>
#include <cstring>

#include <sys/stat.h>

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

void ReportOpenFailure(const char* name, int error, RunStreams& io) {
    std::fprintf(io.err, "File open failed (%s)\n", name);
    // What perror("") prints, sent to the run's error stream so that it can be captured.
    std::fprintf(io.err, "%s\n", std::strerror(error));
}

void ReadLines(FILE* file, std::vector<std::string>& lines) {
    PDControlFile control(file);
    std::string line;
    while (control.NextLine(line))
        lines.push_back(line);
}

// Opening a folder for reading succeeds here; reading it would fail on the first byte, so it is
// refused at the open like any file that cannot be read.
FILE* OpenControlFile(const char* name, int& error) {
    FILE* file = std::fopen(name, "r");
    if (file == nullptr) {
        error = errno;
        return nullptr;
    }
    struct stat info {};
    if (::fstat(::fileno(file), &info) == 0 && S_ISDIR(info.st_mode)) {
        std::fclose(file);
        error = EISDIR;
        return nullptr;
    }
    return file;
}

} // namespace

void ReadControlFile(const char* arg, std::vector<std::string>& lines, RunStreams& io) {
    const char* name = arg + 1;
    if (*name == '\0') {
        ReadLines(io.in, lines);
        return;
    }
    int error = 0;
    FILE* file = OpenControlFile(name, error);
    if (file == nullptr) {
        ReportOpenFailure(name, error, io);
        return;
    }
    ReadLines(file, lines);
    std::fclose(file);
}
