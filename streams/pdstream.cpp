#include "streams/pdstream.h"

#include "pdf/pddiag.h"
#include "streams/pdfilters.h"

#include <cstring>

PDStream::~PDStream() = default;

void PDStream::WriteDictEntries(PDTokenWriter& /*out*/) {}

int PDStream::StreamTag() const {
    return 0;
}

void PDStream::AppendToken(const char* bytes, int length) {
    if (bytes == nullptr || length < 0)
        return;
    if (!m_content.IsEmpty()) {
        uint8_t last = m_content.At(m_content.Length() - 1);
        if (last != ' ' && last != '\n' && last != '\r')
            m_content.Append(' ');
    }
    m_content.Append(bytes, length);
}

void PDStream::AppendToken(const char* text) {
    if (text != nullptr)
        AppendToken(text, static_cast<int>(std::strlen(text)));
}

int64_t PDStream::Write(PDTokenWriter& out) {
    if (m_compress) {
        PDStr packed = CompressFlate(m_content);
        if (!packed.IsEmpty()) {
            out.WriteStreamData(packed.Bytes(), packed.Length());
            return packed.Length();
        }
    }
    out.WriteStreamData(m_content.Bytes(), m_content.Length());
    return m_content.Length();
}

int32_t PDStream::WriteObject(PDTokenWriter& out, int32_t objNum) {
    if (objNum == 0)
        objNum = out.NewObjectNumber();
    if (!out.WriteObjectHeader(objNum))
        return objNum;
    out.WriteToken("<<");
    WriteDictEntries(out);
    PDStr packed;
    if (m_compress)
        packed = CompressFlate(m_content);
    const PDStr& data = packed.IsEmpty() ? m_content : packed;
    if (!packed.IsEmpty())
        out.WriteToken("/Filter /FlateDecode");
    out.WriteToken("/Length");
    out.WriteInt(data.Length());
    out.WriteToken(">>");
    out.NewLine();
    out.WriteToken("stream");
    out.NewLine();
    out.WriteStreamData(data.Bytes(), data.Length());
    // Deliberate: no line end is added before "endstream", so uncompressed data that do not end
    // in one run straight into it; compressed data end in the line feed of CompressFlate.
    out.WriteRaw("endstream\r\n", 11);
    out.WriteEndObj();
    return objNum;
}

void PDPgStream::BeginText() {
    if (m_inText)
        return;
    AppendToken("BT\n");
    m_inText = true;
    m_pending = true;
}

void PDPgStream::EndText() {
    if (!m_inText)
        return;
    AppendToken("ET\n");
    m_inText = false;
    m_pending = false;
}

void PDPgStream::AppendOperator(const char* text) {
    EndText();
    AppendToken(text);
    m_pending = true;
}

int64_t PDPgStream::Write(PDTokenWriter& out) {
    // Only a warning: the content is written as it stands, without the missing "ET".
    if (m_inText)
        PDReport("PDPgStream::Write - \"ET\" probably missing\n");
    m_pending = false;
    return PDStream::Write(out);
}
