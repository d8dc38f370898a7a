// Every key of every group, driven by the modem's field tables: written with
// the set conversion, then read back from a read response and from a change
// indication carrying the written bytes, and compared with what was sent.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "SettingsTestRecords.h"
#include "ims_settings_service_v01.h"

namespace {

using namespace rcstest;

// A value per field that uses the field's whole width: the top bit of a
// 32-bit field (read back without sign), a full 8-bit value, a string of
// exactly the capacity (stored without terminator) or a short one.
Pairs everyField(const imss_settings_group_v01& g, bool fullStrings) {
    Pairs p;
    for (size_t i = 0; i < g.field_count; ++i) {
        const auto& f = g.fields[i];
        switch (f.type) {
            case IMSS_VALUE_UINT32:
                p.ints.emplace_back(f.key, 0x80000000LL + f.key);
                break;
            case IMSS_VALUE_UINT8:
                p.ints.emplace_back(f.key, 0x80 + f.key % 100);
                break;
            case IMSS_VALUE_BOOL:
                p.bools.emplace_back(f.key, f.key % 2 == 0);
                break;
            case IMSS_VALUE_CHARS: {
                std::string s = fullStrings ? std::string(f.capacity, 'a' + f.key % 26)
                                            : "k" + std::to_string(f.key);
                p.strings.emplace_back(f.key, s);
                break;
            }
        }
    }
    return p;
}

void roundTrip(const imss_settings_group_v01& g, bool fullStrings) {
    SCOPED_TRACE(std::string(g.settings_name) + (fullStrings ? " full" : " short"));
    Pairs sent = everyField(g, fullStrings);
    SettingsData record = makeRecord(static_cast<SettingsId>(g.settings_id), sent);

    rcs_settings_data_s request{};
    ASSERT_TRUE(RcsConfigManager::convertSetReqDataToMcx(record, &request));
    EXPECT_EQ(request.msgId, g.set_msg_id);
    MessagePtr msg = takeMessage(request);
    ASSERT_NE(msg, nullptr);

    std::vector<uint8_t> response(g.get_resp_len, 0);
    memcpy(response.data() + g.get_fields_offset, msg.get(), g.set_len);
    SettingsData fromResponse{};
    ASSERT_TRUE(RcsConfigManager::convertResponseToHidlStruct(static_cast<int>(g.get_msg_id),
                                                              response.data(), &fromResponse,
                                                              false));
    EXPECT_EQ(static_cast<uint32_t>(fromResponse.settingsId), g.settings_id);
    EXPECT_TRUE(pairsOf(fromResponse) == sent);

    std::vector<uint8_t> indication(msg.get(), msg.get() + g.set_len);
    SettingsData fromIndication{};
    ASSERT_TRUE(RcsConfigManager::convertResponseToHidlStruct(static_cast<int>(g.settings_id),
                                                              indication.data(), &fromIndication,
                                                              true));
    EXPECT_EQ(static_cast<uint32_t>(fromIndication.settingsId), g.settings_id);
    EXPECT_TRUE(pairsOf(fromIndication) == sent);
}

TEST(SettingsRoundTripTest, EveryKeyOfEveryGroup_SurvivesWriteResponseAndIndication) {
    for (const auto& g : imss_settings_groups_v01) {
        roundTrip(g, true);
        roundTrip(g, false);
    }
}

// Each key written alone must come back alone: a field that leaks into a
// neighbour's flag or value shows up as an extra or a changed pair.
TEST(SettingsRoundTripTest, EachKeyAlone_ComesBackAlone) {
    for (const auto& g : imss_settings_groups_v01) {
        Pairs all = everyField(g, true);
        auto check = [&](const Pairs& one) {
            SettingsData record = makeRecord(static_cast<SettingsId>(g.settings_id), one);
            rcs_settings_data_s request{};
            ASSERT_TRUE(RcsConfigManager::convertSetReqDataToMcx(record, &request));
            MessagePtr msg = takeMessage(request);
            SettingsData out{};
            ASSERT_TRUE(RcsConfigManager::convertResponseToHidlStruct(
                    static_cast<int>(g.settings_id), msg.get(), &out, true));
            EXPECT_TRUE(pairsOf(out) == one) << g.settings_name;
        };
        for (const auto& p : all.ints) check(Pairs{{p}, {}, {}});
        for (const auto& p : all.bools) check(Pairs{{}, {p}, {}});
        for (const auto& p : all.strings) check(Pairs{{}, {}, {p}});
    }
}

// The order in which a read reports its keys, written out here as the modem
// sends them: integers, booleans, strings, with 421 before 420 and 423
// before 422.
TEST(SettingsRoundTripTest, ReadOrder_IsTheModemsOrderNotTheClients) {
    struct Expected {
        SettingsId id;
        std::vector<uint32_t> ints, bools, strings;
    };
    std::vector<Expected> groups = {
            {SettingsId::PRESENCE_CONFIG,
             {100, 101, 102, 103, 104, 105, 106, 107, 108},
             {109, 110},
             {111}},
            {SettingsId::STANDALONE_MESSAGING_CONFIG,
             {300, 301},
             {},
             {302, 303, 304, 305, 306, 307, 308, 309, 310, 311, 312, 313}},
            {SettingsId::USER_AGENT_STRING, {}, {}, {200}},
            {SettingsId::IMS_SERVICE_ENABLE_CONFIG,
             {419, 421, 420},
             {400, 401, 402, 403, 404, 405, 406, 407, 408, 409, 410, 411, 412, 413, 414, 415, 416,
              417, 423, 422},
             {418}},
    };
    for (const auto& e : groups) {
        // Sent in descending key order so that a converter echoing the
        // client's order would fail.
        Pairs sent;
        for (auto it = e.ints.rbegin(); it != e.ints.rend(); ++it) sent.ints.emplace_back(*it, 1);
        for (auto it = e.bools.rbegin(); it != e.bools.rend(); ++it) sent.bools.emplace_back(*it, true);
        for (auto it = e.strings.rbegin(); it != e.strings.rend(); ++it) sent.strings.emplace_back(*it, "s");
        rcs_settings_data_s request{};
        ASSERT_TRUE(RcsConfigManager::convertSetReqDataToMcx(makeRecord(e.id, sent), &request));
        MessagePtr msg = takeMessage(request);
        SettingsData out{};
        ASSERT_TRUE(RcsConfigManager::convertResponseToHidlStruct(static_cast<int>(e.id), msg.get(),
                                                                  &out, true));
        Pairs got = pairsOf(out);
        EXPECT_EQ(keysOf(got.ints), e.ints);
        EXPECT_EQ(keysOf(got.bools), e.bools);
        EXPECT_EQ(keysOf(got.strings), e.strings);
    }
}

}  // namespace
