// An RCS configuration object from a 1.1 factory, used the way telephony
// uses it, with nothing that changes the modem's configuration: reads of the
// four settings groups, requests for a group that does not exist, change
// registration, the UCE status, and the object's presence in the dump.
#include <gtest/gtest.h>

#include "HalDump.h"
#include "HalInstances.h"
#include "RcsConfigHalFixture.h"

namespace imsrcs_vts {
namespace {

class RcsConfigHalTest : public RcsConfigHalFixture {};

TEST_P(RcsConfigHalTest, CreateRcsConfig_WithoutListener_InvalidArguments) {
    Status status = Status::SUCCESS;
    bool hasObject = true;
    ASSERT_TRUE(mFactory->createRcsConfig(kSlot, nullptr, [&](Status s, const sp<V2_0::IRcsConfig>& c) {
                            status = s;
                            hasObject = c != nullptr;
                        }).isOk());
    EXPECT_EQ(status, Status::INVALID_ARGUMENTS);
    EXPECT_FALSE(hasObject);
}

TEST_P(RcsConfigHalTest, GetSettingsValue_EachGroup_OneAnswerNamingThatGroup) {
    for (V2_0::SettingsId group : kGroups) {
        sp<SettingsRecorder> cb = new SettingsRecorder();
        ASSERT_TRUE(mConfig->getSettingsValue(group, cb).isOk());
        std::vector<SettingsAnswer> answers = cb->answers.waitFor(1);
        ASSERT_EQ(answers.size(), 1u) << "no answer for " << toString(group);
        // A modem that is down or busy may refuse; an answer it gives is
        // the group asked for.
        if (answers[0].status == V2_0::RequestStatus::OK) {
            EXPECT_EQ(answers[0].data.settingsId, group);
        } else {
            EXPECT_EQ(answers[0].status, V2_0::RequestStatus::FAIL);
        }
    }
}

TEST_P(RcsConfigHalTest, SettingsRequests_GroupThatDoesNotExist_AnswerFail) {
    sp<SettingsRecorder> got = new SettingsRecorder();
    ASSERT_TRUE(mConfig->getSettingsValue(kNoSuchGroup, got).isOk());
    std::vector<SettingsAnswer> answers = got->answers.waitFor(1);
    ASSERT_EQ(answers.size(), 1u);
    EXPECT_EQ(answers[0].status, V2_0::RequestStatus::FAIL);

    sp<ResultRecorder> set = new ResultRecorder();
    V2_0::SettingsData data;
    data.settingsId = kNoSuchGroup;
    data.settingsValues.boolData.resize(1);
    data.settingsValues.boolData[0].key = 400;
    ASSERT_TRUE(mConfig->setSettingsValue(data, set).isOk());
    std::vector<V2_0::RequestStatus> results = set->results.waitFor(1);
    ASSERT_EQ(results.size(), 1u);
    EXPECT_EQ(results[0], V2_0::RequestStatus::FAIL);
}

TEST_P(RcsConfigHalTest, ChangeRegistration_EachGroup_OkOrFail_DeregistrationAlwaysOk) {
    sp<NoChanges> cb = new NoChanges();
    for (V2_0::SettingsId group : kGroups) {
        auto registered = mConfig->registerForSettingsChange(group, cb);
        ASSERT_TRUE(registered.isOk());
        V2_0::RequestStatus status = registered;
        EXPECT_TRUE(status == V2_0::RequestStatus::OK || status == V2_0::RequestStatus::FAIL) << toString(status);
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
    sp<UceRecorder> listener = new UceRecorder();
    ASSERT_TRUE(mConfig->getUceStatus(listener).isOk());
    EXPECT_EQ(listener->statuses.waitFor(1).size(), 1u);
}

TEST_P(RcsConfigHalTest, Debug_ShowsThisClientsListener) {
    bool ok = false;
    std::string dump = debugText(mFactory, {}, &ok);
    ASSERT_TRUE(ok);
    EXPECT_NE(dump.find("slot 1, IRcsConfigListener 2.1"), std::string::npos) << dump;
}

IMSRCS_PER_INSTANCE(RcsConfigHalTest, F1_1::IImsFactory::descriptor);

}  // namespace
}  // namespace imsrcs_vts
