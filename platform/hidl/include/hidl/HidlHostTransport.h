/*
 * Host HIDL between processes: the workstation's stand-in for the device's
 * service manager and binder driver. Host-only; product code does not include
 * it, the host service and tools do.
 *
 * Without useServiceRegistry() the process stays in-process only, exactly as
 * before: services registered with registerAsService() are found by
 * getService() inside the same process and nowhere else.
 *
 * With it, the process joins a registry folder shared by the processes of one
 * user:
 *   - registerAsService(name) also publishes the service there: a listening
 *     socket "proc-<pid>.sock" (mode 0600) serves the process's objects, and one
 *     small entry file per descriptor of the interface chain names the process;
 *   - getService(name), when the service is not registered in this process,
 *     reads the entry, connects to the serving process's socket and returns a
 *     proxy; it waits for the entry to appear up to the wait time-out;
 *   - calls on such proxies travel as length-prefixed frames over the Unix
 *     domain socket; interface references passed as arguments or results become
 *     proxies in the other process (callbacks run in the process that made
 *     them); a peer of another user id is refused.
 * Entries of processes that are gone are ignored and removed by whoever meets
 * them; an entry of a live process is never taken over unless the process
 * registering asks for it (setReplaceLiveServices).
 */
#ifndef HIDL_HIDLHOSTTRANSPORT_H
#define HIDL_HIDLHOSTTRANSPORT_H

#include <chrono>
#include <string>
#include <vector>

#include <android/hidl/base/1.0/IBase.h>

namespace android {
namespace hardware {
namespace host {

// The registry folder used when none is given: $IMSRCS_HIDL_REGISTRY if set,
// else $XDG_RUNTIME_DIR/imsrcs-hidl, else /tmp/imsrcs-hidl-<uid>.
// Any thread.
std::string defaultRegistryDir();

// Turns the cross-process transport on for this process with `dir` as the
// registry folder (created with mode 0700 when missing; it must be a folder
// owned by this user that nobody else may enter). Call before the first
// registerAsService()/getService() that should reach other processes. Returns
// false, with one log line, when the folder cannot be used. Any thread.
bool useServiceRegistry(const std::string& dir);

// The folder given to useServiceRegistry(), empty when the transport is off.
// Any thread.
std::string serviceRegistryDir();

// How long getService() waits for a service to appear in the registry
// (default 5 s; 0 = look once, do not wait). Any thread.
void setServiceWaitTimeout(std::chrono::milliseconds timeout);

// Bounds each two-way call this process makes on objects of a process it
// connected to (the services it uses): a call with no reply within `limit`
// returns the transport error TIMED_OUT, and the connection is closed as if
// that process had died (its death recipients are told; later calls fail with
// DEAD_OBJECT until getService() connects again). 0, the default, waits as
// long as the call takes. Any thread; calls already waiting keep the limit
// they started with.
void setCallTimeout(std::chrono::milliseconds limit);

// The same bound for calls on objects that clients handed this process (a
// client's listener or callback, called while serving it or later): default
// 10 s, so a client that stops answering holds a serving thread no longer
// than that. 0 removes the bound. Any thread.
void setClientCallTimeout(std::chrono::milliseconds limit);

// Whether registerAsService() may take over an instance that another live
// process of the registry serves. Off by default: such a registration is
// refused with ALREADY_EXISTS and one log line naming that process, and the
// serving process keeps it. An entry of a process that is gone is always
// taken over. Any thread.
void setReplaceLiveServices(bool replace);

// The process serving `object` when it is a proxy of another process's
// object (a client's callback, say), 0 for an object of this process. Any
// thread.
int clientPidOf(const sp<::android::hidl::base::V1_0::IBase>& object);

// One live entry of the registry: lshal's list.
struct RegisteredService {
    std::string descriptor;  // e.g. vendor.kel.ims.factory@1.1::IImsFactory
    std::string instance;    // e.g. default
    int pid = 0;             // the serving process
};

// What is registered in `dir`, live entries only (entries of processes that
// are gone are removed), sorted by descriptor then instance. Any thread; does
// not need useServiceRegistry().
std::vector<RegisteredService> listServices(const std::string& dir);

}  // namespace host
}  // namespace hardware
}  // namespace android

#endif  // HIDL_HIDLHOSTTRANSPORT_H
