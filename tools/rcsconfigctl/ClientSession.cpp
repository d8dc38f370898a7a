#include "ClientSession.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>

#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <hidl/HidlHostTransport.h>
#include <vendor/kel/ims/factory/1.0/IImsFactory.h>
#include <vendor/kel/ims/factory/1.1/IImsFactory.h>

#include "PatientWait.h"
#include "service/WorkstationService.h"

namespace rcsctl {

using android::sp;
using android::hardware::hidl_death_recipient;
using android::hardware::Return;
using android::hardware::Void;
using ::android::hidl::base::V1_0::IBase;
namespace F1_0 = ::vendor::kel::ims::factory::V1_0;
namespace F1_1 = ::vendor::kel::ims::factory::V1_1;

namespace {

// The client's listener for one slot: every notice goes to the queue.
class ClientListener : public V2_1::IRcsConfigListener {
public:
    ClientListener(int slot, NoticeQueue& notices, std::function<void()> onStale)
        : mSlot(slot), mNotices(notices), mOnStale(std::move(onStale)) {}

    Return<void> onReconfigNeeded() override {
        // Said when the modem comes back: the slot's object lost its
        // subscription there. Marked before the notice is queued, so that
        // whoever sees the notice finds the object stale.
        mOnStale();
        Notice n;
        n.kind = Notice::Kind::Reconfig;
        n.slot = mSlot;
        mNotices.push(std::move(n));
        return Void();
    }

    Return<void> onTokenFetchRequest(int32_t requestId, V2_1::TokenType tokenType,
                                     V2_1::TokenRequestReason reason) override {
        Notice n;
        n.kind = Notice::Kind::TokenRequest;
        n.slot = mSlot;
        n.requestId = requestId;
        n.tokenType = static_cast<int32_t>(tokenType);
        n.reason = static_cast<int32_t>(reason);
        mNotices.push(std::move(n));
        return Void();
    }

private:
    const int mSlot;
    NoticeQueue& mNotices;
    const std::function<void()> mOnStale;
};

class ChangeCallback : public V2_0::ISettingsChangeCb {
public:
    ChangeCallback(int slot, NoticeQueue& notices) : mSlot(slot), mNotices(notices) {}

