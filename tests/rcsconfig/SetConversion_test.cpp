// The write conversion: where each group's fields land, which lists each
// group reads, how a bad pair stops the fill, capacities, and the log lines
// a trace shows.
#include <gtest/gtest.h>

#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include "SettingsTestRecords.h"
#include "ims_settings_service_v01.h"
#include "support/LogCapture.h"

namespace {

using namespace rcstest;
using imstest::LogCapture;

using Filler = bool (*)(void*, SettingsData&);

// The filler of each group, by settings id (the IMS service enable filler for id 3).
const Filler kFillers[] = {&RcsConfigManager::setPresenceConfigData, &RcsConfigManager::setSMConfigData,
                           &RcsConfigManager::setUserAgentConfigData,
                           &RcsConfigManager::setImsServiceEnableConfigData};

// Runs a group's filler on a zeroed message of the group's write length.
struct Fill {
    bool ok;
    std::vector<uint8_t> msg;
};

Fill fill(SettingsId id, const Pairs& pairs) {
    const imss_settings_group_v01* g = imss_settings_group_by_id(static_cast<int32_t>(id));
    Fill f{false, std::vector<uint8_t>(g->set_len, 0)};
    SettingsData data = makeRecord(id, pairs);
    f.ok = kFillers[g->settings_id](f.msg.data(), data);
    return f;
}

TEST(SetConversionTest, UnknownIntegerKey_FailsAfterItsListWithoutExaminingBooleans) {
    Fill f = fill(SettingsId::PRESENCE_CONFIG, {{{99, 5}, {100, 7}}, {{109, true}}, {{111, "x"}}});
    EXPECT_FALSE(f.ok);
    EXPECT_EQ(f.msg[0], 1);   // the rest of the integer list is still walked
    EXPECT_EQ(f.msg[72], 0);  // the other lists are not
    EXPECT_EQ(f.msg[76], 0);

    // A failed fill keeps the message out of the request.
    rcs_settings_data_s request{};
    EXPECT_FALSE(RcsConfigManager::convertSetReqDataToMcx(
            makeRecord(SettingsId::PRESENCE_CONFIG, {{{99, 1}}, {}, {}}), &request));
    EXPECT_EQ(request.msgData, nullptr);
    EXPECT_EQ(request.msgId, 0x69u);
}

// Writes against layouts written out here from the modem's message
// descriptions. The whole message is compared, so a write that strays into a neighbour's
// flag or value shows up as well as one that misses its own.
TEST(SetConversionTest, Writes_PlaceFlagsAndValuesAtTheModemsOffsets) {
    const std::string uri(128, 'u'), vendor(16, 'v'), name(32, 'n');
    struct Case {
        SettingsId id;
        uint32_t msgId;
        Pairs pairs;
        Layout expected;
    } cases[] = {
        {SettingsId::PRESENCE_CONFIG, 0x69,
         {{{100, 0x01020304}, {105, 77}, {108, 0x7FFFFFFF}}, {{109, false}, {110, true}}, {{111, uri}}},
         Layout::indication(208).u32(0, 4, 0x01020304).u32(40, 44, 77).u32(64, 68, 0x7FFFFFFF)
                 .u8(72, 73, 0).u8(74, 75, 1).chars(76, 77, uri)},
        // Integers are single bytes; a full client_vendor leaves the next flag alone.
        {SettingsId::STANDALONE_MESSAGING_CONFIG, 0x6C,
         {{{300, 0x1FF}, {301, 2}}, {}, {{302, "ua"}, {304, vendor}, {311, name}, {313, "b1"}}},
         Layout::indication(577).u8(377, 378, 0xFF).u8(379, 380, 2).chars(0, 1, "ua")
                 .chars(258, 259, vendor).chars(381, 382, name).chars(431, 432, "b1")},
        // One array without a flag.
        {SettingsId::USER_AGENT_STRING, 0x89, {{}, {}, {{200, "agent/1.0"}}},
         Layout::indication(1024).chars(Layout::kNoFlag, 0, "agent/1.0")},
        // Fields of the three lists interleaved.
        {SettingsId::IMS_SERVICE_ENABLE_CONFIG, 0x8F,
         {{{421, 0x0A0B0C0D}, {419, 3}, {420, 0x11223344}},
          {{400, true}, {403, true}, {417, true}, {422, true}, {423, true}},
          {{418, "wifi-id"}}},
         Layout::indication(104).u32(6, 8, 0x0A0B0C0D).u32(18, 20, 3).u32(71, 72, 0x11223344)
                 .u8(0, 1, 1).u8(16, 17, 1).u8(76, 77, 1).u8(92, 93, 1).u8(94, 95, 1)
                 .chars(26, 27, "wifi-id")},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(static_cast<int>(c.id));
        rcs_settings_data_s request{};
        ASSERT_TRUE(RcsConfigManager::convertSetReqDataToMcx(makeRecord(c.id, c.pairs), &request));
        EXPECT_EQ(request.msgId, c.msgId);
        MessagePtr msg = takeMessage(request);
        ASSERT_NE(msg, nullptr);
        const auto& expected = c.expected.bytes();
        EXPECT_EQ(std::vector<uint8_t>(msg.get(), msg.get() + expected.size()), expected);
    }
}

// Unknown keys, keys of the group sent in the wrong list, and records with
// nothing in the lists the group reads.
TEST(SetConversionTest, UnknownKeyOrNothingTheGroupReads_FailsTheGroup) {
    LogCapture log;
    struct Case {
        SettingsId id;
        Pairs pairs;
    } cases[] = {
            {SettingsId::PRESENCE_CONFIG, {{{112, 1}}, {}, {}}},
            {SettingsId::PRESENCE_CONFIG, {{}, {{108, true}}, {}}},
            {SettingsId::PRESENCE_CONFIG, {{}, {}, {{110, "a"}}}},
            {SettingsId::STANDALONE_MESSAGING_CONFIG, {{{302, 1}}, {}, {}}},
            {SettingsId::STANDALONE_MESSAGING_CONFIG, {{}, {}, {{300, "a"}}}},
            {SettingsId::USER_AGENT_STRING, {{}, {}, {{201, "a"}}}},
            {SettingsId::IMS_SERVICE_ENABLE_CONFIG, {{{400, 1}}, {}, {}}},
            {SettingsId::IMS_SERVICE_ENABLE_CONFIG, {{}, {{424, true}}, {}}},
            {SettingsId::IMS_SERVICE_ENABLE_CONFIG, {{}, {}, {{417, "a"}}}},
            // Nothing the group reads: four lines "No setting specified".
            {SettingsId::USER_AGENT_STRING, {{{200, 1}, {300, 2}}, {{200, true}}, {}}},
            {SettingsId::STANDALONE_MESSAGING_CONFIG, {{}, {{300, true}}, {}}},
            {SettingsId::PRESENCE_CONFIG, {}},
            {SettingsId::IMS_SERVICE_ENABLE_CONFIG, {}},
    };
    for (size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_FALSE(fill(cases[i].id, cases[i].pairs).ok) << "case " << i;
    }
    EXPECT_EQ(log.count("No setting specified"), 4u);
}

// A repeated key ends with its last value, which rewrites the whole field,
// even when that last value is refused.
TEST(SetConversionTest, LaterPairWithTheSameKey_RewritesTheWholeField) {
    Fill f = fill(SettingsId::STANDALONE_MESSAGING_CONFIG,
                  {{{300, 1}, {300, 2}}, {}, {{304, "longer-name"}, {304, "short"}}});
    ASSERT_TRUE(f.ok);
    EXPECT_EQ(f.msg[378], 2);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&f.msg[259])), "short");
    Fill ua = fill(SettingsId::USER_AGENT_STRING, {{}, {}, {{200, "a-long-agent"}, {200, "ua"}}});
    ASSERT_TRUE(ua.ok);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(ua.msg.data())), "ua");
    Fill over = fill(SettingsId::USER_AGENT_STRING, {{}, {}, {{200, "ua"}, {200, std::string(1025, 'x')}}});
    EXPECT_FALSE(over.ok);
    EXPECT_EQ(over.msg, std::vector<uint8_t>(1024, 0));
}

