/*
 * A small IImsFactory 1.1 / IRcsConfig 2.1 used by the cross-process tests and
 * the transport benchmark on both sides of a socket: it keeps what it is given and answers through the
 * client's callbacks, so every argument and result type makes a round trip.
 *
 * setAppToken() tokens steer it: "burst:N" calls the callback N times,
 * "hang" never returns (the test kills the process).
 */
#ifndef TESTKIT_FAKE_IMS_FACTORY_H
#define TESTKIT_FAKE_IMS_FACTORY_H

#include <unistd.h>

#include <atomic>
#include <map>
#include <string>

#include <hostsync/Mutex.h>

#include <vendor/kel/ims/factory/1.1/IImsFactory.h>
#include <vendor/kel/ims/rcsconfig/2.1/IRcsConfig.h>
#include <vendor/kel/ims/rcsconfig/2.1/IRcsConfigListener.h>

namespace xproc {

using ::android::sp;
using ::android::wp;
using ::android::hardware::hidl_death_recipient;
using ::android::hardware::hidl_handle;
using ::android::hardware::hidl_string;
using ::android::hardware::hidl_vec;
using ::android::hardware::Return;
using ::android::hardware::Void;
using ::android::hidl::base::V1_0::IBase;
namespace R20 = ::vendor::kel::ims::rcsconfig::V2_0;
namespace R21 = ::vendor::kel::ims::rcsconfig::V2_1;
namespace F10 = ::vendor::kel::ims::factory::V1_0;
namespace F11 = ::vendor::kel::ims::factory::V1_1;

// Counts what the service side saw of its clients.
struct FakeStats {
    std::atomic<int> liveConfigs{0};
    std::atomic<int> listenerDeaths{0};
};
inline FakeStats& fakeStats() {
    static FakeStats stats;
    return stats;
}

struct ListenerDeath : hidl_death_recipient {
    void serviceDied(uint64_t, const wp<IBase>&) override { ++fakeStats().listenerDeaths; }
};

class FakeRcsConfig : public R21::IRcsConfig {
public:
    explicit FakeRcsConfig(const sp<R20::IRcsConfigListener>& listener) : mListener(listener) {
        ++fakeStats().liveConfigs;
    }
    ~FakeRcsConfig() override { --fakeStats().liveConfigs; }

