/*
 * What the service tests share. The client-side objects of the RCS
 * configuration interfaces, as a telephony client implements them, record
 * every call they receive so tests can wait for them; hand them to the service
 * through remote() so that it sees another process's object, which can die.
 * The end-to-end fixture runs the service host on the embedded modem
 * emulator, with the factory as a client in another process sees it (a proxy
 * from the service registry). Each test case runs in its own process.
 */
#ifndef TESTS_SERVICE_SERVICE_FIXTURE_H
#define TESTS_SERVICE_SERVICE_FIXTURE_H

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <hidl/HidlTesting.h>
#include <hostsync/Mutex.h>
#include <vendor/kel/ims/factory/1.0/IImsFactory.h>
#include <vendor/kel/ims/factory/1.1/IImsFactory.h>
#include <vendor/kel/ims/rcsconfig/2.0/IGetSettingsCb.h>
#include <vendor/kel/ims/rcsconfig/2.0/IRcsServiceStatusListener.h>
#include <vendor/kel/ims/rcsconfig/2.0/ISetConfigCb.h>
#include <vendor/kel/ims/rcsconfig/2.0/ISettingsChangeCb.h>
#include <vendor/kel/ims/rcsconfig/2.1/IRcsConfig.h>
#include <vendor/kel/ims/rcsconfig/2.1/IRcsConfigListener.h>

#include "emulator/EmbeddedModem.h"
#include "emulator/ModemEmulator.h"
#include "ims_application_service_v01.h"
#include "ims_settings_service_v01.h"
#include "mcx_host.h"
#include "rcsconfig/RcsConfig.h"
#include "service/HostModem.h"
#include "service/RcsServiceHost.h"
#include "support/LogCapture.h"
#include "testkit/CallCounts.h"

namespace servicetest {

namespace V2_0 = ::vendor::kel::ims::rcsconfig::V2_0;
namespace V2_1 = ::vendor::kel::ims::rcsconfig::V2_1;
using ::android::hardware::Return;
using ::android::hardware::Void;
using ::android::sp;
namespace F1_0 = ::vendor::kel::ims::factory::V1_0;
namespace F1_1 = ::vendor::kel::ims::factory::V1_1;

constexpr std::chrono::seconds kWait(10);
using StatusCode = F1_0::IImsFactory::StatusCode;

// Calls received, in order; thread-safe.
template <typename T>
class Calls {
public:
    void add(T value) {
        hostsync::MutexLock guard(mLock);
        mItems.push_back(std::move(value));
        mChanged.notifyAll();
    }
    // Waits until at least `count` calls arrived.
    bool waitFor(size_t count, std::chrono::milliseconds timeout = std::chrono::seconds(10)) const {
        hostsync::MutexLock lock(mLock);
        return mChanged.waitFor(mLock, timeout, [&]() REQUIRES(mLock) { return mItems.size() >= count; });
    }
    size_t size() const {
        hostsync::MutexLock guard(mLock);
        return mItems.size();
    }
    T at(size_t i) const {
        hostsync::MutexLock guard(mLock);
        return mItems.at(i);
    }

private:
    mutable hostsync::Mutex mLock;
    mutable hostsync::CondVar mChanged;
    std::vector<T> mItems GUARDED_BY(mLock);
};

// A client object with one method, which records the argument it gets.
#define SERVICETEST_RECORDER(Name, Interface, method, Param, Value, member) \
    class Name : public Interface {                                        \
    public:                                                                \
        Return<void> method(Param value) override {                        \
            member.add(value);                                             \
            return Void();                                                 \
        }                                                                  \
        Calls<Value> member;                                               \
    }

SERVICETEST_RECORDER(SetConfigCb, V2_0::ISetConfigCb, setConfigResponse, V2_0::RequestStatus, V2_0::RequestStatus,
                     responses);
SERVICETEST_RECORDER(SettingsChangeCb, V2_0::ISettingsChangeCb, onSettingsChanged, const V2_0::SettingsData&,
                     V2_0::SettingsData, changes);
SERVICETEST_RECORDER(UceListener, V2_0::IRcsServiceStatusListener, onUceStatus, const V2_0::UceStatus&,
                     V2_0::UceStatus, statuses);

struct GetSettingsResponse {
    V2_0::RequestStatus status;
    V2_0::SettingsData data;
};

class GetSettingsCb : public V2_0::IGetSettingsCb {
public:
    Return<void> getSettingsResponse(V2_0::RequestStatus status,
                                     const V2_0::SettingsData& data) override {
        responses.add(GetSettingsResponse{status, data});
        return Void();
    }
    Calls<GetSettingsResponse> responses;
};

class Listener_2_0 : public V2_0::IRcsConfigListener {
public:
    Return<void> onReconfigNeeded() override {
        reconfigs.add();
        return Void();
    }
    testkit::CallCounts reconfigs;
};

struct TokenRequest {
    int32_t requestId;
    V2_1::TokenType type;
    V2_1::TokenRequestReason reason;
};

class Listener_2_1 : public V2_1::IRcsConfigListener {
public:
    Return<void> onReconfigNeeded() override {
        reconfigs.add();
        return Void();
    }
    Return<void> onTokenFetchRequest(int32_t requestId, V2_1::TokenType type,
                                     V2_1::TokenRequestReason reason) override {
        tokenRequests.add(TokenRequest{requestId, type, reason});
        return Void();
    }
    testkit::CallCounts reconfigs;
    Calls<TokenRequest> tokenRequests;
};

class ServiceFixture : public ::testing::Test {
protected:
    ~ServiceFixture() override {
        if (host) host->stop();
    }

