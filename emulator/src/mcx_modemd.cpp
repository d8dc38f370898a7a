// mcx-modemd: the modem emulator as a process of its own, so that a modem
// crash is a real process dying and the modem's state outlives its clients.
//
//   mcx-modemd --socket PATH [--no-carrier-config]   serve until SIGTERM or SIGINT
//   mcx-modemd --socket PATH --control "COMMAND"     run one control command
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>

#include <hostlog/StderrLogger.h>

#include "emulator/ModemDaemon.h"
#include "emulator/ModemEmulator.h"

namespace {

constexpr const char* kUsage =
        "usage: mcx-modemd --socket PATH [--no-carrier-config]\n"
        "       mcx-modemd --socket PATH --control COMMAND\n"
        "The modem emulator in a process of its own: serves the modem's IMS settings and application\n"
        "services on the Unix socket PATH (created mode 0600, for this user only) until SIGTERM or\n"
        "SIGINT, which remove the socket. The service and rcsconfigctl reach it with --modem-socket PATH.\n"
        "  --socket PATH          the daemon's socket\n"
        "  --no-carrier-config    a modem without the carrier configuration message (0x9C)\n"
        "  --control COMMAND      run one control command on the daemon serving PATH and print its\n"
        "                         answer (OK when it has none); '--control help' lists the controls\n"
        "  --help, --version\n"
        "The daemon's log goes to stderr as logcat prints it (ANDROID_PRINTF_LOG, ANDROID_LOG_TAGS).\n"
        "exit status: 0 stopped by SIGTERM or SIGINT, or the control command succeeded; 1 the socket\n"
        "cannot be served, no daemon answers or the command was refused; 2 bad command line\n";

}  // namespace

int main(int argc, char** argv) {
    std::string socketPath;
    std::string control;
    bool carrierConfig = true;
    bool haveControl = false;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--socket") == 0 && i + 1 < argc) {
            socketPath = argv[++i];
        } else if (std::strcmp(argv[i], "--control") == 0 && i + 1 < argc) {
            control = argv[++i];
            haveControl = true;
        } else if (std::strcmp(argv[i], "--no-carrier-config") == 0) {
            carrierConfig = false;
        } else if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) {
            std::fputs(kUsage, stdout);
            return 0;
        } else if (std::strcmp(argv[i], "--version") == 0) {
            std::printf("mcx-modemd %s\n", IMSRCS_VERSION);
            return 0;
        } else {
            std::fprintf(stderr, "mcx-modemd: unknown option or missing value: '%s'\n%s", argv[i], kUsage);
            return 2;
        }
    }
    if (socketPath.empty()) {
        std::fprintf(stderr, "mcx-modemd: --socket PATH is required (try: mcx-modemd --help)\n");
        return 2;
    }
    if (haveControl) {
        std::string reply;
        if (mcxemu::sendDaemonControl(socketPath, control, &reply)) {
            // Most controls change the modem and answer nothing.
            std::printf("%s\n", reply.empty() ? "OK" : reply.c_str());
            return 0;
        }
        if (reply.empty()) {
            std::fprintf(stderr, "mcx-modemd: no daemon answers on %s\n", socketPath.c_str());
        } else {
            std::fprintf(stderr, "mcx-modemd: %s\n", reply.c_str());
        }
        return 1;
    }
    hostlog::installStderrLogger();  // the daemon's lines, as logcat prints them
    // The stop signals are taken by one thread of their own, so that the
    // socket file is removed on the way out; blocked here, before any
    // session thread exists, so that every thread inherits the mask.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGTERM);
    sigaddset(&stopSignals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    static mcxemu::ModemEmulator modem;  // lives as long as the process
    modem.setCarrierConfigSupported(carrierConfig);
    // Never destroyed: the stop-signal thread may use it until the process
    // ends.
    static mcxemu::ModemDaemon daemon(modem, socketPath);
    std::string error;
    if (!daemon.listen(&error)) {
        std::fprintf(stderr, "mcx-modemd: %s\n", error.c_str());
        return 1;
    }
    static std::atomic<bool> stopped{false};
    std::thread([stopSignals] {
        int received = 0;
        while (sigwait(&stopSignals, &received) != 0) {
        }
        stopped = true;
        daemon.stop();  // run() returns, the socket file is removed
    }).detach();
    // Tests and scripts wait for this line before connecting.
    std::printf("mcx-modemd ready on %s\n", socketPath.c_str());
    std::fflush(stdout);
    daemon.run();
    // Session threads may still be serving the emulator; the process ends
    // without running static destructors under them.
    std::fflush(nullptr);
    _exit(stopped ? 0 : 1);
}
