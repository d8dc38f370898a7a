#include "CommandTable.h"

namespace rcsctl {

namespace {

const OptionRule kTimeout{"--timeout", nullptr, true, ArgKind::Seconds};

}  // namespace

const std::vector<CommandRow>& commandTable() {
    using A = ArgKind;
    static const std::vector<CommandRow> kTable = {
            {"slot", Verb::Slot, {{A::Slot}}, {{"--new", nullptr, false, A::Text}}, true,
             "choose the slot of later commands",
             "Later commands act on the RCS configuration object of this SIM slot.\n"
             "--new  ask the factory for a new object, as a client does after a modem restart\n",
             "slot 2 --new"},
            {"set-config", Verb::SetConfig, {{A::File}}, {{"--gzip", nullptr, false, A::Text}}, true,
             "push an auto-configuration document",
             "FILE    the operator's document (XML); a gzip file is sent as it is, marked compressed\n"
             "--gzip  compress the document before sending it\n"
             "The service sends it to the modem in 2000-byte segments and answers OK or FAIL.\n",
             "set-config tools/rcsconfigctl/sessions/operator-autoconfig.xml --gzip"},
            {"set-settings", Verb::SetSettings, {{A::Group}, {A::Setting, false, true}}, {}, true,
             "write settings of one group",
             "GROUP  presence, messaging, user-agent or ims-service (see: help keys)\n"
             "KEY    the key's name (PUBLISH_TIMER), modem field (publish_timer) or number (100);\n"
             "       each key once\n"
             "VALUE  an integer (decimal or 0x); true or false (also on/off, yes/no, 1/0);\n"
             "       or text, at most the field's bytes; quote text with blanks\n",
             "set-settings presence PUBLISH_TIMER=1200 CAPABILITY_DISCOVERY_ENABLED=true"},
            {"get-settings", Verb::GetSettings, {{A::Group}}, {}, true, "read one group",
             "GROUP  presence, messaging, user-agent or ims-service\n", "get-settings user-agent"},
            {"watch", Verb::Watch, {{A::Group, false, true}}, {{"--count", nullptr, true, A::Count}}, true,
             "print changes of the groups as they come",
             "--count N  end the command after N changes (a script waits for them)\n", "watch presence ims-service"},
            {"unwatch", Verb::Unwatch, {{A::Group, false, true}}, {}, true, "stop watching", "", "unwatch presence"},
            {"set-app-token", Verb::SetAppToken, {{A::Token}}, {}, true, "hand an application token to the modem",
             "", "set-app-token fcm-token-0001"},
            {"token-fetch-status", Verb::TokenFetchStatus, {{A::RequestIdOrLast}, {A::TokenType}, {A::FetchStatus}},
             {}, true, "report how fetching a token went",
             "ID      the request id the modem sent, or last for the last request heard\n"
             "TYPE    UNKNOWN_TOKEN or FCM_TOKEN\n"
             "STATUS  SUCCESS, FAILURE or NETWORK_ERROR\n",
             "token-fetch-status last FCM_TOKEN SUCCESS"},
            {"uce-status", Verb::UceStatus, {}, {{"--mask", nullptr, true, A::Mask}}, true,
             "which capability exchanges are supported",
             "--mask MASK  set the platform's RCS service mask first (as platform-mask does)\n",
             "uce-status --mask 0xd"},
            {"platform-mask", Verb::PlatformMask, {{A::Mask}}, {}, false,
             "set the stand-in platform's RCS service mask",
             "MASK  bits: 0x1 RCS, 0x4 presence, 0x8 options (decimal or 0x)\n", "platform-mask 0x5"},
            {"dump", Verb::Dump, {{A::DumpPart, true}}, {}, false, "the service's state dump",
             "What `lshal debug` prints for the factory; with --json, one structured object.\n"
             "heap  only the heap bytes in use in the service's process\n",
             "dump"},
            {"logcat", Verb::Logcat, {{A::LogFilter, true, true}}, {{"--follow", "-f", false, A::Text}}, false,
             "the service's recent log lines, as logcat prints them",
             "-f, --follow  keep printing new lines until Ctrl-C\n"
             "TAG:P         show TAG from priority P (V D I W E F, S: silent); *:P for the other tags\n",
             "logcat -f HidlTransport:W"},
            {"list-services", Verb::ListServices, {}, {}, false,
             "the services of the registry and their processes", "", "list-services"},
            {"modem restart", Verb::ModemRestart, {}, {}, false, "restart the emulated modem", "", "modem restart"},
            {"modem token-request", Verb::ModemTokenRequest, {{A::TokenType}, {A::Reason}, {A::RequestId, true}},
             {}, true, "let the modem ask for a token",
             "TYPE    UNKNOWN_TOKEN or FCM_TOKEN\n"
             "REASON  UNKNOWN_REASON, TOKEN_EXPIRED or TOKEN_INVALID\n"
             "ID      the request id (default: the modem's next)\n",
             "modem token-request FCM_TOKEN TOKEN_EXPIRED"},
            {"modem show-config", Verb::ModemShowConfig, {}, {}, false, "what the modem received for this slot",
             "", "modem show-config"},
            {"modem control", Verb::ModemControl, {{A::Text, false, true}}, {}, false,
             "any control command of the modem emulator",
             "`modem control help` lists the emulator's controls; their slots count from 1.\n",
             "modem control carrier-config off"},
            {"wait reconfig", Verb::WaitReconfig, {}, {kTimeout}, true,
             "wait until the modem asks for a new configuration",
             "--timeout SECONDS  how long to wait (default: the tool's --timeout)\n",
             "wait reconfig --timeout 30"},
            {"wait token-request", Verb::WaitTokenRequest, {}, {kTimeout}, true,
             "wait until the modem asks for an application token",
             "--timeout SECONDS  how long to wait (default: the tool's --timeout)\n", "wait token-request"},
            {"wait change", Verb::WaitChange, {{A::Group}}, {kTimeout}, true, "wait for a change of a watched group",
             "--timeout SECONDS  how long to wait (default: the tool's --timeout)\n",
             "wait change presence --timeout 30"},
            {"echo", Verb::Echo, {{A::Text, true, true}}, {}, false, "print a line",
             "TEXT  printed as it is; `echo -- --help` prints --help\n", "echo == step 2"},
            {"help", Verb::Help, {{A::HelpTopic, true}}, {}, false,
             "this overview, a command's help, or the keys of the groups",
             "COMMAND  a command (help set-settings) or a group of them (help modem)\n"
             "keys     every key with its number, modem field, type and range\n",
             "help keys presence"},
            {"quit", Verb::Quit, {}, {}, false, "end the session (Ctrl-D also does)",
             "In a script, the lines after it do not run.\n", "quit"},
            {"exit", Verb::Quit, {}, {}, false, "the same as quit", "", "exit"},
    };
    return kTable;
}

const CommandRow* findCommand(const std::string& name) {
    for (const auto& row : commandTable()) {
        if (name == row.name) return &row;
    }
    return nullptr;
}

const CommandRow& commandFor(Verb verb) {
    for (const auto& row : commandTable()) {
        if (row.verb == verb) return row;
    }
    return commandTable().front();  // every verb has a row
}

bool isCommandWord(const std::string& word) {
    for (const auto& row : commandTable()) {
        const std::string name = row.name;
        if (word == name.substr(0, name.find(' '))) return true;
    }
    return false;
}

bool isCommandGroup(const std::string& word) {
    for (const auto& row : commandTable()) {
        if (std::string(row.name).rfind(word + " ", 0) == 0) return true;
    }
    return false;
}

const char* metavar(ArgKind kind) {
    switch (kind) {
        case ArgKind::Slot: return "1|2";
        case ArgKind::File: return "FILE";
        case ArgKind::Group: return "GROUP";
        case ArgKind::Setting: return "KEY=VALUE";
        case ArgKind::Token: return "TOKEN";
        case ArgKind::RequestIdOrLast: return "ID|last";
        case ArgKind::RequestId: return "ID";
        case ArgKind::TokenType: return "TYPE";
        case ArgKind::FetchStatus: return "STATUS";
        case ArgKind::Reason: return "REASON";
        case ArgKind::Mask: return "MASK";
        case ArgKind::Seconds: return "SECONDS";
        case ArgKind::Count: return "N";
        case ArgKind::Text: return "TEXT";
        case ArgKind::HelpTopic: return "COMMAND | keys [GROUP]";
        case ArgKind::DumpPart: return "heap";
        case ArgKind::LogFilter: return "TAG:P";
    }
    return "?";
}

std::string synopsis(const CommandRow& row) {
    std::string out;
    auto add = [&out](const std::string& part) { out += (out.empty() ? "" : " ") + part; };
    // Options that take no value read best first (logcat -f TAG:P).
    for (const auto& o : row.options) {
        if (o.hasValue || o.alias == nullptr) continue;
        add(std::string("[") + o.alias + "|" + o.name + "]");
    }
    for (const auto& a : row.args) {
        std::string part = metavar(a.kind);
        if (a.repeated) part += " ...";
        add(a.optional ? "[" + part + "]" : part);
    }
    for (const auto& o : row.options) {
        if (!o.hasValue && o.alias != nullptr) continue;
        add(std::string("[") + o.name + (o.hasValue ? std::string(" ") + metavar(o.value) : "") + "]");
    }
    return out;
}

}  // namespace rcsctl
