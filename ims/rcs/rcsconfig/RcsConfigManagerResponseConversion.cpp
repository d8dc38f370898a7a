// Modem read responses and change indications -> the client's settings record.
#include <cstring>
#include <vector>

#include "imsservice/ImsLog.h"
#include "ims_settings_service_v01.h"
#include "rcsconfig/RcsConfigManager.h"
#include "rcsconfig/SettingsFieldReader.h"

namespace {

using ::vendor::kel::ims::rcsconfig::V2_0::ImsServiceEnableConfigKeys;
using ::vendor::kel::ims::rcsconfig::V2_0::KeyValuePairTypeBool;
using ::vendor::kel::ims::rcsconfig::V2_0::KeyValuePairTypeInt;
using ::vendor::kel::ims::rcsconfig::V2_0::KeyValuePairTypeString;
using ::vendor::kel::ims::rcsconfig::V2_0::SettingsData;
using ::vendor::kel::ims::rcsconfig::V2_0::SettingsId;

// The IMS service enable field whose absence is worth a log line: without it
// the modem has not said whether carrier configuration is on.
constexpr uint32_t kCarrierConfigEnabledKey =
        static_cast<uint32_t>(ImsServiceEnableConfigKeys::CARRIER_CONFIG_ENABLED);

// Which bytes a converter reads, and whether a failed response stops it.
enum class Source {
    kResponse,                // header, leading fields, then the group's fields
    kResponseIgnoringHeader,  // the same, converted whatever the header says
    kIndication,              // the group's fields alone
};

// What differs between the converters' log output.
struct FieldReport {
    const char* converter;     // the converter's name, first word of each field line
    const char* entryLine;     // written on entry, or null
    bool entryLineAfterReset;  // written a second time once the record is reset
    bool logsStrings;          // presence appends its string without a line
    void (*onAbsent)(const imss_settings_field_v01& field);  // null: absent fields are silent
};

bool responseFailed(const void* data) {
    ims_settings_resp_hdr_v01 header;
    memcpy(&header, data, sizeof(header));
    return header.result != 0 || header.error != 0;
}

// Appends every present field of the group, in table order, to the list of
// its type and writes the converter's field line for it.
void appendFields(const imss_settings_group_v01& group, const uint8_t* fields,
                  const FieldReport& report, SettingsData* out) {
    SettingsFieldReader reader(fields, group.set_len);
    std::vector<KeyValuePairTypeInt> ints;
    std::vector<KeyValuePairTypeBool> bools;
    std::vector<KeyValuePairTypeString> strings;
    for (size_t i = 0; i < group.field_count; ++i) {
        const imss_settings_field_v01& field = group.fields[i];
        if (!reader.isPresent(field)) {
            if (report.onAbsent != nullptr) report.onAbsent(field);
            continue;
        }
        switch (field.list) {
            case IMSS_LIST_INT: {
                KeyValuePairTypeInt pair{};
                pair.key = field.key;
                pair.value = reader.readInteger(field);
                IMS_LOG("in %s %s %d", report.converter, field.field_name,
                        static_cast<int>(pair.value));
                ints.push_back(pair);
                break;
            }
            case IMSS_LIST_BOOL: {
                KeyValuePairTypeBool pair{};
                pair.key = field.key;
                pair.value = reader.readBool(field);
                IMS_LOG("in %s %s %d", report.converter, field.field_name,
                        static_cast<int>(pair.value));
                bools.push_back(pair);
                break;
            }
            case IMSS_LIST_STRING: {
                KeyValuePairTypeString pair{};
                pair.key = field.key;
                pair.value = reader.readString(field);
                if (report.logsStrings) {
                    IMS_LOG("in %s %s %s", report.converter, field.field_name,
                            pair.value.c_str());
                }
                strings.push_back(pair);
                break;
            }
        }
    }
    out->settingsValues.intData = ints;
    out->settingsValues.boolData = bools;
    out->settingsValues.stringData = strings;
}

// The body shared by all eight converters: reset the record to the group,
// stop on a failed response where the group checks it, then append the
// present fields.
bool convertGroup(SettingsId id, const void* data, SettingsData* out, Source source,
                  const FieldReport& report) {
    if (report.entryLine != nullptr) IMS_LOG("%s", report.entryLine);
    const imss_settings_group_v01* group = imss_settings_group_by_id(static_cast<int32_t>(id));
    if (out == nullptr || data == nullptr || group == nullptr) {
        IMS_LOG("%s has no settings to convert", report.converter);
        return false;
    }
    out->settingsId = id;
    out->settingsValues.intData.resize(0);
    out->settingsValues.boolData.resize(0);
    out->settingsValues.stringData.resize(0);
    if (report.entryLineAfterReset) IMS_LOG("%s", report.entryLine);

    const uint8_t* fields = static_cast<const uint8_t*>(data);
    if (source != Source::kIndication) {
        if (source == Source::kResponse && responseFailed(data)) return false;
        fields += group->get_fields_offset;
    }
    appendFields(*group, fields, report, out);
    return true;
}

void reportImsServiceRespAbsent(const imss_settings_field_v01& field) {
    if (field.key == kCarrierConfigEnabledKey) {
        IMS_LOG("in convertImsServiceConfigRespToHidl carrier_config_enabled not received");
    }
}

void reportImsServiceIndAbsent(const imss_settings_field_v01& field) {
    if (field.key == kCarrierConfigEnabledKey) {
        IMS_LOG("in convertImsServiceConfigIndToHidl carrier_config_enabled not received");
    }
}

// The user agent group is one mandatory array, so a converted record always
// holds exactly one string; its line is written by the converter itself.
const char* userAgentOf(const SettingsData& data) {
    return data.settingsValues.stringData.size() > 0
                   ? data.settingsValues.stringData[0].value.c_str()
                   : "";
}

}  // namespace

