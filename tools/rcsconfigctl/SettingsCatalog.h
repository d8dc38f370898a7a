/*
 * SettingsCatalog: the names a person types for the four settings groups and
 * their keys, and the kind and limits of each key's value.
 *
 * Nothing here restates the vocabulary: key names come from the HIDL key
 * enumerations (their generated toString), value kinds and string capacities
 * from the modem's field tables (ims_settings_service_v01.h), so the tool
 * cannot drift from either.
 */
#ifndef RCSCONFIGCTL_SETTINGS_CATALOG_H
#define RCSCONFIGCTL_SETTINGS_CATALOG_H

#include <cstdint>
#include <string>
#include <vector>

#include <vendor/kel/ims/rcsconfig/2.0/types.h>

namespace rcsctl {

using ::vendor::kel::ims::rcsconfig::V2_0::SettingsData;
using ::vendor::kel::ims::rcsconfig::V2_0::SettingsId;

enum class ValueKind { Int, Bool, String };

struct KeyInfo {
    uint32_t key = 0;
    std::string name;       // HIDL enumerator, e.g. "PUBLISH_TIMER"
    std::string fieldName;  // modem field, e.g. "publish_timer"
    ValueKind kind = ValueKind::Int;
    uint64_t maxInt = 0;    // largest integer the modem field holds
    size_t capacity = 0;    // bytes of a string field
};

struct GroupInfo {
    SettingsId id = SettingsId::PRESENCE_CONFIG;
    std::string name;   // "PRESENCE_CONFIG", ...
    std::string alias;  // short name for typing, e.g. "presence"
    std::vector<KeyInfo> keys;  // in key order

    // A key by HIDL name or modem field name (any case) or by number; null if none.
    const KeyInfo* findKey(const std::string& text) const;
    const KeyInfo* keyByNumber(uint32_t key) const;
};

class SettingsCatalog {
public:
    // The one catalog, built on first use; any thread.
    static const SettingsCatalog& instance();

    // A group by name (any case), short alias or number; null if none.
    const GroupInfo* findGroup(const std::string& text) const;
    const GroupInfo* group(SettingsId id) const;
    const std::vector<GroupInfo>& groups() const { return mGroups; }

    // The group names as a person would type them, for error messages.
    std::string groupNames() const;

private:
    SettingsCatalog();
    std::vector<GroupInfo> mGroups;
};

// Parses `text` as the value of `key` and appends it to the matching list of
// `values`. False with a one-line reason in *error when the text is not a
// value of that kind or does not fit the modem field.
bool appendValue(const KeyInfo& key, const std::string& text,
                 ::vendor::kel::ims::rcsconfig::V2_0::SettingsValues* values, std::string* error);

// Parses a decimal or 0x-hexadecimal integer, optionally negative; false on
// anything else or overflow.
bool parseInteger(const std::string& text, int64_t* out);

// Case-insensitive comparison of ASCII names.
bool sameName(const std::string& a, const std::string& b);

}  // namespace rcsctl

#endif  // RCSCONFIGCTL_SETTINGS_CATALOG_H
