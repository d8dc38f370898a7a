// The service host's start and stop, and the state dump that the factories'
// debug() writes.
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "ImsFactory.h"
#include "ServiceFixture.h"
#include "clientkit/DebugCall.h"
#include "support/ModemTestUtil.h"

namespace servicetest {
namespace {

using ::android::hardware::hidl_handle;
using ::android::hardware::hidl_string;
using ::android::hardware::hidl_vec;

class HostAndDumpTest : public ServiceFixture {
protected:
    // What debug() on `object` writes, as a client in another process reads it.
    static std::string debugText(const sp<::android::hidl::base::V1_0::IBase>& object) {
        std::string text, error;
        EXPECT_TRUE(clientkit::callDebug(object, {}, &text, &error)) << error;
        return text;
    }
};

TEST_F(HostAndDumpTest, Debug_DumpsModemListenersObjectsAndPendingRequests_AndWithoutADescriptorWritesNothing) {
    ASSERT_NO_FATAL_FAILURE(startService());
    EXPECT_TRUE(factory->debug(hidl_handle(), hidl_vec<hidl_string>()).isOk());
    EXPECT_TRUE(log.contains("ImsFactory debug: no file descriptor to write to"));
    sp<Listener_2_1> listener = new Listener_2_1();
    sp<V2_1::IRcsConfig> config = create(2, remote<V2_1::IRcsConfigListener>(listener));
    sp<SettingsChangeCb> changes = new SettingsChangeCb();
    config->registerForSettingsChange(V2_0::SettingsId::IMS_SERVICE_ENABLE_CONFIG,
                                      remote<V2_0::ISettingsChangeCb>(changes));
    ASSERT_TRUE(modem().waitForRequests(IMSS_SERVICE_ID_V01, 0x2A, 1, kWait));
    host->waitUntilIdle();

    std::string text = debugText(factory);
    EXPECT_EQ(text, host->dump());
    expectContains(text, {"RCS configuration service", "Modem (embedded modem emulator)",
                          "IMS settings service: up, carrier configuration accepted",
                          "slot 1: settings client subscribed: no, application client subscribed: no",
                          "slot 2: settings client subscribed: yes, application client subscribed: yes",
                          "Listeners: 1", "slot 2, IRcsConfigListener 2.1", "Service objects: 1",
                          "callbacks filed: set-config 0, get-settings 0, settings-change 1",
                          "queued for the loop thread: 0", "settings change listeners: 1",
                          "IMS_SERVICE_ENABLE_CONFIG (3)", "handler failures caught: 0"});
}

TEST_F(HostAndDumpTest, Dump_InsideABatchWhileACreationWaitsToPost_DoesNotDeadlock) {
    ASSERT_NO_FATAL_FAILURE(startService());
    sp<Listener_2_1> listener = new Listener_2_1();
    sp<V2_1::IRcsConfig> config = create(1, remote<V2_1::IRcsConfigListener>(listener));
    ASSERT_NO_FATAL_FAILURE(modemDown());

    // The refusal runs on the loop thread inside the manager's batch (its
    // queue lock held); a dump from there must wait neither for that lock nor
    // for a creation started meanwhile on another thread, which files its
    // listener under the listener lock and then waits for the queue lock to
    // post. The dump is asked for only once the creation is that far.
    struct DumpingCb : public SetConfigCb {
        DumpingCb(imstest::LogCapture& l, sp<F1_1::IImsFactory> f, rcsservice::RcsServiceHost* h)
            : log(l), factory(f), host(h) {}
        Return<void> setConfigResponse(V2_0::RequestStatus status) override {
            const size_t before = log.count("New RcsConfig Object");
            creator = std::thread([this] {
                sp<Listener_2_1> other = new Listener_2_1();
                factory->createRcsConfig_1_1(2, remote<V2_1::IRcsConfigListener>(other),
                                             [](auto, const auto&) {});
            });
            log.waitFor("New RcsConfig Object", kWait, before + 1);
            dumps.add(host->dump());
            return SetConfigCb::setConfigResponse(status);
        }
        imstest::LogCapture& log;
        sp<F1_1::IImsFactory> factory;
        rcsservice::RcsServiceHost* host;
        std::thread creator;
        Calls<std::string> dumps;
    };
    sp<DumpingCb> cb = new DumpingCb(log, factory, host.get());
    V2_0::SettingsData data = settingsOf(V2_0::SettingsId::PRESENCE_CONFIG, {{100, 1}}, {}, {});
    config->setSettingsValue(data, remote<V2_0::ISetConfigCb>(cb));
    if (!cb->dumps.waitFor(1)) {
        // The loop thread is stuck for good: nothing could stop the service.
        std::fprintf(stderr, "the dump deadlocked with a creation waiting to post\n");
        std::_Exit(1);
    }
    cb->creator.join();
    expectContains(cb->dumps.at(0),
                   {"Service objects: ", "queued for the loop thread: unknown", "IMS settings service: down"});
    host->waitUntilIdle();
    expectContains(host->dump(), {"Listeners: 2"});
}

TEST_F(HostAndDumpTest, StopAndStartAgain_ServesAgainAndOldFactoryDumpsStopped) {
    ASSERT_NO_FATAL_FAILURE(startService());
    sp<F1_1::IImsFactory> oldFactory = factory;
    host->stop();
    expectContains(debugText(oldFactory), {"not started"});
    // The emptied registry no longer creates anything.
    sp<Listener_2_1> listener = new Listener_2_1();
    auto refused = create_1_1(oldFactory, 1, remote<V2_1::IRcsConfigListener>(listener));
    EXPECT_EQ(refused.status, StatusCode::NOT_SUPPORTED);
    EXPECT_EQ(refused.config, nullptr);

    log.clear();
    ASSERT_NO_FATAL_FAILURE(startService());
    sp<V2_1::IRcsConfig> config = create(1, remote<V2_1::IRcsConfigListener>(listener));
    ASSERT_NE(config, nullptr);
    sp<SetConfigCb> cb = new SetConfigCb();
    config->setConfig(containerOf(imstest::patternBytes(2500)), remote<V2_0::ISetConfigCb>(cb));
    ASSERT_TRUE(cb->responses.waitFor(1));
    EXPECT_EQ(cb->responses.at(0), V2_0::RequestStatus::OK);
}

TEST_F(HostAndDumpTest, Start_FailsWhenTheFactoryCannotRegisterOrTheDaemonHasNoSocket) {
    ::android::hardware::testing::failServiceRegistrations(::android::UNKNOWN_ERROR);
    rcsservice::RcsServiceHost failing(rcsservice::hostServiceOptions());
    EXPECT_FALSE(failing.start());
    EXPECT_TRUE(log.contains("ImsFactory_1_1 HAL registration failed with"));
    EXPECT_TRUE(log.contains("RcsServiceHost: a factory could not be registered"));
    expectContains(failing.dump(), {"not started"});
    // The manager went with the failed start: the registry is empty again.
    EXPECT_EQ(ImsFactory_1_1::getCreatable("createRcsConfig"), nullptr);
    ::android::hardware::testing::failServiceRegistrations(::android::OK);

    rcsservice::RcsServiceHost daemonHost(rcsservice::hostServiceOptions(rcsservice::HostModem::daemon("")));
    EXPECT_FALSE(daemonHost.start());
    EXPECT_TRUE(log.contains("RcsServiceHost: cannot choose the modem transport"));
    expectContains(daemonHost.dump(), {"not started"});
}

}  // namespace
}  // namespace servicetest
