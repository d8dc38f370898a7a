#include "ims_settings_service_v01.h"

#include <iterator>

namespace {

constexpr uint32_t kNone = MCX_MSG_LEN_NONE;

const mcx_msg_desc_type kImssMessages[] = {
    // id                                      request  response  indication
    {IMSS_GET_SUPPORTED_MSGS_V01,              0,       8208,     kNone, "GET_SUPPORTED_MSGS"},
    {IMSS_CONFIG_IND_REGISTER_V01,             72,      8,        kNone, "CONFIG_IND_REGISTER"},
    {IMSS_SET_PRESENCE_CONFIG_V01,             208,     16,       kNone, "SET_PRESENCE_CONFIG"},
    {IMSS_GET_PRESENCE_CONFIG_V01,             1,       224,      kNone, "GET_PRESENCE_CONFIG"},
    {IMSS_PRESENCE_CONFIG_IND_V01,             kNone,   kNone,    208,   "PRESENCE_CONFIG_IND"},
    {IMSS_SET_STANDALONE_MSG_CONFIG_V01,       577,     16,       kNone, "SET_STANDALONE_MSG_CONFIG"},
    {IMSS_GET_STANDALONE_MSG_CONFIG_V01,       1,       596,      kNone, "GET_STANDALONE_MSG_CONFIG"},
    {IMSS_STANDALONE_MSG_CONFIG_IND_V01,       kNone,   kNone,    577,   "STANDALONE_MSG_CONFIG_IND"},
    {IMSS_SET_USER_AGENT_CONFIG_V01,           1024,    16,       kNone, "SET_USER_AGENT_CONFIG"},
    {IMSS_GET_USER_AGENT_CONFIG_V01,           1,       1044,     kNone, "GET_USER_AGENT_CONFIG"},
    {IMSS_USER_AGENT_CONFIG_IND_V01,           kNone,   kNone,    1024,  "USER_AGENT_CONFIG_IND"},
    {IMSS_SET_IMS_SERVICE_ENABLE_CONFIG_V01,   104,     16,       kNone, "SET_IMS_SERVICE_ENABLE_CONFIG"},
    {IMSS_GET_IMS_SERVICE_ENABLE_CONFIG_V01,   1,       120,      kNone, "GET_IMS_SERVICE_ENABLE_CONFIG"},
    {IMSS_IMS_SERVICE_ENABLE_CONFIG_IND_V01,   kNone,   kNone,    104,   "IMS_SERVICE_ENABLE_CONFIG_IND"},
    {IMSS_BIND_SUBSCRIPTION_V01,               4,       16,       kNone, "BIND_SUBSCRIPTION"},
    {IMSS_SET_NEW_CARRIER_CONFIG_V01,          2008,    16,       kNone, "SET_NEW_CARRIER_CONFIG"},
    {IMSS_CARRIER_CONFIG_STATUS_IND_V01,       kNone,   kNone,    8,     "CARRIER_CONFIG_STATUS_IND"},
    {IMSS_SET_ACS_TOKEN_V01,                   528,     8,        kNone, "SET_ACS_TOKEN"},
    {IMSS_UPDATE_ACS_TOKEN_STATUS_V01,         16,      8,        kNone, "UPDATE_ACS_TOKEN_STATUS"},
};

mcx_idl_service_object gImssService = {
    IMSS_SERVICE_ID_V01,     IMSS_IDL_MAJOR_VERS_V01, IMSS_IDL_MINOR_VERS_V01,
    IMSS_IDL_TOOL_VERS_V01,  "imss",                  kImssMessages,
    std::size(kImssMessages)};

constexpr auto I = IMSS_LIST_INT;
constexpr auto B = IMSS_LIST_BOOL;
constexpr auto S = IMSS_LIST_STRING;
constexpr auto U8 = IMSS_VALUE_UINT8;
constexpr auto U32 = IMSS_VALUE_UINT32;
constexpr auto BOOL = IMSS_VALUE_BOOL;
constexpr auto CHARS = IMSS_VALUE_CHARS;

// Each table lists its fields in the order a read or an indication reports
// them: integers, then booleans, then strings (421 before 420 and 423 before
// 422 in the IMS service enable group are the modem's order, kept on purpose).
const imss_settings_field_v01 kPresenceFields[] = {
    // key  list  field name                        flag  value  type   capacity
    {100, I, "publish_timer",                       0,    4,     U32,   0},
    {101, I, "publish_extended_timer",              8,    12,    U32,   0},
    {102, I, "publish_src_throttle_timer",          16,   20,    U32,   0},
    {103, I, "publish_error_recovery_timer",        24,   28,    U32,   0},
    {104, I, "list_subscription_expiry",            32,   36,    U32,   0},
    {105, I, "capabilites_cache_expiry",            40,   44,    U32,   0},
    {106, I, "availability_cache_expiry",           48,   52,    U32,   0},
    {107, I, "capability_poll_interval",            56,   60,    U32,   0},
    {108, I, "max_enties_in_list_subscribe",        64,   68,    U32,   0},
    {109, B, "capability_discovery_enabled",        72,   73,    BOOL,  0},
    {110, B, "gzip_enabled",                        74,   75,    BOOL,  0},
    {111, S, "presence_service_uri",                76,   77,    CHARS, 128},
};

const imss_settings_field_v01 kStandaloneMessagingFields[] = {
    {300, I, "default_sms_app",                     377,  378,   U8,    0},
    {301, I, "default_vvm_app",                     379,  380,   U8,    0},
    {302, S, "auto_config_user_agent",              0,    1,     CHARS, 128},
    {303, S, "xdm_client_user_agent",               129,  130,   CHARS, 128},
    {304, S, "client_vendor",                       258,  259,   CHARS, 16},
    {305, S, "client_version",                      275,  276,   CHARS, 16},
    {306, S, "terminal_vendor",                     292,  293,   CHARS, 16},
    {307, S, "terminal_model",                      309,  310,   CHARS, 16},
    {308, S, "terminal_sw_version",                 326,  327,   CHARS, 16},
    {309, S, "rcs_version",                         343,  344,   CHARS, 16},
    {310, S, "provisioning_version",                360,  361,   CHARS, 16},
    {311, S, "friendly_device_name",                381,  382,   CHARS, 32},
    {312, S, "rcs_profile",                         414,  415,   CHARS, 16},
    {313, S, "bot_version",                         431,  432,   CHARS, 16},
};

const imss_settings_field_v01 kUserAgentFields[] = {
    {200, S, "ims_user_agent", IMSS_NO_PRESENCE_FLAG, 0,     CHARS, 1024},
};

const imss_settings_field_v01 kImsServiceEnableFields[] = {
    {419, I, "call_mode_preference",                18,   20,    U32,   0},
    {421, I, "service_mask_by_network_enabled",     6,    8,     U32,   0},
    {420, I, "call_mode_roam_preference",           71,   72,    U32,   0},
    {400, B, "volte_enabled",                       0,    1,     BOOL,  0},
    {401, B, "videotelephony_enabled",              2,    3,     BOOL,  0},
    {402, B, "mobile_data_enabled",                 4,    5,     BOOL,  0},
    {403, B, "wifi_calling_enabled",                16,   17,    BOOL,  0},
    {404, B, "wifi_calling_in_roaming_enabled",     24,   25,    BOOL,  0},
    {405, B, "ims_service_enabled",                 47,   48,    BOOL,  0},
    {406, B, "ut_enabled",                          49,   50,    BOOL,  0},
    {407, B, "sms_enabled",                         51,   52,    BOOL,  0},
    {408, B, "dan_enabled",                         53,   54,    BOOL,  0},
    {409, B, "ussd_enabled",                        55,   56,    BOOL,  0},
    {410, B, "mwi_enabled",                         57,   58,    BOOL,  0},
    {411, B, "presence_enabled",                    59,   60,    BOOL,  0},
    {412, B, "autoconfig_enabled",                  61,   62,    BOOL,  0},
    {413, B, "xdm_client_enabled",                  63,   64,    BOOL,  0},
    {414, B, "rcs_messaging_enabled",               65,   66,    BOOL,  0},
    {415, B, "call_mode_pref_roam_enabled",         67,   68,    BOOL,  0},
    {416, B, "rtt_enabled",                         69,   70,    BOOL,  0},
    {417, B, "carrier_config_enabled",              76,   77,    BOOL,  0},
    {423, B, "mmtel_call_composer_config_enabled",  92,   93,    BOOL,  0},
    {422, B, "options_config_enabled",              94,   95,    BOOL,  0},
    {418, S, "wifi_provisioning_id",                26,   27,    CHARS, 20},
};

}  // namespace

