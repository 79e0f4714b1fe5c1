#include "tool/marrow_session.h"
#include "tool/run.h"

#include <csignal>

int main(int argc, char** argv) {
    // A closed pipe on standard output is a failed write to report, not a silent death.
    std::signal(SIGPIPE, SIG_IGN);
    PDMarrowSession session;
    RunStreams io;
    return RunQuillet(argc, argv, session, io);
}