bool RcsConfigManager::convertResponseToHidlStruct(int id, void* data, SettingsData* out,
                                                   bool isIndication) {
    IMS_LOG("convertResponseToHidlStruct for request ID %d", id);
    if (id < 0) return false;
    if (isIndication) {
        // The indication converters' own results are not passed on: an
        // indication always produces a record for the client.
        switch (id) {
            case static_cast<int>(SettingsId::PRESENCE_CONFIG):
                convertPresenceConfigIndToHidl(data, out);
                return true;
            case static_cast<int>(SettingsId::STANDALONE_MESSAGING_CONFIG):
                convertSMConfigIndToHidl(data, out);
                return true;
            case static_cast<int>(SettingsId::USER_AGENT_STRING):
                convertUserAgentIndToHidl(data, out);
                return true;
            case static_cast<int>(SettingsId::IMS_SERVICE_ENABLE_CONFIG):
                convertImsServiceConfigIndToHidl(data, out);
                return true;
            default:
                return false;
        }
    }
    switch (id) {
        case IMSS_GET_PRESENCE_CONFIG_V01:
            return convertPresenceConfigRespToHidl(data, out);
        case IMSS_GET_STANDALONE_MSG_CONFIG_V01:
            return convertSMConfigRespToHidl(data, out);
        case IMSS_GET_USER_AGENT_CONFIG_V01:
            return convertUserAgentRespToHidl(data, out);
        case IMSS_GET_IMS_SERVICE_ENABLE_CONFIG_V01:
            // Reported as a success whatever the header said, like its
            // converter, which converts the fields regardless.
            convertImsServiceConfigRespToHidl(data, out);
            return true;
        default:
            return false;
    }
}

bool RcsConfigManager::convertPresenceConfigRespToHidl(void* data, SettingsData* out) {
    const FieldReport report{"convertPresenceConfigRespToHidl", "in convertPresenceConfigRespToHidl",
                             false, false, nullptr};
    return convertGroup(SettingsId::PRESENCE_CONFIG, data, out, Source::kResponse, report);
}

bool RcsConfigManager::convertSMConfigRespToHidl(void* data, SettingsData* out) {
    const FieldReport report{"convertSMConfigRespToHidl", nullptr, false, true, nullptr};
    return convertGroup(SettingsId::STANDALONE_MESSAGING_CONFIG, data, out, Source::kResponse,
                        report);
}

bool RcsConfigManager::convertUserAgentRespToHidl(void* data, SettingsData* out) {
    const FieldReport report{"convertUserAgentRespToHidl", nullptr, false, false, nullptr};
    if (!convertGroup(SettingsId::USER_AGENT_STRING, data, out, Source::kResponse, report)) {
        return false;
    }
    IMS_LOG("in convertUserAgentRespToHidl ims_user_agent %s", userAgentOf(*out));
    return true;
}

// Unlike the other groups, its response is converted even when the header
// reports a failure: whatever fields the modem flagged still reach the client.
bool RcsConfigManager::convertImsServiceConfigRespToHidl(void* data, SettingsData* out) {
    const FieldReport report{"convertImsServiceConfigRespToHidl", nullptr, false, true,
                             &reportImsServiceRespAbsent};
    return convertGroup(SettingsId::IMS_SERVICE_ENABLE_CONFIG, data, out,
                        Source::kResponseIgnoringHeader, report);
}

bool RcsConfigManager::convertPresenceConfigIndToHidl(void* data, SettingsData* out) {
    const FieldReport report{"convertPresenceConfigIndToHidl", "in convertPresenceConfigIndToHidl",
                             true, false, nullptr};
    return convertGroup(SettingsId::PRESENCE_CONFIG, data, out, Source::kIndication, report);
}

bool RcsConfigManager::convertSMConfigIndToHidl(void* data, SettingsData* out) {
    const FieldReport report{"convertSMConfigIndToHidl", "in convertSMConfigIndToHidl", false, true,
                             nullptr};
    return convertGroup(SettingsId::STANDALONE_MESSAGING_CONFIG, data, out, Source::kIndication,
                        report);
}

bool RcsConfigManager::convertUserAgentIndToHidl(void* data, SettingsData* out) {
    const FieldReport report{"convertUserAgentIndToHidl", "in convertUserAgentIndToHidl", false,
                             false, nullptr};
    if (!convertGroup(SettingsId::USER_AGENT_STRING, data, out, Source::kIndication, report)) {
        return false;
    }
    IMS_LOG("in convertUserAgentIndToHidl ims_user_agent %s", userAgentOf(*out));
    return true;
}

bool RcsConfigManager::convertImsServiceConfigIndToHidl(void* data, SettingsData* out) {
    const FieldReport report{"convertImsServiceConfigIndToHidl", "in convertImsServiceConfigIndToHidl ",
                             false, true, &reportImsServiceIndAbsent};
    return convertGroup(SettingsId::IMS_SERVICE_ENABLE_CONFIG, data, out, Source::kIndication,
                        report);
}
