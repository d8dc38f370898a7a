/*
 * Command: one parsed client command, complete and checked, so that running
 * it can no longer fail for bad input. parseCommand() is the grammar:
 *
 * the words of each command, the kind of each argument and the options come
 * from CommandTable, which the help and the completions read as well.
 * `COMMAND --help` (or -h) anywhere, or right after `echo` and `modem
 * control`, whose other words are text, is `help COMMAND`.
 */
#ifndef RCSCONFIGCTL_COMMAND_H
#define RCSCONFIGCTL_COMMAND_H

#include <cstdint>
#include <string>
#include <vector>

#include "CommandTable.h"
#include "SettingsCatalog.h"

namespace rcsctl {


struct Command {
    Verb verb = Verb::Help;
    std::string name;  // the command as typed, e.g. "set-settings"
    int slot = 0;                      // slot
    std::string path;                  // set-config
    bool gzip = false;                 // set-config --gzip
    bool fresh = false;                // slot --new
    std::vector<const GroupInfo*> groups;  // get/set-settings, watch, unwatch, wait change
    SettingsData settings;             // set-settings
    std::string text;                  // token, echo text, modem control text, dump part
    int32_t requestId = 0;             // token-fetch-status, modem token-request
    bool lastRequestId = false;        // token-fetch-status last
    bool hasRequestId = false;         // modem token-request with an id
    int32_t tokenType = 0;
    int32_t status = 0;                // token-fetch-status
    int32_t reason = 0;                // modem token-request
    bool hasMask = false;              // uce-status --mask, platform-mask
    uint32_t mask = 0;
    int count = 0;                     // watch --count
    int timeoutMs = -1;                // wait --timeout; -1: the session's default
    std::vector<std::string> helpTopic;  // help: the command or "keys [GROUP]" asked about
    bool follow = false;               // logcat -f
    std::vector<std::string> filters;  // logcat TAG:P ...
};

// Parses one command from its words; false with a one-line reason in *error.
bool parseCommand(const std::vector<std::string>& words, Command* out, std::string* error);

// Names of the 2.1 token enumerations, for output.
std::string tokenTypeName(int32_t value);
std::string statusCodeName(int32_t value);
std::string tokenReasonName(int32_t value);

}  // namespace rcsctl

#endif  // RCSCONFIGCTL_COMMAND_H
