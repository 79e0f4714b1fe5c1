#include "pdf/pdstream.h"

#include "pdf/pdfile.h"
#include "pdf/pdvalue.h"
#include "streams/pddiag.h"
#include "streams/pdfilters.h"

#include <cstring>

PDStream::PDStream() = default;

PDStream::~PDStream() = default;

PDValue& PDStream::Entries() {
    if (m_entries == nullptr)
        m_entries = PDValue::MakeDictionary();
    return *m_entries;
}

void PDStream::WriteDictEntries(PDFile& out, int map) {
    PDValue* entry = nullptr;
    const char* key = nullptr;
    for (int i = 0; m_entries != nullptr && m_entries->Dict()->Entry(i, &entry, &key); ++i) {
        if (entry == nullptr)
            continue;
        out.WriteToken(key);
        out.WriteValue(entry, map);
    }
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

int64_t PDStream::Write(PDFile& out) {
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

int32_t PDStream::WriteObject(PDFile& out, int32_t objNum, int map) {
    if (objNum == 0)
        objNum = out.NewObjectNumber();
    if (!out.WriteObjectHeader(objNum, map))
        return 0;
    out.WriteToken("<<");
    WriteDictEntries(out, map);
    PDStr packed;
    if (m_compress)
        packed = CompressFlate(m_content);
    const PDStr& data = packed.IsEmpty() ? m_content : packed;
    if (!packed.IsEmpty())
        out.WriteToken("/Filter /FlateDecode");
    out.WriteToken("/Length");
    out.WriteInt64(out.StoredLength(data.Length()));
    out.WriteToken(">>");
    out.NewLine();
    out.WriteToken("stream");
    out.NewLine();
    out.WriteStreamData(data.Bytes(), data.Length());
    // Deliberate: no line end is added before "endstream", so uncompressed data that do not end
    // in one run straight into it; compressed data end in the line feed of CompressFlate.
    out.WriteRaw("endstream\r\n", 11);
    return out.WriteEndObj() ? objNum : 0;
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

int64_t PDPgStream::Write(PDFile& out) {
    // Only a warning: the content is written as it stands, without the missing "ET".
    if (m_inText)
        PDReport("PDPgStream::Write - \"ET\" probably missing\n");
    m_pending = false;
    return PDStream::Write(out);
}
