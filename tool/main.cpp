#include "tool/marrow_session.h"
#include "tool/run.h"

int main(int argc, char** argv) {
    PDMarrowSession session;
    RunStreams io;
    return RunQuillet(argc, argv, session, io);
}
