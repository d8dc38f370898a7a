// The RCS configuration HAL service on a workstation: the device's service
// with a host service registry and a choice of modem (see ServiceCommandLine.h).
#include <cstdio>

#include "ServiceCommandLine.h"
#include "ServiceProcess.h"

int main(int argc, char** argv) {
    rcsservice::ServiceCommandLine commandLine;
    std::string error;
    if (!rcsservice::parseServiceCommandLine({argv + 1, argv + argc}, &commandLine, &error)) {
        std::fprintf(stderr, "%s\n%s", error.c_str(), rcsservice::serviceUsage());
        return 2;
    }
    if (commandLine.help) std::fputs(rcsservice::serviceUsage(), stdout);
    return commandLine.help ? 0 : rcsservice::runServiceProcess(commandLine);
}
