// The error state that the reading and the writing side of a document share, and its codes.
#pragma once

// Document error codes (ErrorCode()); any other non-zero value is the system's error number.
namespace pderr {
inline constexpr int kNoHeader = 1001;     // no "%PDF-" in the first 1,000 bytes
inline constexpr int kTrailer = 1002;      // the tail or the trailer could not be read
inline constexpr int kNoStartxref = 1003;  // "startxref" or its number not found
inline constexpr int kCatalog = 1006;      // catalog or page-tree object unreadable
inline constexpr int kDuplicate = 1007;    // one object number written twice
inline constexpr int kNoPageTree = 1008;   // no readable page tree / no template attached
inline constexpr int kNullArgument = 1009; // null value or text handed to an operation
inline constexpr int kNoPageCount = 1010;  // the page-tree root has no /Count
inline constexpr int kFileSize = 1011;     // the file's size cannot be determined
inline constexpr int kNoField = 1016;      // the field to delete does not exist
} // namespace pderr

class PDErrorState {
public:
    // 0, a document error code (pderr) or the system's error number of the last failure.
    int ErrorCode() const noexcept { return m_error; }
    void SetErrorCode(int code) noexcept { m_error = code; }

protected:
    int m_error = 0;
};
