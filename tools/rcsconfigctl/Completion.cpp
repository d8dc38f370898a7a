#include "Completion.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

#include <vendor/kel/ims/rcsconfig/2.1/types.h>

#include "CommandTable.h"
#include "ScriptTokenizer.h"
#include "SettingsCatalog.h"

namespace rcsctl {

namespace V2_1 = ::vendor::kel::ims::rcsconfig::V2_1;
using ::android::hardware::hidl_enum_range;

namespace {

constexpr int kExitFiles = 3;

// The tool's own options (ToolOptions.cpp) and what their values are.
enum class ToolValue { None, Slot, Factory, File, Number, ServiceName };
struct ToolOption {
    const char* name;
    ToolValue value;
};
const ToolOption kToolOptions[] = {
        {"--slot", ToolValue::Slot},        {"--json", ToolValue::None},
        {"--modem-socket", ToolValue::File}, {"--factory", ToolValue::Factory},
        {"--timeout", ToolValue::Number},   {"--script", ToolValue::File},
        {"--keep-going", ToolValue::None},  {"--log", ToolValue::File},
        {"--verbose", ToolValue::None},     {"--service", ToolValue::ServiceName},
        {"--registry", ToolValue::File},    {"--replay-config", ToolValue::None},
        {"--help", ToolValue::None},        {"--version", ToolValue::None},
        {"-f", ToolValue::File},
};

template <typename Enum>
std::vector<std::string> enumNames() {
    std::vector<std::string> names;
    for (Enum value : hidl_enum_range<Enum>()) names.push_back(V2_1::toString(value));
    return names;
}

std::vector<std::string> groupWords() {
    std::vector<std::string> words;
    for (const auto& g : SettingsCatalog::instance().groups()) words.push_back(g.alias);
    return words;
}

std::vector<std::string> commandWords() {
    std::vector<std::string> words;
    for (const auto& row : commandTable()) {
        std::string name = row.name;
        name = name.substr(0, name.find(' '));
        if (std::find(words.begin(), words.end(), name) == words.end()) words.push_back(name);
    }
    return words;
}

std::vector<std::string> subcommandWords(const std::string& group) {
    std::vector<std::string> words;
    for (const auto& row : commandTable()) {
        const std::string name = row.name;
        if (name.rfind(group + " ", 0) == 0) words.push_back(name.substr(group.size() + 1));
    }
    return words;
}

// KEY= under both names of every key of the group not yet given.
std::vector<std::string> settingWords(const std::string& groupText, const std::vector<std::string>& given) {
    std::vector<std::string> words;
    const GroupInfo* group = SettingsCatalog::instance().findGroup(groupText);
    if (group == nullptr) return words;
    for (const auto& key : group->keys) {
        bool used = false;
        for (const auto& w : given) {
            const size_t eq = w.find('=');
            used = used || (eq != std::string::npos && group->findKey(w.substr(0, eq)) == &key);
        }
        if (used) continue;
        words.push_back(key.name + "=");
        words.push_back(key.fieldName + "=");
    }
    return words;
}

// `help` TOPIC: a command (or group) word, a subcommand, or keys and a group.
std::vector<std::string> helpWords(const std::vector<std::string>& topic) {
    if (topic.empty()) {
        std::vector<std::string> words{"keys"};
        for (const auto& w : commandWords()) words.push_back(w);
        return words;
    }
    if (topic.size() == 1 && topic[0] == "keys") return groupWords();
    if (topic.size() == 1 && isCommandGroup(topic[0])) return subcommandWords(topic[0]);
    return {};
}

Completion kindWords(ArgKind kind, const std::vector<std::string>& args) {
    Completion c;
    switch (kind) {
        case ArgKind::Slot: c.words = {"1", "2"}; break;
        case ArgKind::File: c.files = true; break;
        case ArgKind::Group: c.words = groupWords(); break;
        case ArgKind::Setting: c.words = settingWords(args.empty() ? "" : args[0], args); break;
        case ArgKind::RequestIdOrLast: c.words = {"last"}; break;
        case ArgKind::TokenType: c.words = enumNames<V2_1::TokenType>(); break;
        case ArgKind::FetchStatus: c.words = enumNames<V2_1::StatusCode>(); break;
        case ArgKind::Reason: c.words = enumNames<V2_1::TokenRequestReason>(); break;
        case ArgKind::DumpPart: c.words = {"heap"}; break;
        case ArgKind::HelpTopic: c.words = helpWords(args); break;
        case ArgKind::Token:
        case ArgKind::RequestId:
        case ArgKind::Mask:
        case ArgKind::Seconds:
        case ArgKind::Count:
        case ArgKind::Text:
        case ArgKind::LogFilter:
            break;  // nothing to choose from
    }
    return c;
}

Completion matching(Completion c, const std::string& prefix) {
    std::vector<std::string> words;
    for (const auto& w : c.words) {
        if (w.compare(0, prefix.size(), prefix) == 0) words.push_back(w);
    }
    c.words = words;
    return c;
}

const ToolOption* findToolOption(const std::string& word) {
    for (const auto& o : kToolOptions) {
        if (word == o.name) return &o;
    }
    return nullptr;
}

}  // namespace

Completion completeCommand(const std::vector<std::string>& before, const std::string& prefix) {
    if (before.empty()) return matching(Completion{commandWords()}, prefix);
    const std::string& first = before[0];
    if (!isCommandWord(first)) return {};
    std::string name = first;
    size_t at = 1;
    if (isCommandGroup(first)) {
        if (before.size() == 1) return matching(Completion{subcommandWords(first)}, prefix);
        name += " " + before[1];
        at = 2;
    }
    const CommandRow* row = findCommand(name);
    if (row == nullptr) return {};
    const bool text = !row->args.empty() && row->args.back().kind == ArgKind::Text;
    std::vector<std::string> args;
    for (size_t i = at; i < before.size(); ++i) {
        const OptionRule* option = nullptr;
        for (const auto& o : row->options) {
            if (before[i] == o.name || (o.alias != nullptr && before[i] == o.alias)) option = &o;
        }
        if (option == nullptr || text) {
            args.push_back(before[i]);
        } else if (option->hasValue && i + 1 == before.size()) {
            return matching(kindWords(option->value, {}), prefix);  // the option's value comes here
        } else if (option->hasValue) {
            ++i;
        }
    }
    if (!prefix.empty() && prefix[0] == '-' && !text) {
        Completion c;
        for (const auto& o : row->options) c.words.push_back(o.name);
        c.words.push_back("--help");
        return matching(c, prefix);
    }
    if (row->args.empty()) return {};
    const ArgRule& last = row->args.back();
    if (args.size() >= row->args.size() && !last.repeated && last.kind != ArgKind::HelpTopic) return {};
    const ArgRule& next = last.kind == ArgKind::HelpTopic ? last : row->args[std::min(args.size(), row->args.size() - 1)];
    return matching(kindWords(next.kind, args), prefix);
}

Completion completeCommandLine(const std::string& line) {
    std::vector<std::string> words;
    std::string error;
    if (!splitWords(line, &words, &error)) return {};
    std::string prefix;
    if (!line.empty() && !std::isspace(static_cast<unsigned char>(line.back())) && !words.empty()) {
        prefix = words.back();
        words.pop_back();
    }
    if (!words.empty()) words.erase(words.begin());  // the program
    size_t i = 0;
    for (; i < words.size(); ++i) {
        const ToolOption* option = findToolOption(words[i]);
        if (option == nullptr && !words[i].empty() && words[i][0] == '-') continue;
        if (option == nullptr) break;
        if (option->value == ToolValue::None) continue;
        if (i + 1 == words.size()) {
            // The option's value comes here.
            Completion c;
            if (option->value == ToolValue::Slot) c.words = {"1", "2"};
            if (option->value == ToolValue::Factory) c.words = {"1.0", "1.1"};
            if (option->value == ToolValue::ServiceName) c.words = commandWords();  // the name is optional
            c.files = option->value == ToolValue::File;
            return matching(c, prefix);
        }
        // --service takes the next word as its name unless it is a command.
        if (option->value != ToolValue::ServiceName || !isCommandWord(words[i + 1])) ++i;
    }
    if (i == words.size()) {
        Completion c;
        if (!prefix.empty() && prefix[0] == '-') {
            for (const auto& o : kToolOptions) c.words.push_back(o.name);
        } else {
            c.words = commandWords();
        }
        return matching(c, prefix);
    }
    return completeCommand(std::vector<std::string>(words.begin() + static_cast<long>(i), words.end()), prefix);
}

int printCompletion(const std::string& line) {
    const Completion c = completeCommandLine(line);
    for (const auto& w : c.words) std::printf("%s\n", w.c_str());
    return c.files ? kExitFiles : 0;
}

std::string bashCompletion() {
    return "# bash completion for rcsconfigctl; written by `rcsconfigctl --bash-completion`.\n"
           "# The words come from the tool (`rcsconfigctl --complete LINE`), which offers\n"
           "# what its parser takes at the cursor; status 3 means a file name comes there.\n"
           "_rcsconfigctl() {\n"
           "  local cur=${COMP_WORDS[COMP_CWORD]} words status\n"
           "  words=$(\"$1\" --complete \"${COMP_LINE:0:COMP_POINT}\" 2>/dev/null)\n"
           "  status=$?\n"
           "  COMPREPLY=()\n"
           "  if [ $status -eq 3 ]; then\n"
           "    COMPREPLY=($(compgen -f -- \"$cur\"))\n"
           "  elif [ $status -eq 0 ] && [ -n \"$words\" ]; then\n"
           "    mapfile -t COMPREPLY <<< \"$words\"\n"
           "    [[ $words == *= ]] && compopt -o nospace 2>/dev/null\n"
           "  fi\n"
           "  return 0\n"
           "}\n"
           "complete -F _rcsconfigctl rcsconfigctl\n";
}

}  // namespace rcsctl
