// The help text is the one description of the commands: its examples must
// parse, every command word must have help, and the overview, `help keys`,
// the man page and the bash completion must carry all of it.
#include <gtest/gtest.h>

#include "Command.h"
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

TEST(HelpTextTest, EveryExampleParsesAsItsOwnCommand_AndEveryCommandHasHelp) {
    for (const CommandDoc& doc : commandDocs()) {
        Command cmd = parsed(doc.example);
        if (std::string(doc.name) != "help") {
            EXPECT_EQ(0u, cmd.name.rfind(doc.name, 0)) << doc.example << " parses as " << cmd.name;
        }
        std::string text, error;
        ASSERT_TRUE(topicHelp({doc.name}, &text, &error)) << doc.name;
        EXPECT_NE(text.find(std::string("example:\n  ") + doc.example), std::string::npos) << text;
        EXPECT_NE(commandOverview().find(doc.summary), std::string::npos) << doc.name;
        EXPECT_NE(bashCompletion().find(std::string(doc.name).substr(std::string(doc.name).rfind(' ') + 1)),
                  std::string::npos)
                << doc.name;
    }
    for (const char* word : {"slot", "set-settings", "modem", "wait", "help"}) EXPECT_TRUE(isCommandWord(word));
    EXPECT_FALSE(isCommandWord("restart"));
}

TEST(HelpTextTest, CommandDashDashHelpIsHelpForThatCommand_TextCommandsKeepTheWord) {
    EXPECT_EQ(Verb::Help, parsed("set-settings --help").verb);
    EXPECT_EQ(std::vector<std::string>{"set-settings"}, parsed("set-settings presence -h").helpTopic);
    EXPECT_EQ((std::vector<std::string>{"modem", "restart"}), parsed("modem restart --help").helpTopic);
    EXPECT_EQ((std::vector<std::string>{"keys", "presence"}), parsed("help keys presence").helpTopic);
    EXPECT_EQ(Verb::Echo, parsed("echo --help").verb);
    EXPECT_EQ(Verb::ModemControl, parsed("modem control --help").verb);

    std::vector<std::string> words{"help", "no-such-command"};
    Command cmd;
    std::string error;
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

TEST(HelpTextTest, CompletionOffersWhatMayComeNext) {
    using V = std::vector<std::string>;
    EXPECT_EQ((V{"set-config", "set-settings", "set-app-token"}), completeWord("", "set-"));
    EXPECT_EQ((V{"restart"}), completeWord("modem ", "re"));
    EXPECT_EQ((V{"presence"}), completeWord("get-settings ", "pre"));
    EXPECT_EQ((V{"PUBLISH_TIMER=", "PUBLISH_EXTENDED_TIMER=", "PUBLISH_SRC_THROTTLE_TIMER=",
                 "PUBLISH_ERROR_RECOVERY_TIMER="}),
              completeWord("set-settings presence GZIP_ENABLED=true ", "PUBLISH_"));
    EXPECT_EQ((V{"change"}), completeWord("wait ", "ch"));
    EXPECT_EQ((V{"ims-service"}), completeWord("help keys ", "i"));
    EXPECT_TRUE(completeWord("get-settings presence ", "").empty());
}

}  // namespace
}  // namespace rcsctl
