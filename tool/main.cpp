#include "tool/marrow_session.h"
#include "tool/run.h"

#include <csignal>
#include <cstdio>

#if defined(__SANITIZE_ADDRESS__)
#define QUILLET_LEAK_CHECKED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QUILLET_LEAK_CHECKED 1
#endif
#endif

int main(int argc, char** argv) {
    // A closed pipe on standard output is a failed write to report, not a silent death.
    std::signal(SIGPIPE, SIG_IGN);
    // The session lives on the heap so that a successful run can leave without taking the
    // document's objects apart one by one: by then every output is written, renamed into place
    // and closed, and the system takes the memory back at once. A failed run still tears the
    // session down, since that removes a temporary output file.
    static PDMarrowSession* session = new PDMarrowSession();
    RunStreams io;
    int status = RunQuillet(argc, argv, *session, io);
#if defined(QUILLET_LEAK_CHECKED)
    const bool tearDown = true; // the leak checker must see every object freed
#else
    const bool tearDown = status != 0;
#endif
    if (tearDown) {
        delete session;
        session = nullptr;
    }
    std::fflush(nullptr);
    return status;
}
