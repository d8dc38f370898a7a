/*
 * Completion: the words that may come next on a command line, for the
 * interactive session (libedit) and for bash, which asks the tool itself
 * (`rcsconfigctl --complete LINE`, what the written bash script runs). Both
 * read CommandTable, so they offer only words the parser takes at that place:
 * subcommands after a group word, the kind of the argument that comes next
 * (groups, the group's keys under both their names, enumeration names),
 * the command's own options after a dash, and file names for a FILE.
 */
#ifndef RCSCONFIGCTL_COMPLETION_H
#define RCSCONFIGCTL_COMPLETION_H

#include <string>
#include <vector>

namespace rcsctl {

struct Completion {
    std::vector<std::string> words;  // the candidates that start with the prefix
    bool files = false;              // a file name comes here: let the shell or editor offer those
};

// What may replace `prefix`, the word being typed, after the command words
// `before` ("set-settings", "presence"). Any thread.
Completion completeCommand(const std::vector<std::string>& before, const std::string& prefix);

// The same for a whole rcsconfigctl command line typed up to the cursor:
// the program, its options, then the command. Any thread.
Completion completeCommandLine(const std::string& line);

// Prints completeCommandLine(line) for the bash script, one word a line;
// the exit status: 0, or 3 when file names come here.
int printCompletion(const std::string& line);

// The bash completion script (it runs `rcsconfigctl --complete`).
std::string bashCompletion();

}  // namespace rcsctl

#endif  // RCSCONFIGCTL_COMPLETION_H
