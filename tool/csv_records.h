// PDCsvRecords: the records of a CSV file (RFC 4180), read a block at a time so that a file of any
// length is held only a block's worth of records at once.
#pragma once

#include <cstdint>
#include <cstdio>
#include <deque>
#include <string>
#include <vector>

struct csv_parser;

class PDCsvRecords {
public:
    PDCsvRecords();
    ~PDCsvRecords();
    PDCsvRecords(const PDCsvRecords&) = delete;
    PDCsvRecords& operator=(const PDCsvRecords&) = delete;

    // False when the file cannot be opened ("-" reads standard input).
    bool Open(const std::string& name, FILE* standardInput);
    // The next record; false at the end of the file or at a syntax error (Error() tells).
    bool Next(std::vector<std::string>& record);
    // Empty unless the file is not valid CSV (a quote that is never closed, a stray quote).
    const std::string& Error() const noexcept { return m_error; }
    // How much of the file the records handed out so far cover, from 0 to 1 (counted without
    // quotes, so a little low); 0 when the size is unknown.
    double Progress() const noexcept;

    // Called back by the parser.
    void AddField(const char* text, size_t length);
    void EndRecord();

private:
    bool ReadBlock();

    FILE* m_file = nullptr;
    bool m_ownsFile = false;
    bool m_atEnd = false;
    int64_t m_size = 0;
    int64_t m_handedOut = 0; // bytes of the records handed out, roughly
    csv_parser* m_parser = nullptr;
    std::vector<std::string> m_current;
    std::deque<std::vector<std::string>> m_ready;
    std::deque<int64_t> m_readySizes;
    std::string m_error;
};
