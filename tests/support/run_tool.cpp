#include "tests/support/run_tool.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sys/wait.h>

ToolResult RunTool(const std::string& program, const std::vector<std::string>& args,
                   const std::string& input, const std::string& workDir) {
    TempDir streams;
    const std::string io = streams.Path() + "/";
    std::ofstream(io + "in", std::ios::binary) << input;
    std::string cmd = (workDir.empty() ? "" : "cd " + Quote(workDir) + " && ") + Quote(program);
    for (const std::string& arg : args)
        cmd += " " + Quote(arg);
    ToolResult result;
    Shell("sh -c " + Quote(cmd + " <" + io + "in >" + io + "out 2>" + io + "err"), &result.status);
    result.out = ReadFile(io + "out");
    result.err = ReadFile(io + "err");
    return result;
}

void WriteFile(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

TempDir::TempDir() {
    char name[] = "/tmp/quillet-test-XXXXXX";
    if (mkdtemp(name) != nullptr) {
        m_path = name;
    }
}

TempDir::~TempDir() {
    if (!m_path.empty()) {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
}

const char* ToolPath() {
    return std::getenv("QUILLET_BIN");
}

const std::string kExampleForm = std::string(QUILLET_SOURCE_DIR) + "/examples/example-form.pdf";

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::string MaskVarying(std::string pdf) {
    for (std::string key : {"/ID [<", "/ModDate (D:"}) {
        for (size_t at = pdf.find(key); at != std::string::npos; at = pdf.find(key, at + 1)) {
            size_t end = pdf.find_first_of("])", at);
            if (end != std::string::npos && end - at < 80)
                std::fill(pdf.begin() + std::ptrdiff_t(at + key.size()),
                          pdf.begin() + std::ptrdiff_t(end), 'x');
        }
    }
    return pdf;
}

std::string Shell(const std::string& cmd, int* status) {
    std::string out;
    FILE* p = popen(("timeout 300 " + cmd).c_str(), "r");
    if (p == nullptr)
        return out;
    char buf[65536];
    for (size_t n; (n = std::fread(buf, 1, sizeof buf, p)) > 0;)
        out.append(buf, n);
    int rc = pclose(p);
    if (status != nullptr)
        *status = WIFEXITED(rc) ? WEXITSTATUS(rc) : -1;
    return out;
}

bool Have(const std::string& probe) {
    int status = -1;
    Shell(probe + " >/dev/null 2>&1", &status);
    return status == 0;
}

std::string Quote(const std::string& s) {
    std::string q = "'";
    for (char c : s)
        q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return q + "'";
}
