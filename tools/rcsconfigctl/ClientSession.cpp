#include "ClientSession.h"

#include <vendor/kel/ims/factory/1.0/IImsFactory.h>
#include <vendor/kel/ims/factory/1.1/IImsFactory.h>

#include "service/RcsServiceHost.h"

namespace rcsctl {

using android::sp;
using android::hardware::Return;
using android::hardware::Void;
namespace F1_0 = ::vendor::kel::ims::factory::V1_0;
namespace F1_1 = ::vendor::kel::ims::factory::V1_1;

namespace {

// The client's listener for one slot: every notice goes to the queue.
class ClientListener : public V2_1::IRcsConfigListener {
public:
    ClientListener(int slot, NoticeQueue& notices) : mSlot(slot), mNotices(notices) {}

    Return<void> onReconfigNeeded() override {
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

ClientSession::ClientSession(SessionOptions options, NoticeQueue& notices)
    : mOptions(std::move(options)), mNotices(notices) {}

ClientSession::~ClientSession() { stop(); }

bool ClientSession::start(std::string* error) {
    rcsservice::RcsServiceHostOptions hostOptions;
    if (!mOptions.modemSocket.empty()) {
        hostOptions.modem = rcsservice::RcsServiceHostOptions::Modem::Daemon;
        hostOptions.daemonSocket = mOptions.modemSocket;
    }
    mHost = std::make_unique<rcsservice::RcsServiceHost>(hostOptions);
    if (!mHost->start()) {
        *error = mOptions.modemSocket.empty()
                     ? std::string("the service did not start")
                     : "the service did not start on the modem daemon at " + mOptions.modemSocket;
        return false;
    }
    mStarted = true;
    return true;
}

void ClientSession::stop() {
    // Our references go before the service that serves them.
    mConfigs.clear();
    mChangeCallbacks.clear();
    mListeners.clear();
    if (mHost && mStarted) mHost->stop();
    mStarted = false;
}

bool ClientSession::waitUntilReady(int slot, ServiceLog& log, std::chrono::milliseconds timeout,
                                   std::string* error) {
    // The manager refuses to subscribe an object created while the modem is
    // down, and never retries; so the first object waits for the modem.
    if (!log.waitForModemUp(timeout)) {
        *error = "the modem's IMS services did not come up within " +
                 std::to_string(timeout.count() / 1000) + " s";
        return false;
    }
    // The manager tells the listeners before it marks the modem up; once its
    // loop is idle the flags are set and requests are taken.
    mHost->waitUntilIdle();
    if (config(slot, error) == nullptr) return false;
    mHost->waitUntilIdle();
    mNotices.drain();
    return true;
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
    if (config != nullptr) mHost->waitUntilIdle();
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
    if (listener == nullptr) listener = new ClientListener(slot, mNotices);
    sp<V2_0::IRcsConfig> config;
    F1_0::IImsFactory::StatusCode status = F1_0::IImsFactory::StatusCode::NOT_SUPPORTED;
    Return<void> ret = Void();
    if (mOptions.factory_1_0) {
        sp<F1_0::IImsFactory> factory = F1_0::IImsFactory::getService();
        if (factory == nullptr) {
            *error = "no IImsFactory 1.0 \"default\" service is registered";
            return nullptr;
        }
        ret = factory->createRcsConfig(static_cast<uint32_t>(slot), listener,
                                       [&](F1_0::IImsFactory::StatusCode s, const sp<V2_0::IRcsConfig>& c) {
                                           status = s;
                                           config = c;
                                       });
    } else {
        sp<F1_1::IImsFactory> factory = F1_1::IImsFactory::getService();
        if (factory == nullptr) {
            *error = "no IImsFactory 1.1 \"default\" service is registered";
            return nullptr;
        }
        ret = factory->createRcsConfig_1_1(static_cast<uint32_t>(slot), listener,
                                           [&](F1_0::IImsFactory::StatusCode s, const sp<V2_1::IRcsConfig>& c) {
                                               status = s;
                                               config = c;
                                           });
    }
    if (!ret.isOk()) {
        *error = "the factory call failed: " + ret.description();
        return nullptr;
    }
    if (status != F1_0::IImsFactory::StatusCode::SUCCESS || config == nullptr) {
        *error = "the factory refused slot " + std::to_string(slot) + ": " + factoryStatusText(status);
        return nullptr;
    }
    mConfigs[slot] = config;
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
