// PDWriter: the writing side of a document: output numbers and the renumbering maps of the
// inputs written into it, the token layer and the serialiser, the output page tree, catalog,
// encryption, cross-reference table and trailer.
#pragma once

#include "pdf/pderror.h"
#include "pdf/pdvalue.h"

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

class PDReader;
class PDSecurity;

class PDWriter : public virtual PDErrorState {
public:
    PDWriter();
    virtual ~PDWriter();
    PDWriter(const PDWriter&) = delete;
    PDWriter& operator=(const PDWriter&) = delete;

    // Output numbers handed out before the file is written carry this bias, so they are never
    // mistaken for input numbers; the file holds them modulo the bias.
    static constexpr int32_t kOutputBias = 10000000;

    // Starts a new output: a file (created or truncated; false with ErrorCode() set to the
    // system's error number) or a growing memory image.
    bool BeginWrite(const char* name);
    void BeginWriteMemory();
    bool IsWriting() const noexcept { return m_out != nullptr; }

    // Renumbering maps: one per input document written into this output. MapId gives the biased
    // output number of input object n in a map, allocating one on first use (released numbers
    // first). Numbers that are already biased are returned as they are.
    int32_t MapId(int32_t n, int map);
    // Zeroes one map entry, so that the next MapId hands out a new number.
    void ClearMapEntry(int32_t n, int map);
    // Index of a new, empty map.
    int AllocMap();
    // The input whose numbers a map renumbers (null: unknown). A reference through the map to a
    // number that input does not have is written as null, never as a number no object carries.
    void SetMapSource(int map, PDReader* input);
    // A fresh biased output number.
    int32_t NewObjectNumber();
    // Hands a biased number back for reuse by the next NewObjectNumber or MapId.
    void ReleaseNumber(int32_t biased);
    // The number as written in the file: n modulo the bias after mapping input numbers.
    int32_t FileNumber(int32_t n, int map);
    // Every input reference under value becomes its biased output number in map.
    void RenumberToOutput(PDValue& value, int map);

    // The token layer: one blank between tokens, lines wrapped before column 75, CRLF.
    bool WriteToken(std::string_view token);
    bool NewLine();
    bool WriteRaw(const void* bytes, int64_t length);
    // Data of the stream object being written, encrypted with its key when the output is.
    bool WriteStreamData(const uint8_t* bytes, int64_t length);
    // The /Length of plain stream data once WriteStreamData has written them.
    int64_t StoredLength(int64_t plain) const noexcept;
    bool WriteInt(int32_t value);
    bool WriteInt64(int64_t value);
    bool WriteReal(float value);
    // "m 0 R" for input or biased number n.
    bool WriteReference(int32_t n, int map);
    // The serialiser: references mapped through map, strings encrypted when the output is. A
    // null value sets error 1009 and writes nothing.
    bool WriteValue(const PDValue* value, int map);
    // Bytes as a string token: hexadecimal or literal (PDStringMode), encrypted when the output is.
    bool WriteStringBytes(const uint8_t* bytes, int length, int mode);
    // "m 0 obj" for input or biased number n. False when m was written before (error 1007, nothing
    // written) or the output failed.
    bool WriteObjectHeader(int32_t n, int map);
    bool WriteEndObj();
    // Header, value, stream framing and "endobj". Number 0 takes a new number.
    bool WriteObject(int32_t n, const PDValue& value, int map);
    // True when output number (final or biased) has been written.
    bool IsWritten(int32_t n) const noexcept;

    // The end of writing: final hook, page tree and catalog, cross-reference table and trailer,
    // close, after-close hook. False when the output failed at any point.
    bool EndWrite();
    // The memory image after EndWrite (null, length 0, unless writing to memory).
    std::unique_ptr<uint8_t[]> TakeImage(int64_t* length) noexcept;

    // The output page tree. CountPage registers (or, while replaying, checks) the next page;
    // ParentForPage gives the biased number of the /Pages node that will hold page index i.
    bool CountPage(int32_t n, int map);
    int32_t ParentForPage(int pageIndex, int32_t pageNumber);
    int OutputPageCount() const noexcept;
    // The file number of output page i (0-based); 0 when out of range.
    int32_t OutputPage(int index) const noexcept;

    // Entries of the output catalog written after /Type and /Pages, in order (values may hold
    // biased references). A dictionary value without entries is left out.
    PDValue& OutputCatalog();
    // The document information object (biased number), 0 when none.
    int32_t OutputInfo() const noexcept;
    void SetOutputInfo(int32_t biased) noexcept;
    // The output's security handler, made on first use; encryption starts once a password is set.
    PDSecurity& OutputSecurity();
    bool IsEncryptingOutput() const noexcept;
    // The 16 bytes of both /ID elements of the output.
    const uint8_t* OutputId() const noexcept;

protected:
    // The writing sequence of EndWrite, in this order; each step may be overridden.
    // Final hook: runs first (the form document brings the document information up to date).
    virtual void OnFinalWrite() {}
    // Writes objects collected during the transfer and adds their entries to OutputCatalog().
    virtual bool WriteCatalogEntries() { return true; }
    // The /Pages nodes of the output page tree and the catalog.
    virtual bool WritePageTreeAndCatalog();
    virtual bool WriteXrefAndTrailer();
    // Runs after the file was closed.
    virtual void OnAfterClose() {}

private:
    struct WriteState;
    std::unique_ptr<WriteState> m_out;
    bool WriteEncryptDictionary();
    bool WriteStrongEncryptEntries();
    bool WriteCatalog();
    void StartOutput();
    void MakeIdentifier(const char* name);
    bool WriteString(const PDValue& value);
    void SelectObjectKey(int32_t m);
    bool WriteStreamDictionary(const PDValue& value, int map);
    static std::unique_ptr<PDValue> LengthValue(int64_t length);
    bool WritePagesNode(int32_t own, int32_t parent, const std::vector<int32_t>& kids,
                        const std::vector<int32_t>& counts, int32_t& count);
};