// Every string field of every group: exactly the capacity is accepted, one
// more fails and leaves the field flagged but empty.
TEST(SetConversionTest, StringCapacity_ExactIsAcceptedOneMoreFails) {
    for (const auto& g : imss_settings_groups_v01) {
        for (size_t i = 0; i < g.field_count; ++i) {
            const auto& field = g.fields[i];
            if (field.type != IMSS_VALUE_CHARS) continue;
            SCOPED_TRACE(field.field_name);
            auto id = static_cast<SettingsId>(g.settings_id);
            Fill exact = fill(id, {{}, {}, {{field.key, std::string(field.capacity, 'c')}}});
            EXPECT_TRUE(exact.ok);
            EXPECT_EQ(exact.msg[field.value_offset + field.capacity - 1], 'c');

            Fill over = fill(id, {{}, {}, {{field.key, std::string(field.capacity + 1, 'c')}}});
            EXPECT_FALSE(over.ok);
            if (field.flag_offset != IMSS_NO_PRESENCE_FLAG) {
                EXPECT_EQ(over.msg[field.flag_offset], 1);
            }
            for (uint32_t b = 0; b < field.capacity; ++b) {
                ASSERT_EQ(over.msg[field.value_offset + b], 0) << "byte " << b;
            }
        }
    }
}

