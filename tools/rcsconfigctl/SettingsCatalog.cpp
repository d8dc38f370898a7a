#include "SettingsCatalog.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <map>

#include "ims_settings_service_v01.h"

namespace rcsctl {

namespace V2_0 = ::vendor::kel::ims::rcsconfig::V2_0;
using ::android::hardware::hidl_enum_range;

namespace {

template <typename Enum>
void collectKeyNames(std::map<uint32_t, std::string>* names) {
    for (Enum value : hidl_enum_range<Enum>()) {
        (*names)[static_cast<uint32_t>(value)] = V2_0::toString(value);
    }
}

std::map<uint32_t, std::string> hidlKeyNames() {
    std::map<uint32_t, std::string> names;
    collectKeyNames<V2_0::PresenceConfigKeys>(&names);
    collectKeyNames<V2_0::StandaloneMessagingConfigKeys>(&names);
    collectKeyNames<V2_0::UserAgentStringKeys>(&names);
    collectKeyNames<V2_0::ImsServiceEnableConfigKeys>(&names);
    return names;
}

// Short names for typing; the canonical names stay the HIDL ones.
const char* aliasFor(SettingsId id) {
    switch (id) {
        case SettingsId::PRESENCE_CONFIG: return "presence";
        case SettingsId::STANDALONE_MESSAGING_CONFIG: return "messaging";
        case SettingsId::USER_AGENT_STRING: return "user-agent";
        case SettingsId::IMS_SERVICE_ENABLE_CONFIG: return "ims-service";
    }
    return "";
}

}  // namespace

bool sameName(const std::string& a, const std::string& b) {
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) ==
                      std::tolower(static_cast<unsigned char>(y));
           });
}

bool parseInteger(const std::string& text, int64_t* out) {
    if (text.empty()) return false;
    size_t i = 0;
    bool negative = false;
    if (text[0] == '-' || text[0] == '+') {
        negative = text[0] == '-';
        i = 1;
    }
    int base = 10;
    if (text.size() > i + 1 && text[i] == '0' && (text[i + 1] == 'x' || text[i + 1] == 'X')) {
        base = 16;
        i += 2;
    }
    if (i >= text.size()) return false;
    for (size_t j = i; j < text.size(); ++j) {
        if (!(base == 16 ? std::isxdigit(static_cast<unsigned char>(text[j]))
                         : std::isdigit(static_cast<unsigned char>(text[j])))) {
            return false;
        }
    }
    errno = 0;
    unsigned long long magnitude = std::strtoull(text.c_str() + i, nullptr, base);
    if (errno == ERANGE) return false;
    if (negative) {
        if (magnitude > 9223372036854775808ULL) return false;
        *out = magnitude == 9223372036854775808ULL ? INT64_MIN : -static_cast<int64_t>(magnitude);
    } else {
        if (magnitude > static_cast<unsigned long long>(INT64_MAX)) return false;
        *out = static_cast<int64_t>(magnitude);
    }
    return true;
}

const KeyInfo* GroupInfo::keyByNumber(uint32_t key) const {
    for (const auto& k : keys) {
        if (k.key == key) return &k;
    }
    return nullptr;
}

const KeyInfo* GroupInfo::findKey(const std::string& text) const {
    int64_t number = 0;
    if (parseInteger(text, &number)) {
        return number >= 0 && number <= UINT32_MAX ? keyByNumber(static_cast<uint32_t>(number))
                                                   : nullptr;
    }
    for (const auto& k : keys) {
        if (sameName(k.name, text) || sameName(k.fieldName, text)) return &k;
    }
    return nullptr;
}

