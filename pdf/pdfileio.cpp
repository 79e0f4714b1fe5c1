#include "pdf/pdfileio.h"

#include "streams/pdprefault.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// One system call moves at most this much, whatever the caller asked for.
constexpr int64_t kMaxChunk = int64_t{1} << 30;

int LastError() {
    return errno != 0 ? errno : EIO;
}

// Writes all n bytes, retrying after interruptions and short writes.
bool WriteAll(int fd, const uint8_t* p, int64_t n) {
    while (n > 0) {
        ssize_t done = ::write(fd, p, static_cast<size_t>(std::min(n, kMaxChunk)));
        if (done < 0 && errno == EINTR)
            continue;
        if (done <= 0)
            return false;
        p += done;
        n -= done;
    }
    return true;
}

} // namespace

PDFileIO::~PDFileIO() {
    Close();
}

int PDFileIO::OpenWrite(const char* name) {
    Close();
    if (name == nullptr)
        return ENOENT;
    int fd = ::open(name, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd < 0)
        return LastError();
    m_fd = fd;
    m_ownsFd = true;
    m_atEnd = false;
    m_pos = 0;
    StartBuffer();
    return 0;
}

int PDFileIO::OpenRead(const char* name) {
    Close();
    if (name == nullptr)
        return ENOENT;
    int fd = ::open(name, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return LastError();
    ::posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL); // only a hint; failure changes nothing
    m_fd = fd;
    m_ownsFd = true;
    m_atEnd = false;
    m_pos = 0;
    m_used = 0;
    return 0;
}

int PDFileIO::Close() {
    if (m_fd < 0)
        return 0;
    int error = Flush() ? 0 : LastError();
    if (m_ownsFd && ::close(m_fd) != 0 && error == 0)
        error = LastError();
    m_fd = -1;
    m_ownsFd = false;
    m_pos = 0;
    m_used = 0;
    return error;
}

void PDFileIO::StartBuffer() {
    m_used = 0;
    if (m_buffer.empty()) {
        m_buffer.reserve(kWriteBuffer);
        PDPrefault(m_buffer.data(), kWriteBuffer);
        m_buffer.resize(kWriteBuffer);
    }
}

bool PDFileIO::Flush() {
    if (m_used == 0)
        return true;
    bool ok = m_fd >= 0 && WriteAll(m_fd, m_buffer.data(), m_used);
    if (ok)
        m_pos += m_used;
    m_used = 0;
    return ok;
}

int64_t PDFileIO::Read(void* buffer, int64_t n) {
    if (m_fd < 0 || buffer == nullptr || n <= 0 || !Flush()) {
        m_atEnd = true;
        return 0;
    }
    auto* p = static_cast<uint8_t*>(buffer);
    int64_t total = 0;
    while (total < n) {
        ssize_t got = ::read(m_fd, p + total, static_cast<size_t>(std::min(n - total, kMaxChunk)));
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        total += got;
    }
    m_pos += total;
    if (total == 0)
        m_atEnd = true;
    return total;
}

int64_t PDFileIO::ReadRest(std::vector<uint8_t>& out, int64_t limit) {
    constexpr int64_t kPiece = int64_t{1} << 16;
    out.clear();
    if (m_fd < 0 || limit <= 0 || !Flush())
        return 0;
    struct stat info = {};
    int64_t guess = kPiece;
    if (::fstat(m_fd, &info) == 0 && S_ISREG(info.st_mode))
        guess = std::max<int64_t>(info.st_size - m_pos, 0) + 1; // one more byte sees the end
    int64_t total = 0;
    while (total < limit) {
        int64_t want = std::min(limit - total, std::max(guess, kPiece));
        if (out.capacity() < static_cast<size_t>(total + want)) {
            out.reserve(static_cast<size_t>(total + want));
            PDPrefault(out.data() + total, static_cast<size_t>(want));
        }
        out.resize(static_cast<size_t>(total + want));
        int64_t got = Read(out.data() + total, want);
        total += got;
        if (got < want)
            break;
        guess = total; // the file grew or gives no size: double what is held
    }
    out.resize(static_cast<size_t>(total));
    return total;
}

bool PDFileIO::WriteSlow(const void* bytes, int64_t n) {
    if (m_fd < 0)
        return false;
    if (bytes == nullptr || n <= 0)
        return n == 0;
    const auto* p = static_cast<const uint8_t*>(bytes);
    if (m_used + n > kWriteBuffer && !Flush())
        return false;
    if (n >= kWriteBuffer) {
        if (!WriteAll(m_fd, p, n))
            return false;
        m_pos += n;
        return true;
    }
    if (m_buffer.empty())
        m_buffer.resize(kWriteBuffer); // a handle opened for reading that is written after all
    std::memcpy(m_buffer.data() + m_used, p, static_cast<size_t>(n));
    m_used += n;
    return true;
}

int64_t PDFileIO::Tell() const noexcept {
    return m_pos + m_used;
}

int PDFileIO::GetByte() {
    uint8_t byte = 0;
    return Read(&byte, 1) == 1 ? byte : -1;
}

int64_t PDFileIO::Seek(int64_t pos, int origin) {
    if (m_fd < 0 || !Flush())
        return -1;
    m_atEnd = false;
    off_t where = ::lseek(m_fd, static_cast<off_t>(pos), origin == 2 ? SEEK_END : SEEK_SET);
    if (where < 0)
        return -1;
    m_pos = where;
    return m_pos;
}

void PDFileIO::AttachStdout() {
    Close();
    m_fd = STDOUT_FILENO;
    m_ownsFd = false;
    m_atEnd = false;
    off_t where = ::lseek(m_fd, 0, SEEK_CUR); // a pipe has no position: count from 0
    m_pos = where < 0 ? 0 : where;
    StartBuffer();
}
