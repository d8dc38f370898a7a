// The emulator driven directly, as a transport drives it: requests in,
// replies and pushed events out through a recording sink.
#include "emulator/ModemEmulator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <string>

#include "emulator/ModemControl.h"
#include "ims_application_service_v01.h"
#include "ims_settings_service_v01.h"
#include "mcx_client.h"
#include "support/ModemTestUtil.h"

namespace {

using mcxemu::ModemEmulator;
using mcxemu::ModemReply;
using Kind = mcxemu::MessageFault::Kind;

// What the emulator pushed: service states and lost connections as lines,
// indications by connection and message.
class RecordingSink : public mcx::ModemListener {
public:
    void onServiceState(uint32_t serviceId, bool up) override {
        events.push_back((up ? "up " : "down ") + std::to_string(serviceId));
    }
    void onIndication(uint64_t connId, uint32_t msgId, std::vector<uint8_t> data) override {
        received[{connId, msgId}].push_back(std::move(data));
    }
    void onConnectionLost(uint64_t connId) override { events.push_back("lost " + std::to_string(connId)); }
    std::vector<std::vector<uint8_t>> indications(uint64_t connId, uint32_t msgId) {
        return received[{connId, msgId}];
    }
    size_t count(const std::string& event) const { return std::count(events.begin(), events.end(), event); }
    std::vector<std::string> events;
    std::map<std::pair<uint64_t, uint32_t>, std::vector<std::vector<uint8_t>>> received;
};

template <typename T>
ModemReply send(ModemEmulator& m, uint64_t conn, uint32_t msgId, const T& msg) {
    return m.request(conn, msgId, reinterpret_cast<const uint8_t*>(&msg), sizeof(msg));
}

template <typename T>
T as(const std::vector<uint8_t>& bytes) {
    T out{};
    EXPECT_GE(bytes.size(), sizeof(T));
    std::memcpy(&out, bytes.data(), std::min(bytes.size(), sizeof(T)));
    return out;
}

class ModemEmulatorTest : public ::testing::Test {
protected:
    void SetUp() override { modem.attach(&sink); }
    void TearDown() override { modem.detach(&sink); }

    uint64_t imss(int32_t sub = -1) {
        uint64_t c = modem.connect(IMSS_SERVICE_ID_V01, &sink);
        if (sub >= 0) {
            ims_settings_bind_subscription_req_msg_v01 bind{sub};
            EXPECT_EQ(send(modem, c, IMSS_BIND_SUBSCRIPTION_V01, bind).status, 0);
        }
        return c;
    }
    void registerGroup(uint64_t conn, uint32_t group, bool report) {
        ims_settings_config_ind_reg_req_msg_v01 reg{};
        reg.reg[imss_settings_groups_v01[group].ind_reg_offset] = 1;
        reg.reg[imss_settings_groups_v01[group].ind_reg_offset + 1] = report ? 1 : 0;
        ASSERT_EQ(send(modem, conn, IMSS_CONFIG_IND_REGISTER_V01, reg).status, 0);
    }
    ModemReply segment(uint64_t conn, uint8_t token, uint8_t seq, uint8_t count, bool gz,
                       const std::vector<uint8_t>& doc, size_t offset) {
        ims_settings_set_new_carrier_config_req_msg_v01 seg{};
        seg.is_gzipped = gz ? 1 : 0;
        seg.token = token;
        seg.seq_num = seq;
        seg.seg_count = count;
        seg.config_len = static_cast<uint32_t>(std::min<size_t>(2000, doc.size() - offset));
        std::memcpy(seg.config, doc.data() + offset, seg.config_len);
        return send(modem, conn, IMSS_SET_NEW_CARRIER_CONFIG_V01, seg);
    }
    // Sends a whole document the way the settings client does.
    void upload(uint64_t conn, uint8_t token, const std::vector<uint8_t>& doc, bool gz) {
        uint8_t count = static_cast<uint8_t>(doc.size() / 2000 + 1);
        uint8_t seq = 1;
        for (size_t off = 0; off < doc.size(); off += 2000, ++seq) {
            auto r = segment(conn, token, seq, count, gz, doc, off);
            ASSERT_EQ(r.status, 0);
            auto resp = as<ims_settings_set_new_carrier_config_resp_msg_v01>(r.response);
            ASSERT_EQ(resp.seg_status, 0u);
        }
    }
    int32_t lastConfigStatus(uint64_t conn, uint8_t token) {
        auto inds = sink.indications(conn, IMSS_CARRIER_CONFIG_STATUS_IND_V01);
        if (inds.empty()) return -1;
        auto ind = as<ims_settings_carrier_config_status_ind_msg_v01>(inds.back());
        EXPECT_EQ(ind.ref_num, token);
        return ind.config_status;
    }

