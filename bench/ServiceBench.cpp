// Requests through the whole service in one process: HIDL call on the
// caller's thread, the manager's hop to the loop thread, the settings
// client's worker, the embedded modem emulator, and the answer back to the
// client's callback object. Log output is switched off, as the figures are
// about the path, not about writing log lines to a terminal.
#include <benchmark/benchmark.h>

#include <android/log.h>

#include <memory>
#include <hostsync/Mutex.h>
#include <vector>

#include <vendor/kel/ims/factory/1.1/IImsFactory.h>
#include <vendor/kel/ims/rcsconfig/2.0/IGetSettingsCb.h>
#include <vendor/kel/ims/rcsconfig/2.0/IRcsServiceStatusListener.h>
#include <vendor/kel/ims/rcsconfig/2.0/ISetConfigCb.h>
#include <vendor/kel/ims/rcsconfig/2.1/IRcsConfig.h>
#include <vendor/kel/ims/rcsconfig/2.1/IRcsConfigListener.h>

#include "service/HostModem.h"
#include "service/RcsServiceHost.h"

namespace {

using android::sp;
using android::hardware::Return;
using android::hardware::Void;
namespace V2_0 = vendor::kel::ims::rcsconfig::V2_0;
namespace V2_1 = vendor::kel::ims::rcsconfig::V2_1;
namespace F1_1 = vendor::kel::ims::factory::V1_1;

// Counts answers; the benchmark waits for each one.
class Answers {
public:
    void add() {
        hostsync::MutexLock guard(mLock);
        ++mCount;
        mChanged.notifyAll();
    }
    void waitFor(unsigned long count) {
        hostsync::MutexLock lock(mLock);
        mChanged.wait(mLock, [&]() REQUIRES(mLock) { return mCount >= count; });
    }
    unsigned long count() {
        hostsync::MutexLock guard(mLock);
        return mCount;
    }

private:
    hostsync::Mutex mLock;
    hostsync::CondVar mChanged;
    unsigned long mCount GUARDED_BY(mLock) = 0;
};

class SetCb : public V2_0::ISetConfigCb {
public:
    Return<void> setConfigResponse(V2_0::RequestStatus status) override {
        if (status != V2_0::RequestStatus::OK) failed = true;
        answers.add();
        return Void();
    }
    Answers answers;
    bool failed = false;
};

class GetCb : public V2_0::IGetSettingsCb {
public:
    Return<void> getSettingsResponse(V2_0::RequestStatus, const V2_0::SettingsData&) override {
        answers.add();
        return Void();
    }
    Answers answers;
};

class UceCb : public V2_0::IRcsServiceStatusListener {
public:
    Return<void> onUceStatus(const V2_0::UceStatus&) override { return Void(); }
};

class Listener : public V2_1::IRcsConfigListener {
public:
    Return<void> onReconfigNeeded() override { return Void(); }
    Return<void> onTokenFetchRequest(int32_t, V2_1::TokenType, V2_1::TokenRequestReason) override {
        return Void();
    }
};

// One service for the whole run, with an RcsConfig for slot 1.
struct Service {
    Service() {
        __android_log_set_minimum_priority(ANDROID_LOG_FATAL);
        host.start();
        // The modem comes up on the loop thread; creation needs it up.
        for (int i = 0; i < 100 && config == nullptr; ++i) {
            host.waitUntilIdle();
            if (host.dump().find("carrier configuration accepted: yes") == std::string::npos) continue;
            sp<F1_1::IImsFactory> factory = F1_1::IImsFactory::getService();
            factory->createRcsConfig_1_1(1, new Listener(), [&](auto, const sp<V2_1::IRcsConfig>& c) {
                config = c;
            });
        }
        host.waitUntilIdle();
    }
    rcsservice::RcsServiceHost host{rcsservice::hostServiceOptions()};
    sp<V2_1::IRcsConfig> config;
};

Service& service() {
    static Service* instance = new Service();  // lives until the process exits
    return *instance;
}

void BM_SetSettingsValue(benchmark::State& state) {
    sp<V2_1::IRcsConfig> config = service().config;
    sp<SetCb> cb = new SetCb();
    V2_0::SettingsData data;
    data.settingsId = V2_0::SettingsId::PRESENCE_CONFIG;
    data.settingsValues.intData = {{100, 600}, {101, 3600}, {107, 60}};
    data.settingsValues.boolData = {{109, true}};
    unsigned long sent = 0;
    for (auto _ : state) {
        config->setSettingsValue(data, cb);
        cb->answers.waitFor(++sent);
    }
    if (cb->failed) state.SkipWithError("a write was refused");
}
BENCHMARK(BM_SetSettingsValue)->UseRealTime();

void BM_GetSettingsValue(benchmark::State& state) {
    sp<V2_1::IRcsConfig> config = service().config;
    sp<GetCb> cb = new GetCb();
    unsigned long sent = 0;
    for (auto _ : state) {
        config->getSettingsValue(V2_0::SettingsId::IMS_SERVICE_ENABLE_CONFIG, cb);
        cb->answers.waitFor(++sent);
    }
}
BENCHMARK(BM_GetSettingsValue)->UseRealTime();

// An upload answered by the modem's configuration-status indication.
void BM_SetConfig(benchmark::State& state) {
    sp<V2_1::IRcsConfig> config = service().config;
    sp<SetCb> cb = new SetCb();
    V2_0::Container container;
    container.isCompressed = false;
    std::vector<uint8_t> document(static_cast<size_t>(state.range(0)));
    for (size_t i = 0; i < document.size(); ++i) document[i] = static_cast<uint8_t>('a' + i % 26);
    if (document.size() % 2000 == 0) document.push_back('z');  // exact multiples end in false
    container.config = document;
    unsigned long sent = 0;
    for (auto _ : state) {
        config->setConfig(container, cb);
        cb->answers.waitFor(++sent);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(document.size()));
}
// Uploads draw 8-bit tokens whose callbacks stay filed until the modem goes
// down; a repeated token would answer an earlier run's callback, so the whole
// run stays below 256 uploads.
BENCHMARK(BM_SetConfig)->Arg(1000)->Arg(100 * 1000)->UseRealTime()->Iterations(100);

void BM_GetUceStatus(benchmark::State& state) {
    sp<V2_1::IRcsConfig> config = service().config;
    sp<UceCb> cb = new UceCb();
    for (auto _ : state) config->getUceStatus(cb);
}
BENCHMARK(BM_GetUceStatus)->Iterations(10000);

}  // namespace

BENCHMARK_MAIN();
