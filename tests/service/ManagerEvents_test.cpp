// RcsConfigManager on a loop that the test pumps itself: the gates of
// handleEvent, the status fan-out and the recovery after the token refusal
// throws. The modem services are down, so only the test moves the flags.
#include <functional>

#include "ImsFactory.h"
#include "ServiceFixture.h"
#include "imsservice/ImsCom.h"
#include "imsservice/ImsTimer.h"
#include "rcsconfig/RcsConfigManager.h"

namespace servicetest {
namespace {

class ManagerEventsTest : public ::testing::Test {
protected:
    ManagerEventsTest() {
        mcxemu::embeddedModem().setServiceUp(IMSS_SERVICE_ID_V01, false);
        mcxemu::embeddedModem().setServiceUp(IMSA_SERVICE_ID_V01, false);
        settings = std::make_unique<ImsMcxSettings>(com, timer);
        application = std::make_unique<ImsMcxApplication>(com, timer);
        auto* created = new RcsConfigManager(com, timer, *settings, *application);
        owner = ImsFactory_1_1::getCreatable("createRcsConfig_1_1");
        manager = created;
    }
    ~ManagerEventsTest() override {
        ImsFactory_1_1::deregister();
        owner.reset();
        application.reset();
        settings.reset();
    }

    // One pass of the loop; every event posted before it is handled.
    void pump() { com.processEvents(0, timer); }

    ConfigCallbackData record(uint32_t type, int slot) {
        ConfigCallbackData data{};
        data.eventType = type;
        data.slotId = slot;
        data.settingsId = -1;
        return data;
    }

