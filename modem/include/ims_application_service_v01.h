/*
 * Message definitions of the modem's IMS Application service ("imsa").
 * Lengths are in the service's message table (ims_application_service_v01.cpp).
 */
#ifndef IMS_APPLICATION_SERVICE_V01_H
#define IMS_APPLICATION_SERVICE_V01_H

#include <stdint.h>

#include "mcx_idl_lib.h"

#ifdef __cplusplus
extern "C" {
#endif

#define IMSA_SERVICE_ID_V01 0x21u
#define IMSA_IDL_MAJOR_VERS_V01 0x01u
#define IMSA_IDL_MINOR_VERS_V01 0x2Cu
#define IMSA_IDL_TOOL_VERS_V01 0x06u

#define IMSA_IND_REGISTER_V01 0x0022u
#define IMSA_BIND_SUBSCRIPTION_V01 0x0033u
#define IMSA_CONFIG_TOKEN_REQUEST_IND_V01 0x0042u

#define IMSA_IND_REG_PAIR_COUNT_V01 19u
/* Bit n of an indication mask selects byte pair n of the 0x22 request. */
#define CONFIG_TOKEN_REQUEST_MASK 0x40000ul
#define IMSA_CONFIG_TOKEN_REQUEST_PAIR_V01 18u

typedef struct {
    int32_t result;
    int32_t error;
} imsa_resp_hdr_v01;

/* 0x33 */
typedef struct {
    uint32_t subscription_valid; /* always 1 */
    int32_t subscription;
} imsa_bind_subscription_req_msg_v01;

typedef struct {
    imsa_resp_hdr_v01 resp;
} imsa_bind_subscription_resp_msg_v01;

/* 0x22: pair n = (valid flag, report flag) for indication-mask bit n. */
typedef struct {
    uint8_t reg[IMSA_IND_REG_PAIR_COUNT_V01][2];
} imsa_ind_reg_req_msg_v01;

typedef struct {
    imsa_resp_hdr_v01 resp;
} imsa_ind_reg_resp_msg_v01;

/* 0x42 */
typedef struct {
    int32_t token_type;
    int32_t request_reason;
    uint8_t request_id_valid;
    int32_t request_id;
} imsa_config_token_request_ind_msg_v01;

/* Service object of the IMS Application service; callers pass (1, 0x2C, 6). */
mcx_idl_service_object_type imsa_get_service_object_internal_v01(int32_t idl_maj_version,
                                                                 int32_t idl_min_version,
                                                                 int32_t library_version);

#ifdef __cplusplus
}
#endif

#endif /* IMS_APPLICATION_SERVICE_V01_H */
