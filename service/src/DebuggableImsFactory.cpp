#include "DebuggableImsFactory.h"

#include <errno.h>
#include <string.h>
#include <unistd.h>

#include <android/log.h>
#include <cutils/native_handle.h>

using android::hardware::hidl_handle;
using android::hardware::hidl_string;
using android::hardware::hidl_vec;
using android::hardware::Return;
using android::hardware::Void;

namespace rcsservice {

bool writeDebugDump(const hidl_handle& handle, const hidl_vec<hidl_string>& options,
                    const DumpFunction& dump) {
    const native_handle_t* native = handle.getNativeHandle();
    if (native == nullptr || native->numFds < 1 || native->data[0] < 0) {
        __android_log_print(ANDROID_LOG_ERROR, nullptr, "ImsFactory debug: no file descriptor to write to");
        return false;
    }
    std::vector<std::string> args;
    for (const auto& option : options) args.emplace_back(option.c_str(), option.size());
    const std::string text = dump ? dump(args) : std::string("no state available\n");

    const int fd = native->data[0];
    size_t done = 0;
    while (done < text.size()) {
        ssize_t n = write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            __android_log_print(ANDROID_LOG_ERROR, nullptr, "ImsFactory debug: write failed: %s",
                                strerror(errno));
            return false;
        }
        done += static_cast<size_t>(n);
    }
    return true;
}

Return<void> DebuggableImsFactory_1_0::debug(const hidl_handle& fd, const hidl_vec<hidl_string>& options) {
    writeDebugDump(fd, options, mDump);
    return Void();
}

Return<void> DebuggableImsFactory_1_1::debug(const hidl_handle& fd, const hidl_vec<hidl_string>& options) {
    writeDebugDump(fd, options, mDump);
    return Void();
}

}  // namespace rcsservice
