// The writing side of a document: numbering, the value serialiser, object framing, the
// cross-reference table and the trailer.
#include "pdf/pdwriter_state.h"

#include "pdf/pdreader.h"

#include "pdf/pdformat.h"
#include "pdf/pdkeys.h"
#include "pdf/pdstring.h"
#include "streams/pdalloc.h"
#include "streams/pddiag.h"
#include "streams/pdlimits.h"
#include "streams/pdsecurity.h"

#include <chrono>
#include <cstring>
#include <random>

namespace {

// Every document that starts writing takes the next serial number; it also stirs the identifier.
int g_writeSerial = 0;

// A map grows to n + 100 entries when n does not fit.
constexpr size_t kMapHeadroom = 100;

} // namespace

// Here, where the writing state is a complete type.
PDWriter::PDWriter() = default;

PDWriter::~PDWriter() = default;

PDWriter::WriteState::WriteState() {
    index.assign(1000, 0);
    maps.emplace_back(100, 0);
    pages.reserve(200);
}

PDWriter::WriteState::~WriteState() = default;

void PDWriter::StartOutput() {
    m_out = std::make_unique<WriteState>();
    m_out->trailer = PDValue::MakeDictionary();
    m_out->catalog = PDValue::MakeDictionary();
    ++g_writeSerial;
}

// Two equal identifiers: random bytes from the clock and this object's address, with the output
// name folded in, so two files written in the same second still differ.
void PDWriter::MakeIdentifier(const char* name) {
    auto now = static_cast<uint64_t>(std::chrono::system_clock::now().time_since_epoch().count());
    auto self = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(this));
    std::mt19937 random(static_cast<uint32_t>(now ^ (now >> 32) ^ self ^ (self >> 32) ^
                                              static_cast<uint64_t>(g_writeSerial)));
    for (int i = 0; i < 8; ++i) {
        auto r = static_cast<uint16_t>(random());
        m_out->id[2 * i] = static_cast<uint8_t>(r >> 8);
        m_out->id[2 * i + 1] = static_cast<uint8_t>(r & 0xFF);
    }
    for (size_t i = 0; name != nullptr && name[i] != '\0'; ++i)
        m_out->id[i % 16] ^= static_cast<uint8_t>(name[i]);
}

bool PDWriter::BeginWrite(const char* name) {
    StartOutput();
    int error = m_out->file.OpenWrite(name);
    if (error != 0) {
        m_out.reset();
        m_error = error;
        return false;
    }
    m_out->tokens.WriteToFile(&m_out->file);
    MakeIdentifier(name);
    return true;
}

void PDWriter::BeginWriteMemory() {
    StartOutput();
    m_out->tokens.WriteToMemory();
    MakeIdentifier("-");
}

// ------------------------------------------------------------------ numbering

int32_t PDWriter::NewObjectNumber() {
    if (!m_out)
        return 0;
    if (m_out->released.Count() > 0)
        return m_out->released.Take();
    return kOutputBias + m_out->next++;
}

void PDWriter::ReleaseNumber(int32_t biased) {
    if (m_out && biased > kOutputBias)
        m_out->released.Append(biased);
}

int PDWriter::AllocMap() {
    if (!m_out)
        return 0;
    m_out->maps.emplace_back(100, 0);
    return static_cast<int>(m_out->maps.size()) - 1;
}

void PDWriter::SetMapSource(int map, PDReader* input) {
    if (!m_out || map < 0)
        return;
    auto slot = static_cast<size_t>(map);
    if (slot >= m_out->sources.size())
        m_out->sources.resize(slot + 1, nullptr);
    m_out->sources[slot] = input;
}

// 0 for an input number the map's source does not have: such a reference is a null.
int32_t PDWriter::MapId(int32_t n, int map) {
    if (n >= kOutputBias)
        return n;
    if (!m_out || n <= 0 || map < 0 || static_cast<size_t>(map) >= m_out->maps.size())
        return 0;
    std::vector<int32_t>& table = m_out->maps[static_cast<size_t>(map)];
    auto slot = static_cast<size_t>(n);
    if (slot < table.size() && table[slot] != 0)
        return table[slot];
    auto source = static_cast<size_t>(map);
    if (source < m_out->sources.size() && m_out->sources[source] != nullptr &&
        !m_out->sources[source]->HasInputObject(n))
        return 0;
    if (slot >= table.size())
        table.resize(slot + kMapHeadroom, 0);
    table[slot] = NewObjectNumber();
    return table[slot];
}

