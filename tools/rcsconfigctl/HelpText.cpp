#include "HelpText.h"

#include <algorithm>
#include <cstdio>
#include <sstream>

#include "ScriptTokenizer.h"
#include "SettingsCatalog.h"

namespace rcsctl {

const std::vector<CommandDoc>& commandDocs() {
    static const std::vector<CommandDoc> kDocs = {
            {"slot", "1|2 [--new]", "choose the slot of later commands",
             "Later commands act on the RCS configuration object of this SIM slot.\n"
             "--new  ask the factory for a new object, as a client does after a modem restart\n",
             "slot 2 --new"},
            {"set-config", "FILE [--gzip]", "push an auto-configuration document",
             "FILE    the operator's document (XML); a gzip file is sent as it is, marked compressed\n"
             "--gzip  compress the document before sending it\n"
             "The service sends it to the modem in 2000-byte segments and answers OK or FAIL.\n",
             "set-config operator-autoconfig.xml --gzip"},
            {"set-settings", "GROUP KEY=VALUE ...", "write settings of one group",
             "GROUP  presence, messaging, user-agent or ims-service (see: help keys)\n"
             "KEY    the key's name (PUBLISH_TIMER), modem field (publish_timer) or number (100)\n"
             "VALUE  an integer (decimal or 0x), true/false, or text; quote text with blanks\n",
             "set-settings presence PUBLISH_TIMER=1200 CAPABILITY_DISCOVERY_ENABLED=true"},
            {"get-settings", "GROUP", "read one group", "GROUP  presence, messaging, user-agent or ims-service\n",
             "get-settings user-agent"},
            {"watch", "GROUP ... [--count N]", "print changes of the groups as they come",
             "--count N  end the command after N changes (a script waits for them)\n", "watch presence ims-service"},
            {"unwatch", "GROUP ...", "stop watching", "", "unwatch presence"},
            {"set-app-token", "TOKEN", "hand an application token to the modem", "", "set-app-token fcm-token-0001"},
            {"token-fetch-status", "ID|last TYPE STATUS", "report how fetching a token went",
             "ID      the request id the modem sent, or last for the last request heard\n"
             "TYPE    UNKNOWN_TOKEN or FCM_TOKEN\n"
             "STATUS  SUCCESS, FAILURE or NETWORK_ERROR\n",
             "token-fetch-status last FCM_TOKEN SUCCESS"},
            {"uce-status", "[--mask MASK]", "which capability exchanges are supported",
             "--mask MASK  set the platform's RCS service mask first (as platform-mask does)\n",
             "uce-status --mask 0xd"},
            {"platform-mask", "MASK", "set the stand-in platform's RCS service mask",
             "MASK  bits: 0x1 RCS, 0x4 presence, 0x8 options (decimal or 0x)\n", "platform-mask 0x5"},
            {"dump", "[heap]", "the service's state dump",
             "Attached (--service), what `lshal debug` prints for the factory.\n"
             "heap  only the heap bytes in use in the service's process\n",
             "dump"},
            {"logcat", "[-f|--follow] [TAG:P ...]", "the service's recent log lines, as logcat prints them",
             "-f, --follow  keep printing new lines until Ctrl-C\n"
             "TAG:P         show TAG from priority P (V D I W E F, S: silent); *:P for the other tags\n",
             "logcat -f HidlTransport:W"},
            {"list-services", "", "the services of the registry and their processes", "", "list-services"},
            {"modem restart", "", "restart the emulated modem", "", "modem restart"},
            {"modem token-request", "TYPE REASON [ID]", "let the modem ask for a token",
             "TYPE    UNKNOWN_TOKEN or FCM_TOKEN\n"
             "REASON  UNKNOWN_REASON, TOKEN_EXPIRED or TOKEN_INVALID\n"
             "ID      the request id (default: the modem's next)\n",
             "modem token-request FCM_TOKEN TOKEN_EXPIRED"},
            {"modem show-config", "", "what the modem received for this slot", "", "modem show-config"},
            {"modem control", "TEXT ...", "any control command of the modem emulator",
             "`modem control help` lists the emulator's controls.\n", "modem control carrier-config off"},
            {"wait", "reconfig | token-request | change GROUP [--timeout SECONDS]", "wait for a notice",
             "reconfig       the modem asks the client to fetch its configuration again\n"
             "token-request  the modem asks for an application token\n"
             "change GROUP   a watched group changed\n"
             "--timeout      how long to wait (default: the tool's --timeout)\n",
             "wait change presence --timeout 30"},
            {"echo", "TEXT ...", "print a line", "", "echo == step 2"},
            {"help", "[COMMAND | keys [GROUP]]", "this overview, a command's help, or the keys of the groups",
             "", "help keys presence"},
    };
    return kDocs;
}

const CommandDoc* findCommandDoc(const std::string& name) {
    for (const auto& doc : commandDocs()) {
        if (name == doc.name) return &doc;
    }
    return nullptr;
}

namespace {

std::string usageLine(const CommandDoc& doc) {
    std::string line = doc.name;
    if (*doc.synopsis != '\0') line += std::string(" ") + doc.synopsis;
    return line;
}

std::string indented(const std::string& lines, const std::string& by) {
    std::string out;
    size_t from = 0;
    while (from < lines.size()) {
        size_t eol = lines.find('\n', from);
        if (eol == std::string::npos) eol = lines.size();
        out += by + lines.substr(from, eol - from) + "\n";
        from = eol + 1;
    }
    return out;
}

const char* kindName(ValueKind kind) {
    switch (kind) {
        case ValueKind::Int: return "integer";
        case ValueKind::Bool: return "boolean";
        case ValueKind::String: return "text";
    }
    return "?";
}

std::string range(const KeyInfo& key) {
    switch (key.kind) {
        case ValueKind::Int: return "0.." + std::to_string(key.maxInt);
        case ValueKind::Bool: return "true|false";
        case ValueKind::String: return "up to " + std::to_string(key.capacity) + " bytes";
    }
    return "";
}

// troff escapes for text set in a man page: backslashes and leading dots.
std::string roff(const std::string& text) {
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\') out += "\\e";
        else if (text[i] == '-') out += "\\-";
        else if ((text[i] == '.' || text[i] == '\'') && (i == 0 || text[i - 1] == '\n')) out += "\\&" + std::string(1, text[i]);
        else out += text[i];
    }
    return out;
}

}  // namespace

