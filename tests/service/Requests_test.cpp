// Every IRcsConfig request end to end: service host, embedded modem emulator,
// client callback objects in "another process".
#include <thread>

#include "ServiceFixture.h"
#include "support/ModemTestUtil.h"
#include "xvDplHost.h"

namespace servicetest {
namespace {

using V2_0::RequestStatus;
using V2_0::SettingsId;

class RequestsTest : public ServiceFixture {
protected:
    void SetUp() override {
        ASSERT_NO_FATAL_FAILURE(startService());
        listener = new Listener_2_1();
        config = create(1, remote<V2_1::IRcsConfigListener>(listener));
        ASSERT_NE(config, nullptr);
    }

    RequestStatus setConfigStatus(const std::vector<uint8_t>& document, bool compressed) {
        sp<SetConfigCb> cb = new SetConfigCb();
        config->setConfig(containerOf(document, compressed), remote<V2_0::ISetConfigCb>(cb));
        return firstOf(cb->responses, RequestStatus::FAIL);
    }

    RequestStatus setSettingsStatus(const V2_0::SettingsData& data) {
        sp<SetConfigCb> cb = new SetConfigCb();
        config->setSettingsValue(data, remote<V2_0::ISetConfigCb>(cb));
        return firstOf(cb->responses, RequestStatus::FAIL);
    }

    GetSettingsResponse get(SettingsId id) {
        sp<GetSettingsCb> cb = new GetSettingsCb();
        config->getSettingsValue(id, remote<V2_0::IGetSettingsCb>(cb));
        return firstOf(cb->responses, GetSettingsResponse{RequestStatus::FAIL, {}});
    }

    // The first answer, or `none` when it does not come.
    template <typename T>
    static T firstOf(const Calls<T>& answers, T none) {
        EXPECT_TRUE(answers.waitFor(1));
        return answers.size() > 0 ? answers.at(0) : none;
    }

