// PdfBuilder: writes small PDF files for tests from object bodies given as text. It does not use
// the library under test, so a reader bug cannot hide in the fixtures.
//
//   PdfBuilder b("1.4");
//   b.Add(1, "<< /Type /Catalog /Pages 2 0 R >>");
//   b.Add(2, "<< /Type /Pages /Kids [3 0 R] /Count 1 >>");
//   b.Add(3, "<< /Type /Page /Parent 2 0 R >>");
//   b.Trailer("/Root 1 0 R");
//   std::string pdf = b.Build();
//
// Objects are written in the order added. Each section ends with its cross-reference data, its
// trailer (/Size, and /Prev for updates, are filled in) and "startxref".
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace testpdf {

enum class XrefKind {
    kTable,       // classic table; objects added with AddPacked go to a hybrid /XRefStm stream
    kStream,      // cross-reference stream, /W [1 4 2], data uncompressed
    kStreamFlate, // the same, Flate-compressed
    kNone,        // no cross-reference data; "startxref" names StartXrefObject's offset
};

class PdfBuilder {
public:
    explicit PdfBuilder(const std::string& version = "1.4");

    // "num gen obj", the body, "endobj".
    PdfBuilder& Add(int num, const std::string& body, int gen = 0) {
        return WriteObject(num, gen, body), *this;
    }
    // A stream object: dictEntries go between "<<" and ">>" (without /Length, which is added).
    PdfBuilder& AddStream(int num, std::string dictEntries, std::string data);
    // An object packed into this section's object stream (numbered ObjectStreamNumber).
    PdfBuilder& AddPacked(int num, std::string body);
    // Trailer entries of this section, e.g. "/Root 1 0 R /Info 5 0 R".
    PdfBuilder& Trailer(std::string entries) { return m_cur.trailer = std::move(entries), *this; }
    PdfBuilder& Xref(XrefKind kind) { return m_cur.kind = kind, *this; }
    // Number of this section's object stream; by default the next free number after every
    // object added so far.
    PdfBuilder& ObjectStreamNumber(int num) { return m_cur.objStmNum = num, *this; }
    // With XrefKind::kNone: the object whose offset "startxref" gives.
    PdfBuilder& StartXrefObject(int num) { return m_cur.startObject = num, *this; }
    // Closes the section; what is added next forms an incremental update whose trailer has /Prev.
    PdfBuilder& NewSection();

    // Closes the open section and returns the whole file.
    std::string Build();

    // After Build: the file offset of the last definition of num; -1 when none.
    int64_t Offset(int num) const;
    // After Build: the number behind the last "startxref".
    int64_t StartXref() const { return m_lastStartXref; }

    // zlib compression of data at the default level, as generated Flate streams are made.
    static std::string Deflate(const std::string& data);

private:
    struct Section {
        std::vector<std::pair<int, std::string>> packed;
        std::string trailer;
        XrefKind kind = XrefKind::kTable;
        int objStmNum = 0;
        int startObject = 0;
        std::map<int, std::pair<int64_t, int>> entries;   // num -> (offset from header, gen)
        std::map<int, std::pair<int, int>> packedEntries; // num -> (stream, index)
    };

    void CloseSection();
    void WriteObject(int num, int gen, const std::string& body);
    std::string ObjectStreamBody(const Section& s) const;
    std::string XrefStreamData(const Section& s, std::vector<int>& nums, bool head) const;
    void WriteTable(const Section& s, int64_t prev, int64_t xrefStm);
    void WriteXrefStream(Section& s, int64_t prev, bool flate, bool withTrailer);

    std::string m_out;
    bool m_built = false;
    int m_maxNum = 0;
    bool m_first = true;
    int64_t m_prevXref = 0;
    int64_t m_lastStartXref = 0;
    Section m_cur;
    std::map<int, int64_t> m_offsets;
};

} // namespace testpdf
