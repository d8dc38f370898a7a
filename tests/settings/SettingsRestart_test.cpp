// A modem restart while requests are in flight: the client comes back, its
// maps are emptied and its counters start again from the seed.
#include "SettingsTestFixture.h"

namespace settingstest {
namespace {

using S = ServiceStatus;

const std::vector<S> kRestarted{S::NOT_SUPPORTED, S::AVAILABLE, S::MODEM_DOWN, S::NOT_SUPPORTED,
                                S::AVAILABLE};

TEST_F(SettingsTest, Restart_MidUpload_DropsCallbackAndStartsAgainFromSeed) {
    startAndSubscribe();
    auto before = upload(noiseBytes(1), false);
    ASSERT_TRUE(before->waitForCount(1));
    fail(IMSS_SET_NEW_CARRIER_CONFIG_V01, {K::Delay, 0, 0, 0, 800});
    auto interrupted = upload(noiseBytes(6001), false);
    ASSERT_TRUE(modem().waitForRequests(IMSS_SERVICE_ID_V01, IMSS_SET_NEW_CARRIER_CONFIG_V01, 2,
                                        kWait));
    modem().restart();
    ASSERT_TRUE(waitForStatuses(5));
    EXPECT_EQ(statuses(), kRestarted);
    // The worker fails on its released connection; whether it still finds its
    // callback depends on whether modemDown emptied the map first, but it
    // never reports success.
    ASSERT_TRUE(mLog.waitFor("ImsMcxSettings:sendRcsConfigRequestMessage  FAILED", kWait));
    ASSERT_TRUE(mLoop->waitUntilIdle());
    EXPECT_LE(interrupted->size(), 1u);
    for (bool ok : interrupted->values()) EXPECT_FALSE(ok);

    // Slots were emptied: the subscription must be bound again.
    modem().clearRequests();
    auto unbound = sendToken("tok");
    ASSERT_TRUE(mLog.waitFor("ImsMcxSettings: sub 0 has no connection", kWait));
    ASSERT_TRUE(subscribe(0));
    // The counter starts from the seed again, so this upload draws the first
    // upload's token; with the map emptied its own callback is filed and answered.
    auto after = upload(noiseBytes(5), false);
    ASSERT_TRUE(after->waitForCount(1));
    ASSERT_TRUE(mLoop->waitUntilIdle());
    EXPECT_EQ(after->values(), std::vector<bool>{true});
    EXPECT_EQ(before->size(), 1u);
    auto segs = segments();
    ASSERT_EQ(segs.size(), 1u);
    EXPECT_EQ(segs[0].token, tokenSeed());
    EXPECT_EQ(modem().receivedConfigs(0).back().document, noiseBytes(5));
    EXPECT_EQ(unbound->size(), 0u);
}

TEST_F(SettingsTest, Restart_MidRead_AnswersNullAndReseedsRequestKeys) {
    startAndSubscribe();
    auto changes = registerFor(1);
    ASSERT_TRUE(mLog.waitFor("ImsMcxSettings::UpdateSettingOnThread, success", kWait));
    fail(IMSS_GET_STANDALONE_MSG_CONFIG_V01, {K::Delay, 0, 0, 0, 800});
    auto first = read(IMSS_GET_STANDALONE_MSG_CONFIG_V01);
    ASSERT_TRUE(modem().waitForRequests(IMSS_SERVICE_ID_V01, IMSS_GET_STANDALONE_MSG_CONFIG_V01,
                                        1, kWait));
    // Queued behind the read; runs after the restart on a released connection.
    auto queued = write(IMSS_SET_STANDALONE_MSG_CONFIG_V01,
                        std::vector<uint8_t>(imss_settings_groups_v01[1].set_len, 0));
    modem().restart();
    // The read took its callback before the exchange: it hears of the failure.
    ASSERT_TRUE(first->waitForCount(1));
    EXPECT_FALSE(first->values()[0].hasData);
    ASSERT_TRUE(waitForStatuses(5));
    EXPECT_EQ(statuses(), kRestarted);
    ASSERT_TRUE(mLog.waitFor("ImsMcxSettings: sendRcsSettingData enter ", kWait));
    ASSERT_TRUE(mLog.waitFor("ImsMcxSettings::SendSettingOnThread reqid", kWait));

    ASSERT_TRUE(subscribe(0));
    mLog.clear();
    auto second = read(IMSS_GET_STANDALONE_MSG_CONFIG_V01);
    ASSERT_TRUE(second->waitForCount(1));
    EXPECT_TRUE(second->values()[0].hasData);
    char expected[96];
    snprintf(expected, sizeof(expected), "ImsMcxSettings::ReceiveSettingOnThread reqid %d sub_id 0 ",
             static_cast<int>(requestSeed()));
    EXPECT_TRUE(mLog.contains(expected)) << mLog.dump();

    // The change listener went with the restart.
    ASSERT_TRUE(mLoop->waitUntilIdle());
    EXPECT_EQ(changes->size(), 0u);
}

}  // namespace
}  // namespace settingstest