    Return<void> setConfig(const R20::Container& config, const sp<R20::ISetConfigCb>& cb) override {
        R20::RequestStatus status = config.config.size() > 0 && config.config[config.config.size() - 1] == 0x5a
                                            ? R20::RequestStatus::OK
                                            : R20::RequestStatus::FAIL;
        if (cb != nullptr) cb->setConfigResponse(status).isOk();
        return Void();
    }
    Return<void> setSettingsValue(const R20::SettingsData& data, const sp<R20::ISetConfigCb>& cb) override {
        sp<R20::ISettingsChangeCb> watcher;
        {
            hostsync::MutexLock guard(mLock);
            mValues[data.settingsId] = data;
            auto it = mWatchers.find(data.settingsId);
            if (it != mWatchers.end()) watcher = it->second;
        }
        if (watcher != nullptr) watcher->onSettingsChanged(data).isOk();
        if (cb != nullptr) cb->setConfigResponse(R20::RequestStatus::OK).isOk();
        return Void();
    }
    Return<void> getSettingsValue(R20::SettingsId id, const sp<R20::IGetSettingsCb>& cb) override {
        R20::SettingsData data;
        {
            hostsync::MutexLock guard(mLock);
            data = mValues[id];
        }
        if (cb != nullptr) cb->getSettingsResponse(R20::RequestStatus::OK, data).isOk();
        return Void();
    }
    Return<R20::RequestStatus> registerForSettingsChange(R20::SettingsId id,
                                                         const sp<R20::ISettingsChangeCb>& cb) override {
        hostsync::MutexLock guard(mLock);
        mWatchers[id] = cb;
        return R20::RequestStatus::OK;
    }
    Return<R20::RequestStatus> deregisterForSettingsChange(R20::SettingsId id) override {
        hostsync::MutexLock guard(mLock);
        return mWatchers.erase(id) != 0 ? R20::RequestStatus::OK : R20::RequestStatus::FAIL;
    }
    Return<void> getUceStatus(const sp<R20::IRcsServiceStatusListener>& listener) override {
        if (listener != nullptr) listener->onUceStatus(R20::UceStatus{true, false}).isOk();
        return Void();
    }
    Return<void> setAppToken(const hidl_string& token, const sp<R20::ISetConfigCb>& cb) override {
        std::string t = token;
        if (t == "hang") {
            for (;;) pause();
        }
        int count = t.rfind("burst:", 0) == 0 ? std::stoi(t.substr(6)) : 1;
        for (int i = 0; i < count; ++i) cb->setConfigResponse(R20::RequestStatus::OK).isOk();
        return Void();
    }
    Return<void> updateTokenFetchStatus(int32_t, R21::TokenType, R21::StatusCode) override { return Void(); }
    Return<void> debug(const hidl_handle& fd, const hidl_vec<hidl_string>& options) override {
        if (fd.getNativeHandle() == nullptr || fd->numFds < 1) return Void();
        std::string text = "fake pid " + std::to_string(getpid());
        for (const auto& o : options) text += " " + std::string(o);
        text += "\n";
        ssize_t written = write(fd->data[0], text.data(), text.size());
        (void)written;
        return Void();
    }

private:
    hostsync::Mutex mLock;
    std::map<R20::SettingsId, R20::SettingsData> mValues GUARDED_BY(mLock);
    std::map<R20::SettingsId, sp<R20::ISettingsChangeCb>> mWatchers GUARDED_BY(mLock);
    sp<R20::IRcsConfigListener> mListener;
};

class FakeImsFactory : public F11::IImsFactory {
public:
    Return<void> createRcsConfig(uint32_t slotId, const sp<R20::IRcsConfigListener>& listener,
                                 createRcsConfig_cb cb) override {
        if (slotId > 1 || listener == nullptr) {
            cb(F10::IImsFactory::StatusCode::INVALID_ARGUMENTS, nullptr);
            return Void();
        }
        // As the real service does: a call back into the client while serving it.
        sp<R21::IRcsConfigListener> v21 = R21::IRcsConfigListener::castFrom(listener).withDefault(nullptr);
        listener->linkToDeath(mDeath, slotId).isOk();
        listener->onReconfigNeeded().isOk();
        if (v21 != nullptr) v21->onTokenFetchRequest(7, R21::TokenType::FCM_TOKEN, R21::TokenRequestReason::TOKEN_EXPIRED).isOk();
        cb(F10::IImsFactory::StatusCode::SUCCESS, new FakeRcsConfig(listener));
        return Void();
    }
    Return<void> createCallCapabilityService(uint32_t, createCallCapabilityService_cb cb) override {
        cb(F10::IImsFactory::StatusCode::NOT_SUPPORTED, nullptr);
        return Void();
    }
    Return<void> createRcsConfig_1_1(uint32_t slotId, const sp<R21::IRcsConfigListener>& listener,
                                     createRcsConfig_1_1_cb cb) override {
        sp<R21::IRcsConfig> config;
        F10::IImsFactory::StatusCode status = F10::IImsFactory::StatusCode::INVALID_ARGUMENTS;
        createRcsConfig(slotId, listener, [&](F10::IImsFactory::StatusCode s, const sp<R20::IRcsConfig>& c) {
            status = s;
            config = R21::IRcsConfig::castFrom(c).withDefault(nullptr);
        });
        cb(status, config);
        return Void();
    }

private:
    sp<ListenerDeath> mDeath = new ListenerDeath();
};

}  // namespace xproc

#endif  // TESTKIT_FAKE_IMS_FACTORY_H