void PDWriter::ClearMapEntry(int32_t n, int map) {
    if (!m_out || n <= 0 || n >= kOutputBias || map < 0 ||
        static_cast<size_t>(map) >= m_out->maps.size())
        return;
    std::vector<int32_t>& table = m_out->maps[static_cast<size_t>(map)];
    if (static_cast<size_t>(n) < table.size())
        table[static_cast<size_t>(n)] = 0;
}

int32_t PDWriter::FileNumber(int32_t n, int map) {
    return MapId(n, map) % kOutputBias;
}

void PDWriter::RenumberToOutput(PDValue& value, int map) {
    value.RenumberReferences([this, map](int32_t n) { return MapId(n, map); });
}

bool PDWriter::IsWritten(int32_t n) const noexcept {
    if (!m_out)
        return false;
    auto m = static_cast<size_t>(n % kOutputBias);
    return m < m_out->index.size() && m_out->index[m] != 0;
}

// ------------------------------------------------------------------ tokens

bool PDWriter::WriteToken(std::string_view token) {
    return m_out && m_out->tokens.WriteToken(token);
}

bool PDWriter::NewLine() {
    return m_out && m_out->tokens.NewLine();
}

bool PDWriter::WriteRaw(const void* bytes, int64_t length) {
    return m_out && m_out->tokens.WriteRaw(bytes, length);
}

bool PDWriter::WriteStreamData(const uint8_t* bytes, int64_t length) {
    return m_out && m_out->tokens.WriteStreamData(bytes, length);
}

bool PDWriter::WriteInt(int32_t value) {
    return m_out && m_out->tokens.WriteInt(value);
}

bool PDWriter::WriteInt64(int64_t value) {
    return m_out && m_out->tokens.WriteInt64(value);
}

bool PDWriter::WriteReal(float value) {
    return m_out && m_out->tokens.WriteReal(value);
}

// One token, so a reference is never split across lines. A reference to nothing is a null.
bool PDWriter::WriteReference(int32_t n, int map) {
    int32_t number = FileNumber(n, map);
    if (number <= 0)
        return WriteToken("null");
    std::string token = PDFormatInt(number);
    token += " 0 R";
    return WriteToken(token);
}

// ------------------------------------------------------------------ values

bool PDWriter::WriteStringBytes(const uint8_t* bytes, int length, int mode) {
    PDStr text;
    // Deliberate: RC4 leaves an empty string empty; AES gives it a vector and a padding block.
    if (m_out && m_out->keyObject > 0 && (length > 0 || m_out->security->EncryptedLength(0) > 0)) {
        std::vector<uint8_t> crypted = m_out->security->Encrypt(bytes, length, m_out->keyObject, 0);
        PDEncodeString(crypted.data(), static_cast<int>(crypted.size()), text, kPDLiteral);
    } else {
        PDEncodeString(bytes, length, text, mode);
    }
    return WriteToken(text.View());
}

bool PDWriter::WriteString(const PDValue& value) {
    if (!m_out || m_out->keyObject <= 0)
        return WriteToken(value.Text().View());
    // The bytes encrypted are those every reader sees in the string as written.
    PDStr bytes;
    PDDecodeString(value.Text(), bytes, PDShortOctal::kByte);
    return WriteStringBytes(bytes.Bytes(), bytes.Length(), kPDLiteral);
}

