// The service watcher against the embedded modem emulator, on a real loop thread.
#include "imsservice/ImsMcxSvc.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include <hostsync/Mutex.h>

#include "emulator/EmbeddedModem.h"
#include "emulator/ModemEmulator.h"
#include "ims_application_service_v01.h"
#include "ims_settings_service_v01.h"
#include "mcx_host.h"
#include "support/LogCapture.h"
#include "support/McxObserved.h"
#include "service/HostLoop.h"

namespace {

using imstest::currentTid;
using imstest::imsaObject;
using imstest::imssObject;
using imstest::LogCapture;
using rcsservice::HostLoop;
using namespace std::chrono_literals;

// svcUp calls across instances, in order.
hostsync::Mutex gOrderLock;
hostsync::CondVar gOrderChanged;
std::vector<std::string> gOrder GUARDED_BY(gOrderLock);

bool waitForBringUps(size_t n) {
    hostsync::MutexLock l(gOrderLock);
    return gOrderChanged.waitFor(gOrderLock, 5s, [&]() REQUIRES(gOrderLock) { return gOrder.size() >= n; });
}
std::vector<std::string> bringUpOrder() {
    hostsync::MutexLock l(gOrderLock);
    return gOrder;
}

// A minimal client: opens its connection in svcUp and waits again after a loss.
class TestSvc : public ImsMcxSvc {
public:
    TestSvc(mcx_idl_service_object* obj, ImsCom& com, const char* name)
        : ImsMcxSvc(obj, com, name), mName(name) {}

    void svcUp() override {
        ups++;
        upTid = currentTid();
        mcx_service_info info;
        if (mcx_client_get_any_service(svcObj, &info) == MCX_NO_ERR) {
            mcx_client_init(&info, svcObj, nullptr, nullptr, &clientOsParams, &client);
        }
        hostsync::MutexLock l(gOrderLock);
        gOrder.push_back(mName);
        gOrderChanged.notifyAll();
    }
    void modemDown() override {
        downs++;
        downTid = currentTid();
        ImsMcxSvc::modemDown();
        registerForMcxSvcUp();
    }
    bool hasClient() const { return client != nullptr; }
    bool hasNotifier() const { return notifier != nullptr; }

    std::atomic<int> ups{0}, downs{0}, upTid{0}, downTid{0};

private:
    std::string mName;
};

class ImsMcxSvcTest : public ::testing::Test {
protected:
    void SetUp() override {
        hostsync::MutexLock l(gOrderLock);
        gOrder.clear();
    }
    void TearDown() override {
        loop.stop();  // the watchers must not be in use while they go
        watchers.clear();
    }
    TestSvc& make(mcx_idl_service_object* obj, const char* name) {
        watchers.push_back(std::make_unique<TestSvc>(obj, loop.com(), name));
        return *watchers.back();
    }
    // Destroys one watcher; only while the loop is stopped.
    void destroy(TestSvc& svc) {
        auto it = std::find_if(watchers.begin(), watchers.end(), [&](auto& w) { return w.get() == &svc; });
        watchers.erase(it);
    }
    // Waits for a watcher's status event to be handled on the loop.
    bool handled(const std::string& name, int value, size_t times = 1) {
        std::string line = "ImsMcxSvc[" + name + "]: handleImsSvcStatusEvent Service Up event " +
                           std::to_string(value) + " ";
        return log.waitFor(line, 5s, times) && loop.waitUntilIdle();
    }

