/*
 * Transport set-up of a HAL process. Calls inside one process are direct
 * function calls; the pool serves the calls that arrive from other processes
 * once the process uses the host service registry (hidl/HidlHostTransport.h).
 * Tests read the configuration back through hidl/HidlTesting.h.
 */
#ifndef HIDL_HIDLTRANSPORTSUPPORT_H
#define HIDL_HIDLTRANSPORTSUPPORT_H

#include <cstddef>

#include <android/hidl/base/1.0/IBase.h>
#include <hidl/HidlSupport.h>
#include <utils/Errors.h>

namespace android {
namespace hardware {

// Sets the size of the process's HIDL thread pool and whether the caller will
// join it. Any thread, before the process registers its services.
status_t configureRpcThreadpool(size_t maxThreads, bool callerWillJoin);

// Makes the calling thread one of the pool's threads (it serves calls from
// other processes); never returns.
void joinRpcThreadpool();

// True when both references reach the same object: the same object of this
// process, or proxies of the same object of another process. Any thread.
bool interfacesEqual(const sp<::android::hidl::base::V1_0::IBase>& left,
                     const sp<::android::hidl::base::V1_0::IBase>& right);

}  // namespace hardware
}  // namespace android

#endif  // HIDL_HIDLTRANSPORTSUPPORT_H
