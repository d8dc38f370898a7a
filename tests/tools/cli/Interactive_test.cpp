// rcsconfigctl at a terminal: the client runs on a pseudo-terminal as a
// person would use it, and the test types keys and reads the screen.
#include <gtest/gtest.h>

#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <string>

#include "ToolProcess.h"

namespace clitest {
namespace {

class Terminal {
public:
    explicit Terminal(const std::string& home) {
        mPid = forkpty(&mFd, nullptr, nullptr, nullptr);
        if (mPid == 0) {
            setenv("HOME", home.c_str(), 1);
            setenv("TERM", "xterm", 1);
            execl(RCSCONFIGCTL_PATH, "rcsconfigctl", static_cast<char*>(nullptr));
            _exit(127);
        }
    }
    ~Terminal() {
        if (mPid > 0) {
            kill(mPid, SIGKILL);
            waitpid(mPid, nullptr, 0);
        }
        if (mFd >= 0) close(mFd);
    }

    void type(const std::string& keys) { ASSERT_EQ(static_cast<ssize_t>(keys.size()), write(mFd, keys.data(), keys.size())); }

    // Reads the screen until it holds `text` `count` times (20 s at most).
    bool waitFor(const std::string& text, size_t count = 1) {
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (occurrences(text) < count) {
            auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
            if (left.count() <= 0) return false;
            pollfd p{mFd, POLLIN, 0};
            if (poll(&p, 1, static_cast<int>(left.count())) <= 0) continue;
            char buf[4096];
            ssize_t n = read(mFd, buf, sizeof(buf));
            if (n <= 0) return occurrences(text) >= count;
            mScreen.append(buf, static_cast<size_t>(n));
        }
        return true;
    }

    // Waits until the line editor owns the terminal (canonical mode off). The
    // prompt is printed a moment before; keys typed in between would meet
    // the kernel's line discipline instead, as they would for a person
    // typing ahead, which is not what these tests are about.
    bool waitForLineEditor() { return waitForMode(false); }
    // Waits until a command runs: the editor has given the terminal back.
    bool waitForCommand() { return waitForMode(true); }

    // Waits for the client to end (20 s at most), reading the screen meanwhile;
    // -1 when it did not end or was killed by a signal.
    int exitStatus() {
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        int status = 0;
        pid_t done = 0;
        while ((done = waitpid(mPid, &status, WNOHANG)) == 0 && std::chrono::steady_clock::now() < deadline) {
            pollfd p{mFd, POLLIN, 0};
            char buf[4096];
            ssize_t n = poll(&p, 1, 50) > 0 ? read(mFd, buf, sizeof(buf)) : 0;
            if (n > 0) {
                mScreen.append(buf, static_cast<size_t>(n));
            } else {
                usleep(10 * 1000);  // the terminal is closed; the process is still ending
            }
        }
        if (done != mPid) return -1;
        mPid = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    const std::string& screen() const { return mScreen; }

private:
    bool waitForMode(bool canonical) {
        for (int i = 0; i < 2500; ++i) {
            termios mode{};
            if (tcgetattr(mFd, &mode) == 0 && ((mode.c_lflag & ICANON) != 0) == canonical) return true;
            usleep(2 * 1000);
        }
        return false;
    }

    size_t occurrences(const std::string& text) const {
        size_t n = 0;
        for (size_t at = mScreen.find(text); at != std::string::npos; at = mScreen.find(text, at + 1)) ++n;
        return n;
    }

    int mFd = -1;
    pid_t mPid = -1;
    std::string mScreen;
};

TEST(InteractiveTest, Terminal_CompletesNamesAndShowsNoticesAboveTheLineBeingTyped) {
    TempDir home;
    Terminal t(home.path());
    ASSERT_TRUE(t.waitFor("rcsconfigctl> ") && t.waitForLineEditor()) << t.screen();
    t.type("get-settings pres\t\r");
    ASSERT_TRUE(t.waitFor("[slot 1] get-settings PRESENCE_CONFIG -> OK") && t.waitForLineEditor()) << t.screen();

    // The restart's notice comes while "slot 1 --n" is being typed: it is
    // printed at once, and the line comes back to be finished.
    t.type("modem restart\r");
    ASSERT_TRUE(t.waitFor("modem restarted") && t.waitForLineEditor()) << t.screen();
    t.type("slot 1 --n");
    ASSERT_TRUE(t.waitFor("[slot 1] listener: reconfiguration needed")) << t.screen();
    t.type("ew\r");
    ASSERT_TRUE(t.waitFor("[slot 1] new RCS configuration object created") && t.waitForLineEditor()) << t.screen();

    t.type("\x04");  // Ctrl-D
    EXPECT_EQ(0, t.exitStatus()) << t.screen();
}

TEST(InteractiveTest, Terminal_CtrlCDropsTheLineOrEndsTheWaitAndTheSessionGoesOnUntilQuit) {
    TempDir home;
    Terminal t(home.path());
    ASSERT_TRUE(t.waitFor("rcsconfigctl> ") && t.waitForLineEditor()) << t.screen();
    t.type("get-sett");
    t.type("\x03");
    ASSERT_TRUE(t.waitFor("^C\r\n") && t.waitForLineEditor()) << t.screen();
    t.type("echo one\r");
    ASSERT_TRUE(t.waitFor("one\r\n") && t.waitForLineEditor()) << t.screen();

    t.type("wait reconfig --timeout 600\r");
    ASSERT_TRUE(t.waitForCommand()) << t.screen();
    t.type("\x03");
    ASSERT_TRUE(t.waitFor("rcsconfigctl: wait reconfig: interrupted") && t.waitForLineEditor()) << t.screen();
    t.type("echo two\r");
    ASSERT_TRUE(t.waitFor("two\r\n") && t.waitForLineEditor()) << t.screen();
    t.type("quit\r");
    EXPECT_EQ(0, t.exitStatus()) << t.screen();
    EXPECT_EQ(std::string::npos, t.screen().find("unknown command")) << t.screen();
}

}  // namespace
}  // namespace clitest
