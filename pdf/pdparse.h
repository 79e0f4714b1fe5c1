// PDParser: tokens from PDF bytes and PDValue trees from tokens.
#pragma once

#include "pdf/pdvalue.h"
#include "streams/pdstr.h"

#include <cstdint>
#include <memory>
#include <vector>

// What a parser reads from: a file reader or a memory image. It also resolves the objects that a
// value refers to while it is parsed (indirect /Length, split references).
class PDParseHost {
public:
    virtual ~PDParseHost() = default;
    // Reads up to n bytes at the current position; the count read, 0 at the end.
    virtual int Read(uint8_t* buffer, int n) = 0;
    virtual int64_t Tell() = 0;
    virtual bool Seek(int64_t pos) = 0;
    // Positions the host at the header of object objNum; false when the object has no offset.
    virtual bool SeekObject(int32_t objNum) {
        (void)objNum;
        return false;
    }
    // The integer held by object objNum when it has no file offset of its own (it sits inside an
    // object stream). False when there is no such object or it is not an integer.
    virtual bool PackedInteger(int32_t objNum, int64_t& value) {
        (void)objNum;
        (void)value;
        return false;
    }
    // Loads object objNum and returns the number it reports (for references split across lines).
    virtual int32_t LoadedObjectNumber(int32_t objNum) { return objNum; }
    // Upper bound for a stream's data bytes from the current position (the rest of the input).
    virtual int64_t Remaining() = 0;
    // The offset at which the data of a stream that start at dataStart, with the declared length
    // (-1 when unknown), must stop being read; -1 when only the end of the input bounds them.
    virtual int64_t StreamLimit(int64_t dataStart, int64_t length) {
        (void)dataStart;
        (void)length;
        return -1;
    }
};

// Positions of "endstream", "endobj" and object headers in an input, collected in one pass. The
// input may come in overlapping pieces: only keywords that start in [from, until) of a piece
// count, the bytes around them are context.
class PDKeywordIndex {
public:
    void Scan(const uint8_t* data, int64_t size, int64_t base, int64_t from, int64_t until);
    // Where reading the data of a stream must stop: just behind the "endstream" that the declared
    // length points at; when there is none, at the first "endstream" (and the byte behind it),
    // "endobj" or object header after dataStart, whichever comes first. -1 when none follows.
    int64_t StreamLimit(int64_t dataStart, int64_t length) const;
    void Clear() noexcept {
        m_endstream.clear();
        m_endobj.clear();
        m_headers.clear();
    }

private:
    std::vector<int64_t> m_endstream;
    std::vector<int64_t> m_endobj;
    std::vector<int64_t> m_headers;
};

// A memory image as parse host (tests, object streams, fuzzing). Does not own the bytes.
class PDMemoryHost : public PDParseHost {
public:
    PDMemoryHost(const uint8_t* data, int64_t length) : m_data(data), m_length(length) {}
    int Read(uint8_t* buffer, int n) override;
    int64_t Tell() override { return m_pos; }
    bool Seek(int64_t pos) override;
    int64_t Remaining() override { return m_length - m_pos; }

private:
    const uint8_t* m_data;
    int64_t m_length;
    int64_t m_pos = 0;
};

enum PDTokenKind : int {
    kTokInteger = 0,
    kTokReference = 1,
    kTokObjHeader = 2,
    kTokWord = 3,
    kTokName = 4,
    kTokArrayOpen = 5,
    kTokArrayClose = 6,
    kTokString = 7,
    kTokDictOpen = 9,
    kTokDictClose = 10,
    kTokBackslash = 11,
    kTokEnd = 13,
};

// Keyword classes of words: obj 0, endobj 1, stream 2, endstream 3, anything else 4.
int PDClassifyKeyword(const char* word);