extern "C" {

const imss_settings_group_v01 imss_settings_groups_v01[IMSS_SETTINGS_GROUP_COUNT_V01] = {
    // id name                           set id / len                        get id / len / fields at              ind id                                0x2A pair
    {0, "PRESENCE_CONFIG",             IMSS_SET_PRESENCE_CONFIG_V01, 208,  IMSS_GET_PRESENCE_CONFIG_V01, 224, 16,  IMSS_PRESENCE_CONFIG_IND_V01,          10,
     kPresenceFields, std::size(kPresenceFields)},
    {1, "STANDALONE_MESSAGING_CONFIG", IMSS_SET_STANDALONE_MSG_CONFIG_V01, 577, IMSS_GET_STANDALONE_MSG_CONFIG_V01, 596, 16, IMSS_STANDALONE_MSG_CONFIG_IND_V01, 60,
     kStandaloneMessagingFields, std::size(kStandaloneMessagingFields)},
    {2, "USER_AGENT_STRING",           IMSS_SET_USER_AGENT_CONFIG_V01, 1024, IMSS_GET_USER_AGENT_CONFIG_V01, 1044, 20, IMSS_USER_AGENT_CONFIG_IND_V01,     54,
     kUserAgentFields, std::size(kUserAgentFields)},
    {3, "IMS_SERVICE_ENABLE_CONFIG",   IMSS_SET_IMS_SERVICE_ENABLE_CONFIG_V01, 104, IMSS_GET_IMS_SERVICE_ENABLE_CONFIG_V01, 120, 16, IMSS_IMS_SERVICE_ENABLE_CONFIG_IND_V01, 58,
     kImsServiceEnableFields, std::size(kImsServiceEnableFields)},
};

const imss_settings_group_v01* imss_settings_group_by_msg_id(uint32_t msg_id) {
    for (const auto& group : imss_settings_groups_v01) {
        if (group.set_msg_id == msg_id || group.get_msg_id == msg_id || group.ind_msg_id == msg_id) {
            return &group;
        }
    }
    return nullptr;
}

const imss_settings_group_v01* imss_settings_group_by_id(int32_t settings_id) {
    if (settings_id < 0 || static_cast<uint32_t>(settings_id) >= IMSS_SETTINGS_GROUP_COUNT_V01) {
        return nullptr;
    }
    return &imss_settings_groups_v01[settings_id];
}

const imss_settings_field_v01* imss_settings_field(const imss_settings_group_v01* group,
                                                   uint32_t key, imss_value_list_v01 list) {
    if (group == nullptr) return nullptr;
    for (size_t i = 0; i < group->field_count; ++i) {
        if (group->fields[i].key == key && group->fields[i].list == list) return &group->fields[i];
    }
    return nullptr;
}

// A client built for an older minor version of the same major interface can
// use this one; anything else gets no service object.
mcx_idl_service_object_type imss_get_service_object_internal_v01(int32_t idl_maj_version,
                                                                 int32_t idl_min_version,
                                                                 int32_t library_version) {
    if (idl_maj_version != static_cast<int32_t>(IMSS_IDL_MAJOR_VERS_V01) ||
        idl_min_version > static_cast<int32_t>(IMSS_IDL_MINOR_VERS_V01) ||
        library_version != static_cast<int32_t>(IMSS_IDL_TOOL_VERS_V01)) {
        return nullptr;
    }
    return &gImssService;
}

}  // extern "C"
