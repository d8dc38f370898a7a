/*
 * ModemDaemon: serves a ModemEmulator to messaging-library processes over a
 * Unix stream socket (the mcx-modemd executable). Each client socket gets its
 * own session thread; the emulator's state belongs to the daemon, so it
 * outlives every client.
 */
#ifndef EMULATOR_MODEM_DAEMON_H
#define EMULATOR_MODEM_DAEMON_H

#include <string>

#include "emulator/ModemEmulator.h"

namespace mcxemu {

class ModemDaemon {
public:
    ModemDaemon(ModemEmulator& modem, std::string socketPath);
    ~ModemDaemon();
    ModemDaemon(const ModemDaemon&) = delete;
    ModemDaemon& operator=(const ModemDaemon&) = delete;

    // Binds and listens (replacing a stale socket file); false with *error set.
    bool listen(std::string* error);
    // Accepts clients until the listening socket fails; call after listen().
    void run();

private:
    ModemEmulator& mModem;
    std::string mPath;
    int mListenFd = -1;
};

// Connects to a daemon, runs one control command and returns its answer;
// false if the daemon is unreachable or refused the command.
bool sendDaemonControl(const std::string& socketPath, const std::string& command,
                       std::string* reply);

}  // namespace mcxemu

#endif  // EMULATOR_MODEM_DAEMON_H
