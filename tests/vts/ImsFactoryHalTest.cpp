// The factory as any client meets it: served under every instance name the
// device declares, validating its input before anything else, creating RCS
// configuration objects for slots 1 and 2 (the call capability service is
// optional). Runs against every declared 1.0 instance (a declared 1.1
// factory is one too).
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include <android/hidl/base/1.0/IBase.h>
#include <vendor/kel/ims/factory/1.0/IImsFactory.h>
#include <vendor/kel/ims/factory/1.1/IImsFactory.h>

#include "HalCallbacks.h"
#include "HalInstances.h"

namespace imsrcs_vts {
namespace {

using ::android::sp;
using ::android::hardware::hidl_string;
using ::android::hardware::hidl_vec;
namespace F1_0 = ::vendor::kel::ims::factory::V1_0;
namespace F1_1 = ::vendor::kel::ims::factory::V1_1;
using Status = F1_0::IImsFactory::StatusCode;

class ImsFactoryHalTest : public ::testing::TestWithParam<std::string> {
protected:
    void SetUp() override {
        mFactory = F1_0::IImsFactory::getService(GetParam());
        ASSERT_NE(mFactory, nullptr) << "IImsFactory 1.0 \"" << GetParam() << "\" is declared but not served";
    }

    // The status and whether an object came with it, for each create method
    // the factory's version has.
    struct Answer {
        const char* method;
        Status status;
        bool hasObject;
    };
    std::vector<Answer> createEverything(uint32_t slot) {
        std::vector<Answer> answers;
        sp<QuietListener> listener = new QuietListener();
        auto record = [&](const char* method) {
            return [&answers, method](Status status, const auto& object) {
                answers.push_back(Answer{method, status, object != nullptr});
            };
        };
        EXPECT_TRUE(mFactory->createRcsConfig(slot, listener, record("createRcsConfig")).isOk());
        EXPECT_TRUE(mFactory->createCallCapabilityService(slot, record("createCallCapabilityService")).isOk());
        sp<F1_1::IImsFactory> v1_1 = F1_1::IImsFactory::castFrom(mFactory);
        if (v1_1 != nullptr) {
            EXPECT_TRUE(v1_1->createRcsConfig_1_1(slot, listener, record("createRcsConfig_1_1")).isOk());
        }
        return answers;
    }

    sp<F1_0::IImsFactory> mFactory;
};

TEST_P(ImsFactoryHalTest, Create_SlotOtherThanOneOrTwoOrNoListener_InvalidArgumentsAndNoObject) {
    for (uint32_t slot : {0u, 3u, 0xFFFFFFFFu}) {
        for (const Answer& a : createEverything(slot)) {
            EXPECT_EQ(a.status, Status::INVALID_ARGUMENTS) << a.method << " slot " << slot;
            EXPECT_FALSE(a.hasObject) << a.method << " slot " << slot;
        }
    }
    // A 1.1 factory also refuses an RCS configuration object nobody listens to.
    sp<F1_1::IImsFactory> v1_1 = F1_1::IImsFactory::castFrom(mFactory);
    if (v1_1 == nullptr) return;
    Status status = Status::SUCCESS;
    bool hasObject = true;
    ASSERT_TRUE(v1_1->createRcsConfig(1, nullptr, [&](Status s, const auto& c) {
                        status = s;
                        hasObject = c != nullptr;
                    }).isOk());
    EXPECT_EQ(status, Status::INVALID_ARGUMENTS);
    EXPECT_FALSE(hasObject);
}

TEST_P(ImsFactoryHalTest, Create_SlotOneOrTwo_RcsConfigObject_CallCapabilityObjectExactlyWhenSuccess) {
    for (uint32_t slot : {1u, 2u}) {
        std::vector<Answer> answers = createEverything(slot);
        ASSERT_GE(answers.size(), 2u);
        for (const Answer& a : answers) {
            const bool optional = std::string(a.method) == "createCallCapabilityService";
            if (!optional || a.status != Status::NOT_SUPPORTED) {
                EXPECT_EQ(a.status, Status::SUCCESS) << a.method << " slot " << slot;
            }
            EXPECT_EQ(a.hasObject, a.status == Status::SUCCESS) << a.method << " slot " << slot;
        }
    }
}

TEST_P(ImsFactoryHalTest, InterfaceChain_RunsFromItsOwnVersionDownToIBase) {
    std::vector<std::string> chain;
    ASSERT_TRUE(mFactory->interfaceChain([&](const hidl_vec<hidl_string>& names) {
                            for (const auto& n : names) chain.push_back(n);
                        }).isOk());
    ASSERT_FALSE(chain.empty());
    sp<F1_1::IImsFactory> v1_1 = F1_1::IImsFactory::castFrom(mFactory);
    bool is1_1 = v1_1 != nullptr;
    EXPECT_EQ(chain.front(), is1_1 ? F1_1::IImsFactory::descriptor : F1_0::IImsFactory::descriptor);
    EXPECT_NE(std::find(chain.begin(), chain.end(), F1_0::IImsFactory::descriptor), chain.end());
    EXPECT_EQ(chain.back(), ::android::hidl::base::V1_0::IBase::descriptor);
}

IMSRCS_PER_INSTANCE(ImsFactoryHalTest, F1_0::IImsFactory::descriptor);

}  // namespace
}  // namespace imsrcs_vts