    sp<Listener_2_1> listener;
    sp<V2_1::IRcsConfig> config;
};

V2_0::SettingsData presenceSample() {
    return settingsOf(SettingsId::PRESENCE_CONFIG, {{100, 600}, {108, 75}}, {{110, true}},
                      {{111, "sip:presence@operator.example"}});
}

TEST_F(RequestsTest, SetConfig_GzipDocument_ReachesModemAndIsConfirmed) {
    std::vector<uint8_t> document = imstest::patternBytes(4500);
    EXPECT_EQ(setConfigStatus(imstest::gzipBytes(document), true), RequestStatus::OK);

    std::vector<mcxemu::ReceivedConfig> received = modem().receivedConfigs(0);
    ASSERT_EQ(received.size(), 1u);
    EXPECT_TRUE(received[0].gzipped);
    EXPECT_EQ(received[0].document, document);
}

TEST_F(RequestsTest, UnknownSettingsIdsAndKeys_AreAnsweredAsTheirPathsSay) {
    for (int32_t raw : {4, 9, -1, INT32_MIN}) {
        const auto id = static_cast<SettingsId>(raw);
        const size_t refusals = log.count("Not sending request message to modem");
        // A read and a write answer FAIL (the read with an empty record) without the modem.
        GetSettingsResponse read = get(id);
        EXPECT_EQ(read.status, RequestStatus::FAIL) << raw;
        EXPECT_EQ(static_cast<int32_t>(read.data.settingsId), 0) << raw;
        EXPECT_EQ(pairCount(read.data), 0u) << raw;
        EXPECT_EQ(setSettingsStatus(settingsOf(id, {{100, 1}}, {}, {})), RequestStatus::FAIL) << raw;
        EXPECT_EQ(log.count("Not sending request message to modem"), refusals + 2) << raw;
        // A registration is taken (no change ever comes for it) and can be withdrawn.
        const size_t registrations = modem().requestCount(IMSS_SERVICE_ID_V01, 0x2A);
        sp<SettingsChangeCb> changes = new SettingsChangeCb();
        EXPECT_EQ(config->registerForSettingsChange(id, remote<V2_0::ISettingsChangeCb>(changes)),
                  RequestStatus::OK);
        ASSERT_TRUE(modem().waitForRequests(IMSS_SERVICE_ID_V01, 0x2A, registrations + 1, kWait));
        EXPECT_EQ(config->deregisterForSettingsChange(id), RequestStatus::OK);
        host->waitUntilIdle();
        EXPECT_EQ(changes->changes.size(), 0u) << raw;
    }
    EXPECT_EQ(log.count("UpdateSettingOnThread: registration for indication default"), 4u);
    EXPECT_EQ(log.count("after calling deregisterForChange, status 1"), 4u);
    // A key that its group does not have fails the write before the modem.
    const size_t writes = modem().requestCount(IMSS_SERVICE_ID_V01, 0x69);
    const size_t refusals = log.count("Not sending request message to modem");
    EXPECT_EQ(setSettingsStatus(settingsOf(SettingsId::PRESENCE_CONFIG, {{150, 1}}, {}, {})), RequestStatus::FAIL);
    EXPECT_EQ(log.count("Not sending request message to modem"), refusals + 1);
    EXPECT_EQ(modem().requestCount(IMSS_SERVICE_ID_V01, 0x69), writes);
    // Every group still works.
    EXPECT_EQ(setSettingsStatus(presenceSample()), RequestStatus::OK);
    EXPECT_EQ(get(SettingsId::PRESENCE_CONFIG).status, RequestStatus::OK);
}

TEST_F(RequestsTest, RegisterForSettingsChange_DeliversChangesUntilDeregisteredAndDeregisterIsAlwaysOk) {
    sp<SettingsChangeCb> changes = new SettingsChangeCb();
    EXPECT_EQ(config->registerForSettingsChange(SettingsId::PRESENCE_CONFIG,
                                                remote<V2_0::ISettingsChangeCb>(changes)),
              RequestStatus::OK);
    // The registration reaches the modem on a worker; wait for it before writing.
    ASSERT_TRUE(modem().waitForRequests(IMSS_SERVICE_ID_V01, 0x2A, 1, kWait));

    ASSERT_EQ(setSettingsStatus(presenceSample()), RequestStatus::OK);
    ASSERT_TRUE(changes->changes.waitFor(1));
    V2_0::SettingsData change = changes->changes.at(0);
    EXPECT_EQ(change.settingsId, SettingsId::PRESENCE_CONFIG);
    EXPECT_EQ(change.settingsValues.intData.size(), 2u);

    EXPECT_EQ(config->deregisterForSettingsChange(SettingsId::PRESENCE_CONFIG), RequestStatus::OK);
    host->waitUntilIdle();
    EXPECT_TRUE(log.contains("after calling deregisterForChange, status 1"));
    ASSERT_EQ(setSettingsStatus(presenceSample()), RequestStatus::OK);
    host->waitUntilIdle();
    EXPECT_EQ(changes->changes.size(), 1u);

    // A group never registered is still answered OK.
    EXPECT_EQ(config->deregisterForSettingsChange(SettingsId::USER_AGENT_STRING), RequestStatus::OK);
    host->waitUntilIdle();
    EXPECT_TRUE(log.contains("after calling deregisterForChange, status 0"));
}

TEST_F(RequestsTest, AppTokenAndFetchStatus_ReachTheModem) {
    sp<SetConfigCb> cb = new SetConfigCb();
    config->setAppToken("fcm-token-0123456789", remote<V2_0::ISetConfigCb>(cb));
    ASSERT_TRUE(cb->responses.waitFor(1));
    EXPECT_EQ(cb->responses.at(0), RequestStatus::OK);
    std::vector<uint8_t> token = modem().acsToken(0);
    EXPECT_EQ(std::string(token.begin(), token.end()), "fcm-token-0123456789");

    config->updateTokenFetchStatus(42, V2_1::TokenType::FCM_TOKEN, V2_1::StatusCode::NETWORK_ERROR);
    ASSERT_TRUE(modem().waitForRequests(IMSS_SERVICE_ID_V01, 0xA7, 1, kWait));
    ASSERT_TRUE(log.waitFor("ImsMcxSettings::sendAppTokenStatusOnThread, sent successfully", kWait));
    std::vector<mcxemu::TokenStatus> statuses = modem().tokenStatuses(0);
    ASSERT_EQ(statuses.size(), 1u);
    EXPECT_EQ(statuses[0].statusCode, 2);
    EXPECT_EQ(statuses[0].requestId, 42);
}

// A client may call one object from several threads at once (or a death
// notice may arrive meanwhile): every request is filed and answered, and one
// callback object has one wrapper however many requests it answers.
TEST_F(RequestsTest, RequestsFromSeveralThreads_AreAllFiledAndAnswered) {
    constexpr int kThreads = 4;
    constexpr int kPerThread = 25;
    sp<SetConfigCb> setCb = new SetConfigCb();
    sp<GetSettingsCb> getCb = new GetSettingsCb();
    sp<V2_0::ISetConfigCb> setProxy = remote<V2_0::ISetConfigCb>(setCb);
    sp<V2_0::IGetSettingsCb> getProxy = remote<V2_0::IGetSettingsCb>(getCb);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < kPerThread; ++i) {
                if (t == 0) config->setConfig(containerOf(imstest::patternBytes(100)), setProxy);
                else config->setAppToken("token", setProxy);
                config->getSettingsValue(SettingsId::USER_AGENT_STRING, getProxy);
            }
        });
    }
    for (auto& t : threads) t.join();
    ASSERT_TRUE(setCb->responses.waitFor(kThreads * kPerThread));
    EXPECT_TRUE(getCb->responses.waitFor(kThreads * kPerThread));
    EXPECT_EQ(filedOf(config), "set 100/1, get 100/1, change 0/0, uce 0");
    for (int i = 0; i < kThreads * kPerThread; ++i) EXPECT_EQ(setCb->responses.at(i), RequestStatus::OK) << i;
}

