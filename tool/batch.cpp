#include "tool/batch.h"

#include "tool/csv_records.h"
#include "tool/run_steps.h"

#include <algorithm>
#include <chrono>
#include <unistd.h>
#include <unordered_set>

namespace {

using Clock = std::chrono::steady_clock;

// The progress line, redrawn at most a few times a second; only on a terminal.
class Progress {
public:
    explicit Progress(FILE* err) : m_err(err), m_shown(isatty(fileno(err)) != 0) {}

    void Update(long done, double fraction, bool last = false) {
        if (!m_shown)
            return;
        const auto now = Clock::now();
        if (!last && now - m_drawn < std::chrono::milliseconds(200))
            return;
        m_drawn = now;
        const double seconds = std::chrono::duration<double>(now - m_start).count();
        const double rate = seconds > 0 ? static_cast<double>(done) / seconds : 0.0;
        std::fprintf(m_err, "\r%ld records, %.1f/s", done, rate);
        if (!last && fraction > 0.0 && fraction < 1.0)
            std::fprintf(m_err, ", about %.0f s left ", seconds * (1.0 - fraction) / fraction);
        std::fputs(last ? "\n" : "   ", m_err);
        std::fflush(m_err);
    }

private:
    FILE* m_err;
    bool m_shown;
    Clock::time_point m_start = Clock::now();
    Clock::time_point m_drawn{};
};

// Columns that name the output only are not filled unless the form has a field of that name.
std::vector<bool> ColumnsToFill(const std::string& pattern, const std::vector<std::string>& header,
                                FormSession& session) {
    std::unordered_set<std::string> names;
    for (const PDFieldDescription& f : session.DescribeFields())
        names.insert(f.name);
    std::vector<bool> fill;
    for (const std::string& column : header) {
        const bool naming = pattern.find("{" + column + "}") != std::string::npos;
        fill.push_back(!naming || names.count(column) != 0);
    }
    return fill;
}

struct Batch {
    const PDRunRequest& request;
    const std::vector<std::string>& assignments;
    FormSession& session;
    RunStreams& io;
    std::vector<std::string> header;
    std::vector<bool> fill;
};

void Report(const Batch& b, long number, const std::string& why) {
    std::fprintf(b.io.err, "record %ld: %s\n", number, why.c_str());
}

// One record into one output, as a single run with these values would write it. False, with the
// reasons printed, when the record failed; no output is left for it then.
bool FillRecord(Batch& b, long number, const std::vector<std::string>& record) {
    if (record.size() != b.header.size()) {
        Report(b, number,
               std::to_string(record.size()) + " values for " + std::to_string(b.header.size()) +
                   " columns");
        return false;
    }
    std::string name, error;
    if (!ExpandOutputName(b.request.outputName, b.header, record, number, name, error) ||
        name.empty() || name == "-") {
        Report(b, number, error.empty() ? "no output name" : error);
        return false;
    }
    if (!b.session.ReopenTemplate()) {
        Report(b, number, "the template cannot be read again");
        return false;
    }
    if (!b.session.CreateOutputFile(name.c_str())) {
        Report(b, number, "'" + name + "' cannot be created");
        return false;
    }
    ApplyOutputSettings(b.request, b.session);
    b.session.AttachTemplate();
    CarryOutAssignments(b.assignments, b.request, b.session, b.io);
    for (size_t i = 0; i < record.size(); ++i) {
        // Deliberate: an empty cell leaves the field as the template has it.
        if (b.fill[i] && !record[i].empty())
            b.session.SetFieldValue(b.header[i].c_str(), record[i].c_str());
    }
    b.session.SetFlatten(b.request.flatten ? 0 : -1);
    b.session.RemoveUsageRights();
    b.session.ImportPages();
    const std::vector<std::string> warnings = b.session.Warnings();
    for (const std::string& w : warnings)
        Report(b, number, w);
    if (!warnings.empty())
        return false; // the output is removed when the template is opened again
    if (!FinishOutput(b.session)) {
        Report(b, number, "'" + name + "' cannot be written");
        return false;
    }
    return true;
}

} // namespace

bool ExpandOutputName(const std::string& pattern, const std::vector<std::string>& header,
                      const std::vector<std::string>& record, long number, std::string& name,
                      std::string& error) {
    name.clear();
    size_t at = 0;
    while (at < pattern.size()) {
        const size_t open = pattern.find('{', at);
        const size_t close = open == std::string::npos ? open : pattern.find('}', open);
        if (close == std::string::npos) {
            name += pattern.substr(at);
            break;
        }
        name += pattern.substr(at, open - at);
        const std::string column = pattern.substr(open + 1, close - open - 1);
        at = close + 1;
        if (column == "#") {
            name += std::to_string(number);
            continue;
        }
        auto it = std::find(header.begin(), header.end(), column);
        if (it == header.end()) {
            error = "no column '" + column + "' for the output name";
            return false;
        }
        const auto index = static_cast<size_t>(it - header.begin());
        name += index < record.size() ? record[index] : std::string();
    }
    return true;
}

int RunBatch(const PDRunRequest& request, const std::vector<std::string>& assignments,
             FormSession& session, RunStreams& io) {
    PDCsvRecords records;
    const std::string& file = *request.batchFile;
    Batch b{request, assignments, session, io, {}, {}};
    if (!records.Open(file, io.in)) {
        std::fprintf(io.err, "File '%s' cannot be opened\n", file.c_str());
        return 1;
    }
    if (!records.Next(b.header)) {
        std::fprintf(io.err, "File '%s' has no header row\n", file.c_str());
        return 1;
    }
    std::string name, error;
    if (!ExpandOutputName(request.outputName, b.header, b.header, 0, name, error)) {
        std::fprintf(io.err, "%s\n", error.c_str());
        return 1;
    }
    b.fill = ColumnsToFill(request.outputName, b.header, session);
    Progress progress(io.err);
    long number = 0;
    long failed = 0;
    std::vector<std::string> record;
    while (records.Next(record)) {
        ++number;
        failed += FillRecord(b, number, record) ? 0 : 1;
        progress.Update(number, records.Progress());
    }
    session.ReopenTemplate(); // removes an output left unfinished by the last record
    progress.Update(number, 1.0, true);
    if (!records.Error().empty()) {
        std::fprintf(io.err, "File '%s': %s after record %ld; the rest is not read\n", file.c_str(),
                     records.Error().c_str(), number);
    }
    if (failed > 0)
        std::fprintf(io.err, "%ld of %ld records failed\n", failed, number);
    return failed > 0 || !records.Error().empty() ? 1 : 0;
}