// The walk keeps its own stack, so values nested as deep as the parser allows cost no recursion.
bool PDWriter::WriteValue(const PDValue* value, int map) {
    if (value == nullptr) {
        m_error = pderr::kNullArgument;
        return false;
    }
    bool ok = true;
    struct Frame {
        const PDValue* container;
        const PDValue* element; // arrays: next element to write
        int entry;              // dictionaries: next entry to write
        bool lineEntries;
    };
    // Most values nest a few levels: the stack's first room comes from the small-block pieces.
    std::vector<Frame, PDAllocator<Frame>> stack;
    stack.reserve(8);
    const PDValue* v = value;
    for (;;) {
        if (v != nullptr) {
            switch (v->Kind()) {
            case kPDInteger:
                ok = WriteInt(v->Number()) && ok;
                break;
            case kPDReference:
                ok = WriteReference(v->Number(), map) && ok;
                break;
            case kPDString:
                ok = WriteString(*v) && ok;
                break;
            case kPDArray:
                ok = WriteToken("[") && ok;
                stack.push_back({v, v->First(), 0, false});
                break;
            case kPDDictionary:
                stack.push_back({v, nullptr, 0, m_out && m_out->tokens.Column() <= 0});
                ok = WriteToken("<<") && ok;
                break;
            default:
                ok =
                    WriteToken(v->Text().IsEmpty() ? std::string_view("null") : v->Text().View()) &&
                    ok;
                break;
            }
            v = nullptr;
        }
        if (stack.empty())
            break;
        Frame& top = stack.back();
        if (top.container->Kind() == kPDArray) {
            if (top.element != nullptr) {
                v = top.element;
                top.element = top.element->Next();
                continue;
            }
            ok = WriteToken("]") && ok;
        } else {
            PDValue* entry = nullptr;
            const char* key = nullptr;
            if (top.entry > 0 && top.lineEntries)
                ok = NewLine() && ok;
            if (top.container->Dict()->Entry(top.entry++, &entry, &key)) {
                ok = WriteToken(key) && ok;
                v = entry;
                continue;
            }
            ok = WriteToken(">>") && ok;
        }
        stack.pop_back();
    }
    return ok;
}

// ------------------------------------------------------------------ objects

bool PDWriter::WriteObjectHeader(int32_t n, int map) {
    if (!m_out)
        return false;
    int32_t biased = MapId(n, map);
    int32_t m = biased % kOutputBias;
    if (n >= kOutputBias && m != n % kOutputBias)
        PDReport("RefNum yields %ld for %ld\n", static_cast<long>(m), static_cast<long>(n));
    if (m <= 0)
        return false;
    auto slot = static_cast<size_t>(m);
    if (slot >= m_out->index.size())
        m_out->index.resize(slot + kMapHeadroom, 0);
    if (m_out->index[slot] != 0) {
        m_error = pderr::kDuplicate;
        return false;
    }
    bool ok = m_out->tokens.EnsureStarted();
    m_out->index[slot] = m_out->tokens.Tell();
    ok = WriteInt(m) && ok;
    ok = WriteToken("0 obj") && ok;
    ok = NewLine() && ok;
    SelectObjectKey(m);
    return ok;
}

void PDWriter::SelectObjectKey(int32_t m) {
    if (!IsEncryptingOutput() || m == m_out->encrypt) {
        m_out->keyObject = 0;
        m_out->tokens.SetRawCrypt(nullptr);
        return;
    }
    m_out->keyObject = m;
    PDSecurity* security = m_out->security.get();
    m_out->tokens.SetRawCrypt([security, m](const uint8_t* data, int64_t length) {
        return security->Encrypt(data, length, m, 0);
    });
}

bool PDWriter::WriteEndObj() {
    if (!m_out)
        return false;
    bool ok = m_out->tokens.WriteEndObj();
    m_out->keyObject = 0;
    m_out->tokens.SetRawCrypt(nullptr);
    return ok;
}

// A stream's /Length is written as the length of the data it carries, whatever the dictionary
// held: an indirect or a wrong length would make the copy unreadable.
bool PDWriter::WriteStreamDictionary(const PDValue& value, int map) {
    std::unique_ptr<PDValue> copy;
    const PDValue* length = value.GetSlot(pdkey::Length);
    const int64_t stored = StoredLength(value.StreamLength());
    if (length == nullptr || length->Kind() != kPDInteger || length->Number() != stored) {
        copy = PDValue::MakeDictionary();
        PDValue* entry = nullptr;
        const char* key = nullptr;
        for (int i = 0; value.Dict()->Entry(i, &entry, &key); ++i) {
            if (entry != nullptr)
                copy->Dict()->Set(key, entry->Copy());
        }
        copy->Dict()->SaveAttrVal(pdkey::Length, LengthValue(stored));
    }
    return WriteValue(copy ? copy.get() : &value, map);
}

