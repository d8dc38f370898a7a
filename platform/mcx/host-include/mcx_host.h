/*
 * Host-only controls of the modem messaging library; a device build has no
 * such header. They choose how the library reaches the modem and give tests
 * and tools a handle on the modem behind it.
 */
#ifndef MCX_HOST_H
#define MCX_HOST_H

#include <stddef.h>

#include "mcx_client.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef enum {
    MCX_HOST_TRANSPORT_EMBEDDED = 0, /* the modem emulator inside this process (default) */
    MCX_HOST_TRANSPORT_DAEMON = 1    /* the mcx-modemd daemon on a Unix socket */
} mcx_host_transport_type;

/* Chooses the transport. socket_path names the daemon's socket (ignored for
 * the embedded emulator). Only allowed while no handle is open:
 * MCX_ERR_INVALID_ARG otherwise, or for a daemon transport without a path. */
mcx_client_error_type mcx_host_select_transport(mcx_host_transport_type type,
                                                const char* socket_path);

/* Sends one control command (see emulator/ModemControl.h) to the modem behind
 * the current transport and copies its textual answer into reply. Returns 0 if
 * the command was understood and carried out. */
mcx_client_error_type mcx_host_modem_control(const char* command, char* reply, size_t reply_len);

#ifdef __cplusplus
}

namespace mcxemu {
class ModemEmulator;
}

/* The emulator that the embedded transport talks to (created on first use,
 * lives for the whole process). */
mcxemu::ModemEmulator& mcx_host_embedded_modem();
#endif

#endif /* MCX_HOST_H */