    ModemEmulator modem;
    RecordingSink sink;
};

TEST_F(ModemEmulatorTest, SupportedMessages_ListCarrierConfigOnlyWhenEnabled) {
    uint64_t c = imss();
    auto supported = [&] {
        auto r = modem.request(c, IMSS_GET_SUPPORTED_MSGS_V01, nullptr, 0);
        EXPECT_EQ(r.status, 0);
        auto resp = as<ims_settings_get_supported_msgs_resp_msg_v01>(r.response);
        EXPECT_EQ(resp.supported_msgs_valid, 1);
        EXPECT_GE(resp.supported_msgs_len, 21u);
        EXPECT_TRUE(resp.supported_msgs[0x98 / 8] & (1u << (0x98 % 8)));
        EXPECT_FALSE(resp.supported_msgs[0x9D / 8] & (1u << (0x9D % 8))) << "indications are not requests";
        return (resp.supported_msgs[19] & 0x10) != 0;
    };
    EXPECT_TRUE(supported());
    modem.setCarrierConfigSupported(false);
    EXPECT_FALSE(supported());
}

TEST_F(ModemEmulatorTest, Requests_WithWrongLengthIdSubscriptionOrConnection_AreRefused) {
    uint64_t c = imss();
    uint8_t buf[8] = {};
    EXPECT_EQ(modem.request(c, IMSS_BIND_SUBSCRIPTION_V01, buf, 3).status, MCX_ERR_REQ_LENGTH);
    EXPECT_EQ(modem.request(c, 0x55, buf, 4).status, MCX_ERR_INVALID_ARG);
    EXPECT_EQ(modem.request(c, IMSS_CARRIER_CONFIG_STATUS_IND_V01, buf, 8).status, MCX_ERR_INVALID_ARG);
    // An unknown subscription fails in the answer's header.
    for (int32_t sub : {2, 1}) {
        ims_settings_bind_subscription_req_msg_v01 bind{sub};
        auto resp = as<ims_settings_bind_subscription_resp_msg_v01>(
            send(modem, c, IMSS_BIND_SUBSCRIPTION_V01, bind).response);
        EXPECT_EQ(resp.resp.result, sub == 2 ? mcxemu::kResultFailure : 0);
        EXPECT_EQ(resp.resp.error, sub == 2 ? mcxemu::kErrorInvalidArgument : 0);
        EXPECT_EQ(resp.common_resp_valid, sub == 2 ? 0 : 1);
    }
    modem.disconnect(c);
    EXPECT_EQ(modem.request(c, IMSS_BIND_SUBSCRIPTION_V01, buf, 4).status, MCX_ERR_SERVICE_GONE);
    EXPECT_EQ(modem.request(999, IMSS_BIND_SUBSCRIPTION_V01, buf, 4).status, MCX_ERR_SERVICE_GONE);
    // Every request reaches the log, the refused ones too.
    EXPECT_EQ(modem.requestCount(IMSS_SERVICE_ID_V01, IMSS_BIND_SUBSCRIPTION_V01), 3u);
    EXPECT_EQ(modem.requests().size(), 5u);
}

TEST_F(ModemEmulatorTest, SettingsWrite_StoresValidFlaggedFieldsPerSubscription_AndReadReturnsThem) {
    uint64_t sub0 = imss(0), sub1 = imss(1);
    const auto& presence = imss_settings_groups_v01[0];
    std::vector<uint8_t> write(presence.set_len, 0);
    write[0] = 1;  // publish_timer present
    uint32_t timer = 120;
    std::memcpy(&write[4], &timer, 4);
    uint32_t ignored = 77;  // publish_extended_timer not flagged: must not be stored
    std::memcpy(&write[12], &ignored, 4);
    write[76] = 1;
    std::memcpy(&write[77], "sip:ps@example", 14);
    auto r = modem.request(sub0, presence.set_msg_id, write.data(), write.size());
    ASSERT_EQ(r.status, 0);
    ASSERT_EQ(r.response.size(), 16u);
    EXPECT_EQ(as<ims_settings_resp_hdr_v01>(r.response).result, 0);

    // A second write adds a field and keeps the first ones.
    std::vector<uint8_t> second(presence.set_len, 0);
    second[72] = 1;
    second[73] = 1;
    ASSERT_EQ(modem.request(sub0, presence.set_msg_id, second.data(), second.size()).status, 0);

    uint8_t zero = 0;
    auto read = modem.request(sub0, presence.get_msg_id, &zero, 1);
    ASSERT_EQ(read.response.size(), presence.get_resp_len);
    EXPECT_EQ(read.response[8], 1) << "settings_resp_valid";
    const uint8_t* fields = read.response.data() + presence.get_fields_offset;
    EXPECT_EQ(fields[0], 1);
    uint32_t stored;
    std::memcpy(&stored, fields + 4, 4);
    EXPECT_EQ(stored, 120u);
    EXPECT_EQ(fields[8], 0);
    std::memcpy(&stored, fields + 12, 4);
    EXPECT_EQ(stored, 0u);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(fields + 77)), "sip:ps@example");
    EXPECT_EQ(fields[72], 1);
    EXPECT_EQ(fields[73], 1);

    auto other = modem.request(sub1, presence.get_msg_id, &zero, 1);
    EXPECT_EQ(std::vector<uint8_t>(other.response.begin() + 16, other.response.end()),
              std::vector<uint8_t>(presence.set_len, 0))
        << "subscription 1 has its own store";
    EXPECT_EQ(modem.storedSettings(0, 0), std::vector<uint8_t>(fields, fields + presence.set_len));

    // A boolean out of range fails the whole write.
    const auto& enable = imss_settings_groups_v01[3];
    std::vector<uint8_t> bad(enable.set_len, 0);
    bad[0] = 1;
    bad[1] = 2;  // volte_enabled
    bad[16] = 1;
    bad[17] = 1;
    r = modem.request(sub0, enable.set_msg_id, bad.data(), bad.size());
    EXPECT_EQ(as<ims_settings_resp_hdr_v01>(r.response).result, mcxemu::kResultFailure);
    EXPECT_EQ(modem.storedSettings(0, 3), std::vector<uint8_t>(enable.set_len, 0));
}

