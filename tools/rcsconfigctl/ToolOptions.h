/*
 * ToolOptions: the command line of rcsconfigctl, before the command.
 *
 *   rcsconfigctl [OPTIONS] COMMAND [ARGS...]     one command
 *   rcsconfigctl [OPTIONS] --script FILE|-       commands from a file or stdin
 *
 * `--service [NAME]` attaches to a running service; NAME is taken only when
 * the next word is not a command (`--service=NAME` always works).
 */
#ifndef RCSCONFIGCTL_TOOL_OPTIONS_H
#define RCSCONFIGCTL_TOOL_OPTIONS_H

#include <string>
#include <vector>

namespace rcsctl {

struct ToolOptions {
    int slot = 1;
    bool json = false;
    std::string modemSocket;   // empty: embedded emulator
    bool factory_1_0 = false;
    int timeoutMs = 10000;
    std::string script;        // "-" for stdin
    bool keepGoing = false;    // in a script, go on after a failed command
    std::string logPath;       // where the service's log goes; empty: nowhere
    bool verbose = false;      // the service's log on stderr
    bool attach = false;       // --service: use a running service process
    std::string serviceName = "default";
    std::string registryDir;   // empty: the runtime's default folder
    bool replayConfig = false; // after a service death, push the last documents again
    bool help = false;
    bool version = false;
    bool manPage = false;         // write the manual page
    bool bashCompletion = false;  // write the bash completion script
    std::vector<std::string> command;  // the one command, when no script
};

// Parses argv[1..]; false with a one-line reason in *error. With neither a
// command nor --script, a terminal on standard input means an interactive
// session (script "-").
bool parseToolOptions(const std::vector<std::string>& args, ToolOptions* out, std::string* error,
                      bool stdinIsTerminal = false);

const char* usageText();

// "rcsconfigctl VERSION (HAL versions)".
std::string versionText();

}  // namespace rcsctl

#endif  // RCSCONFIGCTL_TOOL_OPTIONS_H
