// The IMS factories and their creatable registries: slot checks, the
// listener check of the 1.1 factory only, routing by name, ownership of the
// creatables, and service start. Each test runs in its own process, so the
// static registries start empty.
#include "ImsFactory.h"

#include <hidl/HidlTesting.h>
#include <testkit/FakeImsFactory.h>
#include <vendor/kel/ims/callcapability/1.0/ICallCapabilityService.h>
#include <vendor/kel/ims/rcsconfig/2.1/IRcsConfig.h>
#include <vendor/kel/ims/rcsconfig/2.1/IRcsConfigListener.h>

#include <android/log.h>
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <vector>

#include "support/LogCapture.h"

using android::sp;
using android::hardware::Return;
using android::hardware::Void;
using android::hidl::base::V1_0::IBase;
using StatusCode = vendor::kel::ims::factory::V1_0::IImsFactory::StatusCode;
namespace V2_1 = vendor::kel::ims::rcsconfig::V2_1;
using vendor::kel::ims::callcapability::V1_0::ICallCapabilityService;

namespace {

struct Listener21 : V2_1::IRcsConfigListener {
    Return<void> onReconfigNeeded() override { return Void(); }
    Return<void> onTokenFetchRequest(int32_t, V2_1::TokenType, V2_1::TokenRequestReason) override {
        return Void();
    }
};

struct FakeCallCapability : ICallCapabilityService {};

std::atomic<int> gDestroyed{0};

// Records what the factory asked for and builds `kind` of object.
class FakeCreatable : public ImsCreatable {
public:
    enum class Kind { RcsConfig, CallCapability, Nothing };
    FakeCreatable(const std::string& name, Kind kind) : ImsCreatable(name), mKind(kind) {}
    FakeCreatable(const std::string& name, const std::string& second, Kind kind)
        : ImsCreatable(name, second), mKind(kind) {}
    ~FakeCreatable() override { ++gDestroyed; }

    sp<IBase> createInstance(const Params& params) override {
        calls.push_back(params);
        switch (mKind) {
            case Kind::RcsConfig: return new xproc::FakeRcsConfig(nullptr);
            case Kind::CallCapability: return new FakeCallCapability();
            case Kind::Nothing: return nullptr;
        }
        return nullptr;
    }
    bool first() const { return firstRegistered(); }
    bool second() const { return secondRegistered(); }

    std::vector<Params> calls;

private:
    Kind mKind;
};

struct Answer {
    StatusCode status = static_cast<StatusCode>(99);
    sp<IBase> object;
    int callbacks = 0;
};

enum class Method { Rcs10, Rcs11, Rcs11v21, Cap10, Cap11 };

// Builds one creatable per name the factories look up, on both registries.
struct AllCreatables {
    FakeCreatable* rcs = new FakeCreatable("createRcsConfig", FakeCreatable::Kind::RcsConfig);
    FakeCreatable* rcs11 = new FakeCreatable("createRcsConfig_1_1", FakeCreatable::Kind::RcsConfig);
    FakeCreatable* cap = new FakeCreatable("createCallCapabilityService", FakeCreatable::Kind::CallCapability);
};

class ImsFactoryTest : public ::testing::Test {
protected:
    void TearDown() override { android::hardware::testing::resetServiceRegistry(); }

    // Calls one create method; the listener is a fresh 2.1 listener unless `noListener`.
    Answer create(Method method, uint32_t slot, bool noListener = false) {
        Answer answer;
        sp<Listener21> listener = noListener ? nullptr : new Listener21();
        lastListener = listener;
        auto record = [&answer](StatusCode s, const auto& o) {  // any of the three object types
            answer.status = s;
            answer.object = o;
            ++answer.callbacks;
        };
        Return<void> ret;
        switch (method) {
            case Method::Rcs10: ret = f10->createRcsConfig(slot, listener, record); break;
            case Method::Rcs11: ret = f11->createRcsConfig(slot, listener, record); break;
            case Method::Rcs11v21: ret = f11->createRcsConfig_1_1(slot, listener, record); break;
            case Method::Cap10: ret = f10->createCallCapabilityService(slot, record); break;
            case Method::Cap11: ret = f11->createCallCapabilityService(slot, record); break;
        }
        EXPECT_TRUE(ret.isOk());  // the transport status is OK in every case
        EXPECT_EQ(answer.callbacks, 1);
        return answer;
    }

    // Priority of the first captured line containing `text`, or -1.
    int priorityOf(const std::string& text) {
        for (const auto& line : log.lines()) {
            if (line.text.find(text) != std::string::npos) return line.priority;
        }
        return -1;
    }

