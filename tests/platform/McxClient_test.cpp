// The messaging library's contract, over the embedded modem emulator.
#include "mcx_client.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

#include "emulator/EmbeddedModem.h"
#include "emulator/ModemEmulator.h"
#include "ims_application_service_v01.h"
#include "ims_settings_service_v01.h"
#include "mcx_host.h"
#include "support/McxObserved.h"

namespace {

using namespace std::chrono_literals;
using Kind = mcxemu::MessageFault::Kind;

using imstest::currentTid;
using imstest::imsaObject;
using imstest::imssObject;
using imstest::McxObserved;
using Seen = McxObserved::Seen;
using imstest::bindSettings;
using imstest::openMcxClient;

class McxClientTest : public ::testing::Test {
protected:
    mcxemu::ModemEmulator& modem = mcxemu::embeddedModem();

    // Registers `h` for the user-agent group's change indication.
    void watchUserAgent(mcx_client_type h) {
        ims_settings_config_ind_reg_req_msg_v01 reg{};
        reg.reg[imss_settings_groups_v01[2].ind_reg_offset] = 1;
        reg.reg[imss_settings_groups_v01[2].ind_reg_offset + 1] = 1;
        ims_settings_config_ind_reg_resp_msg_v01 resp{};
        ASSERT_EQ(mcx_client_send_msg_sync(h, IMSS_CONFIG_IND_REGISTER_V01, &reg, sizeof(reg), &resp,
                                           sizeof(resp), 1000),
                  MCX_NO_ERR);
    }
    int writeUserAgent(mcx_client_type h) {
        std::vector<uint8_t> req(1024, 0);
        std::memcpy(req.data(), "UA", 2);
        ims_settings_set_config_resp_msg_v01 resp{};
        return mcx_client_send_msg_sync(h, IMSS_SET_USER_AGENT_CONFIG_V01, req.data(), 1024, &resp,
                                        sizeof(resp), 1000);
    }
};

TEST_F(McxClientTest, SendMsgSync_BadArguments_GiveDistinctCodesAndReachNoModem) {
    mcx_client_type h = openMcxClient(imssObject());
    ims_settings_bind_subscription_req_msg_v01 req{0};
    uint8_t resp[16] = {};
    std::vector<int> codes = {
        mcx_client_send_msg_sync(nullptr, 0x98, &req, 4, resp, 16, 1000),
        mcx_client_send_msg_sync(h, 0x55, &req, 4, resp, 16, 1000),
        mcx_client_send_msg_sync(h, 0x98, &req, 5, resp, 16, 1000),
        mcx_client_send_msg_sync(h, 0x98, &req, 4, resp, 15, 1000),
        mcx_client_send_msg_sync(h, 0x98, &req, 4, nullptr, 16, 1000),
        mcx_client_send_msg_sync(h, 0x9D, &req, 8, resp, 16, 1000),  // an indication id is not a request
    };
    EXPECT_EQ(codes, (std::vector<int>{MCX_ERR_INVALID_HANDLE, MCX_ERR_INVALID_ARG, MCX_ERR_REQ_LENGTH,
                                       MCX_ERR_RESP_LENGTH, MCX_ERR_INVALID_ARG, MCX_ERR_INVALID_ARG}));
    EXPECT_EQ(modem.requests().size(), 0u);
    EXPECT_EQ(bindSettings(h, 0), MCX_NO_ERR);
    EXPECT_EQ(mcx_client_release(h), MCX_NO_ERR);
    EXPECT_EQ(bindSettings(h, 0), MCX_ERR_INVALID_HANDLE) << "released handle";
    EXPECT_EQ(mcx_client_release(h), MCX_ERR_INVALID_HANDLE);
}

TEST_F(McxClientTest, SendMsgSync_ModemFailures_MapToTheirCodes) {
    mcx_client_type h = openMcxClient(imssObject());
    modem.failMessage(IMSS_SERVICE_ID_V01, IMSS_BIND_SUBSCRIPTION_V01, {});
    EXPECT_EQ(bindSettings(h, 0), MCX_ERR_TRANSPORT);

    modem.failMessage(IMSS_SERVICE_ID_V01, IMSS_BIND_SUBSCRIPTION_V01, {Kind::ResponseHeader, 1, 9});
    ims_settings_bind_subscription_req_msg_v01 req{0};
    ims_settings_bind_subscription_resp_msg_v01 resp{};
    EXPECT_EQ(mcx_client_send_msg_sync(h, 0x98, &req, 4, &resp, 16, 1000), MCX_NO_ERR);
    EXPECT_EQ(resp.resp.result, 1);
    EXPECT_EQ(resp.resp.error, 9);
    mcx_client_release(h);
}

TEST_F(McxClientTest, SendMsgSync_AnswerDelayed_EndsAtTheTimeoutOrWhenTheServiceIsLost) {
    mcx_client_type h = openMcxClient(imssObject());
    modem.failMessage(IMSS_SERVICE_ID_V01, IMSS_BIND_SUBSCRIPTION_V01, {Kind::Delay, 0, 0, 0, 60000});
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(bindSettings(h, 0, 200), MCX_ERR_TIMEOUT);
    auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_GE(waited, 200ms);
    EXPECT_LT(waited, 30000ms) << "the timeout, not the modem's delay, ends the wait";

    // An answer late but within the timeout arrives.
    modem.failMessage(IMSS_SERVICE_ID_V01, IMSS_BIND_SUBSCRIPTION_V01, {Kind::Delay, 0, 0, 0, 20});
    EXPECT_EQ(bindSettings(h, 0, 1000), MCX_NO_ERR);

    // The service lost while waiting ends the wait at once.
    modem.failMessage(IMSS_SERVICE_ID_V01, IMSS_BIND_SUBSCRIPTION_V01, {Kind::Delay, 0, 0, 0, 60000});
    const size_t binds = modem.requestCount(IMSS_SERVICE_ID_V01, IMSS_BIND_SUBSCRIPTION_V01);
    std::thread restart([&] {
        ASSERT_TRUE(modem.waitForRequests(IMSS_SERVICE_ID_V01, IMSS_BIND_SUBSCRIPTION_V01, binds + 1, 5000ms));
        modem.setServiceUp(IMSS_SERVICE_ID_V01, false);
    });
    start = std::chrono::steady_clock::now();
    EXPECT_EQ(bindSettings(h, 0, 60000), MCX_ERR_SERVICE_GONE);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 30000ms) << "the loss, not the modem's delay, ends the wait";
    restart.join();
    EXPECT_EQ(bindSettings(h, 0), MCX_ERR_SERVICE_GONE) << "the connection stays lost";
    mcx_service_info info;
    EXPECT_EQ(mcx_client_get_any_service(imssObject(), &info), MCX_ERR_NO_SERVICE);
    mcx_client_type other = nullptr;
    info.service_id = IMSS_SERVICE_ID_V01;
    EXPECT_EQ(mcx_client_init(&info, imssObject(), nullptr, nullptr, nullptr, &other), MCX_ERR_NO_SERVICE);
    mcx_client_release(h);
}

