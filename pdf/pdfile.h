// PDFile: a PDF document on disk or in memory. This header holds its reading side: header,
// cross-reference data, trailer, catalog, loading objects by number and decryption.
#pragma once

#include "pdf/pdfileio.h"
#include "pdf/pdobject.h"
#include "pdf/pdparse.h"
#include "pdf/pdresolve.h"
#include "pdf/pdstr.h"
#include "pdf/pdvalue.h"

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

class PDSecurity;

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

// One cross-reference entry: an object at a file offset, or one inside an object stream.
struct PDXrefEntry {
    int64_t offset = 0; // file offset (header offset already added); 0 when not in the file
    int32_t stream = 0; // number of the object stream holding the object; 0 when none
    int32_t index = -1; // index inside that object stream
    bool IsEmpty() const noexcept { return offset <= 0 && stream <= 0; }
};

enum class PDPasswordStatus : int {
    kNotEncrypted = 0, // nothing to unlock
    kAccepted = 1,     // strings and streams are decrypted from now on
    kRejected = 2,     // wrong password: objects load, but encrypted data stay scrambled
    kUnsupported = 3,  // a handler this library cannot decrypt (AES, crypt filters, /V 4 and up)
};

class PDFile : public PDParseHost, public PDResolver {
public:
    PDFile();
    ~PDFile() override;
    PDFile(const PDFile&) = delete;
    PDFile& operator=(const PDFile&) = delete;

    // 1 for a plain (output) document; input documents answer 2.
    virtual int DocumentKind() const { return 1; }
    // One past the highest object number of the cross-reference data (at least /Size, capped).
    virtual int32_t ObjectCount() const;

    // Opens the file and reads its structure: header, cross-reference chain, trailer, security
    // handler and catalog. When the file is encrypted the empty password is tried at once.
    // False with ErrorCode() set (1001, 1002, 1003, 1006, 1011 or the system's error number).
    bool OpenRead(const char* name);
    // The same from a memory image (copied; the caller keeps its bytes).
    bool OpenMemory(const uint8_t* data, int64_t length);
    // Drops everything read; the object is ready for another open.
    void CloseRead();
    bool IsOpenForReading() const noexcept { return m_inOpen; }

    int ErrorCode() const noexcept { return m_error; }
    void SetErrorCode(int code) noexcept { m_error = code; }
    // The three bytes behind "%PDF-", e.g. "1.4"; empty before a successful header search.
    const char* Version() const noexcept { return m_version; }
    int64_t HeaderOffset() const noexcept { return m_headerOffset; }
    int64_t FileSize() const noexcept { return m_inSize; }
    const PDStr& FileName() const noexcept { return m_inName; }

    // The trailer, merged over every section read so far (the newest section wins per key).
    // Owned by the file; null before a successful open.
    const PDValue* Trailer() const noexcept { return m_trailer.get(); }
    int32_t TrailerSize() const noexcept { return m_trailerSize; }
    int32_t RootNumber() const noexcept { return m_rootNum; }
    int32_t InfoNumber() const noexcept { return m_infoNum; }
    int32_t EncryptNumber() const noexcept { return m_encryptNum; }
    // The two elements of /ID as bytes (decoded); empty when absent.
    const PDStr& FirstId() const noexcept { return m_firstId; }
    const PDStr& SecondId() const noexcept { return m_secondId; }

    // The deep copy of the catalog dictionary, owned by the file; null when not read.
    PDValue* Catalog() const noexcept { return m_catalog.get(); }
    // Object number of the page-tree root (the catalog's /Pages reference); 0 when none.
    int32_t PagesRoot() const noexcept { return m_pagesRoot; }
    // Entries of the catalog copy as written (possibly references); null when absent.
    PDValue* AcroForm() const noexcept;
    PDValue* Threads() const noexcept;
    PDValue* Dests() const noexcept;
    // A copy of the /Dests entry of the catalog's /Names dictionary; null when absent.
    PDValue* NamesDests() const noexcept { return m_namesDests.get(); }

    // Reads object n into holder (value, generation, kind, offset, end offset, file); decrypts it
    // when a key is known. False when the object cannot be read; the holder is then unchanged.
    bool LoadObject(PDIndirectObj& holder, int32_t n);
    // A private copy of object n's value (owned by the caller); null when unreadable.
    std::unique_ptr<PDValue> LoadValue(int32_t n) override;

    // True when the trailer names a resolvable /Encrypt dictionary.
    bool IsEncrypted() const noexcept { return m_security != nullptr; }
    // False when the file is encrypted with a handler this library cannot decrypt.
    bool IsEncryptionSupported() const noexcept;
    // The input's security handler, owned by the file; null when the file is not encrypted.
    PDSecurity* Security() const noexcept { return m_security.get(); }
    // Tries the password as user password, then as owner password. On success every object is
    // read again decrypted: cached objects are dropped and the catalog is taken anew. False when
    // the password is wrong, the handler unsupported (see PasswordStatus) or the catalog is then
    // unreadable (1006). An unencrypted file answers true.
    bool SetPassword(const char* password);
    PDPasswordStatus PasswordStatus() const noexcept { return m_passwordStatus; }

    // The parse host: the parser reads the input file through these.
    int Read(uint8_t* buffer, int n) override;
    int64_t Tell() override { return m_inPos; }
    bool Seek(int64_t pos) override;
    bool SeekObject(int32_t objNum) override;
    int32_t LoadedObjectNumber(int32_t objNum) override;
    bool PackedInteger(int32_t objNum, int64_t& value) override;
    int64_t Remaining() override;

