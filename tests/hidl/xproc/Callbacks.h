/*
 * The callbacks of the cross-process HIDL tests and of hidl_xproc_peer: each
 * adds one line per call to the events it was given, which a test waits for;
 * and the configuration object both sides create with them.
 */
#ifndef TESTS_HIDL_XPROC_CALLBACKS_H
#define TESTS_HIDL_XPROC_CALLBACKS_H

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <hostsync/Mutex.h>

#include "testkit/FakeImsFactory.h"

namespace xproc {

// Events from callbacks, in arrival order, waited for with a time-out.
class Events {
public:
    // The last listener holding these events may be released on a pool thread
    // through RefBase, whose counts ThreadSanitizer cannot see (libutils is not
    // instrumented); taking the lock orders the destruction after every add().
    ~Events() { hostsync::MutexLock guard(mLock); }
    void add(const std::string& e) {
        hostsync::MutexLock guard(mLock);
        mEvents.push_back(e);
        mChanged.notifyAll();
    }
    bool waitForCount(size_t n) {
        hostsync::MutexLock lock(mLock);
        return mChanged.waitFor(mLock, std::chrono::seconds(20), [&]() REQUIRES(mLock) { return mEvents.size() >= n; });
    }
    std::vector<std::string> all() {
        hostsync::MutexLock guard(mLock);
        return mEvents;
    }
    size_t count(const std::string& e) {
        hostsync::MutexLock guard(mLock);
        return static_cast<size_t>(std::count(mEvents.begin(), mEvents.end(), e));
    }

private:
    hostsync::Mutex mLock;
    hostsync::CondVar mChanged;
    std::vector<std::string> mEvents GUARDED_BY(mLock);
};

// Shares its events: a callback may still arrive after the test is done with them.
struct Listener : R21::IRcsConfigListener {
    explicit Listener(const std::shared_ptr<Events>& e) : shared(e), events(*e) {}
    Return<void> onReconfigNeeded() override {
        events.add("reconfig");
        return Void();
    }
    Return<void> onTokenFetchRequest(int32_t id, R21::TokenType type, R21::TokenRequestReason reason) override {
        events.add("token " + std::to_string(id) + " " + R21::toString(type) + " " + R21::toString(reason));
        return Void();
    }
    const std::shared_ptr<Events> shared;
    Events& events;
};

struct SetCb : R20::ISetConfigCb {
    explicit SetCb(Events& e) : events(e) {}
    Return<void> setConfigResponse(R20::RequestStatus status) override {
        hostsync::MutexLock lock(gateLock);
        gateOpen.wait(gateLock, [&]() REQUIRES(gateLock) { return open; });
        events.add("set " + R20::toString(status));
        return Void();
    }
    void setGate(bool isOpen) {
        hostsync::MutexLock guard(gateLock);
        open = isOpen;
        gateOpen.notifyAll();
    }
    Events& events;
    hostsync::Mutex gateLock;
    hostsync::CondVar gateOpen;
    bool open GUARDED_BY(gateLock) = true;
};

// Each callback adds one line per call to the events it was given.
struct GetCb : R20::IGetSettingsCb {
    explicit GetCb(Events& e) : events(e) {}
    Return<void> getSettingsResponse(R20::RequestStatus status, const R20::SettingsData& data) override {
        events.add("get " + R20::toString(status) + " " + R20::toString(data));
        return Void();
    }
    Events& events;
};
struct ChangeCb : R20::ISettingsChangeCb {
    explicit ChangeCb(Events& e) : events(e) {}
    Return<void> onSettingsChanged(const R20::SettingsData& data) override {
        events.add("changed " + R20::toString(data));
        return Void();
    }
    Events& events;
};
struct UceCb : R20::IRcsServiceStatusListener {
    explicit UceCb(Events& e) : events(e) {}
    Return<void> onUceStatus(const R20::UceStatus& status) override {
        events.add("uce " + R20::toString(status));
        return Void();
    }
    Events& events;
};
struct Recipient : hidl_death_recipient {
    explicit Recipient(Events& e) : events(e) {}
    void serviceDied(uint64_t cookie, const wp<IBase>&) override { events.add("died " + std::to_string(cookie)); }
    Events& events;
};

// A listener with events of its own.
inline sp<Listener> newListener() {
    return new Listener(std::make_shared<Events>());
}

// The 2.1 configuration object of slot 0 that `factory` creates for `listener`.
inline sp<R21::IRcsConfig> createConfig(const sp<F11::IImsFactory>& factory, const sp<R21::IRcsConfigListener>& listener) {
    sp<R21::IRcsConfig> config;
    factory->createRcsConfig_1_1(0, listener, [&](F10::IImsFactory::StatusCode, const sp<R21::IRcsConfig>& c) {
               config = c;
           }).isOk();
    return config;
}

// What a client holds of the factory served as "default": the factory, and a
// 2.1 configuration object of slot 0 whose listener records into `events`.
// Both are null when no service answers.
struct ServedConfig {
    std::shared_ptr<Events> events = std::make_shared<Events>();
    sp<F11::IImsFactory> factory = F11::IImsFactory::getService("default");
    sp<R21::IRcsConfig> config = factory != nullptr ? createConfig(factory, new Listener(events)) : nullptr;
};

}  // namespace xproc

#endif  // TESTS_HIDL_XPROC_CALLBACKS_H
