/*
 * An RCS configuration object of slot 1 from a 1.1 factory, created afresh
 * for each test, as telephony creates one per SIM.
 */
#ifndef VTS_RCS_CONFIG_HAL_FIXTURE_H
#define VTS_RCS_CONFIG_HAL_FIXTURE_H

#include <string>

#include <gtest/gtest.h>

#include <vendor/kel/ims/factory/1.1/IImsFactory.h>
#include <vendor/kel/ims/rcsconfig/2.0/ISettingsChangeCb.h>
#include <vendor/kel/ims/rcsconfig/2.1/IRcsConfig.h>

#include "HalCallbacks.h"

namespace imsrcs_vts {

using ::android::sp;
namespace F1_0 = ::vendor::kel::ims::factory::V1_0;
namespace F1_1 = ::vendor::kel::ims::factory::V1_1;
using Status = F1_0::IImsFactory::StatusCode;

inline constexpr uint32_t kSlot = 1;
inline const V2_0::SettingsId kGroups[] = {
        V2_0::SettingsId::PRESENCE_CONFIG, V2_0::SettingsId::STANDALONE_MESSAGING_CONFIG,
        V2_0::SettingsId::USER_AGENT_STRING, V2_0::SettingsId::IMS_SERVICE_ENABLE_CONFIG};
inline const auto kNoSuchGroup = static_cast<V2_0::SettingsId>(7);

class NoChanges : public V2_0::ISettingsChangeCb {
public:
    Return<void> onSettingsChanged(const V2_0::SettingsData&) override { return Void(); }
};

class RcsConfigHalFixture : public ::testing::TestWithParam<std::string> {
protected:
    void SetUp() override {
        mFactory = F1_1::IImsFactory::getService(GetParam());
        ASSERT_NE(mFactory, nullptr) << "no IImsFactory 1.1 \"" << GetParam() << "\"";
        mListener = new QuietListener();
        Status status = Status::NOT_SUPPORTED;
        ASSERT_TRUE(mFactory->createRcsConfig_1_1(kSlot, mListener, [&](Status s, const sp<V2_1::IRcsConfig>& c) {
                                status = s;
                                mConfig = c;
                            }).isOk());
        ASSERT_EQ(status, Status::SUCCESS);
        ASSERT_NE(mConfig, nullptr);
    }

    sp<F1_1::IImsFactory> mFactory;
    sp<QuietListener> mListener;
    sp<V2_1::IRcsConfig> mConfig;
};

}  // namespace imsrcs_vts

#endif  // VTS_RCS_CONFIG_HAL_FIXTURE_H
