/*
 * Command: one parsed client command, complete and checked, so that running
 * it can no longer fail for bad input. parseCommand() is the grammar:
 *
 *   slot 1|2 [--new]                       choose the slot of later commands
 *                                          (--new: a new object for it)
 *   set-config FILE [--gzip]               push an auto-configuration document
 *   set-settings GROUP KEY=VALUE ...       write settings of one group
 *   get-settings GROUP                     read one group
 *   watch GROUP ... [--count N]            print changes of the groups as they come
 *   unwatch GROUP ...                      stop watching
 *   set-app-token TOKEN                    hand an application token to the modem
 *   token-fetch-status ID|last TYPE STATUS report how fetching a token went
 *   uce-status [--mask MASK]               which capability exchanges are supported
 *   platform-mask MASK                     the stand-in platform's RCS service mask
 *   dump [heap]                            the service's state dump, or its process's heap in use
 *   list-services                          what the service registry holds
 *   modem restart                          restart the emulated modem
 *   modem token-request TYPE REASON [ID]   let the modem ask for a token
 *   modem show-config                      what the modem received for this slot
 *   modem control TEXT ...                 any emulator control command
 *   wait reconfig|token-request            wait for the listener's notice
 *   wait change GROUP                      wait for a change of a watched group
 *   echo TEXT ...                          print a line (for readable scripts)
 *   help                                   list the commands
 *
 * `wait` takes --timeout SECONDS; every command that waits has a timeout.
 */
#ifndef RCSCONFIGCTL_COMMAND_H
#define RCSCONFIGCTL_COMMAND_H

#include <cstdint>
#include <string>
#include <vector>

#include "SettingsCatalog.h"

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
};

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
};

// Parses one command from its words; false with a one-line reason in *error.
bool parseCommand(const std::vector<std::string>& words, Command* out, std::string* error);

// True when `word` begins a command (for options that take an optional value).
bool isCommandWord(const std::string& word);

// The command list of `help`.
const char* commandHelp();

// Names of the 2.1 token enumerations, for output.
std::string tokenTypeName(int32_t value);
std::string statusCodeName(int32_t value);
std::string tokenReasonName(int32_t value);

}  // namespace rcsctl

#endif  // RCSCONFIGCTL_COMMAND_H