    // The cross-reference entry of object n, reading older cross-reference streams on demand;
    // null when the file knows nothing of n. Owned by the file, valid until the next read.
    const PDXrefEntry* XrefEntry(int32_t n);
    // Cross-reference sections read so far (older stream sections are read only when needed).
    int SectionsRead() const noexcept { return m_sectionsRead; }
    // True once the whole file was scanned for object headers because the index was wrong.
    bool WasReconstructed() const noexcept { return m_scanDone; }

    // For ObjHolder: the cached object n of an input document; null when none (or not input).
    virtual PDIndirectObj* PeekCached(int32_t n) {
        (void)n;
        return nullptr;
    }

    // The pages of the input, in order, by walking /Kids from the page-tree root. Repeated nodes
    // and cycles are skipped; the walk stops at pdlimits::kMaxTreeDepth.
    std::vector<int32_t> CollectPages();

protected:
    // Called when objects read so far are stale (a decryption key became known).
    virtual void OnObjectsInvalidated() {}
    // Visits one kid of a /Pages node: a node is walked in turn, a page is handed to VisitPage.
    // False when the kid cannot be read.
    virtual bool VisitKid(int32_t kidNum, int32_t parentNum);
    // Receives each page of the walk; the default collects its number.
    virtual bool VisitPage(PDIndirectObj& page, int32_t parentNum);
    // Walks the kids of one /Pages node (a missing /Kids is reported and ends this node).
    void WalkKids(const PDIndirectObj& node);

private:
    // The one object stream held: its number, decoded data and (object number, offset) pairs.
    struct ObjStreamCache {
        int32_t number = 0;
        PDStr data;
        std::vector<std::pair<int32_t, int64_t>> pairs;
        int64_t first = 0;
        bool busy = false; // being loaded: a nested request must not replace it
    };

    // pdfile_reader.cpp
    bool OpenStructure();
    bool FindHeader();
    bool FindStartXref(int64_t& offset);
    bool TakeTrailerValues();
    bool TakeCatalog();
    void SetUpSecurity();
    void DecryptValue(PDValue& value, int32_t n, int32_t generation) const;
    int64_t ReadAt(int64_t pos, uint8_t* buffer, int64_t n);
    bool LoadFromFile(PDIndirectObj& holder, int32_t n, int64_t offset);
    int64_t LocateObject(int32_t n, const PDXrefEntry* entry);
    int64_t HeaderOffsetOf(int32_t objNum);
    bool HeaderAt(int64_t offset, int32_t n);

    void CountObjects();
    // An offset as written in the file, moved past the junk in front of the header; 0 when it
    // cannot lie inside the file.
    int64_t FileOffset(int64_t written) const noexcept {
        return written > 0 && written < m_inSize - m_headerOffset ? written + m_headerOffset : 0;
    }

    // pdfile_xref.cpp
    bool ReadXrefChain(int64_t offset);
    bool ReadSection(int64_t offset, int64_t& prev, bool& isStream);
    bool ReadClassicSection(int64_t start, int64_t& prev);
    bool ReadTrailerDict(int64_t pos, int64_t& prev, int64_t& xrefStm);
    bool ReadPendingSection();
    void MergeTrailer(const PDValue& section);
    void SetFileEntry(int64_t n, int64_t offset);
    void SetStreamEntry(int64_t n, int64_t stream, int64_t index);
    PDXrefEntry* GrowIndex(int64_t n);
    bool RepairFromScan();
    void ScanObjectHeaders();
    int64_t ScannedOffset(int32_t n);

    // pdfile_xrefstream.cpp
    int64_t SkipCommentLines(int64_t offset);
    bool ReadXrefStreamAt(int64_t offset, int64_t& prev);
    bool ReadXrefStream(PDValue& stream, int64_t& prev);
    bool LoadFromObjectStream(PDIndirectObj& holder, int32_t n, const PDXrefEntry& entry);
    bool HoldObjectStream(int32_t streamNum);

    // The input: a file or a memory image.
    PDFileIO m_inFile;
    std::vector<uint8_t> m_image;
    bool m_inOpen = false;
    bool m_inMemory = false;
    int64_t m_inSize = 0;
    int64_t m_inPos = 0;
    PDStr m_inName;
    int m_error = 0;
    char m_version[4] = {};
    int64_t m_headerOffset = 0;

    // Cross-reference data.
    std::vector<PDXrefEntry> m_index;
    std::unordered_set<int64_t> m_sectionsSeen;
    int64_t m_pendingPrev = 0; // older stream section not read yet
    int m_sectionsRead = 0;
    std::unique_ptr<PDValue> m_trailer;
    int32_t m_trailerSize = 0;
    int32_t m_objectCount = 0; // fixed when the open ends, so numbers after it stay free
    int32_t m_rootNum = 0;
    int32_t m_infoNum = 0;
    int32_t m_encryptNum = 0;
    PDStr m_firstId;
    PDStr m_secondId;

    // Repair: object headers found by scanning the whole file.
    bool m_scanDone = false;
    bool m_repairMode = false; // the chain was unreadable; the scan is the index
    std::unordered_map<int32_t, int64_t> m_scanned;
    int64_t m_lastTrailerPos = -1;

    // Catalog.
    std::unique_ptr<PDValue> m_catalog;
    int32_t m_pagesRoot = 0;
    std::unique_ptr<PDValue> m_namesDests;

    // Security.
    std::unique_ptr<PDSecurity> m_security;
    PDPasswordStatus m_passwordStatus = PDPasswordStatus::kNotEncrypted;

    // Object streams: one held at a time.
    ObjStreamCache m_objStm;
    int m_loadDepth = 0;

    // Page walk.
    std::unordered_set<int32_t> m_walkSeen;
    std::vector<int32_t> m_walkPages;
    int m_walkDepth = 0;
};
