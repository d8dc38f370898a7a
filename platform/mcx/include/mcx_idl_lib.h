/*
 * Service objects of the modem messaging interface.
 *
 * A service object names one modem service (its id and interface version) and
 * carries the table of that service's messages: for every message id the
 * lengths of its request, response and indication. The messaging library uses
 * the table to check every length that crosses it, the modem emulator to
 * answer, and the product's message definitions are written against it.
 */
#ifndef MCX_IDL_LIB_H
#define MCX_IDL_LIB_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Length value for a direction a message does not have. */
#define MCX_MSG_LEN_NONE UINT32_MAX

typedef struct {
    uint32_t msg_id;
    uint32_t req_len;   /* MCX_MSG_LEN_NONE for an indication-only message */
    uint32_t resp_len;  /* MCX_MSG_LEN_NONE for an indication-only message */
    uint32_t ind_len;   /* MCX_MSG_LEN_NONE when the message has no indication */
    const char* name;
} mcx_msg_desc_type;

typedef struct mcx_idl_service_object {
    uint32_t service_id;
    uint32_t idl_major_version;
    uint32_t idl_minor_version;
    uint32_t idl_tool_version;
    const char* service_name;
    const mcx_msg_desc_type* msgs;
    size_t msg_count;
} mcx_idl_service_object;

typedef mcx_idl_service_object* mcx_idl_service_object_type;

/* Kind of a buffer handed to mcx_client_message_decode. */
typedef enum {
    MCX_IDL_REQUEST = 0,
    MCX_IDL_RESPONSE = 1,
    MCX_IDL_INDICATION = 2
} mcx_idl_type_of_message_type;

/* The descriptor of msg_id in the service's table, or NULL. */
const mcx_msg_desc_type* mcx_idl_find_msg(const mcx_idl_service_object* svc, uint32_t msg_id);

#ifdef __cplusplus
}
#endif

#endif /* MCX_IDL_LIB_H */
