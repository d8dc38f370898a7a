/*
 * WorkstationService: the RCS service as a workstation runs it: the service
 * host on the modem the process chose (HostModem), with the debug() commands
 * through which a client learns what it cannot see from its side of HIDL
 * (HostDebugCommands: the loop barrier, the readiness wait, the modem's
 * controls, ...). The service executable runs one and serves it to other
 * processes; rcsconfigctl runs one inside itself when it is not told to
 * attach to a running service, and then talks to it exactly as to a service
 * in another process: through the factory's HIDL interface and debug().
 */
#ifndef SERVICE_WORKSTATION_SERVICE_H
#define SERVICE_WORKSTATION_SERVICE_H

#include <functional>
#include <memory>
#include <string>

#include "service/HostModem.h"

namespace rcsservice {

class DebugWaits;
class RcsServiceHost;
class ServiceLog;

class WorkstationService {
public:
    // `log` must outlive this object; it is where the service's readiness
    // and registrations are read. `extraDump` (may be empty) appends the
    // hosting process's own section to every dump.
    WorkstationService(const HostModem& modem, ServiceLog& log, std::function<std::string()> extraDump = {});
    // Stops the service if it still runs.
    ~WorkstationService();
    WorkstationService(const WorkstationService&) = delete;
    WorkstationService& operator=(const WorkstationService&) = delete;

    // Connects the modem and registers the factories as "default"; false
    // after the service's own log line. Call once, from the owning thread.
    bool start();
    // Stops the loop and drops the factories; idempotent. Owning thread.
    void stop();

private:
    ServiceLog& mLog;
    std::unique_ptr<RcsServiceHost> mHost;
    std::unique_ptr<DebugWaits> mWaits;  // the debug() commands that wait
};

}  // namespace rcsservice

#endif  // SERVICE_WORKSTATION_SERVICE_H
