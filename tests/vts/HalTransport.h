/*
 * What the HAL tests need from the process's HIDL transport, and nothing
 * more: joining it, and the instances the device declares for an interface.
 * device/ answers from the device manifest through hwservicemanager, host/
 * from the service's VINTF fragment in the source tree; the tests themselves
 * are the same source.
 */
#ifndef VTS_HAL_TRANSPORT_H
#define VTS_HAL_TRANSPORT_H

#include <string>
#include <vector>

namespace imsrcs_vts {

// Readies this process to call the registered HAL and to receive the oneway
// callbacks it makes. Called once, before the first getService(); the main
// thread only.
void joinHalTransport();

// The instance names declared for `descriptor` (e.g.
// "vendor.kel.ims.factory@1.0::IImsFactory"; a declared 1.1 of the same
// package serves 1.0 too), sorted; empty when the device declares none.
// Declared, not registered: a declared HAL whose service is not running is
// a failure of every case, since getService() must succeed for it. Any
// thread.
std::vector<std::string> declaredInstances(const std::string& descriptor);

// Whether a precondition the cases state (the modem's IMS settings service
// up, settings values to change) fails the case instead of skipping it. On
// a workstation the run provides them, so a missing one is a fault; a device
// may lack them for reasons of its own (no SIM, no carrier configuration).
// Any thread.
bool unmetPreconditionFails();

}  // namespace imsrcs_vts

#endif  // VTS_HAL_TRANSPORT_H
