// Batch filling: one output per record of a CSV file, on a template opened once.
#pragma once

#include "tool/form_session.h"
#include "tool/options.h"
#include "tool/run_streams.h"

#include <string>
#include <vector>

// The output name for one record: "{COLUMN}" is replaced by that column's value and "{#}" by the
// record number. False, with the unknown column in error, when the pattern names no column.
bool ExpandOutputName(const std::string& pattern, const std::vector<std::string>& header,
                      const std::vector<std::string>& record, long number, std::string& name,
                      std::string& error);

// Runs the batch of request.batchFile on the open template; assignments apply to every record
// before its own values. Returns the exit status: 0 when every record was written, 1 otherwise.
int RunBatch(const PDRunRequest& request, const std::vector<std::string>& assignments,
             FormSession& session, RunStreams& io);