TEST_F(ModemEmulatorTest, SettingsWrite_NotifiesRegisteredConnectionsOfTheSameSubscription) {
    uint64_t writer = imss(0), watcher = imss(0), unregistered = imss(0), otherSub = imss(1);
    registerGroup(watcher, 2, true);
    registerGroup(otherSub, 2, true);
    registerGroup(unregistered, 0, true);  // another group
    const auto& ua = imss_settings_groups_v01[2];
    std::vector<uint8_t> write(ua.set_len, 0);
    std::memcpy(write.data(), "IMS-UA/1.0", 10);
    ASSERT_EQ(modem.request(writer, ua.set_msg_id, write.data(), write.size()).status, 0);

    auto got = sink.indications(watcher, ua.ind_msg_id);
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0], write);
    EXPECT_TRUE(sink.indications(unregistered, ua.ind_msg_id).empty());
    EXPECT_TRUE(sink.indications(otherSub, ua.ind_msg_id).empty());
    EXPECT_TRUE(sink.indications(writer, ua.ind_msg_id).empty());

    registerGroup(watcher, 2, false);  // report flag 0 withdraws the registration
    ASSERT_EQ(modem.request(writer, ua.set_msg_id, write.data(), write.size()).status, 0);
    EXPECT_EQ(sink.indications(watcher, ua.ind_msg_id).size(), 1u);
}