TEST_F(McxClientTest, Notifier_ReportsServiceUp_WhenAlreadyUpAndWhenItComesBack) {
    modem.setServiceUp(IMSS_SERVICE_ID_V01, false);
    McxObserved a, s;
    mcx_client_type na = nullptr, ns = nullptr;
    mcx_client_os_params os{};
    ASSERT_EQ(mcx_client_notifier_init(imsaObject(), &os, &na), MCX_NO_ERR);
    ASSERT_EQ(mcx_client_register_notify_cb(na, McxObserved::notifyCb, &a), MCX_NO_ERR);
    ASSERT_EQ(mcx_client_notifier_init(imssObject(), nullptr, &ns), MCX_NO_ERR);
    ASSERT_EQ(mcx_client_register_notify_cb(ns, McxObserved::notifyCb, &s), MCX_NO_ERR);
    ASSERT_TRUE(a.waitUntil([](const Seen& seen) { return seen.notifyEvents.size() == 1; }));
    EXPECT_EQ(a.snapshot().notifyEvents[0], MCX_CLIENT_SERVICE_COUNT_INC);

    // Registered while its service was down: told only once it comes up.
    modem.setServiceUp(IMSS_SERVICE_ID_V01, true);
    ASSERT_TRUE(s.waitUntil([](const Seen& seen) { return !seen.notifyEvents.empty(); }));
    EXPECT_EQ(s.snapshot().notifyEvents, std::vector<int>{MCX_CLIENT_SERVICE_COUNT_INC});

    modem.restart();
    ASSERT_TRUE(a.waitUntil([](const Seen& seen) { return seen.notifyEvents.size() == 3; }));
    const Seen told = a.snapshot();
    EXPECT_EQ(told.notifyEvents[1], MCX_CLIENT_SERVICE_COUNT_DEC);
    EXPECT_EQ(told.notifyEvents[2], MCX_CLIENT_SERVICE_COUNT_INC);
    for (int t : told.threads) EXPECT_NE(t, currentTid()) << "callbacks run on the library's thread";
    EXPECT_EQ(mcx_client_release(na), MCX_NO_ERR);
    EXPECT_EQ(mcx_client_release(ns), MCX_NO_ERR);
}

