// Behaviour of the host HIDL runtime that the service front depends on:
// castFrom across the 2.0/2.1 listener versions, remote proxies that die,
// death notification and the dead-object status.
#include <hidl/HidlTesting.h>
#include <vendor/kel/ims/factory/1.1/IImsFactory.h>
#include <vendor/kel/ims/rcsconfig/2.1/IRcsConfigListener.h>

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "xproc/Callbacks.h"

using ::android::sp;
using ::android::wp;
using ::android::hardware::hidl_death_recipient;
using ::android::hardware::Return;
using ::android::hardware::Void;
using ::android::hidl::base::V1_0::IBase;
namespace testing_hooks = ::android::hardware::testing;
namespace V2_0 = ::vendor::kel::ims::rcsconfig::V2_0;
namespace V2_1 = ::vendor::kel::ims::rcsconfig::V2_1;

namespace {

struct Listener20 : V2_0::IRcsConfigListener {
    Return<void> onReconfigNeeded() override { return Void(); }
};

// Writes "died <cookie>" into its events for each death notice, and keeps
// the last notice's thread and whom it names (written before the event the
// test waits for).
struct RecordingRecipient : hidl_death_recipient {
    void serviceDied(uint64_t cookie, const wp<IBase>& who) override {
        tid = gettid();
        whom = who;
        events.add("died " + std::to_string(cookie));
    }
    xproc::Events events;
    pid_t tid = 0;
    wp<IBase> whom;
};

}  // namespace

TEST(HidlCastTest, LocalObject_CastsAlongItsChainAndRefusesOtherInterfaces) {
    sp<xproc::Listener> impl = xproc::newListener();
    sp<V2_0::IRcsConfigListener> asOld = V2_0::IRcsConfigListener::castFrom(sp<IBase>(impl));
    ASSERT_NE(asOld, nullptr);
    EXPECT_EQ(asOld.get(), static_cast<V2_0::IRcsConfigListener*>(impl.get()));
    EXPECT_EQ(V2_1::IRcsConfigListener::castFrom(sp<IBase>(impl)).withDefault(nullptr).get(), impl.get());
    EXPECT_EQ(V2_1::IRcsConfigListener::castFrom(asOld, false).withDefault(nullptr).get(), impl.get());

    Return<sp<V2_1::IRcsConfigListener>> cast = V2_1::IRcsConfigListener::castFrom(sp<IBase>(new Listener20()), false);
    EXPECT_TRUE(cast.isOk());
    EXPECT_EQ(static_cast<sp<V2_1::IRcsConfigListener>>(cast), nullptr);
    sp<IBase> factoryless = new Listener20();
    EXPECT_EQ(::vendor::kel::ims::factory::V1_1::IImsFactory::castFrom(factoryless).withDefault(nullptr), nullptr);
    EXPECT_EQ(V2_0::IRcsConfigListener::castFrom(sp<IBase>()).withDefault(nullptr), nullptr);
}

TEST(HidlCastTest, RemoteObject_DownCastGivesAProxyThatReachesTheObjectOnlyIfItIsNewEnough) {
    sp<xproc::Listener> impl = xproc::newListener();
    sp<V2_0::IRcsConfigListener> remote = testing_hooks::remoteOf<V2_0::IRcsConfigListener>(impl);
    ASSERT_NE(remote, nullptr);
    EXPECT_TRUE(remote->isRemote());
    EXPECT_NE(static_cast<IBase*>(remote.get()), static_cast<IBase*>(impl.get()));

    sp<V2_1::IRcsConfigListener> remote21 = V2_1::IRcsConfigListener::castFrom(remote, false);
    ASSERT_NE(remote21, nullptr);
    EXPECT_TRUE(remote21->isRemote());
    Return<void> ret = remote21->onTokenFetchRequest(42, static_cast<V2_1::TokenType>(7),
                                                     V2_1::TokenRequestReason::TOKEN_EXPIRED);
    EXPECT_TRUE(ret.isOk());
    EXPECT_EQ(impl->events.all(), (std::vector<std::string>{"token 42 " + V2_1::toString(static_cast<V2_1::TokenType>(7)) +
                                                             " TOKEN_EXPIRED"}));

    // And back up again.
    sp<V2_0::IRcsConfigListener> up = V2_0::IRcsConfigListener::castFrom(sp<IBase>(remote21));
    ASSERT_NE(up, nullptr);
    EXPECT_TRUE(up->onReconfigNeeded().isOk());
    EXPECT_EQ(impl->events.count("reconfig"), 1u);

    sp<V2_0::IRcsConfigListener> older = testing_hooks::remoteOf<V2_0::IRcsConfigListener>(new Listener20());
    EXPECT_EQ(V2_1::IRcsConfigListener::castFrom(older, false).withDefault(nullptr), nullptr);
}

