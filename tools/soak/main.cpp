// rcs-soak: a long run of the RCS configuration service inside this process,
// through its HIDL front, that prints what happened and what it cost.
//
// Each cycle restarts the modem (the embedded emulator's services go down
// and up, or an mcx-modemd daemon is killed with SIGKILL and started again),
// sends requests while the modem is down (the service refuses them), waits
// for the listeners' reconfiguration notice and creates new objects for both
// slots as a client does, then uploads the operator document (gzip and
// plain), writes and reads all four settings groups on both slots, lets the
// modem ask for a token and answers it, and finally runs its share of the
// load: several client threads each keeping a window of requests in flight.
//
// Counting: a request the service promises to answer is waited for (bounded);
// what is still missing then is "unanswered". Requests the service answers
// with no callback by design (updateTokenFetchStatus; setAppToken refused while
// the modem is down) are counted apart and never waited for.
#include <signal.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "SoakRun.h"

namespace {

using soak::Options;

void usage() {
    fprintf(stderr,
            "usage: rcs-soak [--restarts N] [--requests M] [--threads T] [--inflight W]\n"
            "                [--time-limit SECONDS] [--document FILE]\n"
            "                [--modemd PATH --modem-socket PATH] [--keep-at-exit]\n"
            "Runs N modem restarts with M load requests spread over them; stops at the\n"
            "time limit. Exit status 0 when nothing was left unanswered and nothing grew\n"
            "beyond what the service keeps by design, 1 otherwise, 2 for bad options.\n");
}

bool parseOptions(int argc, char** argv, Options* o) {
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        auto next = [&](const char** v) {
            if (i + 1 >= argc) return false;
            *v = argv[++i];
            return true;
        };
        const char* v = nullptr;
        if (a == "--restarts" && next(&v)) o->restarts = atol(v);
        else if (a == "--requests" && next(&v)) o->requests = atol(v);
        else if (a == "--threads" && next(&v)) o->threads = atoi(v);
        else if (a == "--inflight" && next(&v)) o->inflight = atoi(v);
        else if (a == "--time-limit" && next(&v)) o->timeLimitS = atol(v);
        else if (a == "--document" && next(&v)) o->document = v;
        else if (a == "--modemd" && next(&v)) o->modemd = v;
        else if (a == "--modem-socket" && next(&v)) o->socket = v;
        else if (a == "--keep-at-exit") o->keepAtExit = true;
        else {
            fprintf(stderr, "rcs-soak: bad option '%s'\n", a.c_str());
            return false;
        }
    }
    if (o->restarts < 0 || o->requests < 0 || o->threads < 1 || o->inflight < 1 || o->timeLimitS < 1 ||
        o->modemd.empty() != o->socket.empty()) {
        fprintf(stderr, "rcs-soak: counts must be >= 0, threads and window >= 1, "
                        "--modemd and --modem-socket go together\n");
        return false;
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    Options o;
    if (!parseOptions(argc, argv, &o)) {
        usage();
        return 2;
    }
    signal(SIGPIPE, SIG_IGN);
    return soak::runSoak(o);
}
