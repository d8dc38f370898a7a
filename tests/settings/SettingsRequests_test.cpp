// Settings-group writes, reads and change registrations, ACS token and
// token-fetch status, against the modem emulator.
#include <algorithm>
#include <cstring>

#include "SettingsTestFixture.h"

namespace settingstest {
namespace {

const imss_settings_group_v01& group(int id) { return imss_settings_groups_v01[id]; }

size_t valueSize(const imss_settings_field_v01& f) {
    switch (f.type) {
        case IMSS_VALUE_UINT32: return 4;
        case IMSS_VALUE_CHARS: return f.capacity;
        default: return 1;
    }
}

// A write request of the group with every field present and a value that
// depends on `salt`.
std::vector<uint8_t> fullMessage(const imss_settings_group_v01& g, uint8_t salt) {
    std::vector<uint8_t> msg(g.set_len, 0);
    for (size_t i = 0; i < g.field_count; ++i) {
        const auto& f = g.fields[i];
        if (f.flag_offset != IMSS_NO_PRESENCE_FLAG) msg[f.flag_offset] = 1;
        uint8_t* v = msg.data() + f.value_offset;
        switch (f.type) {
            case IMSS_VALUE_BOOL: *v = (i + salt) % 2; break;
            case IMSS_VALUE_UINT8: *v = static_cast<uint8_t>(i + salt); break;
            case IMSS_VALUE_UINT32: {
                uint32_t x = 1000u * salt + static_cast<uint32_t>(i);
                memcpy(v, &x, sizeof(x));
                break;
            }
            case IMSS_VALUE_CHARS: {
                std::string s = "k" + std::to_string(f.key) + "s" + std::to_string(salt);
                memcpy(v, s.data(), std::min<size_t>(s.size(), f.capacity));
                break;
            }
        }
    }
    return msg;
}

// Every field of `expected` (flag and value) is found in `layout` at `base`.
void expectFields(const imss_settings_group_v01& g, const std::vector<uint8_t>& expected,
                  const std::vector<uint8_t>& layout, size_t base) {
    ASSERT_GE(layout.size(), base + g.set_len);
    for (size_t i = 0; i < g.field_count; ++i) {
        const auto& f = g.fields[i];
        SCOPED_TRACE(f.field_name);
        if (f.flag_offset != IMSS_NO_PRESENCE_FLAG) {
            EXPECT_EQ(layout[base + f.flag_offset], expected[f.flag_offset]);
        }
        EXPECT_EQ(0, memcmp(layout.data() + base + f.value_offset,
                            expected.data() + f.value_offset, valueSize(f)));
    }
}

int32_t headerField(const std::vector<uint8_t>& resp, size_t index) {
    int32_t v;
    memcpy(&v, resp.data() + index * sizeof(int32_t), sizeof(v));
    return v;
}

class GroupTest : public SettingsTest, public ::testing::WithParamInterface<int> {};

TEST_P(GroupTest, WriteThenRead_StoresAndReturnsEveryField) {
    const auto& g = group(GetParam());
    startAndSubscribe();
    auto msg = fullMessage(g, 3);
    auto written = write(g.set_msg_id, msg);
    ASSERT_TRUE(written->waitForCount(1));
    EXPECT_EQ(written->values(), std::vector<bool>{true});
    ASSERT_EQ(requestsOf(g.set_msg_id).size(), 1u);
    EXPECT_EQ(requestsOf(g.set_msg_id)[0].data, msg);
    expectFields(g, msg, modem().storedSettings(0, g.settings_id), 0);

    auto got = read(g.get_msg_id);
    ASSERT_TRUE(got->waitForCount(1));
    ReadResult r = got->values()[0];
    EXPECT_EQ(r.msgId, static_cast<int>(g.get_msg_id));
    ASSERT_TRUE(r.hasData);
    EXPECT_EQ(headerField(r.data, 0), 0);
    EXPECT_EQ(headerField(r.data, 1), 0);
    EXPECT_EQ(r.data[sizeof(ims_settings_resp_hdr_v01)], 1);
    expectFields(g, msg, r.data, g.get_fields_offset);
    // The read request is the single zero byte.
    auto reads = requestsOf(g.get_msg_id);
    ASSERT_EQ(reads.size(), 1u);
    EXPECT_EQ(reads[0].data, std::vector<uint8_t>{0});
    // Answered requests leave nothing filed (each callback holds the client's callback object).
    drainRequests();
    ImsMcxSettings::PendingRequests pending = mSettings->pendingRequests();
    EXPECT_EQ(pending.settingsWrites + pending.settingsReads, 0u);
}

TEST_P(GroupTest, Register_SendsGroupPairAndDeliversChangesOnLoopThread) {
    const auto& g = group(GetParam());
    startAndSubscribe();
    auto changes = registerFor(GetParam());
    ASSERT_TRUE(mLog.waitFor("ImsMcxSettings::UpdateSettingOnThread, success", kWait));
    auto regs = requestsOf(IMSS_CONFIG_IND_REGISTER_V01);
    ASSERT_EQ(regs.size(), 1u);
    std::vector<uint8_t> expectedReg(IMSS_CONFIG_IND_REG_LEN_V01, 0);
    expectedReg[g.ind_reg_offset] = 1;
    expectedReg[g.ind_reg_offset + 1] = 1;
    EXPECT_EQ(regs[0].data, expectedReg);

    auto msg = fullMessage(g, 5);
    ASSERT_TRUE(write(g.set_msg_id, msg)->waitForCount(1));
    ASSERT_TRUE(changes->waitForCount(1));
    ReadResult r = changes->values()[0];
    EXPECT_EQ(r.msgId, GetParam());
    ASSERT_TRUE(r.hasData);
    expectFields(g, msg, r.data, 0);
    // Dispatch happens on the loop thread.
    bool onLoopThread = false;
    for (const auto& line : mLog.lines()) {
        if (line.message.find("ImsMcxSettings :processMcxInd, eventType: ") != std::string::npos) {
            onLoopThread = line.tid == mLoop->loopTid();
        }
    }
    EXPECT_TRUE(onLoopThread);
}

TEST_P(GroupTest, Failures_FailTheWriteAndAnswerTheReadNull) {
    const auto& g = group(GetParam());
    startAndSubscribe();
    // An error in either half of the response header fails a write.
    fail(g.set_msg_id, {K::ResponseHeader, 0, 3});
    auto first = write(g.set_msg_id, fullMessage(g, 1));
    ASSERT_TRUE(first->waitForCount(1));
    fail(g.set_msg_id, {K::ResponseHeader, 1, 0});
    auto second = write(g.set_msg_id, fullMessage(g, 1));
    ASSERT_TRUE(second->waitForCount(1));
    EXPECT_EQ(first->values(), std::vector<bool>{false});
    EXPECT_EQ(second->values(), std::vector<bool>{false});
    EXPECT_EQ(mLog.count("ImsMcxSettings::SendSettingOnThread,failed to send settings in imssclient"),
              2u);

    for (K kind : {K::ResponseHeader, K::Transport}) {
        fail(g.get_msg_id, {kind, 0, 3});
        auto got = read(g.get_msg_id);
        ASSERT_TRUE(got->waitForCount(1));
        EXPECT_EQ(got->values()[0].msgId, static_cast<int>(g.get_msg_id));
        EXPECT_FALSE(got->values()[0].hasData);
    }
}

INSTANTIATE_TEST_SUITE_P(Groups, GroupTest, ::testing::Values(0, 1, 2, 3),
                         [](const ::testing::TestParamInfo<int>& info) {
                             return std::string(group(info.param).settings_name);
                         });

// Requests reach the modem one at a time: a write issued while a read waits
// for its answer is sent only after the read has been answered.
TEST_F(SettingsTest, Write_WaitsForTheReadInFlight) {
    startAndSubscribe();
    const auto& g = group(0);
    fail(g.get_msg_id, {K::Delay, 0, 0, 0, 3000});  // the read times out after 1000 ms
    auto writesWhenReadAnswered = std::make_shared<Recorder<size_t>>();
    void* buf = calloc(1, g.get_resp_len);
    onLoop([&] {
        mSettings->receiveRcsSettings(
            [writesWhenReadAnswered, &g](int, void*) {
                writesWhenReadAnswered->add(modem().requestCount(IMSS_SERVICE_ID_V01, g.set_msg_id));
            },
            0, static_cast<int>(g.get_msg_id), buf);
    });
    ASSERT_TRUE(modem().waitForRequests(IMSS_SERVICE_ID_V01, g.get_msg_id, 1, kWait));
    auto written = write(g.set_msg_id, fullMessage(g, 1));
    ASSERT_TRUE(written->waitForCount(1));
    ASSERT_TRUE(writesWhenReadAnswered->waitForCount(1));
    EXPECT_EQ(writesWhenReadAnswered->values(), std::vector<size_t>{0});
    EXPECT_EQ(written->values(), std::vector<bool>{true});
}

TEST_F(SettingsTest, Settings_WrongMessageIds_FailWithoutSending) {
    startAndSubscribe();
    // A read id handed to a write and a write id handed to a read.
    auto w = write(IMSS_GET_PRESENCE_CONFIG_V01, std::vector<uint8_t>(16, 0));
    ASSERT_TRUE(w->waitForCount(1));
    auto r = read(IMSS_SET_PRESENCE_CONFIG_V01);
    ASSERT_TRUE(r->waitForCount(1));
    EXPECT_EQ(w->values(), std::vector<bool>{false});
    EXPECT_FALSE(r->values()[0].hasData);
    EXPECT_EQ(mLog.count("Invalid Setting ID passed"), 2u);
    EXPECT_TRUE(requestsOf(IMSS_GET_PRESENCE_CONFIG_V01).empty());
    EXPECT_TRUE(requestsOf(IMSS_SET_PRESENCE_CONFIG_V01).empty());
}

// Without subscribeToSub the subscription has no connection: every kind of
// request is dropped with a line, nothing reaches the modem, nobody is answered.
TEST_F(SettingsTest, Requests_OnSubscriptionWithoutConnection_SendNothingAndNeverAnswer) {
    startAndSubscribe();
    modem().clearRequests();
    auto r = read(IMSS_GET_USER_AGENT_CONFIG_V01, 1);
    auto w = write(IMSS_SET_USER_AGENT_CONFIG_V01, fullMessage(group(2), 1), 1);
    auto up = upload(documentBytes(10), false, 1);
    ASSERT_TRUE(mLog.waitFor("ImsMcxSettings: sub 1 has no connection", kWait, 3));
    auto token = sendToken("tok", 1);
    ASSERT_TRUE(mLog.waitFor("ImsMcxSettings: sendAppTokenData end ", kWait));
    ASSERT_TRUE(mLoop->waitUntilIdle());
    EXPECT_EQ(r->size() + w->size() + up->size() + token->size(), 0u);
    EXPECT_TRUE(modem().requests().empty());
}

TEST_F(SettingsTest, Requests_OnSecondSubscription_UseItsOwnStore) {
    startAndSubscribe();
    ASSERT_TRUE(subscribe(1));
    const auto& g = group(3);
    auto msg = fullMessage(g, 7);
    ASSERT_TRUE(write(g.set_msg_id, msg, 1)->waitForCount(1));
    expectFields(g, msg, modem().storedSettings(1, g.settings_id), 0);
    auto sub0 = modem().storedSettings(0, g.settings_id);
    EXPECT_EQ(sub0, std::vector<uint8_t>(sub0.size(), 0));
}

TEST_F(SettingsTest, Register_Twice_KeepsFirstListener_DeregisterRemovesIt) {
    startAndSubscribe();
    const auto& g = group(2);
    auto first = registerFor(2);
    auto second = registerFor(2);
    ASSERT_TRUE(mLog.waitFor("ImsMcxSettings::UpdateSettingOnThread, success", kWait, 2));
    EXPECT_TRUE(mLog.contains("already has a listener, first one kept"));
    EXPECT_EQ(requestsOf(IMSS_CONFIG_IND_REGISTER_V01).size(), 2u);

    ASSERT_TRUE(write(g.set_msg_id, fullMessage(g, 1))->waitForCount(1));
    ASSERT_TRUE(first->waitForCount(1));
    ASSERT_TRUE(mLoop->waitUntilIdle());
    EXPECT_EQ(second->size(), 0u);

    bool removed = false, again = true;
    onLoop([&] {
        removed = mSettings->deregisterForRcsSettingsUpdate(2);
        again = mSettings->deregisterForRcsSettingsUpdate(2);
    });
    EXPECT_TRUE(removed);
    EXPECT_FALSE(again);
    EXPECT_TRUE(mLog.contains(
        "ImsMcxSettings:deregisterForRcsSettingsUpdate end,listener found for settingsId: 2"));
    EXPECT_TRUE(mLog.contains("ImsMcxSettings:deregisterForRcsSettingsUpdate listener not available"));

    // The modem keeps reporting; the client drops what nobody listens to.
    ASSERT_TRUE(write(g.set_msg_id, fullMessage(g, 2))->waitForCount(1));
    ASSERT_TRUE(mLog.waitFor("no listener for settings group 2", kWait));
    ASSERT_TRUE(mLoop->waitUntilIdle());
    EXPECT_EQ(first->size(), 1u);
}

TEST_F(SettingsTest, Register_UnknownGroupOrTransportFailure_IsOnlyLogged) {
    startAndSubscribe();
    auto unknown = registerFor(7);
    ASSERT_TRUE(mLog.waitFor("UpdateSettingOnThread: registration for indication,errorcode: ", kWait));
    EXPECT_TRUE(mLog.contains("UpdateSettingOnThread: registration for indication default"));
    auto regs = requestsOf(IMSS_CONFIG_IND_REGISTER_V01);
    ASSERT_EQ(regs.size(), 1u);
    EXPECT_EQ(regs[0].data, std::vector<uint8_t>(IMSS_CONFIG_IND_REG_LEN_V01, 0));  // nothing asked

    fail(IMSS_CONFIG_IND_REGISTER_V01, {});
    auto failed = registerFor(0);
    ASSERT_TRUE(mLog.waitFor(
        "ImsMcxSettings::UpdateSettingOnThread,failed to receive settings in imssclient", kWait));
    EXPECT_TRUE(mLog.contains("registration for indication failed "));
    EXPECT_EQ(unknown->size() + failed->size(), 0u);
}

struct TokenCase {
    size_t length;
    bool sent;
};

void PrintTo(const TokenCase& c, std::ostream* os) { *os << c.length << " bytes"; }

class TokenTest : public SettingsTest, public ::testing::WithParamInterface<TokenCase> {};

TEST_P(TokenTest, SendAppToken_LengthRule) {
    startAndSubscribe();
    std::string token;
    for (size_t i = 0; i < GetParam().length; ++i) token.push_back(static_cast<char>('a' + i % 26));
    auto answer = sendToken(token);
    if (!GetParam().sent) {
        ASSERT_TRUE(mLog.waitFor("ImsMcxSettings::sendAppTokenOnThread unsupport apptoken size",
                                 kWait));
        ASSERT_TRUE(mLog.waitFor("ImsMcxSettings: sendAppTokenData end ", kWait));
        ASSERT_TRUE(mLoop->waitUntilIdle());
        EXPECT_EQ(answer->size(), 0u);
        EXPECT_TRUE(requestsOf(IMSS_SET_ACS_TOKEN_V01).empty());
        return;
    }
    ASSERT_TRUE(answer->waitForCount(1));
    EXPECT_EQ(answer->values(), std::vector<bool>{true});
    auto reqs = requestsOf(IMSS_SET_ACS_TOKEN_V01);
    ASSERT_EQ(reqs.size(), 1u);
    ims_settings_set_acs_token_req_msg_v01 msg;
    ASSERT_EQ(reqs[0].data.size(), sizeof(msg));
    memcpy(&msg, reqs[0].data.data(), sizeof(msg));
    EXPECT_EQ(msg.reserved, 0);
    EXPECT_EQ(msg.token_len, token.size());
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(msg.token), token.size()), token);
    EXPECT_EQ(msg.token[IMSS_ACS_TOKEN_MAX_V01], 0);
    auto stored = modem().acsToken(0);
    EXPECT_EQ(std::string(stored.begin(), stored.end()), token);
}

