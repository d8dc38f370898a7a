/*
 * Text commands that steer a ModemEmulator: the same language for the
 * in-process emulator (mcx_host_modem_control) and for the mcx-modemd daemon.
 *
 *   help                                      -> every control with an example
 *   ping                                      -> "pong"
 *   service <imss|imsa> <up|down>
 *   restart                                   modem restart: both services down, then up
 *   reset                                     forget all state, faults and the request log
 *   carrier-config <on|off>                   0x9C in the supported-messages bitmap
 *   fail <svc> <msg> transport [count]
 *   fail <svc> <msg> result <result> <error> [count]
 *   fail <svc> <msg> seg-status <value> [count]
 *   fail <svc> <msg> delay <ms> [count]
 *   drop-ind <svc> <msg> [count]
 *   ind-length <svc> <msg> <length> [count]
 *   clear-faults
 *   token-request <slot> <type> <reason> [request-id]  -> "sent <n>"
 *   count <svc> <msg>                         -> number of such requests received
 *   connections <svc>                         -> number of open connections
 *   configs <slot>                            -> "<n>" (received so far), then one
 *                                                "token=<t> gzip=<0|1> len=<bytes>" line
 *                                                for each of the last few kept
 *   token <slot>                              -> the stored ACS token's text
 *   clear-requests
 *
 * Numbers may be decimal or 0x-hex; count 0 means "until cleared". A slot
 * counts from 1, as every SIM slot the user sees (the modem's subscription
 * is the slot less one); a slot the modem does not have is an error.
 */
#ifndef EMULATOR_MODEM_CONTROL_H
#define EMULATOR_MODEM_CONTROL_H

#include <string>
#include <vector>

#include "emulator/ModemEmulator.h"

namespace mcxemu {

// One control, as `help` shows it.
struct ControlCommand {
    const char* verb;
    const char* arguments;
    const char* what;
    const char* example;  // a complete command that a fresh emulator accepts
};

// Every control but `help`, in the order `help` lists them.
std::vector<ControlCommand> controlCommands();

// Runs one command; false (with the command's usage, or the reason, in
// *reply) if it is not understood. `help` answers the list of controls.
// Called on any thread that may use `modem`.
bool runControlCommand(ModemEmulator& modem, const std::string& command, std::string* reply);

}  // namespace mcxemu

#endif  // EMULATOR_MODEM_CONTROL_H
