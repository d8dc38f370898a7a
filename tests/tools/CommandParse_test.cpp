// Grammar of the client's commands: what each command accepts, and the one
// line a person gets for each kind of bad input.
#include <gtest/gtest.h>

#include <sstream>

#include "Command.h"
#include "ScriptTokenizer.h"

namespace rcsctl {
namespace {

namespace V2_0 = ::vendor::kel::ims::rcsconfig::V2_0;

bool parse(const std::string& line, Command* cmd, std::string* error) {
    std::vector<std::string> words;
    if (!splitWords(line, &words, error)) return false;
    return parseCommand(words, cmd, error);
}

std::string errorOf(const std::string& line) {
    Command cmd;
    std::string error;
    EXPECT_FALSE(parse(line, &cmd, &error)) << line;
    return error;
}

TEST(SplitWordsTest, Quoting_QuotesEscapesAndComments_AndAnUnterminatedQuoteOrTrailingBackslashIsAnError) {
    std::vector<std::string> words;
    std::string error;
    ASSERT_TRUE(splitWords("set-settings user-agent 'IMS_USER_AGENT=Kel Phone/1.0' # the UA", &words, &error));
    EXPECT_EQ((std::vector<std::string>{"set-settings", "user-agent", "IMS_USER_AGENT=Kel Phone/1.0"}), words);
    ASSERT_TRUE(splitWords(R"(echo "say \"hi\"" a\ b x#y)", &words, &error));
    EXPECT_EQ((std::vector<std::string>{"echo", "say \"hi\"", "a b", "x#y"}), words);
    ASSERT_TRUE(splitWords("   # only a comment", &words, &error));
    EXPECT_TRUE(words.empty());
    ASSERT_TRUE(splitWords("echo ''", &words, &error));
    EXPECT_EQ((std::vector<std::string>{"echo", ""}), words);
    EXPECT_FALSE(splitWords("echo 'open", &words, &error));
    EXPECT_NE(std::string::npos, error.find("unterminated"));
    EXPECT_FALSE(splitWords("echo \"open", &words, &error));
    EXPECT_FALSE(splitWords("echo x\\", &words, &error));
}

TEST(ParseCommandTest, SetSettings_GroupAndKeyNamesFieldNamesAndNumbersFillTheRightLists) {
    Command cmd;
    std::string error;
    ASSERT_TRUE(parse("set-settings presence PUBLISH_TIMER=1200 capabilites_cache_expiry=0x10 "
                      "109=true gzip_enabled=off PRESENCE_SERVICE_URI=sip:pres@example.net",
                      &cmd, &error))
        << error;
    EXPECT_EQ(Verb::SetSettings, cmd.verb);
    V2_0::SettingsData expected;
    expected.settingsId = V2_0::SettingsId::PRESENCE_CONFIG;
    expected.settingsValues.intData = {{100, 1200}, {105, 16}};
    expected.settingsValues.boolData = {{109, true}, {110, false}};
    expected.settingsValues.stringData = {{111, "sip:pres@example.net"}};
    EXPECT_EQ(expected, cmd.settings) << V2_0::toString(cmd.settings);

    // Groups by full name, alias and number.
    ASSERT_TRUE(parse("set-settings IMS_SERVICE_ENABLE_CONFIG VOLTE_ENABLED=1", &cmd, &error)) << error;
    EXPECT_EQ(V2_0::SettingsId::IMS_SERVICE_ENABLE_CONFIG, cmd.settings.settingsId);
    ASSERT_TRUE(parse("set-settings 1 default_sms_app=255 CLIENT_VENDOR=KELV", &cmd, &error)) << error;
    EXPECT_EQ(V2_0::SettingsId::STANDALONE_MESSAGING_CONFIG, cmd.settings.settingsId);
    ASSERT_TRUE(parse("get-settings User-Agent", &cmd, &error)) << error;
    EXPECT_EQ(V2_0::SettingsId::USER_AGENT_STRING, cmd.groups[0]->id);
}

TEST(ParseCommandTest, SetSettings_ValuesMustFitTheModemField) {
    // Single-byte field, 32-bit field, bool, and the string capacities.
    EXPECT_NE(std::string::npos, errorOf("set-settings messaging DEFAULT_SMS_APP=256").find("outside 0..255"));
    EXPECT_NE(std::string::npos,
              errorOf("set-settings presence PUBLISH_TIMER=4294967296").find("outside 0..4294967295"));
    EXPECT_NE(std::string::npos, errorOf("set-settings presence PUBLISH_TIMER=-1").find("outside"));
    EXPECT_NE(std::string::npos, errorOf("set-settings presence PUBLISH_TIMER=12s").find("not an integer"));
    EXPECT_NE(std::string::npos, errorOf("set-settings ims-service VOLTE_ENABLED=maybe").find("not true or false"));
    EXPECT_NE(std::string::npos,
              errorOf("set-settings messaging CLIENT_VENDOR=ABCDEFGHIJKLMNOPQ").find("17 bytes, at most 16"));
    Command cmd;
    std::string error;
    EXPECT_TRUE(parse("set-settings messaging CLIENT_VENDOR=ABCDEFGHIJKLMNOP", &cmd, &error)) << error;
    EXPECT_TRUE(parse("set-settings ims-service WIFI_PROVISIONING_ID=" + std::string(20, 'w'), &cmd, &error));
    EXPECT_FALSE(parse("set-settings ims-service WIFI_PROVISIONING_ID=" + std::string(21, 'w'), &cmd, &error));
    EXPECT_TRUE(parse("set-settings user-agent IMS_USER_AGENT=" + std::string(1024, 'u'), &cmd, &error));
    EXPECT_FALSE(parse("set-settings user-agent IMS_USER_AGENT=" + std::string(1025, 'u'), &cmd, &error));
}

TEST(ParseCommandTest, BadInput_UnknownGroupKeyOrCommandNamesTheCulprit) {
    EXPECT_EQ("unknown group 'presenc' (groups: presence, messaging, user-agent, ims-service)",
              errorOf("get-settings presenc"));
    EXPECT_EQ("unknown group '4' (groups: presence, messaging, user-agent, ims-service)",
              errorOf("watch presence 4"));
    EXPECT_EQ("unknown key 'VOLTE_ENABLED' in group PRESENCE_CONFIG",
              errorOf("set-settings presence VOLTE_ENABLED=1"));
    EXPECT_EQ("unknown key '112' in group PRESENCE_CONFIG", errorOf("set-settings presence 112=1"));
    EXPECT_EQ("bad setting 'PUBLISH_TIMER': write KEY=VALUE", errorOf("set-settings presence PUBLISH_TIMER"));
    EXPECT_EQ("key PUBLISH_TIMER is given twice (the second time as 'publish_timer')",
              errorOf("set-settings presence PUBLISH_TIMER=1 publish_timer=2"));
    EXPECT_EQ("key PUBLISH_TIMER is given twice (the second time as '100')",
              errorOf("set-settings presence publish_timer=1 100=1"));
    EXPECT_EQ("unknown command 'frobnicate' (try: help)", errorOf("frobnicate"));
    EXPECT_EQ("usage: get-settings GROUP", errorOf("get-settings"));
    EXPECT_EQ("usage: set-settings GROUP KEY=VALUE ...", errorOf("set-settings presence"));
    EXPECT_EQ("unknown option '--zip' for set-config", errorOf("set-config doc.xml --zip"));
    EXPECT_EQ("dump: unknown part 'hep' (only 'heap')", errorOf("dump hep"));
}

TEST(ParseCommandTest, BadInput_BadSlotMaskTimeoutAndEnumerations) {
    EXPECT_EQ("bad slot '3': the slot is 1 or 2", errorOf("slot 3"));
    EXPECT_EQ("bad slot '0': the slot is 1 or 2", errorOf("slot 0"));
    EXPECT_EQ("bad mask 'x': a number from 0 to 0xffffffff", errorOf("platform-mask x"));
    EXPECT_EQ("bad mask '0x100000000': a number from 0 to 0xffffffff", errorOf("uce-status --mask 0x100000000"));
    EXPECT_EQ("bad timeout '0': a number from 1 to 3600", errorOf("wait reconfig --timeout 0"));
    EXPECT_EQ("bad token type 'SMS_TOKEN': one of UNKNOWN_TOKEN, FCM_TOKEN or a number",
              errorOf("token-fetch-status 5 SMS_TOKEN SUCCESS"));
    EXPECT_EQ("bad status 'OK': one of SUCCESS, FAILURE, NETWORK_ERROR or a number",
              errorOf("token-fetch-status 5 FCM_TOKEN OK"));
    EXPECT_EQ("bad request id 'five': a 32-bit number", errorOf("token-fetch-status five FCM_TOKEN SUCCESS"));
    EXPECT_EQ("bad reason 'LOST': one of UNKNOWN_REASON, TOKEN_EXPIRED, TOKEN_INVALID or a number",
              errorOf("modem token-request FCM_TOKEN LOST"));
    EXPECT_EQ("bad token: the token is empty", errorOf("set-app-token ''"));
    EXPECT_EQ("unknown modem command 'reboot' (restart, token-request, show-config, control)",
              errorOf("modem reboot"));
}

TEST(ParseCommandTest, Accepted_TokenWaitModemAndWatchForms) {
    Command cmd;
    std::string error;
    ASSERT_TRUE(parse("token-fetch-status last fcm_token network_error", &cmd, &error)) << error;
    EXPECT_TRUE(cmd.lastRequestId);
    EXPECT_EQ(1, cmd.tokenType);
    EXPECT_EQ(2, cmd.status);
    ASSERT_TRUE(parse("token-fetch-status 0x2a 0 1", &cmd, &error)) << error;
    EXPECT_EQ(42, cmd.requestId);
    EXPECT_EQ(1, cmd.status);
    ASSERT_TRUE(parse("modem token-request FCM_TOKEN TOKEN_EXPIRED 7", &cmd, &error)) << error;
    EXPECT_EQ(Verb::ModemTokenRequest, cmd.verb);
    EXPECT_TRUE(cmd.hasRequestId);
    EXPECT_EQ(7, cmd.requestId);
    EXPECT_EQ(1, cmd.reason);
    ASSERT_TRUE(parse("wait change ims-service --timeout 3", &cmd, &error)) << error;
    EXPECT_EQ(Verb::WaitChange, cmd.verb);
    EXPECT_EQ(3000, cmd.timeoutMs);
    EXPECT_EQ(V2_0::SettingsId::IMS_SERVICE_ENABLE_CONFIG, cmd.groups[0]->id);
    ASSERT_TRUE(parse("watch presence 3 --count 2", &cmd, &error)) << error;
    EXPECT_EQ(2u, cmd.groups.size());
    EXPECT_EQ(2, cmd.count);
    ASSERT_TRUE(parse("modem control fail imss 0x69 transport", &cmd, &error)) << error;
    EXPECT_EQ("fail imss 0x69 transport", cmd.text);
    ASSERT_TRUE(parse("set-config --gzip doc.xml", &cmd, &error)) << error;
    EXPECT_TRUE(cmd.gzip);
    EXPECT_EQ("doc.xml", cmd.path);
    ASSERT_TRUE(parse("slot 2 --new", &cmd, &error)) << error;
    EXPECT_TRUE(cmd.fresh);
    EXPECT_EQ(2, cmd.slot);
    ASSERT_TRUE(parse("uce-status --mask 0xd", &cmd, &error)) << error;
    EXPECT_TRUE(cmd.hasMask);
    EXPECT_EQ(0xdu, cmd.mask);
    ASSERT_TRUE(parse("dump heap", &cmd, &error)) << error;
    EXPECT_EQ(Verb::Dump, cmd.verb);
    EXPECT_EQ("heap", cmd.text);
}

}  // namespace
}  // namespace rcsctl

namespace rcsctl {
namespace {

TEST(ReadLogicalLineTest, Continuation_BackslashJoinsLinesAndNumbersTheFirst) {
    std::istringstream in("echo a \\\n  b \\\n  c\nslot 2\necho x\\\\\n");
    std::string line;
    int number = 0, first = 0;
    ASSERT_TRUE(readLogicalLine(in, &line, &number, &first));
    EXPECT_EQ("echo a   b   c", line);
    EXPECT_EQ(1, first);
    ASSERT_TRUE(readLogicalLine(in, &line, &number, &first));
    EXPECT_EQ("slot 2", line);
    EXPECT_EQ(4, first);
    // An escaped backslash at the end does not continue the line.
    ASSERT_TRUE(readLogicalLine(in, &line, &number, &first));
    EXPECT_EQ("echo x\\\\", line);
    EXPECT_FALSE(readLogicalLine(in, &line, &number, &first));
}

}  // namespace
}  // namespace rcsctl
