// Service status reports, connections and indication dispatch of the IMS
// Settings client, against the modem emulator.
#include <cstring>

#include "SettingsTestFixture.h"

namespace settingstest {
namespace {

using S = ServiceStatus;

// The second report says whether the modem takes carrier configuration: only
// a supported-messages answer that lists it makes the service available. 0x9C
// is bit 4 of byte 19, so a bit map of 20 bytes is the shortest that holds it.
struct SvcUpCase {
    const char* name;
    bool listed;
    bool requestFails;
    uint32_t bitmapLength;  // 0: as long as the highest listed id needs
    S second;
};

class SvcUpTest : public SettingsTest, public ::testing::WithParamInterface<SvcUpCase> {};

TEST_P(SvcUpTest, SvcUp_ReportsNotSupportedThenWhatTheSupportedMessagesSay) {
    const SvcUpCase& c = GetParam();
    modem().setCarrierConfigSupported(c.listed);
    modem().setSupportedMessagesLength(c.bitmapLength);
    if (c.requestFails) fail(IMSS_GET_SUPPORTED_MSGS_V01, {});
    startClient();
    ASSERT_TRUE(waitForStatuses(2));
    ASSERT_TRUE(mLoop->waitUntilIdle());
    EXPECT_EQ(statuses(), (std::vector<S>{S::NOT_SUPPORTED, c.second}));
    EXPECT_EQ(requestsOf(IMSS_GET_SUPPORTED_MSGS_V01).size(), 1u);
}

INSTANTIATE_TEST_SUITE_P(Answers, SvcUpTest,
                         ::testing::Values(SvcUpCase{"Listed", true, false, 0, S::AVAILABLE},
                                           SvcUpCase{"ListedInAnExactBitmap", true, false, 20, S::AVAILABLE},
                                           SvcUpCase{"BitmapEndsBeforeIt", true, false, 19, S::MODEM_UP},
                                           SvcUpCase{"NotListed", false, false, 0, S::MODEM_UP},
                                           SvcUpCase{"RequestFails", true, true, 0, S::MODEM_UP}),
                         [](const ::testing::TestParamInfo<SvcUpCase>& info) { return std::string(info.param.name); });

// A bring-up with the connection still open, and one for a service that went
// away meanwhile (reached through a direct call), report only NOT_SUPPORTED.
TEST_F(SettingsTest, SvcUp_AgainWithConnectionOpenOrServiceMissing_ReportsNotSupportedOnly) {
    startClient();
    ASSERT_TRUE(waitForStatuses(2));
    onLoop([&] { mSettings->svcUp(); });
    ASSERT_TRUE(waitForStatuses(3));
    EXPECT_TRUE(mLog.contains(
        "ImsMcxSettings: client is already present,so skipping client initialization."));
    EXPECT_EQ(requestsOf(IMSS_GET_SUPPORTED_MSGS_V01).size(), 1u);
    modem().setServiceUp(IMSS_SERVICE_ID_V01, false);
    ASSERT_TRUE(waitForStatuses(4));
    onLoop([&] { mSettings->svcUp(); });
    ASSERT_TRUE(waitForStatuses(5));
    ASSERT_TRUE(mLoop->waitUntilIdle());
    EXPECT_EQ(statuses(), (std::vector<S>{S::NOT_SUPPORTED, S::AVAILABLE, S::NOT_SUPPORTED,
                                          S::MODEM_DOWN, S::NOT_SUPPORTED}));
    EXPECT_TRUE(mLog.contains("ImsMcxSettings::Error get IMS Settings service."));
}

// Subscriptions 0 and 1 only, each bound once; a failed bind keeps the
// connection (no second bind), an error header still succeeds.
TEST_F(SettingsTest, SubscribeToSub_BindsEachOfTheTwoSubscriptionsOnce) {
    startClient();
    ASSERT_TRUE(waitForStatuses(2));
    EXPECT_FALSE(subscribe(2));
    EXPECT_FALSE(subscribe(-1));
    EXPECT_TRUE(requestsOf(IMSS_BIND_SUBSCRIPTION_V01).empty());
    fail(IMSS_BIND_SUBSCRIPTION_V01, {});
    EXPECT_FALSE(subscribe(0));
    EXPECT_TRUE(mLog.contains("ImsMcxSettings:imssClient: Bind subscription fail"));
    EXPECT_TRUE(subscribe(0));
    EXPECT_EQ(requestsOf(IMSS_BIND_SUBSCRIPTION_V01).size(), 1u);
    fail(IMSS_BIND_SUBSCRIPTION_V01, {K::ResponseHeader, 1, 3});
    EXPECT_TRUE(subscribe(1));
    EXPECT_TRUE(mLog.contains("ImsMcxSettings:imssClient: result[1], error[3]"));
    EXPECT_TRUE(subscribe(1));
    auto binds = requestsOf(IMSS_BIND_SUBSCRIPTION_V01);
    ASSERT_EQ(binds.size(), 2u);
    ims_settings_bind_subscription_req_msg_v01 req;
    memcpy(&req, binds[0].data.data(), sizeof(req));
    EXPECT_EQ(req.subscription, 0);
    memcpy(&req, binds[1].data.data(), sizeof(req));
    EXPECT_EQ(req.subscription, 1);
    // Service-wide connection plus one per subscription.
    EXPECT_EQ(modem().connectionCount(IMSS_SERVICE_ID_V01), 3u);
}

TEST_F(SettingsTest, IndicationsAndEvents_ShortLongUnknownOrUnexpectedAreDropped_ConnectionErrorTakesModemDown) {
    startAndSubscribe();
    auto changes = registerFor(3);
    ASSERT_TRUE(mLog.waitFor("ImsMcxSettings::UpdateSettingOnThread, success", kWait));
    const auto& group = imss_settings_groups_v01[3];
    // From the modem: shorter and longer than the group's indication.
    size_t dropped = 0;
    for (uint32_t length : {1u, group.set_len - 1, group.set_len + 1, 4096u}) {
        modem().setIndicationLength(IMSS_SERVICE_ID_V01, IMSS_IMS_SERVICE_ENABLE_CONFIG_IND_V01, length);
        std::vector<uint8_t> msg(group.set_len, 0);
        EXPECT_TRUE(write(IMSS_SET_IMS_SERVICE_ENABLE_CONFIG_V01, msg)->waitForCount(1));
        ASSERT_TRUE(mLog.waitFor("ImsMcxSettings : unable to obtain message data from MCX", kWait,
                                 ++dropped))
                << length;
    }
    // Straight into the indication callback: no bytes, and an id nobody handles.
    uint8_t bytes[16] = {};
    ImsMcxSettings::mcxImsSettingsSvcIndCb(nullptr, IMSS_IMS_SERVICE_ENABLE_CONFIG_IND_V01, bytes, 0,
                                           mSettings.get());
    ImsMcxSettings::mcxImsSettingsSvcIndCb(nullptr, IMSS_IMS_SERVICE_ENABLE_CONFIG_IND_V01, nullptr, 16,
                                           mSettings.get());
    ImsMcxSettings::mcxImsSettingsSvcIndCb(nullptr, 0x55, bytes, sizeof(bytes), mSettings.get());
    EXPECT_EQ(mLog.count("The ind_cb_data/ind_buf is null or ind_buf_len is "), 2u);
    EXPECT_TRUE(mLog.contains("ImsMcxSettings : No Handler to process MCX idle indication : 85"));
    // An event of no known type, a verdict without data and one for a token
    // nobody is waiting for.
    auto answer = upload(noiseBytes(3), false);
    ASSERT_TRUE(answer->waitForCount(1));
    onLoop([&] {
        imssCallbackData_s ev{7, 0, nullptr};
        mSettings->handleEvent(ev);
        mSettings->processMcxInd(IMSS_CARRIER_CONFIG_STATUS_IND_V01, nullptr);
        auto* ind = static_cast<ims_settings_carrier_config_status_ind_msg_v01*>(
            malloc(sizeof(ims_settings_carrier_config_status_ind_msg_v01)));
        ind->ref_num = static_cast<uint8_t>(tokenSeed() + 9);
        ind->config_status = 0;
        mSettings->processMcxInd(IMSS_CARRIER_CONFIG_STATUS_IND_V01, ind);
    });
    EXPECT_TRUE(mLog.contains("ImsMcxSettings::handleEvent unhandled event: 7"));
    EXPECT_TRUE(mLog.contains("ImsMcxSettings :DecodedData is null"));
    EXPECT_EQ(mLog.count("ImsMcxSettings :DecodedData->ref_num["), 2u);
    EXPECT_EQ(answer->size(), 1u);
    EXPECT_EQ(statuses().size(), 2u);
    ASSERT_TRUE(mLoop->waitUntilIdle());
    EXPECT_EQ(changes->size(), 0u);
    // A well-formed change still arrives.
    std::vector<uint8_t> msg(group.set_len, 0);
    EXPECT_TRUE(write(IMSS_SET_IMS_SERVICE_ENABLE_CONFIG_V01, msg)->waitForCount(1));
    EXPECT_TRUE(changes->waitForCount(1));

    // A connection error takes the modem-down path.
    ImsMcxSettings::mcxErrorCb(nullptr, MCX_ERR_SERVICE_GONE, mSettings.get());
    ASSERT_TRUE(waitForStatuses(3));
    EXPECT_EQ(statuses()[2], S::MODEM_DOWN);
    ASSERT_TRUE(mLog.waitFor("ImsMcxSettings::modemDown:registerForMcxSvcUp", kWait));
}

TEST_F(SettingsTest, Destruction_FreesIndicationsStillQueued) {
    startAndSubscribe();
    mLoop->stop();
    // A decoded indication the loop never got to; the sanitizer run reports
    // its buffer if the client drops the record without freeing it.
    imssCallbackData_s ev{2, IMSS_PRESENCE_CONFIG_IND_V01,
                          calloc(1, imss_settings_groups_v01[0].set_len)};
    mSettings->postEvent(ev);
    mSettings.reset();
    EXPECT_TRUE(mLog.contains("ImsMcxSettings Dtor"));
    EXPECT_FALSE(mLog.contains("ImsMcxSettings :processMcxInd, eventType: "));
}

}  // namespace
}  // namespace settingstest
