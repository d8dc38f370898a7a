/*
 * An RCS configuration object of slot 1 from a 1.1 factory, created afresh
 * for each test, as telephony creates one per SIM, once the modem's IMS
 * settings service is up. Every request made through the fixture's helpers
 * must have its callback called exactly once: checked after the test, when
 * a later request has been answered.
 */
#ifndef VTS_RCS_CONFIG_HAL_FIXTURE_H
#define VTS_RCS_CONFIG_HAL_FIXTURE_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <vendor/kel/ims/factory/1.1/IImsFactory.h>
#include <vendor/kel/ims/rcsconfig/2.0/ISettingsChangeCb.h>
#include <vendor/kel/ims/rcsconfig/2.1/IRcsConfig.h>

#include "HalCallbacks.h"
#include "HalDump.h"
#include "HalTransport.h"

// A precondition of the case: when it does not hold, the case fails on a
// workstation and is skipped on a device, with `reason` either way. In a
// test body or SetUp() only.
#define IMSRCS_REQUIRE(condition, reason)                      \
    do {                                                       \
        if (!(condition)) {                                    \
            if (::imsrcs_vts::unmetPreconditionFails()) {      \
                FAIL() << "precondition: " << reason;          \
            } else {                                           \
                GTEST_SKIP() << reason;                        \
            }                                                  \
        }                                                      \
    } while (0)

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
        ASSERT_NE(mFactory, nullptr) << "IImsFactory 1.1 \"" << GetParam() << "\" is declared but not served";
        std::string state;
        IMSRCS_REQUIRE(waitForModemState(mFactory, "up", &state),
                       "the modem's IMS settings service is not up (" << state << ")");
        mListener = new QuietListener();
        Status status = Status::NOT_SUPPORTED;
        ASSERT_TRUE(mFactory->createRcsConfig_1_1(kSlot, mListener, [&](Status s, const sp<V2_1::IRcsConfig>& c) {
                                status = s;
                                mConfig = c;
                            }).isOk());
        ASSERT_EQ(status, Status::SUCCESS);
        ASSERT_NE(mConfig, nullptr);
    }

    void TearDown() override {
        if (mCallCounts.empty() || HasFatalFailure()) return;
        std::vector<std::function<size_t()>> counts;
        counts.swap(mCallCounts);
        // One more request answered: a second call of an earlier request's
        // callback, made by the service before it took this one, has come.
        ASSERT_TRUE(read(V2_0::SettingsId::USER_AGENT_STRING).has_value()) << "no answer to the last read";
        for (size_t i = 0; i < counts.size(); ++i) {
            EXPECT_EQ(counts[i](), 1u) << "the callback of request " << i + 1 << " of the case";
        }
    }

    // What a fresh `Recorder` handed to `request` was first called with;
    // nullopt when the call failed or no answer came in time. All calls of
    // the recorder are counted in TearDown().
    template <typename Recorder, typename Request>
    auto firstCall(Request request) -> std::optional<typename decltype(Recorder::calls)::Value> {
        sp<Recorder> cb = new Recorder();
        mCallCounts.push_back([cb] { return cb->calls.waitFor(0).size(); });
        if (!request(cb).isOk()) return std::nullopt;
        auto calls = cb->calls.waitFor(1);
        if (calls.empty()) return std::nullopt;
        return calls[0];
    }

    std::optional<SettingsAnswer> read(V2_0::SettingsId group) {
        return firstCall<SettingsRecorder>([&](const auto& cb) { return mConfig->getSettingsValue(group, cb); });
    }

    // The answer of a request made with a fresh result callback.
    template <typename Request>
    std::optional<V2_0::RequestStatus> answerOf(Request request) {
        return firstCall<ResultRecorder>(request);
    }

    sp<F1_1::IImsFactory> mFactory;
    sp<QuietListener> mListener;
    sp<V2_1::IRcsConfig> mConfig;

private:
    std::vector<std::function<size_t()>> mCallCounts;
};

}  // namespace imsrcs_vts

#endif  // VTS_RCS_CONFIG_HAL_FIXTURE_H
