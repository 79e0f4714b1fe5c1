#include "tool/csv_records.h"

#include <csv.h>

#include <memory>

namespace {

constexpr size_t kBlockSize = 64 * 1024;

void OnField(void* text, size_t length, void* data) {
    static_cast<PDCsvRecords*>(data)->AddField(static_cast<const char*>(text), length);
}

void OnRecordEnd(int, void* data) {
    static_cast<PDCsvRecords*>(data)->EndRecord();
}

// Deliberate: blanks around an unquoted field are part of it, as RFC 4180 has it.
int NoSpace(unsigned char) {
    return 0;
}

} // namespace

PDCsvRecords::PDCsvRecords() : m_parser(new csv_parser) {
    csv_init(m_parser, CSV_STRICT | CSV_STRICT_FINI);
    csv_set_space_func(m_parser, NoSpace);
}

PDCsvRecords::~PDCsvRecords() {
    csv_free(m_parser);
    delete m_parser;
    if (m_ownsFile && m_file != nullptr)
        std::fclose(m_file);
}

bool PDCsvRecords::Open(const std::string& name, FILE* standardInput) {
    if (name == "-") {
        m_file = standardInput;
        return m_file != nullptr;
    }
    m_file = std::fopen(name.c_str(), "rb");
    m_ownsFile = m_file != nullptr;
    if (m_file != nullptr && std::fseek(m_file, 0, SEEK_END) == 0) {
        m_size = std::ftell(m_file);
        std::rewind(m_file);
    }
    return m_file != nullptr;
}

double PDCsvRecords::Progress() const noexcept {
    return m_size > 0 ? static_cast<double>(m_handedOut) / static_cast<double>(m_size) : 0.0;
}

void PDCsvRecords::AddField(const char* text, size_t length) {
    m_current.emplace_back(text != nullptr ? text : "", text != nullptr ? length : 0);
}

void PDCsvRecords::EndRecord() {
    int64_t size = 0;
    for (const std::string& field : m_current)
        size += static_cast<int64_t>(field.size()) + 1; // the separator or the line end
    m_readySizes.push_back(size);
    m_ready.push_back(std::move(m_current));
    m_current.clear();
}

bool PDCsvRecords::ReadBlock() {
    if (m_atEnd || m_file == nullptr)
        return false;
    auto block = std::make_unique<char[]>(kBlockSize);
    size_t n = std::fread(block.get(), 1, kBlockSize, m_file);
    if (n > 0 && csv_parse(m_parser, block.get(), n, OnField, OnRecordEnd, this) != n) {
        m_error = csv_strerror(csv_error(m_parser));
        m_atEnd = true;
        return true;
    }
    if (n < kBlockSize) {
        m_atEnd = true;
        if (csv_fini(m_parser, OnField, OnRecordEnd, this) != 0)
            m_error = csv_strerror(csv_error(m_parser));
    }
    return true;
}

bool PDCsvRecords::Next(std::vector<std::string>& record) {
    while (m_ready.empty() && ReadBlock()) {
    }
    if (m_ready.empty())
        return false;
    record = std::move(m_ready.front());
    m_ready.pop_front();
    m_handedOut += m_readySizes.front();
    m_readySizes.pop_front();
    return true;
}
