// Starting, killing and watching the soak's modem, and reading what the
// embedded emulator holds.
#include "SoakModem.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

#include "mcx_host.h"

namespace soak {

bool SoakModem::start() {
    if (mModemd.empty()) return true;
    int fds[2];
    if (pipe(fds) != 0) return false;
    mDaemon = fork();
    if (mDaemon == 0) {
        dup2(fds[1], STDOUT_FILENO);
        close(fds[0]);
        close(fds[1]);
        execl(mModemd.c_str(), "mcx-modemd", "--socket", mSocket.c_str(),
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

void SoakModem::kill() {
    if (mDaemon <= 0) return;
    ::kill(mDaemon, SIGKILL);
    waitpid(mDaemon, nullptr, 0);
    mDaemon = -1;
}

void SoakModem::down() {
    char reply[256];
    if (mModemd.empty()) {
        mcx_host_modem_control("service imss down", reply, sizeof(reply));
        mcx_host_modem_control("service imsa down", reply, sizeof(reply));
    } else {
        kill();
    }
}

bool SoakModem::up() {
    char reply[256];
    if (mModemd.empty()) {
        mcx_host_modem_control("service imss up", reply, sizeof(reply));
        mcx_host_modem_control("service imsa up", reply, sizeof(reply));
        return true;
    }
    return start();
}

bool SoakModem::restartIfCrashed() {
    if (mDaemon <= 0) return false;
    int status;
    if (waitpid(mDaemon, &status, WNOHANG) != mDaemon) return false;
    mDaemon = -1;
    start();
    return true;
}

bool waitModem(rcsservice::RcsServiceHost& host, bool up, int timeoutMs) {
    using Clock = std::chrono::steady_clock;
    const char* want = up ? "modem up: yes, carrier configuration accepted: yes" : "modem up: no";
    auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    while (Clock::now() < deadline) {
        host.waitUntilIdle();
        if (host.dump().find(want) != std::string::npos) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return false;
}

// The emulator's "configs" command lists one "len=<bytes>" line per document.
void emulatorDocuments(int64_t* count, int64_t* bytes) {
    *count = 0;
    *bytes = 0;
    std::vector<char> reply(4 << 20);
    for (int sub = 0; sub < 2; ++sub) {
        std::string command = "configs " + std::to_string(sub);
        if (mcx_host_modem_control(command.c_str(), reply.data(), reply.size()) != 0) continue;
        const char* p = reply.data();
        while ((p = strstr(p, "len=")) != nullptr) {
            p += 4;
            *bytes += strtoll(p, nullptr, 10);
            ++*count;
        }
    }
}

}  // namespace soak
