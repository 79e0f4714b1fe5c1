// One run of the tool: from the argument vector to the exit status.
#pragma once

#include "tool/form_session.h"
#include "tool/run_streams.h"

// Returns the exit status: 0 success (also usage and listing), 1 missing file names or an output
// that cannot be created, 2 a template that cannot be opened.
int RunQuillet(int argc, char** argv, FormSession& session, RunStreams& io);
