/*
 * Transport set-up of a HAL process. On the host all calls are in-process
 * function calls, so the pool is only recorded (tests read it back through
 * hidl/HidlTesting.h) and joining it just blocks the caller.
 */
#ifndef HIDL_HIDLTRANSPORTSUPPORT_H
#define HIDL_HIDLTRANSPORTSUPPORT_H

#include <cstddef>

#include <hidl/HidlSupport.h>
#include <utils/Errors.h>

namespace android {
namespace hardware {

// Sets the size of the process's HIDL thread pool and whether the caller will
// join it. Any thread, before the process registers its services.
status_t configureRpcThreadpool(size_t maxThreads, bool callerWillJoin);

// Makes the calling thread one of the pool's threads; never returns.
void joinRpcThreadpool();

}  // namespace hardware
}  // namespace android

#endif  // HIDL_HIDLTRANSPORTSUPPORT_H
