#include "testkit/ModemDaemonProcess.h"

#include <cerrno>
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <utility>

namespace testkit {

ModemDaemonProcess::ModemDaemonProcess(std::string binary, std::string socketPath)
    : mBinary(std::move(binary)), mSocketPath(std::move(socketPath)) {}

ModemDaemonProcess::~ModemDaemonProcess() { kill(); }

bool ModemDaemonProcess::start() {
    int fds[2];
    if (pipe(fds) != 0) return false;
    mPid = fork();
    if (mPid < 0) {
        close(fds[0]);
        close(fds[1]);
        return false;
    }
    if (mPid == 0) {
        dup2(fds[1], STDOUT_FILENO);
        if (!mStderrPath.empty()) {
            int err = open(mStderrPath.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
            if (err >= 0) dup2(err, STDERR_FILENO);
        }
        if (mSetUmask) umask(mUmask);
        close(fds[0]);
        close(fds[1]);
        execl(mBinary.c_str(), "mcx-modemd", "--socket", mSocketPath.c_str(),
              static_cast<char*>(nullptr));
        _exit(127);
    }
    close(fds[1]);
    std::string line;
    char c;
    while (read(fds[0], &c, 1) == 1 && c != '\n') line += c;
    close(fds[0]);
    return line.find("ready") != std::string::npos;
}

void ModemDaemonProcess::kill() {
    if (mPid <= 0) return;
    ::kill(mPid, SIGKILL);
    while (waitpid(mPid, nullptr, 0) < 0 && errno == EINTR) {
    }
    mPid = -1;
}

bool ModemDaemonProcess::reapIfExited() {
    if (mPid <= 0) return false;
    int status;
    if (waitpid(mPid, &status, WNOHANG) != mPid) return false;
    mPid = -1;
    return true;
}

}  // namespace testkit
