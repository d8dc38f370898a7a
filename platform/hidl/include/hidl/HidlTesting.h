/*
 * Host-only hooks for tests: see an object through another process's eyes,
 * make that process die, and read back how the transport was set up.
 * Not available on a device.
 */
#ifndef HIDL_HIDLTESTING_H
#define HIDL_HIDLTESTING_H

#include <cstddef>

#include <hidl/HidlHostGlue.h>

namespace android {
namespace hardware {
namespace testing {

using ::android::hidl::base::V1_0::IBase;

// A proxy of `object` (an implementation or a proxy), as another process
// holds it: calls are forwarded until the object's process dies.
sp<IBase> remoteBaseOf(const sp<IBase>& object);

template <typename I>
sp<I> remoteOf(const sp<I>& object) {
    return I::castFrom(remoteBaseOf(object)).withDefault(nullptr);
}

// Makes the process behind `object` die: every proxy of it fails later calls
// with DEAD_OBJECT, and each linked death recipient is called once on a
// runtime thread. Returns without waiting for the recipients.
void killProcessOf(const sp<IBase>& object);

// Waits until every death notification started so far has been delivered.
void waitForDeathNotifications();

// What the last configureRpcThreadpool() asked for (0/false before any call).
size_t threadpoolMaxThreads();
bool threadpoolCallerWillJoin();

// Makes registerAsService() fail with `status` until called again with OK.
void failServiceRegistrations(status_t status);
// Forgets every registered service and notification.
void resetServiceRegistry();

}  // namespace testing
}  // namespace hardware
}  // namespace android

#endif  // HIDL_HIDLTESTING_H
