// The requests that reach the modem's configuration, made so that a device
// keeps what it had: each settings group is written back as it was read (a
// group the modem holds nothing of gets one value); the auto-configuration document goes up plain and gzip-compressed
// (more than one 2000-byte segment) and must get the same answer both ways;
// a token goes to the modem and its fetch status is reported.
#include <gtest/gtest.h>

#include <zlib.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "HalInstances.h"
#include "RcsConfigHalFixture.h"

namespace imsrcs_vts {
namespace {

using ::android::hardware::hidl_vec;

class RcsConfigWriteHalTest : public RcsConfigHalFixture {
protected:
    std::optional<SettingsAnswer> read(V2_0::SettingsId group) {
        sp<SettingsRecorder> cb = new SettingsRecorder();
        if (!mConfig->getSettingsValue(group, cb).isOk()) return std::nullopt;
        std::vector<SettingsAnswer> answers = cb->answers.waitFor(1);
        if (answers.empty()) return std::nullopt;
        return answers[0];
    }

    // The one answer of a request made with a fresh callback; nullopt when
    // the call failed or no answer came in time.
    template <typename Request>
    std::optional<V2_0::RequestStatus> answerOf(Request request) {
        sp<ResultRecorder> cb = new ResultRecorder();
        if (!request(cb).isOk()) return std::nullopt;
        std::vector<V2_0::RequestStatus> results = cb->results.waitFor(1);
        if (results.empty()) return std::nullopt;
        return results[0];
    }
};

// An auto-configuration document of about 5 KB: three segments on the wire.
std::vector<uint8_t> document() {
    std::string xml = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<wap-provisioningdoc version=\"1.1\">\n";
    xml += "  <characteristic type=\"VERS\">\n    <parm name=\"version\" value=\"1\"/>\n"
           "    <parm name=\"validity\" value=\"86400\"/>\n  </characteristic>\n";
    for (int i = 0; i < 60; ++i) {
        xml += "  <characteristic type=\"APPLICATION\">\n    <parm name=\"AppID\" value=\"ap" +
               std::to_string(2000 + i) + "\"/>\n  </characteristic>\n";
    }
    xml += "</wap-provisioningdoc>\n";
    return std::vector<uint8_t>(xml.begin(), xml.end());
}

// `data` in the gzip format, as the telephony side sends compressed documents.
std::vector<uint8_t> gzipped(const std::vector<uint8_t>& data) {
    z_stream stream{};
    std::vector<uint8_t> out;
    if (deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY) != Z_OK) return out;
    out.resize(deflateBound(&stream, data.size()) + 32);
    stream.next_in = const_cast<Bytef*>(data.data());
    stream.avail_in = static_cast<uInt>(data.size());
    stream.next_out = out.data();
    stream.avail_out = static_cast<uInt>(out.size());
    int result = deflate(&stream, Z_FINISH);
    out.resize(result == Z_STREAM_END ? stream.total_out : 0);
    deflateEnd(&stream);
    return out;
}

// One value of `group`, for a modem that reports none: a write needs at
// least one.
V2_0::SettingsData oneValue(V2_0::SettingsId group) {
    V2_0::SettingsData data;
    data.settingsId = group;
    auto& values = data.settingsValues;
    switch (group) {
        case V2_0::SettingsId::PRESENCE_CONFIG:
            values.intData = {{static_cast<uint32_t>(V2_0::PresenceConfigKeys::PUBLISH_TIMER), 1200}};
            break;
        case V2_0::SettingsId::STANDALONE_MESSAGING_CONFIG:
            values.stringData = {{static_cast<uint32_t>(V2_0::StandaloneMessagingConfigKeys::CLIENT_VENDOR), "VTS"}};
            break;
        case V2_0::SettingsId::USER_AGENT_STRING:
            values.stringData = {{static_cast<uint32_t>(V2_0::UserAgentStringKeys::IMS_USER_AGENT), "vts-agent/1.0"}};
            break;
        default:
            values.boolData = {{static_cast<uint32_t>(V2_0::ImsServiceEnableConfigKeys::VOLTE_ENABLED), true}};
            break;
    }
    return data;
}

// Every value of `part` is in `whole`, under the same key.
bool containsAll(const V2_0::SettingsValues& whole, const V2_0::SettingsValues& part) {
    auto within = [](const auto& all, const auto& some) {
        for (const auto& v : some) {
            if (std::find(all.begin(), all.end(), v) == all.end()) return false;
        }
        return true;
    };
    return within(whole.boolData, part.boolData) && within(whole.intData, part.intData) &&
           within(whole.stringData, part.stringData);
}

bool isEmpty(const V2_0::SettingsValues& v) {
    return v.boolData.size() == 0 && v.intData.size() == 0 && v.stringData.size() == 0;
}

TEST_P(RcsConfigWriteHalTest, SetSettingsValue_EachGroup_OkAndReadsBack) {
    int written = 0;
    for (V2_0::SettingsId group : kGroups) {
        std::optional<SettingsAnswer> before = read(group);
        ASSERT_TRUE(before.has_value()) << "no answer to reading " << toString(group);
        if (before->status != V2_0::RequestStatus::OK) continue;  // the modem cannot say now
        // What the modem holds goes back unchanged; a group it holds nothing
        // of gets one value.
        V2_0::SettingsData data = isEmpty(before->data.settingsValues) ? oneValue(group) : before->data;
        std::optional<V2_0::RequestStatus> set =
                answerOf([&](const sp<ResultRecorder>& cb) { return mConfig->setSettingsValue(data, cb); });
        ASSERT_TRUE(set.has_value()) << "no answer to writing " << toString(group);
        EXPECT_EQ(*set, V2_0::RequestStatus::OK) << toString(data);
        std::optional<SettingsAnswer> after = read(group);
        ASSERT_TRUE(after.has_value());
        EXPECT_EQ(after->status, V2_0::RequestStatus::OK);
        EXPECT_TRUE(containsAll(after->data.settingsValues, data.settingsValues))
                << "wrote " << toString(data) << "\nread " << toString(after->data);
        ++written;
    }
    if (written == 0) GTEST_SKIP() << "the modem answered no read of a settings group";
}

TEST_P(RcsConfigWriteHalTest, SetConfig_PlainAndGzip_SameAnswer) {
    V2_0::Container plain;
    plain.isCompressed = false;
    plain.config = document();
    V2_0::Container compressed;
    compressed.isCompressed = true;
    compressed.config = gzipped(document());
    ASSERT_FALSE(compressed.config.size() == 0);

    std::optional<V2_0::RequestStatus> first =
            answerOf([&](const sp<ResultRecorder>& cb) { return mConfig->setConfig(plain, cb); });
    std::optional<V2_0::RequestStatus> second =
            answerOf([&](const sp<ResultRecorder>& cb) { return mConfig->setConfig(compressed, cb); });
    ASSERT_TRUE(first.has_value()) << "no answer to the plain document";
    ASSERT_TRUE(second.has_value()) << "no answer to the gzip document";
    EXPECT_TRUE(*first == V2_0::RequestStatus::OK || *first == V2_0::RequestStatus::FAIL) << toString(*first);
    EXPECT_EQ(*second, *first);
}

TEST_P(RcsConfigWriteHalTest, AppToken_SetIsAnswered_FetchStatusIsTaken) {
    std::optional<V2_0::RequestStatus> set =
            answerOf([&](const sp<ResultRecorder>& cb) { return mConfig->setAppToken("vts-token-0001", cb); });
    ASSERT_TRUE(set.has_value()) << "no answer to setAppToken";
    EXPECT_TRUE(*set == V2_0::RequestStatus::OK || *set == V2_0::RequestStatus::FAIL) << toString(*set);
    EXPECT_TRUE(mConfig->updateTokenFetchStatus(1, V2_1::TokenType::FCM_TOKEN, V2_1::StatusCode::SUCCESS).isOk());
    // The object still answers after the report.
    EXPECT_TRUE(read(V2_0::SettingsId::USER_AGENT_STRING).has_value());
}

IMSRCS_PER_INSTANCE(RcsConfigWriteHalTest, F1_1::IImsFactory::descriptor);

}  // namespace
}  // namespace imsrcs_vts
