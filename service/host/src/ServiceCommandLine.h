/*
 * ServiceCommandLine: the command line of the service executable on a
 * workstation.
 *
 *   vendor.kel.ims.rcsconfig-service [--modem-socket PATH] [--registry DIR] [--replace]
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
    bool replace = false;      // take "default" over from another live service
    bool help = false;
};

// Parses argv[1..]; false with a one-line reason in *error.
bool parseServiceCommandLine(const std::vector<std::string>& args, ServiceCommandLine* out,
                             std::string* error);

const char* serviceUsage();

}  // namespace rcsservice

#endif  // SERVICE_SERVICE_COMMAND_LINE_H
