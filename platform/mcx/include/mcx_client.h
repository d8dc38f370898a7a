/*
 * Modem messaging client library: synchronous requests, asynchronous
 * indications and service-up notification towards the modem's services.
 *
 * Contract (what callers may rely on):
 * - Every function returns MCX_NO_ERR (0) on success or one of the negative
 *   codes below.
 * - mcx_client_send_msg_sync blocks for at most timeout_ms (which must not be
 *   0); the request and response lengths must equal those of the message in
 *   the service's table, and a response of another length from the modem is
 *   refused with MCX_ERR_RESP_LENGTH.
 * - Indication, error and notify callbacks run on the library's own threads,
 *   never on the thread that made a call into the library.
 * - A notifier reports MCX_CLIENT_SERVICE_COUNT_INC when its service appears,
 *   and also right after registration if the service is already up.
 * - The error callback of a client fires once when its service goes away.
 * - mcx_client_release stops the handle's callbacks before it returns: none
 *   of them is running or will run afterwards. It must not be called from one
 *   of the handle's own callbacks, nor while holding a lock that those
 *   callbacks take (it waits for a running one to finish).
 * - All callbacks of the process run one at a time, in the order the events
 *   happened, on one library thread.
 */
#ifndef MCX_CLIENT_H
#define MCX_CLIENT_H

#include <stdint.h>

#include "mcx_idl_lib.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef int mcx_client_error_type;

#define MCX_NO_ERR 0
#define MCX_ERR_INTERNAL (-1)         /* library failure (threads, memory, transport set-up) */
#define MCX_ERR_TIMEOUT (-2)          /* no response within the timeout */
#define MCX_ERR_SERVICE_GONE (-3)     /* the service went away (modem restart) */
#define MCX_ERR_INVALID_HANDLE (-4)   /* null, released or unknown handle */
#define MCX_ERR_INVALID_ARG (-5)      /* null pointer or unknown message id */
#define MCX_ERR_REQ_LENGTH (-6)       /* request length differs from the message's */
#define MCX_ERR_RESP_LENGTH (-7)      /* response length differs from the message's */
#define MCX_ERR_NO_SERVICE (-8)       /* the service is not up */
#define MCX_ERR_TRANSPORT (-9)        /* the modem failed the message at transport level */
#define MCX_ERR_MSG_LENGTH (-10)      /* an encoded buffer's length differs from the message's */

/* Returns a constant text naming an error code ("MCX_ERR_TIMEOUT", ...). */
const char* mcx_client_error_name(mcx_client_error_type err);

typedef struct mcx_client_struct mcx_client_struct;
typedef mcx_client_struct* mcx_client_type;

/* OS-specific signalling parameters; zero-filled by callers before use. */
typedef struct {
    int ext_signal;
    int reserved[3];
} mcx_client_os_params;

/* Where a service instance lives; filled by mcx_client_get_any_service. */
typedef struct {
    uint32_t service_id;
    uint32_t instance_id;
    uint32_t reserved[2];
} mcx_service_info;

typedef enum {
    MCX_CLIENT_SERVICE_COUNT_INC = 0, /* a service instance appeared */
    MCX_CLIENT_SERVICE_COUNT_DEC = 1  /* a service instance disappeared */
} mcx_client_notify_event_type;

typedef void (*mcx_client_notify_cb)(mcx_client_type notifier,
                                     mcx_idl_service_object_type service_obj,
                                     mcx_client_notify_event_type service_event,
                                     void* notify_cb_data);

typedef void (*mcx_client_ind_cb)(mcx_client_type handle, unsigned int msg_id, void* ind_buf,
                                  unsigned int ind_buf_len, void* ind_cb_data);

typedef void (*mcx_client_error_cb)(mcx_client_type handle, mcx_client_error_type error,
                                    void* err_cb_data);

/* Creates a notifier handle that watches for service_obj's service. */
mcx_client_error_type mcx_client_notifier_init(mcx_idl_service_object_type service_obj,
                                               mcx_client_os_params* os_params,
                                               mcx_client_type* notifier);

/* Registers the notify callback of a notifier handle (see the contract above). */
mcx_client_error_type mcx_client_register_notify_cb(mcx_client_type notifier,
                                                    mcx_client_notify_cb cb, void* cb_data);

/* Fills info with an instance of the service if it is up; MCX_ERR_NO_SERVICE if not. */
mcx_client_error_type mcx_client_get_any_service(mcx_idl_service_object_type service_obj,
                                                 mcx_service_info* info);

/* Opens a client connection to the service instance in info. ind_cb may be NULL. */
mcx_client_error_type mcx_client_init(mcx_service_info* info,
                                      mcx_idl_service_object_type service_obj,
                                      mcx_client_ind_cb ind_cb, void* ind_cb_data,
                                      mcx_client_os_params* os_params, mcx_client_type* handle);

/* Registers the callback told once when the handle's service goes away. */
mcx_client_error_type mcx_client_register_error_cb(mcx_client_type handle,
                                                   mcx_client_error_cb cb, void* cb_data);

/* Sends one request and waits for its response (see the contract above). */
mcx_client_error_type mcx_client_send_msg_sync(mcx_client_type handle, unsigned int msg_id,
                                               void* req, unsigned int req_len, void* resp,
                                               unsigned int resp_len, unsigned int timeout_ms);

/* Decodes an encoded buffer of the given kind into a message structure. Refuses
 * an encoded buffer whose length is not the message's (MCX_ERR_MSG_LENGTH), a
 * destination smaller than the message or a message id or kind the service's
 * table does not have (MCX_ERR_INVALID_ARG). */
mcx_client_error_type mcx_client_message_decode(mcx_client_type handle,
                                                mcx_idl_type_of_message_type kind,
                                                unsigned int msg_id, const void* buf,
                                                unsigned int buf_len, void* dst,
                                                unsigned int dst_len);

/* Releases a client or notifier handle (see the contract above). */
mcx_client_error_type mcx_client_release(mcx_client_type handle);

#ifdef __cplusplus
}
#endif

#endif /* MCX_CLIENT_H */
