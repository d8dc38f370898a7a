// mcx-modemd as a real process behind the messaging library's daemon transport.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>
#include <hostsync/Mutex.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "emulator/EmbeddedModem.h"
#include "emulator/ModemDaemon.h"
#include "ims_application_service_v01.h"
#include "ims_settings_service_v01.h"
#include "mcx_client.h"
#include "mcx_host.h"
#include "support/McxObserved.h"
#include "testkit/ModemDaemonProcess.h"

namespace {

using namespace std::chrono_literals;

using imstest::bindSettings;
using imstest::imsaObject;
using imstest::imssObject;
using imstest::McxObserved;
using imstest::openMcxClient;
using Seen = McxObserved::Seen;

class ModemDaemonTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(daemon.start());
        ASSERT_EQ(mcx_host_use_daemon(path.c_str()), MCX_NO_ERR);
    }
    void TearDown() override {
        mcxemu::useEmbeddedModem();
        daemon.kill();
        unlink(path.c_str());
    }
    std::string control(const std::string& cmd) {
        char reply[256] = {};
        EXPECT_EQ(mcx_host_modem_control(cmd.c_str(), reply, sizeof(reply)), MCX_NO_ERR) << cmd;
        return reply;
    }

    std::string path = "/tmp/mcx-modemd-test-" + std::to_string(getpid()) + ".sock";
    testkit::ModemDaemonProcess daemon{MCX_MODEMD_PATH, path};
};

TEST_F(ModemDaemonTest, DaemonKilledMidSession_ClientSeesServiceLossThenItsReturn) {
    McxObserved watch, errors;
    mcx_client_type notifier = nullptr;
    ASSERT_EQ(mcx_client_notifier_init(imssObject(), nullptr, &notifier), MCX_NO_ERR);
    ASSERT_EQ(mcx_client_register_notify_cb(notifier, McxObserved::notifyCb, &watch), MCX_NO_ERR);
    ASSERT_TRUE(watch.waitUntil([](const Seen& s) { return s.notifyEvents.size() == 1; }));

    mcx_client_type h = openMcxClient(imssObject());
    ASSERT_EQ(mcx_client_register_error_cb(h, McxObserved::errorCb, &errors), MCX_NO_ERR);
    ASSERT_EQ(bindSettings(h, 1), MCX_NO_ERR);

    daemon.kill();
    ASSERT_TRUE(errors.waitUntil([](const Seen& s) { return !s.errors.empty(); }));
    EXPECT_EQ(errors.snapshot().errors, std::vector<int>{MCX_ERR_SERVICE_GONE});
    EXPECT_EQ(bindSettings(h, 1), MCX_ERR_SERVICE_GONE);
    mcx_service_info info;
    EXPECT_EQ(mcx_client_get_any_service(imssObject(), &info), MCX_ERR_NO_SERVICE);
    ASSERT_TRUE(watch.waitUntil([](const Seen& s) { return s.notifyEvents.size() == 2; }));
    EXPECT_EQ(watch.snapshot().notifyEvents.at(1), MCX_CLIENT_SERVICE_COUNT_DEC);

    // A new daemon on the same socket is the service coming back.
    ASSERT_TRUE(daemon.start());
    ASSERT_TRUE(watch.waitUntil([](const Seen& s) { return s.notifyEvents.size() == 3; }));
    EXPECT_EQ(watch.snapshot().notifyEvents.at(2), MCX_CLIENT_SERVICE_COUNT_INC);
    mcx_client_type again = openMcxClient(imssObject());
    EXPECT_EQ(bindSettings(again, 0), MCX_NO_ERR);
    EXPECT_EQ(errors.snapshot().errors.size(), 1u);

    mcx_client_release(h);
    mcx_client_release(again);
    mcx_client_release(notifier);
}

