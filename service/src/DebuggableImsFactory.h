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

// Takes a call whose options name a command answered later, from another
// thread, to a copy of `fd`; false when they name none. Any thread.
using DeferFunction = std::function<bool(const std::vector<std::string>& options, int fd)>;

// Writes the dump for `options` to the first descriptor of `handle`, unless
// `defer` (may be empty) takes the call; false (with a log line) when the
// handle carries no descriptor or the write fails.
bool writeDebugDump(const ::android::hardware::hidl_handle& handle,
                    const ::android::hardware::hidl_vec<::android::hardware::hidl_string>& options,
                    const DumpFunction& dump, const DeferFunction& defer = {});

// Writes `text` to a descriptor a debug() caller handed in. Whoever holds
// the other end may have closed it or may stop reading: the write then fails
// (false, errno set) instead of raising SIGPIPE, or of blocking once the
// reader has taken nothing for kDebugWriteStallMs. Any thread.
bool writeDebugText(int fd, const std::string& text);
constexpr int kDebugWriteStallMs = 2000;

// An IMS factory class (ImsFactory_1_0 or ImsFactory_1_1) whose debug()
// writes the dump.
template <typename Factory>
class DebuggableImsFactory : public Factory {
public:
    explicit DebuggableImsFactory(DumpFunction dump, DeferFunction defer = {})
        : mDump(std::move(dump)), mDefer(std::move(defer)) {}
    // Binder thread.
    ::android::hardware::Return<void> debug(
            const ::android::hardware::hidl_handle& fd,
            const ::android::hardware::hidl_vec<::android::hardware::hidl_string>& options) override {
        writeDebugDump(fd, options, mDump, mDefer);
        return ::android::hardware::Void();
    }

private:
    const DumpFunction mDump;
    const DeferFunction mDefer;
};

using DebuggableImsFactory_1_0 = DebuggableImsFactory<ImsFactory_1_0>;
using DebuggableImsFactory_1_1 = DebuggableImsFactory<ImsFactory_1_1>;

}  // namespace rcsservice

#endif  // SERVICE_DEBUGGABLE_IMS_FACTORY_H
