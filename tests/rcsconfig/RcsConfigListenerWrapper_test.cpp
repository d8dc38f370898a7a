// RcsConfigListenerWrapper: which listener calls go out for which version
// and slot, how an empty, uncastable or dead listener is handled, and the
// lines that report each call.
#include "rcsconfig/RcsConfiglistenerWrapper.h"

#include <hidl/HidlTesting.h>
#include <vendor/kel/ims/rcsconfig/2.0/ISetConfigCb.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <string>

#include "support/LogCapture.h"

using android::sp;
using android::hardware::Return;
using android::hardware::Void;
using android::hidl::base::V1_0::IBase;
namespace hooks = android::hardware::testing;
namespace V2_0 = vendor::kel::ims::rcsconfig::V2_0;
namespace V2_1 = vendor::kel::ims::rcsconfig::V2_1;

namespace {

struct Listener20 : V2_0::IRcsConfigListener {
    int reconfigs = 0;
    Return<void> onReconfigNeeded() override {
        ++reconfigs;
        return Void();
    }
};

struct Listener21 : V2_1::IRcsConfigListener {
    int reconfigs = 0;
    int tokens = 0;
    int32_t requestId = 0;
    int32_t type = 0;
    int32_t reason = 0;
    Return<void> onReconfigNeeded() override {
        ++reconfigs;
        return Void();
    }
    Return<void> onTokenFetchRequest(int32_t id, V2_1::TokenType t, V2_1::TokenRequestReason r) override {
        ++tokens;
        requestId = id;
        type = static_cast<int32_t>(t);
        reason = static_cast<int32_t>(r);
        return Void();
    }
};

struct NotAListener : V2_0::ISetConfigCb {
    Return<void> setConfigResponse(V2_0::RequestStatus) override { return Void(); }
};

std::string tag(const RcsConfigListenerWrapper& w) {
    char buffer[32];
    snprintf(buffer, sizeof(buffer), "[x%x]",
             static_cast<unsigned int>(reinterpret_cast<uintptr_t>(&w)));
    return buffer;
}

void requestToken(RcsConfigListenerWrapper& w, int32_t slot, int32_t id = 7) {
    w.onTokenFetchRequest(id, static_cast<V2_1::TokenType>(1), static_cast<V2_1::TokenRequestReason>(2), slot);
}

}  // namespace

// Token requests go out to a version 1 wrapper of their own slot only, never
// to version 0 (even holding a 2.1 object), skipped silently; reconfiguration
// goes out to both, whatever the slot. A dead client's calls fail and return.
TEST(RcsConfigListenerWrapperTest, TokenRequests_GoToVersion1OfTheirOwnSlotOnly_ADeadClientIsLoggedAsFail) {
    imstest::LogCapture log;
    sp<Listener21> listener = new Listener21();
    RcsConfigListenerWrapper v0(listener, 0, 1);
    RcsConfigListenerWrapper v1(hooks::remoteOf<V2_0::IRcsConfigListener>(listener), 1, 1);
    requestToken(v0, 1);
    requestToken(v1, 2);
    EXPECT_EQ(listener->tokens, 0);
    EXPECT_TRUE(log.messages().empty()) << log.dump();

    v1.onTokenFetchRequest(-3, static_cast<V2_1::TokenType>(0x7fffffff),
                           static_cast<V2_1::TokenRequestReason>(-1), 1);
    EXPECT_EQ(listener->tokens, 1);
    EXPECT_EQ(listener->requestId, -3);
    EXPECT_EQ(listener->type, 0x7fffffff);  // passed through unchanged
    EXPECT_EQ(listener->reason, -1);
    v0.onReconfigNeeded();
    v1.onReconfigNeeded();
    EXPECT_EQ(listener->reconfigs, 2);
    EXPECT_EQ(log.messages(), (std::vector<std::string>{
                                      tag(v1) + " Call onTokenFetchRequest with status success",
                                      tag(v0) + " Call onReconfigNeeded with status success",
                                      tag(v1) + " Call onReconfigNeeded with status success"}));

    // Once the client's process is gone, each call is logged as failed and returns.
    hooks::killProcessOf(listener);
    log.clear();
    v1.onReconfigNeeded();
    requestToken(v1, 1);
    EXPECT_EQ(listener->reconfigs, 2);
    EXPECT_EQ(listener->tokens, 1);
    EXPECT_EQ(log.messages(), (std::vector<std::string>{tag(v1) + " Call onReconfigNeeded with status fail",
                                                        tag(v1) + " Call onTokenFetchRequest with status fail"}));
}

// An empty or uncastable listener skips every call, a 2.0 listener the token
// requests only, each with a line.
TEST(RcsConfigListenerWrapperTest, ListenerWithoutThe21Interface_SkipsTokenRequestsWithALogLine) {
    sp<Listener20> listener20 = new Listener20();
    const char* kNone = " No listener, onReconfigNeeded not sent";
    const std::pair<sp<IBase>, const char*> cases[] = {
            {sp<IBase>(), kNone},
            {sp<IBase>(new NotAListener()), kNone},
            {hooks::remoteOf<V2_0::IRcsConfigListener>(listener20), " Call onReconfigNeeded with status success"},
    };
    for (const auto& [given, reconfigLine] : cases) {
        imstest::LogCapture log;
        RcsConfigListenerWrapper wrapper(given, 1, 1);
        wrapper.onReconfigNeeded();
        requestToken(wrapper, 1);
        EXPECT_EQ(log.messages(),
                  (std::vector<std::string>{tag(wrapper) + reconfigLine,
                                            tag(wrapper) + " No 2.1 listener, onTokenFetchRequest not sent"}));
    }
    EXPECT_EQ(listener20->reconfigs, 1);
}

TEST(RcsConfigListenerWrapperTest, Destruction_ReleasesTheListener) {
    sp<Listener20> listener = new Listener20();
    android::wp<Listener20> weak = listener;
    {
        RcsConfigListenerWrapper wrapper(listener, 0, 1);
        listener.clear();
        EXPECT_NE(weak.promote(), nullptr);
    }
    EXPECT_EQ(weak.promote(), nullptr);
}
