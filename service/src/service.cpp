// The RCS configuration HAL service: starts everything and serves until
// SIGTERM or SIGINT. On a workstation an optional argument names the socket of
// an mcx-modemd daemon to use instead of the embedded modem emulator.
#include <signal.h>

#include "service/RcsServiceHost.h"

int main(int argc, char** argv) {
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGTERM);
    sigaddset(&stopSignals, SIGINT);
    // Blocked before any thread starts, so that only sigwait() below takes them.
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

    rcsservice::RcsServiceHostOptions options;
    if (argc > 1) {
        options.modem = rcsservice::RcsServiceHostOptions::Modem::Daemon;
        options.daemonSocket = argv[1];
    }
    rcsservice::RcsServiceHost host(options);
    if (!host.start()) return 1;
    int received = 0;
    sigwait(&stopSignals, &received);
    host.stop();
    return 0;
}
