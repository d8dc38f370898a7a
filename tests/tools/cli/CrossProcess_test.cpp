// The workstation's three processes, as on a device: mcx-modemd (the modem),
// the service executable (registered in a registry folder of the test's own)
// and rcsconfigctl clients attached to it with --service. Deaths are real
// SIGKILLs; every wait is on a line of output or a state, with a time-out.
#include <gtest/gtest.h>

#include <signal.h>

#include <memory>
#include <string>

#include "ToolProcess.h"

namespace clitest {
namespace {

const std::string kDocument = SESSIONS_DIR "/operator-autoconfig.xml";

// The transcript without what each service draws for itself: the 8-bit
// tokens of its uploads.
std::string normalised(const std::string& out) {
    std::string text;
    size_t from = 0;
    while (from < out.size()) {
        size_t eol = out.find('\n', from);
        if (eol == std::string::npos) eol = out.size();
        std::string line = out.substr(from, eol - from);
        size_t colon = line.find(':');
        if (line.compare(0, 8, "  token ") == 0 && colon != std::string::npos) line = "  token N" + line.substr(colon);
        text += line + "\n";
        from = eol + 1;
    }
    return text;
}

class ThreeProcessesTest : public ServiceProcessesTest {
protected:
    // An attached client reading its commands from the test.
    std::unique_ptr<BackgroundTool> interactiveClient(std::vector<std::string> more = {}) const {
        more.push_back("--script");
        more.push_back("-");
        return std::make_unique<BackgroundTool>(attached(more), RCSCONFIGCTL_PATH, true);
    }

    // Asks the running service for its dump (as `lshal debug` would) until
    // it contains every one of `needles`; the last dump is kept for messages.
    bool waitForDump(const std::vector<std::string>& needles) {
        for (int i = 0; i < 100; ++i) {
            mLastDump = runTool(attached({"dump"})).out;
            bool all = true;
            for (const auto& n : needles) all = all && mLastDump.find(n) != std::string::npos;
            if (all) return true;
        }
        return false;
    }

