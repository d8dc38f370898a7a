// The main job's session script, run as it ships: it must succeed and show
// each step of the story in order.
#include <gtest/gtest.h>

#include "ToolProcess.h"

namespace clitest {
namespace {

TEST(MainJobTest, Session_RunsToTheEndAndTellsTheWholeStory) {
    ToolResult r = runTool({"--script", SESSIONS_DIR "/main-job.rcs"});
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
}

}  // namespace
}  // namespace clitest
