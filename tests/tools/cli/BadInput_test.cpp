// Bad input never reaches the service: one clear line on stderr, nothing on
// stdout, exit status 2 - for a single command and for a script, where the
// whole script is checked before anything runs.
#include <gtest/gtest.h>

#include "ToolProcess.h"

namespace clitest {
namespace {

void expectBadInput(const std::vector<std::string>& args, const std::string& message) {
    ToolResult r = runTool(args);
    EXPECT_EQ(2, r.exitCode) << r.err;
    EXPECT_EQ("rcsconfigctl: " + message + "\n", r.err);
    EXPECT_EQ("", r.out);
}

TEST(BadInput_SingleCommand, UnknownGroupKeyValueSlotAndCommand) {
    expectBadInput({"get-settings", "presense"},
                   "unknown group 'presense' (groups: presence, messaging, user-agent, ims-service)");
    expectBadInput({"set-settings", "presence", "TIMER=5"}, "unknown key 'TIMER' in group PRESENCE_CONFIG");
    expectBadInput({"set-settings", "ims-service", "VOLTE_ENABLED=sometimes"},
                   "bad value for VOLTE_ENABLED: 'sometimes' is not true or false");
    expectBadInput({"set-settings", "messaging", "DEFAULT_SMS_APP=300"},
                   "bad value for DEFAULT_SMS_APP: 300 is outside 0..255");
    expectBadInput({"--slot", "3", "dump"}, "bad slot '3': the slot is 1 or 2");
    expectBadInput({"slot", "0"}, "bad slot '0': the slot is 1 or 2");
    expectBadInput({"reboot"}, "unknown command 'reboot' (try: help)");
    expectBadInput({}, "no command given (try: rcsconfigctl --help)");
}

TEST(BadInput_Script, AnyBadLineStopsTheScriptBeforeItRuns) {
    TempDir dir;
    std::string script = dir.write("s.rcs", "echo first\n# fine\nset-settings presence \\\n  PUBLISH_TIMER=x\n");
    ToolResult r = runTool({"--script", script});
    EXPECT_EQ(2, r.exitCode);
    EXPECT_EQ("rcsconfigctl: " + script + ":3: bad value for PUBLISH_TIMER: 'x' is not an integer\n", r.err);
    EXPECT_EQ("", r.out) << "nothing may run when the script has a bad line";

    expectBadInput({"--script", dir.path() + "/none.rcs"}, "cannot read script '" + dir.path() + "/none.rcs'");
    std::string quote = dir.write("q.rcs", "echo 'open\n");
    expectBadInput({"--script", quote}, quote + ":1: unterminated ' quote");
}

TEST(BadInput_Stdin, ABadLineEndsTheSessionWithStatus2AfterEarlierLinesRan) {
    ToolResult r = runTool({"--script", "-"}, "echo before\nget-settings nothing\necho after\n");
    EXPECT_EQ(2, r.exitCode);
    EXPECT_EQ("before\n", r.out);
    EXPECT_EQ("rcsconfigctl: stdin:2: unknown group 'nothing' (groups: presence, messaging, user-agent, "
              "ims-service)\n",
              r.err);
}

TEST(BadInput_Files, UnreadableOrEmptyDocumentFailsTheCommand) {
    TempDir dir;
    ToolResult r = runTool({"set-config", dir.path() + "/missing.xml", "--gzip"});
    EXPECT_EQ(1, r.exitCode);
    EXPECT_EQ("rcsconfigctl: cannot read '" + dir.path() + "/missing.xml': No such file or directory\n", r.err);
    r = runTool({"set-config", dir.write("empty.xml", "")});
    EXPECT_EQ(1, r.exitCode);
    EXPECT_EQ("rcsconfigctl: cannot send '" + dir.path() + "/empty.xml': the file is empty\n", r.err);
}

TEST(BadInput_Json, ErrorsAlsoComeAsAJsonObjectOnStdout) {
    ToolResult r = runTool({"--json", "get-settings", "7"});
    EXPECT_EQ(2, r.exitCode);
    EXPECT_EQ("{\"error\":\"unknown group '7' (groups: presence, messaging, user-agent, ims-service)\"}\n", r.out);
}

TEST(BadInput_Help, HelpListsOptionsAndCommandsWithStatus0) {
    ToolResult r = runTool({"--help"});
    EXPECT_EQ(0, r.exitCode);
    EXPECT_EQ(0u, r.at("usage: rcsconfigctl [OPTIONS] COMMAND [ARGS...]"));
    EXPECT_TRUE(r.has("  set-settings GROUP KEY=VALUE ...        write settings of one group"));
    EXPECT_EQ("", r.err);
}

}  // namespace
}  // namespace clitest
