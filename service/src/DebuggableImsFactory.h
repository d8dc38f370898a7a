/*
 * The IMS factories as the service process registers them: ImsFactory_1_0
 * and ImsFactory_1_1 answering IBase::debug() (what `lshal debug` and a bug
 * report call) with the service's state dump.
 *
 * The dump text comes from a function the host hands in, so the factory
 * itself still knows nothing of RCS.
 */
#ifndef SERVICE_DEBUGGABLE_IMS_FACTORY_H
#define SERVICE_DEBUGGABLE_IMS_FACTORY_H

#include <functional>
#include <string>

#include <hidl/HidlSupport.h>
#include <hidl/Status.h>

#include "ImsFactory.h"

namespace rcsservice {

// Produces the dump; gets the options of the debug call. Any thread.
using DumpFunction = std::function<std::string(const std::vector<std::string>& options)>;

// Writes the dump for `options` to the first descriptor of `handle`; false
// (with a log line) when the handle carries no descriptor or the write fails.
bool writeDebugDump(const ::android::hardware::hidl_handle& handle,
                    const ::android::hardware::hidl_vec<::android::hardware::hidl_string>& options,
                    const DumpFunction& dump);

class DebuggableImsFactory_1_0 : public ImsFactory_1_0 {
public:
    explicit DebuggableImsFactory_1_0(DumpFunction dump) : mDump(std::move(dump)) {}
    // Binder thread.
    ::android::hardware::Return<void> debug(
            const ::android::hardware::hidl_handle& fd,
            const ::android::hardware::hidl_vec<::android::hardware::hidl_string>& options) override;

private:
    const DumpFunction mDump;
};

class DebuggableImsFactory_1_1 : public ImsFactory_1_1 {
public:
    explicit DebuggableImsFactory_1_1(DumpFunction dump) : mDump(std::move(dump)) {}
    // Binder thread.
    ::android::hardware::Return<void> debug(
            const ::android::hardware::hidl_handle& fd,
            const ::android::hardware::hidl_vec<::android::hardware::hidl_string>& options) override;

private:
    const DumpFunction mDump;
};

}  // namespace rcsservice

#endif  // SERVICE_DEBUGGABLE_IMS_FACTORY_H
