/*
 * Host-only controls of the modem messaging library; a device build has no
 * such header. The process chooses the modem the library talks to (the
 * library itself knows only the transport interface and its own client of
 * the mcx-modemd socket) and can steer that modem with text commands.
 */
#ifndef MCX_HOST_H
#define MCX_HOST_H

#include <stddef.h>

#include "mcx_client.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Makes the library talk to the mcx-modemd daemon on socket_path from the
 * next handle on. Only allowed while no handle is open: MCX_ERR_INVALID_ARG
 * otherwise, or without a path. */
mcx_client_error_type mcx_host_use_daemon(const char* socket_path);

/* Sends one control command to the modem behind the current transport and
 * copies its textual answer into reply. Returns 0 if the command was
 * understood and carried out; MCX_ERR_NO_SERVICE when no modem is installed. */
mcx_client_error_type mcx_host_modem_control(const char* command, char* reply, size_t reply_len);

#ifdef __cplusplus
}

#include "mcx_host_transport.h"

/* Installs the transport the library uses from the next handle on. The
 * factory runs when the library first needs a modem, with the library core
 * as the listener for the modem's events. An empty factory (or one that
 * makes nothing) leaves the library without a modem, every service down,
 * which is also where a process that installs nothing stands. Only allowed
 * while no handle is open: MCX_ERR_INVALID_ARG otherwise. */
mcx_client_error_type mcx_host_set_transport(mcx::TransportFactory factory);
#endif

#endif /* MCX_HOST_H */
