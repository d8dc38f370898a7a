// The fixed modem structures and the message tables, held against byte
// layouts written out here from the modem's message descriptions.
#include <gtest/gtest.h>

#include <cstddef>
#include <set>
#include <vector>

#include "ims_application_service_v01.h"
#include "ims_settings_service_v01.h"

namespace {

// What the compiler made of a structure next to what the modem lays out.
struct Field {
    const char* name;
    size_t compiled, modem;
};
// One structure: its size, then the offsets of the fields named.
#define LAYOUT(Type, size, ...) \
    [] { using T = Type; return std::vector<Field>{{#Type, sizeof(T), size}, __VA_ARGS__}; }()
#define AT(field, offset) Field{"." #field, offsetof(T, field), offset}

TEST(MessageLayoutTest, FixedStructuresHaveTheModemsOffsets) {
    const std::vector<Field> layouts[] = {
        LAYOUT(ims_settings_get_supported_msgs_resp_msg_v01, 8208, AT(supported_msgs_valid, 8),
               AT(supported_msgs_len, 12), AT(supported_msgs, 16)),
        LAYOUT(ims_settings_bind_subscription_req_msg_v01, 4, ),
        LAYOUT(ims_settings_bind_subscription_resp_msg_v01, 16, AT(common_resp_valid, 8), AT(common_resp, 12)),
        LAYOUT(ims_settings_config_ind_reg_req_msg_v01, 72, ),
        LAYOUT(ims_settings_set_new_carrier_config_req_msg_v01, 2008, AT(token, 1), AT(seq_num, 2),
               AT(seg_count, 3), AT(config_len, 4), AT(config, 8)),
        LAYOUT(ims_settings_set_new_carrier_config_resp_msg_v01, 16, AT(seg_status_valid, 8), AT(seg_status, 12)),
        LAYOUT(ims_settings_carrier_config_status_ind_msg_v01, 8, AT(config_status, 4)),
        LAYOUT(ims_settings_set_config_resp_msg_v01, 16, ),
        LAYOUT(ims_settings_get_config_req_msg_v01, 1, ),
        LAYOUT(ims_settings_set_acs_token_req_msg_v01, 528, AT(token_len, 4), AT(token, 8)),
        LAYOUT(ims_settings_set_acs_token_resp_msg_v01, 8, ),
        LAYOUT(ims_settings_update_acs_token_status_req_msg_v01, 16, AT(status_code, 4), AT(request_id_valid, 8),
               AT(request_id, 12)),
        LAYOUT(imsa_bind_subscription_req_msg_v01, 8, AT(subscription, 4)),
        LAYOUT(imsa_ind_reg_req_msg_v01, 38, ),
        LAYOUT(imsa_config_token_request_ind_msg_v01, 16, AT(request_reason, 4), AT(request_id_valid, 8),
               AT(request_id, 12)),
    };
    for (const auto& fields : layouts) {
        for (const Field& f : fields) {
            EXPECT_EQ(f.compiled, f.modem) << fields[0].name << (&f == &fields[0] ? " size" : f.name);
        }
    }
    // Mask bit 18 selects the last pair, bytes 36 and 37.
    EXPECT_EQ(1ul << IMSA_CONFIG_TOKEN_REQUEST_PAIR_V01, CONFIG_TOKEN_REQUEST_MASK);
}

struct ExpectedLengths {
    uint32_t id, req, resp, ind;
};

void expectTable(mcx_idl_service_object_type svc, std::initializer_list<ExpectedLengths> rows) {
    ASSERT_NE(svc, nullptr);
    EXPECT_EQ(svc->msg_count, rows.size());
    for (const auto& row : rows) {
        const mcx_msg_desc_type* d = mcx_idl_find_msg(svc, row.id);
        ASSERT_NE(d, nullptr) << std::hex << row.id;
        EXPECT_EQ(d->req_len, row.req) << std::hex << row.id;
        EXPECT_EQ(d->resp_len, row.resp) << std::hex << row.id;
        EXPECT_EQ(d->ind_len, row.ind) << std::hex << row.id;
    }
}

TEST(MessageTablesTest, EveryMessageHasTheModemsLengths) {
    const uint32_t n = MCX_MSG_LEN_NONE;
    expectTable(imss_get_service_object_internal_v01(1, 0x67, 6),
                {{0x1E, 0, 8208, n},   {0x2A, 72, 8, n},     {0x69, 208, 16, n},
                 {0x6A, 1, 224, n},    {0x6B, n, n, 208},    {0x6C, 577, 16, n},
                 {0x6D, 1, 596, n},    {0x6E, n, n, 577},    {0x89, 1024, 16, n},
                 {0x8A, 1, 1044, n},   {0x8B, n, n, 1024},   {0x8F, 104, 16, n},
                 {0x90, 1, 120, n},    {0x91, n, n, 104},    {0x98, 4, 16, n},
                 {0x9C, 2008, 16, n},  {0x9D, n, n, 8},      {0xA6, 528, 8, n},
                 {0xA7, 16, 8, n}});
    expectTable(imsa_get_service_object_internal_v01(1, 0x2C, 6),
                {{0x22, 38, 8, n}, {0x33, 8, 8, n}, {0x42, n, n, 16}});
    EXPECT_EQ(mcx_idl_find_msg(imsa_get_service_object_internal_v01(1, 0x2C, 6), 0x43), nullptr);
    // Another major version is refused; another minor one is served.
    EXPECT_EQ(imss_get_service_object_internal_v01(2, 0x67, 6), nullptr);
    EXPECT_EQ(imsa_get_service_object_internal_v01(2, 0x2C, 6), nullptr);
    EXPECT_NE(imss_get_service_object_internal_v01(1, 0x10, 6), nullptr);
}

TEST(SettingsGroupsTest, GroupsAgreeWithTheMessageTable) {
    auto* svc = imss_get_service_object_internal_v01(1, 0x67, 6);
    for (const auto& g : imss_settings_groups_v01) {
        EXPECT_EQ(mcx_idl_find_msg(svc, g.set_msg_id)->req_len, g.set_len) << g.settings_name;
        EXPECT_EQ(mcx_idl_find_msg(svc, g.get_msg_id)->resp_len, g.get_resp_len) << g.settings_name;
        EXPECT_EQ(mcx_idl_find_msg(svc, g.ind_msg_id)->ind_len, g.set_len) << g.settings_name;
        EXPECT_LE(g.get_fields_offset + g.set_len, g.get_resp_len) << g.settings_name;
        EXPECT_LT(g.ind_reg_offset + 1, IMSS_CONFIG_IND_REG_LEN_V01);
        // No two fields overlap and every field fits the structure.
        std::set<uint32_t> used;
        for (size_t i = 0; i < g.field_count; ++i) {
            const auto& f = g.fields[i];
            uint32_t size = f.type == IMSS_VALUE_UINT32 ? 4 : f.type == IMSS_VALUE_CHARS ? f.capacity : 1;
            EXPECT_LE(f.value_offset + size, g.set_len) << f.field_name;
            if (f.flag_offset != IMSS_NO_PRESENCE_FLAG) {
                EXPECT_TRUE(used.insert(f.flag_offset).second) << f.field_name;
            }
            for (uint32_t b = f.value_offset; b < f.value_offset + size; ++b) {
                EXPECT_TRUE(used.insert(b).second) << f.field_name << " byte " << b;
            }
        }
    }
    EXPECT_EQ(imss_settings_group_by_msg_id(0x8B), &imss_settings_groups_v01[2]);
    EXPECT_EQ(imss_settings_group_by_id(4), nullptr);
    EXPECT_EQ(imss_settings_group_by_id(-1), nullptr);
}

}  // namespace
