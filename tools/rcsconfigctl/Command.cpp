#include "Command.h"

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

// Separates "--name value" options (from `allowed`) from the positional words.
bool splitOptions(const std::vector<std::string>& words, size_t from,
                  const std::vector<std::string>& flags, const std::vector<std::string>& valued,
                  std::vector<std::string>* positional,
                  std::vector<std::pair<std::string, std::string>>* options, std::string* error) {
    for (size_t i = from; i < words.size(); ++i) {
        const std::string& w = words[i];
        if (w.size() > 2 && w.compare(0, 2, "--") == 0) {
            bool isFlag = false, isValued = false;
            for (const auto& f : flags) isFlag = isFlag || f == w;
            for (const auto& v : valued) isValued = isValued || v == w;
            if (isFlag) {
                options->emplace_back(w, "");
            } else if (isValued) {
                if (i + 1 >= words.size()) {
                    *error = "option " + w + " needs a value";
                    return false;
                }
                options->emplace_back(w, words[++i]);
            } else {
                *error = "unknown option '" + w + "' for " + words[0];
                return false;
            }
        } else {
            positional->push_back(w);
        }
    }
    return true;
}

bool arity(const std::string& usage, size_t got, size_t min, size_t max, std::string* error) {
    if (got < min || got > max) {
        *error = "usage: " + usage;
        return false;
    }
    return true;
}

bool parseModem(const std::vector<std::string>& words, Command* out, std::string* error) {
    const std::string sub = words.size() > 1 ? words[1] : "";
    out->name = "modem " + sub;
    if (sub == "restart") {
        out->verb = Verb::ModemRestart;
        return arity("modem restart", words.size(), 2, 2, error);
    }
    if (sub == "show-config") {
        out->verb = Verb::ModemShowConfig;
        return arity("modem show-config", words.size(), 2, 2, error);
    }
    if (sub == "token-request") {
        out->verb = Verb::ModemTokenRequest;
        if (!arity("modem token-request TYPE REASON [REQUEST-ID]", words.size(), 4, 5, error) ||
            !parseEnum<V2_1::TokenType>(words[2], "token type", &out->tokenType, error) ||
            !parseEnum<V2_1::TokenRequestReason>(words[3], "reason", &out->reason, error)) {
            return false;
        }
        out->hasRequestId = words.size() == 5;
        return !out->hasRequestId || parseRequestId(words[4], &out->requestId, error);
    }
    if (sub == "control") {
        out->verb = Verb::ModemControl;
        if (!arity("modem control TEXT ...", words.size(), 3, SIZE_MAX, error)) return false;
        for (size_t i = 2; i < words.size(); ++i) out->text += (i > 2 ? " " : "") + words[i];
        return true;
    }
    *error = "unknown modem command '" + sub + "' (restart, token-request, show-config, control)";
    return false;
}

bool parseWait(const std::vector<std::string>& words, Command* out, std::string* error) {
    std::vector<std::string> pos;
    std::vector<std::pair<std::string, std::string>> opts;
    if (!splitOptions(words, 1, {}, {"--timeout"}, &pos, &opts, error)) return false;
    for (const auto& o : opts) {
        int seconds = 0;
        if (!parsePositive("timeout", o.second, kMaxTimeoutSeconds, &seconds, error)) return false;
        out->timeoutMs = seconds * 1000;
    }
    const std::string what = pos.empty() ? "" : pos[0];
    out->name = "wait " + what;
    if (what == "reconfig" && pos.size() == 1) {
        out->verb = Verb::WaitReconfig;
        return true;
    }
    if (what == "token-request" && pos.size() == 1) {
        out->verb = Verb::WaitTokenRequest;
        return true;
    }
    if (what == "change" && pos.size() == 2) {
        out->verb = Verb::WaitChange;
        out->groups.resize(1);
        return parseGroup(pos[1], &out->groups[0], error);
    }
    *error = "usage: wait reconfig | wait token-request | wait change GROUP [--timeout SECONDS]";
    return false;
}

