// The three standard streams of one run, passed in so that tests can capture what a run prints.
#pragma once

#include <cstdio>

struct RunStreams {
    FILE* in = stdin;   // the control file "@" alone
    FILE* out = stdout; // usage, listing, added-field reports, the output "-"
    FILE* err = stderr; // every other message
};
