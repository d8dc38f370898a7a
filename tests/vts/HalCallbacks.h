/*
 * The client side of the HAL tests: callback objects that record what the
 * HAL calls them with, and a wait with a time-out for those calls. The HAL's
 * callbacks are oneway, so they arrive on a transport thread while the test
 * thread waits.
 */
#ifndef VTS_HAL_CALLBACKS_H
#define VTS_HAL_CALLBACKS_H

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <vector>

#include <vendor/kel/ims/rcsconfig/2.0/IGetSettingsCb.h>
#include <vendor/kel/ims/rcsconfig/2.0/IRcsServiceStatusListener.h>
#include <vendor/kel/ims/rcsconfig/2.0/ISetConfigCb.h>
#include <vendor/kel/ims/rcsconfig/2.1/IRcsConfigListener.h>

namespace imsrcs_vts {

namespace V2_0 = ::vendor::kel::ims::rcsconfig::V2_0;
namespace V2_1 = ::vendor::kel::ims::rcsconfig::V2_1;
using ::android::hardware::Return;
using ::android::hardware::Void;

// How long a test waits for one callback of the HAL.
constexpr std::chrono::seconds kCallbackWait{10};

// The values one callback method was called with, in order. Any thread.
template <typename T>
class Calls {
public:
    using Value = T;
    void add(const T& value) {
        std::lock_guard<std::mutex> guard(mLock);
        mValues.push_back(value);
        mChanged.notify_all();
    }
    // Waits up to kCallbackWait for `count` calls (0: not at all); returns
    // the calls so far.
    std::vector<T> waitFor(size_t count) {
        std::unique_lock<std::mutex> lock(mLock);
        mChanged.wait_for(lock, kCallbackWait, [&] { return mValues.size() >= count; });
        return mValues;
    }

private:
    std::mutex mLock;
    std::condition_variable mChanged;
    std::vector<T> mValues;  // guarded by mLock
};

struct SettingsAnswer {
    V2_0::RequestStatus status;
    V2_0::SettingsData data;
};

class SettingsRecorder : public V2_0::IGetSettingsCb {
public:
    Return<void> getSettingsResponse(V2_0::RequestStatus status, const V2_0::SettingsData& data) override {
        calls.add(SettingsAnswer{status, data});
        return Void();
    }
    Calls<SettingsAnswer> calls;
};

class ResultRecorder : public V2_0::ISetConfigCb {
public:
    Return<void> setConfigResponse(V2_0::RequestStatus status) override {
        calls.add(status);
        return Void();
    }
    Calls<V2_0::RequestStatus> calls;
};

class UceRecorder : public V2_0::IRcsServiceStatusListener {
public:
    Return<void> onUceStatus(const V2_0::UceStatus& status) override {
        calls.add(status);
        return Void();
    }
    Calls<V2_0::UceStatus> calls;
};

// The client's listener; the tests only need it to exist.
class QuietListener : public V2_1::IRcsConfigListener {
public:
    Return<void> onReconfigNeeded() override { return Void(); }
    Return<void> onTokenFetchRequest(int32_t, V2_1::TokenType, V2_1::TokenRequestReason) override {
        return Void();
    }
};

}  // namespace imsrcs_vts

#endif  // VTS_HAL_CALLBACKS_H
