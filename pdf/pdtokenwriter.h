// PDTokenWriter: the output token layer of the file writer. Every byte of an output file passes
// through it: the header, tokens with their blanks and line breaks, and raw stream data.
#pragma once

#include "pdf/pdfileio.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>
#include <vector>

class PDTokenWriter {
public:
    // Stream data encrypted with the key of the object being written (their length may change).
    using RawCrypt = std::function<std::vector<uint8_t>(const uint8_t* data, int64_t length)>;

    static constexpr int kWrapColumn = 75;
    static constexpr int64_t kMemoryGrowth = 100000;

    PDTokenWriter() = default;
    ~PDTokenWriter();
    PDTokenWriter(const PDTokenWriter&) = delete;
    PDTokenWriter& operator=(const PDTokenWriter&) = delete;

    // Output targets; each starts a new output (offset 0, header not yet written).
    void WriteToFile(PDFileIO* file); // not owned; must stay open while writing
    void WriteToMemory();             // a growing memory image
    void WriteToCounter();            // counts the bytes and keeps nothing

    // All writers return false when the output failed.
    bool WriteToken(std::string_view token);
    bool NewLine();
    // Bytes as they are; the column is left alone.
    bool WriteRaw(const void* bytes, int64_t length);
    // Stream data: encrypted on the way out when a crypt hook is set, else as WriteRaw.
    bool WriteStreamData(const uint8_t* bytes, int64_t length);
    bool WriteInt(int32_t value);
    bool WriteInt64(int64_t value);
    bool WriteReal(float value);

    // Object framing; the file writer numbers the objects and keeps their offsets.
    // Writes the file header when nothing was written yet (so Tell() is an object's offset).
    bool EnsureStarted() { return EnsureHeader(); }
    // "endobj" on a line of its own.
    bool WriteEndObj();

    void SetRawCrypt(RawCrypt crypt) { m_crypt = std::move(crypt); }
    bool IsEncrypting() const noexcept { return static_cast<bool>(m_crypt); }

    // Bytes written to the current output, the header included.
    int64_t Tell() const noexcept { return m_offset; }
    // Bytes on the current line; -1 before anything was written.
    int Column() const noexcept { return m_column; }
    bool Failed() const noexcept { return m_failed; }

    // The memory image (owned by the writer; null unless writing to memory).
    const uint8_t* Image() const noexcept { return m_image.get(); }
    int64_t ImageLength() const noexcept { return m_image ? m_offset : 0; }
    // Hands the memory image to the caller, with its length in *length; null (length 0) when
    // there is none. The writer then counts as writing to nothing.
    std::unique_ptr<uint8_t[]> TakeImage(int64_t* length) noexcept;

private:
    enum Target { kNone, kFile, kMemory, kCounter };

    void Restart(Target target);
    bool EnsureHeader();
    bool Emit(const void* bytes, int64_t length);
    bool EmitToMemory(const void* bytes, int64_t length);

    Target m_target = kNone;
    PDFileIO* m_file = nullptr;
    std::unique_ptr<uint8_t[]> m_image;
    int64_t m_imageCapacity = 0;
    int64_t m_offset = 0;
    int m_column = -1;
    bool m_failed = false;
    RawCrypt m_crypt;
};