// Whole uploads, sent the way the settings client sends them, and the verdict
// each gets; only accepted documents are kept, inflated, for their subscription.
TEST_F(ModemEmulatorTest, Upload_WholeDocuments_GetTheirVerdict) {
    const auto noise = imstest::noiseBytes(9000);  // spans several segments once compressed
    auto truncated = imstest::gzipBytes(imstest::patternBytes(5000));
    truncated.resize(truncated.size() / 2);
    struct Case {
        const char* name;
        std::vector<uint8_t> sent;
        bool gzipped;
        int32_t verdict;                // -1: none
        std::vector<uint8_t> kept;      // the document kept when accepted
    };
    const Case cases[] = {
        // Exactly 2000 bytes announce two segments but have one. First, as
        // the verdict read is the connection's last one.
        {"fewer segments than announced", imstest::patternBytes(2000), false, -1, {}},
        {"plain in three segments", imstest::patternBytes(4001), false, mcxemu::kConfigAccepted,
         imstest::patternBytes(4001)},
        {"gzip", imstest::gzipBytes(noise), true, mcxemu::kConfigAccepted, noise},
        {"marked gzip but plain", imstest::patternBytes(300), true, mcxemu::kConfigInflateFailed, {}},
        {"truncated gzip", truncated, true, mcxemu::kConfigInflateFailed, {}},
    };
    ASSERT_GT(cases[2].sent.size(), 4000u);
    uint64_t c = imss(1);
    uint8_t token = 40;
    size_t kept = 0;
    for (const Case& k : cases) {
        SCOPED_TRACE(k.name);
        upload(c, ++token, k.sent, k.gzipped);
        EXPECT_EQ(lastConfigStatus(c, token), k.verdict);
        auto configs = modem.receivedConfigs(1);
        if (k.verdict != mcxemu::kConfigAccepted) {
            EXPECT_EQ(configs.size(), kept);
            continue;
        }
        ASSERT_EQ(configs.size(), ++kept);
        EXPECT_EQ(configs.back().token, token);
        EXPECT_EQ(configs.back().gzipped, k.gzipped);
        EXPECT_EQ(configs.back().document, k.kept);
    }
    EXPECT_TRUE(modem.receivedConfigs(0).empty());
}

// Uploads that break off get the verdict of their reason, and none is kept.
// A segment refused in its seg_status, for its length or by a fault, ends the
// upload too: the next segment is out of order.
TEST_F(ModemEmulatorTest, Upload_BrokenOffOrRefusedSegment_IsRejectedWithItsReason) {
    uint64_t c = imss(0);
    auto doc = imstest::patternBytes(5000);
    struct Segment {
        uint8_t seq, count;
        bool gzipped;
    };
    const std::pair<std::vector<Segment>, int32_t> broken[] = {
        {{{2, 3, false}}, mcxemu::kConfigOutOfOrder},
        {{{1, 3, false}, {3, 3, false}}, mcxemu::kConfigOutOfOrder},
        {{{1, 3, false}, {2, 2, false}}, mcxemu::kConfigCountMismatch},
        {{{1, 2, false}, {2, 2, true}}, mcxemu::kConfigMixedEncoding},
    };
    uint8_t token = 9;
    for (const auto& [segments, verdict] : broken) {
        for (const Segment& g : segments) segment(c, token, g.seq, g.count, g.gzipped, doc, (g.seq - 1) * 2000);
        EXPECT_EQ(lastConfigStatus(c, token), verdict) << int(token);
        ++token;
    }
    EXPECT_TRUE(modem.receivedConfigs(0).empty());

    for (uint32_t badLength : {2001u, 0u}) {
        ims_settings_set_new_carrier_config_req_msg_v01 seg{};
        seg.seq_num = 1;
        seg.seg_count = 1;
        seg.config_len = badLength;
        auto resp = as<ims_settings_set_new_carrier_config_resp_msg_v01>(
            send(modem, c, IMSS_SET_NEW_CARRIER_CONFIG_V01, seg).response);
        EXPECT_EQ(resp.seg_status_valid, 1);
        EXPECT_EQ(resp.seg_status, mcxemu::kSegmentBadLength);
    }
    ASSERT_EQ(segment(c, token, 1, 3, false, doc, 0).status, 0);
    modem.failMessage(IMSS_SERVICE_ID_V01, IMSS_SET_NEW_CARRIER_CONFIG_V01, {Kind::SegStatus, 0, 0, 2});
    auto resp = as<ims_settings_set_new_carrier_config_resp_msg_v01>(
        segment(c, token, 2, 3, false, doc, 2000).response);
    EXPECT_EQ(resp.seg_status_valid, 1);
    EXPECT_EQ(resp.seg_status, 2u);
    segment(c, token, 3, 3, false, doc, 4000);
    EXPECT_EQ(lastConfigStatus(c, token), mcxemu::kConfigOutOfOrder);
}

