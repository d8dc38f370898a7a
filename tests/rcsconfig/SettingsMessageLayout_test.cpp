// The modem bytes of each settings group, against offsets written out here
// from the modem's message descriptions rather than taken from the product's
// field tables: writes, read responses and change indications.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "SettingsTestRecords.h"
#include "support/LogCapture.h"

namespace {

using namespace rcstest;
using imstest::LogCapture;

uint32_t u32At(const uint8_t* msg, size_t offset) {
    uint32_t v;
    memcpy(&v, msg + offset, sizeof(v));
    return v;
}

void putU32(std::vector<uint8_t>& buf, size_t offset, uint32_t v) {
    memcpy(buf.data() + offset, &v, sizeof(v));
}

void putString(std::vector<uint8_t>& buf, size_t offset, const std::string& s) {
    memcpy(buf.data() + offset, s.data(), s.size());
}

// Converts `data`, checks the message id and returns the message.
MessagePtr write(const SettingsData& data, uint32_t expectedMsgId) {
    rcs_settings_data_s request{};
    EXPECT_TRUE(RcsConfigManager::convertSetReqDataToMcx(data, &request));
    EXPECT_EQ(request.msgId, expectedMsgId);
    return takeMessage(request);
}

// Counts the non-zero bytes of a message, so a write that strays shows up.
size_t nonZero(const uint8_t* msg, size_t len) {
    size_t n = 0;
    for (size_t i = 0; i < len; ++i) n += msg[i] != 0;
    return n;
}

TEST(SettingsMessageLayoutTest, PresenceWrite_PlacesFlagsAndValuesAtTheModemsOffsets) {
    std::string uri(128, 'u');
    auto msg = write(makeRecord(SettingsId::PRESENCE_CONFIG,
                                {{{100, 0x01020304}, {105, 77}, {108, 0x7FFFFFFF}},
                                 {{109, false}, {110, true}},
                                 {{111, uri}}}),
                     0x69);
    ASSERT_NE(msg, nullptr);
    const uint8_t* m = msg.get();
    EXPECT_EQ(m[0], 1);
    EXPECT_EQ(u32At(m, 4), 0x01020304u);
    EXPECT_EQ(m[40], 1);
    EXPECT_EQ(u32At(m, 44), 77u);
    EXPECT_EQ(m[64], 1);
    EXPECT_EQ(u32At(m, 68), 0x7FFFFFFFu);
    EXPECT_EQ(m[72], 1);
    EXPECT_EQ(m[73], 0);
    EXPECT_EQ(m[74], 1);
    EXPECT_EQ(m[75], 1);
    EXPECT_EQ(m[76], 1);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(m + 77), 128), uri);
    // flag and value bytes: 100, 105, 108, flag 109, 110, flag and 128 chars of 111
    EXPECT_EQ(nonZero(m, 208), 5u + 2 + 5 + 1 + 2 + 129);
}

TEST(SettingsMessageLayoutTest, StandaloneMessagingWrite_StoresIntegersAsSingleBytes) {
    auto msg = write(makeRecord(SettingsId::STANDALONE_MESSAGING_CONFIG,
                                {{{300, 0x1FF}, {301, 2}},
                                 {},
                                 {{302, "ua"}, {304, std::string(16, 'v')},
                                  {311, std::string(32, 'n')}, {313, "b1"}}}),
                     0x6C);
    ASSERT_NE(msg, nullptr);
    const uint8_t* m = msg.get();
    EXPECT_EQ(m[377], 1);
    EXPECT_EQ(m[378], 0xFF);
    EXPECT_EQ(m[379], 1);
    EXPECT_EQ(m[380], 2);
    EXPECT_EQ(m[0], 1);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(m + 1), 3), std::string("ua\0", 3));
    EXPECT_EQ(m[258], 1);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(m + 259), 16), std::string(16, 'v'));
    EXPECT_EQ(m[275], 0) << "client_version flag follows the full client_vendor untouched";
    EXPECT_EQ(m[381], 1);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(m + 382), 32), std::string(32, 'n'));
    EXPECT_EQ(m[414], 0);
    EXPECT_EQ(m[431], 1);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(m + 432), 2), "b1");
    EXPECT_EQ(nonZero(m, 577), 4u + 3 + 17 + 33 + 3);
}

TEST(SettingsMessageLayoutTest, UserAgentWrite_IsOneArrayWithoutFlag) {
    auto msg = write(makeRecord(SettingsId::USER_AGENT_STRING, {{}, {}, {{200, "agent/1.0"}}}), 0x89);
    ASSERT_NE(msg, nullptr);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(msg.get())), "agent/1.0");
    EXPECT_EQ(nonZero(msg.get(), 1024), 9u);
}

