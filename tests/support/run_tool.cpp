#include "tests/support/run_tool.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sys/wait.h>
#include <unistd.h>

namespace {

std::string ReadAll(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Only async-signal-safe calls between fork and exec.
[[noreturn]] void RunChild(const std::string& dir, const std::string& program, char** argv,
                           const std::string& workDir) {
    int in = open((dir + "/stdin").c_str(), O_RDONLY);
    int out = open((dir + "/stdout").c_str(), O_WRONLY);
    int err = open((dir + "/stderr").c_str(), O_WRONLY);
    if (in < 0 || out < 0 || err < 0 || dup2(in, 0) < 0 || dup2(out, 1) < 0 || dup2(err, 2) < 0) {
        _exit(126);
    }
    if (!workDir.empty() && chdir(workDir.c_str()) != 0) {
        _exit(126);
    }
    // A hung program is killed instead of hanging the test run; the alarm survives exec.
    alarm(60);
    execv(program.c_str(), argv);
    _exit(127);
}

} // namespace

ToolResult RunTool(const std::string& program, const std::vector<std::string>& args,
                   const std::string& input, const std::string& workDir) {
    TempDir streams;
    const std::string& dir = streams.Path();
    std::ofstream(dir + "/stdin", std::ios::binary) << input;
    std::ofstream(dir + "/stdout", std::ios::binary).flush();
    std::ofstream(dir + "/stderr", std::ios::binary).flush();

    std::vector<std::string> storage = args;
    storage.insert(storage.begin(), program);
    std::vector<char*> argv;
    for (std::string& s : storage) {
        argv.push_back(s.data());
    }
    argv.push_back(nullptr);

    ToolResult result;
    std::fflush(nullptr);
    pid_t pid = fork();
    if (pid < 0) {
        return result;
    }
    if (pid == 0) {
        RunChild(dir, program, argv.data(), workDir);
    }
    int wstatus = 0;
    pid_t waited = -1;
    do {
        waited = waitpid(pid, &wstatus, 0);
    } while (waited < 0 && errno == EINTR);
    if (waited == pid && WIFEXITED(wstatus)) {
        result.status = WEXITSTATUS(wstatus);
    }
    result.out = ReadAll(dir + "/stdout");
    result.err = ReadAll(dir + "/stderr");
    return result;
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
