// The service executable and mcx-modemd as a user runs them by hand, each in
// a terminal of its own: the service's --log file and --replace, the
// refusal that must be heard whatever the log filter, and the daemon's
// stop signals and one-shot controls.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <thread>

#include "ToolProcess.h"

namespace clitest {
namespace daemontest {
namespace {

const std::string kServing = "rcsconfig-service: serving in registry";

// Looks at `condition` again every few milliseconds until it holds; false
// after the wait.
bool eventually(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kWaitMs);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
}

// The registry entries `list-services` shows for process `pid`.
size_t entriesOf(const std::string& listing, pid_t pid) {
    const std::string needle = "  pid " + std::to_string(pid) + "\n";
    size_t n = 0;
    for (size_t at = listing.find(needle); at != std::string::npos; at = listing.find(needle, at + 1)) ++n;
    return n;
}

TEST(ModemDaemonProcessTest, AStopSignalRemovesTheSocket_AControlAlwaysAnswersSomething) {
    TempDir dir;
    const std::string socket = dir.path() + "/modem.sock";
    for (int signal : {SIGINT, SIGTERM}) {
        SCOPED_TRACE(signal);
        BackgroundTool modem({"--socket", socket}, MCX_MODEMD_PATH);
        ASSERT_TRUE(modem.waitFor("mcx-modemd ready on", kWaitMs));
        EXPECT_EQ("OK\n", modemControl(socket, "restart"));
        EXPECT_EQ(0, modem.stop(signal).exitCode);
        EXPECT_NE(0, access(socket.c_str(), F_OK));
    }
    ToolResult nobody = runProgram(MCX_MODEMD_PATH, {"--socket", socket, "--control", "ping"});
    EXPECT_EQ(1, nobody.exitCode);
    EXPECT_EQ("mcx-modemd: no daemon answers on " + socket + "\n", nobody.err);
}

TEST(ServiceProcessTest, LogOption_WritesAnOwnerOnlyFileNotStderr_AndRefusesASymbolicLink) {
    TempDir dir;
    const std::string registry = dir.path() + "/registry";
    const std::string target = dir.write("elsewhere", "untouched");
    const std::string link = dir.path() + "/planted.log";
    ASSERT_EQ(0, symlink(target.c_str(), link.c_str()));
    ToolResult refused = runProgram(RCS_SERVICE_PATH, {"--registry", registry, "--log", link});
    EXPECT_EQ(1, refused.exitCode);
    EXPECT_NE(std::string::npos, refused.err.find("symbolic link")) << refused.err;
    EXPECT_EQ("untouched", contentOf(target));

    const std::string log = dir.path() + "/service.log";
    BackgroundTool service({"--registry", registry, "--log", log}, RCS_SERVICE_PATH);
    ASSERT_TRUE(eventually([&] { return contentOf(log).find(kServing) != std::string::npos; }));
    ToolResult stopped = service.stop(SIGINT);
    EXPECT_EQ(0, stopped.exitCode);
    EXPECT_EQ("", stopped.err);
    EXPECT_NE(std::string::npos, contentOf(log).find("RcsServiceHost: stopped"));
    struct stat st;
    ASSERT_EQ(0, lstat(log.c_str(), &st));
    EXPECT_EQ(0600u, st.st_mode & 0777);
}

TEST(ServiceProcessTest, Replace_StopsTheServingServiceWhichLetsGoOfTheModem_ElseASecondIsRefusedAloud) {
    TempDir dir;
    const std::string socket = dir.path() + "/modem.sock";
    const std::string registry = dir.path() + "/registry";
    ModemDaemon modem(socket);
    ASSERT_TRUE(modem.start());
    const std::vector<std::string> args{"--modem-socket", socket, "--registry", registry};
    BackgroundTool first(args, RCS_SERVICE_PATH);
    ASSERT_TRUE(first.waitFor(kServing, kWaitMs, 1, true)) << first.sofar().err;
    const std::string oneService = modemControl(socket, "connections imss");

    // The refusal is for the user, not a log line a filter may drop.
    setenv("ANDROID_LOG_TAGS", "*:S", 1);
    ToolResult second = runProgram(RCS_SERVICE_PATH, args);
    unsetenv("ANDROID_LOG_TAGS");
    EXPECT_EQ(1, second.exitCode);
    EXPECT_NE(std::string::npos, second.err.find("\"default\" is served by process " + std::to_string(first.pid())))
            << second.err;
    // The refused one took nothing from the first, which still serves.
    ToolResult served = runTool({"--service", "--registry", registry, "get-settings", "presence"});
    EXPECT_EQ(0, served.exitCode) << served.err;
    EXPECT_EQ(2u, entriesOf(runTool({"--service", "--registry", registry, "list-services"}).out, first.pid()));

    std::vector<std::string> replace = args;
    replace.push_back("--replace");
    BackgroundTool replacing(replace, RCS_SERVICE_PATH);
    ASSERT_TRUE(replacing.waitFor(kServing, kWaitMs, 1, true)) << replacing.sofar().err;
    ASSERT_TRUE(first.waitFor("RcsServiceHost: stopped", kWaitMs, 1, true)) << first.sofar().err;
    EXPECT_EQ(0, first.stop(0).exitCode);
    EXPECT_TRUE(eventually([&] { return modemControl(socket, "connections imss") == oneService; }))
            << modemControl(socket, "connections imss") << "connections, one service has " << oneService;
    ToolResult listed = runTool({"--service", "--registry", registry, "list-services"});
    EXPECT_EQ(2u, entriesOf(listed.out, replacing.pid())) << listed.out;
    EXPECT_EQ(0u, entriesOf(listed.out, first.pid())) << listed.out;
}

}  // namespace
}  // namespace daemontest
}  // namespace clitest
