/*
 * Message definitions of the modem's IMS Settings service ("imss").
 *
 * Everything about a message's bytes is stated here once: ids, the lengths in
 * the service's message table (ims_settings_service_v01.cpp), the fixed
 * structures, and for the four settings groups a field table (key, list,
 * presence-flag offset, value offset, type, capacity) that the request
 * converters, the settings client and the modem emulator all read.
 */
#ifndef IMS_SETTINGS_SERVICE_V01_H
#define IMS_SETTINGS_SERVICE_V01_H

#include <stddef.h>
#include <stdint.h>

#include "mcx_idl_lib.h"

#ifdef __cplusplus
extern "C" {
#endif

#define IMSS_SERVICE_ID_V01 0x12u
#define IMSS_IDL_MAJOR_VERS_V01 0x01u
#define IMSS_IDL_MINOR_VERS_V01 0x67u
#define IMSS_IDL_TOOL_VERS_V01 0x06u

/* Message ids. */
#define IMSS_GET_SUPPORTED_MSGS_V01 0x001Eu
#define IMSS_CONFIG_IND_REGISTER_V01 0x002Au
#define IMSS_SET_PRESENCE_CONFIG_V01 0x0069u
#define IMSS_GET_PRESENCE_CONFIG_V01 0x006Au
#define IMSS_PRESENCE_CONFIG_IND_V01 0x006Bu
#define IMSS_SET_STANDALONE_MSG_CONFIG_V01 0x006Cu
#define IMSS_GET_STANDALONE_MSG_CONFIG_V01 0x006Du
#define IMSS_STANDALONE_MSG_CONFIG_IND_V01 0x006Eu
#define IMSS_SET_USER_AGENT_CONFIG_V01 0x0089u
#define IMSS_GET_USER_AGENT_CONFIG_V01 0x008Au
#define IMSS_USER_AGENT_CONFIG_IND_V01 0x008Bu
#define IMSS_SET_IMS_SERVICE_ENABLE_CONFIG_V01 0x008Fu
#define IMSS_GET_IMS_SERVICE_ENABLE_CONFIG_V01 0x0090u
#define IMSS_IMS_SERVICE_ENABLE_CONFIG_IND_V01 0x0091u
#define IMSS_BIND_SUBSCRIPTION_V01 0x0098u
#define IMSS_SET_NEW_CARRIER_CONFIG_V01 0x009Cu
#define IMSS_CARRIER_CONFIG_STATUS_IND_V01 0x009Du
#define IMSS_SET_ACS_TOKEN_V01 0x00A6u
#define IMSS_UPDATE_ACS_TOKEN_STATUS_V01 0x00A7u

#define IMSS_SUPPORTED_MSGS_MAX_V01 8192u
#define IMSS_CARRIER_CONFIG_SEGMENT_MAX_V01 2000u
#define IMSS_ACS_TOKEN_MAX_V01 512u
#define IMSS_ACS_TOKEN_BUF_V01 520u
#define IMSS_CONFIG_IND_REG_LEN_V01 72u

/* Every response starts with this header. */
typedef struct {
    int32_t result;
    int32_t error;
} ims_settings_resp_hdr_v01;

/* 0x1E response: bit (id % 8) of byte (id / 8) is set when message id is supported. */
typedef struct {
    ims_settings_resp_hdr_v01 resp;
    uint8_t supported_msgs_valid;
    uint32_t supported_msgs_len;
    uint8_t supported_msgs[IMSS_SUPPORTED_MSGS_MAX_V01];
} ims_settings_get_supported_msgs_resp_msg_v01;

/* 0x98 */
typedef struct {
    int32_t subscription;
} ims_settings_bind_subscription_req_msg_v01;

typedef struct {
    ims_settings_resp_hdr_v01 resp;
    uint8_t common_resp_valid;
    uint32_t common_resp;
} ims_settings_bind_subscription_resp_msg_v01;

/* 0x2A: byte pairs (valid flag, report flag); a group's pair starts at its
 * ind_reg_offset in imss_settings_groups_v01. */
typedef struct {
    uint8_t reg[IMSS_CONFIG_IND_REG_LEN_V01];
} ims_settings_config_ind_reg_req_msg_v01;

typedef struct {
    ims_settings_resp_hdr_v01 resp;
} ims_settings_config_ind_reg_resp_msg_v01;

/* 0x9C: one segment of a carrier-configuration upload. */
typedef struct {
    uint8_t is_gzipped;
    uint8_t token;
    uint8_t seq_num;
    uint8_t seg_count;
    uint32_t config_len;
    uint8_t config[IMSS_CARRIER_CONFIG_SEGMENT_MAX_V01];
} ims_settings_set_new_carrier_config_req_msg_v01;

typedef struct {
    ims_settings_resp_hdr_v01 resp;
    uint8_t seg_status_valid;
    uint32_t seg_status;
} ims_settings_set_new_carrier_config_resp_msg_v01;

/* 0x9D: outcome of a whole upload; config_status 0 = accepted. */
typedef struct {
    int32_t ref_num;
    int32_t config_status;
} ims_settings_carrier_config_status_ind_msg_v01;

/* Response of the four settings-group writes (0x69, 0x6C, 0x89, 0x8F). */
typedef struct {
    ims_settings_resp_hdr_v01 resp;
    uint8_t reserved[8];
} ims_settings_set_config_resp_msg_v01;

/* Request of the four settings-group reads (0x6A, 0x6D, 0x8A, 0x90). */
typedef struct {
    uint8_t reserved; /* always 0 */
} ims_settings_get_config_req_msg_v01;

/* 0xA6 */
typedef struct {
    int32_t reserved; /* always 0 */
    uint32_t token_len;
    uint8_t token[IMSS_ACS_TOKEN_BUF_V01];
} ims_settings_set_acs_token_req_msg_v01;

typedef struct {
    ims_settings_resp_hdr_v01 resp;
} ims_settings_set_acs_token_resp_msg_v01;

/* 0xA7 */
typedef struct {
    int32_t reserved; /* always 0 */
    int32_t status_code;
    uint8_t request_id_valid;
    int32_t request_id;
} ims_settings_update_acs_token_status_req_msg_v01;

typedef struct {
    ims_settings_resp_hdr_v01 resp;
} ims_settings_update_acs_token_status_resp_msg_v01;

/*
 * Settings groups. Each group's write request, change indication and the
 * field part of its read response share one layout, given by its field table.
 * A read response is: the response header, the response's leading fields
 * (uint8 settings_resp_valid at byte 8, 1 when the fields follow; the other
 * bytes up to get_fields_offset are reserved), then the group's fields at
 * get_fields_offset.
 */
typedef enum {
    IMSS_LIST_INT = 0,  /* HIDL intData */
    IMSS_LIST_BOOL = 1, /* HIDL boolData */
    IMSS_LIST_STRING = 2 /* HIDL stringData */
} imss_value_list_v01;

typedef enum {
    IMSS_VALUE_UINT8 = 0,  /* integer stored as one byte (low 8 bits) */
    IMSS_VALUE_UINT32 = 1, /* integer stored as four bytes (low 32 bits) */
    IMSS_VALUE_BOOL = 2,   /* one byte, 0 or 1 */
    IMSS_VALUE_CHARS = 3   /* zero-filled char array of `capacity` bytes, no terminator when full */
} imss_value_type_v01;

#define IMSS_NO_PRESENCE_FLAG UINT32_MAX

typedef struct {
    uint32_t key;              /* HIDL key number */
    imss_value_list_v01 list;  /* which SettingsValues list carries the key */
    const char* field_name;    /* the modem field's name, as in log lines */
    uint32_t flag_offset;      /* presence flag byte, IMSS_NO_PRESENCE_FLAG if mandatory */
    uint32_t value_offset;
    imss_value_type_v01 type;
    uint32_t capacity;         /* bytes of a CHARS value, 0 otherwise */
} imss_settings_field_v01;

typedef struct {
    uint32_t settings_id;       /* SettingsId 0..3 */
    const char* settings_name;  /* "PRESENCE_CONFIG", ... */
    uint32_t set_msg_id;
    uint32_t set_len;           /* write request = indication = field layout size */
    uint32_t get_msg_id;
    uint32_t get_resp_len;
    uint32_t get_fields_offset; /* where the field layout starts in a read response */
    uint32_t ind_msg_id;
    uint32_t ind_reg_offset;    /* valid flag of the group's 0x2A pair; report flag follows */
    const imss_settings_field_v01* fields; /* in the order a read or an indication reports them */
    size_t field_count;
} imss_settings_group_v01;

#define IMSS_SETTINGS_GROUP_COUNT_V01 4u

extern const imss_settings_group_v01 imss_settings_groups_v01[IMSS_SETTINGS_GROUP_COUNT_V01];

/* The group whose write, read or indication id is msg_id, or NULL. */
const imss_settings_group_v01* imss_settings_group_by_msg_id(uint32_t msg_id);
/* The group with this SettingsId, or NULL. */
const imss_settings_group_v01* imss_settings_group_by_id(int32_t settings_id);
/* The field of a group with this key in this list, or NULL. */
const imss_settings_field_v01* imss_settings_field(const imss_settings_group_v01* group,
                                                   uint32_t key, imss_value_list_v01 list);

/* Service object of the IMS Settings service; callers pass (1, 0x67, 6). */
mcx_idl_service_object_type imss_get_service_object_internal_v01(int32_t idl_maj_version,
                                                                 int32_t idl_min_version,
                                                                 int32_t library_version);

#ifdef __cplusplus
}
#endif

#endif /* IMS_SETTINGS_SERVICE_V01_H */
