// Passwords read from files (or standard input), so that they never show in a process listing.
#pragma once

#include "tool/options.h"
#include "tool/run_streams.h"

// Replaces the passwords of request by the first lines of the files it names. Standard input
// ("-") gives one password at most and none when a control file "@" reads it. False, with the
// file and the reason printed, when a file cannot be read or standard input is asked for twice.
bool ReadPasswordFiles(int argc, char** argv, PDRunRequest& request, RunStreams& io);
