// The requests that change the modem's configuration, opt-in (disabled
// unless the run asks for them; see IMSRCS_PER_INSTANCE_OPT_IN). Settings
// groups are read first and written back as read, whatever the case found:
// a group the modem holds no value of is left alone, since a write cannot
// be taken back there. The auto-configuration document (plain and
// gzip-compressed, more than one 2000-byte segment) and the application
// token replace what the modem had and cannot be read back: the operator's
// provisioning comes back only when the device provisions again.
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

const std::optional<V2_0::RequestStatus> kAnsweredOk{V2_0::RequestStatus::OK};

class RcsConfigWriteHalTest : public RcsConfigHalFixture {
protected:
    // The answer to writing `data`; nullopt when none came.
    std::optional<V2_0::RequestStatus> write(const V2_0::SettingsData& data) {
        return answerOf([&](const sp<ResultRecorder>& cb) { return mConfig->setSettingsValue(data, cb); });
    }

    // Writes `original` back and checks that the modem holds it again.
    void restore(const V2_0::SettingsData& original) {
        EXPECT_EQ(write(original), kAnsweredOk) << "restoring " << toString(original);
        std::optional<SettingsAnswer> now = read(original.settingsId);
        ASSERT_TRUE(now.has_value());
        EXPECT_TRUE(sameValues(now->data.settingsValues, original.settingsValues))
                << "wrote back " << toString(original) << "\nread " << toString(now->data);
    }

    // Every value of `a` is in `b` under the same key and the other way round.
    static bool sameValues(const V2_0::SettingsValues& a, const V2_0::SettingsValues& b) {
        auto within = [](const auto& all, const auto& some) {
            for (const auto& v : some) {
                if (std::find(all.begin(), all.end(), v) == all.end()) return false;
            }
            return true;
        };
        return a.boolData.size() == b.boolData.size() && a.intData.size() == b.intData.size() &&
               a.stringData.size() == b.stringData.size() && within(a.boolData, b.boolData) &&
               within(a.intData, b.intData) && within(a.stringData, b.stringData);
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

// `held` with its first value changed to another of the same type (a bool
// flipped, an int moved by one, a string replaced), and that value alone.
V2_0::SettingsData oneValueChanged(const V2_0::SettingsData& held) {
    V2_0::SettingsData change;
    change.settingsId = held.settingsId;
    const V2_0::SettingsValues& v = held.settingsValues;
    if (v.boolData.size() > 0) {
        change.settingsValues.boolData = {v.boolData[0]};
        change.settingsValues.boolData[0].value = !v.boolData[0].value;
    } else if (v.intData.size() > 0) {
        change.settingsValues.intData = {v.intData[0]};
        auto& value = change.settingsValues.intData[0].value;
        value = value > 0 ? value - 1 : value + 1;
    } else {
        change.settingsValues.stringData = {v.stringData[0]};
        auto& value = change.settingsValues.stringData[0].value;
        value = value == "vts" ? "vts-2" : "vts";
    }
    return change;
}

// `held` with the value of `change` in place of the one under its key.
V2_0::SettingsValues withChange(V2_0::SettingsValues held, const V2_0::SettingsData& change) {
    auto replace = [](auto& all, const auto& some) {
        for (auto& v : all) {
            if (some.size() > 0 && v.key == some[0].key) v = some[0];
        }
    };
    replace(held.boolData, change.settingsValues.boolData);
    replace(held.intData, change.settingsValues.intData);
    replace(held.stringData, change.settingsValues.stringData);
    return held;
}

TEST_P(RcsConfigWriteHalTest, SetSettingsValue_EachHeldGroup_ChangesAValueThenRestoresTheGroup) {
    int changed = 0;
    for (V2_0::SettingsId group : kGroups) {
        std::optional<SettingsAnswer> before = read(group);
        ASSERT_TRUE(before.has_value()) << "no answer to reading " << toString(group);
        ASSERT_EQ(before->status, V2_0::RequestStatus::OK) << toString(group);
        if (before->data.settingsValues == V2_0::SettingsValues{}) continue;  // nothing to restore

        // Nothing below ends the case early: the group is always restored.
        V2_0::SettingsData change = oneValueChanged(before->data);
        EXPECT_EQ(write(change), kAnsweredOk) << toString(change);
        std::optional<SettingsAnswer> after = read(group);
        EXPECT_TRUE(after && after->status == V2_0::RequestStatus::OK &&
                    sameValues(after->data.settingsValues, withChange(before->data.settingsValues, change)))
                << "held " << toString(before->data) << "\nwrote " << toString(change) << "\nread "
                << (after ? toString(after->data) : "nothing");
        restore(before->data);
        ++changed;
    }
    IMSRCS_REQUIRE(changed > 0, "the modem holds no value in any settings group: a write could not be taken back");
}

TEST_P(RcsConfigWriteHalTest, SetConfig_PlainAndGzip_BothOk) {
    std::string state;
    IMSRCS_REQUIRE(waitForModemState(mFactory, "up, carrier configuration accepted", &state),
                   "the modem takes no carrier configuration (" << state << ")");
    for (bool gzip : {false, true}) {
        V2_0::Container doc;
        doc.isCompressed = gzip;
        doc.config = gzip ? gzipped(document()) : document();
        ASSERT_NE(doc.config.size(), 0u);
        EXPECT_EQ(answerOf([&](const sp<ResultRecorder>& cb) { return mConfig->setConfig(doc, cb); }), kAnsweredOk)
                << (gzip ? "the gzip document" : "the plain document");
    }
}

TEST_P(RcsConfigWriteHalTest, AppToken_SetIsOk_FetchStatusIsTaken) {
    EXPECT_EQ(answerOf([&](const sp<ResultRecorder>& cb) { return mConfig->setAppToken("vts-token-0001", cb); }),
              kAnsweredOk);
    EXPECT_TRUE(mConfig->updateTokenFetchStatus(1, V2_1::TokenType::FCM_TOKEN, V2_1::StatusCode::SUCCESS).isOk());
    // The object still answers after the report.
    std::optional<SettingsAnswer> afterReport = read(V2_0::SettingsId::USER_AGENT_STRING);
    ASSERT_TRUE(afterReport.has_value());
    EXPECT_EQ(afterReport->status, V2_0::RequestStatus::OK);
}

IMSRCS_PER_INSTANCE_OPT_IN(RcsConfigWriteHalTest, F1_1::IImsFactory::descriptor);

}  // namespace
}  // namespace imsrcs_vts