TEST_F(ModemEmulatorTest, AcsToken_AndTokenStatus_AreStoredPerSubscription) {
    uint64_t c = imss(1);
    ims_settings_set_acs_token_req_msg_v01 token{};
    token.token_len = 5;
    std::memcpy(token.token, "abcde", 5);
    EXPECT_EQ(as<ims_settings_resp_hdr_v01>(send(modem, c, IMSS_SET_ACS_TOKEN_V01, token).response).result, 0);
    EXPECT_EQ(modem.acsToken(1), (std::vector<uint8_t>{'a', 'b', 'c', 'd', 'e'}));
    EXPECT_TRUE(modem.acsToken(0).empty());

    token.token_len = 513;
    EXPECT_EQ(as<ims_settings_resp_hdr_v01>(send(modem, c, IMSS_SET_ACS_TOKEN_V01, token).response).error,
              mcxemu::kErrorInvalidArgument);
    EXPECT_EQ(modem.acsToken(1).size(), 5u) << "a refused token keeps the previous one";

    ims_settings_update_acs_token_status_req_msg_v01 status{0, 3, 1, 77};
    ASSERT_EQ(send(modem, c, IMSS_UPDATE_ACS_TOKEN_STATUS_V01, status).status, 0);
    auto statuses = modem.tokenStatuses(1);
    ASSERT_EQ(statuses.size(), 1u);
    EXPECT_EQ(statuses[0].statusCode, 3);
    EXPECT_TRUE(statuses[0].hasRequestId);
    EXPECT_EQ(statuses[0].requestId, 77);
}

TEST_F(ModemEmulatorTest, LongRun_KeepsTheLastFewDocumentsReportsAndRequestsButCountsAll) {
    uint64_t c = imss(1);
    const size_t uploads = mcxemu::kKeptConfigs + 3;
    for (size_t i = 0; i < uploads; ++i) {
        upload(c, static_cast<uint8_t>(10 + i), imstest::patternBytes(100 + i), false);
    }
    auto configs = modem.receivedConfigs(1);
    ASSERT_EQ(configs.size(), mcxemu::kKeptConfigs);
    EXPECT_EQ(configs.front().token, 10 + uploads - configs.size());
    EXPECT_EQ(configs.back().document, imstest::patternBytes(100 + uploads - 1));
    EXPECT_EQ(modem.receivedConfigCount(1), uploads);
    std::string reply;
    ASSERT_TRUE(mcxemu::runControlCommand(modem, "configs 2", &reply));
    EXPECT_EQ(reply.substr(0, reply.find('\n')), std::to_string(uploads));

    const size_t reports = ModemEmulator::kKeptRequests + 5;
    for (size_t i = 0; i < reports; ++i) {
        ims_settings_update_acs_token_status_req_msg_v01 status{0, 1, 1, static_cast<int32_t>(i)};
        send(modem, c, IMSS_UPDATE_ACS_TOKEN_STATUS_V01, status);
    }
    auto statuses = modem.tokenStatuses(1);
    ASSERT_EQ(statuses.size(), mcxemu::kKeptTokenStatuses);
    EXPECT_EQ(statuses.back().requestId, static_cast<int32_t>(reports - 1));

    // The request log is a window; the counts of known messages are whole.
    EXPECT_EQ(modem.requests().size(), ModemEmulator::kKeptRequests);
    EXPECT_EQ(modem.requestCount(IMSS_SERVICE_ID_V01, IMSS_UPDATE_ACS_TOKEN_STATUS_V01), reports);
    EXPECT_GT(modem.requestCount(IMSS_SERVICE_ID_V01, IMSS_SET_NEW_CARRIER_CONFIG_V01), 0u);
}

