#include "service/WorkstationService.h"

#include <hidl/HidlHostTransport.h>

#include "DebugWaits.h"
#include "HostDebugCommands.h"
#include "service/RcsServiceHost.h"
#include "service/ServiceLog.h"

namespace rcsservice {

WorkstationService::WorkstationService(const HostModem& modem, ServiceLog& log,
                                       std::function<std::string()> extraDump)
    : mLog(log), mWaits(std::make_unique<DebugWaits>()) {
    RcsServiceHostOptions options = hostServiceOptions(modem);
    // The commands run on threads serving debug(), which only arrive once
    // start() has published the factories, so the host exists by then.
    options.debugCommands = [this](const std::vector<std::string>& words, std::string* text) {
        return HostDebugCommands(*mHost, mLog).run(words, text);
    };
    options.deferredCommands = [this](const std::vector<std::string>& words, int fd) {
        return HostDebugCommands(*mHost, mLog).startWait(words, fd, *mWaits);
    };
    options.extraDump = std::move(extraDump);
    options.clientPid = [](const android::sp<android::hidl::base::V1_0::IBase>& object) {
        return android::hardware::host::clientPidOf(object);
    };
    mHost = std::make_unique<RcsServiceHost>(std::move(options));
}

WorkstationService::~WorkstationService() { stop(); }

bool WorkstationService::start() { return mHost->start(); }

void WorkstationService::stop() {
    // The waits use the host and end within a slice.
    mWaits->stop();
    mHost->stop();
}

}  // namespace rcsservice
