// The steps of a fill that a single run and a batch share.
#pragma once

#include "tool/form_session.h"
#include "tool/options.h"
#include "tool/run_streams.h"

#include <string>
#include <vector>

// Creates outputName ("-": in memory); false, with the reason printed, when it cannot be created.
bool CreateOutput(const std::string& outputName, FormSession& session, RunStreams& io);
// Protection and auto-size limits of the request; after the output is created, which resets them.
void ApplyOutputSettings(const PDRunRequest& request, FormSession& session);
// The assignment arguments, control files read where they stand (each once: standard input
// cannot be read twice).
std::vector<std::string> GatherAssignments(int argc, char** argv, const PDRunRequest& request,
                                           RunStreams& io);
void CarryOutAssignments(const std::vector<std::string>& assignments, const PDRunRequest& request,
                         FormSession& session, RunStreams& io);
// After the pages are imported: outlines, destinations, catalog, and the close. False when the
// output could not be written.
bool FinishOutput(FormSession& session);