    mcxemu::ModemEmulator& modem() { return mcxemu::embeddedModem(); }

    // Starts the service and waits until both modem services are up in it.
    void startService(bool carrierConfig = true,
                      rcsservice::RcsServiceHostOptions options = rcsservice::hostServiceOptions()) {
        modem().setCarrierConfigSupported(carrierConfig);
        host = std::make_unique<rcsservice::RcsServiceHost>(options);
        ASSERT_TRUE(host->start());
        ASSERT_TRUE(log.waitFor(carrierConfig ? "RcsConfigManager: ServiceStatus::AVAILABLE"
                                              : "RcsConfigManager: ServiceStatus::MODEM_UP",
                                kWait));
        ASSERT_TRUE(log.waitFor("RcsConfigManager::imsAppServiceEventCb::MODEM_UP", kWait));
        host->waitUntilIdle();
        if (options.startFactory_1_1) {
            factory = ::android::hardware::testing::remoteOf(F1_1::IImsFactory::getService());
            ASSERT_NE(factory, nullptr);
        }
    }

    // Creates through createRcsConfig_1_1 and waits until the slot is subscribed.
    sp<V2_1::IRcsConfig> create(uint32_t slot, const sp<V2_1::IRcsConfigListener>& listener) {
        auto created = create_1_1(factory, slot, listener);
        EXPECT_EQ(created.status, StatusCode::SUCCESS);
        host->waitUntilIdle();
        return created.config;
    }

    // What one createRcsConfig or createRcsConfig_1_1 call answered.
    template <typename Config>
    struct Created {
        StatusCode status = StatusCode::NOT_SUPPORTED;
        sp<Config> config;
    };
    // What the creation that `call` makes with the answer callback it is given answered.
    template <typename Config, typename Call>
    static Created<Config> answerOf(Call call) {
        Created<Config> out;
        call([&](StatusCode s, const sp<Config>& c) { out = {s, c}; });
        return out;
    }
    static Created<V2_0::IRcsConfig> create_1_0(const sp<F1_0::IImsFactory>& through, uint32_t slot,
                                                const sp<V2_0::IRcsConfigListener>& listener) {
        return answerOf<V2_0::IRcsConfig>([&](auto answer) { through->createRcsConfig(slot, listener, answer); });
    }
    static Created<V2_1::IRcsConfig> create_1_1(const sp<F1_1::IImsFactory>& through, uint32_t slot,
                                                const sp<V2_1::IRcsConfigListener>& listener) {
        return answerOf<V2_1::IRcsConfig>([&](auto answer) { through->createRcsConfig_1_1(slot, listener, answer); });
    }

    // Takes the IMS Settings service down and waits until the service saw it.
    void modemDown() {
        size_t before = log.count("RcsConfigManager: MODEM_DOWN or NOT_SUPPORTED");
        modem().setServiceUp(IMSS_SERVICE_ID_V01, false);
        ASSERT_TRUE(log.waitFor("RcsConfigManager: MODEM_DOWN or NOT_SUPPORTED", kWait, before + 1));
        host->waitUntilIdle();
    }

    // A remote view of a client object, as the service receives it.
    template <typename T>
    static sp<T> remote(const sp<T>& local) {
        return ::android::hardware::testing::remoteOf(local);
    }

    imstest::LogCapture log;
    std::unique_ptr<rcsservice::RcsServiceHost> host;  // destroyed before the capture
    sp<F1_1::IImsFactory> factory;
};

// Fails the test for each of `expected` that `text` (a dump) does not contain.
inline void expectContains(const std::string& text, std::initializer_list<const char*> expected) {
    for (const char* line : expected) EXPECT_NE(text.find(line), std::string::npos) << line << "\n" << text;
}

// An object's filed callbacks, "recipients/wrappers" by kind (UCE status: recipients).
inline std::string filedOf(const sp<V2_1::IRcsConfig>& config) {
    RcsConfig::Filed f = static_cast<RcsConfig*>(config.get())->filed();
    return "set " + std::to_string(f.setConfigRecipients) + "/" + std::to_string(f.setConfigWrappers) + ", get " +
           std::to_string(f.getSettingsRecipients) + "/" + std::to_string(f.getSettingsWrappers) + ", change " +
           std::to_string(f.settingsChangeRecipients) + "/" + std::to_string(f.settingsChangeWrappers) + ", uce " +
           std::to_string(f.uceStatusRecipients);
}

inline V2_0::Container containerOf(std::vector<uint8_t> document, bool compressed = false) {
    V2_0::Container container;
    container.isCompressed = compressed;
    container.config = std::move(document);
    return container;
}

// How many pairs a settings record carries.
inline size_t pairCount(const V2_0::SettingsData& data) {
    return data.settingsValues.intData.size() + data.settingsValues.boolData.size() +
           data.settingsValues.stringData.size();
}

// A settings record with the given pairs.
inline V2_0::SettingsData settingsOf(V2_0::SettingsId id, std::vector<V2_0::KeyValuePairTypeInt> ints,
                                     std::vector<V2_0::KeyValuePairTypeBool> bools,
                                     std::vector<V2_0::KeyValuePairTypeString> strings) {
    V2_0::SettingsData data;
    data.settingsId = id;
    data.settingsValues.intData = ints;
    data.settingsValues.boolData = bools;
    data.settingsValues.stringData = strings;
    return data;
}

}  // namespace servicetest

#endif  // TESTS_SERVICE_SERVICE_FIXTURE_H