TEST(HidlDeathTest, KilledObject_EveryProxyFailsAndALinkedRecipientIsToldOnceOnAnotherThread) {
    sp<xproc::Listener> impl = xproc::newListener();
    sp<V2_0::IRcsConfigListener> remote = testing_hooks::remoteOf<V2_0::IRcsConfigListener>(impl);
    sp<V2_1::IRcsConfigListener> second = testing_hooks::remoteOf<V2_1::IRcsConfigListener>(impl);
    ASSERT_TRUE(second->onReconfigNeeded().isOk());
    sp<RecordingRecipient> recipient = new RecordingRecipient();
    sp<RecordingRecipient> dropped = new RecordingRecipient();
    ASSERT_TRUE(remote->linkToDeath(recipient, 0x1234).withDefault(false));
    ASSERT_TRUE(remote->linkToDeath(dropped, 2).withDefault(false));
    EXPECT_TRUE(remote->unlinkToDeath(dropped).withDefault(false));
    EXPECT_FALSE(remote->unlinkToDeath(dropped).withDefault(true));

    testing_hooks::killProcessOf(remote);
    EXPECT_TRUE(remote->onReconfigNeeded().isDeadObject());
    EXPECT_TRUE(second->onReconfigNeeded().isDeadObject());
    EXPECT_EQ(impl->events.count("reconfig"), 1u);  // the dead calls never arrived
    EXPECT_TRUE(impl->onReconfigNeeded().isOk());  // the object still works in its own process
    ASSERT_TRUE(recipient->events.waitForCount(1));
    testing_hooks::waitForDeathNotifications();
    EXPECT_TRUE(dropped->events.all().empty());
    EXPECT_EQ(recipient->events.all(), std::vector<std::string>{"died 4660"});  // 0x1234
    EXPECT_NE(recipient->tid, gettid());
    EXPECT_EQ(recipient->whom.promote().get(), static_cast<IBase*>(remote.get()));

    // Killing again tells nobody twice; a new link on a dead object is refused.
    testing_hooks::killProcessOf(remote);
    testing_hooks::waitForDeathNotifications();
    EXPECT_EQ(recipient->events.all().size(), 1u);
    EXPECT_FALSE(remote->linkToDeath(recipient, 1).withDefault(true));
}

TEST(HidlDeathTest, LinkMadeThroughAProxy_LastsOnlyAsLongAsThatProxy) {
    // As on a device: the proxy owns its links, so a holder that wants to
    // hear of a death keeps the proxy it linked on, not just any proxy.
    sp<xproc::Listener> impl = xproc::newListener();
    sp<V2_1::IRcsConfigListener> kept = testing_hooks::remoteOf<V2_1::IRcsConfigListener>(impl);
    sp<RecordingRecipient> throughKept = new RecordingRecipient();
    sp<RecordingRecipient> throughReleased = new RecordingRecipient();
    ASSERT_TRUE(kept->linkToDeath(throughKept, 1).withDefault(false));
    {
        sp<V2_0::IRcsConfigListener> other =
                V2_0::IRcsConfigListener::castFrom(sp<IBase>(kept)).withDefault(nullptr);
        ASSERT_NE(other, nullptr);
        ASSERT_NE(static_cast<IBase*>(other.get()), static_cast<IBase*>(kept.get()));
        ASSERT_TRUE(other->linkToDeath(throughReleased, 2).withDefault(false));
    }
    testing_hooks::killProcessOf(impl);
    ASSERT_TRUE(throughKept->events.waitForCount(1));
    testing_hooks::waitForDeathNotifications();
    EXPECT_TRUE(throughReleased->events.all().empty());
    EXPECT_EQ(throughKept->whom.promote().get(), static_cast<IBase*>(kept.get()));
}

TEST(HidlDeathTest, RecipientHeldOnlyByTheLink_IsNotKeptAlive) {
    sp<xproc::Listener> impl = xproc::newListener();
    sp<V2_1::IRcsConfigListener> remote = testing_hooks::remoteOf<V2_1::IRcsConfigListener>(impl);
    wp<RecordingRecipient> weak;
    {
        sp<RecordingRecipient> recipient = new RecordingRecipient();
        weak = recipient;
        ASSERT_TRUE(remote->linkToDeath(recipient, 1).withDefault(false));
    }
    EXPECT_EQ(weak.promote(), nullptr);
    testing_hooks::killProcessOf(impl);
    testing_hooks::waitForDeathNotifications();  // must not touch the freed recipient
}

TEST(HidlDeathTest, LocalObject_AcceptsALinkThatNeverFires) {
    sp<xproc::Listener> impl = xproc::newListener();
    sp<RecordingRecipient> recipient = new RecordingRecipient();
    EXPECT_FALSE(impl->isRemote());
    EXPECT_TRUE(impl->linkToDeath(recipient, 5).withDefault(false));
    EXPECT_FALSE(impl->linkToDeath(nullptr, 5).withDefault(true));
    EXPECT_TRUE(impl->unlinkToDeath(recipient).withDefault(false));
}

TEST(HidlStatusTest, UncheckedOrReadFailedReturn_AbortsAsOnADeviceAndWithDefaultDoesNot) {
    sp<xproc::Listener> impl = xproc::newListener();
    sp<V2_1::IRcsConfigListener> remote = testing_hooks::remoteOf<V2_1::IRcsConfigListener>(impl);
    testing_hooks::killProcessOf(remote);
    EXPECT_DEATH({ remote->onReconfigNeeded(); }, "not checked");
    Return<bool> failed(::android::hardware::Status::fromStatusT(::android::DEAD_OBJECT));
    EXPECT_TRUE(failed.withDefault(true));
    EXPECT_DEATH({ bool b = failed; (void)b; }, "failed HIDL call");
}
