#include "ServiceProcess.h"

#include <errno.h>
#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <thread>

#include <hidl/HidlHostTransport.h>
#include <vendor/kel/ims/factory/1.0/IImsFactory.h>

#include "StopSignal.h"
#include "imsservice/ImsLog.h"
#include "service/PrivateFile.h"
#include "service/ServiceLog.h"
#include "service/WorkstationService.h"

namespace rcsservice {
namespace {

// How long --replace gives the service it stops to finish its stop sequence.
constexpr std::chrono::seconds kReplaceStopWait(10);

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

// Sends SIGTERM to `pid` and waits until the process is gone; false if it
// still runs after `timeout`.
bool stopProcess(pid_t pid, std::chrono::milliseconds timeout) {
    // A pidfd names this very process even if the pid is reused meanwhile,
    // and becomes readable when it ends.
    const int pidfd = static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
    if (pidfd < 0 && errno == ESRCH) return true;
    if (::kill(pid, SIGTERM) != 0) {
        if (pidfd >= 0) ::close(pidfd);
        return errno == ESRCH;
    }
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    bool gone = false;
    while (!gone && std::chrono::steady_clock::now() < deadline) {
        if (pidfd >= 0) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                    deadline - std::chrono::steady_clock::now());
            pollfd p{pidfd, POLLIN, 0};
            gone = ::poll(&p, 1, static_cast<int>(left.count()) + 1) > 0;
        } else {
            // A kernel without pidfds: look again shortly.
            gone = ::kill(pid, 0) != 0 && errno == ESRCH;
            if (!gone) std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    }
    if (pidfd >= 0) ::close(pidfd);
    return gone;
}

}  // namespace

int runServiceProcess(const ServiceCommandLine& commandLine) {
    StopSignal stopSignal;

    FILE* logFile = nullptr;
    if (!commandLine.logPath.empty()) {
        std::string error;
        logFile = openPrivateFile(commandLine.logPath, PrivateFileStart::kAppend, &error);
        if (logFile == nullptr) {
            std::fprintf(stderr, "rcsconfig-service: cannot write log file: %s\n", error.c_str());
            return 1;
        }
    }
    ServiceLog log(logFile, logFile == nullptr);
    // Why the service does not start is for the user who started it, and
    // reaches stderr whatever ANDROID_LOG_TAGS filters out; the log file, when
    // there is one, has it as well.
    auto refuse = [logFile](const std::string& why) {
        std::fprintf(stderr, "rcsconfig-service: %s\n", why.c_str());
        if (logFile != nullptr) IMS_LOG("rcsconfig-service: %s", why.c_str());
        return 1;
    };
    const std::string registry = commandLine.registryDir.empty()
                                         ? android::hardware::host::defaultRegistryDir()
                                         : commandLine.registryDir;
    if (!android::hardware::host::useServiceRegistry(registry)) {
        return refuse("cannot use the service registry at " + registry);
    }
    // Checked before the modem is brought up; the registration itself
    // refuses the same way, for a service that starts meanwhile.
    if (pid_t holder = liveFactoryProcess(registry)) {
        if (!commandLine.replace) {
            return refuse("\"default\" is served by process " + std::to_string(holder) + " in " + registry +
                          "; stop it or pass --replace");
        }
        // Two services on one modem would both answer its indications; the
        // one replaced stops as init would stop it, letting go of the modem.
        IMS_LOG("rcsconfig-service: stopping process %d, which serves \"default\" in %s", static_cast<int>(holder),
                registry.c_str());
        if (!stopProcess(holder, kReplaceStopWait)) {
            return refuse("process " + std::to_string(holder) + " did not stop within " +
                          std::to_string(kReplaceStopWait.count()) + " s of SIGTERM; \"default\" left to it");
        }
    }
    if (commandLine.replace) android::hardware::host::setReplaceLiveServices(true);
    WorkstationService service(commandLine.modem, log, [registry] {
        return "Workstation\n  process " + std::to_string(getpid()) + ", service registry " + registry + "\n";
    });
    if (!service.start()) {
        return refuse(logFile != nullptr ? "the service did not start; the log says why (" + commandLine.logPath + ")"
                                         : "the service did not start");
    }
    IMS_LOG("rcsconfig-service: serving in registry %s", registry.c_str());
    stopSignal.wait();
    service.stop();
    return 0;
}

}  // namespace rcsservice
