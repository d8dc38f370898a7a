// Settings-group writes, reads and change registrations, ACS token and
// token-fetch status, against the modem emulator.
#include <algorithm>
#include <cstring>

#include "SettingsTestFixture.h"

namespace settingstest {
namespace {

const imss_settings_group_v01& group(int id) { return imss_settings_groups_v01[id]; }

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

// The group's field layout within `bytes` from `base`: a stored group, a
// change indication or the fields of a read response.
std::vector<uint8_t> fieldsOf(const imss_settings_group_v01& g, const std::vector<uint8_t>& bytes,
                              size_t base = 0) {
    if (bytes.size() < base + g.set_len) return bytes;
    return std::vector<uint8_t>(bytes.begin() + base, bytes.begin() + base + g.set_len);
}

class GroupTest : public SettingsTest, public ::testing::WithParamInterface<int> {};

// A write reaches the modem's store, the registered listener hears of it on
// the loop thread and a read returns every field.
TEST_P(GroupTest, RegisterWriteRead_StoresReportsAndReturnsEveryField) {
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

    auto msg = fullMessage(g, 3);
    auto written = write(g.set_msg_id, msg);
    ASSERT_TRUE(written->waitForCount(1));
    EXPECT_EQ(written->values(), std::vector<bool>{true});
    ASSERT_EQ(requestsOf(g.set_msg_id).size(), 1u);
    EXPECT_EQ(requestsOf(g.set_msg_id)[0].data, msg);
    EXPECT_EQ(fieldsOf(g, modem().storedSettings(0, g.settings_id)), msg);

    ASSERT_TRUE(changes->waitForCount(1));
    ReadResult change = changes->values()[0];
    EXPECT_EQ(change.msgId, GetParam());
    ASSERT_TRUE(change.hasData);
    EXPECT_EQ(fieldsOf(g, change.data), msg);
    bool onLoopThread = false;
    for (const auto& line : mLog.lines()) {
        if (line.message.find("ImsMcxSettings :processMcxInd, eventType: ") != std::string::npos) {
            onLoopThread = line.tid == mLoop->loopTid();
        }
    }
    EXPECT_TRUE(onLoopThread);

    auto got = read(g.get_msg_id);
    ASSERT_TRUE(got->waitForCount(1));
    ReadResult r = got->values()[0];
    EXPECT_EQ(r.msgId, static_cast<int>(g.get_msg_id));
    ASSERT_TRUE(r.hasData);
    EXPECT_EQ(fieldsOf(g, r.data, g.get_fields_offset), msg);
    // The read request is the single zero byte.
    auto reads = requestsOf(g.get_msg_id);
    ASSERT_EQ(reads.size(), 1u);
    EXPECT_EQ(reads[0].data, std::vector<uint8_t>{0});
    // The second subscription has a store of its own.
    ASSERT_TRUE(subscribe(1));
    auto msg1 = fullMessage(g, 7);
    ASSERT_TRUE(write(g.set_msg_id, msg1, 1)->waitForCount(1));
    EXPECT_EQ(fieldsOf(g, modem().storedSettings(1, g.settings_id)), msg1);
    EXPECT_EQ(fieldsOf(g, modem().storedSettings(0, g.settings_id)), msg);
    // Answered requests leave nothing filed (each callback holds the client's callback object).
    drainRequests();
    ImsMcxSettings::PendingRequests pending = mSettings->pendingRequests();
    EXPECT_EQ(pending.settingsWrites + pending.settingsReads, 0u);
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
    auto up = upload(noiseBytes(10), false, 1);
    ASSERT_TRUE(mLog.waitFor("ImsMcxSettings: sub 1 has no connection", kWait, 3));
    auto token = sendToken("tok", 1);
    ASSERT_TRUE(mLog.waitFor("ImsMcxSettings: sendAppTokenData end ", kWait));
    ASSERT_TRUE(mLoop->waitUntilIdle());
    EXPECT_EQ(r->size() + w->size() + up->size() + token->size(), 0u);
    EXPECT_TRUE(modem().requests().empty());
}

TEST_F(SettingsTest, Register_UnknownGroupAsksNothing_TwiceKeepsFirstListener_DeregisterRemovesIt) {
    startAndSubscribe();
    const auto& g = group(2);
    // A group that does not exist asks the modem for nothing.
    auto unknown = registerFor(7);
    ASSERT_TRUE(mLog.waitFor("UpdateSettingOnThread: registration for indication,errorcode: ", kWait));
    EXPECT_TRUE(mLog.contains("UpdateSettingOnThread: registration for indication default"));
    auto regs = requestsOf(IMSS_CONFIG_IND_REGISTER_V01);
    ASSERT_EQ(regs.size(), 1u);
    EXPECT_EQ(regs[0].data, std::vector<uint8_t>(IMSS_CONFIG_IND_REG_LEN_V01, 0));

    auto first = registerFor(2);
    auto second = registerFor(2);
    ASSERT_TRUE(mLog.waitFor("ImsMcxSettings::UpdateSettingOnThread, success", kWait, 3));
    EXPECT_TRUE(mLog.contains("already has a listener, first one kept"));
    EXPECT_EQ(requestsOf(IMSS_CONFIG_IND_REGISTER_V01).size(), 3u);

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
    EXPECT_EQ(unknown->size(), 0u);
}

// Tokens of 1 to 512 bytes are sent whole; others are refused unsent and unanswered.
TEST_F(SettingsTest, SendAppToken_SendsOneTo512Bytes) {
    startAndSubscribe();
    size_t sent = 0, refused = 0;
    for (size_t length : {size_t{0}, size_t{1}, size_t{512}, size_t{513}, size_t{1} << 20}) {
        SCOPED_TRACE(length);
        std::string token;
        for (size_t i = 0; i < length; ++i) token.push_back(static_cast<char>('a' + i % 26));
        auto answer = sendToken(token);
        if (length == 0 || length > 512) {
            ASSERT_TRUE(mLog.waitFor("ImsMcxSettings::sendAppTokenOnThread unsupport apptoken size",
                                     kWait, ++refused));
            ASSERT_TRUE(mLog.waitFor("ImsMcxSettings: sendAppTokenData end ", kWait, sent + refused));
            ASSERT_TRUE(mLoop->waitUntilIdle());
            EXPECT_EQ(answer->size(), 0u);
            EXPECT_EQ(requestsOf(IMSS_SET_ACS_TOKEN_V01).size(), sent);
            continue;
        }
        ASSERT_TRUE(answer->waitForCount(1));
        EXPECT_EQ(answer->values(), std::vector<bool>{true});
        auto reqs = requestsOf(IMSS_SET_ACS_TOKEN_V01);
        ASSERT_EQ(reqs.size(), ++sent);
        ims_settings_set_acs_token_req_msg_v01 msg;
        ASSERT_EQ(reqs.back().data.size(), sizeof(msg));
        memcpy(&msg, reqs.back().data.data(), sizeof(msg));
        EXPECT_EQ(msg.reserved, 0);
        EXPECT_EQ(msg.token_len, token.size());
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(msg.token), token.size()), token);
        EXPECT_EQ(msg.token[IMSS_ACS_TOKEN_MAX_V01], 0);
    }
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

// What each kind of request makes of a failed exchange: an error in its
// response header, a transport failure, or an answer held back past the
// 1000 ms every request waits. Writes and reads fail on either half of the
// header; token messages only on a result and an error together. The client
// serves on.
enum Kind : uint32_t {
    kWrite = IMSS_SET_PRESENCE_CONFIG_V01,
    kRead = IMSS_GET_PRESENCE_CONFIG_V01,
    kUpload = IMSS_SET_NEW_CARRIER_CONFIG_V01,
    kAppToken = IMSS_SET_ACS_TOKEN_V01,
    kTokenFetchStatus = IMSS_UPDATE_ACS_TOKEN_STATUS_V01,
    kRegistration = IMSS_CONFIG_IND_REGISTER_V01,
};

struct FailureCase {
    const char* name;
    Kind kind;  // the message the modem fails
    mcxemu::MessageFault fault;
    std::vector<bool> answers;  // the callback's (a read's: whether data came), sorted
    const char* line;           // what the client logs for the exchange
};

void PrintTo(const FailureCase& c, std::ostream* os) { *os << c.name; }

class FailureTest : public SettingsTest, public ::testing::WithParamInterface<FailureCase> {
protected:
    // Issues one request of the kind; its answers land in the recorder.
    std::shared_ptr<Recorder<bool>> issue(Kind kind) {
        switch (kind) {
            case kWrite: return write(kWrite, std::vector<uint8_t>(group(0).set_len, 0));
            case kUpload: return upload(noiseBytes(10), false);
            case kAppToken: return sendToken("tok");
            default: break;
        }
        auto rec = std::make_shared<Recorder<bool>>();
        onLoop([&] {
            if (kind == kRead) {
                mSettings->receiveRcsSettings([rec](int, void* data) { rec->add(data != nullptr); }, 0,
                                              kRead, calloc(1, group(0).get_resp_len));
            } else if (kind == kTokenFetchStatus) {
                mSettings->sendTokenFetchStatus(0, 5, 0, 1);
            } else {
                mSettings->registerForRcsSettingsUpdate([](int, void*) {}, 0, 0);
            }
        });
        return rec;
    }
};

TEST_P(FailureTest, FailedExchange_AnswersByTheKindsRuleAndTheClientServesOn) {
    const FailureCase& c = GetParam();
    startAndSubscribe();
    fail(c.kind, c.fault);
    auto answer = issue(c.kind);
    ASSERT_TRUE(mLog.waitFor(c.line, kWait));
    // An upload's segment is taken all the same, and the modem's verdict comes too.
    ASSERT_TRUE(answer->waitForCount(c.answers.size()));
    ASSERT_TRUE(mLoop->waitUntilIdle());
    auto values = answer->values();
    std::sort(values.begin(), values.end());
    EXPECT_EQ(values, c.answers);
    auto next = issue(kWrite);
    ASSERT_TRUE(next->waitForCount(1));
    EXPECT_EQ(next->values(), std::vector<bool>{true});
}

constexpr const char* kWriteFailed = "ImsMcxSettings::SendSettingOnThread,failed to send settings in imssclient";
constexpr const char* kReadFailed = "ImsMcxSettings::ReceiveSettingOnThread,failed to receive settings in imssclient";
constexpr const char* kTokenFailed = "ImsMcxSettings::sendAppTokenOnThread,failed to send settings in McxImssClient";
constexpr K kHeader = K::ResponseHeader;
const mcxemu::MessageFault kLate{K::Delay, 0, 0, 0, 3000};

INSTANTIATE_TEST_SUITE_P(
    Kinds, FailureTest,
    ::testing::Values(
        FailureCase{"WriteError", kWrite, {kHeader, 0, 3}, {false}, kWriteFailed},
        FailureCase{"WriteResult", kWrite, {kHeader, 1, 0}, {false}, kWriteFailed},
        FailureCase{"WriteLate", kWrite, kLate, {false}, kWriteFailed},
        FailureCase{"ReadError", kRead, {kHeader, 0, 3}, {false}, kReadFailed},
        FailureCase{"ReadTransport", kRead, {}, {false}, kReadFailed},
        FailureCase{"ReadLate", kRead, kLate, {false}, kReadFailed},
        FailureCase{"UploadLate", kUpload, kLate, {false, true},
                    "ImsMcxSettings:sendRcsConfigRequestMessage  FAILED"},
        FailureCase{"AppTokenResult", kAppToken, {kHeader, 1, 0}, {true},
                    "Sending of App Token successfully"},
        FailureCase{"AppTokenError", kAppToken, {kHeader, 0, 3}, {true},
                    "Sending of App Token successfully"},
        FailureCase{"AppTokenResultAndError", kAppToken, {kHeader, 1, 3}, {false}, kTokenFailed},
        FailureCase{"AppTokenTransport", kAppToken, {}, {false}, kTokenFailed},
        FailureCase{"AppTokenLate", kAppToken, kLate, {false}, kTokenFailed},
        FailureCase{"TokenFetchStatusLate", kTokenFetchStatus, kLate, {},
                    "ImsMcxSettings::sendAppTokenStatusOnThread,failed to send settings in McxImssClient"},
        FailureCase{"RegistrationTransport", kRegistration, {}, {},
                    "registration for indication failed "},
        FailureCase{"RegistrationLate", kRegistration, kLate, {},
                    "ImsMcxSettings::UpdateSettingOnThread,failed to receive settings in imssclient"}),
    [](const ::testing::TestParamInfo<FailureCase>& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace settingstest