int64_t PDWriter::StoredLength(int64_t plain) const noexcept {
    if (!m_out || m_out->keyObject <= 0)
        return plain;
    return m_out->security->EncryptedLength(plain);
}

std::unique_ptr<PDValue> PDWriter::LengthValue(int64_t length) {
    if (length <= kPDBigNumber - 1)
        return PDValue::MakeInteger(static_cast<int32_t>(length));
    auto text = std::make_unique<PDValue>();
    text->SetIntegerText(PDFormatInt(length).c_str());
    return text;
}

bool PDWriter::WriteObject(int32_t n, const PDValue& value, int map) {
    if (n == 0)
        n = NewObjectNumber();
    if (!WriteObjectHeader(n, map))
        return false;
    if (!value.HasStream()) {
        bool ok = WriteValue(&value, map);
        return WriteEndObj() && ok;
    }
    bool ok = WriteStreamDictionary(value, map);
    ok = NewLine() && ok;
    ok = WriteToken("stream") && ok;
    ok = NewLine() && ok;
    int64_t length = value.StreamLength();
    ok = WriteStreamData(value.StreamData(), length) && ok;
    uint8_t last = length > 0 ? value.StreamData()[length - 1] : 0;
    if (m_out->keyObject > 0 || (last != '\r' && last != '\n'))
        ok = NewLine() && ok;
    ok = WriteToken("endstream") && ok;
    return WriteEndObj() && ok;
}

// ------------------------------------------------------------------ document parts

PDValue& PDWriter::OutputCatalog() {
    if (!m_out)
        StartOutput();
    return *m_out->catalog;
}

int32_t PDWriter::OutputInfo() const noexcept {
    return m_out ? m_out->info : 0;
}

void PDWriter::SetOutputInfo(int32_t biased) noexcept {
    if (m_out)
        m_out->info = biased;
}

const uint8_t* PDWriter::OutputId() const noexcept {
    return m_out ? m_out->id : nullptr;
}

PDSecurity& PDWriter::OutputSecurity() {
    if (!m_out)
        StartOutput();
    if (!m_out->security) {
        m_out->security = std::make_unique<PDSecurity>(PDSecurity::kOutput);
        m_out->security->SetDocumentId(m_out->id, 16);
    }
    return *m_out->security;
}

bool PDWriter::IsEncryptingOutput() const noexcept {
    return m_out && m_out->security && m_out->security->IsEncrypting() &&
           !m_out->security->IsNotReady();
}

bool PDWriter::WriteEncryptDictionary() {
    if (!IsEncryptingOutput() || m_out->encrypt != 0)
        return true;
    PDSecurity& security = *m_out->security;
    int32_t number = NewObjectNumber();
    m_out->encrypt = number % kOutputBias;
    bool ok = WriteObjectHeader(number, 0);
    ok = WriteToken("<<") && NewLine() && ok;
    ok = WriteToken("/Filter") && WriteToken("/Standard") && NewLine() && ok;
    ok = WriteToken("/V") && WriteInt(security.Version()) && NewLine() && ok;
    ok = WriteToken("/R") && WriteInt(security.Revision()) && NewLine() && ok;
    ok = WriteToken("/Length") && WriteInt(security.KeyBits()) && NewLine() && ok;
    if (security.Version() == 5) {
        ok = WriteStrongEncryptEntries() && ok;
    } else {
        ok = WriteToken("/O") && WriteStringBytes(security.ComputedOwner(), 32, kPDLiteral) &&
             NewLine() && ok;
        ok = WriteToken("/U") && WriteStringBytes(security.ComputedUser(), 32, kPDLiteral) &&
             NewLine() && ok;
    }
    ok = WriteToken("/P") && WriteInt(security.Permissions()) && NewLine() && ok;
    ok = WriteToken(">>") && ok;
    return WriteEndObj() && ok;
}