    imstest::LogCapture log;
    sp<ImsFactory_1_0> f10 = new ImsFactory_1_0();
    sp<ImsFactory_1_1> f11 = new ImsFactory_1_1();
    sp<IBase> lastListener;
};

const Method kAllMethods[] = {Method::Rcs10, Method::Rcs11, Method::Rcs11v21, Method::Cap10, Method::Cap11};

std::string invalidSlotText(Method m) {
    switch (m) {
        case Method::Rcs10:
        case Method::Rcs11: return "Factory createRcsConfig: Invalid slot id";
        case Method::Rcs11v21: return "Factory createRcsConfig_1_1: Invalid slot id";
        default: return "Factory createCallCapabilityService: Invalid slot id";
    }
}

}  // namespace

// Slots 1 and 2 reach the creatable with the method's params; any other slot
// (0 too, which wraps when computed unsigned) is refused before the lookup.
TEST_F(ImsFactoryTest, EveryCreateMethod_AcceptsSlotsOneAndTwoOnly) {
    AllCreatables creatables;
    for (Method m : kAllMethods) {
        FakeCreatable* target = m == Method::Rcs11v21                        ? creatables.rcs11
                                : (m == Method::Cap10 || m == Method::Cap11) ? creatables.cap
                                                                             : creatables.rcs;
        for (uint32_t slot : {0u, 1u, 2u, 3u, 4294967295u}) {
            SCOPED_TRACE(::testing::Message() << static_cast<int>(m) << " slot " << slot);
            log.clear();
            size_t callsBefore = target->calls.size();
            Answer a = create(m, slot);
            if (slot != 1 && slot != 2) {
                EXPECT_EQ(a.status, StatusCode::INVALID_ARGUMENTS);
                EXPECT_EQ(a.object, nullptr);
                EXPECT_EQ(priorityOf(invalidSlotText(m)), ANDROID_LOG_ERROR) << log.dump();
                EXPECT_EQ(target->calls.size(), callsBefore);
                continue;
            }
            EXPECT_EQ(a.status, StatusCode::SUCCESS);
            ASSERT_NE(a.object, nullptr);
            ASSERT_EQ(target->calls.size(), callsBefore + 1);
            const Params& p = target->calls.back();
            EXPECT_EQ(p.slotId, static_cast<int32_t>(slot));
            EXPECT_EQ(p.listenerVersion, m == Method::Rcs11v21 ? 1 : 0);
            bool capability = m == Method::Cap10 || m == Method::Cap11;
            EXPECT_EQ(p.listener.get(), capability ? nullptr : lastListener.get());
            EXPECT_EQ(priorityOf(capability ? "Factory createCallCapabilityService createInstance Success"
                                            : "Factory createRcsConfig createInstance Sucess"),
                      ANDROID_LOG_INFO);
        }
    }
}

TEST_F(ImsFactoryTest, EmptyListener_IsRefusedBy11ButPassedOnBy10) {
    AllCreatables creatables;
    Answer refused = create(Method::Rcs11, 0, /*noListener=*/true);
    EXPECT_EQ(refused.status, StatusCode::INVALID_ARGUMENTS);
    EXPECT_EQ(priorityOf("Factory createRcsConfig: invalid input params"), ANDROID_LOG_ERROR);
    // The listener is checked before the slot, and nothing is looked up.
    EXPECT_FALSE(log.contains("Invalid slot id"));
    EXPECT_TRUE(creatables.rcs->calls.empty());

    log.clear();
    Answer passed = create(Method::Rcs10, 1, /*noListener=*/true);
    EXPECT_EQ(passed.status, StatusCode::SUCCESS);
    ASSERT_EQ(creatables.rcs->calls.size(), 1u);
    EXPECT_EQ(creatables.rcs->calls[0].listener, nullptr);

    // createRcsConfig_1_1 makes no listener check either.
    Answer v21 = create(Method::Rcs11v21, 2, /*noListener=*/true);
    EXPECT_EQ(v21.status, StatusCode::SUCCESS);
}

// A registered creatable that builds nothing is passed on with success.
TEST_F(ImsFactoryTest, UnregisteredName_AnswersNotSupported) {
    // Two names on the 1.1 registry only, as the RCS manager registers.
    new FakeCreatable("createRcsConfig", "somethingElse", FakeCreatable::Kind::Nothing);
    Answer nothing = create(Method::Rcs11, 1);
    EXPECT_EQ(nothing.status, StatusCode::SUCCESS);
    EXPECT_EQ(nothing.object, nullptr);
    EXPECT_EQ(create(Method::Rcs10, 1).status, StatusCode::NOT_SUPPORTED);

    log.clear();
    Answer v21 = create(Method::Rcs11v21, 1);
    EXPECT_EQ(v21.status, StatusCode::NOT_SUPPORTED);
    EXPECT_EQ(v21.object, nullptr);
    EXPECT_EQ(priorityOf("Factory createRcsConfig createInstance Not Supported"), ANDROID_LOG_ERROR);

    for (Method m : {Method::Cap10, Method::Cap11}) {
        log.clear();
        EXPECT_EQ(create(m, 2).status, StatusCode::NOT_SUPPORTED);
        EXPECT_EQ(priorityOf("Factory createCallCapabilityService createInstance Not Supported"),
                  ANDROID_LOG_ERROR);
    }
}

