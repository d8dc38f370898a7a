#include "service/HostModem.h"

#include "emulator/EmbeddedModem.h"
#include "imsservice/ImsLog.h"
#include "mcx_host.h"

namespace rcsservice {

RcsServiceHostOptions hostServiceOptions(const HostModem& modem) {
    RcsServiceHostOptions options;
    const bool daemon = modem.kind == HostModem::Kind::Daemon;
    options.modemName = daemon ? "mcx-modemd at " + modem.daemonSocket : "embedded modem emulator";
    options.connectModem = [daemon, socket = modem.daemonSocket, name = options.modemName] {
        // Chosen anew at every start: an earlier service of the same process
        // may have left the library on the other transport.
        mcx_client_error_type rc =
                daemon ? mcx_host_use_daemon(socket.c_str()) : mcxemu::useEmbeddedModem();
        if (rc != MCX_NO_ERR) {
            IMS_LOG("RcsServiceHost: cannot choose the modem transport (%s), error %d", name.c_str(),
                    static_cast<int>(rc));
            return false;
        }
        return true;
    };
    return options;
}

}  // namespace rcsservice
