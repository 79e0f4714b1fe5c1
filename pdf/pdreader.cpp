#include "pdf/pdreader.h"

#include "pdf/pdencrypt.h"
#include "pdf/pdfileio.h"

#include "pdf/pdkeys.h"
#include "pdf/pdstring.h"
#include "streams/pddiag.h"
#include "streams/pdlimits.h"
#include "streams/pdsecurity.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr int kHeaderBlock = 1012;
constexpr int kHeaderSearch = 1000; // "%PDF-" may start at offsets 0 to 999
constexpr int64_t kTailBlock = 2048;
constexpr int64_t kTailStep = 2032; // consecutive tail blocks overlap by 16 bytes
// Loading an object can need another one (an object stream, an indirect /Length, an indirect
// /Filter); this caps how deep such needs nest.
constexpr int kMaxLoadDepth = 8;

bool IsWhite(int c) {
    return c == 0 || c == '\t' || c == '\n' || c == '\f' || c == '\r' || c == ' ';
}

bool IsDigit(int c) {
    return c >= '0' && c <= '9';
}

// Reads decimal digits at p (bounded by end) into value; false when there is none or it overflows.
bool ReadDecimal(const uint8_t*& p, const uint8_t* end, int64_t& value) {
    if (p >= end || !IsDigit(*p))
        return false;
    value = 0;
    while (p < end && IsDigit(*p)) {
        if (value > (INT64_MAX - 9) / 10)
            return false;
        value = value * 10 + (*p - '0');
        ++p;
    }
    return true;
}

void SkipWhiteAndComments(const uint8_t*& p, const uint8_t* end) {
    while (p < end && (IsWhite(*p) || *p == '%')) {
        if (*p == '%') {
            while (p < end && *p != '\n' && *p != '\r')
                ++p;
        } else {
            ++p;
        }
    }
}

} // namespace

PDReader::PDReader() = default;

PDReader::~PDReader() = default;

int32_t PDReader::ObjectCount() const {
    return m_objectCount;
}

void PDReader::CountObjects() {
    int64_t count = static_cast<int64_t>(m_index.size());
    if (m_trailerSize > count)
        count = m_trailerSize;
    for (const auto& [n, offset] : m_scanned) {
        (void)offset;
        if (n >= count)
            count = int64_t{n} + 1;
    }
    m_objectCount = static_cast<int32_t>(std::min<int64_t>(count, HighestObjectNumber() + 1));
}

bool PDReader::OpenRead(const char* name) {
    CloseRead();
    if (name == nullptr) {
        m_error = pderr::kNullArgument;
        return false;
    }
    m_inName = name;
    // The whole file is read at once: parsing then costs no system call, and what is read cannot
    // change under the reader while the run goes on.
    PDFileIO file;
    int rc = file.OpenRead(name);
    if (rc != 0) {
        m_error = rc;
        return false;
    }
    int64_t size = file.Seek(0, 2);
    if (size < 0 || file.Seek(0, 0) != 0) {
        m_error = pderr::kFileSize;
        return false;
    }
    file.ReadRest(m_image, size);
    m_inOpen = true;
    m_inSize = static_cast<int64_t>(m_image.size());
    return OpenStructure();
}

bool PDReader::OpenMemory(const uint8_t* data, int64_t length) {
    CloseRead();
    if ((data == nullptr && length > 0) || length < 0) {
        m_error = pderr::kNullArgument;
        return false;
    }
    m_inName = "(memory)";
    if (length > 0)
        m_image.assign(data, data + length);
    m_inOpen = true;
    m_inSize = length;
    return OpenStructure();
}

void PDReader::CloseRead() {
    ForgetPages();
    OnObjectsInvalidated();
    m_image.clear();
    m_image.shrink_to_fit();
    m_inOpen = false;
    m_inSize = m_inPos = 0;
    m_error = 0;
    std::memset(m_version, 0, sizeof m_version);
    m_headerOffset = 0;
    m_index.clear();
    m_numberLimitReported = false;
    m_sectionsSeen.clear();
    m_pendingPrev = 0;
    m_sectionsRead = 0;
    m_xrefDamaged = false;
    m_chainLooped = false;
    m_trailer.reset();
    m_trailerSize = m_objectCount = m_rootNum = m_infoNum = m_encryptNum = 0;
    m_firstId.Clear();
    m_secondId.Clear();
    m_scanDone = m_repairMode = false;
    m_keywords.Clear();
    m_keywordsIndexed = false;
    m_scanned.clear();
    m_lastTrailerPos = -1;
    m_catalog.reset();
    m_namesDests.reset();
    m_pagesRoot = 0;
    m_security.reset();
    m_passwordStatus = PDPasswordStatus::kNotEncrypted;
    m_objStreams.Reset();
    m_loadDepth = 0;
}

