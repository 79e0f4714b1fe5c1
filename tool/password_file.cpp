#include "tool/password_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>

namespace {

// Longer lines are cut: no password algorithm reads beyond its first 127 bytes.
constexpr size_t kMaxLine = 4096;

// The first line of file without its line end (LF or CR LF); false on a read error.
bool FirstLine(FILE* file, std::string& line) {
    line.clear();
    int c = 0;
    while ((c = std::fgetc(file)) != EOF && c != '\n') {
        if (line.size() < kMaxLine)
            line.push_back(static_cast<char>(c));
    }
    if (c == '\n' && !line.empty() && line.back() == '\r')
        line.pop_back();
    return std::ferror(file) == 0;
}

bool ReadOne(const std::string& name, std::string& password, RunStreams& io) {
    if (name == "-") {
        if (FirstLine(io.in, password))
            return true;
        std::fprintf(io.err, "Password file '-' cannot be read: %s\n", std::strerror(errno));
        return false;
    }
    FILE* file = std::fopen(name.c_str(), "r");
    bool ok = file != nullptr && FirstLine(file, password);
    const int error = errno;
    if (file != nullptr)
        std::fclose(file);
    if (!ok)
        std::fprintf(io.err, "Password file '%s' cannot be read: %s\n", name.c_str(),
                     std::strerror(error));
    return ok;
}

bool ControlFileReadsStdin(int argc, char** argv, const PDRunRequest& request) {
    for (int i = request.firstAssignment; i < argc && argv[i] != nullptr; ++i) {
        if (std::strcmp(argv[i], "@") == 0)
            return true;
    }
    return false;
}

} // namespace

bool ReadPasswordFiles(int argc, char** argv, PDRunRequest& request, RunStreams& io) {
    const std::string* names[] = {&request.inputPasswordFile, &request.userPasswordFile,
                                  &request.ownerPasswordFile};
    int fromStdin = 0;
    for (const std::string* name : names)
        fromStdin += *name == "-" ? 1 : 0;
    if (fromStdin > 1 || (fromStdin == 1 && ControlFileReadsStdin(argc, argv, request))) {
        std::fputs("Password file '-' cannot be read: standard input is asked for twice\n", io.err);
        return false;
    }
    std::string text;
    if (!request.inputPasswordFile.empty()) {
        if (!ReadOne(request.inputPasswordFile, text, io))
            return false;
        request.inputPassword = text;
    }
    std::optional<std::string>* slots[] = {&request.userPassword, &request.ownerPassword};
    for (int k = 0; k < 2; ++k) {
        if (names[k + 1]->empty())
            continue;
        if (!ReadOne(*names[k + 1], text, io))
            return false;
        *slots[k] = text;
    }
    return true;
}
