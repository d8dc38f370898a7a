// The modem bytes of each settings group, against layouts written out here
// from the modem's message descriptions rather than taken from the product's
// field tables: writes, read responses and change indications.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "SettingsTestRecords.h"
#include "support/LogCapture.h"

namespace {

using namespace rcstest;
using imstest::LogCapture;

// The whole message is compared, so a write that strays into a neighbour's
// flag or value shows up as well as one that misses its own.
TEST(SettingsMessageLayoutTest, Writes_PlaceFlagsAndValuesAtTheModemsOffsets) {
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

// Read responses carry their fields after a lead (sixteen bytes, twenty for
// the user agent); change indications from the first byte.
TEST(SettingsMessageLayoutTest, ResponsesAndIndications_ReadFieldsAtTheModemsOffsets) {
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
         Layout::response(224, 16).u32(8, 12, 9000).u8(74, 75, 1).chars(76, 77, "sip:p@x")
                 .u8(Layout::kNoFlag, 32, 2).u32(Layout::kNoFlag, 36, 5),
         {{{101, 9000}}, {{110, true}}, {{111, "sip:p@x"}}}},
        // The flag right after a full array must not be read as text.
        {1, true,
         Layout::indication(577).u8(379, 380, 0xF0).chars(309, 310, text16)
                 .u8(Layout::kNoFlag, 326, 'X').chars(414, 415, "UP2.4"),
         {{{301, 0xF0}}, {}, {{307, text16}, {312, "UP2.4"}}}},
        // The user agent is always one pair, even for an empty string.
        {0x8A, false, Layout::response(1044, 20), {{}, {}, {{200, ""}}}},
        {0x8A, false, Layout::response(1044, 20).chars(Layout::kNoFlag, 0, "IMS-Agent"),
         {{}, {}, {{200, "IMS-Agent"}}}},
        {0x8A, false, Layout::response(1044, 20).chars(Layout::kNoFlag, 0, std::string(1024, 'a')),
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

}  // namespace
