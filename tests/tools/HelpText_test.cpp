// The command table is the one description of the commands: its examples
// must parse, every command must have help, the overview, `help keys` and the
// man page carry all of it, and completion offers only what the parser takes.
#include <gtest/gtest.h>

#include <unistd.h>

#include "Command.h"
#include "Completion.h"
#include "HelpText.h"
#include "ScriptTokenizer.h"
#include "ToolOptions.h"

namespace rcsctl {
namespace {

Command parsed(const std::string& line) {
    std::vector<std::string> words;
    std::string error;
    Command cmd;
    EXPECT_TRUE(splitWords(line, &words, &error) && parseCommand(words, &cmd, &error)) << line << ": " << error;
    return cmd;
}

TEST(HelpTextTest, EveryExampleParsesAsItsOwnCommandAndRunsFromTheRepositoryRoot_AndEveryCommandHasHelp) {
    for (const CommandRow& row : commandTable()) {
        Command cmd = parsed(row.example);
        EXPECT_EQ(row.verb, cmd.verb) << row.example;
        if (!cmd.path.empty()) {
            EXPECT_EQ(0, access((std::string(SOURCE_DIR) + "/" + cmd.path).c_str(), R_OK)) << row.example;
        }
        std::string text, error;
        ASSERT_TRUE(topicHelp({row.name}, &text, &error)) << row.name;
        EXPECT_NE(text.find(std::string("example:\n  ") + row.example), std::string::npos) << text;
        EXPECT_NE(commandOverview().find(row.summary), std::string::npos) << row.name;
    }
    for (const char* word : {"slot", "set-settings", "modem", "wait", "help"}) EXPECT_TRUE(isCommandWord(word));
    EXPECT_FALSE(isCommandWord("restart"));
}

TEST(HelpTextTest, CommandDashDashHelpIsHelpForThatCommand_TextCommandsOnlyRightAfterTheName) {
    using V = std::vector<std::string>;
    EXPECT_EQ(Verb::Help, parsed("set-settings --help").verb);
    EXPECT_EQ(V{"set-settings"}, parsed("set-settings presence -h").helpTopic);
    EXPECT_EQ((V{"modem", "restart"}), parsed("modem restart --help").helpTopic);
    EXPECT_EQ((V{"modem", "control"}), parsed("modem control --help").helpTopic);
    EXPECT_EQ((V{"wait", "change"}), parsed("wait change presence --help").helpTopic);
    EXPECT_EQ(V{"wait"}, parsed("wait --help").helpTopic);
    EXPECT_EQ(V{"echo"}, parsed("echo --help").helpTopic);
    EXPECT_EQ(V{"help"}, parsed("help --help").helpTopic);
    EXPECT_EQ((V{"keys", "presence"}), parsed("help keys presence").helpTopic);
    EXPECT_EQ(Verb::Help, parsed("echo --help").verb);
    EXPECT_EQ("--help", parsed("echo -- --help").text);
    EXPECT_EQ("a --help", parsed("echo a --help").text);
    EXPECT_EQ("drop-ind imss --help", parsed("modem control drop-ind imss --help").text);
    std::string text, error;
    for (const char* topic : {"wait", "modem"}) {
        ASSERT_TRUE(topicHelp({topic}, &text, &error)) << topic;
        EXPECT_NE(text.find(std::string("usage: ") + topic + " "), std::string::npos) << text;
    }

    std::vector<std::string> words{"help", "no-such-command"};
    Command cmd;
    EXPECT_FALSE(parseCommand(words, &cmd, &error));
    EXPECT_EQ("no help for 'no-such-command' (try: help)", error);
}

TEST(HelpTextTest, KeysListEveryKeyWithFieldTypeAndRange_ManPageCarriesThemAndTheOptions) {
    std::string all, one, error;
    ASSERT_TRUE(keysHelp("", &all, &error));
    for (const GroupInfo& group : SettingsCatalog::instance().groups()) {
        for (const KeyInfo& key : group.keys) {
            EXPECT_NE(all.find(key.name), std::string::npos) << key.name;
            EXPECT_NE(all.find(key.fieldName), std::string::npos) << key.fieldName;
        }
    }
    ASSERT_TRUE(keysHelp("presence", &one, &error));
    EXPECT_NE(one.find("PUBLISH_TIMER"), std::string::npos);
    EXPECT_NE(one.find("integer  0.."), std::string::npos) << one;
    EXPECT_EQ(one.find("IMS_USER_AGENT"), std::string::npos);
    EXPECT_FALSE(keysHelp("nothing", &one, &error));

    std::string man = manPage(usageText(), "1.0.0");
    EXPECT_EQ(0u, man.find(".TH RCSCONFIGCTL 1"));
    EXPECT_NE(man.find("\\-\\-keep\\-going"), std::string::npos);
    EXPECT_NE(man.find("CAPABILITY_DISCOVERY_ENABLED"), std::string::npos);
    EXPECT_NE(man.find(".SH SYNOPSIS\n.nf\nrcsconfigctl [OPTIONS] COMMAND"), std::string::npos) << man;
    for (const char* section : {".SH EXIT STATUS\n", ".SH ENVIRONMENT\n", ".SH FILES\n"}) {
        EXPECT_NE(man.find(section), std::string::npos) << section;
    }
}

// A value the key takes, to finish a KEY= the completion offered.
std::string valueFor(const std::string& group, const std::string& keyEq) {
    const KeyInfo* key = SettingsCatalog::instance().findGroup(group)->findKey(keyEq.substr(0, keyEq.size() - 1));
    return key->kind == ValueKind::Bool ? "true" : key->kind == ValueKind::Int ? "1" : "x";
}

bool parses(const std::vector<std::string>& words) {
    Command cmd;
    std::string error;
    return parseCommand(words, &cmd, &error);
}

// Parses, or only lacks the words that follow.
bool takes(const std::vector<std::string>& words) {
    Command cmd;
    std::string error;
    return parseCommand(words, &cmd, &error) || error.rfind("usage: ", 0) == 0;
}

TEST(CompletionTest, EveryWordOfferedAfterEachCommandIsOneTheParserTakesThere) {
    size_t checked = 0;
    for (const CommandRow& row : commandTable()) {
        std::vector<std::string> words;
        std::string error;
        ASSERT_TRUE(splitWords(row.example, &words, &error));
        for (size_t i = 1; i <= words.size(); ++i) {
            const std::vector<std::string> before(words.begin(), words.begin() + static_cast<long>(i));
            const Completion c = completeCommand(before, "");
            EXPECT_TRUE(c.words.empty() || !c.files);
            for (const std::string& word : c.words) {
                std::string candidate = word;
                if (candidate.back() == '=') candidate += valueFor(words[1], candidate);
                std::vector<std::string> alone = before, withRest;
                alone.push_back(candidate);
                withRest = alone;
                if (i < words.size()) withRest.insert(withRest.end(), words.begin() + static_cast<long>(i) + 1, words.end());
                EXPECT_TRUE(parses(withRest) || takes(alone))
                        << row.name << ": '" << word << "' offered after '" << ::testing::PrintToString(before) << "'";
                ++checked;
            }
        }
        for (const std::string& option : completeCommand(words, "-").words) {
            std::vector<std::string> flag = words, valued = words;
            flag.push_back(option);
            valued.insert(valued.end(), {option, "1"});
            EXPECT_TRUE(parses(flag) || parses(valued)) << row.name << ": option " << option;
            ++checked;
        }
    }
    EXPECT_GT(checked, 150u);
}

TEST(CompletionTest, OffersTheKindThatComesNext_AndOnTheToolsLineSkipsItsOptions) {
    using V = std::vector<std::string>;
    EXPECT_EQ((V{"set-config", "set-settings", "set-app-token"}), completeCommand({}, "set-").words);
    EXPECT_EQ((V{"reconfig", "token-request", "change"}), completeCommand({"wait"}, "").words);
    EXPECT_EQ((V{"1", "2"}), completeCommand({"slot"}, "").words);
    const Completion file = completeCommand({"set-config"}, "");
    EXPECT_TRUE(file.files && file.words.empty());
    EXPECT_EQ((V{"keys"}), completeCommand({"help"}, "k").words);
    EXPECT_EQ((V{"restart"}), completeCommand({"help", "modem"}, "r").words);
    EXPECT_EQ((V{"--gzip", "--help"}), completeCommand({"set-config", "a.xml"}, "--").words);
    // Both names of a key, and not again once given.
    EXPECT_EQ((V{"publish_timer=", "publish_extended_timer=", "publish_src_throttle_timer=",
                 "publish_error_recovery_timer="}),
              completeCommand({"set-settings", "presence", "GZIP_ENABLED=true"}, "publish_").words);
    EXPECT_EQ((V{"PUBLISH_EXTENDED_TIMER="}),
              completeCommand({"set-settings", "presence", "publish_timer=1"}, "PUBLISH_EX").words);
    EXPECT_TRUE(completeCommand({"get-settings", "presence"}, "").words.empty());

    EXPECT_EQ((V{"1", "2"}), completeCommandLine("rcsconfigctl --slot ").words);
    EXPECT_EQ((V{"get-settings"}), completeCommandLine("rcsconfigctl --slot 2 --json get-").words);
    EXPECT_EQ((V{"presence"}), completeCommandLine("rcsconfigctl --service get-settings pre").words);
    EXPECT_EQ((V{"--slot"}), completeCommandLine("rcsconfigctl --sl").words);
    EXPECT_TRUE(completeCommandLine("rcsconfigctl --log ").files);
}

}  // namespace
}  // namespace rcsctl