// AES-256: one crypt filter for strings and streams, the 48-byte /O and /U, the wrapped keys and
// /Perms. Binary entries go out in hexadecimal, which no reader misreads.
bool PDWriter::WriteStrongEncryptEntries() {
    const PDStrongEntries& strong = m_out->security->StrongEntries();
    bool ok = WriteToken("/CF << /StdCF << /AuthEvent /DocOpen /CFM /AESV3 /Length 32 >> >>") &&
              NewLine();
    ok = WriteToken("/StmF /StdCF") && NewLine() && ok;
    ok = WriteToken("/StrF /StdCF") && NewLine() && ok;
    const std::pair<const char*, std::pair<const uint8_t*, int>> entries[] = {
        {"/O", {strong.owner, 48}},     {"/U", {strong.user, 48}},
        {"/OE", {strong.ownerKey, 32}}, {"/UE", {strong.userKey, 32}},
        {"/Perms", {strong.perms, 16}},
    };
    for (const auto& [key, bytes] : entries)
        ok = WriteToken(key) && WriteStringBytes(bytes.first, bytes.second, kPDHex) && NewLine() &&
             ok;
    return ok;
}

bool PDWriter::WriteXrefAndTrailer() {
    WriteState& out = *m_out;
    if (out.tokens.Column() > 0)
        NewLine();
    int64_t start = out.tokens.Tell();
    auto size = static_cast<size_t>(out.next);
    if (out.index.size() < size)
        out.index.resize(size, 0);
    bool ok = WriteToken("xref") && NewLine();
    ok = WriteInt(0) && WriteInt(out.next) && NewLine() && ok;
    // Each free entry names the next free one; the last names 0.
    std::vector<int64_t> nextFree(size, 0);
    for (size_t i = size, following = 0; i-- > 0;) {
        nextFree[i] = static_cast<int64_t>(following);
        if (out.index[i] == 0)
            following = i;
    }
    std::string table;
    table.reserve(size * 20);
    for (size_t i = 0; i < size; ++i) {
        bool free = out.index[i] == 0;
        table += PDFormatPadded(free ? nextFree[i] : out.index[i], 10);
        table += free ? (i == 0 ? " 65535 f\r\n" : " 00000 f\r\n") : " 00000 n\r\n";
    }
    ok = WriteRaw(table.data(), static_cast<int64_t>(table.size())) && ok;
    ok = WriteToken("trailer") && NewLine() && ok;
    ok = WriteToken("<<") && NewLine() && ok;
    ok = WriteToken("/Size") && WriteInt(out.next) && NewLine() && ok;
    if (out.info != 0)
        ok = WriteToken("/Info") && WriteReference(out.info, 0) && NewLine() && ok;
    if (out.encrypt != 0)
        ok = WriteToken("/Encrypt") && WriteReference(kOutputBias + out.encrypt, 0) && NewLine() &&
             ok;
    ok = WriteToken("/Root") && WriteReference(out.root, 0) && NewLine() && ok;
    PDStr first;
    PDEncodeString(out.id, 16, first, kPDHex);
    std::string id = "/ID [";
    id += first.View();
    id += first.View();
    id += "]";
    ok = WriteToken(id) && NewLine() && ok;
    ok = WriteToken(">>") && NewLine() && ok;
    ok = WriteToken("startxref") && NewLine() && ok;
    ok = WriteInt64(start) && NewLine() && ok;
    return WriteToken("%%EOF") && NewLine() && ok;
}

bool PDWriter::EndWrite() {
    if (!m_out)
        return false;
    OnFinalWrite();
    bool ok = WriteCatalogEntries();
    ok = WritePageTreeAndCatalog() && ok;
    ok = WriteEncryptDictionary() && ok;
    ok = WriteXrefAndTrailer() && ok;
    // Without random bytes the keys are guessable: such a file is not written at all.
    ok = !(m_out->security && m_out->security->RandomFailed()) && ok;
    ok = !m_out->tokens.Failed() && ok;
    if (m_out->file.IsOpen()) {
        int error = m_out->file.Close();
        if (error != 0) {
            m_error = error;
            ok = false;
        }
    }
    m_out->maps.clear();
    m_out->catalog.reset();
    m_out->trailer.reset();
    OnAfterClose();
    return ok;
}

std::unique_ptr<uint8_t[]> PDWriter::TakeImage(int64_t* length) noexcept {
    if (!m_out) {
        *length = 0;
        return nullptr;
    }
    return m_out->tokens.TakeImage(length);
}
