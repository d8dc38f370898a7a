/*
 * ModemDaemonProcess: one mcx-modemd child process, for the runs that need
 * the modem in a process of its own (a modem crash is then a real process
 * dying, killed with SIGKILL).
 */
#ifndef TESTKIT_MODEM_DAEMON_PROCESS_H
#define TESTKIT_MODEM_DAEMON_PROCESS_H

#include <sys/stat.h>
#include <sys/types.h>

#include <string>

namespace testkit {

// Owned by one thread.
class ModemDaemonProcess {
public:
    // `binary` is the mcx-modemd executable, `socketPath` the socket it serves.
    ModemDaemonProcess(std::string binary, std::string socketPath);
    // Kills the daemon if it still runs.
    ~ModemDaemonProcess();
    ModemDaemonProcess(const ModemDaemonProcess&) = delete;
    ModemDaemonProcess& operator=(const ModemDaemonProcess&) = delete;

    // Starts the daemon and waits for its ready line; false if it never came
    // (the daemon refused to start or died).
    bool start();
    // For the next start(): the umask the daemon inherits, and a file that
    // takes its stderr (appended to) instead of ours.
    void setUmask(mode_t mask) { mUmask = mask; mSetUmask = true; }
    void captureStderr(std::string path) { mStderrPath = std::move(path); }
    pid_t pid() const { return mPid; }
    // Kills the daemon at once (SIGKILL, as a modem crash) and reaps it.
    void kill();
    // Reaps a daemon that exited on its own; true when that happened (it is
    // then no longer running and start() may be called again).
    bool reapIfExited();

private:
    std::string mBinary;
    std::string mSocketPath;
    pid_t mPid = -1;
    bool mSetUmask = false;
    mode_t mUmask = 022;
    std::string mStderrPath;
};

}  // namespace testkit

#endif  // TESTKIT_MODEM_DAEMON_PROCESS_H
