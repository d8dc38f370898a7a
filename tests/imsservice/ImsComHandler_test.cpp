#include "imsservice/ImsComHandler.h"

#include <stdint.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <hostsync/Mutex.h>
#include <string>
#include <thread>
#include <vector>

#include "hardware_legacy/power_host.h"
#include "imsservice/ExpirableTimer.h"
#include "support/LogCapture.h"
#include "service/HostLoop.h"

namespace {

using imstest::LogCapture;
using rcsservice::HostLoop;
using namespace std::chrono_literals;

const char kLock[] = "imsComHandler_wakeLock_";

// Each test uses its own event type, so each has its own wake-lock wrapper even
// when the whole binary runs in one process.
template <int N>
struct Ev {
    int value;
    std::string text;  // the value's digits: items are copied by value, strings included
};

template <int N>
class Recorder : public imsComHandler<Ev<N>> {
public:
    using Base = imsComHandler<Ev<N>>;
    Recorder(ImsCom& com, ImsTimer& timer) : Base(com, timer) {}

    void handleEvent(Ev<N>& item) override {
        EXPECT_EQ(item.text, std::to_string(item.value));
        hostsync::MutexLock guard(lock);
        handled.push_back(item.value);
        if (onEvent) onEvent(item);
    }
    std::vector<int> values() {
        hostsync::MutexLock guard(lock);
        return handled;
    }
    void post(int v) {
        Ev<N> e{v, std::to_string(v)};
        Base::postEvent(e);
    }
    int eventFd() const { return Base::fd; }
    static wakelockWrapper& wakeLock() { return Base::mWakeLock; }

    std::function<void(Ev<N>&)> onEvent;
    hostsync::Mutex lock;
    std::vector<int> handled GUARDED_BY(lock);
};

class ImsComHandlerTest : public ::testing::Test {
protected:
    void SetUp() override {
        power_host::useSysfsDir("/nonexistent");  // never real kernel wake locks in tests
        power_host::reset();
    }
    void TearDown() override { power_host::useSysfsDir(""); }