INSTANTIATE_TEST_SUITE_P(Lengths, TokenTest,
                         ::testing::Values(TokenCase{0, false}, TokenCase{1, true},
                                           TokenCase{512, true}, TokenCase{513, false},
                                           TokenCase{1u << 20, false}),
                         [](const ::testing::TestParamInfo<TokenCase>& info) {
                             return "Bytes" + std::to_string(info.param.length);
                         });

TEST_F(SettingsTest, SendAppToken_ResponseHeaderRule) {
    startAndSubscribe();
    auto answerWith = [&](K kind, int32_t result, int32_t error) {
        fail(IMSS_SET_ACS_TOKEN_V01, {kind, result, error});
        auto answer = sendToken("tok");
        EXPECT_TRUE(answer->waitForCount(1));
        return answer->size() == 1 && answer->values()[0];
    };
    // A result without an error passes; an error without a result passes too.
    EXPECT_TRUE(answerWith(K::ResponseHeader, 1, 0));
    EXPECT_TRUE(answerWith(K::ResponseHeader, 0, 3));
    EXPECT_FALSE(answerWith(K::ResponseHeader, 1, 3));
    EXPECT_FALSE(answerWith(K::Transport, 0, 0));
    EXPECT_TRUE(mLog.contains("Sending of App Token successfully"));
    EXPECT_TRUE(mLog.contains("ImsMcxSettings::sendAppTokenOnThread,failed to send settings in McxImssClient"));
}

