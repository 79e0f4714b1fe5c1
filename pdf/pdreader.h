// PDReader: the reading side of a document: header, cross-reference data, trailer, catalog,
// loading objects by number, decryption and the page walk. The input is held in memory.
#pragma once

#include "pdf/pderror.h"
#include "pdf/pdobject.h"
#include "pdf/pdobjstreams.h"
#include "pdf/pdparse.h"
#include "pdf/pdresolve.h"
#include "pdf/pdvalue.h"
#include "streams/pdstr.h"

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <unordered_set>
#include <vector>

class PDSecurity;

// One cross-reference entry: an object at a file offset, or one inside an object stream.
struct PDXrefEntry {
    int64_t offset = 0; // file offset (header offset already added); 0 when not in the file
    int32_t stream = 0; // number of the object stream holding the object; 0 when none
    int32_t index = -1; // index inside that object stream
    bool IsEmpty() const noexcept { return offset <= 0 && stream <= 0; }
};

// One page of the input: its object number and the page-tree node it was reached from.
struct PDPageSlot {
    int32_t number = 0;
    int32_t parent = 0;
};

enum class PDPasswordStatus : int {
    kNotEncrypted = 0, // nothing to unlock
    kAccepted = 1,     // strings and streams are decrypted from now on
    kRejected = 2,     // wrong password: objects load, but encrypted data stay scrambled
    kUnsupported = 3,  // a handler this library cannot decrypt (AES, crypt filters, /V 4 and up)
};

class PDReader : public virtual PDErrorState, public PDParseHost, public PDResolver {
public:
    PDReader();
    ~PDReader() override;
    PDReader(const PDReader&) = delete;
    PDReader& operator=(const PDReader&) = delete;

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
    // The bytes of the open file, as read.
    const std::vector<uint8_t>& Image() const noexcept { return m_image; }

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
    int64_t StreamLimit(int64_t dataStart, int64_t length) override;

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

    // The pages of the input in order, with the node each was reached from (0 for a root that is
    // a page and for pages found by scanning). /Kids are walked by what is there, /Count is not
    // trusted, unreadable kids are skipped, repeated nodes and cycles walked once, a page listed
    // twice is kept twice; when the tree gives no page, the file's /Type /Page objects stand in,
    // in file order. Computed once (until ForgetPages); owned by the file.
    const std::vector<PDPageSlot>& PageSlots();
    int PageCount() { return static_cast<int>(PageSlots().size()); }
    // The object numbers of PageSlots().
    std::vector<int32_t> CollectPages();
    // The node above each page-tree node met by the walk (node -> parent), after PageSlots().
    const std::unordered_map<int32_t, int32_t>& NodeParents() const noexcept {
        return m_nodeParents;
    }
    // True when the pages came from scanning the file, not from the page tree.
    bool PagesFromScan() const noexcept { return m_pagesFromScan; }
    void ForgetPages() noexcept;

    // Read as an input: whether object n exists (in the cross-reference data, found by the repair
    // scan, or made by the program beyond them).
    bool HasInputObject(int32_t n);

protected:
    // Called when objects read so far are stale (a decryption key became known).
    virtual void OnObjectsInvalidated() {}
    // A kid of a page-tree node written as a dictionary in place: an input document gives it a
    // number of its own and returns it; 0 leaves it out. Takes ownership of value.
    virtual int32_t AdoptDirectKid(std::unique_ptr<PDValue> value, int32_t parentNum) {
        (void)value;
        (void)parentNum;
        return 0;
    }

private:
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
    void IndexKeywords();
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
    int64_t HighestObjectNumber() const noexcept;
    bool RepairFromScan();
    void ScanObjectHeaders();
    int64_t ScannedOffset(int32_t n);

    // pdfile_xrefstream.cpp
    int64_t SkipCommentLines(int64_t offset);
    bool ReadXrefStreamAt(int64_t offset, int64_t& prev);
    bool ReadXrefStream(PDValue& stream, int64_t& prev);
    bool LoadFromObjectStream(PDIndirectObj& holder, int32_t n, const PDXrefEntry& entry);
    bool DecodeObjectStream(int32_t streamNum, PDObjStream& decoded);

    // The input, always whole in memory: a file is read at once when it is opened.
    std::vector<uint8_t> m_image;
    bool m_inOpen = false;
    int64_t m_inSize = 0;
    int64_t m_inPos = 0;
    PDStr m_inName;
    char m_version[4] = {};
    int64_t m_headerOffset = 0;

    // Cross-reference data.
    std::vector<PDXrefEntry> m_index;
    bool m_numberLimitReported = false;
    std::unordered_set<int64_t> m_sectionsSeen;
    int64_t m_pendingPrev = 0; // older stream section not read yet
    int m_sectionsRead = 0;
    bool m_xrefDamaged = false; // a section pointed nowhere: the scan fills what it missed
    bool m_chainLooped = false; // a /Prev led back to a section already read
    std::unique_ptr<PDValue> m_trailer;
    int32_t m_trailerSize = 0;
    int32_t m_objectCount = 0; // fixed when the open ends, so numbers after it stay free
    int32_t m_rootNum = 0;
    int32_t m_infoNum = 0;
    int32_t m_encryptNum = 0;
    PDStr m_firstId;
    PDStr m_secondId;

    // Keywords that end streams and objects, indexed on the first stream read.
    PDKeywordIndex m_keywords;
    bool m_keywordsIndexed = false;

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

    PDObjStreams m_objStreams;
    int m_loadDepth = 0;

    // Page walk (pdfile_pagetree.cpp).
    void WalkPageTree();
    std::vector<int32_t> ScanPageObjects();
    bool m_pagesWalked = false;
    bool m_pagesFromScan = false;
    std::vector<PDPageSlot> m_pageSlots;
    std::unordered_map<int32_t, int32_t> m_nodeParents;
};
