// Carrier-configuration upload: segment layout, end-of-upload rule and the
// callback, checked on what the modem emulator received and reassembled.
#include <algorithm>
#include <cstring>

#include "SettingsTestFixture.h"

namespace settingstest {
namespace {

constexpr size_t kSeg = IMSS_CARRIER_CONFIG_SEGMENT_MAX_V01;

struct UploadCase {
    size_t size;
    bool gzipped;
    size_t segments;    // segments the modem receives
    bool accepted;      // the callback's answer
};

void PrintTo(const UploadCase& c, std::ostream* os) {
    *os << c.size << (c.gzipped ? " bytes gzip" : " bytes plain");
}

class UploadTest : public SettingsTest, public ::testing::WithParamInterface<UploadCase> {};

// The document uploaded for a case and, for gzip, what it inflates to.
void makeDocument(const UploadCase& c, std::vector<uint8_t>* doc, std::vector<uint8_t>* plain) {
    // Incompressible bytes: their gzip stream is a little larger than they are.
    *plain = noiseBytes(c.gzipped ? c.size - 40 : c.size);
    *doc = c.gzipped ? gzipBytes(*plain) : *plain;
}

TEST_P(UploadTest, SendRcsConfig_SegmentsAndAnswer) {
    const UploadCase c = GetParam();
    startAndSubscribe();
    std::vector<uint8_t> doc, plain;
    makeDocument(c, &doc, &plain);

    auto answer = upload(doc, c.gzipped);
    ASSERT_TRUE(answer->waitForCount(1));
    ASSERT_TRUE(mLoop->waitUntilIdle());
    EXPECT_EQ(answer->values(), std::vector<bool>{c.accepted});

    auto segs = segments();
    ASSERT_EQ(segs.size(), c.segments);
    const uint8_t announced = static_cast<uint8_t>(doc.size() / kSeg + 1);
    for (size_t i = 0; i < segs.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(segs[i].token, tokenSeed());
        EXPECT_EQ(segs[i].seq_num, i + 1);
        EXPECT_EQ(segs[i].seg_count, announced);
        EXPECT_EQ(segs[i].is_gzipped, c.gzipped ? 1 : 0);
        size_t len = std::min(kSeg, doc.size() - i * kSeg);
        ASSERT_EQ(segs[i].config_len, len);
        EXPECT_EQ(0, memcmp(segs[i].config, doc.data() + i * kSeg, len));
    }
    auto received = modem().receivedConfigs(0);
    if (c.accepted) {
        ASSERT_EQ(received.size(), 1u);
        EXPECT_EQ(received[0].token, tokenSeed());
        EXPECT_EQ(received[0].gzipped, c.gzipped);
        EXPECT_TRUE(received[0].document == plain) << "reassembled document differs";
    } else {
        EXPECT_TRUE(received.empty());
    }
}

// A length that is an exact multiple of 2000 announces one segment more than
// it sends and fails, although the modem took every segment.
INSTANTIATE_TEST_SUITE_P(
    Sizes, UploadTest,
    ::testing::Values(UploadCase{0, false, 0, false}, UploadCase{1, false, 1, true},
                      UploadCase{1999, false, 1, true}, UploadCase{2000, false, 1, false},
                      UploadCase{2001, false, 2, true}, UploadCase{4001, false, 3, true},
                      UploadCase{65536, false, 33, true}, UploadCase{65536, true, 33, true}),
    [](const ::testing::TestParamInfo<UploadCase>& info) {
        return std::string(info.param.gzipped ? "Gzip" : "Plain") +
               std::to_string(info.param.size);
    });

TEST_F(SettingsTest, SendRcsConfig_DocumentOrSegmentTheModemRefuses_AnswersFalseFromIndication) {
    startAndSubscribe();
    // Marked gzip but not a gzip stream, and a gzip stream cut short and
    // corrupted: every segment is taken, the whole is refused.
    std::vector<uint8_t> corrupt = gzipBytes(noiseBytes(6000));
    corrupt.resize(corrupt.size() / 2);
    for (size_t i = 20; i < corrupt.size(); i += 7) corrupt[i] ^= 0x5A;
    const std::vector<std::vector<uint8_t>> documents{noiseBytes(2500), corrupt};
    size_t segmentsSent = 0;
    for (const auto& doc : documents) {
        auto answer = upload(doc, true);
        ASSERT_TRUE(answer->waitForCount(1));
        EXPECT_EQ(answer->values(), std::vector<bool>{false});
        segmentsSent += doc.size() / kSeg + 1;
        EXPECT_EQ(segments().size(), segmentsSent);
    }
    EXPECT_TRUE(mLog.waitFor("ImsMcxSettings :DecodedData->config_status[3] ", kWait, 2));
    // A segment answered with an error header but no segment status counts as
    // sent: the client goes on to segment 2 and the modem, which dropped
    // segment 1, refuses the upload as out of order.
    fail(IMSS_SET_NEW_CARRIER_CONFIG_V01, {K::ResponseHeader, 1});
    auto answer = upload(noiseBytes(2500), false);
    ASSERT_TRUE(answer->waitForCount(1));
    EXPECT_EQ(answer->values(), std::vector<bool>{false});
    EXPECT_EQ(segments().size(), segmentsSent + 2);
    EXPECT_TRUE(mLog.waitFor("ImsMcxSettings :DecodedData->config_status[1] ", kWait));
    EXPECT_FALSE(mLog.contains("ImsMcxSettings:sendRcsConfigRequestMessage  FAILED"));
    EXPECT_TRUE(modem().receivedConfigs(0).empty());
}

TEST_F(SettingsTest, SendRcsConfig_TenMegabytes_IsAnsweredManyTimesAndTheModemKeepsPartsOfIt) {
    startAndSubscribe();
    const std::vector<uint8_t> doc = noiseBytes(10u << 20);
    const size_t sent = doc.size() / kSeg + 1;  // 5243, announced as 5243 mod 256
    auto answer = upload(doc, false);
    ASSERT_TRUE(mLog.waitFor("ImsMcxSettings::SendConfigOnThread,failed to send config in imssclient",
                             kWait));
    ASSERT_TRUE(mLoop->waitUntilIdle());
    EXPECT_EQ(modem().requestCount(IMSS_SERVICE_ID_V01, IMSS_SET_NEW_CARRIER_CONFIG_V01), sent);
    auto values = answer->values();
    EXPECT_GT(values.size(), 2u);
    EXPECT_TRUE(std::find(values.begin(), values.end(), true) != values.end());
    // The worker's own verdict, besides the modem's for each part.
    EXPECT_TRUE(std::find(values.begin(), values.end(), false) != values.end());
    // Each time the 8-bit sequence number wraps, the modem starts a new upload
    // and keeps the part of the document that its announced count covers.
    auto kept = modem().receivedConfigs(0);
    ASSERT_FALSE(kept.empty());
    const size_t wrap = 256 * kSeg;
    for (const auto& k : kept) {
        ASSERT_LE(k.document.size(), (sent % 256) * kSeg);
        bool found = false;
        for (size_t at = 0; at + k.document.size() <= doc.size() && !found; at += wrap) {
            found = std::equal(k.document.begin(), k.document.end(), doc.begin() + at);
        }
        EXPECT_TRUE(found);
    }
    // The client serves on.
    auto next = upload(noiseBytes(10), false);
    ASSERT_TRUE(next->waitForCount(1));
    EXPECT_EQ(next->values(), std::vector<bool>{true});
}

TEST_F(SettingsTest, SendRcsConfig_SecondSegmentRejected_StopsAndAnswersFalse) {
    startAndSubscribe();
    fail(IMSS_SET_NEW_CARRIER_CONFIG_V01, {K::Delay, 0, 0, 0, 500});
    auto answer = upload(noiseBytes(4001), false);
    // The first segment's answer is held back; the second is refused on arrival.
    ASSERT_TRUE(modem().waitForRequests(IMSS_SERVICE_ID_V01, IMSS_SET_NEW_CARRIER_CONFIG_V01, 1,
                                        kWait));
    fail(IMSS_SET_NEW_CARRIER_CONFIG_V01, {K::SegStatus, 0, 0, 2});
    ASSERT_TRUE(answer->waitForCount(1));
    ASSERT_TRUE(mLoop->waitUntilIdle());
    EXPECT_EQ(answer->values(), std::vector<bool>{false});
    auto segs = segments();
    ASSERT_EQ(segs.size(), 2u);
    EXPECT_EQ(segs[1].seq_num, 2);
    EXPECT_TRUE(mLog.contains("ImsMcxSettings:sendRcsConfigRequestMessage  FAILED"));
    EXPECT_TRUE(modem().receivedConfigs(0).empty());
}

// Uploads draw consecutive tokens; the 257th wraps to the first one, whose
// callback is still filed, so its verdict goes to the first caller.
TEST_F(SettingsTest, SendRcsConfig_257thUpload_ReusesFirstTokenAndAnswersFirstCallback) {
    startAndSubscribe();
    std::vector<std::shared_ptr<Recorder<bool>>> answers;
    for (int i = 0; i < 256; ++i) {
        answers.push_back(upload(noiseBytes(1, i), false));
        ASSERT_TRUE(answers.back()->waitForCount(1)) << "upload " << i;
    }
    auto last = upload(noiseBytes(1, 999), false);
    ASSERT_TRUE(answers[0]->waitForCount(2));
    ASSERT_TRUE(mLoop->waitUntilIdle());
    EXPECT_EQ(last->size(), 0u);
    EXPECT_EQ(answers[0]->values(), (std::vector<bool>{true, true}));
    EXPECT_EQ(answers[1]->size(), 1u);
    auto segs = segments();
    ASSERT_EQ(segs.size(), 257u);
    for (size_t i = 0; i < segs.size(); ++i) {
        EXPECT_EQ(segs[i].token, static_cast<uint8_t>(tokenSeed() + i)) << i;
    }
    EXPECT_EQ(mLog.count("already in use, new callback not filed"), 1u);
}

}  // namespace
}  // namespace settingstest