// The byte source of a parser: 256-byte blocks from the host, with a mark for look-ahead.
class PDByteSource {
public:
    explicit PDByteSource(PDParseHost& host);
    bool FillBuffer();
    bool AtEnd() const noexcept;
    void SetMark() noexcept;
    void ClearMark() noexcept;
    void RestoreMark() noexcept;
    // -1 at end. Inline: the tokenizer takes every byte of the input through here.
    int GetByte() {
        if (m_pos >= m_fill && !FillBuffer())
            return -1;
        return m_buffer[m_pos++];
    }
    // The buffered bytes not handed out yet (Buffered() of them), and handing out n of them at
    // once: a token scanned in runs reads exactly what GetByte would have read byte by byte.
    const uint8_t* Pending() const noexcept { return m_buffer + m_pos; }
    void Skip(int32_t n) noexcept { m_pos += n; }
    // File offset of the next byte GetByte would return.
    int64_t Offset() const noexcept;
    PDParseHost& Host() noexcept { return m_host; }
    // False once a refill dropped the mark (or none was set): RestoreMark would then do nothing.
    bool HasMark() const noexcept { return m_mark >= 0; }
    // Bytes read from the host but not yet handed out.
    int32_t Buffered() const noexcept { return m_fill > m_pos ? m_fill - m_pos : 0; }

private:
    PDParseHost& m_host;
    int32_t m_pos = 0;
    int32_t m_fill = 0;
    int64_t m_base = 0;
    int32_t m_mark = -1;
    bool m_hostEnded = false;
    uint8_t m_buffer[256 + 64] = {};
};

class PDParser {
public:
    // Starts reading at the host's current position. Reference detection is on.
    explicit PDParser(PDParseHost& host);

    // Reads the next token into TokenKind()/TokenText().
    int GetToken();
    int TokenKind() const noexcept { return m_kind; }
    const PDStr& TokenText() const noexcept { return m_token; }
    // The generation of a reference or header token (the text from index 20 of the token buffer).
    int32_t TokenGeneration() const noexcept { return m_generation; }
    // The current token as an integer; -1 with a report when it is not a number.
    int64_t GetCurNumber();
    void SetReferenceDetection(bool on) noexcept { m_detectRefs = on; }

    // Parses the value that starts with the current token (call GetToken first) into value.
    // Leaves the token after the value current.
    void ParseValue(PDValue& value);
    void SetReferenceOrNull(PDValue& value, int32_t n);
    // Reads "n g obj", the value and an optional stream at the current position. False when no
    // object header was found, or when stream data without a known length overran their buffer
    // (the dictionary is then still there, without data). The value is taken with TakeValue().
    bool ParseIndirectObject();
    int32_t ObjectNumber() const noexcept { return m_objNum; }
    int32_t ObjectGeneration() const noexcept { return m_objGen; }
    std::unique_ptr<PDValue> TakeValue() { return std::move(m_value); }
    // File offset just after the last byte consumed.
    int64_t Offset() const noexcept;

private:
    // Tokenizer.
    void Next() { m_cur = m_source.GetByte(); }
    int ScanToken();
    bool SkipWhiteSpace();
    bool AppendByte(int c);
    // Appends the bytes of the buffer that class accepts behind the current byte (at most what
    // the token may still take) and makes the byte after them current.
    void AppendRun(uint8_t byteClass);
    void AppendToDelimiter();
    int ScanLiteralString();
    int ScanHexString();
    int ScanNumber();
    int ScanSigned();
    int LookAheadReference();
    void RestoreLookAhead(int saved);
    bool NextIsLoneR();

    // Values.
    void ParseArray(PDValue& value);
    void ParseDict(PDValue& value);
    void OnName(PDDict& dict);
    void SkipNested(PDValue& value);
    int32_t TokenNumber() const noexcept;

    // Streams.
    bool ReadStream(PDValue& dict);
    int64_t StreamLength();
    int64_t IndirectLength(int32_t objNum);
    int DataByte();
    bool ReadUntilKeyword(std::vector<uint8_t>& data, int64_t length, int64_t& end);
    void ReadWithLength(std::vector<uint8_t>& data, int64_t length, int64_t& end);
    void Keep(std::vector<uint8_t>& data, int byte, int64_t limit);
    bool KeepBuffered(std::vector<uint8_t>& data, int64_t count, int64_t limit);
    void SetLengthValue(int64_t length);
    int64_t DataRoom() noexcept;

    PDByteSource m_source;
    std::unique_ptr<PDValue> m_value;
    PDStr m_token;
    int m_kind = kTokEnd;
    int m_cur = 0; // the byte of look-ahead; -1 at end
    int32_t m_generation = 0;
    int32_t m_objNum = 0;
    int32_t m_objGen = 0;
    bool m_detectRefs = true;
    bool m_trace = false;
    int m_depth = 0;
    PDValue* m_lengthVal = nullptr;
    int m_lastSlot = -1;
    int m_pendingData = -1;   // a data byte read while looking for the end of line behind "stream"
    bool m_noStreams = false; // set on the helper parser that reads an indirect /Length
    int64_t m_dataEnd = -1;   // stream data are not read at or beyond this offset; -1: no bound
    bool m_hitDataEnd = false;
};
