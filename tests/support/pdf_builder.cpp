#include "tests/support/pdf_builder.h"

#include <zlib.h>

#include <algorithm>
#include <cstdio>

namespace testpdf {

namespace {

std::string Num(int64_t v) {
    return std::to_string(v);
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
              reinterpret_cast<const Bytef*>(data.data()), static_cast<uLong>(data.size()),
              Z_DEFAULT_COMPRESSION);
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
    int64_t start = s.kind == XrefKind::kNone ? std::max<int64_t>(Offset(s.startObject), 0) : 0;
    if (s.kind == XrefKind::kTable) {
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
    } else if (s.kind != XrefKind::kNone) {
        start = static_cast<int64_t>(m_out.size());
        WriteXrefStream(s, prev, s.kind == XrefKind::kStreamFlate, true);
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
            const auto [offset, gen] = n == 0 ? std::pair<int64_t, int>(0, 65535) : s.entries.at(n);
            char line[24];
            std::snprintf(line, sizeof line, "%010lld %05d %c\r\n", static_cast<long long>(offset),
                          gen, n == 0 ? 'f' : 'n');
            m_out += line;
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
    auto row = [&rows](int num, int type, uint64_t second, int third) {
        std::string& r = rows[num];
        r = std::string(1, static_cast<char>(type));
        for (int i = 3; i >= 0; --i)
            r.push_back(static_cast<char>((second >> (8 * i)) & 0xFF));
        r += {static_cast<char>((third >> 8) & 0xFF), static_cast<char>(third & 0xFF)};
    };
    if (head)
        row(0, 0, 0, 65535);
    for (const auto& [num, entry] : s.entries)
        row(num, 1, static_cast<uint64_t>(entry.first), entry.second);
    for (const auto& [num, entry] : s.packedEntries)
        row(num, 2, static_cast<uint64_t>(entry.first), entry.second);
    std::string data;
    for (const auto& [num, r] : rows) {
        nums.push_back(num);
        data += r;
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