std::string commandOverview() {
    std::string out = "commands:\n";
    char line[160];
    for (const auto& doc : commandDocs()) {
        std::string usage = usageLine(doc);
        if (usage.size() > 38) {
            out += "  " + usage + "\n";
            std::snprintf(line, sizeof(line), "  %-38s  %s\n", "", doc.summary);
        } else {
            std::snprintf(line, sizeof(line), "  %-38s  %s\n", usage.c_str(), doc.summary);
        }
        out += line;
    }
    out += "groups: presence, messaging, user-agent, ims-service (or their full names, or 0-3)\n"
           "keys: the key name (PUBLISH_TIMER), the modem field (publish_timer) or the number (100);\n"
           "      help keys [GROUP] lists them\n"
           "help COMMAND (or COMMAND --help) explains one command with an example\n";
    return out;
}

bool keysHelp(const std::string& groupText, std::string* text, std::string* error) {
    const SettingsCatalog& catalog = SettingsCatalog::instance();
    std::vector<const GroupInfo*> groups;
    if (groupText.empty()) {
        for (const auto& g : catalog.groups()) groups.push_back(&g);
    } else if (const GroupInfo* g = catalog.findGroup(groupText)) {
        groups.push_back(g);
    } else {
        *error = "unknown group '" + groupText + "' (groups: " + catalog.groupNames() + ")";
        return false;
    }
    text->clear();
    char line[200];
    for (const GroupInfo* g : groups) {
        if (!text->empty()) *text += "\n";
        *text += g->name + " (" + g->alias + ", " + std::to_string(static_cast<uint32_t>(g->id)) + ")\n";
        std::snprintf(line, sizeof(line), "  %-34s %5s  %-34s %-8s %s\n", "key", "no.", "modem field", "type",
                      "range");
        *text += line;
        for (const KeyInfo& k : g->keys) {
            std::snprintf(line, sizeof(line), "  %-34s %5u  %-34s %-8s %s\n", k.name.c_str(), k.key,
                          k.fieldName.c_str(), kindName(k.kind), range(k).c_str());
            *text += line;
        }
    }
    return true;
}

