/*
 * callDebug: one debug() call on a service object, as a client in another
 * process makes it. The answer is written by the service into an unlinked
 * temporary file rather than a pipe, so that an answer of any size is whole
 * when the call returns, and read back from there.
 */
#ifndef CLIENTKIT_DEBUG_CALL_H
#define CLIENTKIT_DEBUG_CALL_H

#include <string>
#include <vector>

#include <android/hidl/base/1.0/IBase.h>
#include <hidl/Status.h>

namespace clientkit {

// Calls `target`->debug() with `words` and puts what it wrote in *text.
// False when no file could be made for the answer or the call failed; *error
// then says which, and *status (when given) holds the call's status (OK when
// the call was never made). Any thread but the service's loop thread.
bool callDebug(const ::android::sp<::android::hidl::base::V1_0::IBase>& target,
               const std::vector<std::string>& words, std::string* text, std::string* error,
               ::android::hardware::Status* status = nullptr);

}  // namespace clientkit

#endif  // CLIENTKIT_DEBUG_CALL_H
