// Each command against the service running inside the client on the
// embedded modem emulator: what it prints and its exit status.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <sstream>

#include "ToolProcess.h"
#include "hostlog/LogLine.h"

namespace clitest {
namespace {

ToolResult runScript(const std::string& text, std::vector<std::string> options = {}) {
    options.push_back("--script");
    options.push_back("-");
    return runTool(options, text);
}

TEST(CommandsTest, Log_LinesAreLogcatLinesThatAndroidLogTagsAndPrintfLogShape) {
    const std::vector<std::string> verbose{"--verbose", "get-settings", "presence"};
    ToolResult r = runTool(verbose);
    ASSERT_EQ(0, r.exitCode) << r.err;
    std::istringstream lines(r.err);
    std::string line;
    size_t count = 0;
    while (std::getline(lines, line)) {
        int priority = 0;
        std::string tag;
        ASSERT_TRUE(hostlog::parseThreadTime(line, &priority, &tag)) << line;
        EXPECT_EQ("rcsconfigctl", tag) << line;
        ++count;
    }
    EXPECT_GT(count, 10u);
    setenv("ANDROID_LOG_TAGS", "*:S", 1);
    r = runTool(verbose);
    unsetenv("ANDROID_LOG_TAGS");
    EXPECT_EQ(0, r.exitCode);
    EXPECT_EQ("", r.err);
    setenv("ANDROID_PRINTF_LOG", "brief", 1);
    r = runTool(verbose);
    unsetenv("ANDROID_PRINTF_LOG");
    EXPECT_EQ(0u, r.err.find("E/rcsconfigctl(")) << r.err.substr(0, 200);
}

// The file is opened as the service opens its own --log (whose test checks
// a fresh file and a planted link); the client's starts afresh.
TEST(CommandsTest, Log_AnExistingFileIsMadePrivateAndStartedAfresh) {
    TempDir dir;
    const std::string wide = dir.write("wide.log", "old lines\n");
    ASSERT_EQ(0, chmod(wide.c_str(), 0644));
    ToolResult r = runTool({"--log", wide, "set-settings", "presence", "PUBLISH_TIMER=7"});
    ASSERT_EQ(0, r.exitCode) << r.err;
    struct stat st;
    ASSERT_EQ(0, stat(wide.c_str(), &st));
    EXPECT_EQ(0600u, st.st_mode & 0777);
    EXPECT_NE(std::string::npos, contentOf(wide).find("RcsConfig"));
    EXPECT_EQ(std::string::npos, contentOf(wide).find("old lines"));
}

TEST(CommandsTest, Settings_SlotsKeepTheirOwnValues) {
    ToolResult r = runScript(
        "slot 1\nset-settings presence PUBLISH_TIMER=111\n"
        "slot 2\nset-settings presence PUBLISH_TIMER=222\nget-settings presence\n"
        "slot 1\nget-settings presence\n");
    ASSERT_EQ(0, r.exitCode) << r.err;
    EXPECT_TRUE(r.has("[slot 2] RCS configuration object created (factory 1.1)"));
    EXPECT_TRUE(r.has("[slot 1] RCS configuration object created at start-up (factory 1.1)"));
    EXPECT_TRUE(r.has("[slot 1] RCS configuration object in use"));
    size_t slot2 = r.at("[slot 2] get-settings PRESENCE_CONFIG -> OK");
    size_t slot1 = r.at("[slot 1] get-settings PRESENCE_CONFIG -> OK");
    ASSERT_NE(std::string::npos, slot2);
    ASSERT_NE(std::string::npos, slot1);
    ASSERT_LT(slot2, slot1);
    EXPECT_NE(std::string::npos, r.out.substr(slot2, slot1 - slot2).find("PUBLISH_TIMER (100) = 222"));
    EXPECT_NE(std::string::npos, r.out.find("PUBLISH_TIMER (100) = 111", slot1));
}

// Multi-byte text is bytes end to end, the same in a read and in a change
// notice (how it is quoted is the output's unit test).
TEST(CommandsTest, Settings_Utf8TextComesBackAsSentInReadsAndChangeNotices) {
    const std::string script = "watch user-agent\nset-settings user-agent 'IMS_USER_AGENT=h\xc3\xa9llo w\xc3\xb6rld "
                               "\xe2\x82\xac\xf0\x9f\x98\x80'\nwait change user-agent\nget-settings user-agent\n";
    ToolResult text = runScript(script);
    ASSERT_EQ(0, text.exitCode) << text.err;
    EXPECT_EQ(2u, text.count("IMS_USER_AGENT (200) = \"h\xc3\xa9llo w\xc3\xb6rld \xe2\x82\xac\xf0\x9f\x98\x80\""))
            << text.out;

    // Bytes that are not UTF-8 are escaped one by one, and every line, the
    // structured dump's too, decodes with a strict parser into text without
    // a lone surrogate.
    ToolResult json = runScript("set-settings user-agent 'IMS_USER_AGENT=a\xff\xc3" "b'\nget-settings user-agent\ndump\n", {"--json"});
    ASSERT_EQ(0, json.exitCode) << json.err;
    const char* check =
            "import json, sys\n"
            "def walk(v):\n"
            "    if isinstance(v, str): assert not any(0xd800 <= ord(c) <= 0xdfff for c in v), ascii(v)\n"
            "    elif isinstance(v, dict): [walk(k) or walk(x) for k, x in v.items()]\n"
            "    elif isinstance(v, list): [walk(x) for x in v]\n"
            "for line in sys.stdin:\n"
            "    o = json.loads(line); walk(o)\n"
            "    if o.get('cmd') == 'get-settings': print(o['values']['IMS_USER_AGENT'])\n"
            "    if o.get('cmd') == 'dump':\n"
            "        s = o['state']; print(s['serviceObjects']['count'], s['listeners']['entries'][0]['slot'], s['modem']['up'])\n";
    ToolResult decoded = runProgram("/usr/bin/env", {"python3", "-c", check}, json.out);
    EXPECT_EQ(0, decoded.exitCode) << decoded.err << json.out;
    EXPECT_EQ("a\\xff\\xc3b\n1 1 True\n", decoded.out) << json.out;
}

// (--keep-going past a failure: the modem restart and the wait cases.)
TEST(CommandsTest, Settings_ModemRefusalIsAFailWithExitStatus1AndEndsTheScript) {
    ToolResult r = runScript(
        "modem control fail imss 0x69 transport\n"
        "set-settings presence PUBLISH_TIMER=5\n"
        "echo not reached\n");
    EXPECT_EQ(1, r.exitCode);
    EXPECT_TRUE(r.has("[slot 1] set-settings PRESENCE_CONFIG (1 value) -> FAIL"));
    EXPECT_EQ("rcsconfigctl: stdin:2: set-settings PRESENCE_CONFIG (1 value): the service answered FAIL\n", r.err);
    EXPECT_FALSE(r.has("not reached"));
}

TEST(CommandsTest, Config_RefusedWithoutCarrierConfigurationSupport) {
    TempDir dir;
    std::string doc = dir.write("d.xml", "<wap-provisioningdoc/>");
    ToolResult r = runScript("modem control carrier-config off\nmodem restart\nwait reconfig\nslot 1 --new\nset-config " + doc + "\n");
    EXPECT_EQ(1, r.exitCode) << r.out;
    EXPECT_TRUE(r.has("bytes, sent uncompressed -> FAIL"));
}

TEST(CommandsTest, Wait_AChangeThatNeverComesTimesOutAndTheLastOfNoTokenRequestsFails) {
    ToolResult r = runScript("watch presence\nwait change presence --timeout 1\ntoken-fetch-status last FCM_TOKEN FAILURE\n",
                             {"--keep-going"});
    EXPECT_EQ(1, r.exitCode);
    EXPECT_EQ("rcsconfigctl: stdin:2: wait change: no change of PRESENCE_CONFIG within 1 s\n"
              "rcsconfigctl: stdin:3: token-fetch-status last: no token request has been received yet\n",
              r.err);
}

TEST(CommandsTest, Uce_PlatformMaskCommandSetsTheMaskLaterQueriesUse) {
    ToolResult r = runScript("platform-mask 0x9\nuce-status\nuce-status --mask 0x1\n");
    ASSERT_EQ(0, r.exitCode) << r.err;
    EXPECT_TRUE(r.has("platform RCS service mask set to 0x9"));
    EXPECT_TRUE(r.has("[slot 1] uce-status: presence not supported, options supported (platform mask 0x9)"));
    EXPECT_TRUE(r.has("[slot 1] uce-status: presence not supported, options not supported (platform mask 0x1)"));
}

TEST(CommandsTest, Modem_AfterARestartTheOldObjectFailsAtOnceWithTheHintAndANewOneWorks) {
    // Only a creation subscribes a slot at the modem again: the old object's
    // requests would never be answered, so they fail without waiting (with a
    // minute's time-out, waiting for two would outlast the test's own).
    ToolResult r = runScript("modem restart\nwait reconfig\nget-settings presence\nset-settings presence PUBLISH_TIMER=5\n"
                             "slot 1 --new\nget-settings presence\n",
                             {"--timeout", "60", "--keep-going"});
    EXPECT_EQ(1, r.exitCode) << r.out;
    const std::string hint = " object was made before the modem restarted and the modem no longer answers for it; "
                             "make a new one with: slot 1 --new\n";
    EXPECT_EQ("rcsconfigctl: stdin:3: get-settings: the slot 1" + hint + "rcsconfigctl: stdin:4: set-settings: the slot 1" +
                      hint,
              r.err);
    EXPECT_TRUE(r.has("[slot 1] get-settings PRESENCE_CONFIG -> OK")) << r.out;
}

TEST(CommandsTest, Modem_UnknownControlOrSlotFails) {
    // (A control answered: the daemon and logcat cases.)
    ToolResult r = runTool({"modem", "control", "explode"});
    EXPECT_EQ(1, r.exitCode);
    EXPECT_EQ("rcsconfigctl: modem explode: unknown command: explode ('help' lists the controls)\n", r.err);
    // Slots count from 1 here too, and one the modem does not have is an error.
    r = runTool({"modem", "control", "token", "3"});
    EXPECT_EQ(1, r.exitCode);
    EXPECT_EQ("rcsconfigctl: modem token 3: no slot 3 (the modem has 2 slots, counted from 1)\n", r.err);
}

TEST(CommandsTest, Json_EveryResultAndNoticeIsOneJsonObjectPerLine) {
    ToolResult r = runScript("watch presence\nset-settings presence PUBLISH_TIMER=42\nwait change presence\n"
                             "get-settings presence\nuce-status --mask 0xd\nunwatch presence\n", {"--json"});
    ASSERT_EQ(0, r.exitCode) << r.err;
    EXPECT_TRUE(r.has("{\"cmd\":\"watch\",\"slot\":1,\"group\":\"PRESENCE_CONFIG\",\"status\":\"OK\"}"));
    EXPECT_TRUE(r.has("{\"cmd\":\"set-settings\",\"slot\":1,\"group\":\"PRESENCE_CONFIG\",\"values\":{\"PUBLISH_TIMER\":42},\"status\":\"OK\"}"));
    EXPECT_TRUE(r.has("{\"notice\":\"settings-changed\",\"slot\":1,\"group\":\"PRESENCE_CONFIG\",\"values\":{"));
    EXPECT_TRUE(r.has("\"cmd\":\"get-settings\""));
    EXPECT_TRUE(r.has("{\"cmd\":\"unwatch\",\"slot\":1,\"group\":\"PRESENCE_CONFIG\",\"status\":\"OK\"}")) << r.out;
    EXPECT_TRUE(r.has("{\"cmd\":\"uce-status\",\"slot\":1,\"presence\":true,\"options\":true,\"platformMask\":13,\"status\":\"OK\"}"));
    std::istringstream lines(r.out);
    std::string line;
    while (std::getline(lines, line)) {
        EXPECT_EQ('{', line.front()) << line;
        EXPECT_EQ('}', line.back()) << line;
    }
}

// Several clients on one modem daemon: two watch (one until interrupted, one
// for a count of changes), another writes, and the daemon keeps the modem's
// state for the next client.
TEST(CommandsTest, Daemon_ClientsOnMcxModemdWatchEachOthersChangesAndShareItsState) {
    TempDir dir;
    const std::string socket = dir.path() + "/modem.sock";
    ModemDaemon daemon(socket);
    ASSERT_TRUE(daemon.start());
    BackgroundTool watcher({"--modem-socket", socket, "watch", "user-agent"});
    BackgroundTool counter({"--modem-socket", socket, "--slot", "2", "watch", "presence", "--count", "2"});
    ASSERT_TRUE(watcher.waitFor("[slot 1] watch USER_AGENT_STRING -> OK", 20000));
    ASSERT_TRUE(counter.waitFor("[slot 2] watch PRESENCE_CONFIG -> OK", 20000));
    ToolResult writer = runScript("set-settings user-agent 'IMS_USER_AGENT=from B'\nmodem control ping\nslot 2\n"
                                  "set-settings presence PUBLISH_TIMER=1\nset-settings presence PUBLISH_TIMER=77\n",
                                  {"--modem-socket", socket});
    ASSERT_EQ(0, writer.exitCode) << writer.err;
    EXPECT_TRUE(writer.has("modem ping -> pong"));
    ASSERT_TRUE(watcher.waitFor("IMS_USER_AGENT (200) = \"from B\"", 20000));
    ToolResult r = watcher.stop(SIGINT);
    EXPECT_EQ(130, r.exitCode) << r.err;  // ended by Ctrl-C, as a shell reports it
    EXPECT_TRUE(r.has("[slot 1] change of USER_AGENT_STRING:"));
    r = counter.stop(0);  // signal 0: only collect; the watch ends by itself
    EXPECT_EQ(0, r.exitCode) << r.err;
    EXPECT_EQ(2u, r.count("[slot 2] change of PRESENCE_CONFIG:"));

    r = runTool({"--modem-socket", socket, "--slot", "2", "get-settings", "presence"});
    ASSERT_EQ(0, r.exitCode) << r.err;
    EXPECT_TRUE(r.has("PUBLISH_TIMER (100) = 77"));
}

TEST(CommandsTest, Daemon_NoDaemonOnTheSocketIsAFailure) {
    TempDir dir;
    ToolResult r = runTool({"--modem-socket", dir.path() + "/none.sock", "--timeout", "1", "dump"});
    EXPECT_EQ(1, r.exitCode) << r.out;
    EXPECT_EQ("rcsconfigctl: the modem's IMS services did not come up within 1 s\n", r.err);
    EXPECT_EQ("", r.out);
}

TEST(CommandsTest, Start_AWaitForTheServiceOrTheModemSaysWhatItWaitsForAndCtrlCEndsIt) {
    TempDir dir;
    const std::string registry = dir.path() + "/registry";
    const struct {
        std::vector<std::string> args;
        std::string waiting;
    } cases[] = {
            {{"--service", "--registry", registry}, "for the IImsFactory 1.1 \"default\" service in " + registry},
            {{"--modem-socket", dir.path() + "/none.sock"}, "for the modem's IMS services to come up"},
    };
    for (const auto& c : cases) {
        std::vector<std::string> args = c.args;
        args.insert(args.end(), {"--timeout", "600", "get-settings", "presence"});
        BackgroundTool client(args);
        ASSERT_TRUE(client.waitFor("waiting up to 600 s " + c.waiting, 20000, 1, true)) << client.sofar().err;
        ToolResult r = client.stop(SIGINT);
        EXPECT_EQ(130, r.exitCode) << r.err;
        EXPECT_NE(std::string::npos, r.err.find("interrupted while waiting")) << r.err;
    }
}

TEST(CommandsTest, Factory_Version10ObjectsGetNoTokenRequests) {
    ToolResult r = runScript("dump\nmodem token-request FCM_TOKEN TOKEN_INVALID 3\nwait token-request --timeout 1\n",
                             {"--factory", "1.0"});
    EXPECT_EQ(1, r.exitCode);
    EXPECT_TRUE(r.has("  modem up: yes, carrier configuration accepted: yes"));
    EXPECT_TRUE(r.has("slot 1, IRcsConfigListener 2.0"));
    EXPECT_EQ("rcsconfigctl: stdin:3: wait token-request: no token request for slot 1 within 1 s\n", r.err);
}

TEST(CommandsTest, Wait_ASignalEndsAWaitAsAFailureAndTheClientStopsInOrder) {
    TempDir dir;
    std::string script = dir.write("s.rcs", "echo waiting\nwait reconfig --timeout 600\necho not reached\n");
    BackgroundTool tool({"--script", script});
    ASSERT_TRUE(tool.waitFor("waiting", 20000));
    ToolResult r = tool.stop(SIGTERM);
    EXPECT_EQ(1, r.exitCode);
    // The signal ends the wait, or stops the script before the wait began.
    EXPECT_EQ(0u, r.err.find("rcsconfigctl: " + script + ":2: ")) << r.err;
    EXPECT_NE(std::string::npos, r.err.find("interrupted")) << r.err;
    EXPECT_FALSE(r.has("not reached"));
}

}  // namespace
}  // namespace clitest
