// The in-process service registry behind registerAsService/getService.
#include <android/hidl/manager/1.0/IServiceNotification.h>
#include <hidl/HidlTesting.h>
#include <hidl/HidlTransportSupport.h>
#include <vendor/kel/ims/factory/1.1/IImsFactory.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "testkit/FakeImsFactory.h"

using ::android::sp;
using ::android::hardware::hidl_string;
using ::android::hardware::Return;
using ::android::hardware::Void;
namespace testing_hooks = ::android::hardware::testing;
namespace F1_0 = ::vendor::kel::ims::factory::V1_0;
namespace F1_1 = ::vendor::kel::ims::factory::V1_1;
namespace RC2_0 = ::vendor::kel::ims::rcsconfig::V2_0;

namespace {

// A 1.0 factory only, answering NOT_SUPPORTED; registered for its descriptor chain.
struct Factory10 : F1_0::IImsFactory {
    Return<void> createRcsConfig(uint32_t, const sp<RC2_0::IRcsConfigListener>&, createRcsConfig_cb cb) override {
        cb(F1_0::IImsFactory::StatusCode::NOT_SUPPORTED, nullptr);
        return Void();
    }
    Return<void> createCallCapabilityService(uint32_t, createCallCapabilityService_cb cb) override {
        cb(F1_0::IImsFactory::StatusCode::NOT_SUPPORTED, nullptr);
        return Void();
    }
};
using Factory11 = xproc::FakeImsFactory;

struct Notification : ::android::hidl::manager::V1_0::IServiceNotification {
    std::vector<std::string> seen;
    Return<void> onRegistration(const hidl_string& fqName, const hidl_string& name, bool preexisting) override {
        seen.push_back(std::string(fqName) + "/" + std::string(name) + (preexisting ? " old" : " new"));
        return Void();
    }
};

class HidlServiceRegistryTest : public ::testing::Test {
protected:
    void TearDown() override { testing_hooks::resetServiceRegistry(); }
};

}  // namespace

TEST_F(HidlServiceRegistryTest, RegisteredService_IsFoundUnderEveryInterfaceOfItsChain) {
    sp<Factory11> factory = new Factory11();
    ASSERT_EQ(factory->registerAsService("default"), ::android::OK);
    EXPECT_EQ(F1_1::IImsFactory::getService("default").get(), factory.get());
    sp<F1_0::IImsFactory> older = F1_0::IImsFactory::getService();
    EXPECT_EQ(older.get(), static_cast<F1_0::IImsFactory*>(factory.get()));
    EXPECT_EQ(F1_1::IImsFactory::getService("other"), nullptr);
    EXPECT_EQ(RC2_0::IRcsConfig::tryGetService("default"), nullptr);
}

TEST_F(HidlServiceRegistryTest, OlderServiceRegisteredLater_ReplacesOnlyItsOwnVersion) {
    sp<Factory11> newer = new Factory11();
    sp<Factory10> older = new Factory10();
    ASSERT_EQ(newer->registerAsService("default"), ::android::OK);
    ASSERT_EQ(older->registerAsService("default"), ::android::OK);
    EXPECT_EQ(F1_0::IImsFactory::getService("default").get(), older.get());
    EXPECT_EQ(F1_1::IImsFactory::getService("default").get(), newer.get());
}

TEST_F(HidlServiceRegistryTest, Notification_ToldOfExistingAndLaterRegistrations) {
    sp<Notification> notification = new Notification();
    sp<Factory10> first = new Factory10();
    ASSERT_EQ(first->registerAsService("default"), ::android::OK);
    ASSERT_TRUE(F1_0::IImsFactory::registerForNotifications("default", notification));
    sp<Factory11> second = new Factory11();
    ASSERT_EQ(second->registerAsService("default"), ::android::OK);
    EXPECT_EQ(notification->seen,
              (std::vector<std::string>{"vendor.kel.ims.factory@1.0::IImsFactory/default old",
                                        "vendor.kel.ims.factory@1.0::IImsFactory/default new"}));
}
