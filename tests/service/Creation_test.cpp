// Creation through both factory versions, the listeners' notices and the
// clean-up of dead clients, end to end.
#include <android/log.h>

#include <cstring>

#include "ServiceFixture.h"

namespace servicetest {
namespace {

using ::android::hardware::testing::killProcessOf;
using ::android::hardware::testing::waitForDeathNotifications;
using F1_0::IImsFactory;

class CreationTest : public ServiceFixture {};

TEST_F(CreationTest, Factory_1_1_CreatesForBothSlotsInBothVersions) {
    ASSERT_NO_FATAL_FAILURE(startService());
    sp<Listener_2_0> old20 = new Listener_2_0();
    sp<Listener_2_1> new21 = new Listener_2_1();

    for (uint32_t slot : {1u, 2u}) {
        auto old = create_1_0(factory, slot, remote<V2_0::IRcsConfigListener>(old20));
        EXPECT_EQ(old.status, StatusCode::SUCCESS);
        EXPECT_NE(old.config, nullptr);
        EXPECT_NE(create(slot, remote<V2_1::IRcsConfigListener>(new21)), nullptr);
    }
    host->waitUntilIdle();
    // Both subscriptions are bound on both modem services.
    EXPECT_EQ(modem().connectionCount(IMSA_SERVICE_ID_V01), 3u);  // service-wide + two slots
    expectContains(host->dump(), {"slot 1: settings client subscribed: yes, application client subscribed: yes",
                                  "slot 2: settings client subscribed: yes, application client subscribed: yes",
                                  "Service objects: 4"});
}

TEST_F(CreationTest, Factory_1_0_AnswersNotSupported) {
    rcsservice::RcsServiceHostOptions options = rcsservice::hostServiceOptions();
    options.startFactory_1_1 = false;
    ASSERT_NO_FATAL_FAILURE(startService(true, options));
    sp<IImsFactory> factory10 = remote(IImsFactory::getService());
    ASSERT_NE(factory10, nullptr);
    sp<Listener_2_0> listener = new Listener_2_0();
    for (uint32_t slot : {1u, 2u}) {
        auto created = create_1_0(factory10, slot, remote<V2_0::IRcsConfigListener>(listener));
        // The manager registers with the 1.1 registry only.
        EXPECT_EQ(created.status, StatusCode::NOT_SUPPORTED);
        EXPECT_EQ(created.config, nullptr);
    }
}

TEST_F(CreationTest, TwoCreationsWithOneListener_OneListenerTwoObjects) {
    ASSERT_NO_FATAL_FAILURE(startService());
    sp<Listener_2_1> listener = new Listener_2_1();
    sp<V2_1::IRcsConfigListener> proxy = remote<V2_1::IRcsConfigListener>(listener);
    sp<V2_1::IRcsConfig> first = create(1, proxy);
    sp<V2_1::IRcsConfig> second = create(1, proxy);
    EXPECT_NE(first.get(), second.get());

    expectContains(host->dump(), {"Listeners: 1 (death links made: 2)", "Service objects: 2"});

    // One wrapper: a token request reaches the listener once.
    ASSERT_EQ(modem().sendTokenRequest(0, 1, 2, true, 31), 1);
    ASSERT_TRUE(listener->tokenRequests.waitFor(1));
    host->waitUntilIdle();
    EXPECT_EQ(listener->tokenRequests.size(), 1u);
    TokenRequest request = listener->tokenRequests.at(0);
    EXPECT_EQ(request.requestId, 31);
    EXPECT_EQ(request.type, V2_1::TokenType::FCM_TOKEN);
    EXPECT_EQ(request.reason, V2_1::TokenRequestReason::TOKEN_INVALID);
}

TEST_F(CreationTest, ModemRestart_EveryListenerHearsReconfigAndTokenRequestsKeepToTheirSlot) {
    ASSERT_NO_FATAL_FAILURE(startService());
    sp<Listener_2_0> slot1old = new Listener_2_0();
    sp<Listener_2_1> slot1 = new Listener_2_1();
    sp<Listener_2_1> slot2 = new Listener_2_1();
    ASSERT_EQ(create_1_0(factory, 1, remote<V2_0::IRcsConfigListener>(slot1old)).status, StatusCode::SUCCESS);
    create(1, remote<V2_1::IRcsConfigListener>(slot1));
    create(2, remote<V2_1::IRcsConfigListener>(slot2));

    modem().restart();
    ASSERT_TRUE(slot1old->reconfigs.waitFor(1));
    ASSERT_TRUE(slot1->reconfigs.waitFor(1));
    ASSERT_TRUE(slot2->reconfigs.waitFor(1));

    // The restart dropped the subscriptions; a new creation binds slot 2 again.
    ASSERT_TRUE(log.waitFor("RcsConfigManager::imsAppServiceEventCb::MODEM_UP", kWait, 2));
    ASSERT_TRUE(log.waitFor("RcsConfigManager: ServiceStatus::AVAILABLE", kWait, 2));
    create(2, remote<V2_1::IRcsConfigListener>(slot2));
    ASSERT_EQ(modem().sendTokenRequest(1, 0, 1, false, 0), 1);
    ASSERT_TRUE(slot2->tokenRequests.waitFor(1));
    host->waitUntilIdle();
    EXPECT_EQ(slot2->tokenRequests.at(0).requestId, 0);
    EXPECT_EQ(slot1->tokenRequests.size(), 0u);
}

// One client keeps the proxy it handed in; the other hands in a temporary,
// as a client passing a fresh binder proxy does, so only the service holds it.
TEST_F(CreationTest, DeadListener_IsForgottenAndNotCalledAgainWhoeverHeldItsProxy) {
    ASSERT_NO_FATAL_FAILURE(startService());
    sp<Listener_2_1> dyingKept = new Listener_2_1();
    sp<Listener_2_1> dyingTemporary = new Listener_2_1();
    sp<Listener_2_1> living = new Listener_2_1();
    sp<V2_1::IRcsConfigListener> keptProxy = remote<V2_1::IRcsConfigListener>(dyingKept);
    sp<V2_1::IRcsConfigListener> temporaryProxy = remote<V2_1::IRcsConfigListener>(dyingTemporary);
    ::android::wp<V2_1::IRcsConfigListener> handedIn = temporaryProxy;
    create(1, keptProxy);
    create(1, temporaryProxy);
    temporaryProxy.clear();
    create(2, remote<V2_1::IRcsConfigListener>(living));
    ASSERT_NE(handedIn.promote(), nullptr);  // the death link needs it while the client lives

    killProcessOf(keptProxy);
    killProcessOf(dyingTemporary);
    waitForDeathNotifications();
    EXPECT_EQ(log.count("RcsConfig service died. cookie:"), 2u) << log.dump();
    // Once the death is told the proxy goes: kept, it would hold a dead
    // client's whole connection in the service's process.
    EXPECT_EQ(handedIn.promote(), nullptr);
    expectContains(host->dump(), {"Listeners: 1 (death links made: 3)", "Service objects: 3"});

    modem().restart();
    ASSERT_TRUE(living->reconfigs.waitFor(1));
    host->waitUntilIdle();
    EXPECT_EQ(dyingKept->reconfigs.total() + dyingTemporary->reconfigs.total(), 0u);
    EXPECT_FALSE(log.contains("Call onReconfigNeeded with status fail"));
}

// Holds every thread that logs the first line of a death recipient until
// released, so that the test acts while those threads stand at a known point.
struct DeathLineGate {
    static void logger(const struct __android_logger_data*, const char* message) {
        DeathLineGate& g = instance();
        hostsync::MutexLock lock(g.mutex);
        if (message == nullptr || std::strstr(message, "service died. cookie:") == nullptr) return;
        ++g.reached;
        g.changed.notifyAll();
        g.changed.waitFor(g.mutex, kWait, [&]() REQUIRES(g.mutex) { return g.released; });
    }
    static DeathLineGate& instance() {
        static DeathLineGate gate;
        return gate;
    }
    bool waitReached(int count) {
        hostsync::MutexLock lock(mutex);
        return changed.waitFor(mutex, kWait, [&]() REQUIRES(mutex) { return reached >= count; });
    }
    void release() {
        hostsync::MutexLock lock(mutex);
        released = true;
        changed.notifyAll();
    }
    hostsync::Mutex mutex;
    hostsync::CondVar changed;
    int reached GUARDED_BY(mutex) = 0;
    bool released GUARDED_BY(mutex) = false;
};

TEST_F(CreationTest, DeathsToldWhileTheServiceStops_ReachNothingAlreadyDestroyed) {
    ASSERT_NO_FATAL_FAILURE(startService());
    sp<Listener_2_1> listener = new Listener_2_1();
    sp<V2_1::IRcsConfig> config = create(1, remote<V2_1::IRcsConfigListener>(listener));
    sp<GetSettingsCb> getCb = new GetSettingsCb();
    config->getSettingsValue(V2_0::SettingsId::PRESENCE_CONFIG, remote<V2_0::IGetSettingsCb>(getCb));
    ASSERT_TRUE(getCb->responses.waitFor(1));

    // The client dies, and the deaths of its listener (the manager's) and of
    // its callback (the object's) are held at their first lines while the
    // service stops and lets the manager and every object go.
    DeathLineGate& gate = DeathLineGate::instance();
    __android_log_set_logger(DeathLineGate::logger);
    killProcessOf(listener);
    killProcessOf(getCb);
    ASSERT_TRUE(gate.waitReached(2));
    ::android::wp<RcsConfig> object = static_cast<RcsConfig*>(config.get());
    config.clear();
    host->stop();
    // The callback's death keeps the object it is about, however the stop
    // went; once handled, the object goes. The listener's death finds the
    // manager gone and leaves it alone (a sanitizer build reports otherwise).
    EXPECT_NE(object.promote(), nullptr);
    gate.release();
    waitForDeathNotifications();
    __android_log_set_logger(__android_log_stderr_logger);
    EXPECT_EQ(object.promote(), nullptr);
}

TEST_F(CreationTest, DeadCallbackObject_IsForgottenAndItsLateAnswerFails) {
    ASSERT_NO_FATAL_FAILURE(startService());
    sp<Listener_2_1> listener = new Listener_2_1();
    sp<V2_1::IRcsConfig> config = create(1, remote<V2_1::IRcsConfigListener>(listener));

    sp<SetConfigCb> setCb = new SetConfigCb();
    sp<GetSettingsCb> getCb = new GetSettingsCb();
    sp<SettingsChangeCb> changeCb = new SettingsChangeCb();
    sp<UceListener> uce = new UceListener();
    sp<V2_0::ISetConfigCb> setProxy = remote<V2_0::ISetConfigCb>(setCb);
    sp<V2_0::IGetSettingsCb> getProxy = remote<V2_0::IGetSettingsCb>(getCb);
    sp<V2_0::ISettingsChangeCb> changeProxy = remote<V2_0::ISettingsChangeCb>(changeCb);
    sp<V2_0::IRcsServiceStatusListener> uceProxy = remote<V2_0::IRcsServiceStatusListener>(uce);

    const V2_0::Container container = containerOf(std::vector<uint8_t>(10, 'x'));
    config->setConfig(container, setProxy);
    config->getSettingsValue(V2_0::SettingsId::PRESENCE_CONFIG, getProxy);
    config->registerForSettingsChange(V2_0::SettingsId::PRESENCE_CONFIG, changeProxy);
    config->getUceStatus(uceProxy);
    ASSERT_TRUE(setCb->responses.waitFor(1));
    ASSERT_TRUE(getCb->responses.waitFor(1));

    EXPECT_EQ(filedOf(config), "set 1/1, get 1/1, change 1/1, uce 1");

    for (const auto& proxy : {sp<android::hidl::base::V1_0::IBase>(setProxy),
                              sp<android::hidl::base::V1_0::IBase>(getProxy),
                              sp<android::hidl::base::V1_0::IBase>(changeProxy),
                              sp<android::hidl::base::V1_0::IBase>(uceProxy)}) {
        killProcessOf(proxy);
    }
    waitForDeathNotifications();
    EXPECT_EQ(filedOf(config), "set 0/0, get 0/0, change 0/0, uce 1");  // the UCE one is kept on purpose
    EXPECT_EQ(log.count("RcsConfig client died. cookie:"), 4u);

    // An answer for a client that died meanwhile is still attempted and fails.
    sp<SetConfigCb> lateCb = new SetConfigCb();
    sp<V2_0::ISetConfigCb> lateProxy = remote<V2_0::ISetConfigCb>(lateCb);
    killProcessOf(lateProxy);
    config->setConfig(container, lateProxy);
    ASSERT_TRUE(log.waitFor("RcsConfig Call to setConfigResponse with OK resulted in fail", kWait));
    EXPECT_EQ(lateCb->responses.size(), 0u);
}

}  // namespace
}  // namespace servicetest
