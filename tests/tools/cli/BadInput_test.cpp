// Bad input never reaches the service: one clear line on stderr, nothing on
// stdout, exit status 2 - for a single command and for a script, where the
// whole script is checked before anything runs.
#include <gtest/gtest.h>

#include <random>

#include "ToolProcess.h"

namespace clitest {
namespace {

void expectBadInput(const std::vector<std::string>& args, const std::string& message) {
    ToolResult r = runTool(args);
    EXPECT_EQ(2, r.exitCode) << r.err;
    EXPECT_EQ("rcsconfigctl: " + message + "\n", r.err);
    EXPECT_EQ("", r.out);
}

TEST(BadInputTest, SingleCommand_CommandOptionOrMissingCommandIsRefusedWithStatus2) {
    expectBadInput({"get-settings", "presense"},
                   "unknown group 'presense' (groups: presence, messaging, user-agent, ims-service)");
    expectBadInput({}, "no command given (try: rcsconfigctl --help)");
}

TEST(BadInputTest, Script_AnyBadLineStopsTheScriptBeforeItRuns) {
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

TEST(BadInputTest, Stdin_ABadLineEndsTheSessionWithStatus2AfterEarlierLinesRan) {
    ToolResult r = runTool({"--script", "-"}, "echo before\nget-settings nothing\necho after\n");
    EXPECT_EQ(2, r.exitCode);
    EXPECT_EQ("before\n", r.out);
    EXPECT_EQ("rcsconfigctl: stdin:2: unknown group 'nothing' (groups: presence, messaging, user-agent, "
              "ims-service)\n",
              r.err);
}

TEST(BadInputTest, Files_DocumentWhoseSegmentCountOverflows_IsRefusedWithStatus2) {
    TempDir dir;
    // 510000 bytes would announce 256 segments: the 8-bit count wraps to 0.
    std::string big = dir.write("big.xml", std::string(510000, 'x'));
    std::string why = "510000 bytes would be announced as 256 segments of 2000 bytes, more than the "
                      "modem's 8-bit segment count holds (at most 509999 bytes)";
    expectBadInput({"set-config", big}, "cannot send '" + big + "': " + why + "; try --gzip");
    // Bytes that gzip cannot shrink, so their size is what is sent.
    std::mt19937 gen(1);
    std::string noise(600000, '\0');
    for (char& c : noise) c = static_cast<char>(gen());
    std::string noisy = dir.write("noisy.bin", noise);
    ToolResult r = runTool({"set-config", noisy, "--gzip"});
    EXPECT_EQ(2, r.exitCode) << r.err;
    EXPECT_TRUE(r.err.find("more than the modem's 8-bit segment count holds") != std::string::npos) << r.err;
    EXPECT_TRUE(r.err.find("try --gzip") == std::string::npos) << r.err;
    // The same document compressed fits, and a script stops with status 2 on the large one.
    r = runTool({"--script", "-"}, "set-config " + big + " --gzip\nset-config " + big + "\necho not reached\n");
    EXPECT_EQ(2, r.exitCode) << r.err;
    EXPECT_TRUE(r.has("set-config " + big + ": 510000 bytes, sent gzip-compressed as ")) << r.out;
    EXPECT_FALSE(r.has("not reached"));
}

TEST(BadInputTest, Files_UnreadableOrALengthThatIsAMultipleOf2000_FailsTheCommandWithStatus1) {
    TempDir dir;
    ToolResult missing = runTool({"set-config", dir.path() + "/missing.xml", "--gzip"});
    EXPECT_EQ(1, missing.exitCode);
    EXPECT_EQ("rcsconfigctl: cannot read '" + dir.path() + "/missing.xml': No such file or directory\n", missing.err);
    // Sent, with a warning, and answered FAIL.
    std::string doc = dir.write("even.xml", std::string(4000, 'x'));
    ToolResult r = runTool({"set-config", doc});
    EXPECT_EQ(1, r.exitCode);
    EXPECT_TRUE(r.err.find("rcsconfigctl: warning: '" + doc + "': 4000 bytes to send are an exact multiple "
                           "of 2000: the service answers FAIL first, whatever the modem says after\n") == 0)
            << r.err;
    EXPECT_TRUE(r.has("set-config " + doc + ": 4000 bytes, sent uncompressed -> FAIL")) << r.out;
}

TEST(BadInputTest, Json_ErrorsAlsoComeAsAJsonObjectOnStdout) {
    ToolResult r = runTool({"--json", "get-settings", "7"});
    EXPECT_EQ(2, r.exitCode);
    EXPECT_EQ("{\"error\":\"unknown group '7' (groups: presence, messaging, user-agent, ims-service)\"}\n", r.out);
}

// Help (all of it or one command's) and the version answer at once, without
// starting a service; an unknown topic is bad input.
TEST(BadInputTest, Help_HelpOneCommandsHelpAndVersionNeedNoService) {
    ToolResult r = runTool({"--help"});
    EXPECT_EQ(0, r.exitCode);
    EXPECT_EQ(0u, r.at("usage: rcsconfigctl [OPTIONS] COMMAND [ARGS...]"));
    EXPECT_TRUE(r.has("  set-settings GROUP KEY=VALUE ...        write settings of one group"));
    EXPECT_EQ("", r.err);
    r = runTool({"help", "set-settings"});
    EXPECT_EQ(0, r.exitCode) << r.err;
    EXPECT_EQ(0u, r.at("usage: set-settings GROUP KEY=VALUE ..."));
    EXPECT_TRUE(r.has("example:"));
    EXPECT_EQ(0u, runTool({"--version"}).at("rcsconfigctl 1.0.0"));
}

// The written bash completion asks the tool, so bash offers what the
// parser takes: slots after --slot, a wait's kinds, files for a document.
TEST(BadInputTest, Help_BashCompletionOffersWhatTheParserTakesAtTheCursor) {
    TempDir dir;
    const std::string script = dir.write("completion.bash", runTool({"--bash-completion"}).out);
    dir.write("doc.xml", "<x/>");
    const std::string driver =
            "source \"$1\"; cd \"$2\"; shift 2\n"
            "for line in \"$@\"; do\n"
            "  COMP_LINE=$line; COMP_POINT=${#line}; read -ra COMP_WORDS <<< \"$line\"\n"
            "  [[ $line == *' ' ]] && COMP_WORDS+=('')\n"
            "  COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _rcsconfigctl " RCSCONFIGCTL_PATH "\n"
            "  echo \"${COMPREPLY[*]}\"\n"
            "done\n";
    ToolResult r = runProgram("/bin/bash", {"-c", driver, "bash", script, dir.path(), "rcsconfigctl --slot ",
                                            "rcsconfigctl --slot 2 wait ", "rcsconfigctl set-config d",
                                            "rcsconfigctl set-settings presence publish_t"});
    EXPECT_EQ("1 2\nreconfig token-request change\ndoc.xml\npublish_timer=\n", r.out) << r.err;
}

}  // namespace
}  // namespace clitest