// A name registered again keeps its first creatable; one whose names are all
// taken is deleted once its construction is over, at the next registration.
TEST_F(ImsFactoryTest, DuplicateName_KeepsTheFirstCreatable) {
    auto* first = new FakeCreatable("createRcsConfig", "createRcsConfig_1_1", FakeCreatable::Kind::RcsConfig);
    EXPECT_TRUE(first->first());
    EXPECT_TRUE(first->second());
    log.clear();
    auto* second = new FakeCreatable("createRcsConfig", "createCallCapabilityService",
                                     FakeCreatable::Kind::CallCapability);
    EXPECT_FALSE(second->first());
    EXPECT_TRUE(second->second());
    EXPECT_EQ(priorityOf("ImsFactory deregistration for api:createRcsConfig"), ANDROID_LOG_INFO);

    EXPECT_EQ(create(Method::Rcs11, 1).status, StatusCode::SUCCESS);
    EXPECT_EQ(first->calls.size(), 1u);
    EXPECT_TRUE(second->calls.empty());

    new FakeCreatable("createRcsConfig", "createRcsConfig_1_1", FakeCreatable::Kind::Nothing);
    new FakeCreatable("another", FakeCreatable::Kind::Nothing);
    EXPECT_EQ(gDestroyed.load(), 1);
    EXPECT_EQ(ImsFactory_1_1::getCreatable("createRcsConfig_1_1").get(), first);
}

// Each factory class owns its registry: a one-name creatable sits in both, its
// flag tells the 1.1 result, and a factory's end (its deregister()) empties its
// own registry only, deleting what no other registry holds.
TEST_F(ImsFactoryTest, OneNameCreatable_IsOwnedByEachRegistryThatTookIt) {
    new FakeCreatable("shared", "other", FakeCreatable::Kind::RcsConfig);  // takes "shared" on 1.1
    auto* oneName = new FakeCreatable("shared", FakeCreatable::Kind::RcsConfig);
    EXPECT_FALSE(oneName->first());  // 1.0 accepted it, 1.1 did not
    EXPECT_EQ(ImsFactory_1_0::getCreatable("shared").get(), oneName);
    EXPECT_NE(ImsFactory_1_1::getCreatable("shared").get(), oneName);
    EXPECT_EQ(gDestroyed.load(), 0);  // still owned by the 1.0 registry

    f11.clear();
    EXPECT_EQ(ImsFactory_1_1::getCreatable("other"), nullptr);
    EXPECT_EQ(ImsFactory_1_0::getCreatable("shared").get(), oneName);
    EXPECT_EQ(gDestroyed.load(), 1);  // the two-name one only

    ImsFactory_1_0::deregister();
    EXPECT_EQ(ImsFactory_1_0::getCreatable("shared"), nullptr);
    EXPECT_EQ(gDestroyed.load(), 2);
}

TEST_F(ImsFactoryTest, Start_UsesOneUnjoinedThreadRegistersDefaultAndCarriesOnAfterAFailure) {
    f11->start();
    EXPECT_EQ(android::hardware::testing::threadpoolMaxThreads(), 1u);
    EXPECT_FALSE(android::hardware::testing::threadpoolCallerWillJoin());
    EXPECT_EQ(vendor::kel::ims::factory::V1_1::IImsFactory::getService("default").get(), f11.get());
    f10->start();
    EXPECT_EQ(vendor::kel::ims::factory::V1_0::IImsFactory::getService("default").get(), f10.get());
    EXPECT_FALSE(log.contains("registration failed"));

    // A failed registration is logged and the factory carries on.
    android::hardware::testing::resetServiceRegistry();
    android::hardware::testing::failServiceRegistrations(android::NAME_NOT_FOUND);
    f10->start();
    f11->start();
    std::string code = std::to_string(android::NAME_NOT_FOUND);
    EXPECT_EQ(priorityOf("ImsFactory_1_0 HAL registration failed with " + code), ANDROID_LOG_ERROR);
    EXPECT_EQ(priorityOf("ImsFactory_1_1 HAL registration failed with " + code), ANDROID_LOG_ERROR);
    EXPECT_EQ(vendor::kel::ims::factory::V1_1::IImsFactory::getService("default"), nullptr);
}
