/*
 * HelpText: what rcsconfigctl says about its commands - the overview of
 * `help`, `help COMMAND` / `COMMAND --help`, `help keys` and the man page -
 * all written from CommandTable, the same table the parser reads.
 */
#ifndef RCSCONFIGCTL_HELP_TEXT_H
#define RCSCONFIGCTL_HELP_TEXT_H

#include <string>
#include <vector>

namespace rcsctl {

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

}  // namespace rcsctl

#endif  // RCSCONFIGCTL_HELP_TEXT_H
