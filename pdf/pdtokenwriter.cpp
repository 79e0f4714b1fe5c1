#include "pdf/pdtokenwriter.h"

#include "pdf/pdformat.h"
#include "streams/pddiag.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <new>

namespace {

// Binary bytes in the second comment line mark the file as binary for transfer programs.
constexpr char kHeader[] = "%PDF-1.4\r\n%\xE2\xE3\xCF\xD3\r\n";

} // namespace

PDTokenWriter::~PDTokenWriter() = default;

void PDTokenWriter::Restart(Target target) {
    m_target = target;
    m_file = nullptr;
    m_image.reset();
    m_imageCapacity = 0;
    m_offset = 0;
    m_column = -1;
    m_failed = false;
}

void PDTokenWriter::WriteToFile(PDFileIO* file) {
    Restart(file != nullptr ? kFile : kNone);
    m_file = file;
}

void PDTokenWriter::WriteToMemory() {
    Restart(kMemory);
}

void PDTokenWriter::WriteToCounter() {
    Restart(kCounter);
}

std::unique_ptr<uint8_t[]> PDTokenWriter::TakeImage(int64_t* length) noexcept {
    *length = ImageLength();
    std::unique_ptr<uint8_t[]> image = std::move(m_image);
    m_imageCapacity = 0;
    m_target = kNone;
    return image;
}

bool PDTokenWriter::EmitToMemory(const void* bytes, int64_t length) {
    if (length > m_imageCapacity - m_offset) {
        int64_t need = m_offset + length;
        if (need > INT64_MAX - kMemoryGrowth)
            return false;
        // At least doubling keeps a large image from being copied once per 100,000 bytes.
        int64_t capacity = std::max(need + kMemoryGrowth, std::min(m_imageCapacity, need) * 2);
        std::unique_ptr<uint8_t[]> grown(new (std::nothrow) uint8_t[static_cast<size_t>(capacity)]);
        if (!grown)
            return false;
        if (m_offset > 0)
            std::memcpy(grown.get(), m_image.get(), static_cast<size_t>(m_offset));
        m_image = std::move(grown);
        m_imageCapacity = capacity;
    }
    std::memcpy(m_image.get() + m_offset, bytes, static_cast<size_t>(length));
    return true;
}

// Sends bytes to the output. A failure sticks, so a caller may check once at the end.
bool PDTokenWriter::Emit(const void* bytes, int64_t length) {
    if (length <= 0)
        return !m_failed;
    bool ok = false;
    switch (m_target) {
    case kFile:
        ok = m_file->Write(bytes, length);
        break;
    case kMemory:
        ok = EmitToMemory(bytes, length);
        break;
    case kCounter:
        ok = true;
        break;
    case kNone:
        break;
    }
    if (ok)
        m_offset += length;
    else
        m_failed = true;
    return ok;
}

bool PDTokenWriter::EnsureHeader() {
    if (m_column >= 0)
        return true;
    m_column = 0;
    return Emit(kHeader, sizeof kHeader - 1);
}

bool PDTokenWriter::WriteToken(std::string_view token) {
    bool ok = EnsureHeader();
    int64_t n = static_cast<int64_t>(token.size());
    if (m_column > 0 && m_column + n > kWrapColumn)
        ok = NewLine() && ok;
    if (m_column > 0) {
        ok = Emit(" ", 1) && ok;
        ++m_column;
    }
    ok = Emit(token.data(), n) && ok;
    // A single token longer than a line cannot be wrapped; the column only has to stay above
    // the wrap limit for the next token.
    m_column = n > INT32_MAX - m_column ? INT32_MAX : m_column + static_cast<int>(n);
    return ok;
}

bool PDTokenWriter::NewLine() {
    bool ok = EnsureHeader();
    m_column = 0;
    return Emit("\r\n", 2) && ok;
}

bool PDTokenWriter::WriteRaw(const void* bytes, int64_t length) {
    bool ok = EnsureHeader();
    return Emit(bytes, length) && ok;
}

bool PDTokenWriter::WriteStreamData(const uint8_t* bytes, int64_t length) {
    if (!m_crypt)
        return WriteRaw(bytes, length);
    // The caller's bytes stay as they are: the same content may be written again unencrypted.
    std::vector<uint8_t> crypted = m_crypt(bytes, length);
    return WriteRaw(crypted.data(), static_cast<int64_t>(crypted.size()));
}

bool PDTokenWriter::WriteInt64(int64_t value) {
    char text[24];
    auto result = std::to_chars(text, text + sizeof text, value);
    return WriteToken(std::string_view(text, static_cast<size_t>(result.ptr - text)));
}

bool PDTokenWriter::WriteInt(int32_t value) {
    return WriteInt64(value);
}

bool PDTokenWriter::WriteReal(float value) {
    return WriteToken(PDFormatReal(value));
}

bool PDTokenWriter::WriteEndObj() {
    bool ok = true;
    if (m_column > 0)
        ok = NewLine();
    ok = WriteToken("endobj") && ok;
    return NewLine() && ok;
}
