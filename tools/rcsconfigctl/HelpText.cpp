#include "HelpText.h"

#include <algorithm>
#include <cstdio>
#include <sstream>

#include "CommandTable.h"
#include "SettingsCatalog.h"

namespace rcsctl {

namespace {

std::string usageLine(const CommandRow& row) {
    const std::string args = synopsis(row);
    return row.name + (args.empty() ? "" : " " + args);
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
        case ValueKind::Bool: return "true|false (on/off yes/no 1/0)";
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
    for (const auto& doc : commandTable()) {
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
    const CommandRow* doc = findCommand(name);
    if (doc == nullptr && topic.size() == 1 && isCommandGroup(name)) {
        // The group's commands together ("help modem").
        std::string out;
        for (const auto& d : commandTable()) {
            if (std::string(d.name).rfind(name + " ", 0) == 0) {
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
    for (const auto& doc : commandTable()) {
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

}  // namespace rcsctl
