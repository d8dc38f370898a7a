/*
 * The modem under a soak run: the emulator embedded in this process (its IMS
 * services are taken down and brought up through the service's modem
 * controls) or an mcx-modemd daemon (killed with SIGKILL and started again).
 * Kept apart from the run so that a cycle says "down" and "up" and does not
 * care which of the two it drives.
 */
#ifndef SOAK_SOAK_MODEM_H
#define SOAK_SOAK_MODEM_H

#include <cstdint>
#include <memory>
#include <string>

#include "SoakRun.h"
#include "SoakService.h"
#include "testkit/ModemDaemonProcess.h"

namespace soak {

// The modem of one run. Driver thread only.
class SoakModem {
public:
    // `service` must outlive this object.
    SoakModem(const Options& options, SoakService& service);
    SoakModem(const SoakModem&) = delete;
    SoakModem& operator=(const SoakModem&) = delete;

    // The emulator inside this process rather than a daemon.
    bool embedded() const { return mDaemon == nullptr; }
    // Starts the daemon and waits for its "ready" line; true at once for the
    // embedded emulator.
    bool start();
    // Kills the daemon with SIGKILL and reaps it; nothing for the embedded emulator.
    void kill();
    // The modem goes down: the emulator's IMS services, or the whole daemon.
    void down();
    // The modem comes back; false when the daemon did not start again.
    bool up();
    // A daemon that exited on its own (a crash of the modem side) is reaped
    // and started again; true when that happened.
    bool restartIfCrashed();

private:
    SoakService& mService;
    std::unique_ptr<testkit::ModemDaemonProcess> mDaemon;  // null for the embedded emulator
};

// The documents the embedded modem emulator holds for both subscriptions, and
// their bytes.
void emulatorDocuments(SoakService& service, int64_t* count, int64_t* bytes);

}  // namespace soak

#endif  // SOAK_SOAK_MODEM_H
