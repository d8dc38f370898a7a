/*
 * What the HAL tests need from the process's HIDL transport, and nothing
 * more: joining it and listing the instances registered for an interface.
 * device/ answers through the device's hwservicemanager, host/ through the
 * workstation's service registry; the tests themselves are the same source.
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

// The instance names registered for `descriptor` (e.g.
// "vendor.kel.ims.factory@1.1::IImsFactory"), sorted; empty when none is.
// Any thread.
std::vector<std::string> registeredInstances(const std::string& descriptor);

}  // namespace imsrcs_vts

#endif  // VTS_HAL_TRANSPORT_H
