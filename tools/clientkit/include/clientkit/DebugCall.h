/*
 * callDebug: one debug() call on a service object, as a client in another
 * process makes it, and as `lshal debug` does: the service writes its answer
 * into a pipe that is read while the call runs, and the answer is whole at
 * the end of file, once the service has closed its copies of the pipe. A
 * service may answer after the call returned (a command that waits is
 * answered from a thread of its own, so that it never holds the thread other
 * clients' calls need); the read then goes on after the call.
 */
#ifndef CLIENTKIT_DEBUG_CALL_H
#define CLIENTKIT_DEBUG_CALL_H

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include <android/hidl/base/1.0/IBase.h>
#include <hidl/Status.h>

namespace clientkit {

struct DebugCallLimits {
    // How long the answer may take to end after the call returned.
    std::chrono::milliseconds answerTimeout{15000};
    // Asked every few tens of milliseconds while the answer is awaited;
    // true gives up (a user's Ctrl-C). Empty: never.
    std::function<bool()> stopped;
};

// Calls `target`->debug() with `words` and puts what it wrote in *text.
// False when no pipe could be made, the call failed, or the answer did not
// end within the limits; *error then says which, and *status (when given)
// holds the call's status (OK when the call was never made or succeeded).
// Any thread but the service's loop thread.
bool callDebug(const ::android::sp<::android::hidl::base::V1_0::IBase>& target,
               const std::vector<std::string>& words, std::string* text, std::string* error,
               ::android::hardware::Status* status = nullptr, const DebugCallLimits& limits = {});

}  // namespace clientkit

#endif  // CLIENTKIT_DEBUG_CALL_H
