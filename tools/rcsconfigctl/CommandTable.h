/*
 * CommandTable: every command of rcsconfigctl as data - its words, the kind
 * of each argument, its options and its help. The parser (Command.cpp), the
 * help and manual page (HelpText.cpp) and both completions (Completion.cpp)
 * read this one table, so a command, an argument or an option added here is
 * parsed, documented and completed alike, and none of them can drift.
 *
 * A command is one word ("slot") or a group word and a subcommand
 * ("modem restart", "wait change"); `help GROUP` shows the group's commands.
 */
#ifndef RCSCONFIGCTL_COMMAND_TABLE_H
#define RCSCONFIGCTL_COMMAND_TABLE_H

#include <string>
#include <vector>

namespace rcsctl {

enum class Verb {
    Slot,
    SetConfig,
    SetSettings,
    GetSettings,
    Watch,
    Unwatch,
    SetAppToken,
    TokenFetchStatus,
    UceStatus,
    PlatformMask,
    Dump,
    Logcat,
    ModemRestart,
    ModemTokenRequest,
    ModemShowConfig,
    ModemControl,
    WaitReconfig,
    WaitTokenRequest,
    WaitChange,
    Echo,
    Help,
    ListServices,
    Quit,
};

// What one word of a command (an argument or an option's value) is; each
// kind has one parser and one set of completions.
enum class ArgKind {
    Slot,             // 1|2
    File,             // a path
    Group,            // a settings group
    Setting,          // KEY=VALUE of the command's group
    Token,            // a non-empty application token
    RequestIdOrLast,  // a request id or "last"
    RequestId,        // a 32-bit number
    TokenType,        // TokenType name or number
    FetchStatus,      // StatusCode name or number
    Reason,           // TokenRequestReason name or number
    Mask,             // 0..0xffffffff
    Seconds,          // 1..3600
    Count,            // 1..1000000
    Text,             // the rest of the line, as typed
    HelpTopic,        // COMMAND | keys [GROUP]
    DumpPart,         // heap
    LogFilter,        // TAG:P
};

struct ArgRule {
    ArgKind kind;
    bool optional = false;
    bool repeated = false;  // only the last argument
};

struct OptionRule {
    const char* name;        // "--gzip"
    const char* alias;       // "-f"; null when none
    bool hasValue;
    ArgKind value;           // the value's kind when hasValue
};

struct CommandRow {
    const char* name;       // "slot", "modem restart"
    Verb verb;
    std::vector<ArgRule> args;
    std::vector<OptionRule> options;
    // Whether it acts on the slot's RCS configuration object; the others
    // only observe the service (or the modem) and create nothing in it.
    bool usesObject;
    const char* summary;    // one line for the overview
    const char* details;    // what the arguments mean, lines of text (may be empty)
    const char* example;    // one command line as a user types it
};

// Every command, in the order the overview lists them. Any thread.
const std::vector<CommandRow>& commandTable();

// The command named `name` ("set-settings", "modem restart"); null if none.
const CommandRow* findCommand(const std::string& name);

// The command that parses to `verb` (the first, for quit and exit).
const CommandRow& commandFor(Verb verb);

// True when `word` is the first word of a command ("slot", "modem").
bool isCommandWord(const std::string& word);

// True when commands are named "`word` SUBCOMMAND" ("modem", "wait").
bool isCommandGroup(const std::string& word);

// The arguments and options as the usage line shows them, e.g.
// "GROUP KEY=VALUE ..." or "1|2 [--new]"; generated from the table.
std::string synopsis(const CommandRow& row);

// The name a kind has in a synopsis ("GROUP", "ID|last").
const char* metavar(ArgKind kind);

}  // namespace rcsctl

#endif  // RCSCONFIGCTL_COMMAND_TABLE_H
