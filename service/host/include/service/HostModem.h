/*
 * HostModem: the modem a workstation's service talks to. A device's
 * messaging library reaches its one modem; a workstation has none, and the
 * host messaging library talks to no modem until the process installs one.
 * The process hosting the service installs one of two before the service
 * starts: the modem emulator inside the process (the default), or the
 * mcx-modemd daemon on a Unix socket.
 */
#ifndef SERVICE_HOST_MODEM_H
#define SERVICE_HOST_MODEM_H

#include <string>

#include "service/RcsServiceHost.h"

namespace rcsservice {

struct HostModem {
    enum class Kind {
        Embedded,  // the modem emulator inside this process
        Daemon     // an mcx-modemd daemon reached on daemonSocket
    };
    Kind kind = Kind::Embedded;
    std::string daemonSocket;

    // The daemon at `socketPath`.
    static HostModem daemon(std::string socketPath) { return {Kind::Daemon, std::move(socketPath)}; }
};

// Service options that connect the messaging library to `modem` when the
// service starts ("RcsServiceHost: cannot choose the modem transport ..."
// in the log when the library refuses). Any thread.
RcsServiceHostOptions hostServiceOptions(const HostModem& modem = {});

}  // namespace rcsservice

#endif  // SERVICE_HOST_MODEM_H
