// PDStream: a stream that the program generates (page contents, appearances, form XObjects),
// written into an output document like any copied object: under an output number, with its
// references renumbered through a map and its data encrypted when the output is;
// PDPgStream: the buffer in which page and appearance content is composed.
#pragma once

#include "streams/pdstr.h"

#include <cstdint>
#include <memory>

class PDFile;
class PDValue;

class PDStream {
public:
    PDStream();
    virtual ~PDStream();
    PDStream(const PDStream&) = delete;
    PDStream& operator=(const PDStream&) = delete;

    // Writes the content (compressed when asked and compression works) as stream data of the
    // object being written, for callers that write the dictionary themselves. Returns the number
    // of bytes written.
    virtual int64_t Write(PDFile& out);
    // Writes the whole indirect object into out; objNum 0 takes a new output number. References
    // in the dictionary are written through map, as those of a copied object. Returns the
    // number used (biased, as out hands them out), 0 when the object could not be written.
    virtual int32_t WriteObject(PDFile& out, int32_t objNum, int map = 0);
    // Dictionary entries written after "<<": the base writes Entries().
    virtual void WriteDictEntries(PDFile& out, int map);

    // Appends text, with one blank first unless the content is empty or already ends in a
    // blank or a line end.
    void AppendToken(const char* text);
    void AppendToken(const char* bytes, int length);

    PDStr& Content() noexcept { return m_content; }
    const PDStr& Content() const noexcept { return m_content; }
    bool Compress() const noexcept { return m_compress; }
    void SetCompress(bool compress) noexcept { m_compress = compress; }
    // Extra dictionary entries (/Type, /BBox, /Resources ...), made on first use; references in
    // them are input numbers of the writing map or output numbers.
    PDValue& Entries();

private:
    PDStr m_content;
    std::unique_ptr<PDValue> m_entries;
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
    int64_t Write(PDFile& out) override;

    bool InText() const noexcept { return m_inText; }
    bool Pending() const noexcept { return m_pending; }

private:
    bool m_inText = false;
    bool m_pending = false;
};
