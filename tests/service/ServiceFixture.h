/*
 * End-to-end fixture: the service host on the embedded modem emulator, and
 * the factory as a client in another process sees it (a proxy from the
 * service registry). Each test case runs in its own process.
 */
#ifndef TESTS_SERVICE_SERVICE_FIXTURE_H
#define TESTS_SERVICE_SERVICE_FIXTURE_H

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>

#include <hidl/HidlTesting.h>
#include <vendor/kel/ims/factory/1.0/IImsFactory.h>
#include <vendor/kel/ims/factory/1.1/IImsFactory.h>
#include <vendor/kel/ims/rcsconfig/2.1/IRcsConfig.h>

#include "FakeClients.h"
#include "emulator/EmbeddedModem.h"
#include "emulator/ModemEmulator.h"
#include "ims_application_service_v01.h"
#include "ims_settings_service_v01.h"
#include "mcx_host.h"
#include "rcsconfig/RcsConfig.h"
#include "service/HostModem.h"
#include "service/RcsServiceHost.h"
#include "support/LogCapture.h"

namespace servicetest {

using ::android::sp;
namespace F1_0 = ::vendor::kel::ims::factory::V1_0;
namespace F1_1 = ::vendor::kel::ims::factory::V1_1;

constexpr std::chrono::seconds kWait(10);
using StatusCode = F1_0::IImsFactory::StatusCode;

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
