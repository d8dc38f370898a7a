#include "HalDump.h"

#include <stdio.h>
#include <unistd.h>

#include <cutils/native_handle.h>

namespace imsrcs_vts {

using ::android::hardware::hidl_handle;
using ::android::hardware::hidl_string;
using ::android::hardware::hidl_vec;

std::string debugText(const ::android::sp<::android::hidl::base::V1_0::IBase>& object,
                      const std::vector<std::string>& options, bool* ok) {
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
    hidl_vec<hidl_string> args(options.size());
    for (size_t i = 0; i < options.size(); ++i) args[i] = options[i];
    *ok = object->debug(hidl_handle(native), args).isOk();
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

}  // namespace imsrcs_vts