// The steps of an open after the file is there: header, startxref, the chain, the trailer values,
// the security handler and the catalog.
bool PDReader::OpenStructure() {
    if (!FindHeader()) {
        int64_t size = m_inSize;
        CloseRead();
        m_inSize = size;
        m_error = pderr::kNoHeader;
        return false;
    }
    int64_t startxref = 0;
    bool chainRead = FindStartXref(startxref) && ReadXrefChain(FileOffset(startxref));
    while (chainRead && m_pendingPrev > 0 &&
           (m_trailer == nullptr || m_trailer->Get("/Root") == nullptr))
        ReadPendingSection();
    if (!chainRead || m_xrefDamaged || m_trailer == nullptr || m_trailer->Get("/Root") == nullptr) {
        // Damaged files: rebuild the index from the object headers themselves.
        int saved = m_error;
        if (!RepairFromScan()) {
            if (saved == 0)
                saved = pderr::kTrailer;
            CloseRead();
            m_error = saved;
            return false;
        }
    }
    if (!TakeTrailerValues()) {
        PDReport("could not scan trailer information (%s)\n", m_inName.Text());
        CloseRead();
        m_error = pderr::kTrailer;
        return false;
    }
    CountObjects();
    SetUpSecurity();
    if (m_security != nullptr) {
        // Deliberate: the empty user password is tried at once, so the usual protected file opens
        // without a -pw; a later SetPassword can still unlock it with another one.
        if (SetPassword(""))
            return true;
        // Without the key the catalog may still be readable (only strings are scrambled); the
        // caller learns from PasswordStatus() what is missing.
        TakeCatalog();
        m_error = 0;
        return true;
    }
    return TakeCatalog();
}

bool PDReader::FindHeader() {
    uint8_t block[kHeaderBlock];
    int64_t got = ReadAt(0, block, kHeaderBlock);
    for (int64_t i = 0; i < kHeaderSearch && i + 8 <= got; ++i) {
        if (std::memcmp(block + i, "%PDF", 4) == 0) {
            // Writers that drop the dash ("%PDF1.4") or put another byte in its place still
            // mean a PDF file: the version is taken from where its digits are.
            int64_t at = IsDigit(block[i + 4]) ? i + 4 : i + 5;
            m_headerOffset = i;
            std::memcpy(m_version, block + at, 3);
            m_version[3] = 0;
            return true;
        }
    }
    return false;
}

// Searches "startxref" backwards over the whole file, then reads the number behind it.
bool PDReader::FindStartXref(int64_t& offset) {
    uint8_t block[kTailBlock];
    int64_t blockLen = std::min(kTailBlock, m_inSize);
    int64_t pos = m_inSize - blockLen;
    int64_t found = -1;
    for (;;) {
        if (ReadAt(pos, block, blockLen) != blockLen) {
            PDReport("error reading trailer (%s)\n", m_inName.Text());
            m_error = pderr::kTrailer;
            return false;
        }
        for (int64_t i = blockLen - 9; i >= 0 && found < 0; --i) {
            if (std::memcmp(block + i, "startxref", 9) == 0)
                found = pos + i;
        }
        if (found >= 0 || pos == 0)
            break;
        // Deliberate: the last step is cut to the file's start, so every byte is searched.
        pos = std::max<int64_t>(0, pos - kTailStep);
    }
    uint8_t tail[64];
    int64_t got = found >= 0 ? ReadAt(found + 9, tail, sizeof tail) : 0;
    const uint8_t* p = tail;
    const uint8_t* end = tail + got;
    while (p < end && (*p <= 32 || *p >= 0x80))
        ++p;
    offset = 0;
    if (found < 0 || !ReadDecimal(p, end, offset) || offset == 0) {
        PDReport("error scanning xref position (%s)\n", m_inName.Text());
        m_error = pderr::kNoStartxref;
        return false;
    }
    return true;
}

