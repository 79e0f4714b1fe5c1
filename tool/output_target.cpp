#include "tool/output_target.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// The temporary file a signal must remove. Written only while no removal is armed, so the
// handler never sees a half-written path.
char g_pendingPath[PATH_MAX + 64];
volatile sig_atomic_t g_pendingArmed = 0;

constexpr int kCleanupSignals[] = {SIGINT, SIGTERM, SIGHUP};

extern "C" void RemovePendingAndDie(int signal) {
    if (g_pendingArmed != 0)
        ::unlink(g_pendingPath);
    // The usual death by this signal, so the caller sees how the run ended.
    ::signal(signal, SIG_DFL);
    ::raise(signal);
}

void ArmRemoval(const std::string& path) {
    g_pendingArmed = 0;
    if (path.size() >= sizeof g_pendingPath)
        return;
    std::memcpy(g_pendingPath, path.c_str(), path.size() + 1);
    struct sigaction action {};
    action.sa_handler = RemovePendingAndDie;
    sigemptyset(&action.sa_mask);
    for (int signal : kCleanupSignals)
        sigaddset(&action.sa_mask, signal);
    for (int signal : kCleanupSignals) {
        struct sigaction previous {};
        // A signal the caller chose to ignore stays ignored.
        if (::sigaction(signal, nullptr, &previous) == 0 && previous.sa_handler != SIG_IGN)
            ::sigaction(signal, &action, nullptr);
    }
    g_pendingArmed = 1;
}

void DisarmRemoval() {
    g_pendingArmed = 0;
}

std::string FolderOf(const std::string& path) {
    size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

// Writes all bytes to fd, retrying after interruptions and short writes.
bool WriteAll(int fd, const uint8_t* p, size_t n) {
    while (n > 0) {
        ssize_t done = ::write(fd, p, n);
        if (done < 0 && errno == EINTR)
            continue;
        if (done <= 0)
            return false;
        p += done;
        n -= static_cast<size_t>(done);
    }
    return true;
}

} // namespace

PDOutputTarget::~PDOutputTarget() {
    Discard();
}

bool PDOutputTarget::Prepare(const std::string& name) {
    Discard();
    m_target = name;
    m_writeName = name;
    m_mode = Mode::kDirect;
    struct stat link {};
    if (::lstat(name.c_str(), &link) == 0 && S_ISLNK(link.st_mode)) {
        char* real = ::realpath(name.c_str(), nullptr);
        if (real == nullptr)
            return true; // a dangling link: writing through it creates the file it names
        m_target = real;
        std::free(real);
    }
    struct stat info {};
    bool exists = ::stat(m_target.c_str(), &info) == 0;
    if (exists && S_ISDIR(info.st_mode))
        return false;
    if (exists && !S_ISREG(info.st_mode)) {
        m_writeName = m_target;
        return true;
    }
    // Deliberate: a file the user may not write is not replaced, though the folder would allow it.
    if (exists && ::faccessat(AT_FDCWD, m_target.c_str(), W_OK, AT_EACCESS) != 0)
        return false;
    if (MakeTemporary(m_target)) {
        if (exists)
            ::chmod(m_writeName.c_str(), info.st_mode & 07777);
        return true;
    }
    if (!exists)
        return false;
    m_mode = Mode::kInPlace;
    m_writeName.clear();
    return true;
}

// "dir/.name.pdf.<pid>.<n>.tmp": same folder, so the rename cannot cross file systems.
bool PDOutputTarget::MakeTemporary(const std::string& target) {
    std::string folder = FolderOf(target);
    size_t slash = target.rfind('/');
    std::string base = slash == std::string::npos ? target : target.substr(slash + 1);
    for (int attempt = 0; attempt < 16; ++attempt) {
        std::string name = folder + "/." + base + "." + std::to_string(::getpid()) + "." +
                           std::to_string(attempt) + ".tmp";
        // The signals wait while the file is made and its removal armed, so none can come
        // between the two and leave the file behind.
        sigset_t blocked, previous;
        sigemptyset(&blocked);
        for (int signal : kCleanupSignals)
            sigaddset(&blocked, signal);
        ::sigprocmask(SIG_BLOCK, &blocked, &previous);
        int fd = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        int error = errno;
        if (fd >= 0)
            ArmRemoval(name);
        ::sigprocmask(SIG_SETMASK, &previous, nullptr);
        if (fd >= 0) {
            ::close(fd);
            m_mode = Mode::kTemporary;
            m_writeName = name;
            m_hasTemporary = true;
            return true;
        }
        if (error != EEXIST)
            return false;
    }
    return false;
}

bool PDOutputTarget::Commit(const std::vector<uint8_t>& image) {
    if (m_mode == Mode::kInPlace) {
        int fd = ::open(m_target.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
        if (fd < 0)
            return false;
        bool ok = WriteAll(fd, image.data(), image.size());
        return ::close(fd) == 0 && ok;
    }
    if (!m_hasTemporary)
        return true;
    bool ok = ::rename(m_writeName.c_str(), m_target.c_str()) == 0;
    if (ok) {
        DisarmRemoval();
        m_hasTemporary = false;
    }
    Discard();
    return ok;
}

void PDOutputTarget::Discard() {
    if (!m_hasTemporary)
        return;
    ::unlink(m_writeName.c_str());
    DisarmRemoval();
    m_hasTemporary = false;
}
