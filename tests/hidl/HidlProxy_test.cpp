// The generated proxies: every method of an interface (its own and its
// parents') reaches the object with its arguments and results intact while
// the object's process lives, and fails with DEAD_OBJECT afterwards.
#include <hidl/HidlTesting.h>
#include <vendor/kel/ims/factory/1.1/IImsFactory.h>
#include <vendor/kel/ims/rcsconfig/2.1/IRcsConfig.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "xproc/Callbacks.h"

using ::android::sp;
using ::android::hardware::hidl_string;
using ::android::hardware::Return;
using ::android::hardware::Void;
using ::android::hidl::base::V1_0::IBase;
namespace hooks = ::android::hardware::testing;
namespace V2_0 = ::vendor::kel::ims::rcsconfig::V2_0;
namespace V2_1 = ::vendor::kel::ims::rcsconfig::V2_1;
namespace F1_0 = ::vendor::kel::ims::factory::V1_0;
namespace F1_1 = ::vendor::kel::ims::factory::V1_1;

namespace {

// Writes one line per call with the arguments it received.
struct RecordingRcsConfig : V2_1::IRcsConfig {
    std::vector<std::string> calls;
    const void* lastCallback = nullptr;  // setConfig's

    Return<void> setConfig(const V2_0::Container& c, const sp<V2_0::ISetConfigCb>& cb) override {
        calls.push_back("setConfig " + std::to_string(c.isCompressed) + " " + std::to_string(c.config.size()));
        lastCallback = cb.get();
        return Void();
    }
    Return<void> setSettingsValue(const V2_0::SettingsData& d, const sp<V2_0::ISetConfigCb>&) override {
        calls.push_back("setSettingsValue " + V2_0::toString(d.settingsId) + " " +
                        std::string(d.settingsValues.stringData[0].value));
        return Void();
    }
    Return<void> getSettingsValue(V2_0::SettingsId id, const sp<V2_0::IGetSettingsCb>&) override {
        calls.push_back("getSettingsValue " + V2_0::toString(id));
        return Void();
    }
    Return<V2_0::RequestStatus> registerForSettingsChange(V2_0::SettingsId id,
                                                          const sp<V2_0::ISettingsChangeCb>&) override {
        calls.push_back("registerForSettingsChange " + V2_0::toString(id));
        return V2_0::RequestStatus::FAIL;
    }
    Return<V2_0::RequestStatus> deregisterForSettingsChange(V2_0::SettingsId id) override {
        calls.push_back("deregisterForSettingsChange " + V2_0::toString(id));
        return V2_0::RequestStatus::OK;
    }
    Return<void> getUceStatus(const sp<V2_0::IRcsServiceStatusListener>&) override {
        calls.push_back("getUceStatus");
        return Void();
    }
    Return<void> setAppToken(const hidl_string& token, const sp<V2_0::ISetConfigCb>&) override {
        calls.push_back("setAppToken " + std::string(token));
        return Void();
    }
    Return<void> updateTokenFetchStatus(int32_t id, V2_1::TokenType t, V2_1::StatusCode s) override {
        calls.push_back("updateTokenFetchStatus " + std::to_string(id) + " " +
                        std::to_string(static_cast<int32_t>(t)) + " " + std::to_string(static_cast<int32_t>(s)));
        return Void();
    }
};

}  // namespace

TEST(HidlProxyTest, EveryMethodOfA21Interface_ReachesTheObjectWithItsArguments) {
    sp<RecordingRcsConfig> impl = new RecordingRcsConfig();
    sp<V2_1::IRcsConfig> remote = hooks::remoteOf<V2_1::IRcsConfig>(impl);
    xproc::Events events;
    sp<xproc::SetCb> setCb = new xproc::SetCb(events);

    V2_0::Container container;
    container.isCompressed = true;
    container.config = std::vector<uint8_t>(3000, 0x5a);
    V2_0::SettingsData data;
    data.settingsId = V2_0::SettingsId::USER_AGENT_STRING;
    data.settingsValues.stringData.resize(1);
    data.settingsValues.stringData[0].value = "agent/1.0";

    EXPECT_TRUE(remote->setConfig(container, setCb).isOk());
    EXPECT_EQ(impl->lastCallback, setCb.get());
    EXPECT_TRUE(remote->setSettingsValue(data, setCb).isOk());
    EXPECT_TRUE(remote->getSettingsValue(V2_0::SettingsId::PRESENCE_CONFIG, new xproc::GetCb(events)).isOk());
    Return<V2_0::RequestStatus> reg =
            remote->registerForSettingsChange(V2_0::SettingsId::IMS_SERVICE_ENABLE_CONFIG, new xproc::ChangeCb(events));
    EXPECT_EQ(reg.withDefault(V2_0::RequestStatus::OK), V2_0::RequestStatus::FAIL);
    EXPECT_EQ(remote->deregisterForSettingsChange(V2_0::SettingsId::STANDALONE_MESSAGING_CONFIG)
                      .withDefault(V2_0::RequestStatus::FAIL),
              V2_0::RequestStatus::OK);
    EXPECT_TRUE(remote->getUceStatus(new xproc::UceCb(events)).isOk());
    EXPECT_TRUE(remote->setAppToken("token-abc", setCb).isOk());
    EXPECT_TRUE(remote->updateTokenFetchStatus(9, static_cast<V2_1::TokenType>(4),
                                               static_cast<V2_1::StatusCode>(-2)).isOk());

    EXPECT_EQ(impl->calls, (std::vector<std::string>{
                                   "setConfig 1 3000",
                                   "setSettingsValue USER_AGENT_STRING agent/1.0",
                                   "getSettingsValue PRESENCE_CONFIG",
                                   "registerForSettingsChange IMS_SERVICE_ENABLE_CONFIG",
                                   "deregisterForSettingsChange STANDALONE_MESSAGING_CONFIG",
                                   "getUceStatus",
                                   "setAppToken token-abc",
                                   "updateTokenFetchStatus 9 4 -2",
                           }));
}

