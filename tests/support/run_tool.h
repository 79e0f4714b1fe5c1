// Runs a program as a child process and captures what it does.
#pragma once

#include <string>
#include <vector>

// The quillet binary under test (ctest sets QUILLET_BIN); null when not set.
const char* ToolPath();
#define REQUIRE_TOOL()                                                                             \
    if (ToolPath() == nullptr) {                                                                   \
        GTEST_SKIP() << "QUILLET_BIN is not set";                                                  \
    }

// The example form bundled with the sources.
extern const std::string kExampleForm;

// The whole file; empty when it cannot be read.
std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& bytes);
// The bytes with what varies from run to run (the file identifier, the date) blanked out, keeping
// offsets.
std::string MaskVarying(std::string pdf);

// A shell command's standard output and (when status is given) its exit status, -1 when it did
// not exit normally; killed after five minutes. Safe to call from several threads.
std::string Shell(const std::string& cmd, int* status = nullptr);
// Whether the probe command (e.g. "qpdf --version") runs and succeeds.
bool Have(const std::string& probe);
// The text as one single-quoted shell word.
std::string Quote(const std::string& s);

struct ToolResult {
    int status = -1; // exit status; 128 + n when killed by signal n
    std::string out;
    std::string err;
};

// Runs program with args in workDir (empty: the current directory), feeding input to its
// standard input; killed after five minutes.
ToolResult RunTool(const std::string& program, const std::vector<std::string>& args,
                   const std::string& input = std::string(),
                   const std::string& workDir = std::string());

// A fresh directory under /tmp, removed with everything in it when the object goes.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::string& Path() const { return m_path; }

private:
    std::string m_path;
};
