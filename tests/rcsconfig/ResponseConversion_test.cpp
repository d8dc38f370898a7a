// Read responses and change indications back into the client's record: the
// dispatcher, failed response headers, presence gating and the log lines.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "SettingsTestRecords.h"
#include "ims_settings_service_v01.h"
#include "support/LogCapture.h"

namespace {

using namespace rcstest;
using imstest::LogCapture;

// A group's fields as written by the set conversion.
std::vector<uint8_t> fieldsOf(SettingsId id, const Pairs& pairs) {
    const auto* g = imss_settings_group_by_id(static_cast<int32_t>(id));
    rcs_settings_data_s request{};
    EXPECT_TRUE(RcsConfigManager::convertSetReqDataToMcx(makeRecord(id, pairs), &request));
    MessagePtr msg = takeMessage(request);
    return std::vector<uint8_t>(msg.get(), msg.get() + g->set_len);
}

// A read response carrying those fields, with the given header words.
std::vector<uint8_t> responseOf(SettingsId id, const Pairs& pairs, int32_t result = 0,
                                int32_t error = 0) {
    const auto* g = imss_settings_group_by_id(static_cast<int32_t>(id));
    std::vector<uint8_t> resp(g->get_resp_len, 0);
    std::vector<uint8_t> fields = fieldsOf(id, pairs);
    memcpy(resp.data() + g->get_fields_offset, fields.data(), fields.size());
    memcpy(resp.data(), &result, 4);
    memcpy(resp.data() + 4, &error, 4);
    resp[8] = 1;
    return resp;
}

int respId(SettingsId id) {
    return static_cast<int>(imss_settings_group_by_id(static_cast<int32_t>(id))->get_msg_id);
}

// A record that a conversion must reset or, when refused, leave alone.
SettingsData staleRecord() {
    return makeRecord(SettingsId::USER_AGENT_STRING, {{{1, 1}}, {{2, true}}, {{3, "stale"}}});
}

TEST(ResponseConversionTest, FailedHeader_GivesFalseAndAnEmptyRecord) {
    const Pairs one[] = {{{{100, 5}}, {}, {}}, {{{300, 5}}, {}, {}}, {{}, {}, {{200, "ua"}}}};
    const SettingsId ids[] = {SettingsId::PRESENCE_CONFIG, SettingsId::STANDALONE_MESSAGING_CONFIG,
                              SettingsId::USER_AGENT_STRING};
    for (int i = 0; i < 3; ++i) {
        for (auto [result, error] : {std::pair{1, 0}, std::pair{0, 7}}) {
            SCOPED_TRACE(std::to_string(i) + " " + std::to_string(result) + "/" + std::to_string(error));
            auto resp = responseOf(ids[i], one[i], result, error);
            SettingsData out = staleRecord();
            EXPECT_FALSE(RcsConfigManager::convertResponseToHidlStruct(respId(ids[i]), resp.data(),
                                                                       &out, false));
            EXPECT_EQ(out.settingsId, ids[i]);
            EXPECT_TRUE(pairsOf(out) == Pairs{});
        }
    }
}

TEST(ResponseConversionTest, ImsServiceEnableResponse_IsConvertedWhateverTheHeader) {
    auto resp = responseOf(SettingsId::IMS_SERVICE_ENABLE_CONFIG,
                           {{{419, 2}}, {{417, true}}, {{418, "id"}}}, 1, 3);
    SettingsData out = staleRecord();
    EXPECT_TRUE(RcsConfigManager::convertResponseToHidlStruct(0x90, resp.data(), &out, false));
    EXPECT_EQ(out.settingsId, SettingsId::IMS_SERVICE_ENABLE_CONFIG);
    EXPECT_TRUE(pairsOf(out) == (Pairs{{{419, 2}}, {{417, true}}, {{418, "id"}}}));
}

TEST(ResponseConversionTest, UnknownIds_AreRefusedWithoutTouchingTheRecord) {
    std::vector<uint8_t> buf(1044, 1);
    LogCapture log;
    for (auto [id, indication] : {std::pair{4, true}, std::pair{-1, true}, std::pair{-1, false},
                                  std::pair{0x69, false}, std::pair{0x6B, false},
                                  std::pair{0, false}, std::pair{0x6A, true}}) {
        SettingsData out = staleRecord();
        EXPECT_FALSE(RcsConfigManager::convertResponseToHidlStruct(id, buf.data(), &out, indication))
                << id << " " << indication;
        EXPECT_EQ(out.settingsId, SettingsId::USER_AGENT_STRING);
        EXPECT_TRUE(pairsOf(out) == pairsOf(staleRecord()));
    }
    EXPECT_EQ(log.count("convertResponseToHidlStruct for request ID "), 7u);
    EXPECT_TRUE(log.contains("convertResponseToHidlStruct for request ID 4"));
}

TEST(ResponseConversionTest, PresenceResponse_OnlyFlaggedFieldsAndNoLineForTheString) {
    LogCapture log;
    auto resp = responseOf(SettingsId::PRESENCE_CONFIG, {{{100, 30}}, {{110, true}}, {{111, "sip:x"}}});
    log.clear();
    SettingsData out{};
    ASSERT_TRUE(RcsConfigManager::convertResponseToHidlStruct(0x6A, resp.data(), &out, false));
    EXPECT_TRUE(pairsOf(out) == (Pairs{{{100, 30}}, {{110, true}}, {{111, "sip:x"}}}));
    int entry = log.indexOf("in convertPresenceConfigRespToHidl");
    ASSERT_GE(entry, 0);
    EXPECT_EQ(log.messages()[entry], "in convertPresenceConfigRespToHidl");
    EXPECT_GT(log.indexOf("in convertPresenceConfigRespToHidl publish_timer 30"), entry);
    EXPECT_TRUE(log.contains("in convertPresenceConfigRespToHidl gzip_enabled 1"));
    EXPECT_FALSE(log.contains("sip:x"));

    auto gzipOnly = responseOf(SettingsId::PRESENCE_CONFIG, {{}, {{110, false}}, {}});
    ASSERT_TRUE(RcsConfigManager::convertResponseToHidlStruct(0x6A, gzipOnly.data(), &out, false));
    EXPECT_TRUE(pairsOf(out) == (Pairs{{}, {{110, false}}, {}}));
}

TEST(ResponseConversionTest, PresenceAndMessagingLines_NameTheConverterAndField) {
    LogCapture log;
    auto presence = fieldsOf(SettingsId::PRESENCE_CONFIG, {{{104, 3600}}, {}, {}});
    auto ind = fieldsOf(SettingsId::STANDALONE_MESSAGING_CONFIG, {{{300, 1}}, {}, {{312, "UP2.4"}}});
    auto resp = responseOf(SettingsId::STANDALONE_MESSAGING_CONFIG, {{}, {}, {{305, "9.1"}}});
    log.clear();
    SettingsData out{};
    ASSERT_TRUE(RcsConfigManager::convertResponseToHidlStruct(0, presence.data(), &out, true));
    ASSERT_TRUE(RcsConfigManager::convertResponseToHidlStruct(1, ind.data(), &out, true));
    ASSERT_TRUE(RcsConfigManager::convertResponseToHidlStruct(0x6D, resp.data(), &out, false));
    EXPECT_EQ(log.messages(), (std::vector<std::string>{
                                      "convertResponseToHidlStruct for request ID 0",
                                      "in convertPresenceConfigIndToHidl",  // the entry line comes twice
                                      "in convertPresenceConfigIndToHidl",
                                      "in convertPresenceConfigIndToHidl list_subscription_expiry 3600",
                                      "convertResponseToHidlStruct for request ID 1",
                                      "in convertSMConfigIndToHidl",
                                      "in convertSMConfigIndToHidl default_sms_app 1",
                                      "in convertSMConfigIndToHidl rcs_profile UP2.4",
                                      "convertResponseToHidlStruct for request ID 109",
                                      "in convertSMConfigRespToHidl client_version 9.1",
                              }));
}

TEST(ResponseConversionTest, UserAgent_AlwaysOnePairEvenWhenEmpty) {
    LogCapture log;
    std::vector<uint8_t> resp(1044, 0);
    SettingsData out = staleRecord();
    ASSERT_TRUE(RcsConfigManager::convertResponseToHidlStruct(0x8A, resp.data(), &out, false));
    EXPECT_EQ(out.settingsId, SettingsId::USER_AGENT_STRING);
    EXPECT_TRUE(pairsOf(out) == (Pairs{{}, {}, {{200, ""}}}));
    EXPECT_TRUE(log.contains("in convertUserAgentRespToHidl ims_user_agent "));

    std::vector<uint8_t> ind(1024, 0);
    memcpy(ind.data(), "agent", 5);
    ASSERT_TRUE(RcsConfigManager::convertResponseToHidlStruct(2, ind.data(), &out, true));
    EXPECT_TRUE(pairsOf(out) == (Pairs{{}, {}, {{200, "agent"}}}));
    int entry = log.indexOf("in convertUserAgentIndToHidl");
    EXPECT_EQ(log.messages()[entry], "in convertUserAgentIndToHidl");
    EXPECT_GT(log.indexOf("in convertUserAgentIndToHidl ims_user_agent agent"), entry);
}

TEST(ResponseConversionTest, ImsServiceEnable_ReportsMissingCarrierConfigOnly) {
    LogCapture log;
    auto ind = fieldsOf(SettingsId::IMS_SERVICE_ENABLE_CONFIG, {{}, {{400, true}}, {{418, "w"}}});
    auto resp = responseOf(SettingsId::IMS_SERVICE_ENABLE_CONFIG, {{}, {{400, true}}, {}});
    log.clear();
    SettingsData out{};
    ASSERT_TRUE(RcsConfigManager::convertResponseToHidlStruct(3, ind.data(), &out, true));
    EXPECT_TRUE(pairsOf(out) == (Pairs{{}, {{400, true}}, {{418, "w"}}}));
    ASSERT_TRUE(RcsConfigManager::convertResponseToHidlStruct(0x90, resp.data(), &out, false));
    EXPECT_EQ(log.messages(), (std::vector<std::string>{
                                      "convertResponseToHidlStruct for request ID 3",
                                      "in convertImsServiceConfigIndToHidl ",
                                      "in convertImsServiceConfigIndToHidl volte_enabled 1",
                                      "in convertImsServiceConfigIndToHidl carrier_config_enabled not received",
                                      "in convertImsServiceConfigIndToHidl wifi_provisioning_id w",
                                      "convertResponseToHidlStruct for request ID 144",
                                      "in convertImsServiceConfigRespToHidl volte_enabled 1",
                                      "in convertImsServiceConfigRespToHidl carrier_config_enabled not received",
                              }));

    log.clear();
    auto with = fieldsOf(SettingsId::IMS_SERVICE_ENABLE_CONFIG, {{}, {{417, false}}, {}});
    ASSERT_TRUE(RcsConfigManager::convertResponseToHidlStruct(3, with.data(), &out, true));
    EXPECT_FALSE(log.contains("not received"));
    EXPECT_TRUE(log.contains("in convertImsServiceConfigIndToHidl carrier_config_enabled 0"));
}

TEST(ResponseConversionTest, NullBuffers_AreRefusedByTheConverters) {
    LogCapture log;
    SettingsData out = staleRecord();
    EXPECT_FALSE(RcsConfigManager::convertSMConfigRespToHidl(nullptr, &out));
    EXPECT_FALSE(RcsConfigManager::convertUserAgentIndToHidl(nullptr, &out));
    EXPECT_TRUE(pairsOf(out) == pairsOf(staleRecord()));
    std::vector<uint8_t> buf(1044, 0);
    EXPECT_FALSE(RcsConfigManager::convertPresenceConfigIndToHidl(buf.data(), nullptr));
}

}  // namespace
