#include "ServiceProcess.h"

#include <unistd.h>

#include <hidl/HidlHostTransport.h>

#include "HostDebugCommands.h"
#include "StopSignal.h"
#include "imsservice/ImsLog.h"
#include "service/HostModem.h"
#include "service/ServiceLog.h"

namespace rcsservice {

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
    RcsServiceHostOptions options = hostServiceOptions(commandLine.modem);
    RcsServiceHost* hostOfCommands = nullptr;
    // The host exists before the first debug() call can arrive: the factories
    // are published by start().
    options.debugCommands = [&hostOfCommands, &log](const std::vector<std::string>& words, std::string* text) {
        return hostOfCommands != nullptr && HostDebugCommands(*hostOfCommands, log).run(words, text);
    };
    options.extraDump = [registry] {
        return "Workstation\n  process " + std::to_string(getpid()) + ", service registry " + registry + "\n";
    };
    RcsServiceHost host(options);
    hostOfCommands = &host;
    if (!host.start()) return 1;
    IMS_LOG("rcsconfig-service: serving in registry %s", registry.c_str());
    stopSignal.wait();
    host.stop();
    return 0;
}

}  // namespace rcsservice