    LogCapture log;
    mcxemu::ModemEmulator& modem = mcxemu::embeddedModem();
    HostLoop loop;
    std::vector<std::unique_ptr<TestSvc>> watchers;
};

TEST_F(ImsMcxSvcTest, TwoServicesAnnouncedAtOnce_SecondIsQueuedAndBroughtUpByTheFirst_BothAgainAfterARestart) {
    TestSvc& first = make(imssObject(), "First");
    EXPECT_TRUE(first.hasNotifier());
    TestSvc& second = make(imsaObject(), "Second");
    ASSERT_TRUE(log.waitFor("ImsMcxSvc[Second]: Another Service up event processing ", 5s)) << log.dump();
    loop.start();
    ASSERT_TRUE(handled("First", 1));
    for (TestSvc* svc : {&first, &second}) {
        EXPECT_EQ(svc->ups, 1);
        EXPECT_EQ(svc->upTid, loop.loopTid());
        EXPECT_TRUE(svc->hasClient());
        EXPECT_FALSE(svc->hasNotifier()) << "the wait is over";
    }
    EXPECT_EQ(log.count("ImsMcxSvc[Second]: handleImsSvcStatusEvent"), 0u)
        << "the queued one is never signalled through its own eventfd";
    EXPECT_EQ(bringUpOrder(), (std::vector<std::string>{"First", "Second"}));
    // The flag was cleared: after a modem restart both come up once more
    // (one of them signalled, the other queued again or signalled itself).
    // The old connections are released and the loss is handled on the loop.
    modem.restart();
    ASSERT_TRUE(waitForBringUps(4) && loop.waitUntilIdle());
    for (TestSvc* svc : {&first, &second}) {
        EXPECT_EQ(svc->downs, 1);
        EXPECT_EQ(svc->downTid, loop.loopTid());
        EXPECT_EQ(svc->ups, 2);
    }
    EXPECT_EQ(modem.connectionCount(IMSS_SERVICE_ID_V01), 1u);
    EXPECT_EQ(modem.connectionCount(IMSA_SERVICE_ID_V01), 1u);
}

TEST_F(ImsMcxSvcTest, SignalledWatcherDestroyedBeforeItsBringUp_LaterWatchersAreStillBroughtUp) {
    // A start that fails after the watcher was signalled, then a new start.
    modem.setServiceUp(IMSS_SERVICE_ID_V01, false);
    TestSvc& gone = make(imssObject(), "Gone");
    ImsMcxSvc::imsMcxNotifyCb(nullptr, imssObject(), MCX_CLIENT_SERVICE_COUNT_INC, &gone);
    destroy(gone);
    modem.setServiceUp(IMSS_SERVICE_ID_V01, true);
    TestSvc& next = make(imssObject(), "Next");
    loop.start();
    ASSERT_TRUE(handled("Next", 1)) << log.dump();
    EXPECT_EQ(next.ups, 1);
    EXPECT_FALSE(log.contains("ImsMcxSvc[Next]: Another Service up event processing "));
}

TEST_F(ImsMcxSvcTest, SignalledWatcherDestroyedWithOthersQueued_FirstQueuedTakesTheBringUpOver) {
    TestSvc& gone = make(imssObject(), "Gone");
    TestSvc& second = make(imsaObject(), "Second");
    TestSvc& third = make(imssObject(), "Third");
    ASSERT_TRUE(log.waitFor("ImsMcxSvc[Second]: Another Service up event processing ", 5s)) << log.dump();
    ASSERT_TRUE(log.waitFor("ImsMcxSvc[Third]: Another Service up event processing ", 5s)) << log.dump();
    destroy(gone);
    loop.start();
    ASSERT_TRUE(handled("Second", 1)) << "signalled through its own eventfd\n" << log.dump();
    ASSERT_TRUE(waitForBringUps(2));
    EXPECT_EQ(second.ups, 1);
    EXPECT_EQ(third.ups, 1);
    EXPECT_EQ(log.count("ImsMcxSvc[Third]: handleImsSvcStatusEvent"), 0u)
        << "the rest of the queue is brought up by the one that took over";
    EXPECT_EQ(bringUpOrder(), (std::vector<std::string>{"Second", "Third"}));
    // The flag was released after the hand-over: a later watcher is not queued.
    // Like every watcher it is built while the loop is not serving.
    loop.stop();
    TestSvc& later = make(imsaObject(), "Later");
    loop.start();
    ASSERT_TRUE(handled("Later", 1)) << log.dump();
    EXPECT_EQ(later.ups, 1);
    EXPECT_FALSE(log.contains("ImsMcxSvc[Later]: Another Service up event processing "));
}

TEST_F(ImsMcxSvcTest, UpAndErrorBeforeTheLoopReads_SumTo3AndAreIgnored) {
    TestSvc& svc = make(imssObject(), "Sum");
    loop.start();
    ASSERT_TRUE(handled("Sum", 1));
    loop.stop();
    // Error callbacks run one after the other on the library's thread: a
    // connection opened later loses its service later, so once its callback
    // has run, the watcher's has written its 2.
    mcx_service_info info;
    ASSERT_EQ(mcx_client_get_any_service(imssObject(), &info), MCX_NO_ERR);
    mcx_client_type barrier = nullptr;
    ASSERT_EQ(mcx_client_init(&info, imssObject(), nullptr, nullptr, nullptr, &barrier), MCX_NO_ERR);
    std::promise<void> barrierReached;
    ASSERT_EQ(mcx_client_register_error_cb(
                  barrier, [](mcx_client_type, int, void* p) { static_cast<std::promise<void>*>(p)->set_value(); },
                  &barrierReached),
              MCX_NO_ERR);
    ImsMcxSvc::imsMcxNotifyCb(nullptr, imssObject(), MCX_CLIENT_SERVICE_COUNT_INC, &svc);  // writes 1
    modem.setServiceUp(IMSS_SERVICE_ID_V01, false);  // the watcher's error callback writes 2
    ASSERT_EQ(barrierReached.get_future().wait_for(5s), std::future_status::ready);
    mcx_client_release(barrier);
    loop.start();
    ASSERT_TRUE(handled("Sum", 3));
    EXPECT_EQ(svc.downs, 0);
    EXPECT_EQ(svc.ups, 1);
}

TEST_F(ImsMcxSvcTest, ServiceDownAtStart_IsBroughtUpWhenItAppears) {
    modem.setServiceUp(IMSS_SERVICE_ID_V01, false);
    TestSvc& svc = make(imssObject(), "Late");
    loop.start();
    ASSERT_TRUE(loop.waitUntilIdle());
    EXPECT_EQ(svc.ups, 0);
    EXPECT_TRUE(svc.hasNotifier());
    modem.setServiceUp(IMSS_SERVICE_ID_V01, true);
    ASSERT_TRUE(handled("Late", 1));
    EXPECT_EQ(svc.ups, 1);
}

TEST_F(ImsMcxSvcTest, NullServiceObjectOrOddCallbacks_BringNothingUp) {
    TestSvc& svc = make(nullptr, "Null");
    EXPECT_FALSE(svc.hasNotifier());
    // Null data and events other than a count increase are only logged.
    ImsMcxSvc::imsMcxNotifyCb(nullptr, imssObject(), MCX_CLIENT_SERVICE_COUNT_INC, nullptr);
    ImsMcxSvc::imsMcxNotifyCb(nullptr, imssObject(), MCX_CLIENT_SERVICE_COUNT_DEC, &svc);
    ImsMcxSvc::imsMcxSvcErrorCb(nullptr, MCX_ERR_SERVICE_GONE, nullptr);
    EXPECT_TRUE(log.contains("ImsMcxSvc[] NULL in imsMcxNotifyCb"));
    EXPECT_TRUE(log.contains("ImsMcxSvc[Null] notify cb: unsupported service event"));
    EXPECT_TRUE(log.contains("ImsMcxSvc[] NULL in imsMcxSvcErrorCb"));
    // A bring-up forced on it reads 1 (the calls above wrote nothing), fails at
    // the service lookup and still clears the flag.
    ImsMcxSvc::imsMcxNotifyCb(nullptr, nullptr, MCX_CLIENT_SERVICE_COUNT_INC, &svc);
    loop.start();
    ASSERT_TRUE(handled("Null", 1)) << log.dump();
    EXPECT_EQ(svc.ups, 0);
    ImsMcxSvc::imsMcxNotifyCb(nullptr, nullptr, MCX_CLIENT_SERVICE_COUNT_INC, &svc);
    EXPECT_FALSE(log.contains("ImsMcxSvc[Null]: Another Service up event processing "));
}

}  // namespace