TEST(SettingsMessageLayoutTest, ImsServiceEnableWrite_PlacesTheInterleavedFields) {
    auto msg = write(makeRecord(SettingsId::IMS_SERVICE_ENABLE_CONFIG,
                                {{{421, 0x0A0B0C0D}, {419, 3}, {420, 0x11223344}},
                                 {{400, true}, {403, true}, {417, true}, {422, true}, {423, true}},
                                 {{418, "wifi-id"}}}),
                     0x8F);
    ASSERT_NE(msg, nullptr);
    const uint8_t* m = msg.get();
    EXPECT_EQ(m[6], 1);
    EXPECT_EQ(u32At(m, 8), 0x0A0B0C0Du);
    EXPECT_EQ(m[18], 1);
    EXPECT_EQ(u32At(m, 20), 3u);
    EXPECT_EQ(m[71], 1);
    EXPECT_EQ(u32At(m, 72), 0x11223344u);
    for (size_t flag : {0, 16, 76, 92, 94}) {
        EXPECT_EQ(m[flag], 1) << flag;
        EXPECT_EQ(m[flag + 1], 1) << flag;
    }
    EXPECT_EQ(m[26], 1);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(m + 27)), "wifi-id");
    EXPECT_EQ(nonZero(m, 104), 5u + 2 + 5 + 10 + 8);
}

TEST(SettingsMessageLayoutTest, PresenceResponse_ReadsFieldsAfterTheSixteenByteLead) {
    std::vector<uint8_t> resp(224, 0);
    resp[8] = 1;  // the response's own valid flag
    resp[16 + 8] = 1;
    putU32(resp, 16 + 12, 9000);
    resp[16 + 74] = 1;
    resp[16 + 75] = 1;
    resp[16 + 76] = 1;
    putString(resp, 16 + 77, "sip:p@x");
    resp[16 + 32] = 2;  // not exactly 1: not present
    putU32(resp, 16 + 36, 5);

    LogCapture log;
    SettingsData out{};
    ASSERT_TRUE(RcsConfigManager::convertResponseToHidlStruct(0x6A, resp.data(), &out, false));
    EXPECT_EQ(out.settingsId, SettingsId::PRESENCE_CONFIG);
    EXPECT_TRUE(pairsOf(out) == (Pairs{{{101, 9000}}, {{110, true}}, {{111, "sip:p@x"}}}));
    EXPECT_FALSE(log.contains("sip:p@x"));  // the one field appended without a line
}

TEST(SettingsMessageLayoutTest, StandaloneMessagingIndication_ReadsFromTheFirstByte) {
    std::vector<uint8_t> ind(577, 0);
    ind[379] = 1;
    ind[380] = 0xF0;
    ind[309] = 1;
    putString(ind, 310, std::string(16, 'm'));
    ind[326] = 'X';  // next field's flag right after a full array must not be read as text
    ind[414] = 1;
    putString(ind, 415, "UP2.4");

    SettingsData out{};
    ASSERT_TRUE(RcsConfigManager::convertResponseToHidlStruct(1, ind.data(), &out, true));
    EXPECT_EQ(out.settingsId, SettingsId::STANDALONE_MESSAGING_CONFIG);
    EXPECT_TRUE(pairsOf(out) ==
                (Pairs{{{301, 0xF0}}, {}, {{307, std::string(16, 'm')}, {312, "UP2.4"}}}));
}

TEST(SettingsMessageLayoutTest, UserAgentResponse_ReadsTheArrayAfterTheTwentyByteLead) {
    // Always one pair, even for an empty string.
    std::vector<uint8_t> resp(1044, 0);
    SettingsData out{};
    ASSERT_TRUE(RcsConfigManager::convertResponseToHidlStruct(0x8A, resp.data(), &out, false));
    EXPECT_TRUE(pairsOf(out) == (Pairs{{}, {}, {{200, ""}}}));
    putString(resp, 20, "IMS-Agent");
    ASSERT_TRUE(RcsConfigManager::convertResponseToHidlStruct(0x8A, resp.data(), &out, false));
    EXPECT_TRUE(pairsOf(out) == (Pairs{{}, {}, {{200, "IMS-Agent"}}}));

    std::vector<uint8_t> full(1044, 'a');
    memset(full.data(), 0, 20);
    ASSERT_TRUE(RcsConfigManager::convertResponseToHidlStruct(0x8A, full.data(), &out, false));
    EXPECT_TRUE(pairsOf(out) == (Pairs{{}, {}, {{200, std::string(1024, 'a')}}}));
}

TEST(SettingsMessageLayoutTest, ImsServiceEnableIndication_ReadsInterleavedFields) {
    std::vector<uint8_t> ind(104, 0);
    ind[6] = 1;
    putU32(ind, 8, 0xFFFFFFFF);
    ind[71] = 1;
    putU32(ind, 72, 2);
    ind[92] = 1;
    ind[93] = 1;
    ind[94] = 1;
    ind[95] = 0;
    ind[26] = 1;
    putString(ind, 27, std::string(20, 'w'));
    ind[47] = 1;  // ims_service_enabled, value byte 48 left 0

    SettingsData out{};
    ASSERT_TRUE(RcsConfigManager::convertResponseToHidlStruct(3, ind.data(), &out, true));
    EXPECT_TRUE(pairsOf(out) == (Pairs{{{421, 0xFFFFFFFFLL}, {420, 2}},
                                       {{405, false}, {423, true}, {422, false}},
                                       {{418, std::string(20, 'w')}}}));
}

}  // namespace
