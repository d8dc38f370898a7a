// The IMS Application client against the embedded modem emulator, on a real loop thread.
#include "rcsconfig/ImsMcxApplication.h"

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstring>
#include <functional>
#include <memory>
#include <vector>

#include <hostsync/Mutex.h>

#include "emulator/EmbeddedModem.h"
#include "emulator/ModemEmulator.h"
#include "ims_application_service_v01.h"
#include "mcx_host.h"
#include "rcsconfig/McxImsaClient.h"
#include "support/LogCapture.h"
#include "service/HostLoop.h"

namespace {

using imstest::LogCapture;
using rcsservice::HostLoop;
using namespace std::chrono_literals;

struct Received {
    ImsAppServiceData data;
    int tid;
};

class ImsMcxApplicationTest : public ::testing::Test {
protected:
    void SetUp() override {
        modem.reset();
        app = std::make_unique<ImsMcxApplication>(loop.com(), loop.timer());
        app->registerServiceStatusListener([this](ImsAppServiceData& d) {
            hostsync::MutexLock l(lock);
            events.push_back({d, static_cast<int>(syscall(SYS_gettid))});
            cv.notifyAll();
        });
        loop.start();
        ASSERT_TRUE(waitForEvents(1));
    }
    void TearDown() override {
        loop.stop();
        app.reset();
    }
    bool waitForEvents(size_t n) {
        hostsync::MutexLock l(lock);
        return cv.waitFor(lock, 5s, [&]() REQUIRES(lock) { return events.size() >= n; });
    }
    std::vector<Received> received() {
        hostsync::MutexLock l(lock);
        return events;
    }
    bool subscribe(int sub) {
        bool result = false;
        loop.runOnLoop([&] { result = app->subscribeToSub(sub); });
        return result;
    }
    size_t requests(uint32_t msgId) { return modem.requestCount(IMSA_SERVICE_ID_V01, msgId); }