bool topicHelp(const std::vector<std::string>& topic, std::string* text, std::string* error) {
    if (topic.empty()) {
        *text = commandOverview();
        return true;
    }
    if (topic[0] == "keys" && topic.size() <= 2) return keysHelp(topic.size() == 2 ? topic[1] : "", text, error);
    std::string name = topic[0];
    for (size_t i = 1; i < topic.size(); ++i) name += " " + topic[i];
    const CommandDoc* doc = findCommandDoc(name);
    if (doc == nullptr && name == "modem") {
        // The modem's commands together.
        std::string out;
        for (const auto& d : commandDocs()) {
            if (std::string(d.name).rfind("modem ", 0) == 0) {
                std::string one;
                topicHelp({d.name}, &one, error);
                out += (out.empty() ? "" : "\n") + one;
            }
        }
        *text = out;
        return true;
    }
    if (doc == nullptr) {
        *error = "no help for '" + name + "' (try: help)";
        return false;
    }
    *text = "usage: " + usageLine(*doc) + "\n" + doc->summary + "\n";
    if (*doc->details != '\0') *text += indented(doc->details, "  ");
    *text += "example:\n  " + std::string(doc->example) + "\n";
    return true;
}

namespace {

std::vector<std::string> groupWords() {
    std::vector<std::string> words;
    for (const auto& g : SettingsCatalog::instance().groups()) words.push_back(g.alias);
    return words;
}

}  // namespace

std::vector<std::string> completeWord(const std::string& line, const std::string& prefix) {
    std::vector<std::string> words;
    std::string error;
    splitWords(line, &words, &error);
    std::vector<std::string> candidates;
    const std::string first = words.empty() ? "" : words[0];
    if (words.empty()) {
        for (const auto& doc : commandDocs()) {
            std::string name = doc.name;
            name = name.substr(0, name.find(' '));
            if (std::find(candidates.begin(), candidates.end(), name) == candidates.end()) candidates.push_back(name);
        }
    } else if (first == "modem" && words.size() == 1) {
        for (const auto& doc : commandDocs()) {
            std::string name = doc.name;
            if (name.rfind("modem ", 0) == 0) candidates.push_back(name.substr(6));
        }
    } else if (first == "help") {
        if (words.size() == 1) {
            candidates.push_back("keys");
            for (const auto& doc : commandDocs()) candidates.push_back(doc.name);
        } else if (words.size() == 2 && words[1] == "keys") {
            candidates = groupWords();
        }
    } else if (first == "wait") {
        if (words.size() == 1) candidates = {"reconfig", "token-request", "change"};
        else if (words.size() == 2 && words[1] == "change") candidates = groupWords();
    } else if (first == "set-settings" && words.size() >= 2) {
        if (const GroupInfo* group = SettingsCatalog::instance().findGroup(words[1])) {
            for (const auto& key : group->keys) candidates.push_back(key.name + "=");
        }
    } else if (first == "get-settings" || first == "set-settings" || first == "watch" || first == "unwatch") {
        if (words.size() == 1 || first == "watch" || first == "unwatch") candidates = groupWords();
    }
    std::vector<std::string> matches;
    for (const auto& c : candidates) {
        if (c.compare(0, prefix.size(), prefix) == 0) matches.push_back(c);
    }
    return matches;
}

namespace {

// The parts of the usage text as a man page has them: the command lines
// without "usage: " (SYNOPSIS), the sentences under them (DESCRIPTION), and
// the options up to the exit status line.
struct UsageParts {
    std::string synopsis, description, options;
};

UsageParts splitUsage(const std::string& usage) {
    UsageParts parts;
    const size_t optionsAt = usage.find("options:\n");
    std::istringstream head(usage.substr(0, optionsAt));
    for (std::string line; std::getline(head, line);) {
        const size_t command = line.find("rcsconfigctl ");
        const bool commandLine = line.rfind("usage: ", 0) == 0 || line.find_first_not_of(' ') == command;
        (commandLine ? parts.synopsis : parts.description) += (commandLine ? line.substr(command) : line) + "\n";
    }
    if (optionsAt != std::string::npos) {
        const size_t from = optionsAt + 9;
        parts.options = usage.substr(from, usage.find("exit status:", from) - from);
    }
    return parts;
}

}  // namespace