TEST_F(McxClientTest, ErrorCallback_FiresOnceOnLibraryThread_EvenWhenRegisteredAfterTheLoss) {
    McxObserved o, barrier;
    mcx_client_type h = openMcxClient(imssObject());
    ASSERT_EQ(mcx_client_register_error_cb(h, McxObserved::errorCb, &o), MCX_NO_ERR);
    modem.restart();
    ASSERT_TRUE(o.waitUntil([](const Seen& seen) { return !seen.errors.empty(); }));
    EXPECT_EQ(o.snapshot().errors[0], MCX_ERR_SERVICE_GONE);
    EXPECT_NE(o.snapshot().threads[0], currentTid());

    // A handle lost before its callback is registered still hears of it.
    McxObserved late;
    mcx_client_type lost = openMcxClient(imssObject());
    modem.setServiceUp(IMSS_SERVICE_ID_V01, false);
    ASSERT_EQ(mcx_client_register_error_cb(lost, McxObserved::errorCb, &late), MCX_NO_ERR);
    ASSERT_TRUE(late.waitUntil([](const Seen& seen) { return seen.errors.size() == 1; }));
    mcx_client_release(lost);
    modem.setServiceUp(IMSS_SERVICE_ID_V01, true);

    // A second loss and a late re-registration do not report the lost handle again.
    mcx_client_type second = openMcxClient(imssObject());
    ASSERT_EQ(mcx_client_register_error_cb(second, McxObserved::errorCb, &barrier), MCX_NO_ERR);
    modem.restart();
    ASSERT_EQ(mcx_client_register_error_cb(h, McxObserved::errorCb, &o), MCX_NO_ERR);
    // Callbacks run in order on one thread: once the second handle's error
    // is seen, anything queued for the first has run too.
    ASSERT_TRUE(barrier.waitUntil([](const Seen& seen) { return !seen.errors.empty(); }));
    EXPECT_EQ(o.snapshot().errors.size(), 1u);
    mcx_client_release(h);
    mcx_client_release(second);
}