TEST_F(SettingsTest, SendTokenFetchStatus_SendsStatusAndRequestId_FailuresAreOnlyLogged) {
    startAndSubscribe();
    onLoop([&] { EXPECT_TRUE(mSettings->sendTokenFetchStatus(0, 77, 2, 5)); });
    ASSERT_TRUE(mLog.waitFor("ImsMcxSettings::sendAppTokenStatusOnThread, sent successfully", kWait));
    auto reqs = requestsOf(IMSS_UPDATE_ACS_TOKEN_STATUS_V01);
    ASSERT_EQ(reqs.size(), 1u);
    ims_settings_update_acs_token_status_req_msg_v01 msg;
    ASSERT_EQ(reqs[0].data.size(), sizeof(msg));
    memcpy(&msg, reqs[0].data.data(), sizeof(msg));
    EXPECT_EQ(msg.reserved, 0);
    EXPECT_EQ(msg.status_code, 5);
    EXPECT_EQ(msg.request_id_valid, 1);
    EXPECT_EQ(msg.request_id, 77);
    auto statuses = modem().tokenStatuses(0);
    ASSERT_EQ(statuses.size(), 1u);
    EXPECT_EQ(statuses[0].statusCode, 5);
    EXPECT_EQ(statuses[0].requestId, 77);

    // An error header, and a subscription without a connection.
    fail(IMSS_UPDATE_ACS_TOKEN_STATUS_V01, {K::ResponseHeader, 1, 3});
    onLoop([&] {
        mSettings->sendTokenFetchStatus(0, 1, 0, 1);
        mSettings->sendTokenFetchStatus(1, 2, 0, 1);
    });
    ASSERT_TRUE(mLog.waitFor(
        "ImsMcxSettings::sendAppTokenStatusOnThread,failed to send settings in McxImssClient",
        kWait, 2));
    EXPECT_TRUE(mLog.contains("Sending of RCS configuration failed. RetVal: 0"));
    EXPECT_EQ(requestsOf(IMSS_UPDATE_ACS_TOKEN_STATUS_V01).size(), 2u);
    EXPECT_EQ(modem().tokenStatuses(0).size(), 1u);
}