std::string manPage(const std::string& usage, const std::string& version) {
    const UsageParts parts = splitUsage(usage);
    std::string out = ".TH RCSCONFIGCTL 1 \"\" \"rcsconfigctl " + roff(version) +
                      "\" \"User Commands\"\n"
                      ".SH NAME\nrcsconfigctl \\- drive the RCS configuration HAL service as a client\n"
                      ".SH SYNOPSIS\n.nf\n" + roff(parts.synopsis) + ".fi\n"
                      ".SH DESCRIPTION\n" + roff(parts.description) +
                      ".SH OPTIONS\n.nf\n" + roff(parts.options) + ".fi\n.SH COMMANDS\n";
    for (const auto& doc : commandDocs()) {
        out += ".TP\n.B " + roff(usageLine(doc)) + "\n" + roff(doc.summary) + "\n";
        if (*doc.details != '\0') out += ".br\n.nf\n" + roff(doc.details) + ".fi\n";
        out += ".br\nExample: \\fB" + roff(doc.example) + "\\fR\n";
    }
    std::string keys, unused;
    keysHelp("", &keys, &unused);
    out += ".SH KEYS\n.nf\n" + roff(keys) + ".fi\n";
    // A tagged paragraph of the sections below.
    auto item = [](const std::string& tag, const std::string& text) {
        return ".TP\n.B " + roff(tag) + "\n" + roff(text) + "\n";
    };
    out += ".SH EXIT STATUS\n" + item("0", "Every command succeeded.") +
           item("1", "A command failed or timed out, or the service could not be reached.") +
           item("2", "Bad input: an unknown option, command, name or value (one line on stderr names it).") +
           item("128 + the signal",
                "A command that Ctrl-C or SIGTERM ended (a watch, a wait, logcat -f); 130 for Ctrl-C.");
    out += ".SH ENVIRONMENT\n" +
           item("ANDROID_LOG_TAGS", "Filters the service's log lines as liblog does, e.g. '*:S RcsConfig:I'.") +
           item("ANDROID_PRINTF_LOG",
                "The layout of the log lines: threadtime (the default), brief, time, tag, thread, process, raw "
                "or long.") +
           item("IMSRCS_HIDL_REGISTRY", "The service registry folder when --registry is not given.") +
           item("XDG_RUNTIME_DIR",
                "Without IMSRCS_HIDL_REGISTRY, the registry is its imsrcs-hidl folder, else "
                "/tmp/imsrcs-hidl-<uid>.") +
           item("HOME", "Where the interactive session keeps its history.");
    out += ".SH FILES\n" + item("~/.rcsconfigctl_history", "The lines typed in interactive sessions.") +
           item("$XDG_RUNTIME_DIR/imsrcs-hidl/",
                "The service registry: a socket per serving process and an entry per service, this user's "
                "only.") +
           item("tools/rcsconfigctl/sessions/",
                "In the source tree: the main job's session script and the operator's configuration document "
                "it pushes.");
    out += ".SH SEE ALSO\n" + roff("vendor.kel.ims.rcsconfig-service --help, mcx-modemd --help") + "\n";
    return out;
}

std::string bashCompletion() {
    const SettingsCatalog& catalog = SettingsCatalog::instance();
    std::string commands, modem, groups, keys;
    for (const auto& doc : commandDocs()) {
        std::string name = doc.name;
        if (name.rfind("modem ", 0) == 0) {
            modem += (modem.empty() ? "" : " ") + name.substr(6);
        } else {
            commands += (commands.empty() ? "" : " ") + name;
        }
    }
    commands += " modem";
    for (const auto& g : catalog.groups()) {
        groups += (groups.empty() ? "" : " ") + g.alias;
        for (const auto& k : g.keys) keys += (keys.empty() ? "" : " ") + k.name + "=";
    }
    return "# bash completion for rcsconfigctl; written by `rcsconfigctl --bash-completion`.\n"
           "_rcsconfigctl() {\n"
           "  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]} i cmd=\n"
           "  for ((i = 1; i < COMP_CWORD; i++)); do\n"
           "    case ${COMP_WORDS[i]} in -*) ;; *) cmd=${COMP_WORDS[i]}; break ;; esac\n"
           "  done\n"
           "  case $prev in --script|--log|--registry|--modem-socket) COMPREPLY=($(compgen -f -- \"$cur\")); return ;; esac\n"
           "  if [[ $cur == -* ]]; then\n"
           "    COMPREPLY=($(compgen -W \"--slot --json --modem-socket --factory --timeout --script --keep-going"
           " --log --verbose --service --registry --replay-config --help --version\" -- \"$cur\"))\n"
           "  elif [ -z \"$cmd\" ]; then COMPREPLY=($(compgen -W \"" + commands + "\" -- \"$cur\"))\n"
           "  elif [ \"$cmd\" = modem ]; then COMPREPLY=($(compgen -W \"" + modem + "\" -- \"$cur\"))\n"
           "  elif [ \"$cmd\" = set-settings ] && [ \"$prev\" != set-settings ]; then\n"
           "    COMPREPLY=($(compgen -W \"" + keys + "\" -- \"$cur\")); compopt -o nospace 2>/dev/null\n"
           "  else COMPREPLY=($(compgen -W \"" + groups + " keys\" -- \"$cur\"))\n"
           "  fi\n"
           "}\n"
           "complete -F _rcsconfigctl rcsconfigctl\n";
}

}  // namespace rcsctl