    LogCapture log;
    mcxemu::ModemEmulator& modem = mcxemu::embeddedModem();
    HostLoop loop;
    std::unique_ptr<ImsMcxApplication> app;
    hostsync::Mutex lock;
    hostsync::CondVar cv;
    std::vector<Received> events GUARDED_BY(lock);
};

TEST_F(ImsMcxApplicationTest, SubscribeToSub_BindsAndRegistersOnce_RefusesOtherSubscriptions_DestructionClosesAll) {
    EXPECT_FALSE(subscribe(2));
    EXPECT_FALSE(subscribe(-1));
    EXPECT_EQ(modem.connectionCount(IMSA_SERVICE_ID_V01), 1u);

    EXPECT_TRUE(subscribe(1));
    EXPECT_EQ(modem.connectionCount(IMSA_SERVICE_ID_V01), 2u);
    auto log0 = modem.requests();
    ASSERT_EQ(log0.size(), 2u);
    EXPECT_EQ(log0[0].msgId, IMSA_BIND_SUBSCRIPTION_V01);
    imsa_bind_subscription_req_msg_v01 bind;
    ASSERT_EQ(log0[0].data.size(), sizeof(bind));
    std::memcpy(&bind, log0[0].data.data(), sizeof(bind));
    EXPECT_EQ(bind.subscription_valid, 1u);
    EXPECT_EQ(bind.subscription, 1);
    EXPECT_EQ(log0[1].msgId, IMSA_IND_REGISTER_V01);
    std::vector<uint8_t> reg(38, 0);
    reg[36] = 1;
    reg[37] = 1;
    EXPECT_EQ(log0[1].data, reg);
    EXPECT_EQ(log0[1].subscription, 1) << "registered after the bind";
    EXPECT_TRUE(log.contains("registerForIndication: Success"));

    EXPECT_TRUE(subscribe(1));
    EXPECT_TRUE(log.contains("subscribeToSub: client already present"));
    EXPECT_EQ(modem.requests().size(), 2u) << "the second subscribe sends nothing";

    // Destruction closes every connection.
    ASSERT_TRUE(subscribe(0));
    EXPECT_EQ(modem.connectionCount(IMSA_SERVICE_ID_V01), 3u);
    loop.runOnLoop([&] { app.reset(); });
    EXPECT_EQ(modem.connectionCount(IMSA_SERVICE_ID_V01), 0u);
    EXPECT_TRUE(log.contains("ImsMcxApplication : Dtor"));
}

// Token requests reach the listener on the loop thread, with or without a
// request id; one of the wrong length is dropped after the decode fails, and
// other indications, or one without a client, are ignored without a line.
TEST_F(ImsMcxApplicationTest, TokenRequests_ReachTheListener_MalformedOrOtherIndicationsAreDropped) {
    ASSERT_TRUE(subscribe(0));
    ASSERT_TRUE(subscribe(1));
    EXPECT_EQ(modem.sendTokenRequest(1, 2, 3, true, 55), 1);
    EXPECT_EQ(modem.sendTokenRequest(0, 1, 4, false, 77), 1);
    ASSERT_TRUE(waitForEvents(3));
    auto got = received();
    const ImsAppServiceData& first = got[1].data;
    EXPECT_EQ(first.event, ImsAppServiceData::TOKEN_REQUEST);
    EXPECT_EQ(first.subId, 1);
    EXPECT_EQ(first.requestId, 55);
    EXPECT_EQ(first.tokenType, 2);
    EXPECT_EQ(first.requestReason, 3);
    EXPECT_EQ(got[1].tid, loop.loopTid());
    const ImsAppServiceData& second = got[2].data;
    EXPECT_EQ(second.subId, 0);
    EXPECT_EQ(second.requestId, 0) << "request_id without its valid flag is ignored";
    EXPECT_EQ(second.tokenType, 1);
    EXPECT_EQ(second.requestReason, 4);

    modem.setIndicationLength(IMSA_SERVICE_ID_V01, IMSA_CONFIG_TOKEN_REQUEST_IND_V01, 12);
    modem.sendTokenRequest(0, 1, 1, true, 9);
    ASSERT_TRUE(log.waitFor("McxImsaClient::mcx_client_message_decode failed", 5s));
    McxImsaClient client(0, app.get());
    uint8_t buf[16] = {};
    log.clear();
    handleMcxIndication(nullptr, 0x43, buf, sizeof(buf), &client);
    handleMcxIndication(nullptr, IMSA_CONFIG_TOKEN_REQUEST_IND_V01, buf, sizeof(buf), nullptr);
    EXPECT_TRUE(log.messages().empty()) << log.dump();
    modem.sendTokenRequest(0, 1, 1, true, 10);  // the next one is whole again
    ASSERT_TRUE(waitForEvents(4));
    ASSERT_TRUE(loop.waitUntilIdle());
    got = received();
    ASSERT_EQ(got.size(), 4u);
    EXPECT_EQ(got[3].data.requestId, 10);
}

// A modem restart, then a connection error while the service stays up: each
// reports MODEM_DOWN and MODEM_UP on the loop thread and closes the subscriptions.
TEST_F(ImsMcxApplicationTest, ModemRestartOrConnectionError_ReportsModemDownThenUpAndEmptiesTheSlots) {
    const std::function<void()> losses[] = {
            [&] { modem.restart(); },
            [&] { ImsMcxApplication::mcxErrorCb(nullptr, MCX_ERR_SERVICE_GONE, app.get()); },
    };
    size_t seen = 1;
    for (int i = 0; i < 2; ++i) {
        SCOPED_TRACE(i);
        ASSERT_TRUE(subscribe(i));
        EXPECT_EQ(modem.connectionCount(IMSA_SERVICE_ID_V01), 2u);
        losses[i]();
        ASSERT_TRUE(waitForEvents(seen + 2));
        auto got = received();
        EXPECT_EQ(got[seen].data.event, ImsAppServiceData::MODEM_DOWN);
        EXPECT_EQ(got[seen + 1].data.event, ImsAppServiceData::MODEM_UP);
        EXPECT_EQ(got[seen].tid, loop.loopTid());
        ASSERT_TRUE(loop.waitUntilIdle());
        EXPECT_EQ(modem.connectionCount(IMSA_SERVICE_ID_V01), 1u) << "subscriptions were closed";
        seen += 2;
    }
    EXPECT_TRUE(log.contains("ImsMcxApplication: A modem service is down"));
    // The slots were emptied: subscribing again opens and binds a new connection.
    size_t binds = requests(IMSA_BIND_SUBSCRIPTION_V01);
    EXPECT_TRUE(subscribe(0));
    EXPECT_EQ(requests(IMSA_BIND_SUBSCRIPTION_V01), binds + 1);
    EXPECT_EQ(modem.sendTokenRequest(0, 1, 1, true, 1), 1);
}

TEST_F(ImsMcxApplicationTest, SvcUp_ReportsModemUpOnTheLoopThread_NothingWithAConnectionOpen) {
    auto first = received();
    ASSERT_EQ(first.size(), 1u);
    EXPECT_EQ(first[0].data.event, ImsAppServiceData::MODEM_UP);
    EXPECT_EQ(first[0].data.subId, 0);
    EXPECT_EQ(first[0].tid, loop.loopTid());
    EXPECT_TRUE(log.contains("ImsMcxApplication : Xtor"));
    EXPECT_TRUE(log.contains("ImsMcxApplication: mcx_client_register_error_cb result: 0"));
    EXPECT_EQ(modem.connectionCount(IMSA_SERVICE_ID_V01), 1u);

    loop.runOnLoop([&] { app->svcUp(); });
    EXPECT_TRUE(log.contains("ImsMcxApplication: client is already present,so skipping client initialization."));
    EXPECT_EQ(received().size(), 1u);
    loop.runOnLoop([&] {
        imsaCallbackData_s odd{7, 0, nullptr, -1, 0};
        app->handleEvent(odd);
    });
    EXPECT_TRUE(log.contains("ImsMcxApplication::handleEvent unhandled event: 7"));

    // A bring-up for a service that went away meanwhile (the notification
    // raced the loss) reaches svcUp through a direct call.
    modem.setServiceUp(IMSA_SERVICE_ID_V01, false);
    ASSERT_TRUE(waitForEvents(2));  // MODEM_DOWN
    loop.runOnLoop([&] { app->svcUp(); });
    auto got = received();
    ASSERT_EQ(got.size(), 3u);
    EXPECT_EQ(got[2].data.event, ImsAppServiceData::MODEM_UP);
    EXPECT_TRUE(log.contains("ImsMcxSettings::Error get IMS Settings service."));
}

TEST_F(ImsMcxApplicationTest, Destruction_FreesTokenRequestsStillQueued) {
    loop.stop();
    // A decoded token request the loop never got to; the sanitizer run reports
    // its buffer if the client drops the record without freeing it.
    imsaCallbackData_s ev{2, IMSA_CONFIG_TOKEN_REQUEST_IND_V01,
                          calloc(1, sizeof(imsa_config_token_request_ind_msg_v01)), 0, 0};
    app->postEvent(ev);
    app.reset();
    EXPECT_EQ(received().size(), 1u) << "only the MODEM_UP of the set-up";
}

}  // namespace