bool PDReader::TakeTrailerValues() {
    if (m_trailer == nullptr || m_trailer->Kind() != kPDDictionary)
        return false;
    const PDValue* size = m_trailer->Get("/Size");
    if (size != nullptr && size->Kind() == kPDInteger && size->Number() > 0)
        m_trailerSize = std::min<int32_t>(size->Number(), pdlimits::kMaxObjectNumber + 1);
    const PDValue* root = m_trailer->Get("/Root");
    m_rootNum = root != nullptr && root->Kind() == kPDReference ? root->Number() : 0;
    const PDValue* info = m_trailer->Get("/Info");
    m_infoNum = info != nullptr && info->Kind() == kPDReference ? info->Number() : 0;
    const PDValue* encrypt = m_trailer->Get("/Encrypt");
    m_encryptNum = encrypt != nullptr && encrypt->Kind() == kPDReference ? encrypt->Number() : 0;
    const PDValue* id = m_trailer->Get("/ID");
    m_firstId.Clear();
    m_secondId.Clear();
    if (id != nullptr && id->Kind() == kPDArray) {
        const PDValue* first = id->First();
        if (first != nullptr && first->Kind() == kPDString)
            PDDecodeString(first->Text(), m_firstId, PDShortOctal::kByte);
        const PDValue* second = first != nullptr ? first->Next() : nullptr;
        if (second != nullptr && second->Kind() == kPDString)
            PDDecodeString(second->Text(), m_secondId, PDShortOctal::kByte);
    }
    return true;
}

// Loads the catalog as a private copy and notes the entries the form code asks for.
bool PDReader::TakeCatalog() {
    m_catalog.reset();
    m_namesDests.reset();
    m_pagesRoot = 0;
    PDIndirectObj root;
    if (m_rootNum <= 0 || !LoadObject(root, m_rootNum) || root.Value()->Kind() != kPDDictionary) {
        PDReport("cannot read catalog (%s)\n", m_inName.Text());
        m_error = pderr::kCatalog;
        return false;
    }
    m_catalog = root.TakeValue();
    const PDValue* pages = m_catalog->GetSlot(pdkey::Pages);
    if (pages != nullptr && pages->Kind() == kPDReference)
        m_pagesRoot = pages->Number();
    else
        PDReport("pages root not found\n");
    const PDValue* names = m_catalog->Get("/Names");
    std::unique_ptr<PDValue> loaded;
    if (names != nullptr && names->Kind() == kPDReference) {
        loaded = LoadValue(names->Number());
        names = loaded.get();
    }
    const PDValue* dests = names != nullptr ? names->Get("/Dests") : nullptr;
    if (dests != nullptr)
        m_namesDests = dests->Copy();
    return true;
}

PDValue* PDReader::AcroForm() const noexcept {
    return m_catalog != nullptr ? m_catalog->Get("/AcroForm") : nullptr;
}

PDValue* PDReader::Threads() const noexcept {
    return m_catalog != nullptr ? m_catalog->Get("/Threads") : nullptr;
}

PDValue* PDReader::Dests() const noexcept {
    return m_catalog != nullptr ? m_catalog->Get("/Dests") : nullptr;
}

// ---- Security ----

void PDReader::SetUpSecurity() {
    m_security.reset();
    m_passwordStatus = PDPasswordStatus::kNotEncrypted;
    const PDValue* encrypt = m_trailer != nullptr ? m_trailer->Get("/Encrypt") : nullptr;
    if (encrypt == nullptr)
        return;
    std::unique_ptr<PDValue> loaded;
    if (encrypt->Kind() == kPDReference) {
        loaded = LoadValue(encrypt->Number());
        encrypt = loaded.get();
    }
    // An /Encrypt that does not resolve to a dictionary leaves the file unencrypted.
    if (encrypt == nullptr || encrypt->Kind() != kPDDictionary)
        return;
    m_security = std::make_unique<PDSecurity>(PDSecurity::kInput);
    m_security->ReadEncryptParams(PDReadEncryptDictionary(*encrypt));
    m_security->SetDocumentId(m_firstId.Bytes(), m_firstId.Length());
    m_passwordStatus =
        m_security->IsSupported() ? PDPasswordStatus::kRejected : PDPasswordStatus::kUnsupported;
}

bool PDReader::IsEncryptionSupported() const noexcept {
    return m_security == nullptr || m_security->IsSupported();
}

bool PDReader::SetPassword(const char* password) {
    if (password == nullptr) {
        m_error = pderr::kNullArgument;
        return false;
    }
    if (m_security == nullptr)
        return true;
    if (!m_security->IsSupported()) {
        m_passwordStatus = PDPasswordStatus::kUnsupported;
        return false;
    }
    if (!m_security->SetPassword(password)) {
        m_passwordStatus = PDPasswordStatus::kRejected;
        return false;
    }
    m_passwordStatus = PDPasswordStatus::kAccepted;
    // Everything read before the key was known holds scrambled strings: read it all again.
    m_objStreams.Drop();
    ForgetPages();
    OnObjectsInvalidated();
    return TakeCatalog();
}

