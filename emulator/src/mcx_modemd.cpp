// mcx-modemd: the modem emulator as a process of its own, so that a modem
// crash is a real process dying and the modem's state outlives its clients.
//
//   mcx-modemd --socket PATH [--no-carrier-config]   serve until killed
//   mcx-modemd --socket PATH --control "COMMAND"     run one control command
#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>

#include <hostlog/StderrLogger.h>

#include "emulator/ModemDaemon.h"
#include "emulator/ModemEmulator.h"

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
        } else {
            std::fprintf(stderr, "usage: %s --socket PATH [--no-carrier-config | --control CMD]\n",
                         argv[0]);
            return 2;
        }
    }
    if (socketPath.empty()) {
        std::fprintf(stderr, "mcx-modemd: --socket PATH is required\n");
        return 2;
    }
    if (haveControl) {
        std::string reply;
        bool ok = mcxemu::sendDaemonControl(socketPath, control, &reply);
        std::printf("%s\n", reply.c_str());
        return ok ? 0 : 1;
    }
    hostlog::installStderrLogger();  // the daemon's lines, as logcat prints them
    std::signal(SIGPIPE, SIG_IGN);
    static mcxemu::ModemEmulator modem;  // lives as long as the process
    modem.setCarrierConfigSupported(carrierConfig);
    mcxemu::ModemDaemon daemon(modem, socketPath);
    std::string error;
    if (!daemon.listen(&error)) {
        std::fprintf(stderr, "mcx-modemd: %s\n", error.c_str());
        return 1;
    }
    // Tests and scripts wait for this line before connecting.
    std::printf("mcx-modemd ready on %s\n", socketPath.c_str());
    std::fflush(stdout);
    daemon.run();
    return 1;
}
