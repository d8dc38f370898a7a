#include "Command.h"

#include <algorithm>
#include <cctype>

#include <hostlog/TagFilter.h>
#include <vendor/kel/ims/rcsconfig/2.1/types.h>

#include "HelpText.h"

namespace rcsctl {

namespace V2_1 = ::vendor::kel::ims::rcsconfig::V2_1;
using ::android::hardware::hidl_enum_range;

namespace {

constexpr int kMaxTimeoutSeconds = 3600;

template <typename Enum>
bool parseEnum(const std::string& text, const char* what, int32_t* out, std::string* error) {
    for (Enum value : hidl_enum_range<Enum>()) {
        if (sameName(V2_1::toString(value), text)) {
            *out = static_cast<int32_t>(value);
            return true;
        }
    }
    int64_t number = 0;
    if (parseInteger(text, &number) && number >= INT32_MIN && number <= INT32_MAX) {
        *out = static_cast<int32_t>(number);
        return true;
    }
    std::string names;
    for (Enum value : hidl_enum_range<Enum>()) {
        names += (names.empty() ? "" : ", ") + V2_1::toString(value);
    }
    *error = std::string("bad ") + what + " '" + text + "': one of " + names + " or a number";
    return false;
}

template <typename Enum>
std::string enumName(int32_t value) {
    for (Enum e : hidl_enum_range<Enum>()) {
        if (static_cast<int32_t>(e) == value) return V2_1::toString(e);
    }
    return std::to_string(value);
}

bool parseGroup(const std::string& text, const GroupInfo** out, std::string* error) {
    const SettingsCatalog& catalog = SettingsCatalog::instance();
    *out = catalog.findGroup(text);
    if (*out == nullptr) {
        *error = "unknown group '" + text + "' (groups: " + catalog.groupNames() + ")";
        return false;
    }
    return true;
}

bool parseSlot(const std::string& text, int* out, std::string* error) {
    if (text == "1" || text == "2") {
        *out = text[0] - '0';
        return true;
    }
    *error = "bad slot '" + text + "': the slot is 1 or 2";
    return false;
}

bool parseMask(const std::string& text, uint32_t* out, std::string* error) {
    int64_t number = 0;
    if (!parseInteger(text, &number) || number < 0 || number > UINT32_MAX) {
        *error = "bad mask '" + text + "': a number from 0 to 0xffffffff";
        return false;
    }
    *out = static_cast<uint32_t>(number);
    return true;
}

bool parseRequestId(const std::string& text, int32_t* out, std::string* error) {
    int64_t number = 0;
    if (!parseInteger(text, &number) || number < INT32_MIN || number > INT32_MAX) {
        *error = "bad request id '" + text + "': a 32-bit number";
        return false;
    }
    *out = static_cast<int32_t>(number);
    return true;
}

bool parsePositive(const std::string& what, const std::string& text, int max, int* out,
                   std::string* error) {
    int64_t number = 0;
    if (!parseInteger(text, &number) || number < 1 || number > max) {
        *error = "bad " + what + " '" + text + "': a number from 1 to " + std::to_string(max);
        return false;
    }
    *out = static_cast<int>(number);
    return true;
}

// A KEY=VALUE word of set-settings, added to the command's settings. A key
// may be given once, under whichever of its names.
bool parseSetting(const std::string& word, Command* out, std::string* error) {
    const GroupInfo& group = *out->groups[0];
    const size_t eq = word.find('=');
    if (eq == std::string::npos || eq == 0) {
        *error = "bad setting '" + word + "': write KEY=VALUE";
        return false;
    }
    const std::string keyText = word.substr(0, eq);
    const KeyInfo* key = group.findKey(keyText);
    if (key == nullptr) {
        *error = "unknown key '" + keyText + "' in group " + group.name;
        return false;
    }
    const auto& values = out->settings.settingsValues;
    auto given = [key](const auto& list) {
        for (const auto& pair : list) {
            if (pair.key == key->key) return true;
        }
        return false;
    };
    if (given(values.intData) || given(values.boolData) || given(values.stringData)) {
        *error = "key " + key->name + " is given twice (the second time as '" + keyText + "')";
        return false;
    }
    return appendValue(*key, word.substr(eq + 1), &out->settings.settingsValues, error);
}

// One word of the kind `kind` into the command.
bool parseArgument(ArgKind kind, const std::string& word, Command* out, std::string* error) {
    switch (kind) {
        case ArgKind::Slot: return parseSlot(word, &out->slot, error);
        case ArgKind::File: out->path = word; return true;
        case ArgKind::Group: {
            const GroupInfo* group = nullptr;
            if (!parseGroup(word, &group, error)) return false;
            out->groups.push_back(group);
            out->settings.settingsId = out->groups[0]->id;
            return true;
        }
        case ArgKind::Setting: return parseSetting(word, out, error);
        case ArgKind::Token:
            out->text = word;
            if (word.empty()) *error = "bad token: the token is empty";
            return !word.empty();
        case ArgKind::RequestIdOrLast:
            out->lastRequestId = word == "last";
            return out->lastRequestId || parseRequestId(word, &out->requestId, error);
        case ArgKind::RequestId:
            out->hasRequestId = true;
            return parseRequestId(word, &out->requestId, error);
        case ArgKind::TokenType: return parseEnum<V2_1::TokenType>(word, "token type", &out->tokenType, error);
        case ArgKind::FetchStatus: return parseEnum<V2_1::StatusCode>(word, "status", &out->status, error);
        case ArgKind::Reason: return parseEnum<V2_1::TokenRequestReason>(word, "reason", &out->reason, error);
        case ArgKind::Mask:
            out->hasMask = true;
            return parseMask(word, &out->mask, error);
        case ArgKind::Seconds: {
            int seconds = 0;
            if (!parsePositive("timeout", word, kMaxTimeoutSeconds, &seconds, error)) return false;
            out->timeoutMs = seconds * 1000;
            return true;
        }
        case ArgKind::Count: return parsePositive("count", word, 1000000, &out->count, error);
        case ArgKind::DumpPart:
            out->text = word;
            if (word != "heap") *error = "dump: unknown part '" + word + "' (only 'heap')";
            return word == "heap";
        case ArgKind::LogFilter: {
            hostlog::TagFilter unused;
            std::string why;
            if (!hostlog::TagFilter::parse({word}, &unused, &why)) {
                *error = "logcat: " + why;
                return false;
            }
            out->filters.push_back(word);
            return true;
        }
        case ArgKind::Text:
        case ArgKind::HelpTopic:
            break;  // the rest of the line; see parseCommand
    }
    *error = "internal: no parser for an argument";
    return false;
}

bool isHelpWord(const std::string& word) { return word == "--help" || word == "-h"; }

// A word that looks like an option rather than a value (not "-1").
bool looksLikeOption(const std::string& word) {
    return word.size() > 1 && word[0] == '-' && !std::isdigit(static_cast<unsigned char>(word[1]));
}

const OptionRule* findOption(const CommandRow& row, const std::string& word) {
    for (const auto& o : row.options) {
        if (word == o.name || (o.alias != nullptr && word == o.alias)) return &o;
    }
    return nullptr;
}

bool applyOption(const OptionRule& option, const std::string& value, Command* out, std::string* error) {
    if (option.hasValue) return parseArgument(option.value, value, out, error);
    const std::string name = option.name;
    out->fresh = out->fresh || name == "--new";
    out->gzip = out->gzip || name == "--gzip";
    out->follow = out->follow || name == "--follow";
    return true;
}

std::string subcommands(const std::string& group) {
    std::string out;
    for (const auto& row : commandTable()) {
        const std::string name = row.name;
        if (name.rfind(group + " ", 0) == 0) out += (out.empty() ? "" : ", ") + name.substr(group.size() + 1);
    }
    return out;
}

std::vector<std::string> splitName(const std::string& name) {
    const size_t blank = name.find(' ');
    if (blank == std::string::npos) return {name};
    return {name.substr(0, blank), name.substr(blank + 1)};
}

}  // namespace

bool parseCommand(const std::vector<std::string>& words, Command* out, std::string* error) {
    *out = Command();
    if (words.empty()) {
        *error = "empty command";
        return false;
    }
    const std::string& first = words[0];
    const size_t n = words.size();
    out->name = first;
    if (!isCommandWord(first)) {
        *error = "unknown command '" + first + "' (try: help)";
        return false;
    }
    std::string name = first;
    size_t at = 1;
    if (isCommandGroup(first)) {
        if (n > 1 && isHelpWord(words[1])) {
            out->helpTopic = {first};
            return true;
        }
        if (n == 1 || findCommand(first + " " + words[1]) == nullptr) {
            *error = n == 1 ? "usage: " + first + " COMMAND (" + subcommands(first) + ")"
                            : "unknown " + first + " command '" + words[1] + "' (" + subcommands(first) + ")";
            return false;
        }
        name += " " + words[1];
        at = 2;
    }
    const CommandRow& row = *findCommand(name);
    out->verb = row.verb;
    out->name = name;
    // Text takes every word as it is, except --help right after the command.
    const bool text = !row.args.empty() && row.args.back().kind == ArgKind::Text;
    std::vector<std::string> positional;
    bool optionsEnded = false;
    for (size_t i = at; i < n; ++i) {
        const std::string& w = words[i];
        if (isHelpWord(w) && (i == at || (!text && !optionsEnded))) {
            *out = Command();
            out->name = first;
            out->helpTopic = splitName(name);
            return true;
        }
        if (w == "--" && !optionsEnded && (!text || i == at)) {
            optionsEnded = true;
            continue;
        }
        if (text || optionsEnded) {
            positional.push_back(w);
            continue;
        }
        if (const OptionRule* option = findOption(row, w)) {
            if (option->hasValue && i + 1 >= n) {
                *error = "option " + w + " needs a value";
                return false;
            }
            if (!applyOption(*option, option->hasValue ? words[++i] : "", out, error)) return false;
        } else if (looksLikeOption(w)) {
            *error = "unknown option '" + w + "' for " + name;
            return false;
        } else {
            positional.push_back(w);
        }
    }
    size_t min = 0;
    for (const auto& a : row.args) min += a.optional ? 0 : 1;
    const bool rest = !row.args.empty() && (row.args.back().repeated || row.args.back().kind == ArgKind::HelpTopic);
    if (positional.size() < min || (!rest && positional.size() > row.args.size())) {
        const std::string usage = synopsis(row);
        *error = "usage: " + name + (usage.empty() ? "" : " " + usage);
        return false;
    }
    for (size_t p = 0; p < positional.size(); ++p) {
        const ArgKind kind = row.args[std::min(p, row.args.size() - 1)].kind;
        if (kind == ArgKind::Text) {
            for (size_t q = p; q < positional.size(); ++q) out->text += (q > p ? " " : "") + positional[q];
            break;
        }
        if (kind == ArgKind::HelpTopic) {
            out->helpTopic.assign(positional.begin() + static_cast<long>(p), positional.end());
            std::string unused;
            return topicHelp(out->helpTopic, &unused, error);
        }
        if (!parseArgument(kind, positional[p], out, error)) return false;
    }
    return true;
}

std::string tokenTypeName(int32_t value) { return enumName<V2_1::TokenType>(value); }
std::string statusCodeName(int32_t value) { return enumName<V2_1::StatusCode>(value); }
std::string tokenReasonName(int32_t value) { return enumName<V2_1::TokenRequestReason>(value); }

}  // namespace rcsctl
