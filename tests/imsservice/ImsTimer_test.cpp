#include "imsservice/ImsTimer.h"

#include <limits.h>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "imsservice/ExpirableTimer.h"
#include "support/LogCapture.h"

namespace {

using imstest::LogCapture;

// A callback whose results are scripted; counts its runs.
struct Script {
    std::vector<int> results;
    size_t runs = 0;
    static int cb(void* self) {
        Script* s = static_cast<Script*>(self);
        int rc = s->runs < s->results.size() ? s->results[s->runs] : -1;
        ++s->runs;
        return rc;
    }
};

// Reads the queue when told, as a host's loop would: this must not deadlock.
struct CountingMonitor : ITimerMonitor {
    ImsTimer* timer = nullptr;
    int calls = 0;
    int lastTimeout = -2;
    void nextEventChanged() override {
        ++calls;
        lastTimeout = timer->timeUntilNextEvent();
    }
};

TEST(ImsTimerTest, ZeroDelay_IsDueAtOnce_AndZeroResultRunsAgainInTheSameCall) {
    ImsTimer timer(nullptr);
    Script s{{0, 0, 0, -1}};
    EXPECT_EQ(timer.addTimedCallback(10, nullptr, nullptr), -1);  // no callback: refused
    EXPECT_EQ(timer.timeUntilNextEvent(), -1);
    EXPECT_EQ(timer.addTimedCallback(0, Script::cb, &s), 1);
    EXPECT_EQ(timer.timeUntilNextEvent(), 0);
    timer.processEvents();
    EXPECT_EQ(s.runs, 4u);
    EXPECT_EQ(timer.timeUntilNextEvent(), -1);  // -1 from the callback: finished
}

TEST(ImsTimerTest, CallbackResult_SetsNextInterval) {
    LogCapture log;
    ExpirableTimer timer;
    Script s{{300, 0, -5, -1}};
    int id = timer.addTimedCallback(0, Script::cb, &s);
    auto expectDueWithin300 = [&] {
        int left = timer.timeUntilNextEvent();
        EXPECT_GT(left, 200);
        EXPECT_LE(left, 300);
    };

    timer.processEvents();  // 300: a new interval
    ASSERT_EQ(s.runs, 1u);
    expectDueWithin300();

    timer.expireAll();
    timer.processEvents();  // 0: the same interval again
    ASSERT_EQ(s.runs, 2u);
    expectDueWithin300();

    timer.expireAll();
    timer.processEvents();  // -5: treated as 0, with a message
    ASSERT_EQ(s.runs, 3u);
    EXPECT_TRUE(log.contains("Invalid delay (-5), using 300 instead"));
    expectDueWithin300();

    timer.removeTimedCallback(id);  // re-queued under its first id every time
    EXPECT_EQ(timer.size(), 0u);
}

TEST(ImsTimerTest, Ids_WrapFromMaximumToOne) {
    ExpirableTimer timer;
    Script s;
    timer.setLastId(2147483645);
    EXPECT_EQ(timer.addTimedCallback(100, Script::cb, &s), 2147483646);
    EXPECT_EQ(timer.addTimedCallback(100, Script::cb, &s), 1);
    EXPECT_EQ(timer.getNextTimerId(), 2);
}

// Remaining time is rounded up to whole milliseconds, so a timer never fires early.
TEST(ImsTimerTest, TimespecArithmetic_RoundsUpCarriesAndBorrows) {
    EXPECT_EQ(ImsTimer::roundUpToMs({0, 1}), 1);
    EXPECT_EQ(ImsTimer::roundUpToMs({0, 1000000}), 1);
    EXPECT_EQ(ImsTimer::roundUpToMs({0, 1000001}), 2);
    EXPECT_EQ(ImsTimer::roundUpToMs({2, 999999999}), 3000);
    EXPECT_EQ(ImsTimer::roundUpToMs({0, 0}), 0);
    EXPECT_EQ(ImsTimer::roundUpToMs({-1, 999999999}), 0);
    EXPECT_EQ(ImsTimer::roundUpToMs({5000000, 0}), INT_MAX);

    timespec t{1, 999000000};
    ImsTimer::addDelayToTimeval(1, t);
    EXPECT_EQ(t.tv_sec, 2);
    EXPECT_EQ(t.tv_nsec, 0);
    ImsTimer::addDelayToTimeval(2500, t);
    EXPECT_EQ(t.tv_sec, 4);
    EXPECT_EQ(t.tv_nsec, 500000000);

    timespec out;
    ImsTimer::subTimeSpec({3, 100}, {1, 200}, out);
    EXPECT_EQ(out.tv_sec, 1);
    EXPECT_EQ(out.tv_nsec, 999999900);
    ImsTimer::addTimeSpec({1, 600000000}, {1, 600000000}, out);
    EXPECT_EQ(out.tv_sec, 3);
    EXPECT_EQ(out.tv_nsec, 200000000);

    EXPECT_EQ(ImsTimer::cmpTimeSpec({1, 5}, {2, 0}), -1);
    EXPECT_EQ(ImsTimer::cmpTimeSpec({2, 5}, {2, 4}), 1);
    EXPECT_EQ(ImsTimer::cmpTimeSpec({2, 5}, {2, 5}), 0);
}

TEST(ImsTimerTest, Monitor_IsToldOnlyWhenTheNewEventIsEarliest) {
    CountingMonitor monitor;
    ImsTimer timer(&monitor);
    monitor.timer = &timer;
    Script s;
    timer.addTimedCallback(500, Script::cb, &s);
    EXPECT_EQ(monitor.calls, 1);
    EXPECT_GT(monitor.lastTimeout, 400);
    timer.addTimedCallback(1000, Script::cb, &s);
    EXPECT_EQ(monitor.calls, 1);
    timer.addTimedCallback(100, Script::cb, &s);
    EXPECT_EQ(monitor.calls, 2);
    EXPECT_LE(monitor.lastTimeout, 100);
}

// The queue's lock is free while a callback runs, so callbacks may use the queue.
TEST(ImsTimerTest, Callback_MayAddAndRemoveTimers) {
    ImsTimer timer(nullptr);
    struct Ctx {
        ImsTimer* timer;
        int laterId;
        int secondRuns = 0;
    } ctx{&timer, 0};
    ctx.laterId = timer.addTimedCallback(60000, [](void*) { return -1; }, nullptr);
    timer.addTimedCallback(
        0,
        [](void* p) {
            Ctx* c = static_cast<Ctx*>(p);
            c->timer->removeTimedCallback(c->laterId);
            c->timer->addTimedCallback(
                0, [](void* q) { ++static_cast<Ctx*>(q)->secondRuns; return -1; }, c);
            return -1;
        },
        &ctx);
    timer.processEvents();
    EXPECT_EQ(ctx.secondRuns, 1);
    EXPECT_EQ(timer.size(), 0u);
}

TEST(ImsTimerTest, AddFromAnotherThread_WhileLoopProcesses_LosesNothing) {
    ImsTimer timer(nullptr);
    static std::atomic<int> runs{0};
    runs = 0;
    const int kTimers = 2000;
    std::thread adder([&] {
        for (int i = 0; i < kTimers; ++i) {
            timer.addTimedCallback(0, [](void*) { ++runs; return -1; }, nullptr);
        }
    });
    while (runs.load() < kTimers) {
        timer.processEvents();
        if (runs.load() < kTimers) std::this_thread::yield();
    }
    adder.join();
    EXPECT_EQ(runs.load(), kTimers);
    EXPECT_EQ(timer.size(), 0u);
}

// The queue is a binary heap: removing an event moves the last one into its
// place, from where it may have to rise or sink. Here the heap is
// [1, 4, 2, 5, 6, 7, 3]: removing 5 puts 3 under 4, where it must rise;
// removing 1 then puts 7 at the top, where it must sink.
TEST(ImsTimerTest, RemovalFromTheMiddle_RestoresEarliestFirstOrder) {
    ImsTimer timer(nullptr);
    static std::vector<long> ran;
    ran.clear();
    std::vector<int> ids;
    for (long order : {1, 4, 2, 5, 6, 7, 3}) {
        // All overdue, 100 ms apart, so the time spent adding cannot reorder them.
        ids.push_back(timer.addTimedCallback(
            (order - 100) * 100, [](void* d) { ran.push_back(reinterpret_cast<intptr_t>(d)); return -1; },
            reinterpret_cast<void*>(static_cast<intptr_t>(order))));
    }
    timer.removeTimedCallback(ids[3]);
    timer.removeTimedCallback(ids[0]);
    timer.removeTimedCallback(999999);  // unknown: nothing changes
    EXPECT_EQ(timer.size(), 5u);
    timer.processEvents();
    EXPECT_EQ(ran, (std::vector<long>{2, 3, 4, 6, 7}));
}

}  // namespace