// ---- refusals

TEST_F(RequestsTest, ModemDown_RequestsAreRefusedTokenRequestsThrowAndTheServiceGoesOn) {
    ASSERT_NO_FATAL_FAILURE(modemDown());

    EXPECT_EQ(setConfigStatus(imstest::patternBytes(10), false), RequestStatus::FAIL);
    EXPECT_TRUE(log.contains("RcsConfigManager::handleEvent cannot set rcs config,modem service is not up"));

    EXPECT_EQ(setSettingsStatus(presenceSample()), RequestStatus::FAIL);
    EXPECT_TRUE(log.contains("RcsConfigManager::handleEvent cannot set rcs settings,modem service is not up"));

    GetSettingsResponse read = get(SettingsId::PRESENCE_CONFIG);
    EXPECT_EQ(read.status, RequestStatus::FAIL);
    EXPECT_EQ(read.data.settingsValues.intData.size(), 0u);

    // Registration is taken at once; the refusal arrives as an empty change.
    sp<SettingsChangeCb> changes = new SettingsChangeCb();
    EXPECT_EQ(config->registerForSettingsChange(SettingsId::USER_AGENT_STRING,
                                                remote<V2_0::ISettingsChangeCb>(changes)),
              RequestStatus::OK);
    ASSERT_TRUE(changes->changes.waitFor(1));
    EXPECT_EQ(changes->changes.at(0).settingsValues.stringData.size(), 0u);
    EXPECT_TRUE(log.contains(
            "RcsConfigManager::handleEvent cannot register for rcs settings change,modem service is not up"));
    EXPECT_TRUE(log.waitFor("Sent response for registerForSettingsChange fail,callback register resulted in success",
                            kWait));
    EXPECT_EQ(config->deregisterForSettingsChange(SettingsId::USER_AGENT_STRING), RequestStatus::OK);
    host->waitUntilIdle();
    const size_t refusals = log.count("RcsConfigManager::handleEvent cannot proceed, modem service is not up");
    EXPECT_GE(refusals, 1u);
    EXPECT_FALSE(log.contains("Before calling deregisterForChange in get"));

    // The token requests have no answer to refuse with: they throw on the loop.
    sp<SetConfigCb> tokenCb = new SetConfigCb();
    config->setAppToken("token", remote<V2_0::ISetConfigCb>(tokenCb));
    ASSERT_TRUE(log.waitFor("RcsServiceHost: an event handler threw on the loop thread", kWait));
    config->updateTokenFetchStatus(7, V2_1::TokenType::FCM_TOKEN, V2_1::StatusCode::FAILURE);
    ASSERT_TRUE(log.waitFor("RcsServiceHost: an event handler threw on the loop thread", kWait, 2));
    host->waitUntilIdle();
    EXPECT_EQ(log.count("RcsConfigManager::handleEvent cannot proceed, modem service is not up"), refusals + 2);
    // The token sender never hears back; nothing reached the modem.
    EXPECT_EQ(tokenCb->responses.size(), 0u);
    EXPECT_EQ(modem().requestCount(IMSS_SERVICE_ID_V01, 0xA6), 0u);
    EXPECT_EQ(modem().requestCount(IMSS_SERVICE_ID_V01, 0xA7), 0u);

    // Still serving: a refusal now, and real work once the modem is back.
    EXPECT_EQ(get(SettingsId::PRESENCE_CONFIG).status, RequestStatus::FAIL);
    modem().setServiceUp(IMSS_SERVICE_ID_V01, true);
    ASSERT_TRUE(log.waitFor("RcsConfigManager: ServiceStatus::AVAILABLE", kWait, 2));
    sp<V2_1::IRcsConfig> again = create(1, remote<V2_1::IRcsConfigListener>(listener));
    sp<SetConfigCb> cb = new SetConfigCb();
    again->setAppToken("token-after", remote<V2_0::ISetConfigCb>(cb));
    ASSERT_TRUE(cb->responses.waitFor(1));
    EXPECT_EQ(cb->responses.at(0), RequestStatus::OK);
    EXPECT_NE(host->dump().find("handler failures caught: 2"), std::string::npos);
}

