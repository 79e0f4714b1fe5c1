// PDFileIO: the buffered file of the reader and the writer, with 64-bit positions.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

class PDFileIO {
public:
    static constexpr int kWriteBuffer = 65536;

    PDFileIO() = default;
    ~PDFileIO();
    PDFileIO(const PDFileIO&) = delete;
    PDFileIO& operator=(const PDFileIO&) = delete;

    // Both return 0 or the system's error number.
    int OpenWrite(const char* name); // creates or truncates
    int OpenRead(const char* name);  // existing file only
    int Close();                     // flushes first; 0 or the system's error number
    // Up to n bytes; the count read, 0 at end or failure (which also sets the end flag).
    int64_t Read(void* buffer, int64_t n);
    // From the current position to the end, at most limit bytes, into out (replacing what it
    // held). A regular file is read in one call of its size; anything else in growing pieces, so
    // that a size the system cannot tell (a folder claims the largest offset) costs nothing.
    // Returns the count read.
    int64_t ReadRest(std::vector<uint8_t>& out, int64_t limit);
    bool Write(const void* bytes, int64_t n) {
        // Inline: the writer hands over every token and blank on its own.
        if (n > 0 && bytes != nullptr && n < kWriteBuffer - m_used && m_fd >= 0 &&
            !m_buffer.empty()) {
            std::memcpy(m_buffer.data() + m_used, bytes, static_cast<size_t>(n));
            m_used += n;
            return true;
        }
        return WriteSlow(bytes, n);
    }
    bool AtEnd() const noexcept { return m_atEnd; }
    int64_t Tell() const noexcept;
    int GetByte(); // -1 at end
    // origin 0: from the start; 2: from the end. Flushes and clears the end flag. New position or
    // -1.
    int64_t Seek(int64_t pos, int origin = 0);
    void AttachStdout();
    bool IsOpen() const noexcept { return m_fd >= 0; }

private:
    bool Flush();
    bool WriteSlow(const void* bytes, int64_t n);
    void StartBuffer();

    int m_fd = -1;
    bool m_ownsFd = false;
    bool m_atEnd = false;
    int64_t m_pos = 0;             // position of the OS handle
    std::vector<uint8_t> m_buffer; // kWriteBuffer bytes once writing started
    int64_t m_used = 0;            // bytes of m_buffer waiting to be written
};
