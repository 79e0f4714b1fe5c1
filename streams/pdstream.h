// PDStream: a stream that the program generates (page contents, appearances, form XObjects);
// PDPgStream: the buffer in which page and appearance content is composed.
#pragma once

#include "pdf/pdstr.h"
#include "pdf/pdtokenwriter.h"

#include <cstdint>

class PDStream {
public:
    PDStream() = default;
    virtual ~PDStream();
    PDStream(const PDStream&) = delete;
    PDStream& operator=(const PDStream&) = delete;

    // Writes the content (compressed when asked and compression works) as stream data, for
    // callers that write the dictionary themselves. Returns the number of bytes written.
    virtual int64_t Write(PDTokenWriter& out);
    // Writes the whole indirect object; objNum 0 takes a new number from out. Returns the number.
    virtual int32_t WriteObject(PDTokenWriter& out, int32_t objNum);
    // Extra dictionary entries of a derived stream, written after "<<".
    virtual void WriteDictEntries(PDTokenWriter& out);
    // A tag that derived streams may give themselves; 0 for plain content streams.
    virtual int StreamTag() const;

    // Appends text, with one blank first unless the content is empty or already ends in a
    // blank or a line end.
    void AppendToken(const char* text);
    void AppendToken(const char* bytes, int length);

    PDStr& Content() noexcept { return m_content; }
    const PDStr& Content() const noexcept { return m_content; }
    bool Compress() const noexcept { return m_compress; }
    void SetCompress(bool compress) noexcept { m_compress = compress; }

private:
    PDStr m_content;
    bool m_compress = false;
};

class PDPgStream : public PDStream {
public:
    // Opens a text object ("BT") unless one is open.
    void BeginText();
    // Closes the open text object ("ET"), if any.
    void EndText();
    // Closes any text object, then appends the operator text.
    void AppendOperator(const char* text);
    // Warns when a text object is still open, then writes the content as it stands.
    int64_t Write(PDTokenWriter& out) override;

    bool InText() const noexcept { return m_inText; }
    bool Pending() const noexcept { return m_pending; }

private:
    bool m_inText = false;
    bool m_pending = false;
};
