// Every key of every group, in an order written out here: written with the
// set conversion, then read back from a read response and from a change
// indication carrying the written bytes, and compared with what was sent.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "SettingsTestRecords.h"
#include "ims_settings_service_v01.h"

namespace {

using namespace rcstest;

// The keys of each group in the order the modem reports them, written out
// here: integers, booleans, strings, with 421 before 420 and 423 before 422.
struct ModemOrder {
    SettingsId id;
    std::vector<uint32_t> ints, bools, strings;
};
const ModemOrder kModemOrder[] = {
        {SettingsId::PRESENCE_CONFIG, {100, 101, 102, 103, 104, 105, 106, 107, 108}, {109, 110}, {111}},
        {SettingsId::STANDALONE_MESSAGING_CONFIG,
         {300, 301},
         {},
         {302, 303, 304, 305, 306, 307, 308, 309, 310, 311, 312, 313}},
        {SettingsId::USER_AGENT_STRING, {}, {}, {200}},
        {SettingsId::IMS_SERVICE_ENABLE_CONFIG,
         {419, 421, 420},
         {400, 401, 402, 403, 404, 405, 406, 407, 408, 409, 410, 411, 412, 413, 414, 415, 416, 417,
          423, 422},
         {418}},
};

// A value per key that uses its field's whole width: the top bit of a 32-bit
// field (read back without sign), a full 8-bit value, a string of exactly the
// capacity (stored without terminator) or a short one. `reversed` lists the
// keys in descending order, so that a converter echoing the client's order fails.
Pairs everyKey(const imss_settings_group_v01& g, const ModemOrder& o, bool fullStrings, bool reversed) {
    auto order = [&](const std::vector<uint32_t>& k) {
        return reversed ? std::vector<uint32_t>(k.rbegin(), k.rend()) : k;
    };
    Pairs p;
    for (uint32_t key : order(o.ints)) {
        const imss_settings_field_v01* f = imss_settings_field(&g, key, IMSS_LIST_INT);
        bool narrow = f != nullptr && f->type == IMSS_VALUE_UINT8;
        p.ints.emplace_back(key, narrow ? 0x80 + key % 100 : 0x80000000LL + key);
    }
    for (uint32_t key : order(o.bools)) p.bools.emplace_back(key, key % 2 == 0);
    for (uint32_t key : order(o.strings)) {
        const imss_settings_field_v01* f = imss_settings_field(&g, key, IMSS_LIST_STRING);
        size_t capacity = f != nullptr ? f->capacity : 1;
        p.strings.emplace_back(key, fullStrings ? std::string(capacity, 'a' + key % 26)
                                                : "k" + std::to_string(key));
    }
    return p;
}

// Writes `sent` with the set conversion, then reads it back from a read
// response and from a change indication carrying the written bytes.
void roundTrip(const imss_settings_group_v01& g, const Pairs& sent, const Pairs& expected) {
    SettingsData record = makeRecord(static_cast<SettingsId>(g.settings_id), sent);
    rcs_settings_data_s request{};
    ASSERT_TRUE(RcsConfigManager::convertSetReqDataToMcx(record, &request));
    EXPECT_EQ(request.msgId, g.set_msg_id);
    MessagePtr msg = takeMessage(request);
    ASSERT_NE(msg, nullptr);

    std::vector<uint8_t> response(g.get_resp_len, 0);
    memcpy(response.data() + g.get_fields_offset, msg.get(), g.set_len);
    std::vector<uint8_t> indication(msg.get(), msg.get() + g.set_len);
    for (auto [id, buffer, isIndication] : {std::tuple{g.get_msg_id, response.data(), false},
                                            std::tuple{g.settings_id, indication.data(), true}}) {
        SettingsData out{};
        ASSERT_TRUE(RcsConfigManager::convertResponseToHidlStruct(static_cast<int>(id), buffer,
                                                                  &out, isIndication));
        EXPECT_EQ(static_cast<uint32_t>(out.settingsId), g.settings_id);
        EXPECT_TRUE(pairsOf(out) == expected) << (isIndication ? "indication" : "response");
    }
}

// Every key together, sent in descending order and read back in the modem's,
// with full and short strings; then each key alone, which must come back
// alone: a field that leaks into a neighbour's flag or value shows up as an
// extra or a changed pair.
TEST(SettingsRoundTripTest, EveryKeyOfEveryGroup_SurvivesWriteResponseAndIndicationInTheModemsOrder) {
    for (const auto& o : kModemOrder) {
        const imss_settings_group_v01& g = *imss_settings_group_by_id(static_cast<int32_t>(o.id));
        SCOPED_TRACE(g.settings_name);
        EXPECT_EQ(g.field_count, o.ints.size() + o.bools.size() + o.strings.size());
        roundTrip(g, everyKey(g, o, false, true), everyKey(g, o, false, false));
        Pairs all = everyKey(g, o, true, false);
        roundTrip(g, everyKey(g, o, true, true), all);
        for (const auto& p : all.ints) roundTrip(g, Pairs{{p}, {}, {}}, Pairs{{p}, {}, {}});
        for (const auto& p : all.bools) roundTrip(g, Pairs{{}, {p}, {}}, Pairs{{}, {p}, {}});
        for (const auto& p : all.strings) roundTrip(g, Pairs{{}, {}, {p}}, Pairs{{}, {}, {p}});
    }
}

}  // namespace