TEST_F(McxClientTest, Indications_ArriveOnLibraryThread_AndDecodeChecksTheirLength) {
    McxObserved o;
    mcx_client_type watcher = openMcxClient(imssObject(), &o);
    mcx_client_type writer = openMcxClient(imssObject());
    watchUserAgent(watcher);
    modem.setIndicationLength(IMSS_SERVICE_ID_V01, IMSS_USER_AGENT_CONFIG_IND_V01, 1000);
    ASSERT_EQ(writeUserAgent(writer), MCX_NO_ERR);
    ASSERT_EQ(writeUserAgent(writer), MCX_NO_ERR);
    ASSERT_TRUE(o.waitUntil([](const Seen& seen) { return seen.indications.size() == 2; }));
    const Seen seen = o.snapshot();
    EXPECT_NE(seen.threads[0], currentTid());

    std::vector<uint8_t> out(1024);
    auto decode = [&](mcx_idl_type_of_message_type kind, const std::vector<uint8_t>& ind, unsigned outLen) {
        return mcx_client_message_decode(watcher, kind, IMSS_USER_AGENT_CONFIG_IND_V01, ind.data(),
                                         static_cast<unsigned>(ind.size()), out.data(), outLen);
    };
    const auto& shortInd = seen.indications[0].second;
    EXPECT_EQ(shortInd.size(), 1000u);
    EXPECT_EQ(decode(MCX_IDL_INDICATION, shortInd, 1024), MCX_ERR_MSG_LENGTH);
    const auto& goodInd = seen.indications[1].second;
    ASSERT_EQ(goodInd.size(), 1024u);
    ASSERT_EQ(decode(MCX_IDL_INDICATION, goodInd, 1024), MCX_NO_ERR);
    EXPECT_EQ(out[0], 'U');
    EXPECT_EQ(decode(MCX_IDL_INDICATION, goodInd, 1000), MCX_ERR_INVALID_ARG) << "destination too small";
    EXPECT_EQ(decode(MCX_IDL_REQUEST, goodInd, 1024), MCX_ERR_INVALID_ARG) << "an indication is not a request";
    mcx_client_release(watcher);
    mcx_client_release(writer);
}

TEST_F(McxClientTest, Release_RacingIndications_WaitsForTheRunningCallbackAndStopsTheRest) {
    // Each recorder below stands for one event, recorded once.
    struct Racer {
        McxObserved entered, releasing, released;
        std::atomic<int> calls{0};
        std::atomic<bool> calledAfterRelease{false};
        std::atomic<bool> releaseReturnedDuringCallback{false};
    } racer;
    static const auto happened = [](const Seen& seen) { return !seen.threads.empty(); };
    auto cb = [](mcx_client_type, unsigned int, void*, unsigned int, void* data) {
        auto* r = static_cast<Racer*>(data);
        if (happened(r->released.snapshot())) r->calledAfterRelease = true;
        if (r->calls++ == 0) {
            r->entered.record([](Seen&) {});
            r->releasing.waitUntil(happened, 5s);
            // Give a wrong release() the chance to return while we are still inside.
            if (r->released.waitUntil(happened, 100ms)) r->releaseReturnedDuringCallback = true;
        }
    };
    mcx_service_info info;
    ASSERT_EQ(mcx_client_get_any_service(imssObject(), &info), MCX_NO_ERR);
    mcx_client_type watcher = nullptr;
    ASSERT_EQ(mcx_client_init(&info, imssObject(), cb, &racer, nullptr, &watcher), MCX_NO_ERR);
    mcx_client_type writer = openMcxClient(imssObject());
    watchUserAgent(watcher);

    std::atomic<bool> stop{false};
    std::thread flood([&] {
        while (!stop) writeUserAgent(writer);
    });
    ASSERT_TRUE(racer.entered.waitUntil(happened));
    racer.releasing.record([](Seen&) {});
    EXPECT_EQ(mcx_client_release(watcher), MCX_NO_ERR);
    racer.released.record([](Seen&) {});
    int callsAtRelease = racer.calls;
    // Let more indications be produced after the release, then use another
    // handle's callback as a barrier for the callback thread.
    McxObserved barrier;
    mcx_client_type late = openMcxClient(imssObject(), &barrier);
    watchUserAgent(late);
    ASSERT_TRUE(barrier.waitUntil([](const Seen& seen) { return seen.indications.size() >= 3; }));
    stop = true;
    flood.join();
    EXPECT_FALSE(racer.releaseReturnedDuringCallback);
    EXPECT_FALSE(racer.calledAfterRelease);
    EXPECT_EQ(racer.calls, callsAtRelease);
    mcx_client_release(late);
    mcx_client_release(writer);
}

}  // namespace