// Booleans are ignored; each copied field is named in a line of its own and
// an unknown string key is logged as "default" without stopping the walk.
TEST(SetConversionTest, StandaloneMessaging_IgnoresBooleansAndNamesEachCopiedField) {
    LogCapture log;
    Fill f = fill(SettingsId::STANDALONE_MESSAGING_CONFIG,
                  {{}, {{999, true}, {304, false}}, {{302, "acs"}, {304, "vendor"}, {313, "2.0"}}});
    EXPECT_TRUE(f.ok);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&f.msg[259]), 6), "vendor");
    EXPECT_EQ(f.msg[258], 1);
    EXPECT_EQ(f.msg[0] + f.msg[431], 2);
    EXPECT_TRUE(log.contains("client_vendor"));
    EXPECT_TRUE(log.contains("bot_version"));

    log.clear();
    Fill g = fill(SettingsId::STANDALONE_MESSAGING_CONFIG, {{}, {}, {{314, "x"}, {309, "1.0"}}});
    EXPECT_FALSE(g.ok);
    int def = log.indexOf("default");
    ASSERT_GE(def, 0);
    EXPECT_GT(log.indexOf("rcs_version"), def);
    EXPECT_EQ(g.msg[343], 1);
}

TEST(SetConversionTest, ImsServiceEnable_LogsTheRunningResultBeforeEachPair) {
    LogCapture log;
    Fill f = fill(SettingsId::IMS_SERVICE_ENABLE_CONFIG,
                  {{{419, 1}, {999, 2}, {420, 3}}, {{400, true}}, {}});
    EXPECT_FALSE(f.ok);
    EXPECT_TRUE(log.contains("setImsServiceEnableConfigData Int data key: 419 value: 1 retVal 1"));
    EXPECT_TRUE(log.contains("setImsServiceEnableConfigData Int data key: 999 value: 2 retVal 1"));
    EXPECT_TRUE(log.contains("setImsServiceEnableConfigData Int data key: 420 value: 3 retVal 0"));
    EXPECT_FALSE(log.contains("Bool data"));

    log.clear();
    Fill g = fill(SettingsId::IMS_SERVICE_ENABLE_CONFIG,
                  {{}, {{401, false}}, {{418, std::string(21, 'w')}, {418, "ok"}}});
    EXPECT_FALSE(g.ok);
    EXPECT_TRUE(log.contains("setImsServiceEnableConfigData Bool data key: 401 value: 0 retVal 1"));
    EXPECT_TRUE(log.contains("setImsServiceEnableConfigData string data key: 418 value: ok retVal 0"));
}

// Settings id 4 is refused on the write path; the read preparation gives each
// group's read id and a zeroed response buffer, and refuses other ids.
TEST(SetConversionTest, WriteAndReadPreparation_RefuseIdsOutsideTheFourGroups) {
    LogCapture log;
    rcs_settings_data_s request{};
    EXPECT_FALSE(RcsConfigManager::convertSetReqDataToMcx(
            makeRecord(static_cast<SettingsId>(4), {{{100, 1}}, {}, {}}), &request));
    EXPECT_EQ(log.messages(), (std::vector<std::string>{"convertSetReqDataToMcx for Setting 4",
                                                        "Invalid Setting ID passed"}));
    EXPECT_EQ(request.msgData, nullptr);

    log.clear();
    EXPECT_FALSE(RcsConfigManager::convertReceiveRespDataToMcx(4, &request));
    EXPECT_FALSE(RcsConfigManager::convertReceiveRespDataToMcx(-1, &request));
    EXPECT_EQ(log.count("Invalid Setting ID passed"), 2u);
    EXPECT_EQ(log.count("Unable to allocate memory for request message"), 2u);
    EXPECT_EQ(request.msgData, nullptr);

    const char* names[] = {"PRESENCE_CONFIG", "STANDALONE_MESSAGING_CONFIG", "USER_AGENT_STRING",
                           "IMS_SERVICE_ENABLE_CONFIG"};
    const uint32_t readIds[] = {0x6A, 0x6D, 0x8A, 0x90};
    const size_t respLens[] = {224, 596, 1044, 120};
    for (int id = 0; id < 4; ++id) {
        ASSERT_TRUE(RcsConfigManager::convertReceiveRespDataToMcx(id, &request));
        EXPECT_EQ(request.msgId, readIds[id]);
        MessagePtr msg = takeMessage(request);
        EXPECT_EQ(std::vector<uint8_t>(msg.get(), msg.get() + respLens[id]),
                  std::vector<uint8_t>(respLens[id], 0));
        EXPECT_EQ(log.messages().back(), std::string("convertReceiveRespDataToMcx for ") + names[id]);
    }
}

}  // namespace
