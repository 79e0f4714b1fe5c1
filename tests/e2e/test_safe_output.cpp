// How the tool replaces outputs: links followed, special files written directly, permissions kept
// and respected, and nothing left behind by a run that is interrupted.
#include "tests/support/pdf_builder.h"
#include "tests/support/run_tool.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char** environ;

namespace {

// A form with `pages` pages, each drawing a stream of `streamBytes` bytes that do not compress.
std::string MakeInput(int pages, size_t streamBytes) {
    testpdf::PdfBuilder b("1.4");
    std::string kids;
    for (int i = 0; i < pages; ++i)
        kids += std::to_string(10 + 2 * i) + " 0 R ";
    b.Add(1, "<< /Type /Catalog /Pages 2 0 R >>");
    b.Add(2, "<< /Type /Pages /Kids [" + kids + "] /Count " + std::to_string(pages) + " >>");
    std::string data(streamBytes, ' ');
    uint32_t x = 2463534242u;
    for (char& c : data)
        x ^= x << 13, x ^= x >> 17, x ^= x << 5, c = static_cast<char>('A' + x % 26);
    for (int i = 0; i < pages; ++i) {
        b.Add(10 + 2 * i, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 200 200] /Contents " +
                              std::to_string(11 + 2 * i) + " 0 R >>");
        b.AddStream(11 + 2 * i, "", "%" + data);
    }
    b.Trailer("/Root 1 0 R");
    return b.Build();
}

// Output rules that depend on permissions, checked as an unprivileged user. Each case prepares
// the folder (as the test's user), runs the tool, then a shell check must pass.
TEST(SafeOutput, ExistingOutputs) {
    REQUIRE_TOOL();
    std::string as;
    if (::geteuid() == 0) {
        if (!Have("setpriv --version"))
            GTEST_SKIP() << "running as root without setpriv: no unprivileged user to run as";
        as = "setpriv --reuid=65534 --regid=65534 --clear-groups ";
    }
    struct Case {
        const char* what;
        const char* setup;
        const char* output;
        int status;
        const char* check;
    } cases[] = {
        {"link followed, mode kept", "echo old >real && chmod 606 real && ln -s real link", "link",
         0, "test -L link && grep -q %PDF real && test $(stat -c %a real) = 606"},
        {"fifo written directly", "mkfifo f && chmod 666 f && (cat f >got &)", "f", 0,
         "sleep 1; test -p f && qpdf --check got >/dev/null"},
        {"file not writable", "echo old >o && chmod 444 o", "o", 1, "test \"$(cat o)\" = old"},
        {"folder", "mkdir o", "o", 1, "test -d o"},
        {"no temporary file possible", "mkdir d && echo old >d/o && chmod 646 d/o && chmod 555 d",
         "d/o", 0, "grep -q %PDF d/o && test \"$(ls -A d)\" = o && test $(stat -c %a d/o) = 646"},
        {"new file, folder not writable", "mkdir d && chmod 555 d", "d/o", 1, "test ! -e d/o"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        TempDir dir;
        std::filesystem::copy_file(ToolPath(), dir.Path() + "/quillet");
        WriteFile(dir.Path() + "/in.pdf", MakeInput(1, 100));
        std::string script = "cd " + Quote(dir.Path()) + " && chmod 777 . && " + c.setup + " && " +
                             as + "./quillet in.pdf " + c.output + " 2>err; echo $? >status; " +
                             c.check + " && cat status err";
        int status = -1;
        std::string out = Shell("sh -c " + Quote(script), &status);
        std::string err =
            c.status == 0 ? "" : "File '" + std::string(c.output) + "' cannot be created\n";
        EXPECT_EQ(status, 0) << out;
        EXPECT_EQ(out, std::to_string(c.status) + "\n" + err);
    }
}

// Interrupted while writing a large output: the temporary file goes, the old output stays, and
// the tool dies by the signal it was sent.
TEST(SafeOutput, SignalsLeaveNothingBehind) {
    REQUIRE_TOOL();
    TempDir dir;
    const std::string in = dir.Path() + "/in.pdf", out = dir.Path() + "/out.pdf";
    WriteFile(in, MakeInput(48, size_t{1} << 20));
    std::ofstream(out) << "old\n";
    for (int signal : {SIGTERM, SIGINT, SIGHUP}) {
        SCOPED_TRACE(signal);
        posix_spawnattr_t attr;
        posix_spawnattr_init(&attr);
        sigset_t defaults;
        sigemptyset(&defaults);
        sigaddset(&defaults, signal);
        posix_spawnattr_setsigdefault(&attr, &defaults);
        posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETSIGDEF);
        std::string tool = ToolPath();
        char* argv[] = {tool.data(), const_cast<char*>(in.c_str()), const_cast<char*>(out.c_str()),
                        nullptr};
        pid_t pid = -1;
        ASSERT_EQ(posix_spawn(&pid, tool.c_str(), nullptr, &attr, argv, environ), 0);
        posix_spawnattr_destroy(&attr);
        bool seen = false;
        for (int i = 0; i < 20000 && !seen; ++i) {
            for (const auto& e : std::filesystem::directory_iterator(dir.Path()))
                seen = seen || e.path().filename().string().starts_with(".out.pdf.");
            if (!seen)
                std::this_thread::sleep_for(std::chrono::microseconds(500));
        }
        ::kill(pid, signal);
        int wstatus = 0;
        ::waitpid(pid, &wstatus, 0);
        EXPECT_TRUE(seen) << "no temporary file appeared";
        EXPECT_TRUE(WIFSIGNALED(wstatus) && WTERMSIG(wstatus) == signal) << wstatus;
        int entries = 0;
        for ([[maybe_unused]] const auto& e : std::filesystem::directory_iterator(dir.Path()))
            ++entries;
        EXPECT_EQ(entries, 2);
        EXPECT_EQ(ReadFile(out), "old\n");
    }
}

} // namespace