TEST_F(ModemEmulatorTest, TokenRequest_GoesToRegisteredImsaConnectionsOfTheSubscription) {
    auto imsa = [&](int32_t sub, bool reg) {
        uint64_t c = modem.connect(IMSA_SERVICE_ID_V01, &sink);
        imsa_bind_subscription_req_msg_v01 bind{1, sub};
        EXPECT_EQ(as<imsa_resp_hdr_v01>(send(modem, c, IMSA_BIND_SUBSCRIPTION_V01, bind).response).result, 0);
        imsa_ind_reg_req_msg_v01 r{};
        r.reg[IMSA_CONFIG_TOKEN_REQUEST_PAIR_V01][0] = 1;
        r.reg[IMSA_CONFIG_TOKEN_REQUEST_PAIR_V01][1] = reg ? 1 : 0;
        EXPECT_EQ(send(modem, c, IMSA_IND_REGISTER_V01, r).status, 0);
        return c;
    };
    uint64_t wanted = imsa(1, true), unregistered = imsa(1, false), otherSub = imsa(0, true);
    EXPECT_EQ(modem.sendTokenRequest(1, 2, 4, true, 99), 1);
    EXPECT_EQ(modem.sendTokenRequest(1, 1, 0, false, 0), 1);
    // The fields themselves are checked where the application client decodes them.
    auto got = sink.indications(wanted, IMSA_CONFIG_TOKEN_REQUEST_IND_V01);
    ASSERT_EQ(got.size(), 2u);
    EXPECT_EQ(as<imsa_config_token_request_ind_msg_v01>(got[0]).request_id, 99);
    EXPECT_TRUE(sink.indications(unregistered, IMSA_CONFIG_TOKEN_REQUEST_IND_V01).empty());
    EXPECT_TRUE(sink.indications(otherSub, IMSA_CONFIG_TOKEN_REQUEST_IND_V01).empty());

    imsa_bind_subscription_req_msg_v01 invalid{0, 1};
    EXPECT_EQ(as<imsa_resp_hdr_v01>(send(modem, wanted, IMSA_BIND_SUBSCRIPTION_V01, invalid).response).result,
              mcxemu::kResultFailure);
}

TEST_F(ModemEmulatorTest, Restart_LosesConnectionsAndUploads_KeepsStoredState) {
    uint64_t c = imss(0);
    uint64_t a = modem.connect(IMSA_SERVICE_ID_V01, &sink);
    const auto& enable = imss_settings_groups_v01[3];
    std::vector<uint8_t> write(enable.set_len, 0);
    write[0] = 1;
    write[1] = 1;
    ASSERT_EQ(modem.request(c, enable.set_msg_id, write.data(), write.size()).status, 0);
    auto doc = imstest::patternBytes(3000);
    segment(c, 1, 1, 2, false, doc, 0);
    sink.events.clear();

    modem.setServiceUp(IMSS_SERVICE_ID_V01, false);
    EXPECT_EQ(modem.connect(IMSS_SERVICE_ID_V01, &sink), 0u);
    EXPECT_FALSE(modem.isServiceUp(IMSS_SERVICE_ID_V01));
    EXPECT_TRUE(modem.isServiceUp(IMSA_SERVICE_ID_V01));
    modem.restart();

    const std::string settings = std::to_string(IMSS_SERVICE_ID_V01), app = std::to_string(IMSA_SERVICE_ID_V01);
    for (const std::string& event : {"lost " + std::to_string(c), "lost " + std::to_string(a), "down " + settings,
                                     "up " + settings, "down " + app, "up " + app}) {
        EXPECT_EQ(sink.count(event), 1u) << event;
    }
    EXPECT_EQ(sink.events.size(), 6u);
    EXPECT_EQ(modem.connectionCount(IMSS_SERVICE_ID_V01), 0u);

    uint64_t again = imss(0);
    EXPECT_EQ(modem.storedSettings(0, 3), write);
    // The upload in progress died with the restart: its second segment is out of order.
    segment(again, 1, 2, 2, false, doc, 2000);
    EXPECT_EQ(lastConfigStatus(again, 1), mcxemu::kConfigOutOfOrder);
}