    Return<void> onSettingsChanged(const V2_0::SettingsData& data) override {
        Notice n;
        n.kind = Notice::Kind::Change;
        n.slot = mSlot;
        n.settings = data;
        mNotices.push(std::move(n));
        return Void();
    }

private:
    const int mSlot;
    NoticeQueue& mNotices;
};

std::string factoryStatusText(F1_0::IImsFactory::StatusCode status) {
    return F1_0::toString(status);
}

}  // namespace

// Told when the service process behind the factory or an object dies; every
// link reports to the session, which keeps one notice per death. One
// recipient per connection: a late notice from a connection already replaced
// by reconnect() names an old generation and is ignored.
class ClientSession::DeathRecipient : public hidl_death_recipient {
public:
    DeathRecipient(ClientSession& session, uint64_t generation) : mSession(session), mGeneration(generation) {}
    // Runtime thread.
    void serviceDied(uint64_t, const android::wp<IBase>&) override { mSession.onServiceDied(mGeneration); }

private:
    ClientSession& mSession;
    const uint64_t mGeneration;
};

ClientSession::ClientSession(SessionOptions options, NoticeQueue& notices, rcsservice::ServiceLog& log)
    : mOptions(std::move(options)), mNotices(notices), mLog(log) {}

ClientSession::~ClientSession() { stop(); }

bool ClientSession::start(std::string* error) {
    if (mOptions.attach) {
        mRegistryDir = mOptions.registryDir.empty() ? android::hardware::host::defaultRegistryDir()
                                                    : mOptions.registryDir;
        if (!android::hardware::host::useServiceRegistry(mRegistryDir)) {
            *error = "cannot use the service registry at " + mRegistryDir;
            return false;
        }
        // connect() waits itself, a step at a time, so that Ctrl-C ends the wait.
        android::hardware::host::setServiceWaitTimeout(std::chrono::milliseconds(0));
        // A service that stops answering costs a call no more than the
        // client's time-out: the call fails and counts as the service's death.
        android::hardware::host::setCallTimeout(mOptions.timeout);
    } else {
        // A service of our own, reached from here on exactly as a service
        // in another process is: through the factory and its debug().
        rcsservice::HostModem modem;
        if (!mOptions.modemSocket.empty()) modem = rcsservice::HostModem::daemon(mOptions.modemSocket);
        mLocal = std::make_unique<rcsservice::WorkstationService>(modem, mLog);
        if (!mLocal->start()) {
            *error = mOptions.modemSocket.empty()
                             ? std::string("the service did not start")
                             : "the service did not start on the modem daemon at " + mOptions.modemSocket;
            return false;
        }
    }
    if (!connect(error)) return false;
    mStarted = true;
    return true;
}

sp<IBase> ClientSession::lookUpFactory() const {
    if (mOptions.factory_1_0) return F1_0::IImsFactory::getService(mOptions.serviceName);
    return F1_1::IImsFactory::getService(mOptions.serviceName);
}

int ClientSession::servingPid() const {
    const std::string descriptor = std::string("vendor.kel.ims.factory@") + factoryVersion() + "::IImsFactory";
    for (const auto& entry : android::hardware::host::listServices(mRegistryDir)) {
        if (entry.descriptor == descriptor && entry.instance == mOptions.serviceName) return entry.pid;
    }
    return 0;
}

sp<IBase> ClientSession::waitForFactory() {
    sp<IBase> factory;
    PatientWait wait(mNotices, mOptions.timeout,
                     std::string("the IImsFactory ") + factoryVersion() + " \"" + mOptions.serviceName +
                             "\" service in " + mRegistryDir);
    wait.until([&](std::chrono::milliseconds step) {
        factory = lookUpFactory();
        if (factory != nullptr) return true;
        std::vector<Notice> none;
        mNotices.waitFor([](const Notice&) { return false; }, step, &none);
        return false;
    });
    return factory;
}

bool ClientSession::waitForModem(std::chrono::milliseconds timeout, std::string* error) {
    bool failed = false;
    PatientWait wait(mNotices, timeout, "the modem's IMS services to come up");
    const bool up = wait.until([&](std::chrono::milliseconds step) {
        std::string answer;
        // The service waits the step itself, so the modem's coming up is seen at once.
        failed = !hostCommand({"wait-ready", std::to_string(step.count())}, &answer, error);
        return failed || answer == "ready\n";
    });
    if (failed) return false;
    if (up) return true;
    *error = mNotices.stopped() ? std::string("interrupted while waiting for the modem's IMS services")
                                : "the modem's IMS services did not come up within " +
                                          std::to_string(timeout.count() / 1000) + " s";
    return false;
}

bool ClientSession::connect(std::string* error) {
    sp<IBase> factory = mOptions.attach ? waitForFactory() : lookUpFactory();
    if (factory == nullptr && mNotices.stopped()) {
        *error = std::string("interrupted while waiting for the IImsFactory ") + factoryVersion() + " \"" +
                 mOptions.serviceName + "\" service";
        return false;
    }
    if (factory == nullptr) {
        const std::string within = " within " + std::to_string(mOptions.timeout.count() / 1000) + " s";
        const int pid = mOptions.attach ? servingPid() : 0;
        if (pid != 0) {
            // Registered and alive, but its look-up was not answered in time:
            // a service that hangs (stopped in a debugger, or stuck) is not
            // a missing one.
            *error = std::string("the IImsFactory ") + factoryVersion() + " \"" + mOptions.serviceName +
                     "\" service in " + mRegistryDir + " (process " + std::to_string(pid) +
                     ") did not answer" + within;
        } else {
            *error = std::string("no IImsFactory ") + factoryVersion() + " \"" + mOptions.serviceName +
                     "\" service was registered in " + mRegistryDir + within;
        }
        return false;
    }
    if (mOptions.attach) {
        mRecipient = new DeathRecipient(*this, mGeneration.fetch_add(1) + 1);
        Return<bool> linked = factory->linkToDeath(mRecipient, 0);
        if (!linked.isOk() || !static_cast<bool>(linked)) {
            *error = "the factory service died while we attached to it";
            return false;
        }
    }
    mFactory = factory;
    return true;
}

bool ClientSession::takeDeathOf(const android::hardware::Status& failed) {
    if (mOptions.attach && failed.exceptionCode() == android::hardware::Status::EX_TRANSACTION_FAILED &&
        failed.transactionError() == android::DEAD_OBJECT) {
        onServiceDied(mGeneration.load());
    }
    return mDead.load();
}

void ClientSession::onServiceDied(uint64_t generation) {
    if (generation != mGeneration.load()) return;  // a connection reconnect() has replaced
    if (mDead.exchange(true)) return;  // the other links of the same death
    Notice n;
    n.kind = Notice::Kind::ServiceDied;
    mNotices.push(std::move(n));
    std::vector<std::weak_ptr<AbandonableWait>> waits;
    {
        hostsync::MutexLock lock(mWaitsLock);
        waits.swap(mWaits);
    }
    for (auto& w : waits) {
        if (auto wait = w.lock()) wait->abandon();
    }
}

namespace {

// Files `wait` in `waits`, forgetting the waits that have ended first, so a
// long session stays small.
void addWait(std::vector<std::weak_ptr<AbandonableWait>>* waits, const std::shared_ptr<AbandonableWait>& wait) {
    waits->erase(std::remove_if(waits->begin(), waits->end(),
                                [](const std::weak_ptr<AbandonableWait>& w) { return w.expired(); }),
                 waits->end());
    waits->push_back(wait);
}

}  // namespace

void ClientSession::abandonOnDeath(const std::shared_ptr<AbandonableWait>& wait) {
    if (!mOptions.attach) return;
    {
        hostsync::MutexLock lock(mWaitsLock);
        if (!mDead.load()) {
            addWait(&mWaits, wait);
            return;
        }
    }
    wait->abandon();
}

bool ClientSession::reconnect(std::string* error) {
    std::vector<int> had = slots();
    // The proxies of the dead process are useless now; the listeners and
    // change callbacks are ours and serve the new objects.
    mConfigs.clear();
    mFactory = nullptr;
    if (!connect(error)) return false;
    mDead = false;
    if (!waitForModem(mOptions.timeout, error)) {
        *error = "the service came back but " + *error;
        return false;
    }
    for (int slot : had) {
        if (recreate(slot, error) == nullptr) return false;
    }
    return true;
}

void ClientSession::stop() {
    // Our references go before the service that serves them.
    mConfigs.clear();
    mChangeCallbacks.clear();
    mListeners.clear();
    if (mFactory != nullptr && mRecipient != nullptr) mFactory->unlinkToDeath(mRecipient);
    mFactory = nullptr;
    if (mLocal) mLocal->stop();
    mStarted = false;
}

bool ClientSession::waitUntilReady(int slot, std::chrono::milliseconds timeout, std::string* error) {
    // The manager refuses to subscribe an object created while the modem is
    // down, and never retries; so the first object waits for the modem.
    if (!waitForModem(timeout, error)) return false;
    // The manager tells the listeners before it marks the modem up; once its
    // loop is idle the flags are set and requests are taken.
    waitUntilIdle();
    if (config(slot, error) == nullptr) return false;
    waitUntilIdle();
    mNotices.drain();
    hostsync::MutexLock lock(mWaitsLock);
    mStale.clear();
    return true;
}

bool ClientSession::stale(int slot) const {
    hostsync::MutexLock lock(mWaitsLock);
    return mStale.count(slot) != 0;
}

void ClientSession::abandonOnReconfig(int slot, const std::shared_ptr<AbandonableWait>& wait) {
    {
        hostsync::MutexLock lock(mWaitsLock);
        if (mStale.count(slot) == 0) {
            addWait(&mSlotWaits[slot], wait);
            return;
        }
    }
    wait->abandon();
}

void ClientSession::markStale(int slot) {
    std::vector<std::weak_ptr<AbandonableWait>> waits;
    {
        hostsync::MutexLock lock(mWaitsLock);
        mStale.insert(slot);
        waits.swap(mSlotWaits[slot]);
    }
    for (auto& w : waits) {
        if (auto wait = w.lock()) wait->abandon();
    }
}

sp<V2_0::IRcsConfig> ClientSession::config(int slot, std::string* error) {
    auto it = mConfigs.find(slot);
    if (it != mConfigs.end()) return it->second;
    return create(slot, error);
}

sp<V2_0::IRcsConfig> ClientSession::recreate(int slot, std::string* error) {
    sp<V2_0::IRcsConfig> config = create(slot, error);
    // The new object's subscription is made on the loop; wait for it so the
    // next request finds the modem connection in place.
    if (config != nullptr) waitUntilIdle();
    return config;
}

sp<V2_0::IRcsConfig> ClientSession::create(int slot, std::string* error) {
    if (!mStarted) {
        *error = "the service is not running";
        return nullptr;
    }
    // One listener per slot for the whole session, so that a new object for
    // the slot does not double the notices.
    sp<V2_1::IRcsConfigListener>& listener = mListeners[slot];
    if (listener == nullptr) listener = new ClientListener(slot, mNotices, [this, slot] { markStale(slot); });
    sp<V2_0::IRcsConfig> config;
    F1_0::IImsFactory::StatusCode status = F1_0::IImsFactory::StatusCode::NOT_SUPPORTED;
    Return<void> ret = Void();
    if (mOptions.factory_1_0) {
        sp<F1_0::IImsFactory> factory = F1_0::IImsFactory::castFrom(mFactory).withDefault(nullptr);
        if (factory == nullptr) {
            *error = "no IImsFactory 1.0 \"" + mOptions.serviceName + "\" service is registered";
            return nullptr;
        }
        ret = factory->createRcsConfig(static_cast<uint32_t>(slot), listener,
                                       [&](F1_0::IImsFactory::StatusCode s, const sp<V2_0::IRcsConfig>& c) {
                                           status = s;
                                           config = c;
                                       });
    } else {
        sp<F1_1::IImsFactory> factory = F1_1::IImsFactory::castFrom(mFactory).withDefault(nullptr);
        if (factory == nullptr) {
            *error = "no IImsFactory 1.1 \"" + mOptions.serviceName + "\" service is registered";
            return nullptr;
        }
        ret = factory->createRcsConfig_1_1(static_cast<uint32_t>(slot), listener,
                                           [&](F1_0::IImsFactory::StatusCode s, const sp<V2_1::IRcsConfig>& c) {
                                               status = s;
                                               config = c;
                                           });
    }
    if (!ret.isOk()) {
        *error = takeDeathOf(ret.getStatus()) ? std::string("the service died before answering the factory call")
                                              : "the factory call failed: " + ret.description();
        return nullptr;
    }
    if (status != F1_0::IImsFactory::StatusCode::SUCCESS || config == nullptr) {
        *error = "the factory refused slot " + std::to_string(slot) + ": " + factoryStatusText(status);
        return nullptr;
    }
    if (mOptions.attach) config->linkToDeath(mRecipient, static_cast<uint64_t>(slot));
    mConfigs[slot] = config;
    hostsync::MutexLock lock(mWaitsLock);
    mStale.erase(slot);
    return config;
}

sp<V2_1::IRcsConfig> ClientSession::config_2_1(int slot, std::string* error) {
    sp<V2_0::IRcsConfig> base = config(slot, error);
    if (base == nullptr) return nullptr;
    sp<V2_1::IRcsConfig> config = V2_1::IRcsConfig::castFrom(base).withDefault(nullptr);
    if (config == nullptr) *error = "the object of slot " + std::to_string(slot) + " has no 2.1 interface";
    return config;
}

sp<V2_0::ISettingsChangeCb> ClientSession::changeCallback(int slot) {
    auto it = mChangeCallbacks.find(slot);
    if (it != mChangeCallbacks.end()) return it->second;
    sp<V2_0::ISettingsChangeCb> cb = new ChangeCallback(slot, mNotices);
    mChangeCallbacks[slot] = cb;
    return cb;
}

std::vector<int> ClientSession::slots() const {
    std::vector<int> out;
    for (const auto& c : mConfigs) out.push_back(c.first);
    return out;
}

}  // namespace rcsctl