// A modem that holds its answer past the 1000 ms every request waits: each
// kind answers the way its transport failure does, and the client serves on.
struct TimeoutCase {
    const char* name;
    uint32_t msgId;
    const char* failureLine;  // what the client logs for the failed exchange
};

void PrintTo(const TimeoutCase& c, std::ostream* os) { *os << c.name; }

class TimeoutTest : public SettingsTest, public ::testing::WithParamInterface<TimeoutCase> {};

TEST_P(TimeoutTest, ModemAnswerLaterThanTheTimeout_FailsThatRequestOnly) {
    const TimeoutCase& c = GetParam();
    startAndSubscribe();
    fail(c.msgId, {K::Delay, 0, 0, 0, 3000});
    const auto& presence = group(0);
    std::shared_ptr<Recorder<bool>> answer;
    std::shared_ptr<Recorder<ReadResult>> readAnswer;
    switch (c.msgId) {
        case IMSS_SET_NEW_CARRIER_CONFIG_V01: answer = upload(documentBytes(10), false); break;
        case IMSS_SET_ACS_TOKEN_V01: answer = sendToken("tok"); break;
        case IMSS_GET_PRESENCE_CONFIG_V01: readAnswer = read(presence.get_msg_id); break;
        case IMSS_SET_PRESENCE_CONFIG_V01:
            answer = write(presence.set_msg_id, std::vector<uint8_t>(presence.set_len, 0));
            break;
        case IMSS_CONFIG_IND_REGISTER_V01: registerFor(0); break;
        default: onLoop([&] { mSettings->sendTokenFetchStatus(0, 5, 0, 1); }); break;
    }
    ASSERT_TRUE(mLog.waitFor(c.failureLine, kWait)) << c.name;
    if (c.msgId == IMSS_SET_NEW_CARRIER_CONFIG_V01) {
        // The modem took the segment all the same, and its verdict comes too.
        ASSERT_TRUE(answer->waitForCount(2));
        auto values = answer->values();
        std::sort(values.begin(), values.end());
        EXPECT_EQ(values, (std::vector<bool>{false, true}));
    } else if (answer) {
        ASSERT_TRUE(answer->waitForCount(1));
        EXPECT_EQ(answer->values(), std::vector<bool>{false});
    }
    if (readAnswer) {
        ASSERT_TRUE(readAnswer->waitForCount(1));
        EXPECT_FALSE(readAnswer->values()[0].hasData);
    }
    // The next request of the same kind goes through.
    auto next = write(presence.set_msg_id, std::vector<uint8_t>(presence.set_len, 0));
    ASSERT_TRUE(next->waitForCount(1));
    EXPECT_EQ(next->values(), std::vector<bool>{true});
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, TimeoutTest,
    ::testing::Values(
        TimeoutCase{"Write", IMSS_SET_PRESENCE_CONFIG_V01,
                    "ImsMcxSettings::SendSettingOnThread,failed to send settings in imssclient"},
        TimeoutCase{"Read", IMSS_GET_PRESENCE_CONFIG_V01,
                    "ImsMcxSettings::ReceiveSettingOnThread,failed to receive settings in imssclient"},
        TimeoutCase{"Upload", IMSS_SET_NEW_CARRIER_CONFIG_V01, "ImsMcxSettings:sendRcsConfigRequestMessage  FAILED"},
        TimeoutCase{"AppToken", IMSS_SET_ACS_TOKEN_V01,
                    "ImsMcxSettings::sendAppTokenOnThread,failed to send settings in McxImssClient"},
        TimeoutCase{"TokenFetchStatus", IMSS_UPDATE_ACS_TOKEN_STATUS_V01,
                    "ImsMcxSettings::sendAppTokenStatusOnThread,failed to send settings in McxImssClient"},
        TimeoutCase{"Registration", IMSS_CONFIG_IND_REGISTER_V01,
                    "ImsMcxSettings::UpdateSettingOnThread,failed to receive settings in imssclient"}),
    [](const ::testing::TestParamInfo<TimeoutCase>& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace settingstest