bool parseSetSettings(const std::vector<std::string>& words, Command* out, std::string* error) {
    out->verb = Verb::SetSettings;
    if (!arity("set-settings GROUP KEY=VALUE ...", words.size(), 3, SIZE_MAX, error)) return false;
    out->groups.resize(1);
    if (!parseGroup(words[1], &out->groups[0], error)) return false;
    const GroupInfo& group = *out->groups[0];
    out->settings.settingsId = group.id;
    for (size_t i = 2; i < words.size(); ++i) {
        size_t eq = words[i].find('=');
        if (eq == std::string::npos || eq == 0) {
            *error = "bad setting '" + words[i] + "': write KEY=VALUE";
            return false;
        }
        const std::string keyText = words[i].substr(0, eq);
        const KeyInfo* key = group.findKey(keyText);
        if (key == nullptr) {
            *error = "unknown key '" + keyText + "' in group " + group.name;
            return false;
        }
        if (!appendValue(*key, words[i].substr(eq + 1), &out->settings.settingsValues, error)) {
            return false;
        }
    }
    return true;
}

}  // namespace

bool parseCommand(const std::vector<std::string>& words, Command* out, std::string* error) {
    *out = Command();
    if (words.empty()) {
        *error = "empty command";
        return false;
    }
    const std::string& verb = words[0];
    out->name = verb;
    const size_t n = words.size();
    // COMMAND --help is `help COMMAND`; echo and modem control pass their
    // words on as text.
    const bool textArguments = verb == "echo" || (verb == "modem" && n > 1 && words[1] == "control");
    if (!textArguments && isCommandWord(verb) && verb != "help") {
        for (size_t i = 1; i < n; ++i) {
            if (words[i] != "--help" && words[i] != "-h") continue;
            out->verb = Verb::Help;
            out->helpTopic = {verb};
            if (verb == "modem" && i > 1 && findCommandDoc("modem " + words[1]) != nullptr) {
                out->helpTopic = {"modem", words[1]};
            }
            return true;
        }
    }
    if (verb == "slot") {
        out->verb = Verb::Slot;
        std::vector<std::string> pos;
        std::vector<std::pair<std::string, std::string>> opts;
        if (!splitOptions(words, 1, {"--new"}, {}, &pos, &opts, error) ||
            !arity("slot 1|2 [--new]", pos.size(), 1, 1, error)) {
            return false;
        }
        out->fresh = !opts.empty();
        return parseSlot(pos[0], &out->slot, error);
    }
    if (verb == "set-config") {
        out->verb = Verb::SetConfig;
        std::vector<std::string> pos;
        std::vector<std::pair<std::string, std::string>> opts;
        if (!splitOptions(words, 1, {"--gzip"}, {}, &pos, &opts, error) ||
            !arity("set-config FILE [--gzip]", pos.size(), 1, 1, error)) {
            return false;
        }
        out->path = pos[0];
        out->gzip = !opts.empty();
        return true;
    }
    if (verb == "set-settings") return parseSetSettings(words, out, error);
    if (verb == "get-settings") {
        out->verb = Verb::GetSettings;
        out->groups.resize(1);
        return arity("get-settings GROUP", n, 2, 2, error) &&
               parseGroup(words[1], &out->groups[0], error);
    }
    if (verb == "watch" || verb == "unwatch") {
        out->verb = verb == "watch" ? Verb::Watch : Verb::Unwatch;
        std::vector<std::string> pos;
        std::vector<std::pair<std::string, std::string>> opts;
        std::vector<std::string> valued;
        if (out->verb == Verb::Watch) valued.push_back("--count");
        if (!splitOptions(words, 1, {}, valued, &pos, &opts, error) ||
            !arity(verb + " GROUP ..." + (out->verb == Verb::Watch ? " [--count N]" : ""),
                   pos.size(), 1, SIZE_MAX, error)) {
            return false;
        }
        for (const auto& o : opts) {
            if (!parsePositive("count", o.second, 1000000, &out->count, error)) return false;
        }
        for (const auto& g : pos) {
            const GroupInfo* group = nullptr;
            if (!parseGroup(g, &group, error)) return false;
            out->groups.push_back(group);
        }
        return true;
    }
    if (verb == "set-app-token") {
        out->verb = Verb::SetAppToken;
        if (!arity("set-app-token TOKEN", n, 2, 2, error)) return false;
        out->text = words[1];
        if (out->text.empty()) {
            *error = "bad token: the token is empty";
            return false;
        }
        return true;
    }
    if (verb == "token-fetch-status") {
        out->verb = Verb::TokenFetchStatus;
        if (!arity("token-fetch-status REQUEST-ID|last TOKEN-TYPE STATUS", n, 4, 4, error)) return false;
        out->lastRequestId = words[1] == "last";
        return (out->lastRequestId || parseRequestId(words[1], &out->requestId, error)) &&
               parseEnum<V2_1::TokenType>(words[2], "token type", &out->tokenType, error) &&
               parseEnum<V2_1::StatusCode>(words[3], "status", &out->status, error);
    }
    if (verb == "uce-status") {
        out->verb = Verb::UceStatus;
        std::vector<std::string> pos;
        std::vector<std::pair<std::string, std::string>> opts;
        if (!splitOptions(words, 1, {}, {"--mask"}, &pos, &opts, error) ||
            !arity("uce-status [--mask MASK]", pos.size(), 0, 0, error)) {
            return false;
        }
        for (const auto& o : opts) {
            out->hasMask = true;
            if (!parseMask(o.second, &out->mask, error)) return false;
        }
        return true;
    }
    if (verb == "platform-mask") {
        out->verb = Verb::PlatformMask;
        out->hasMask = true;
        return arity("platform-mask MASK", n, 2, 2, error) && parseMask(words[1], &out->mask, error);
    }
    if (verb == "dump") {
        out->verb = Verb::Dump;
        if (!arity("dump [heap]", n, 1, 2, error)) return false;
        if (n == 2 && words[1] != "heap") {
            *error = "dump: unknown part '" + words[1] + "' (only 'heap')";
            return false;
        }
        if (n == 2) out->text = words[1];
        return true;
    }
    if (verb == "logcat") {
        out->verb = Verb::Logcat;
        for (size_t i = 1; i < n; ++i) {
            if (words[i] == "-f" || words[i] == "--follow") {
                out->follow = true;
            } else if (!words[i].empty() && words[i][0] == '-') {
                *error = "logcat: unknown option '" + words[i] + "' (only -f, --follow)";
                return false;
            } else {
                out->filters.push_back(words[i]);
            }
        }
        hostlog::TagFilter unused;
        std::string why;
        if (!hostlog::TagFilter::parse(out->filters, &unused, &why)) {
            *error = "logcat: " + why;
            return false;
        }
        return true;
    }
    if (verb == "list-services") {
        out->verb = Verb::ListServices;
        return arity("list-services", n, 1, 1, error);
    }
    if (verb == "modem") return parseModem(words, out, error);
    if (verb == "wait") return parseWait(words, out, error);
    if (verb == "echo") {
        out->verb = Verb::Echo;
        for (size_t i = 1; i < n; ++i) out->text += (i > 1 ? " " : "") + words[i];
        return true;
    }
    if (verb == "help") {
        out->verb = Verb::Help;
        out->helpTopic.assign(words.begin() + 1, words.end());
        std::string unused;
        return topicHelp(out->helpTopic, &unused, error);
    }
    *error = "unknown command '" + verb + "' (try: help)";
    return false;
}

bool isCommandWord(const std::string& word) {
    for (const auto& doc : commandDocs()) {
        std::string name = doc.name;
        if (word == name.substr(0, name.find(' '))) return true;
    }
    return false;
}

std::string tokenTypeName(int32_t value) { return enumName<V2_1::TokenType>(value); }
std::string statusCodeName(int32_t value) { return enumName<V2_1::StatusCode>(value); }
std::string tokenReasonName(int32_t value) { return enumName<V2_1::TokenRequestReason>(value); }

}  // namespace rcsctl
