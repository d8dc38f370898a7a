/*
 * HelpText: the one description of rcsconfigctl's commands. The overview of
 * `help`, `help COMMAND` / `COMMAND --help`, `help keys`, the man page and the
 * bash completion are all written from it, so help and docs cannot drift.
 */
#ifndef RCSCONFIGCTL_HELP_TEXT_H
#define RCSCONFIGCTL_HELP_TEXT_H

#include <string>
#include <vector>

namespace rcsctl {

struct CommandDoc {
    const char* name;      // the command word(s), e.g. "set-settings", "modem restart"
    const char* synopsis;  // its arguments, e.g. "GROUP KEY=VALUE ..."
    const char* summary;   // one line for the overview
    const char* details;   // what the arguments mean, lines of text (may be empty)
    const char* example;   // one command line as a user types it
};

// Every command, in the order the overview lists them.
const std::vector<CommandDoc>& commandDocs();

// The command named `name` ("set-settings", "modem", "modem restart", ...);
// null when there is none.
const CommandDoc* findCommandDoc(const std::string& name);

// The overview: one line per command, the group names and how keys are named.
std::string commandOverview();

// What `help TOPIC` prints: a command's usage, details and example, or for
// "keys [GROUP]" every key of the group(s). False with a one-line reason in
// *error when TOPIC names nothing.
bool topicHelp(const std::vector<std::string>& topic, std::string* text, std::string* error);

// Every key of `groupText` (all groups when empty): HIDL name, number, modem
// field, type and range. False when no group has that name.
bool keysHelp(const std::string& groupText, std::string* text, std::string* error);

// The manual page (troff, section 1), with `usage` as its options part.
std::string manPage(const std::string& usage, const std::string& version);

// The words that may complete the word being typed, `prefix`, after `before`
// (the text before it on the line): commands, modem subcommands, help
// topics, wait kinds, groups, and KEY= of the group a set-settings names.
std::vector<std::string> completeWord(const std::string& before, const std::string& prefix);

// A bash completion script for commands, groups, keys and options.
std::string bashCompletion();

}  // namespace rcsctl

#endif  // RCSCONFIGCTL_HELP_TEXT_H
