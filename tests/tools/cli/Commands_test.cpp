// Each command against the service running inside the client on the
// embedded modem emulator: what it prints and its exit status.
#include <gtest/gtest.h>

#include <zlib.h>

#include <signal.h>

#include <sstream>

#include "ToolProcess.h"

namespace clitest {
namespace {

ToolResult runScript(const std::string& text, std::vector<std::string> options = {}) {
    options.push_back("--script");
    options.push_back("-");
    return runTool(options, text);
}

TEST(Commands_Settings, EachGroupIsWrittenAndReadBackByName) {
    ToolResult r = runScript(
        "set-settings presence PUBLISH_TIMER=1200 capability_discovery_enabled=true 111=sip:rls@example.net\n"
        "get-settings presence\n"
        "set-settings messaging DEFAULT_SMS_APP=2 CLIENT_VENDOR=KELV \"FRIENDLY_DEVICE_NAME=My phone\"\n"
        "get-settings messaging\n"
        "set-settings user-agent 'IMS_USER_AGENT=Kel UA/1.0'\n"
        "get-settings 2\n"
        "set-settings ims-service VOLTE_ENABLED=on CALL_MODE_PREFERENCE=3 WIFI_PROVISIONING_ID=WP-1\n"
        "get-settings IMS_SERVICE_ENABLE_CONFIG\n");
    ASSERT_EQ(0, r.exitCode) << r.err << r.out;
    EXPECT_TRUE(r.has("[slot 1] set-settings PRESENCE_CONFIG (3 values) -> OK"));
    EXPECT_TRUE(r.has("[slot 1] get-settings PRESENCE_CONFIG -> OK"));
    EXPECT_TRUE(r.has("  PUBLISH_TIMER (100) = 1200"));
    EXPECT_TRUE(r.has("  CAPABILITY_DISCOVERY_ENABLED (109) = true"));
    EXPECT_TRUE(r.has("  PRESENCE_SERVICE_URI (111) = \"sip:rls@example.net\""));
    EXPECT_TRUE(r.has("  DEFAULT_SMS_APP (300) = 2"));
    EXPECT_TRUE(r.has("  CLIENT_VENDOR (304) = \"KELV\""));
    EXPECT_TRUE(r.has("  FRIENDLY_DEVICE_NAME (311) = \"My phone\""));
    EXPECT_TRUE(r.has("  IMS_USER_AGENT (200) = \"Kel UA/1.0\""));
    EXPECT_TRUE(r.has("  VOLTE_ENABLED (400) = true"));
    EXPECT_TRUE(r.has("  CALL_MODE_PREFERENCE (419) = 3"));
    EXPECT_TRUE(r.has("  WIFI_PROVISIONING_ID (418) = \"WP-1\""));
    EXPECT_EQ("", r.err);
}

TEST(Commands_Settings, SlotsKeepTheirOwnValues) {
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

TEST(Commands_Settings, ModemRefusalIsAFailWithExitStatus1AndKeepGoingGoesOn) {
    ToolResult r = runScript(
        "modem control fail imss 0x69 transport\n"
        "set-settings presence PUBLISH_TIMER=5\n"
        "echo not reached\n");
    EXPECT_EQ(1, r.exitCode);
    EXPECT_TRUE(r.has("[slot 1] set-settings PRESENCE_CONFIG (1 value) -> FAIL"));
    EXPECT_EQ("rcsconfigctl: stdin:2: set-settings PRESENCE_CONFIG (1 value): the service answered FAIL\n", r.err);
    EXPECT_FALSE(r.has("not reached"));

    r = runScript("modem control fail imss 0x69 transport\nset-settings presence PUBLISH_TIMER=5\n"
                  "set-settings presence PUBLISH_TIMER=6\n", {"--keep-going"});
    EXPECT_EQ(1, r.exitCode);
    EXPECT_TRUE(r.has("-> FAIL"));
    EXPECT_TRUE(r.has("[slot 1] set-settings PRESENCE_CONFIG (1 value) -> OK"));
}

TEST(Commands_Config, GzipOnTheFlyPlainAndPrecompressedDocumentsReachTheModem) {
    TempDir dir;
    std::string xml = "<?xml version=\"1.0\"?>\n<wap-provisioningdoc version=\"1.1\">\n";
    for (int i = 0; i < 300; ++i) xml += "  <parm name=\"p" + std::to_string(i) + "\" value=\"" + std::to_string(i * 7) + "\"/>\n";
    xml += "</wap-provisioningdoc>\n";
    std::string plain = dir.write("doc.xml", xml);
    uLongf len = compressBound(static_cast<uLong>(xml.size())) + 64;
    std::string gz(len, '\0');
    z_stream zs{};
    ASSERT_EQ(Z_OK, deflateInit2(&zs, 6, Z_DEFLATED, 31, 8, Z_DEFAULT_STRATEGY));
    zs.next_in = reinterpret_cast<Bytef*>(&xml[0]);
    zs.avail_in = static_cast<uInt>(xml.size());
    zs.next_out = reinterpret_cast<Bytef*>(&gz[0]);
    zs.avail_out = static_cast<uInt>(gz.size());
    ASSERT_EQ(Z_STREAM_END, deflate(&zs, Z_FINISH));
    gz.resize(zs.total_out);
    deflateEnd(&zs);
    std::string packed = dir.write("doc.xml.gz", gz);

    ToolResult r = runScript("set-config " + plain + " --gzip\nset-config " + plain + "\nset-config " + packed +
                             "\nmodem show-config\n");
    ASSERT_EQ(0, r.exitCode) << r.err << r.out;
    EXPECT_TRUE(r.has("set-config " + plain + ": " + std::to_string(xml.size()) + " bytes, sent gzip-compressed as "));
    EXPECT_EQ(3u, r.count("-> OK (accepted by the modem)"));
    EXPECT_TRUE(r.has("set-config " + plain + ": " + std::to_string(xml.size()) + " bytes, sent uncompressed -> OK"));
    EXPECT_TRUE(r.has("set-config " + packed + ": " + std::to_string(gz.size()) + " bytes of gzip, sent as they are -> OK"));
    EXPECT_TRUE(r.has("[slot 1] modem has received 3 configuration document(s)"));
    // The modem inflates what came compressed: every copy is the whole XML.
    EXPECT_EQ(3u, r.count(": " + std::to_string(xml.size()) + " bytes of XML"));
    EXPECT_EQ(2u, r.count("(arrived gzip-compressed)"));
}

TEST(Commands_Config, RefusedWithoutCarrierConfigurationSupport) {
    TempDir dir;
    std::string doc = dir.write("d.xml", "<wap-provisioningdoc/>");
    ToolResult r = runScript("modem control carrier-config off\nmodem restart\nwait reconfig\nset-config " + doc + "\n");
    EXPECT_EQ(1, r.exitCode) << r.out;
    EXPECT_TRUE(r.has("bytes, sent uncompressed -> FAIL"));
}

TEST(Commands_Watch, ChangesArePrintedWithTheGroupAndValues) {
    ToolResult r = runScript("watch presence ims-service\n"
                             "set-settings ims-service RTT_ENABLED=true\n"
                             "wait change ims-service\n"
                             "unwatch ims-service\n");
    ASSERT_EQ(0, r.exitCode) << r.err << r.out;
    EXPECT_TRUE(r.has("[slot 1] watch PRESENCE_CONFIG -> OK"));
    EXPECT_TRUE(r.has("[slot 1] watch IMS_SERVICE_ENABLE_CONFIG -> OK"));
    size_t change = r.at("[slot 1] change of IMS_SERVICE_ENABLE_CONFIG:");
    ASSERT_NE(std::string::npos, change);
    EXPECT_NE(std::string::npos, r.out.find("  RTT_ENABLED (416) = true", change));
    EXPECT_TRUE(r.has("[slot 1] unwatch IMS_SERVICE_ENABLE_CONFIG -> OK"));
}

TEST(Commands_Watch, WaitingForAChangeThatNeverComesTimesOut) {
    ToolResult r = runScript("watch presence\nwait change presence --timeout 1\n");
    EXPECT_EQ(1, r.exitCode);
    EXPECT_EQ("rcsconfigctl: stdin:2: wait change: no change of PRESENCE_CONFIG within 1 s\n", r.err);
}

TEST(Commands_Token, RequestFromTheModemAnsweredWithATokenAndAFetchStatus) {
    ToolResult r = runScript("slot 2\nslot 1\n"
                             "modem token-request FCM_TOKEN TOKEN_EXPIRED 9\n"
                             "wait token-request\n"
                             "set-app-token fcm:abc123\n"
                             "token-fetch-status last FCM_TOKEN SUCCESS\n"
                             "modem show-config\n");
    ASSERT_EQ(0, r.exitCode) << r.err << r.out;
    EXPECT_TRUE(r.has("[slot 1] modem: token request sent (FCM_TOKEN, TOKEN_EXPIRED, request 9)"));
    EXPECT_TRUE(r.has("[slot 1] listener: token requested: request 9, FCM_TOKEN, reason TOKEN_EXPIRED"));
    // Only the listener of the slot the modem asked for hears it.
    EXPECT_FALSE(r.has("[slot 2] listener: token requested"));
    EXPECT_TRUE(r.has("[slot 1] set-app-token (10 characters) -> OK"));
    EXPECT_TRUE(r.has("[slot 1] token-fetch-status request 9 FCM_TOKEN SUCCESS -> sent"));
    EXPECT_TRUE(r.has("  application token: \"fcm:abc123\""));
}

TEST(Commands_Token, LastWithoutARequestIsAFailure) {
    ToolResult r = runTool({"token-fetch-status", "last", "FCM_TOKEN", "FAILURE"});
    EXPECT_EQ(1, r.exitCode);
    EXPECT_EQ("rcsconfigctl: token-fetch-status last: no token request has been received yet\n", r.err);
}

TEST(Commands_Uce, FlagsFollowThePlatformMask) {
    ToolResult r = runScript("uce-status --mask 0xd\nuce-status --mask 0x5\nplatform-mask 0x9\nuce-status\n"
                             "uce-status --mask 0x1\n");
    ASSERT_EQ(0, r.exitCode) << r.err;
    EXPECT_TRUE(r.has("[slot 1] uce-status: presence supported, options supported (platform mask 0xd)"));
    EXPECT_TRUE(r.has("[slot 1] uce-status: presence supported, options not supported (platform mask 0x5)"));
    EXPECT_TRUE(r.has("platform RCS service mask set to 0x9"));
    EXPECT_TRUE(r.has("[slot 1] uce-status: presence not supported, options supported (platform mask 0x9)"));
    EXPECT_TRUE(r.has("[slot 1] uce-status: presence not supported, options not supported (platform mask 0x1)"));
}

TEST(Commands_Modem, RestartTellsEverySlotToReconfigureAndServiceResumes) {
    ToolResult r = runScript("slot 2\nslot 1\nset-settings presence PUBLISH_TIMER=7\nmodem restart\nwait reconfig\n"
                             "slot 1 --new\nget-settings presence\n");
    ASSERT_EQ(0, r.exitCode) << r.err << r.out;
    size_t restart = r.at("modem restarted");
    size_t one = r.at("[slot 1] listener: reconfiguration needed");
    size_t two = r.at("[slot 2] listener: reconfiguration needed");
    ASSERT_NE(std::string::npos, restart);
    ASSERT_NE(std::string::npos, one);
    ASSERT_NE(std::string::npos, two);
    EXPECT_LT(restart, one);
    EXPECT_LT(one, two);
    EXPECT_TRUE(r.has("[slot 1] new RCS configuration object created (factory 1.1)"));
    // The modem kept its settings over the restart.
    EXPECT_NE(std::string::npos, r.out.find("PUBLISH_TIMER (100) = 7", two));
}

TEST(Commands_Modem, AfterARestartTheOldObjectHasNoModemConnection) {
    // Only a creation subscribes a slot at the modem; the old object's
    // requests are dropped by the service, and the client reports the timeout.
    ToolResult r = runScript("modem restart\nwait reconfig\nget-settings presence\n", {"--timeout", "1"});
    EXPECT_EQ(1, r.exitCode) << r.out;
    EXPECT_EQ("rcsconfigctl: stdin:3: get-settings: no answer from the service within 1 s\n", r.err);
}

TEST(Commands_Modem, ControlPassesThroughAndUnknownControlFails) {
    ToolResult r = runTool({"modem", "control", "ping"});
    ASSERT_EQ(0, r.exitCode) << r.err;
    EXPECT_EQ("modem ping -> pong\n", r.out);
    r = runTool({"modem", "control", "explode"});
    EXPECT_EQ(1, r.exitCode);
    EXPECT_EQ("rcsconfigctl: modem explode: unknown command: explode\n", r.err);
}

TEST(Commands_Dump, PrintsTheServiceStateAndExits0) {
    ToolResult r = runTool({"--slot", "2", "dump"});
    ASSERT_EQ(0, r.exitCode) << r.err;
    EXPECT_TRUE(r.has("Modem (embedded modem emulator)"));
    EXPECT_TRUE(r.has("  slot 2: settings client subscribed: yes, application client subscribed: yes"));
    EXPECT_TRUE(r.has("slot 2, IRcsConfigListener 2.1"));
}

TEST(Commands_Json, EveryResultAndNoticeIsOneJsonObjectPerLine) {
    ToolResult r = runScript("watch presence\nset-settings presence PUBLISH_TIMER=42\nwait change presence\n"
                             "get-settings presence\nuce-status --mask 0xd\n", {"--json"});
    ASSERT_EQ(0, r.exitCode) << r.err;
    EXPECT_TRUE(r.has("{\"cmd\":\"watch\",\"slot\":1,\"group\":\"PRESENCE_CONFIG\",\"status\":\"OK\"}"));
    EXPECT_TRUE(r.has("{\"cmd\":\"set-settings\",\"slot\":1,\"group\":\"PRESENCE_CONFIG\",\"values\":{\"PUBLISH_TIMER\":42},\"status\":\"OK\"}"));
    EXPECT_TRUE(r.has("{\"notice\":\"settings-changed\",\"slot\":1,\"group\":\"PRESENCE_CONFIG\",\"values\":{"));
    EXPECT_TRUE(r.has("\"cmd\":\"get-settings\""));
    EXPECT_TRUE(r.has("{\"cmd\":\"uce-status\",\"slot\":1,\"presence\":true,\"options\":true,\"platformMask\":13,\"status\":\"OK\"}"));
    std::istringstream lines(r.out);
    std::string line;
    while (std::getline(lines, line)) {
        EXPECT_EQ('{', line.front()) << line;
        EXPECT_EQ('}', line.back()) << line;
    }
}

TEST(Commands_Daemon, TheSameSessionRunsOnMcxModemd) {
    TempDir dir;
    ModemDaemon daemon(dir.path() + "/modem.sock");
    ASSERT_TRUE(daemon.start());
    ToolResult r = runScript("set-settings presence PUBLISH_TIMER=77\nget-settings presence\nmodem control ping\n",
                             {"--modem-socket", dir.path() + "/modem.sock"});
    ASSERT_EQ(0, r.exitCode) << r.err << r.out;
    EXPECT_TRUE(r.has("PUBLISH_TIMER (100) = 77"));
    EXPECT_TRUE(r.has("modem ping -> pong"));
    // The daemon keeps the modem's state for the next client.
    r = runTool({"--modem-socket", dir.path() + "/modem.sock", "get-settings", "presence"});
    ASSERT_EQ(0, r.exitCode) << r.err;
    EXPECT_TRUE(r.has("PUBLISH_TIMER (100) = 77"));
}

TEST(Commands_Daemon, NoDaemonOnTheSocketIsAFailure) {
    TempDir dir;
    ToolResult r = runTool({"--modem-socket", dir.path() + "/none.sock", "--timeout", "1", "dump"});
    EXPECT_EQ(1, r.exitCode) << r.out;
    EXPECT_EQ("rcsconfigctl: the modem's IMS services did not come up within 1 s\n", r.err);
    EXPECT_EQ("", r.out);
}

}  // namespace
}  // namespace clitest

namespace clitest {
namespace {

TEST(Commands_Watch, FromTheCommandLineItPrintsAnotherClientsChangesUntilInterrupted) {
    // Two clients on one modem daemon: one watches, the other writes.
    TempDir dir;
    const std::string socket = dir.path() + "/modem.sock";
    ModemDaemon daemon(socket);
    ASSERT_TRUE(daemon.start());
    BackgroundTool watcher({"--modem-socket", socket, "watch", "user-agent"});
    ASSERT_TRUE(watcher.waitForOutput("[slot 1] watch USER_AGENT_STRING -> OK", 20000));
    ToolResult writer = runTool({"--modem-socket", socket, "set-settings", "user-agent", "IMS_USER_AGENT=from B"});
    ASSERT_EQ(0, writer.exitCode) << writer.err;
    ASSERT_TRUE(watcher.waitForOutput("IMS_USER_AGENT (200) = \"from B\"", 20000));
    ToolResult r = watcher.stop(SIGINT);
    EXPECT_EQ(0, r.exitCode) << r.err;
    EXPECT_TRUE(r.has("[slot 1] change of USER_AGENT_STRING:"));
}

TEST(Commands_Watch, CountEndsTheWatchAfterThatManyChanges) {
    TempDir dir;
    const std::string socket = dir.path() + "/modem.sock";
    ModemDaemon daemon(socket);
    ASSERT_TRUE(daemon.start());
    BackgroundTool watcher({"--modem-socket", socket, "--slot", "2", "watch", "presence", "--count", "2"});
    ASSERT_TRUE(watcher.waitForOutput("[slot 2] watch PRESENCE_CONFIG -> OK", 20000));
    ToolResult writer = runScript("slot 2\nset-settings presence PUBLISH_TIMER=1\nset-settings presence PUBLISH_TIMER=2\n",
                                  {"--modem-socket", socket});
    ASSERT_EQ(0, writer.exitCode) << writer.err;
    ToolResult r = watcher.stop(0);  // signal 0: only collect; the watch ends by itself
    EXPECT_EQ(0, r.exitCode) << r.err;
    EXPECT_EQ(2u, r.count("[slot 2] change of PRESENCE_CONFIG:"));
}

TEST(Commands_Factory, Version10ObjectsGetNoTokenRequests) {
    ToolResult r = runScript("dump\nmodem token-request FCM_TOKEN TOKEN_INVALID 3\nwait token-request --timeout 1\n",
                             {"--factory", "1.0"});
    EXPECT_EQ(1, r.exitCode);
    EXPECT_TRUE(r.has("  modem up: yes, carrier configuration accepted: yes"));
    EXPECT_TRUE(r.has("slot 1, IRcsConfigListener 2.0"));
    EXPECT_EQ("rcsconfigctl: stdin:3: wait token-request: no token request for slot 1 within 1 s\n", r.err);
}

}  // namespace
}  // namespace clitest

namespace clitest {
namespace {

TEST(Commands_Wait, ASignalEndsAWaitAsAFailureAndTheClientStopsInOrder) {
    TempDir dir;
    std::string script = dir.write("s.rcs", "echo waiting\nwait reconfig --timeout 600\necho not reached\n");
    BackgroundTool tool({"--script", script});
    ASSERT_TRUE(tool.waitForOutput("waiting", 20000));
    ToolResult r = tool.stop(SIGTERM);
    EXPECT_EQ(1, r.exitCode);
    // The signal ends the wait, or stops the script before the wait began.
    EXPECT_EQ(0u, r.err.find("rcsconfigctl: " + script + ":2: ")) << r.err;
    EXPECT_NE(std::string::npos, r.err.find("interrupted")) << r.err;
    EXPECT_FALSE(r.has("not reached"));
}

}  // namespace
}  // namespace clitest
