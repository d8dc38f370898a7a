// An RCS configuration object from a 1.1 factory, used the way telephony
// uses it, with nothing that changes the modem's configuration: reads of the
// four settings groups, requests for a group that does not exist, change
// registration, the UCE status, and the object's presence in the dump. With
// the modem's IMS settings service up, each of them must succeed.
#include <gtest/gtest.h>

#include "HalDump.h"
#include "HalInstances.h"
#include "RcsConfigHalFixture.h"

namespace imsrcs_vts {
namespace {

class RcsConfigHalTest : public RcsConfigHalFixture {};

TEST_P(RcsConfigHalTest, GetSettingsValue_EachGroup_OkNamingThatGroup) {
    for (V2_0::SettingsId group : kGroups) {
        std::optional<SettingsAnswer> answer = read(group);
        ASSERT_TRUE(answer.has_value()) << "no answer for " << toString(group);
        EXPECT_EQ(answer->status, V2_0::RequestStatus::OK) << toString(group);
        EXPECT_EQ(answer->data.settingsId, group);
    }
}

TEST_P(RcsConfigHalTest, SettingsRequests_GroupThatDoesNotExist_AnswerFail) {
    std::optional<SettingsAnswer> got = read(kNoSuchGroup);
    ASSERT_TRUE(got.has_value());
    EXPECT_EQ(got->status, V2_0::RequestStatus::FAIL);

    V2_0::SettingsData data;
    data.settingsId = kNoSuchGroup;
    data.settingsValues.boolData.resize(1);
    data.settingsValues.boolData[0].key = 400;
    std::optional<V2_0::RequestStatus> set =
            answerOf([&](const sp<ResultRecorder>& cb) { return mConfig->setSettingsValue(data, cb); });
    ASSERT_TRUE(set.has_value());
    EXPECT_EQ(*set, V2_0::RequestStatus::FAIL);
}

TEST_P(RcsConfigHalTest, ChangeRegistration_EachGroup_Ok_DeregistrationAlwaysOk) {
    sp<NoChanges> cb = new NoChanges();
    for (V2_0::SettingsId group : kGroups) {
        auto registered = mConfig->registerForSettingsChange(group, cb);
        ASSERT_TRUE(registered.isOk());
        EXPECT_EQ(static_cast<V2_0::RequestStatus>(registered), V2_0::RequestStatus::OK) << toString(group);
        auto deregistered = mConfig->deregisterForSettingsChange(group);
        ASSERT_TRUE(deregistered.isOk());
        EXPECT_EQ(static_cast<V2_0::RequestStatus>(deregistered), V2_0::RequestStatus::OK);
    }
    // Also for a group never registered, or one that does not exist.
    auto never = mConfig->deregisterForSettingsChange(kNoSuchGroup);
    ASSERT_TRUE(never.isOk());
    EXPECT_EQ(static_cast<V2_0::RequestStatus>(never), V2_0::RequestStatus::OK);
}

TEST_P(RcsConfigHalTest, GetUceStatus_ListenerHearsOnce) {
    // Once: TearDown() counts the calls.
    EXPECT_TRUE(firstCall<UceRecorder>([&](const auto& l) { return mConfig->getUceStatus(l); }).has_value());
}

TEST_P(RcsConfigHalTest, Debug_ShowsThisClientsListener) {
    bool ok = false;
    std::string dump = debugText(mFactory, &ok);
    ASSERT_TRUE(ok);
    EXPECT_NE(dump.find("slot 1, IRcsConfigListener 2.1"), std::string::npos) << dump;
}

IMSRCS_PER_INSTANCE(RcsConfigHalTest, F1_1::IImsFactory::descriptor);

}  // namespace
}  // namespace imsrcs_vts