// Decrypts every string and the stream data of one object read from the file.
void PDReader::DecryptValue(PDValue& value, int32_t n, int32_t generation) const {
    const PDValue* type = value.GetSlot(pdkey::Type);
    // Cross-reference streams are never encrypted.
    bool skipData = type != nullptr && type->IsName("/XRef");
    std::vector<PDValue*> pending{&value};
    while (!pending.empty()) {
        PDValue* v = pending.back();
        pending.pop_back();
        switch (v->Kind()) {
        case kPDString:
            PDDecryptString(*m_security, *v, n, generation);
            break;
        case kPDArray:
            for (PDValue* e = v->First(); e != nullptr; e = e->Next())
                pending.push_back(e);
            break;
        case kPDDictionary: {
            // A file may leave its metadata in the clear.
            const PDValue* streamType = v->Get("/Type");
            if (!m_security->EncryptsMetadata() && streamType != nullptr &&
                streamType->IsName("/Metadata"))
                skipData = true;
            if (v->HasStream() && !skipData) {
                auto& data = v->MutableStreamData();
                int64_t length =
                    std::min<int64_t>(v->StreamLength(), static_cast<int64_t>(data.size()));
                // A stream may name its own crypt filter, first in its chain.
                std::string filterName;
                const PDCryptMethod method = PDTakeCryptFilter(*v, filterName)
                                                 ? m_security->MethodNamed(filterName)
                                                 : m_security->StreamMethod();
                if (length > 0) {
                    std::vector<uint8_t> plain =
                        m_security->DecryptWith(method, data.data(), length, n, generation);
                    const auto size = static_cast<int64_t>(plain.size());
                    v->AdoptStreamData(std::move(plain), size);
                }
            }
            skipData = false; // only the object's own stream can be the cross-reference data
            // After the stream: taking its crypt filter out changes the entries.
            PDValue* entry = nullptr;
            const char* key = nullptr;
            for (int i = 0; v->Dict() != nullptr && v->Dict()->Entry(i, &entry, &key); ++i) {
                if (entry != nullptr)
                    pending.push_back(entry);
            }
            break;
        }
        default:
            break;
        }
    }
}

// ---- Loading objects ----

bool PDReader::LoadObject(PDIndirectObj& holder, int32_t n) {
    if (!m_inOpen || n <= 0 || n > pdlimits::kMaxObjectNumber || m_loadDepth >= kMaxLoadDepth)
        return false;
    ++m_loadDepth;
    int64_t saved = m_inPos;
    bool ok = false;
    const PDXrefEntry* found = XrefEntry(n);
    PDXrefEntry entry = found != nullptr ? *found : PDXrefEntry{};
    if (entry.offset <= 0 && entry.stream > 0) {
        ok = LoadFromObjectStream(holder, n, entry);
    } else {
        int64_t offset = LocateObject(n, found != nullptr ? &entry : nullptr);
        ok = offset > 0 && LoadFromFile(holder, n, offset);
    }
    m_inPos = saved;
    --m_loadDepth;
    return ok;
}

std::unique_ptr<PDValue> PDReader::LoadValue(int32_t n) {
    PDIndirectObj holder;
    if (!LoadObject(holder, n))
        return nullptr;
    return holder.TakeValue();
}

bool PDReader::LoadFromFile(PDIndirectObj& holder, int32_t n, int64_t offset) {
    m_inPos = offset;
    PDParser parser(*this);
    bool parsed = parser.ParseIndirectObject();
    if (!parsed || parser.ObjectNumber() != n) {
        PDReport("Read failed for id %ld\n", static_cast<long>(n));
        PDReport("found %ld\n", static_cast<long>(parser.ObjectNumber()));
        return false;
    }
    std::unique_ptr<PDValue> value = parser.TakeValue();
    if (value == nullptr)
        return false;
    if (m_security != nullptr && m_security->IsEncrypting() && n != m_encryptNum)
        DecryptValue(*value, n, parser.ObjectGeneration());
    holder.SetKind(PDIndirectObj::KindOf(value.get()));
    holder.SetValue(std::move(value));
    holder.SetNumber(n);
    holder.SetGeneration(parser.ObjectGeneration());
    holder.SetFile(this);
    holder.SetOffset(offset);
    holder.SetEndOffset(parser.Offset());
    return true;
}

