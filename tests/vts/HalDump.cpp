#include "HalDump.h"

#include <stdio.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include <cutils/native_handle.h>

#include "HalCallbacks.h"

namespace imsrcs_vts {

using ::android::hardware::hidl_handle;
using ::android::hardware::hidl_string;
using ::android::hardware::hidl_vec;

std::string debugText(const ::android::sp<::android::hidl::base::V1_0::IBase>& object, bool* ok) {
    *ok = false;
    // A file rather than a pipe: the service writes its whole answer before
    // the call returns, however long it is.
    FILE* file = tmpfile();
    if (file == nullptr || object == nullptr) {
        if (file != nullptr) fclose(file);
        return {};
    }
    native_handle_t* native = native_handle_create(1, 0);
    native->data[0] = fileno(file);
    *ok = object->debug(hidl_handle(native), hidl_vec<hidl_string>()).isOk();
    native_handle_delete(native);

    std::string text;
    if (*ok && lseek(fileno(file), 0, SEEK_SET) == 0) {
        char buf[4096];
        ssize_t n;
        while ((n = read(fileno(file), buf, sizeof(buf))) > 0) text.append(buf, static_cast<size_t>(n));
    }
    fclose(file);
    return text;
}

bool waitForModemState(const ::android::sp<::android::hidl::base::V1_0::IBase>& factory,
                       const std::string& wanted, std::string* seen) {
    const std::string label = "IMS settings service: ";
    const auto deadline = std::chrono::steady_clock::now() + kCallbackWait;
    *seen = "no dump";
    for (;;) {
        bool ok = false;
        const std::string dump = debugText(factory, &ok);
        const size_t at = dump.find(label);
        if (at != std::string::npos) {
            *seen = dump.substr(at, dump.find('\n', at) - at);
            if (seen->compare(label.size(), wanted.size(), wanted) == 0) return true;
        }
        // The service learns the modem's state from the modem, after it
        // registered: a test started with the service may ask first.
        if (std::chrono::steady_clock::now() >= deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
}

}  // namespace imsrcs_vts