TEST_F(ModemEmulatorTest, Faults_FailDelayOrDropTheNamedMessageTheGivenNumberOfTimes) {
    uint64_t c = imss();
    ims_settings_bind_subscription_req_msg_v01 bind{0};
    modem.failMessage(IMSS_SERVICE_ID_V01, IMSS_BIND_SUBSCRIPTION_V01, {}, 2);
    EXPECT_EQ(send(modem, c, IMSS_BIND_SUBSCRIPTION_V01, bind).status, MCX_ERR_TRANSPORT);
    EXPECT_EQ(send(modem, c, IMSS_BIND_SUBSCRIPTION_V01, bind).status, MCX_ERR_TRANSPORT);
    EXPECT_EQ(send(modem, c, IMSS_BIND_SUBSCRIPTION_V01, bind).status, 0);

    modem.failMessage(IMSS_SERVICE_ID_V01, IMSS_SET_PRESENCE_CONFIG_V01, {Kind::ResponseHeader, 0, 3}, 0);
    std::vector<uint8_t> write(208, 0);
    write[0] = 1;
    for (int i = 0; i < 3; ++i) {
        auto r = modem.request(c, IMSS_SET_PRESENCE_CONFIG_V01, write.data(), write.size());
        EXPECT_EQ(as<ims_settings_resp_hdr_v01>(r.response).error, 3);
    }
    EXPECT_EQ(modem.storedSettings(0, 0)[0], 0) << "a failed write stores nothing";

    modem.failMessage(IMSS_SERVICE_ID_V01, IMSS_SET_PRESENCE_CONFIG_V01, {Kind::Delay, 0, 0, 0, 1500});
    auto delayed = modem.request(c, IMSS_SET_PRESENCE_CONFIG_V01, write.data(), write.size());
    EXPECT_EQ(delayed.delayMs, 1500u);
    EXPECT_EQ(modem.storedSettings(0, 0)[0], 1) << "a delayed write still takes effect";
    modem.clearFaults();
    EXPECT_EQ(modem.request(c, IMSS_SET_PRESENCE_CONFIG_V01, write.data(), write.size()).delayMs, 0u);

    // Indication faults drop or resize the next indications.
    modem.dropIndication(IMSS_SERVICE_ID_V01, IMSS_CARRIER_CONFIG_STATUS_IND_V01);
    modem.setIndicationLength(IMSS_SERVICE_ID_V01, IMSS_CARRIER_CONFIG_STATUS_IND_V01, 6);
    upload(c, 1, imstest::patternBytes(10), false);
    upload(c, 2, imstest::patternBytes(10), false);
    upload(c, 3, imstest::patternBytes(10), false);
    auto inds = sink.indications(c, IMSS_CARRIER_CONFIG_STATUS_IND_V01);
    ASSERT_EQ(inds.size(), 2u);
    EXPECT_EQ(inds[0].size(), 6u);
    EXPECT_EQ(inds[1].size(), 8u);
    EXPECT_EQ(as<ims_settings_carrier_config_status_ind_msg_v01>(inds[1]).ref_num, 3);
}

TEST_F(ModemEmulatorTest, ControlCommands_DriveTheSameFaultsAndQueriesAndTheHelpListsThemAll) {
    std::string reply;
    EXPECT_TRUE(mcxemu::runControlCommand(modem, "fail imss 0x98 result 1 3 2", &reply));
    uint64_t c = imss();
    ims_settings_bind_subscription_req_msg_v01 bind{0};
    EXPECT_EQ(as<ims_settings_resp_hdr_v01>(send(modem, c, IMSS_BIND_SUBSCRIPTION_V01, bind).response).error, 3);
    EXPECT_TRUE(mcxemu::runControlCommand(modem, "count imss 0x98", &reply));
    EXPECT_EQ(reply, "1");
    EXPECT_TRUE(mcxemu::runControlCommand(modem, "service imss down", &reply));
    EXPECT_FALSE(modem.isServiceUp(IMSS_SERVICE_ID_V01));
    EXPECT_TRUE(mcxemu::runControlCommand(modem, "connections imss", &reply));
    EXPECT_EQ(reply, "0");
    EXPECT_TRUE(mcxemu::runControlCommand(modem, "token-request 1 1 2 5", &reply));
    EXPECT_EQ(reply, "sent 0");

    for (const char* bad : {"", "fail imss", "fail imss 0x98 result 1", "fail nope 0x98 transport",
                            "fail imss 0x98 transport 2 3", "service imss sideways", "count imss x",
                            "drop-ind imss", "ind-length imss 0x9d -1", "token 0", "configs 3",
                            "token-request 3 1 2"}) {
        EXPECT_FALSE(mcxemu::runControlCommand(modem, bad, &reply)) << bad;
        EXPECT_FALSE(reply.empty()) << bad;
    }
    EXPECT_FALSE(mcxemu::runControlCommand(modem, "ind-length imss", &reply));
    EXPECT_EQ("usage: ind-length <svc> <msg> <length> [count]", reply);

    // The help lists every control with an example that the modem accepts.
    std::string help;
    ASSERT_TRUE(mcxemu::runControlCommand(modem, "help", &help));
    for (const auto& control : mcxemu::controlCommands()) {
        EXPECT_NE(std::string::npos, help.find(std::string("\n  ") + control.verb)) << control.verb;
        EXPECT_NE(std::string::npos, help.find(std::string("e.g. ") + control.example)) << control.verb;
        EXPECT_TRUE(mcxemu::runControlCommand(modem, control.example, &reply)) << control.example << ": " << reply;
    }
}

}  // namespace