// True when "n g obj" starts at offset (white space and comment lines before it allowed).
bool PDReader::HeaderAt(int64_t offset, int32_t n) {
    uint8_t bytes[256];
    int64_t got = ReadAt(offset, bytes, sizeof bytes);
    const uint8_t* p = bytes;
    const uint8_t* end = bytes + got;
    SkipWhiteAndComments(p, end);
    int64_t number = 0;
    int64_t generation = 0;
    if (!ReadDecimal(p, end, number) || number != n || p >= end || !IsWhite(*p))
        return false;
    while (p < end && IsWhite(*p))
        ++p;
    if (!ReadDecimal(p, end, generation))
        return false;
    while (p < end && IsWhite(*p))
        ++p;
    return end - p >= 3 && std::memcmp(p, "obj", 3) == 0;
}

// The offset at which object n's header really is: the index's when it holds, else the scanned
// one. 0 when the file has none; the index's offset when nothing better is known.
int64_t PDReader::LocateObject(int32_t n, const PDXrefEntry* entry) {
    bool indexed = entry != nullptr && entry->offset > 0;
    if (indexed && HeaderAt(entry->offset, n))
        return entry->offset;
    const bool unknown = entry == nullptr || entry->IsEmpty();
    if (indexed || m_repairMode || (m_chainLooped && unknown)) {
        int64_t scanned = ScannedOffset(n);
        if (scanned > 0)
            return scanned;
    }
    return indexed ? entry->offset : 0;
}

// ---- The parse host ----

int64_t PDReader::ReadAt(int64_t pos, uint8_t* buffer, int64_t n) {
    if (!m_inOpen || pos < 0 || n <= 0 || pos >= m_inSize)
        return 0;
    n = std::min(n, m_inSize - pos);
    std::memcpy(buffer, m_image.data() + pos, static_cast<size_t>(n));
    return n;
}

int PDReader::Read(uint8_t* buffer, int n) {
    int64_t got = ReadAt(m_inPos, buffer, n);
    m_inPos += got;
    return static_cast<int>(got);
}

bool PDReader::Seek(int64_t pos) {
    if (pos < 0 || pos > m_inSize)
        return false;
    m_inPos = pos;
    return true;
}

int64_t PDReader::Remaining() {
    return m_inSize > m_inPos ? m_inSize - m_inPos : 0;
}

void PDReader::IndexKeywords() {
    m_keywordsIndexed = true;
    m_keywords.Scan(m_image.data(), m_inSize, 0, 0, m_inSize);
}

int64_t PDReader::StreamLimit(int64_t dataStart, int64_t length) {
    if (!m_keywordsIndexed)
        IndexKeywords();
    return m_keywords.StreamLimit(dataStart, length);
}

// The file offset of object objNum's header; 0 when it has none.
int64_t PDReader::HeaderOffsetOf(int32_t objNum) {
    if (objNum <= 0 || objNum > pdlimits::kMaxObjectNumber)
        return 0;
    const PDXrefEntry* found = XrefEntry(objNum);
    PDXrefEntry entry = found != nullptr ? *found : PDXrefEntry{};
    return LocateObject(objNum, found != nullptr ? &entry : nullptr);
}

bool PDReader::SeekObject(int32_t objNum) {
    int64_t offset = HeaderOffsetOf(objNum);
    if (offset <= 0)
        return false;
    m_inPos = offset;
    return true;
}

bool PDReader::PackedInteger(int32_t objNum, int64_t& value) {
    if (objNum <= 0 || objNum > pdlimits::kMaxObjectNumber)
        return false;
    const PDXrefEntry* found = XrefEntry(objNum);
    if (found == nullptr || found->stream <= 0)
        return false;
    PDIndirectObj holder;
    if (!LoadObject(holder, objNum) || holder.Value() == nullptr ||
        holder.Value()->Kind() != kPDInteger)
        return false;
    value = holder.Value()->Number();
    return true;
}

int32_t PDReader::LoadedObjectNumber(int32_t objNum) {
    int64_t offset = HeaderOffsetOf(objNum);
    uint8_t bytes[256];
    int64_t got = offset > 0 ? ReadAt(offset, bytes, sizeof bytes) : 0;
    const uint8_t* p = bytes;
    const uint8_t* end = bytes + got;
    SkipWhiteAndComments(p, end);
    int64_t number = 0;
    if (!ReadDecimal(p, end, number) || number > pdlimits::kMaxObjectNumber)
        return objNum;
    return static_cast<int32_t>(number);
}

bool PDReader::HasInputObject(int32_t n) {
    if (n >= PDReader::ObjectCount() && n < ObjectCount())
        return true;
    // What the reader found, however it found it, exists: cached objects first, then the index,
    // then the object headers the reader falls back on.
    if (PeekCached(n) != nullptr || XrefEntry(n) != nullptr)
        return true;
    return (m_repairMode || m_chainLooped) && ScannedOffset(n) > 0;
}