    std::string mLastDump;
};

// The main job's session script, run as it ships (the service and the modem
// inside the client) and across the three processes: each succeeds, shows
// every step of the story in order, and they print the same.
TEST_F(ThreeProcessesTest, MainJobSession_TellsTheWholeStoryAndAcrossProcessesPrintsTheSame) {
    const std::string script = SESSIONS_DIR "/main-job.rcs";
    ToolResult r = runTool({"--script", script});
    ASSERT_EQ(0, r.exitCode) << r.err << r.out;
    EXPECT_EQ("", r.err);
    const std::vector<std::string> story = {
        "[slot 2] RCS configuration object created (factory 1.1)",
        "[slot 1] RCS configuration object created at start-up (factory 1.1)",
        "operator-autoconfig.xml: ",
        ", sent gzip-compressed as ",
        "[slot 1] modem has received 1 configuration document(s)",
        "(arrived gzip-compressed)",
        "[slot 1] get-settings PRESENCE_CONFIG -> OK",
        "[slot 1] get-settings STANDALONE_MESSAGING_CONFIG -> OK",
        "[slot 1] get-settings USER_AGENT_STRING -> OK",
        "[slot 1] get-settings IMS_SERVICE_ENABLE_CONFIG -> OK",
        "[slot 1] watch IMS_SERVICE_ENABLE_CONFIG -> OK",
        "[slot 1] change of IMS_SERVICE_ENABLE_CONFIG:",
        "[slot 1] listener: token requested: request 7, FCM_TOKEN, reason TOKEN_EXPIRED",
        "[slot 1] set-app-token",
        "[slot 1] token-fetch-status request 7 FCM_TOKEN SUCCESS -> sent",
        "  application token: \"fcm:",
        "[slot 1] uce-status: presence supported, options supported (platform mask 0xd)",
        "[slot 1] uce-status: presence supported, options not supported (platform mask 0x5)",
        "modem restarted",
        "[slot 1] listener: reconfiguration needed",
        "[slot 2] listener: reconfiguration needed",
        "[slot 2] new RCS configuration object created (factory 1.1)",
        "[slot 1] new RCS configuration object created (factory 1.1)",
        "[slot 1] modem has received 2 configuration document(s)",
    };
    size_t from = 0;
    for (const auto& step : story) {
        size_t at = r.out.find(step, from);
        ASSERT_NE(std::string::npos, at) << "missing or out of order: " << step << "\n" << r.out;
        from = at;
    }
    EXPECT_EQ(0u, r.count("FAIL"));
    // Two uploads, everything written and read back.
    EXPECT_EQ(2u, r.count("set-config "));
    EXPECT_EQ(5u, r.count("] set-settings "));
    EXPECT_TRUE(r.has("  WIFI_CALLING_IN_ROAMING_ENABLED (404) = true"));
    for (const char* value : {"  PUBLISH_TIMER (100) = 1200", "  CLIENT_VENDOR (304) = \"KELV\"",
                              "  SERVICE_MASK_BY_NETWORK_ENABLED (421) = 7"}) {
        EXPECT_TRUE(r.has(value)) << value;
    }
    // Only the slot the modem asked hears the token request; the modem keeps
    // the settings over its restart.
    EXPECT_FALSE(r.has("[slot 2] listener: token requested"));
    EXPECT_EQ(2u, r.count("  IMS_USER_AGENT (200) = \"Kelvale KV-9/KV9.2026.11"));

    ToolResult across = runTool(attached({"--script", script}));
    ASSERT_EQ(0, across.exitCode) << across.err << across.out;
    EXPECT_EQ("", across.err);
    EXPECT_EQ(normalised(r.out), normalised(across.out));
}

TEST_F(ThreeProcessesTest, AClientKilledInARequestAndAWatchIsForgottenWhileOthersAreServed) {
    std::unique_ptr<BackgroundTool> survivor = interactiveClient({"--slot", "2"});
    survivor->send("watch presence");
    ASSERT_TRUE(survivor->waitFor("[slot 2] watch PRESENCE_CONFIG -> OK", kWaitMs)) << survivor->sofar().err;
    std::unique_ptr<BackgroundTool> doomed = interactiveClient();
    doomed->send("watch presence");
    ASSERT_TRUE(doomed->waitFor("[slot 1] watch PRESENCE_CONFIG -> OK", kWaitMs)) << doomed->sofar().err;
    // The modem keeps the upload's verdict to itself, so the client dies
    // with its request in flight.
    modemControl(mModemSocket, "drop-ind imss 0x9d");
    doomed->send("set-config " + kDocument + " --gzip");
    ASSERT_TRUE(waitForDump({"Listeners: 2", "callbacks filed: set-config 1, get-settings 0, settings-change 1",
                             "configuration uploads (answers kept until the modem goes down): 1"}))
            << mLastDump;
    // Each listener names the client process it belongs to.
    const std::string json = runTool(attached({"--json", "dump"})).out;
    for (pid_t client : {survivor->pid(), doomed->pid()}) {
        EXPECT_NE(std::string::npos, mLastDump.find(", client pid " + std::to_string(client) + "\n")) << mLastDump;
        EXPECT_NE(std::string::npos, json.find("\"clientPid\":" + std::to_string(client) + "}")) << json;
    }
    doomed->stop(SIGKILL);

    // The service's recipients drop the dead client's listener and both of
    // its callbacks; the other client's entries stay.
    ASSERT_TRUE(mService->waitFor("RcsConfig client died. cookie:", kWaitMs, 2, true)) << mService->sofar().err;
    ASSERT_TRUE(waitForDump({"Listeners: 1", "callbacks filed: set-config 0, get-settings 0, settings-change 0",
                             "callbacks filed: set-config 0, get-settings 0, settings-change 1"}))
            << mLastDump;

    ToolResult next = runTool(attached({"--slot", "2", "--script", "-"}), "set-config " + kDocument + "\n"
                                                                           "set-settings presence PUBLISH_TIMER=7\n"
                                                                           "get-settings presence\n"
                                                                           "dump heap\n");
    ASSERT_EQ(0, next.exitCode) << next.err << next.out;
    // The service's process answers with its heap (0 under a sanitizer).
    EXPECT_TRUE(next.has("heap bytes in use: ")) << next.out;
    EXPECT_TRUE(next.has("-> OK (accepted by the modem)"));
    EXPECT_TRUE(next.has("  PUBLISH_TIMER (100) = 7"));
    // The survivor's callback, in its own process, heard of the change.
    survivor->send("wait change presence");
    EXPECT_TRUE(survivor->waitFor("[slot 2] change of PRESENCE_CONFIG:", kWaitMs)) << survivor->sofar().out;
}

TEST_F(ThreeProcessesTest, Logcat_ShowsTheServicesLinesFilteredAndFollowsThem_AndObserversCreateNothing) {
    const std::string pid = " " + std::to_string(mService->pid()) + " ";
    ToolResult all = runTool(attached({"logcat"}));
    ASSERT_EQ(0, all.exitCode) << all.err;
    EXPECT_EQ(1u, all.count("rcsconfig-service: serving in registry")) << all.out;
    EXPECT_NE(std::string::npos, all.out.find(pid)) << "no line of the service's pid\n" << all.out;
    EXPECT_EQ("", runTool(attached({"logcat", "*:S"})).out);
    EXPECT_EQ("modem ping -> pong\n", runTool(attached({"modem", "control", "ping"})).out);
    EXPECT_EQ(0, runTool(attached({"modem", "show-config"})).exitCode);
    // Observing left no object, listener or log line of a creation behind.
    ASSERT_TRUE(waitForDump({"Listeners: 0", "Service objects: 0"})) << mLastDump;
    EXPECT_FALSE(runTool(attached({"logcat"})).has("New RcsConfig Object"));

    std::unique_ptr<BackgroundTool> follow = std::make_unique<BackgroundTool>(attached({"logcat", "--follow"}));
    ASSERT_TRUE(follow->waitFor("rcsconfig-service: serving in registry", kWaitMs));
    EXPECT_EQ(0, runTool(attached({"get-settings", "presence"})).exitCode);
    EXPECT_TRUE(follow->waitFor("RcsConfig got getSettingsValue request", kWaitMs)) << follow->sofar().out;
    EXPECT_EQ(130, follow->stop(SIGINT).exitCode);
}

TEST_F(ThreeProcessesTest, AServiceKilledDuringAnUploadIsSeenAndTheClientWorksAgainWhenItIsBack) {
    std::unique_ptr<BackgroundTool> client = interactiveClient({"--keep-going", "--replay-config", "--json"});
    modemControl(mModemSocket, "drop-ind imss 0x9d");
    client->send("set-config " + kDocument + " --gzip");
    ASSERT_TRUE(waitForDump({"configuration uploads (answers kept until the modem goes down): 1"})) << mLastDump;
    mService->stop(SIGKILL);

    // The upload ends at once with the death instead of waiting for an answer.
    ASSERT_TRUE(client->waitFor("set-config: the service died before answering", kWaitMs))
            << client->sofar().err << client->sofar().out;
    // The upload may have died before its last segment: the verdict to drop
    // may still be to come, and the replayed upload must get its own.
    modemControl(mModemSocket, "clear-faults");
    startService();
    client->send("get-settings user-agent");
    ASSERT_TRUE(client->waitFor("\"group\":\"USER_AGENT_STRING\"", kWaitMs)) << client->sofar().err;
    const ToolResult& r = client->sofar();
    EXPECT_EQ(1u, r.count("{\"notice\":\"service-died\",\"service\":\"default\"}"));
    EXPECT_TRUE(r.has("\"notice\":\"service-reconnected\""));
    EXPECT_TRUE(r.has("\"notice\":\"replay-config\""));
    EXPECT_EQ(1u, r.count("\"cmd\":\"set-config\"")) << r.out;
    EXPECT_TRUE(r.has("\"compressedHere\":true,\"status\":\"OK\"")) << r.out;
    // The replayed document reached the modem whole.
    EXPECT_NE(std::string::npos, modemControl(mModemSocket, "configs 1").find("gzip=1 len=70925")) << modemControl(mModemSocket, "configs 1");
}

TEST_F(ThreeProcessesTest, CallsMadeAsTheServiceDiesEndWithOneDeathNotARawTransportError) {
    std::unique_ptr<BackgroundTool> client = interactiveClient({"--keep-going"});
    client->send("get-settings presence");
    ASSERT_TRUE(client->waitFor("[slot 1] get-settings PRESENCE_CONFIG -> OK", kWaitMs)) << client->sofar().err;
    // Frozen while the service dies and commands pile up: once thawed, its
    // calls race the runtime thread that tells it of the death, and a call
    // that finds the process gone must count as that death.
    ASSERT_EQ(0, ::kill(client->pid(), SIGSTOP));
    mService->stop(SIGKILL);
    for (int i = 0; i < 20; ++i) client->send("get-settings presence");
    client->send("echo all sent");
    ASSERT_EQ(0, ::kill(client->pid(), SIGCONT));
    ASSERT_TRUE(client->waitFor("service \"default\" died: waiting for it to be registered again", kWaitMs))
            << client->sofar().err;
    startService();
    ASSERT_TRUE(client->waitFor("all sent", kWaitMs)) << client->sofar().err;

    const ToolResult& r = client->sofar();
    EXPECT_EQ(1u, r.count("died: waiting for it to be registered again")) << r.out;
    EXPECT_EQ(1u, r.count("registered again: new RCS configuration objects for slot(s) 1")) << r.out;
    // At most the first call ends with the death; the others wait for the
    // service to come back and are answered.
    EXPECT_EQ(std::string::npos, r.err.find("EX_TRANSACTION_FAILED")) << r.err;
    EXPECT_GE(r.count("get-settings PRESENCE_CONFIG -> OK"), 20u) << r.out << r.err;
}

TEST_F(ThreeProcessesTest, AModemRestartUnderTheServiceReachesTheClientAndNewObjectsWork) {
    std::unique_ptr<BackgroundTool> client = interactiveClient();
    client->send("slot 2");
    ASSERT_TRUE(client->waitFor("[slot 2] RCS configuration object created", kWaitMs)) << client->sofar().err;
    mModem.kill();
    ASSERT_TRUE(mModem.start());
    client->send("wait reconfig");
    ASSERT_TRUE(client->waitFor("[slot 2] listener: reconfiguration needed", kWaitMs)) << client->sofar().err;
    client->send("slot 2 --new");
    client->send("set-settings presence PUBLISH_TIMER=9");
    client->send("get-settings presence");
    ASSERT_TRUE(client->waitFor("  PUBLISH_TIMER (100) = 9", kWaitMs))
            << client->sofar().err << client->sofar().out << mService->sofar().err;
    EXPECT_EQ(0, client->stop(SIGTERM).exitCode);
}

// The service executable alone on an mcx-modemd without carrier
// configuration (its --log test runs it on the embedded emulator and stops it
// with SIGINT): up, and stopped cleanly by SIGTERM.
TEST(ServiceProcessTest, ComesUpOnAModemWithoutCarrierConfigurationAndStopsCleanlyOnASignal) {
    TempDir dir;
    const std::string socket = dir.path() + "/modem.sock";
    BackgroundTool modem({"--socket", socket, "--no-carrier-config"}, MCX_MODEMD_PATH);
    ASSERT_TRUE(modem.waitFor("mcx-modemd ready on", kWaitMs));
    BackgroundTool service({socket}, RCS_SERVICE_PATH);
    for (const std::string& line :
         {"RcsServiceHost: started on the mcx-modemd at " + socket, std::string("RcsConfigManager: ServiceStatus::MODEM_UP")}) {
        ASSERT_TRUE(service.waitFor(line, kWaitMs, 1, true)) << service.sofar().err;
    }
    ToolResult r = service.stop(SIGTERM);
    EXPECT_EQ(0, r.exitCode) << r.err;
    EXPECT_NE(std::string::npos, r.err.find("RcsServiceHost: stopped")) << r.err;
}

}  // namespace
}  // namespace clitest
