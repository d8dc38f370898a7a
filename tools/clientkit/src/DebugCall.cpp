#include "clientkit/DebugCall.h"

#include <stdlib.h>
#include <unistd.h>

#include <cutils/native_handle.h>

namespace clientkit {

using ::android::hardware::hidl_handle;
using ::android::hardware::hidl_string;
using ::android::hardware::hidl_vec;
using ::android::hardware::Return;

bool callDebug(const ::android::sp<::android::hidl::base::V1_0::IBase>& target,
               const std::vector<std::string>& words, std::string* text, std::string* error,
               ::android::hardware::Status* status) {
    text->clear();
    if (status != nullptr) *status = ::android::hardware::Status::ok();
    char path[] = "/tmp/imsrcs-debug-XXXXXX";
    int fd = mkstemp(path);
    if (fd < 0) {
        *error = "cannot create a file for the service's answer";
        return false;
    }
    unlink(path);
    native_handle_t* native = native_handle_create(1, 0);
    native->data[0] = fd;
    hidl_vec<hidl_string> args;
    args.resize(words.size());
    for (size_t i = 0; i < words.size(); ++i) args[i] = words[i];
    Return<void> ret = target->debug(hidl_handle(native), args);
    native_handle_delete(native);
    const bool ok = ret.isOk();
    if (!ok) {
        *error = "the service's debug call failed: " + ret.description();
        if (status != nullptr) *status = ret.getStatus();
    } else if (lseek(fd, 0, SEEK_SET) == 0) {
        char buf[4096];
        ssize_t n;
        while ((n = read(fd, buf, sizeof(buf))) > 0) text->append(buf, static_cast<size_t>(n));
    }
    close(fd);
    return ok;
}

}  // namespace clientkit
