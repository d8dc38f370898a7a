/*
 * ServiceList: `list-services`, lshal's list for the host service registry:
 * which interfaces are registered in a registry folder, under which
 * instance name, served by which process.
 */
#ifndef RCSCONFIGCTL_SERVICE_LIST_H
#define RCSCONFIGCTL_SERVICE_LIST_H

#include <string>

#include "Output.h"

namespace rcsctl {

// The registry folder named by `dir`, or the runtime's default when empty.
std::string registryFolder(const std::string& dir);

// Prints the live services of the registry folder `dir`; main thread.
void printServiceList(const std::string& dir, Output& out);

}  // namespace rcsctl

#endif  // RCSCONFIGCTL_SERVICE_LIST_H
