// The library and the transport a process installs (mcx_host_set_transport):
// the library makes it only when it first needs a modem, drives it, and hears
// the modem through it; with none installed there is no modem at all.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "ims_settings_service_v01.h"
#include "mcx_client.h"
#include "mcx_host.h"
#include "mcx_host_transport.h"
#include "support/McxObserved.h"

namespace {

using imstest::imssObject;

// What the fake transports of one test did, and the core they report to.
// The library calls a transport on the thread of the client call that needs
// it, so the test reads these after that call returned, without a lock.
struct Modem {
    int made = 0;
    int destroyed = 0;
    mcx::ModemListener* core = nullptr;
    std::vector<uint32_t> opened;
    std::vector<uint64_t> closed;
    std::vector<uint32_t> requests;
    imstest::McxObserved seen;  // what the client's callbacks heard
};

// A modem whose imss service is up, whose connections are numbered from 40,
// and which answers every request with `fill` bytes of the expected length.
class FakeTransport : public mcx::McxTransport {
public:
    FakeTransport(Modem& modem, mcx::ModemListener& core) : mModem(modem) {
        ++mModem.made;
        mModem.core = &core;
        core.onServiceState(IMSS_SERVICE_ID_V01, true);
    }
    ~FakeTransport() override {
        ++mModem.destroyed;
    }
    int open(uint32_t serviceId, uint64_t* connId) override {
        mModem.opened.push_back(serviceId);
        *connId = 40 + mModem.opened.size();
        return MCX_NO_ERR;
    }
    void close(uint64_t connId) override {
        mModem.closed.push_back(connId);
    }
    mcx::ModemReply request(uint64_t, uint32_t msgId, const void*, uint32_t, uint32_t) override {
        mModem.requests.push_back(msgId);
        mcx::ModemReply reply;
        reply.response.assign(sizeof(ims_settings_bind_subscription_resp_msg_v01), 0x5A);
        return reply;
    }
    int control(const std::string& command, std::string* reply) override {
        *reply = "fake:" + command;
        return MCX_NO_ERR;
    }

private:
    Modem& mModem;
};

mcx::TransportFactory fakeFactory(Modem& modem) {
    return [&modem](mcx::ModemListener& core) { return std::make_unique<FakeTransport>(modem, core); };
}

TEST(McxTransportHookTest, Transport_MadeOnFirstUseCarriesRequestsEventsAndCloses_WithoutOneNoModem) {
    Modem modem;
    ASSERT_EQ(mcx_host_set_transport(fakeFactory(modem)), MCX_NO_ERR);
    EXPECT_EQ(modem.made, 0) << "made before the library needed a modem";

    mcx_client_type h = imstest::openMcxClient(imssObject(), &modem.seen);
    ASSERT_EQ(mcx_client_register_error_cb(h, imstest::McxObserved::errorCb, &modem.seen), MCX_NO_ERR);
    ims_settings_bind_subscription_req_msg_v01 req{0};
    ims_settings_bind_subscription_resp_msg_v01 resp{};
    ASSERT_EQ(mcx_client_send_msg_sync(h, IMSS_BIND_SUBSCRIPTION_V01, &req, sizeof(req), &resp, sizeof(resp), 1000),
              MCX_NO_ERR);
    EXPECT_EQ(reinterpret_cast<const uint8_t*>(&resp)[0], 0x5A)
        << "the transport's answer reaches the caller";
    char reply[32];
    ASSERT_EQ(mcx_host_modem_control("ping", reply, sizeof(reply)), MCX_NO_ERR);
    EXPECT_STREQ(reply, "fake:ping");
    EXPECT_EQ(modem.made, 1);
    EXPECT_EQ(modem.opened, std::vector<uint32_t>{IMSS_SERVICE_ID_V01});
    EXPECT_EQ(modem.requests, std::vector<uint32_t>{IMSS_BIND_SUBSCRIPTION_V01});
    // A released handle closes its connection on the transport.
    ASSERT_EQ(mcx_client_release(imstest::openMcxClient(imssObject())), MCX_NO_ERR);
    EXPECT_EQ(modem.closed, std::vector<uint64_t>{42});

    // Events the transport reports land on the handle of their connection.
    modem.core->onIndication(41, IMSS_CARRIER_CONFIG_STATUS_IND_V01, {1, 2, 3});
    using Seen = imstest::McxObserved::Seen;
    ASSERT_TRUE(modem.seen.waitUntil([](const Seen& s) { return s.indications.size() == 1; }));
    EXPECT_EQ(modem.seen.snapshot().indications[0].second, (std::vector<uint8_t>{1, 2, 3}));
    modem.core->onConnectionLost(41);
    ASSERT_TRUE(modem.seen.waitUntil([](const Seen& s) { return s.errors.size() == 1; }));
    EXPECT_EQ(modem.seen.snapshot().errors[0], MCX_ERR_SERVICE_GONE);

    // Not replaced under an open handle; once it is released, the old
    // transport is gone before the call returns.
    EXPECT_EQ(mcx_host_set_transport(nullptr), MCX_ERR_INVALID_ARG);
    ASSERT_EQ(mcx_client_release(h), MCX_NO_ERR);
    EXPECT_EQ(modem.closed, std::vector<uint64_t>{42}) << "a lost connection is not closed again";
    ASSERT_EQ(mcx_host_set_transport(nullptr), MCX_NO_ERR);
    EXPECT_EQ(modem.destroyed, 1);

    // With none installed there is no modem at all: the old transport's
    // service state is forgotten.
    mcx_service_info info{};
    EXPECT_EQ(mcx_client_get_any_service(imssObject(), &info), MCX_ERR_NO_SERVICE);
    info.service_id = IMSS_SERVICE_ID_V01;
    mcx_client_os_params os{};
    mcx_client_type none = nullptr;
    EXPECT_EQ(mcx_client_init(&info, imssObject(), nullptr, nullptr, &os, &none), MCX_ERR_NO_SERVICE);
    EXPECT_EQ(mcx_host_modem_control("ping", reply, sizeof(reply)), MCX_ERR_NO_SERVICE);
    EXPECT_EQ(mcx_host_use_daemon(nullptr), MCX_ERR_INVALID_ARG) << "a daemon needs a socket path";

    // A factory that makes nothing is the same as none.
    ASSERT_EQ(mcx_host_set_transport([](mcx::ModemListener&) { return nullptr; }), MCX_NO_ERR);
    EXPECT_EQ(mcx_client_get_any_service(imssObject(), &info), MCX_ERR_NO_SERVICE);
}

}  // namespace
