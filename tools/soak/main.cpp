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

void usage(FILE* to) {
    fprintf(to,
            "usage: rcs-soak [--restarts N] [--requests M] [--threads T] [--inflight W]\n"
            "                [--time-limit SECONDS] [--document FILE] [--progress SECONDS]\n"
            "                [--modemd PATH --modem-socket PATH] [--keep-at-exit]\n"
            "Runs N modem restarts (default 1000) with M load requests (default 100000)\n"
            "spread over them, from T client threads (default 4) each keeping W requests\n"
            "in flight (default 8); stops at the time limit (default 3600 s).\n"
            "  --document FILE     the configuration document uploaded each cycle\n"
            "  --progress SECONDS  a progress line on stderr this often (default 10; 0: none)\n"
            "  --modemd PATH --modem-socket PATH\n"
            "                      the modem in an mcx-modemd process, killed with SIGKILL\n"
            "                      at each restart (default: the embedded emulator)\n"
            "  --keep-at-exit      leave at once after the figures, for a heap profiler\n"
            "The figures go to stdout, ending with a verdict line. Exit status 0 when\n"
            "nothing was left unanswered and nothing grew beyond what the service keeps\n"
            "by design, 1 otherwise, 2 for bad options or a run that could not start.\n"
            "Example: rcs-soak --restarts 100 --requests 10000 --time-limit 300\n");
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
        else if (a == "--progress" && next(&v)) o->progressS = atoi(v);
        else if (a == "--keep-at-exit") o->keepAtExit = true;
        else {
            fprintf(stderr, "rcs-soak: bad option '%s'\n", a.c_str());
            return false;
        }
    }
    if (o->restarts < 0 || o->requests < 0 || o->threads < 1 || o->inflight < 1 || o->timeLimitS < 1 ||
        o->progressS < 0 ||
        o->modemd.empty() != o->socket.empty()) {
        fprintf(stderr, "rcs-soak: counts must be >= 0, threads and window >= 1, "
                        "--modemd and --modem-socket go together\n");
        return false;
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        if (std::string(argv[i]) == "--help" || std::string(argv[i]) == "-h") {
            usage(stdout);
            return 0;
        }
    }
    Options o;
    if (!parseOptions(argc, argv, &o)) {
        usage(stderr);
        return 2;
    }
    signal(SIGPIPE, SIG_IGN);
    return soak::runSoak(o);
}
