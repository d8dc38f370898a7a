#include "service/HostLoop.h"

#include <stdint.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <vector>

#include "imsservice/ImsComHandler.h"

namespace {

using rcsservice::HostLoop;

struct Msg {
    int value;
};

// Forwards every item to a second handler, to check that idle covers chains.
class Relay : public imsComHandler<Msg> {
public:
    Relay(ImsCom& com, ImsTimer& timer, imsComHandler<Msg>* next)
        : imsComHandler<Msg>(com, timer), next(next) {}
    void handleEvent(Msg& m) override {
        seen.push_back(m.value);
        if (next != nullptr) next->postEvent(m);
    }
    imsComHandler<Msg>* next;
    std::vector<int> seen;  // loop thread only
};

TEST(HostLoopTest, RunOnLoop_RunsOnTheLoopThread) {
    HostLoop loop;
    loop.start();
    pid_t tid = 0;
    bool onLoop = false;
    loop.runOnLoop([&] {
        tid = gettid();
        onLoop = loop.isLoopThread();
        loop.runOnLoop([&] {});  // nested call runs inline instead of deadlocking
    });
    EXPECT_EQ(tid, loop.loopTid());
    EXPECT_NE(tid, gettid());
    EXPECT_TRUE(onLoop);
    EXPECT_FALSE(loop.isLoopThread());
}

TEST(HostLoopTest, WaitUntilIdle_CoversChainedPostsAndDueTimers) {
    ImsCom com;
    HostLoop loop(com);
    Relay last(com, loop.timer(), nullptr);
    Relay first(com, loop.timer(), &last);
    loop.start();
    static std::atomic<int> timerRuns;
    timerRuns = 0;
    for (int i = 0; i < 50; ++i) {
        Msg m{i};
        first.postEvent(m);
    }
    loop.timer().addTimedCallback(0, [](void*) { ++timerRuns; return -1; }, nullptr);
    ASSERT_TRUE(loop.waitUntilIdle());
    loop.runOnLoop([&] {
        EXPECT_EQ(first.seen.size(), 50u);
        EXPECT_EQ(last.seen.size(), 50u);
    });
    EXPECT_EQ(timerRuns.load(), 1);
    loop.stop();
}

TEST(HostLoopTest, BusyDescriptor_IsNeverIdle) {
    ImsCom com;
    HostLoop loop(com);
    int fd = eventfd(1, EFD_NONBLOCK);  // readable, and its callback never drains it
    com.addComEventHandler(fd, [](int, void*) {}, nullptr, nullptr, EPOLLIN);
    loop.start();
    EXPECT_FALSE(loop.waitUntilIdle(std::chrono::milliseconds(200)));
    loop.runOnLoop([&] { com.removeComEventHandler(fd); });
    EXPECT_TRUE(loop.waitUntilIdle());
    loop.stop();
    close(fd);
}

TEST(HostLoopTest, PostedWork_SurvivesStopAndRunsAfterRestart) {
    ImsCom com;
    HostLoop loop(com);
    EXPECT_FALSE(loop.waitUntilIdle(std::chrono::milliseconds(1)));  // not running
    int runs = 0;  // loop thread only, read after the loop stopped
    loop.post([&] { ++runs; });
    loop.start();
    ASSERT_TRUE(loop.waitUntilIdle());
    loop.stop();
    EXPECT_FALSE(loop.running());
    loop.post([&] { ++runs; });
    EXPECT_EQ(runs, 1);
    loop.start();
    ASSERT_TRUE(loop.waitUntilIdle());
    loop.stop();
    EXPECT_EQ(runs, 2);
}

TEST(HostLoopTest, TimerAddedFromAnotherThread_WakesABlockedLoop) {
    ImsCom com;
    HostLoop loop(com);
    loop.start();
    ASSERT_TRUE(loop.waitUntilIdle());  // the loop now blocks without time-out
    static std::atomic<int> runs;
    runs = 0;
    std::promise<void> ran;
    static std::promise<void>* ranPtr = &ran;
    loop.timer().addTimedCallback(1, [](void*) { ++runs; ranPtr->set_value(); return -1; }, nullptr);
    EXPECT_EQ(ran.get_future().wait_for(std::chrono::seconds(10)), std::future_status::ready);
    loop.stop();
    EXPECT_EQ(runs.load(), 1);
}

}  // namespace
