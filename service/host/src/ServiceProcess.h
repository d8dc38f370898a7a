/*
 * ServiceProcess: the life of the service executable on a workstation. It
 * publishes the factories in the host service registry so that clients of
 * other processes reach them, keeps the service's log on stderr (and the
 * facts an attached client asks for through debug()), and serves until
 * SIGTERM or SIGINT.
 */
#ifndef SERVICE_SERVICE_PROCESS_H
#define SERVICE_SERVICE_PROCESS_H

#include "ServiceCommandLine.h"

namespace rcsservice {

// Runs the service until a stop signal; the process's exit status. Call
// from main before any other thread exists (the stop signals are blocked
// here for every thread the service starts).
int runServiceProcess(const ServiceCommandLine& commandLine);

}  // namespace rcsservice

#endif  // SERVICE_SERVICE_PROCESS_H
