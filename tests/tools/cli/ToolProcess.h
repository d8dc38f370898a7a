/*
 * Runs rcsconfigctl (or mcx-modemd, or the service executable) as a child
 * process and collects what it printed and its exit status.
 */
#ifndef TESTS_TOOLS_CLI_TOOL_PROCESS_H
#define TESTS_TOOLS_CLI_TOOL_PROCESS_H

#include <memory>
#include <string>
#include <sys/types.h>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <hostsync/Mutex.h>

#include "../TempDir.h"
#include "testkit/ModemDaemonProcess.h"

namespace clitest {

struct ToolResult {
    int exitCode = -1;  // -1 if the child did not exit normally
    std::string out;
    std::string err;
    // Number of stdout lines containing `needle`.
    size_t count(const std::string& needle) const;
    bool has(const std::string& needle) const { return count(needle) > 0; }
    // Position of the first occurrence in stdout, npos if none.
    size_t at(const std::string& needle) const { return out.find(needle); }
};

// Runs the client with `args`, feeding `input` on stdin; waits for it to end.
ToolResult runTool(const std::vector<std::string>& args, const std::string& input = "");
// The same for another program of the build tree.
ToolResult runProgram(const std::string& binary, const std::vector<std::string>& args,
                      const std::string& input = "");

// A client (or another program) left running in the background, e.g. a
// watch or a service, read as it writes. Interactive children read the
// lines given to send() on stdin; the others get an empty stdin.
class BackgroundTool {
public:
    explicit BackgroundTool(const std::vector<std::string>& args, const std::string& binary = RCSCONFIGCTL_PATH,
                            bool interactive = false);
    // Kills the child if it still runs.
    ~BackgroundTool();
    // Waits until stdout (or stderr) holds `count` occurrences of `needle`;
    // false after `timeoutMs`.
    bool waitFor(const std::string& needle, int timeoutMs, size_t count = 1, bool onStderr = false);
    // Writes `line` and a newline on the child's stdin (interactive only).
    bool send(const std::string& line) { return write(line + "\n"); }
    // Writes `text` as it is on the child's stdin (interactive only).
    bool write(const std::string& text);
    // Closes stdin, sends `signal` (0: none, the child ends by itself) and
    // collects the rest of the output and the exit status.
    ToolResult stop(int signal);
    // What the child has printed so far.
    ToolResult sofar() const;
    // The child's process id, for signals a test sends itself.
    pid_t pid() const { return mPid; }

private:
    void readAll();
    pid_t mPid = -1;
    int mIn = -1;
    int mOut = -1;  // read by mReader only
    int mErr = -1;  // read by mReader only
    mutable hostsync::Mutex mLock;
    hostsync::CondVar mChanged;
    ToolResult mResult GUARDED_BY(mLock);
    bool mEnded GUARDED_BY(mLock) = false;
    std::thread mReader;
};

using tooltest::contentOf;
using tooltest::TempDir;

// The answer of the mcx-modemd on `socket` to the control `command`.
std::string modemControl(const std::string& socket, const std::string& command);

// mcx-modemd from the build tree on a socket of its own, for --modem-socket.
class ModemDaemon : public testkit::ModemDaemonProcess {
public:
    explicit ModemDaemon(const std::string& socketPath)
        : ModemDaemonProcess(MCX_MODEMD_PATH, socketPath) {}
};

// How long a test waits for a line of another process or a state it shows.
constexpr int kWaitMs = 20000;

// The modem and the service, each in a process of its own, with sockets and
// a registry folder nobody else uses; clients attach with attached().
class ServiceProcessesTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_FALSE(mDir.path().empty());
        ASSERT_TRUE(mModem.start());
        startService();
    }

    void startService() {
        mService = std::make_unique<BackgroundTool>(
                std::vector<std::string>{"--modem-socket", mModemSocket, "--registry", mRegistry}, RCS_SERVICE_PATH);
        ASSERT_TRUE(mService->waitFor("rcsconfig-service: serving in registry", kWaitMs, 1, true))
                << mService->sofar().err;
    }

    // The client's arguments for this service, then `more`.
    std::vector<std::string> attached(std::vector<std::string> more = {}) const {
        std::vector<std::string> args{"--service", "--registry", mRegistry};
        args.insert(args.end(), more.begin(), more.end());
        return args;
    }

    TempDir mDir;
    const std::string mModemSocket = mDir.path() + "/modem.sock";
    const std::string mRegistry = mDir.path() + "/registry";
    ModemDaemon mModem{mModemSocket};
    std::unique_ptr<BackgroundTool> mService;
};

}  // namespace clitest

#endif  // TESTS_TOOLS_CLI_TOOL_PROCESS_H
