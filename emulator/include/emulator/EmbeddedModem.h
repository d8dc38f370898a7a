/*
 * The modem emulator inside a process, behind the messaging library: what the
 * service host, the tools and the tests use when no mcx-modemd runs. The
 * library never picks it by itself; a process installs it.
 */
#ifndef EMULATOR_EMBEDDED_MODEM_H
#define EMULATOR_EMBEDDED_MODEM_H

#include "emulator/ModemEmulator.h"
#include "mcx_host.h"

namespace mcxemu {

// The process's embedded emulator (created on first use, never destroyed: the
// library's callback thread may outlive static destructors). Its state
// outlives every transport installed on it, as a modem outlives its clients.
ModemEmulator& embeddedModem();

// Makes the messaging library talk to embeddedModem() from the next handle
// on; MCX_ERR_INVALID_ARG while a handle is open (see mcx_host_set_transport).
mcx_client_error_type useEmbeddedModem();

}  // namespace mcxemu

#endif  // EMULATOR_EMBEDDED_MODEM_H
