// The service executable as a process of its own: it comes up on the
// embedded emulator or on an mcx-modemd daemon, and stops cleanly on SIGTERM
// and SIGINT.
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

// A child process whose stdout and stderr the test reads.
class Child {
public:
    explicit Child(std::vector<std::string> args) {
        int fds[2];
        if (pipe(fds) != 0) return;
        mPid = fork();
        if (mPid == 0) {
            dup2(fds[1], STDOUT_FILENO);
            dup2(fds[1], STDERR_FILENO);
            close(fds[0]);
            close(fds[1]);
            std::vector<char*> argv;
            for (auto& a : args) argv.push_back(a.data());
            argv.push_back(nullptr);
            execv(argv[0], argv.data());
            _exit(127);
        }
        close(fds[1]);
        mOut = fds[0];
    }
    ~Child() {
        if (mPid > 0) {
            kill(mPid, SIGKILL);
            waitpid(mPid, nullptr, 0);
        }
        if (mOut >= 0) close(mOut);
    }

    // Reads output until `needle` appeared; false on time-out or end of output.
    bool waitForOutput(const std::string& needle, std::chrono::seconds timeout = std::chrono::seconds(10)) {
        auto deadline = std::chrono::steady_clock::now() + timeout;
        while (mText.find(needle) == std::string::npos) {
            auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                    deadline - std::chrono::steady_clock::now());
            if (left.count() <= 0) return false;
            pollfd p{mOut, POLLIN, 0};
            if (poll(&p, 1, static_cast<int>(left.count())) <= 0) return false;
            char buffer[4096];
            ssize_t n = read(mOut, buffer, sizeof(buffer));
            if (n <= 0) return false;
            mText.append(buffer, static_cast<size_t>(n));
        }
        return true;
    }

    // Sends `sig` and returns the exit status (-1 if it did not exit normally).
    int stopWith(int sig) {
        kill(mPid, sig);
        int status = 0;
        waitpid(mPid, &status, 0);
        mPid = -1;
        // Whatever it wrote on the way out.
        char buffer[4096];
        ssize_t n;
        while ((n = read(mOut, buffer, sizeof(buffer))) > 0) mText.append(buffer, static_cast<size_t>(n));
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    const std::string& text() const { return mText; }

private:
    pid_t mPid = -1;
    int mOut = -1;
    std::string mText;
};

TEST(ServiceProcessTest, EmbeddedModem_ComesUpAndStopsOnSigint) {
    Child service({RCS_SERVICE_PATH});
    ASSERT_TRUE(service.waitForOutput("RcsConfigManager: ServiceStatus::AVAILABLE")) << service.text();
    EXPECT_EQ(service.stopWith(SIGINT), 0) << service.text();
    EXPECT_NE(service.text().find("RcsServiceHost: stopped"), std::string::npos) << service.text();
}

TEST(ServiceProcessTest, ModemDaemon_ComesUpWithoutCarrierConfigAndStopsOnSigterm) {
    std::string socket = "/tmp/rcs-service-test-" + std::to_string(getpid()) + ".sock";
    Child modem({MCX_MODEMD_PATH, "--socket", socket, "--no-carrier-config"});
    ASSERT_TRUE(modem.waitForOutput("mcx-modemd ready on")) << modem.text();

    Child service({RCS_SERVICE_PATH, socket});
    ASSERT_TRUE(service.waitForOutput("RcsServiceHost: started on the mcx-modemd at " + socket))
            << service.text();
    ASSERT_TRUE(service.waitForOutput("RcsConfigManager: ServiceStatus::MODEM_UP")) << service.text();
    EXPECT_EQ(service.stopWith(SIGTERM), 0) << service.text();
    EXPECT_NE(service.text().find("RcsServiceHost: stopped"), std::string::npos);
    unlink(socket.c_str());
}

}  // namespace