    LogCapture log;
    ImsCom com;
    ExpirableTimer timer;  // makes the guard timer due without waiting a second
};

TEST_F(ImsComHandlerTest, ThreePostsBeforeTheLoopRuns_AreHandledInOneCallInOrder) {
    Recorder<1> h(com, timer);
    h.post(1);
    EXPECT_TRUE(power_host::isWakeLockHeld(kLock));  // taken by the first post
    // ... which arms a guard timer of a second.
    ASSERT_EQ(timer.size(), 1u);
    int left = timer.timeUntilNextEvent();
    EXPECT_GT(left, 900);
    EXPECT_LE(left, 1000);
    EXPECT_NE(Recorder<1>::wakeLock().guardTimerId(), 0);
    h.post(2);
    h.post(3);
    EXPECT_EQ(power_host::acquireCount(), 1);
    EXPECT_EQ(Recorder<1>::wakeLock().pendingCount(), 2);
    EXPECT_EQ(timer.size(), 1u);  // one guard timer for the three posts

    com.processEvents(0, timer);
    EXPECT_EQ(h.values(), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(log.count("imsComHandler cb start"), 1u);  // one call for the three

    // Released right after the batch, not by the guard timer, still queued.
    EXPECT_FALSE(power_host::isWakeLockHeld(kLock));
    EXPECT_EQ(timer.size(), 1u);
}

TEST_F(ImsComHandlerTest, PostDuringABatch_WaitsAndIsHandledAtTheNextSignal) {
    HostLoop loop;
    Recorder<2> h(loop.com(), loop.timer());
    std::promise<void> inBatch;
    std::promise<void> release;
    std::shared_future<void> releaseFuture = release.get_future().share();
    std::vector<size_t> cbStartsSeen;  // loop thread only
    h.onEvent = [&](Ev<2>& e) {
        cbStartsSeen.push_back(log.count("imsComHandler cb start"));
        if (e.value == 1) {
            inBatch.set_value();
            releaseFuture.wait();
        }
    };
    loop.start();
    h.post(1);
    inBatch.get_future().wait();

    std::thread poster([&] { h.post(2); });
    ASSERT_TRUE(log.waitFor("imsComHandler postEvent start", 5s, 2));
    release.set_value();
    poster.join();
    ASSERT_TRUE(loop.waitUntilIdle());
    loop.stop();

    EXPECT_EQ(h.values(), (std::vector<int>{1, 2}));
    ASSERT_EQ(cbStartsSeen.size(), 2u);
    EXPECT_EQ(cbStartsSeen[1], cbStartsSeen[0] + 1);  // a second cb call handled item 2
}

// The guard keeps the lock for another second while posts keep arriving and
// releases it after a quiet second when the loop did not.
TEST_F(ImsComHandlerTest, GuardTimer_RepeatsWhilePostsArriveThenReleases) {
    Recorder<4> h(com, timer);
    h.post(1);
    h.post(2);  // held already: counted

    timer.expireAll();
    timer.processEvents();  // count was 1: reset, same interval again
    EXPECT_TRUE(power_host::isWakeLockHeld(kLock));
    EXPECT_EQ(Recorder<4>::wakeLock().pendingCount(), 0);
    EXPECT_EQ(timer.size(), 1u);

    timer.expireAll();
    timer.processEvents();  // a quiet interval: the guard releases and stops
    EXPECT_FALSE(power_host::isWakeLockHeld(kLock));
    EXPECT_EQ(timer.size(), 0u);
    EXPECT_EQ(Recorder<4>::wakeLock().guardTimerId(), 0);

    // The items are still handled at their signal; nothing is released twice.
    com.processEvents(0, timer);
    EXPECT_EQ(h.values(), (std::vector<int>{1, 2}));
    EXPECT_EQ(power_host::releaseCount(), 1);
    EXPECT_EQ(wakelockWrapper::wakelockTimerExprCb(nullptr), -1);

    // Once the loop has released the lock before the guard fired, the guard
    // keeps its old id and later posts arm no new guard: the loop alone releases.
    h.post(3);
    int guardId = Recorder<4>::wakeLock().guardTimerId();
    EXPECT_NE(guardId, 0);
    com.processEvents(0, timer);
    EXPECT_FALSE(power_host::isWakeLockHeld(kLock));
    timer.expireAll();
    timer.processEvents();
    EXPECT_EQ(timer.size(), 0u);
    EXPECT_EQ(Recorder<4>::wakeLock().guardTimerId(), guardId);

    h.post(4);
    EXPECT_TRUE(power_host::isWakeLockHeld(kLock));
    EXPECT_EQ(timer.size(), 0u);
    com.processEvents(0, timer);
    EXPECT_FALSE(power_host::isWakeLockHeld(kLock));
    EXPECT_EQ(h.values(), (std::vector<int>{1, 2, 3, 4}));
}

TEST_F(ImsComHandlerTest, FailedSignal_ReleasesTheLockAndKeepsTheItem) {
    Recorder<6> h(com, timer);
    // An eventfd refuses a write that would overflow its counter.
    uint64_t nearlyFull = 0xfffffffffffffffeULL;
    ASSERT_EQ(write(h.eventFd(), &nearlyFull, sizeof(nearlyFull)), 8);

    h.post(7);
    EXPECT_FALSE(power_host::isWakeLockHeld(kLock));

    com.processEvents(0, timer);  // the counter was readable anyway
    EXPECT_EQ(h.values(), std::vector<int>{7});
}

TEST_F(ImsComHandlerTest, WakeLockFailures_AreLoggedAndStateKept) {
    Recorder<7> h(com, timer);
    power_host::failNextAcquire(EIO);
    h.post(1);
    EXPECT_TRUE(log.contains("acquireWakelock: imsComHandler: failed to acquire wake lock [5:"))
        << log.dump();
    EXPECT_TRUE(Recorder<7>::wakeLock().isHeld());  // marked held even so

    // The platform holds no such lock, so the release at the end of the batch fails.
    com.processEvents(0, timer);
    EXPECT_TRUE(log.contains("releaseWakelock: imsComHandler: release wakelock failed. "));
    EXPECT_TRUE(Recorder<7>::wakeLock().isHeld());
    EXPECT_EQ(h.values(), std::vector<int>{1});
}

TEST_F(ImsComHandlerTest, SignalWithEmptyQueue_StillReleasesTheLock) {
    Recorder<8> h(com, timer);
    Recorder<8>::wakeLock().acquireWakelock(timer);
    uint64_t one = 1;
    ASSERT_EQ(write(h.eventFd(), &one, sizeof(one)), 8);
    com.processEvents(0, timer);
    EXPECT_FALSE(power_host::isWakeLockHeld(kLock));
    EXPECT_TRUE(h.values().empty());
}

TEST_F(ImsComHandlerTest, Destruction_UnregistersTheEventFd) {
    int fd;
    {
        Recorder<9> h(com, timer);
        fd = h.eventFd();
        h.post(1);  // dropped with the handler
        EXPECT_TRUE(ImsCom::isApprovedFd(fd));
    }
    EXPECT_FALSE(ImsCom::isApprovedFd(fd));
    EXPECT_FALSE(com.hasReadyDescriptors());
}

TEST_F(ImsComHandlerTest, ManyPostingThreads_EachThreadsOrderIsKept) {
    HostLoop loop;
    Recorder<10> h(loop.com(), loop.timer());
    loop.start();
    const int kThreads = 4;
    const int kPerThread = 300;
    std::vector<std::thread> posters;
    for (int t = 0; t < kThreads; ++t) {
        posters.emplace_back([&h, t] {
            for (int i = 0; i < kPerThread; ++i) h.post(t * 100000 + i);
        });
    }
    for (auto& t : posters) t.join();
    ASSERT_TRUE(loop.waitUntilIdle());
    loop.stop();

    std::vector<int> values = h.values();
    ASSERT_EQ(values.size(), static_cast<size_t>(kThreads * kPerThread));
    std::vector<int> next(kThreads, 0);
    for (int v : values) {
        int t = v / 100000;
        EXPECT_EQ(v % 100000, next[t]);
        next[t] = v % 100000 + 1;
    }
    // The loop released the lock after the last batch or the guard did; either way
    // nothing is left held with an empty queue.
    EXPECT_FALSE(power_host::isWakeLockHeld(kLock));
}

}  // namespace
