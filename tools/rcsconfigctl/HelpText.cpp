#include "HelpText.h"

#include <algorithm>
#include <cstdio>

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

std::string manPage(const std::string& usage, const std::string& version) {
    std::string out = ".TH RCSCONFIGCTL 1 \"\" \"rcsconfigctl " + roff(version) +
                      "\" \"User Commands\"\n"
                      ".SH NAME\nrcsconfigctl \\- drive the RCS configuration HAL service as a client\n"
                      ".SH SYNOPSIS\n.nf\n" +
                      roff(usage.substr(0, usage.find("options:"))) + ".fi\n.SH OPTIONS\n.nf\n" +
                      roff(usage.substr(usage.find("options:") + 9)) + ".fi\n.SH COMMANDS\n";
    for (const auto& doc : commandTable()) {
        out += ".TP\n.B " + roff(usageLine(doc)) + "\n" + roff(doc.summary) + "\n";
        if (*doc.details != '\0') out += ".br\n.nf\n" + roff(doc.details) + ".fi\n";
        out += ".br\nExample: \\fB" + roff(doc.example) + "\\fR\n";
    }
    std::string keys, unused;
    keysHelp("", &keys, &unused);
    out += ".SH KEYS\n.nf\n" + roff(keys) + ".fi\n";
    return out;
}

}  // namespace rcsctl
