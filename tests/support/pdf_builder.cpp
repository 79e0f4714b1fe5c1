#include "tests/support/pdf_builder.h"

#include <zlib.h>

#include <algorithm>

namespace testpdf {

namespace {

std::string Num(int64_t v) {
    return std::to_string(v);
}

std::string Padded(int64_t v, size_t width) {
    std::string s = std::to_string(v);
    return std::string(width > s.size() ? width - s.size() : 0, '0') + s;
}

void PutBigEndian(std::string& out, uint64_t v, int width) {
    for (int i = width - 1; i >= 0; --i)
        out.push_back(static_cast<char>((v >> (8 * i)) & 0xFF));
}

// Consecutive runs of the numbers, as "/Index" pairs or table subsections.
std::vector<std::pair<int, int>> Runs(const std::vector<int>& sorted) {
    std::vector<std::pair<int, int>> runs;
    for (int n : sorted) {
        if (!runs.empty() && runs.back().first + runs.back().second == n)
            ++runs.back().second;
        else
            runs.emplace_back(n, 1);
    }
    return runs;
}

} // namespace

PdfBuilder::PdfBuilder(const std::string& version)
    : m_out("%PDF-" + version + "\n%\xE2\xE3\xCF\xD3\n") {}

void PdfBuilder::WriteObject(int num, int gen, const std::string& body) {
    auto offset = static_cast<int64_t>(m_out.size());
    m_out += Num(num) + " " + Num(gen) + " obj\n" + body + "\nendobj\n";
    m_cur.entries[num] = {offset, gen};
    m_offsets[num] = offset;
    m_maxNum = std::max(m_maxNum, num);
}

PdfBuilder& PdfBuilder::Add(int num, std::string body, int gen) {
    WriteObject(num, gen, body);
    return *this;
}

PdfBuilder& PdfBuilder::AddStream(int num, std::string dictEntries, std::string data) {
    WriteObject(num, 0,
                "<< " + dictEntries + " /Length " + Num(static_cast<int64_t>(data.size())) +
                    " >>\nstream\n" + data + "\nendstream");
    return *this;
}

PdfBuilder& PdfBuilder::AddPacked(int num, std::string body) {
    m_cur.packed.emplace_back(num, std::move(body));
    m_maxNum = std::max(m_maxNum, num);
    return *this;
}

PdfBuilder& PdfBuilder::Trailer(std::string entries) {
    m_cur.trailer = std::move(entries);
    return *this;
}

PdfBuilder& PdfBuilder::Xref(XrefKind kind) {
    m_cur.kind = kind;
    return *this;
}

PdfBuilder& PdfBuilder::ObjectStreamNumber(int num) {
    m_cur.objStmNum = num;
    return *this;
}

PdfBuilder& PdfBuilder::StartXrefObject(int num) {
    m_cur.startObject = num;
    return *this;
}

PdfBuilder& PdfBuilder::NewSection() {
    CloseSection();
    m_cur = Section{};
    m_first = false;
    return *this;
}

std::string PdfBuilder::Build() {
    if (!m_built) {
        CloseSection();
        m_built = true;
    }
    return m_out;
}

int64_t PdfBuilder::Offset(int num) const {
    auto it = m_offsets.find(num);
    return it != m_offsets.end() ? it->second : -1;
}

std::string PdfBuilder::Deflate(const std::string& data) {
    uLongf size = compressBound(static_cast<uLong>(data.size()));
    std::string out(size, '\0');
    compress2(reinterpret_cast<Bytef*>(out.data()), &size,
              reinterpret_cast<const Bytef*>(data.data()), static_cast<uLong>(data.size()), 9);
    out.resize(size);
    return out;
}

std::string PdfBuilder::ObjectStreamBody(const Section& s) const {
    std::string header;
    std::string objects;
    for (const auto& [num, body] : s.packed) {
        header += Num(num) + " " + Num(static_cast<int64_t>(objects.size())) + " ";
        objects += body + "\n";
    }
    header += "\n";
    return "<< /Type /ObjStm /N " + Num(static_cast<int64_t>(s.packed.size())) + " /First " +
           Num(static_cast<int64_t>(header.size())) + " /Length " +
           Num(static_cast<int64_t>(header.size() + objects.size())) + " >>\nstream\n" + header +
           objects + "\nendstream";
}

void PdfBuilder::CloseSection() {
    Section& s = m_cur;
    if (!s.packed.empty()) {
        int stm = s.objStmNum > 0 ? s.objStmNum : m_maxNum + 1;
        WriteObject(stm, 0, ObjectStreamBody(s));
        for (size_t i = 0; i < s.packed.size(); ++i)
            s.packedEntries[s.packed[i].first] = {stm, static_cast<int>(i)};
    }
    int64_t prev = m_first ? 0 : m_prevXref;
    int64_t start = 0;
    switch (s.kind) {
    case XrefKind::kTable: {
        int64_t xrefStm = 0;
        if (!s.packedEntries.empty()) {
            Section hybrid;
            hybrid.packedEntries = s.packedEntries;
            xrefStm = static_cast<int64_t>(m_out.size());
            s.entries[m_maxNum + 1] = {xrefStm, 0};
            WriteXrefStream(hybrid, 0, false, false);
        }
        start = static_cast<int64_t>(m_out.size());
        WriteTable(s, prev, xrefStm);
        break;
    }
    case XrefKind::kStream:
    case XrefKind::kStreamFlate:
        start = static_cast<int64_t>(m_out.size());
        WriteXrefStream(s, prev, s.kind == XrefKind::kStreamFlate, true);
        break;
    case XrefKind::kNone:
        start = s.startObject > 0 ? Offset(s.startObject) : 0;
        break;
    }
    m_out += "startxref\n" + Num(start) + "\n%%EOF\n";
    m_prevXref = start;
    m_lastStartXref = start;
}

void PdfBuilder::WriteTable(const Section& s, int64_t prev, int64_t xrefStm) {
    std::vector<int> nums;
    if (m_first)
        nums.push_back(0);
    for (const auto& [num, entry] : s.entries)
        nums.push_back(num);
    m_out += "xref\n";
    for (const auto& [first, count] : Runs(nums)) {
        m_out += Num(first) + " " + Num(count) + "\n";
        for (int n = first; n < first + count; ++n) {
            if (n == 0) {
                m_out += "0000000000 65535 f\r\n";
                continue;
            }
            const auto& [offset, gen] = s.entries.at(n);
            m_out += Padded(offset, 10) + " " + Padded(gen, 5) + " n\r\n";
        }
    }
    m_out += "trailer\n<< /Size " + Num(m_maxNum + 1);
    if (prev > 0)
        m_out += " /Prev " + Num(prev);
    if (xrefStm > 0)
        m_out += " /XRefStm " + Num(xrefStm);
    m_out += " " + s.trailer + " >>\n";
}

// Rows of /W [1 4 2] for every entry of the section, plus the free head entry of a first section.
std::string PdfBuilder::XrefStreamData(const Section& s, std::vector<int>& nums, bool head) const {
    std::map<int, std::string> rows;
    if (head)
        rows[0] = std::string("\x00\x00\x00\x00\x00\xFF\xFF", 7);
    for (const auto& [num, entry] : s.entries) {
        std::string row(1, '\x01');
        PutBigEndian(row, static_cast<uint64_t>(entry.first), 4);
        PutBigEndian(row, static_cast<uint64_t>(entry.second), 2);
        rows[num] = row;
    }
    for (const auto& [num, entry] : s.packedEntries) {
        std::string row(1, '\x02');
        PutBigEndian(row, static_cast<uint64_t>(entry.first), 4);
        PutBigEndian(row, static_cast<uint64_t>(entry.second), 2);
        rows[num] = row;
    }
    std::string data;
    for (const auto& [num, row] : rows) {
        nums.push_back(num);
        data += row;
    }
    return data;
}

void PdfBuilder::WriteXrefStream(Section& s, int64_t prev, bool flate, bool withTrailer) {
    int num = m_maxNum + 1;
    m_maxNum = std::max(m_maxNum, num);
    auto offset = static_cast<int64_t>(m_out.size());
    if (withTrailer)
        s.entries[num] = {offset, 0};
    std::vector<int> nums;
    std::string data = XrefStreamData(s, nums, withTrailer && m_first);
    if (flate)
        data = Deflate(data);
    std::string dict = "/Type /XRef /Size " + Num(m_maxNum + 1) + " /W [1 4 2] /Index [";
    for (const auto& [first, count] : Runs(nums))
        dict += Num(first) + " " + Num(count) + " ";
    dict += "]";
    if (prev > 0)
        dict += " /Prev " + Num(prev);
    if (flate)
        dict += " /Filter /FlateDecode";
    if (withTrailer)
        dict += " " + s.trailer;
    WriteObject(num, 0,
                "<< " + dict + " /Length " + Num(static_cast<int64_t>(data.size())) +
                    " >>\nstream\n" + data + "\nendstream");
}

} // namespace testpdf
