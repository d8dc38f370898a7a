/*
 * ModemDaemon: serves a ModemEmulator to messaging-library processes over a
 * Unix stream socket (the mcx-modemd executable). Each client socket gets its
 * own session thread, up to a cap; the emulator's state belongs to the
 * daemon, so it outlives every client.
 *
 * The socket is the daemon's user's alone: created mode 0600 whatever the
 * umask, and a peer of another uid (SO_PEERCRED) is refused. A client that
 * sends a malformed frame is disconnected with one line on stderr.
 */
#ifndef EMULATOR_MODEM_DAEMON_H
#define EMULATOR_MODEM_DAEMON_H

#include <atomic>
#include <string>

#include "emulator/ModemEmulator.h"

namespace mcxemu {

class ModemDaemon {
public:
    // Connections served at once; more are closed at accept with a log line.
    static constexpr int kDefaultMaxSessions = 32;

    ModemDaemon(ModemEmulator& modem, std::string socketPath,
                int maxSessions = kDefaultMaxSessions);
    ~ModemDaemon();
    ModemDaemon(const ModemDaemon&) = delete;
    ModemDaemon& operator=(const ModemDaemon&) = delete;

    // Binds and listens; false with *error set. A socket left by a dead daemon
    // is replaced; a live socket or anything that is not a socket is not.
    bool listen(std::string* error);
    // Accepts clients until stop() or until the listening socket fails; call
    // after listen().
    void run();
    // Makes run() return and removes the socket file: no client is accepted
    // any more, those connected stay served. Any thread after listen(), e.g.
    // one that waits for the stop signals.
    void stop();

private:
    ModemEmulator& mModem;
    std::string mPath;
    const int mMaxSessions;
    int mListenFd = -1;
    std::atomic<bool> mSocketRemoved{false};  // by stop() or the destructor, once
    std::atomic<int> mSessions{0};  // session threads running
};

// Connects to a daemon, runs one control command and returns its answer;
// false if the daemon is unreachable or refused the command.
bool sendDaemonControl(const std::string& socketPath, const std::string& command,
                       std::string* reply);

}  // namespace mcxemu

#endif  // EMULATOR_MODEM_DAEMON_H