    imstest::LogCapture log;
    ImsCom com;
    ImsTimer timer{nullptr};
    std::unique_ptr<ImsMcxSettings> settings;
    std::unique_ptr<ImsMcxApplication> application;
    std::shared_ptr<ImsCreatable> owner;
    RcsConfigManager* manager = nullptr;
};

TEST_F(ManagerEventsTest, HandleEvent_UnknownTypes_AreLoggedAndDropped) {
    for (uint32_t type : {6u, 9u, 200u}) {
        ConfigCallbackData data = record(type, 1);
        manager->postEvent(data);
        pump();
        EXPECT_TRUE(log.contains("Config callback event not supported : " + std::to_string(type)));
    }
}

TEST_F(ManagerEventsTest, Subscribe_ModemCheckComesBeforeTheSlotCheck) {
    ConfigCallbackData data = record(SUBSCRIBE_SUB, 3);
    manager->postEvent(data);
    pump();
    EXPECT_TRUE(log.contains("RcsConfigManager::handleEvent cannot create,modem service is not up"));
    EXPECT_FALSE(log.contains("RcsConfigManager::handleEvent invalid sub"));

    manager->serviceStatusCb(ServiceStatus::MODEM_UP);
    manager->postEvent(data);
    pump();
    EXPECT_TRUE(log.contains("RcsConfigManager::handleEvent invalid sub: 3"));
    EXPECT_FALSE(manager->isImssSubscribed(1));
    EXPECT_FALSE(manager->isImssSubscribed(2));
}

TEST_F(ManagerEventsTest, ServiceStatus_SetsTheGatesAndTellsListenersFirst) {
    // Each notice records the gate it found, to show the order.
    struct Probe : public Listener_2_0 {
        explicit Probe(RcsConfigManager* m) : manager(m) {}
        Return<void> onReconfigNeeded() override {
            seenAvailable.add(manager->isServiceAvailable());
            return Listener_2_0::onReconfigNeeded();
        }
        RcsConfigManager* manager;
        Calls<bool> seenAvailable;
    };
    sp<Probe> probe = new Probe(manager);
    manager->createInstance(Params{probe, 1, 0});
    EXPECT_FALSE(manager->isModemUp() || manager->isServiceAvailable());

    manager->serviceStatusCb(ServiceStatus::MODEM_UP);
    EXPECT_TRUE(manager->isModemUp());
    EXPECT_FALSE(manager->isServiceAvailable());
    manager->serviceStatusCb(ServiceStatus::AVAILABLE);
    EXPECT_TRUE(manager->isServiceAvailable());
    ASSERT_EQ(probe->seenAvailable.size(), 2u);
    EXPECT_FALSE(probe->seenAvailable.at(1));  // told before the gate opened

    manager->serviceStatusCb(static_cast<ServiceStatus>(7));  // ignored
    EXPECT_TRUE(manager->isModemUp());
    manager->serviceStatusCb(ServiceStatus::MODEM_DOWN);
    EXPECT_FALSE(manager->isModemUp());
    EXPECT_FALSE(manager->isServiceAvailable());
    manager->serviceStatusCb(ServiceStatus::AVAILABLE);
    manager->serviceStatusCb(ServiceStatus::NOT_SUPPORTED);
    EXPECT_FALSE(manager->isModemUp());
    EXPECT_EQ(probe->reconfigs.total(), 3u);  // down and not-supported tell nobody
}

TEST_F(ManagerEventsTest, TokenRefusal_ThrowsAndTheEventsBehindItRunAfterResume) {
    Calls<bool> tokenResults;
    Calls<int> gets;
    manager->setRcsAppToken([&](bool ok) { tokenResults.add(ok); }, 1, "token");
    manager->getRcsSettings([&](int id, void* response) { gets.add(response == nullptr ? id : -100); }, 2,
                            V2_0::SettingsId::STANDALONE_MESSAGING_CONFIG);
    EXPECT_THROW(pump(), std::bad_function_call);
    EXPECT_TRUE(log.contains("RcsConfigManager::handleEvent cannot proceed, modem service is not up"));
    EXPECT_EQ(gets.size(), 0u);  // queued behind the failed event, its signal consumed

    manager->resumePendingEvents();
    pump();
    ASSERT_EQ(gets.size(), 1u);
    EXPECT_EQ(gets.at(0), 1);  // refused: (settings id, null)
    EXPECT_EQ(tokenResults.size(), 0u);

    manager->updateAppTokenFetchStatus(1, 5, V2_1::TokenType::FCM_TOKEN, V2_1::StatusCode::SUCCESS);
    EXPECT_THROW(pump(), std::bad_function_call);
}

TEST_F(ManagerEventsTest, TokenRequest_ReachesEveryListenerOfItsSlot) {
    sp<Listener_2_1> slot1 = new Listener_2_1();
    sp<Listener_2_1> slot2 = new Listener_2_1();
    sp<Listener_2_0> slot2old = new Listener_2_0();
    manager->createInstance(Params{slot1, 1, 1});
    manager->createInstance(Params{slot2, 2, 1});
    manager->createInstance(Params{slot2old, 2, 0});
    EXPECT_EQ(manager->listeners().size(), 3u);
    EXPECT_EQ(manager->rcsConfigs().size(), 3u);

    ImsAppServiceData request{ImsAppServiceData::TOKEN_REQUEST, 1, 77, 1, 2};
    manager->imsAppServiceEventCb(request);
    EXPECT_EQ(slot1->tokenRequests.size(), 0u);
    ASSERT_EQ(slot2->tokenRequests.size(), 1u);
    EXPECT_EQ(slot2->tokenRequests.at(0).requestId, 77);
    EXPECT_EQ(log.count("RcsConfigManager::imsAppServiceEventCb Call onTokenFetchRequest withrequestId 77, token type 1, request reason 2"),
              3u);

    ImsAppServiceData up{ImsAppServiceData::MODEM_UP, 0, 0, 0, 0};
    ImsAppServiceData other{9, 0, 0, 0, 0};
    manager->imsAppServiceEventCb(up);
    manager->imsAppServiceEventCb(other);
    EXPECT_TRUE(log.contains("RcsConfigManager::imsAppServiceEventCb::MODEM_UP"));
    EXPECT_FALSE(manager->isModemUp());  // the application service does not move the gates
}

}  // namespace
}  // namespace servicetest
