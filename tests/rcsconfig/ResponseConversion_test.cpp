// Read responses and change indications back into the client's record, from
// layouts written out here: where each group's fields are read, the
// dispatcher, failed response headers, presence gating and the log lines.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "SettingsTestRecords.h"
#include "support/LogCapture.h"

namespace {

using namespace rcstest;
using imstest::LogCapture;

// Lengths and where the fields start in a read response, per group.
constexpr size_t kPresenceResp = 224, kMessagingResp = 596, kUserAgentResp = 1044, kServiceResp = 120;
constexpr size_t kFieldsAt = 16, kUserAgentFieldsAt = 20;

// A record that a conversion must reset or, when refused, leave alone.
SettingsData staleRecord() {
    return makeRecord(SettingsId::USER_AGENT_STRING, {{{1, 1}}, {{2, true}}, {{3, "stale"}}});
}

// Read responses carry their fields after a lead (sixteen bytes, twenty for
// the user agent); change indications from the first byte.
TEST(ResponseConversionTest, ResponsesAndIndications_ReadFieldsAtTheModemsOffsets) {
    LogCapture log;
    const std::string text16(16, 'm'), wifi(20, 'w');
    struct Case {
        int id;
        bool indication;
        Layout input;
        Pairs expected;
    } cases[] = {
        // A flag of 2 is not exactly 1: the field is not present.
        {0x6A, false,
         Layout::response(kPresenceResp, kFieldsAt).u32(8, 12, 9000).u8(74, 75, 1).chars(76, 77, "sip:p@x")
                 .u8(Layout::kNoFlag, 32, 2).u32(Layout::kNoFlag, 36, 5),
         {{{101, 9000}}, {{110, true}}, {{111, "sip:p@x"}}}},
        // The flag right after a full array must not be read as text.
        {1, true,
         Layout::indication(577).u8(379, 380, 0xF0).chars(309, 310, text16)
                 .u8(Layout::kNoFlag, 326, 'X').chars(414, 415, "UP2.4"),
         {{{301, 0xF0}}, {}, {{307, text16}, {312, "UP2.4"}}}},
        // The user agent is always one pair, even for an empty string.
        {0x8A, false, Layout::response(kUserAgentResp, kUserAgentFieldsAt), {{}, {}, {{200, ""}}}},
        {0x8A, false, Layout::response(kUserAgentResp, kUserAgentFieldsAt).chars(Layout::kNoFlag, 0, "IMS-Agent"),
         {{}, {}, {{200, "IMS-Agent"}}}},
        {0x8A, false, Layout::response(kUserAgentResp, kUserAgentFieldsAt).chars(Layout::kNoFlag, 0, std::string(1024, 'a')),
         {{}, {}, {{200, std::string(1024, 'a')}}}},
        {3, true,
         Layout::indication(104).u32(6, 8, 0xFFFFFFFF).u32(71, 72, 2).u8(92, 93, 1).u8(94, 95, 0)
                 .chars(26, 27, wifi).u8(47, 48, 0),
         {{{421, 0xFFFFFFFFLL}, {420, 2}}, {{405, false}, {423, true}, {422, false}}, {{418, wifi}}}},
    };
    for (auto& c : cases) {
        SCOPED_TRACE(c.id);
        SettingsData out{};
        ASSERT_TRUE(RcsConfigManager::convertResponseToHidlStruct(c.id, c.input.data(), &out,
                                                                  c.indication));
        EXPECT_TRUE(pairsOf(out) == c.expected);
    }
    EXPECT_FALSE(log.contains("sip:p@x"));  // the one field appended without a line
}

TEST(ResponseConversionTest, FailedHeader_GivesFalseAndAnEmptyRecord) {
    for (auto [result, error] : {std::pair{1, 0}, std::pair{0, 7}}) {
        SCOPED_TRACE(std::to_string(result) + "/" + std::to_string(error));
        struct {
            int respId;
            SettingsId id;
            Layout resp;
        } cases[] = {
            {0x6A, SettingsId::PRESENCE_CONFIG,
             Layout::response(kPresenceResp, kFieldsAt, result, error).u32(0, 4, 5)},
            {0x6D, SettingsId::STANDALONE_MESSAGING_CONFIG,
             Layout::response(kMessagingResp, kFieldsAt, result, error).u8(377, 378, 5)},
            {0x8A, SettingsId::USER_AGENT_STRING,
             Layout::response(kUserAgentResp, kUserAgentFieldsAt, result, error).chars(Layout::kNoFlag, 0, "ua")},
        };
        for (auto& c : cases) {
            SettingsData out = staleRecord();
            EXPECT_FALSE(RcsConfigManager::convertResponseToHidlStruct(c.respId, c.resp.data(), &out, false));
            EXPECT_EQ(out.settingsId, c.id);
            EXPECT_TRUE(pairsOf(out) == Pairs{});
        }
    }
    // The IMS service enable response is converted whatever its header says.
    auto resp = Layout::response(kServiceResp, kFieldsAt, 1, 3).u32(18, 20, 2).u8(76, 77, 1).chars(26, 27, "id");
    SettingsData out = staleRecord();
    EXPECT_TRUE(RcsConfigManager::convertResponseToHidlStruct(0x90, resp.data(), &out, false));
    EXPECT_EQ(out.settingsId, SettingsId::IMS_SERVICE_ENABLE_CONFIG);
    EXPECT_TRUE(pairsOf(out) == (Pairs{{{419, 2}}, {{417, true}}, {{418, "id"}}}));
}

TEST(ResponseConversionTest, UnknownIdsOrNullBuffers_AreRefusedWithoutTouchingTheRecord) {
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

    // The converters refuse a missing buffer or record.
    SettingsData out = staleRecord();
    EXPECT_FALSE(RcsConfigManager::convertSMConfigRespToHidl(nullptr, &out));
    EXPECT_FALSE(RcsConfigManager::convertUserAgentIndToHidl(nullptr, &out));
    EXPECT_TRUE(pairsOf(out) == pairsOf(staleRecord()));
    EXPECT_FALSE(RcsConfigManager::convertPresenceConfigIndToHidl(buf.data(), nullptr));
}

// Each converter names itself and each field it reads (the presence entry
// line comes twice); carrier_config_enabled is the one field reported when absent.
TEST(ResponseConversionTest, Lines_NameTheConverterAndField_AndAMissingCarrierConfig) {
    LogCapture log;
    auto presence = Layout::indication(208).u32(32, 36, 3600);
    auto ind = Layout::indication(577).u8(377, 378, 1).chars(414, 415, "UP2.4");
    auto resp = Layout::response(kMessagingResp, kFieldsAt).chars(275, 276, "9.1");
    auto serviceInd = Layout::indication(104).u8(0, 1, 1).chars(26, 27, "w");
    auto serviceResp = Layout::response(kServiceResp, kFieldsAt).u8(0, 1, 1);
    SettingsData out{};
    ASSERT_TRUE(RcsConfigManager::convertResponseToHidlStruct(0, presence.data(), &out, true));
    ASSERT_TRUE(RcsConfigManager::convertResponseToHidlStruct(1, ind.data(), &out, true));
    ASSERT_TRUE(RcsConfigManager::convertResponseToHidlStruct(0x6D, resp.data(), &out, false));
    ASSERT_TRUE(RcsConfigManager::convertResponseToHidlStruct(3, serviceInd.data(), &out, true));
    EXPECT_TRUE(pairsOf(out) == (Pairs{{}, {{400, true}}, {{418, "w"}}}));
    ASSERT_TRUE(RcsConfigManager::convertResponseToHidlStruct(0x90, serviceResp.data(), &out, false));
    EXPECT_EQ(log.messages(), (std::vector<std::string>{
                                      "convertResponseToHidlStruct for request ID 0",
                                      "in convertPresenceConfigIndToHidl",
                                      "in convertPresenceConfigIndToHidl",
                                      "in convertPresenceConfigIndToHidl list_subscription_expiry 3600",
                                      "convertResponseToHidlStruct for request ID 1",
                                      "in convertSMConfigIndToHidl",
                                      "in convertSMConfigIndToHidl default_sms_app 1",
                                      "in convertSMConfigIndToHidl rcs_profile UP2.4",
                                      "convertResponseToHidlStruct for request ID 109",
                                      "in convertSMConfigRespToHidl client_version 9.1",
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
    auto with = Layout::indication(104).u8(76, 77, 0);
    ASSERT_TRUE(RcsConfigManager::convertResponseToHidlStruct(3, with.data(), &out, true));
    EXPECT_FALSE(log.contains("not received"));
    EXPECT_TRUE(log.contains("in convertImsServiceConfigIndToHidl carrier_config_enabled 0"));
}

}  // namespace