TEST_F(RequestsTest, ModemUpWithoutCarrierConfig_RefusesOnlyTheConfigUpload) {
    // Restart the modem with carrier configuration switched off.
    modem().setCarrierConfigSupported(false);
    size_t before = log.count("RcsConfigManager: ServiceStatus::MODEM_UP");
    modem().restart();
    ASSERT_TRUE(log.waitFor("RcsConfigManager: ServiceStatus::MODEM_UP", kWait, before + 1));
    host->waitUntilIdle();
    config = create(1, remote<V2_1::IRcsConfigListener>(listener));

    EXPECT_EQ(setConfigStatus(imstest::patternBytes(50), false), RequestStatus::FAIL);
    EXPECT_TRUE(log.contains("RcsConfigManager::handleEvent cannot set rcs config,modem service is not up"));
    EXPECT_TRUE(modem().receivedConfigs(0).empty());
    EXPECT_EQ(setSettingsStatus(presenceSample()), RequestStatus::OK);
    EXPECT_EQ(get(SettingsId::PRESENCE_CONFIG).status, RequestStatus::OK);
}

// getUceStatus reports the platform's RCS service mask as two flags, each of
// which needs the common RCS bit as well.
TEST_F(RequestsTest, GetUceStatus_FlagsFollowThePlatformMask) {
    struct Case {
        uint32_t mask;
        bool presence;
        bool options;
    };
    const Case cases[] = {{0x5, true, false}, {0xD, true, true},  {0x9, false, true},
                          {0x4, false, false}, {0x8, false, false}, {0x1, false, false},
                          {0xC, false, false}, {0x0, false, false}, {0xFFFFFFFF, true, true}};
    for (const Case& c : cases) {
        xvDplHostSetSupportedRcsServiceMask(c.mask);
        sp<UceListener> uce = new UceListener();
        config->getUceStatus(remote<V2_0::IRcsServiceStatusListener>(uce));
        // Answered on the calling thread, before the call returns.
        ASSERT_EQ(uce->statuses.size(), 1u) << std::hex << c.mask;
        V2_0::UceStatus status = uce->statuses.at(0);
        EXPECT_EQ(status.isPresenceSupported, c.presence) << std::hex << c.mask;
        EXPECT_EQ(status.isOptionsSupported, c.options) << std::hex << c.mask;
    }
    EXPECT_EQ(log.count("RcsConfig got getUceStatus request"), std::size(cases));
}

// Leaves a recognisable pattern where the next call's locals will live, so a
// record that is not value-initialised shows it instead of happening to be zero.
__attribute__((noinline)) void paintStack() {
    volatile unsigned char area[16384];
    for (size_t i = 0; i < sizeof(area); ++i) area[i] = 0xA5;
}

TEST(RecordsToClientsTest, FailedReadAndRefusedRegistration_CarryAValueInitialisedRecord) {
    sp<GetSettingsCb> reads = new GetSettingsCb();
    sp<SettingsChangeCb> changes = new SettingsChangeCb();
    RcsConfig::GetConfigListenerWrapper read;
    read.getRcsSettingsListener(reads);
    RcsConfig::GetUpdatedSettingsListenerWrapper change;
    change.getUpdatedSettingsListener(changes);
    // Both failure paths and an unknown id that no converter takes.
    for (int responseType : {static_cast<int>(IMSS_GET_PRESENCE_CONFIG_V01), 9}) {
        paintStack();
        read.getRcsSettingsCb(responseType, nullptr);
        paintStack();
        change.getUpdatedSettingsCb(responseType, nullptr);
    }
    ASSERT_EQ(reads->responses.size(), 2u);
    ASSERT_EQ(changes->changes.size(), 2u);
    for (size_t i = 0; i < 2; ++i) {
        GetSettingsResponse r = reads->responses.at(i);
        EXPECT_EQ(r.status, RequestStatus::FAIL);
        EXPECT_EQ(static_cast<int32_t>(r.data.settingsId), 0) << i;
        EXPECT_EQ(static_cast<int32_t>(changes->changes.at(i).settingsId), 0) << i;
        EXPECT_EQ(pairCount(r.data), 0u) << i;
    }
}

}  // namespace
}  // namespace servicetest