// The client process keeps its library while the daemon is killed and started
// again on the same socket, over and over; each time the connections of the
// new daemon must work. A client releases its handles as soon as it hears the
// service went down, racing the library's own news of the lost connections.
TEST_F(ModemDaemonTest, DaemonKilledAndRestartedRepeatedly_NewConnectionsWorkEveryTime) {
    struct Watch : McxObserved {
        hostsync::Mutex lock;
        std::vector<mcx_client_type> open GUARDED_BY(lock);
    } watch;
    auto onChange = [](mcx_client_type, mcx_idl_service_object_type,
                       mcx_client_notify_event_type ev, void* d) {
        auto* w = static_cast<Watch*>(d);
        std::vector<mcx_client_type> handles;
        if (ev == MCX_CLIENT_SERVICE_COUNT_DEC) {
            hostsync::MutexLock l(w->lock);
            handles.swap(w->open);
        }
        for (mcx_client_type h : handles) mcx_client_release(h);
        w->record([&](Seen& s) { s.notifyEvents.push_back(ev); });
    };
    mcx_client_type notifier = nullptr;
    ASSERT_EQ(mcx_client_notifier_init(imssObject(), nullptr, &notifier), MCX_NO_ERR);
    ASSERT_EQ(mcx_client_register_notify_cb(notifier, onChange, &watch), MCX_NO_ERR);
    ASSERT_TRUE(watch.waitUntil([](const Seen& s) { return s.notifyEvents.size() == 1; }));

    const char* env = getenv("MCX_RESTART_CYCLES");
    const int cycles = env != nullptr ? std::max(1, atoi(env)) : 40;
    int failed = 0;
    for (int cycle = 0; cycle < cycles; ++cycle) {
        // Two connections per daemon, so that ids of the dead one are reused.
        mcx_client_type first = openMcxClient(imssObject());
        mcx_client_type second = openMcxClient(imssObject());
        const bool bound = bindSettings(first, 0) == MCX_NO_ERR && bindSettings(second, 1) == MCX_NO_ERR;
        if (!bound) ++failed;
        {
            hostsync::MutexLock l(watch.lock);
            watch.open = {first, second};
        }
        const size_t seen = watch.snapshot().notifyEvents.size();
        daemon.kill();
        ASSERT_TRUE(watch.waitUntil([&](const Seen& s) { return s.notifyEvents.size() == seen + 1; }));
        ASSERT_TRUE(daemon.start());
        ASSERT_TRUE(watch.waitUntil([&](const Seen& s) { return s.notifyEvents.size() == seen + 2; }));
    }
    std::printf("daemon restarts: %d, cycles whose new connections failed: %d\n", cycles, failed);
    EXPECT_EQ(failed, 0);
    mcx_client_release(notifier);
}

TEST_F(ModemDaemonTest, IndicationsAndFaultsTravelOverTheSocket) {
    McxObserved seen;
    mcx_client_type h = openMcxClient(imsaObject(), &seen);
    imsa_bind_subscription_req_msg_v01 bind{1, 0};
    imsa_bind_subscription_resp_msg_v01 bindResp{};
    ASSERT_EQ(mcx_client_send_msg_sync(h, IMSA_BIND_SUBSCRIPTION_V01, &bind, 8, &bindResp, 8, 1000), MCX_NO_ERR);
    imsa_ind_reg_req_msg_v01 reg{};
    reg.reg[18][0] = 1;
    reg.reg[18][1] = 1;
    imsa_ind_reg_resp_msg_v01 regResp{};
    ASSERT_EQ(mcx_client_send_msg_sync(h, IMSA_IND_REGISTER_V01, &reg, 38, &regResp, 8, 1000), MCX_NO_ERR);

    EXPECT_EQ(control("token-request 1 3 1 12"), "sent 1");
    ASSERT_TRUE(seen.waitUntil([](const Seen& s) { return s.indications.size() == 1; }));
    imsa_config_token_request_ind_msg_v01 ind{};
    const std::vector<uint8_t> first = seen.snapshot().indications.at(0).second;
    ASSERT_EQ(mcx_client_message_decode(h, MCX_IDL_INDICATION, IMSA_CONFIG_TOKEN_REQUEST_IND_V01,
                                        first.data(), 16, &ind, sizeof(ind)),
              MCX_NO_ERR);
    EXPECT_EQ(ind.token_type, 3);
    EXPECT_EQ(ind.request_id, 12);

    control("fail imsa 0x33 delay 60000");
    EXPECT_EQ(mcx_client_send_msg_sync(h, IMSA_BIND_SUBSCRIPTION_V01, &bind, 8, &bindResp, 8, 200),
              MCX_ERR_TIMEOUT);
    control("fail imsa 0x33 transport");
    EXPECT_EQ(mcx_client_send_msg_sync(h, IMSA_BIND_SUBSCRIPTION_V01, &bind, 8, &bindResp, 8, 1000),
              MCX_ERR_TRANSPORT);
    mcx_client_release(h);
}

}  // namespace
