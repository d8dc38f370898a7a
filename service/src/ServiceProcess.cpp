#include "ServiceProcess.h"

#include <signal.h>

#include <hidl/HidlHostTransport.h>

#include "HostDebugCommands.h"
#include "imsservice/ImsLog.h"
#include "service/ServiceLog.h"

namespace rcsservice {

int runServiceProcess(const ServiceCommandLine& commandLine) {
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGTERM);
    sigaddset(&stopSignals, SIGINT);
    // Blocked before any thread starts, so that only sigwait() below takes them.
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

    ServiceLog log(nullptr, true);
    const std::string registry = commandLine.registryDir.empty()
                                         ? android::hardware::host::defaultRegistryDir()
                                         : commandLine.registryDir;
    if (!android::hardware::host::useServiceRegistry(registry)) {
        IMS_LOG("rcsconfig-service: cannot use the service registry at %s", registry.c_str());
        return 1;
    }
    RcsServiceHostOptions options = commandLine.host;
    RcsServiceHost* hostOfCommands = nullptr;
    // The host exists before the first debug() call can arrive: the factories
    // are published by start().
    options.debugCommands = [&hostOfCommands, &log](const std::vector<std::string>& words, std::string* text) {
        return hostOfCommands != nullptr && HostDebugCommands(*hostOfCommands, log).run(words, text);
    };
    RcsServiceHost host(options);
    hostOfCommands = &host;
    if (!host.start()) return 1;
    IMS_LOG("rcsconfig-service: serving in registry %s", registry.c_str());
    int received = 0;
    sigwait(&stopSignals, &received);
    host.stop();
    return 0;
}

}  // namespace rcsservice