SettingsCatalog::SettingsCatalog() {
    const auto names = hidlKeyNames();
    for (size_t g = 0; g < IMSS_SETTINGS_GROUP_COUNT_V01; ++g) {
        const imss_settings_group_v01& table = imss_settings_groups_v01[g];
        GroupInfo group;
        group.id = static_cast<SettingsId>(table.settings_id);
        group.name = V2_0::toString(group.id);
        group.alias = aliasFor(group.id);
        for (size_t f = 0; f < table.field_count; ++f) {
            const imss_settings_field_v01& field = table.fields[f];
            KeyInfo key;
            key.key = field.key;
            auto name = names.find(field.key);
            key.name = name != names.end() ? name->second : std::to_string(field.key);
            key.fieldName = field.field_name;
            switch (field.list) {
                case IMSS_LIST_INT: key.kind = ValueKind::Int; break;
                case IMSS_LIST_BOOL: key.kind = ValueKind::Bool; break;
                case IMSS_LIST_STRING: key.kind = ValueKind::String; break;
            }
            key.maxInt = field.type == IMSS_VALUE_UINT8 ? UINT8_MAX : UINT32_MAX;
            key.capacity = field.capacity;
            group.keys.push_back(key);
        }
        std::sort(group.keys.begin(), group.keys.end(),
                  [](const KeyInfo& a, const KeyInfo& b) { return a.key < b.key; });
        mGroups.push_back(std::move(group));
    }
}

const SettingsCatalog& SettingsCatalog::instance() {
    static const SettingsCatalog catalog;
    return catalog;
}

const GroupInfo* SettingsCatalog::findGroup(const std::string& text) const {
    int64_t number = 0;
    if (parseInteger(text, &number)) {
        for (const auto& g : mGroups) {
            if (static_cast<int64_t>(g.id) == number) return &g;
        }
        return nullptr;
    }
    for (const auto& g : mGroups) {
        if (sameName(g.name, text) || sameName(g.alias, text)) return &g;
    }
    return nullptr;
}

const GroupInfo* SettingsCatalog::group(SettingsId id) const {
    for (const auto& g : mGroups) {
        if (g.id == id) return &g;
    }
    return nullptr;
}

std::string SettingsCatalog::groupNames() const {
    std::string out;
    for (const auto& g : mGroups) {
        if (!out.empty()) out += ", ";
        out += g.alias;
    }
    return out;
}

bool appendValue(const KeyInfo& key, const std::string& text, V2_0::SettingsValues* values,
                 std::string* error) {
    switch (key.kind) {
        case ValueKind::Int: {
            int64_t number = 0;
            if (!parseInteger(text, &number)) {
                *error = "bad value for " + key.name + ": '" + text + "' is not an integer";
                return false;
            }
            if (number < 0 || static_cast<uint64_t>(number) > key.maxInt) {
                *error = "bad value for " + key.name + ": " + text + " is outside 0.." +
                         std::to_string(key.maxInt);
                return false;
            }
            V2_0::KeyValuePairTypeInt pair{key.key, number};
            std::vector<V2_0::KeyValuePairTypeInt> list = values->intData;
            list.push_back(pair);
            values->intData = list;
            return true;
        }
        case ValueKind::Bool: {
            bool value = false;
            if (sameName(text, "true") || sameName(text, "on") || sameName(text, "yes") || text == "1") {
                value = true;
            } else if (sameName(text, "false") || sameName(text, "off") || sameName(text, "no") ||
                       text == "0") {
                value = false;
            } else {
                *error = "bad value for " + key.name + ": '" + text + "' is not true or false (nor on/off, yes/no, 1/0)";
                return false;
            }
            std::vector<V2_0::KeyValuePairTypeBool> list = values->boolData;
            list.push_back(V2_0::KeyValuePairTypeBool{key.key, value});
            values->boolData = list;
            return true;
        }
        case ValueKind::String: {
            if (text.size() > key.capacity) {
                *error = "bad value for " + key.name + ": " + std::to_string(text.size()) +
                         " bytes, at most " + std::to_string(key.capacity) + " fit";
                return false;
            }
            V2_0::KeyValuePairTypeString pair;
            pair.key = key.key;
            pair.value = text;
            std::vector<V2_0::KeyValuePairTypeString> list = values->stringData;
            list.push_back(pair);
            values->stringData = list;
            return true;
        }
    }
    *error = "bad value";
    return false;
}

}  // namespace rcsctl
