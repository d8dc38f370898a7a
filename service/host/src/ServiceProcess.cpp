#include "ServiceProcess.h"

#include <unistd.h>

#include <hidl/HidlHostTransport.h>
#include <vendor/kel/ims/factory/1.0/IImsFactory.h>

#include "StopSignal.h"
#include "imsservice/ImsLog.h"
#include "service/ServiceLog.h"
#include "service/WorkstationService.h"

namespace rcsservice {
namespace {

// The pid of another live process serving the factory as "default" in
// `registry`, or 0.
pid_t liveFactoryProcess(const std::string& registry) {
    for (const auto& entry : android::hardware::host::listServices(registry)) {
        if (entry.instance == "default" && entry.pid != getpid() &&
            entry.descriptor == vendor::kel::ims::factory::V1_0::IImsFactory::descriptor) {
            return entry.pid;
        }
    }
    return 0;
}

}  // namespace

int runServiceProcess(const ServiceCommandLine& commandLine) {
    StopSignal stopSignal;

    ServiceLog log(nullptr, true);
    const std::string registry = commandLine.registryDir.empty()
                                         ? android::hardware::host::defaultRegistryDir()
                                         : commandLine.registryDir;
    if (!android::hardware::host::useServiceRegistry(registry)) {
        IMS_LOG("rcsconfig-service: cannot use the service registry at %s", registry.c_str());
        return 1;
    }
    if (commandLine.replace) {
        android::hardware::host::setReplaceLiveServices(true);
    } else if (pid_t holder = liveFactoryProcess(registry)) {
        // Checked before the modem is brought up; the registration itself
        // refuses the same way, for a service that starts meanwhile.
        IMS_LOG("rcsconfig-service: \"default\" is served by process %d in %s; stop it or pass --replace",
                static_cast<int>(holder), registry.c_str());
        return 1;
    }
    WorkstationService service(commandLine.modem, log, [registry] {
        return "Workstation\n  process " + std::to_string(getpid()) + ", service registry " + registry + "\n";
    });
    if (!service.start()) return 1;
    IMS_LOG("rcsconfig-service: serving in registry %s", registry.c_str());
    stopSignal.wait();
    service.stop();
    return 0;
}

}  // namespace rcsservice
