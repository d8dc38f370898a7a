/*
 * ServiceCommandLine: the command line of the service executable on a
 * workstation.
 *
 *   vendor.kel.ims.rcsconfig-service [--modem-socket PATH] [--registry DIR] [--replace] [--log FILE]
 *   vendor.kel.ims.rcsconfig-service PATH          (same as --modem-socket PATH)
 */
#ifndef SERVICE_SERVICE_COMMAND_LINE_H
#define SERVICE_SERVICE_COMMAND_LINE_H

#include <string>
#include <vector>

#include "service/HostModem.h"

namespace rcsservice {

struct ServiceCommandLine {
    HostModem modem;           // embedded unless a socket is given
    std::string registryDir;     // empty: the runtime's default folder
    std::string logPath;       // empty: the log goes to stderr
    bool replace = false;      // stop another live service and take "default" over
    bool help = false;
    bool version = false;
};

// Parses argv[1..]; false with a one-line reason in *error.
bool parseServiceCommandLine(const std::vector<std::string>& args, ServiceCommandLine* out,
                             std::string* error);

const char* serviceUsage();

// "vendor.kel.ims.rcsconfig-service <version> (...)\n".
std::string serviceVersion();

}  // namespace rcsservice

#endif  // SERVICE_SERVICE_COMMAND_LINE_H