TEST(HidlProxyTest, EveryMethod_FailsWithDeadObjectOnceTheProcessDied) {
    sp<RecordingRcsConfig> impl = new RecordingRcsConfig();
    sp<V2_1::IRcsConfig> remote = hooks::remoteOf<V2_1::IRcsConfig>(impl);
    hooks::killProcessOf(impl);
    xproc::Events events;
    sp<xproc::SetCb> setCb = new xproc::SetCb(events);

    EXPECT_TRUE(remote->setConfig(V2_0::Container(), setCb).isDeadObject());
    EXPECT_TRUE(remote->setSettingsValue(V2_0::SettingsData(), setCb).isDeadObject());
    EXPECT_TRUE(remote->getSettingsValue(V2_0::SettingsId::PRESENCE_CONFIG, nullptr).isDeadObject());
    EXPECT_TRUE(remote->registerForSettingsChange(V2_0::SettingsId::PRESENCE_CONFIG, nullptr).isDeadObject());
    EXPECT_TRUE(remote->deregisterForSettingsChange(V2_0::SettingsId::PRESENCE_CONFIG).isDeadObject());
    EXPECT_TRUE(remote->getUceStatus(nullptr).isDeadObject());
    EXPECT_TRUE(remote->setAppToken("t", setCb).isDeadObject());
    EXPECT_TRUE(remote->updateTokenFetchStatus(1, V2_1::TokenType::FCM_TOKEN, V2_1::StatusCode::SUCCESS)
                        .isDeadObject());
    EXPECT_TRUE(remote->ping().isDeadObject());
    EXPECT_TRUE(impl->calls.empty());  // no dead call arrived

    // Casting a dead object: null without error, or the error when asked for.
    Return<sp<V2_0::IRcsConfig>> quiet = V2_0::IRcsConfig::castFrom(sp<IBase>(remote), false);
    EXPECT_TRUE(quiet.isOk());
    EXPECT_EQ(static_cast<sp<V2_0::IRcsConfig>>(quiet), nullptr);
    EXPECT_TRUE(V2_0::IRcsConfig::castFrom(sp<IBase>(remote), true).isDeadObject());
}

TEST(HidlProxyTest, SynchronousCallbackResults_ComeBackThroughTheProxy) {
    sp<F1_0::IImsFactory> remote = hooks::remoteOf<F1_0::IImsFactory>(new xproc::FakeImsFactory());
    sp<xproc::Listener> listener = xproc::newListener();

    F1_0::IImsFactory::StatusCode status{};
    sp<V2_0::IRcsConfig> config;
    ASSERT_TRUE(remote->createRcsConfig(1, listener, [&](auto s, const auto& c) {
                          status = s;
                          config = c;
                      }).isOk());
    EXPECT_EQ(status, F1_0::IImsFactory::StatusCode::SUCCESS);
    EXPECT_NE(config, nullptr);

    sp<F1_1::IImsFactory> remote11 = F1_1::IImsFactory::castFrom(sp<IBase>(remote));
    ASSERT_NE(remote11, nullptr);
    int answers = 0;
    EXPECT_TRUE(remote11->createRcsConfig_1_1(2, listener, [&](auto s, const auto& c) {
                            EXPECT_EQ(s, F1_0::IImsFactory::StatusCode::INVALID_ARGUMENTS);
                            EXPECT_EQ(c, nullptr);
                            ++answers;
                        }).isOk());
    EXPECT_EQ(answers, 1);

    hooks::killProcessOf(remote11);
    EXPECT_TRUE(remote->createRcsConfig(1, listener, [&](auto, const auto&) { ++answers; }).isDeadObject());
    EXPECT_EQ(answers, 1);  // a dead object never answers
}
