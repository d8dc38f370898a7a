// The RCS configuration HAL service on a workstation: the device's service
// with a host service registry and a choice of modem (see ServiceCommandLine.h).
#include <unistd.h>

#include <cstdio>

#include "ServiceCommandLine.h"
#include "ServiceProcess.h"

// Present in builds with the leak checker.
extern "C" __attribute__((weak)) void __lsan_do_leak_check();

namespace {

// The service's own threads (connection readers, death notifications) may
// still be logging when it stops, and static destructors run by exit() would
// free liblog's state under them. So the process ends at once, as a device's
// service is stopped, once its output is flushed and, in a leak-checking
// build, its memory checked.
[[noreturn]] void endProcess(int status) {
    if (__lsan_do_leak_check != nullptr) __lsan_do_leak_check();
    std::fflush(nullptr);
    _exit(status);
}

}  // namespace

int main(int argc, char** argv) {
    rcsservice::ServiceCommandLine commandLine;
    std::string error;
    if (!rcsservice::parseServiceCommandLine({argv + 1, argv + argc}, &commandLine, &error)) {
        std::fprintf(stderr, "%s\n%s", error.c_str(), rcsservice::serviceUsage());
        return 2;
    }
    if (commandLine.help || commandLine.version) {
        std::fputs(commandLine.help ? rcsservice::serviceUsage() : rcsservice::serviceVersion().c_str(), stdout);
        return 0;
    }
    endProcess(rcsservice::runServiceProcess(commandLine));
}
