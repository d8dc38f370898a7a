#include "imsservice/ImsCom.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <stdint.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "support/LogCapture.h"

namespace {

using imstest::LogCapture;
using namespace std::chrono_literals;

// Records the callbacks the loop makes.
struct Calls {
    std::vector<int> reads;
    std::vector<int> closes;
    static void onRead(int fd, void* self) {
        static_cast<Calls*>(self)->reads.push_back(fd);
        uint64_t v;
        while (read(fd, &v, sizeof(v)) > 0) {
        }
    }
    static void onClose(int fd, void* self) { static_cast<Calls*>(self)->closes.push_back(fd); }
};

void signalFd(int fd) {
    uint64_t one = 1;
    ASSERT_EQ(write(fd, &one, sizeof(one)), 8);
}

bool isOpen(int fd) { return fcntl(fd, F_GETFD) != -1; }

TEST(ImsCom, AddComEventHandler_TwiceForOneFd_KeepsTheFirst) {
    LogCapture log;
    ImsCom com;
    ImsTimer timer(nullptr);
    Calls first, second;
    int fd = eventfd(0, EFD_NONBLOCK);
    EXPECT_TRUE(com.addComEventHandler(fd, Calls::onRead, &first, nullptr, EPOLLIN));
    EXPECT_TRUE(ImsCom::isApprovedFd(fd));
    EXPECT_FALSE(com.addComEventHandler(fd, Calls::onRead, &second, nullptr, EPOLLIN));
    EXPECT_TRUE(log.contains("fd=" + std::to_string(fd) + " is already in comHandlers"));

    signalFd(fd);
    com.processEvents(0, timer);
    EXPECT_EQ(first.reads, std::vector<int>{fd});
    EXPECT_TRUE(second.reads.empty());
    com.removeComEventHandler(fd);
    EXPECT_FALSE(ImsCom::isApprovedFd(fd));
    close(fd);
}

TEST(ImsCom, ProcessEvents_ServesAtMostFourDescriptorsPerPass) {
    LogCapture log;
    ImsCom com;
    ImsTimer timer(nullptr);
    Calls calls;
    std::vector<int> fds;
    for (int i = 0; i < 5; ++i) {
        fds.push_back(eventfd(0, EFD_NONBLOCK));
        com.addComEventHandler(fds.back(), Calls::onRead, &calls, nullptr, EPOLLIN);
        signalFd(fds.back());
    }
    com.processEvents(0, timer);
    EXPECT_EQ(calls.reads.size(), 4u);
    EXPECT_TRUE(log.contains("currEvent(0) pending (4)"));
    EXPECT_TRUE(log.contains("there are 4 file descriptor(s) with events pending"));
    com.processEvents(0, timer);
    ASSERT_EQ(calls.reads.size(), 5u);
    std::vector<int> served = calls.reads;
    std::sort(served.begin(), served.end());
    EXPECT_EQ(served, fds);
    for (int fd : fds) {
        com.removeComEventHandler(fd);
        close(fd);
    }
}

TEST(ImsCom, ReadableAndHungUp_IsTreatedAsHangUpOnly) {
    LogCapture log;
    ImsCom com;
    ImsTimer timer(nullptr);
    Calls calls;
    int p[2];
    ASSERT_EQ(pipe2(p, O_NONBLOCK), 0);
    ASSERT_EQ(write(p[1], "x", 1), 1);
    close(p[1]);  // the read end now reports EPOLLIN | EPOLLHUP
    com.addComEventHandler(p[0], Calls::onRead, &calls, Calls::onClose, EPOLLIN);

    com.processEvents(0, timer);
    EXPECT_TRUE(calls.reads.empty());
    EXPECT_EQ(calls.closes, std::vector<int>{p[0]});
    EXPECT_FALSE(isOpen(p[0]));
    EXPECT_FALSE(ImsCom::isApprovedFd(p[0]));
    EXPECT_TRUE(log.contains("[com] file descriptor '" + std::to_string(p[0]) + "' sent HUP."));
}

TEST(ImsCom, ReadableButUnapproved_IsRemovedAndClosed) {
    LogCapture log;
    ImsCom com;
    ImsTimer timer(nullptr);
    Calls calls;
    int fd = eventfd(0, EFD_NONBLOCK);
    com.addComEventHandler(fd, Calls::onRead, &calls, Calls::onClose, EPOLLIN);
    ImsCom::remApprovedFd(fd);
    EXPECT_TRUE(log.contains("ImsCom::remApprovedFd() success"));
    signalFd(fd);

    com.processEvents(0, timer);
    EXPECT_TRUE(calls.reads.empty());
    EXPECT_EQ(calls.closes, std::vector<int>{fd});
    EXPECT_FALSE(isOpen(fd));
    EXPECT_TRUE(log.contains("file descriptor " + std::to_string(fd) +
                             " is not on the approved list, cannot process event"));
}

TEST(ImsCom, RemoveUnknownFd_RunsNoCallbackAndLeavesNothingBehind) {
    LogCapture log;
    ImsCom com;
    ImsTimer timer(nullptr);
    com.removeComEventHandler(12345);
    EXPECT_TRUE(log.contains("ImsCom::removeComEventHandler(int fd) EX"));
    EXPECT_FALSE(log.contains("comHandlers.erase"));
    EXPECT_FALSE(log.contains("ImsCom::remApprovedFd() success"));
    // A later registration of that number works: nothing was left in the table.
    int fd = eventfd(0, EFD_NONBLOCK);
    EXPECT_TRUE(com.addComEventHandler(fd, nullptr, nullptr, nullptr, EPOLLIN));
    com.removeComEventHandler(fd);
    close(fd);
}

TEST(ImsCom, NeitherReadableNorHungUp_IsReportedAndStaysRegistered) {
    LogCapture log;
    ImsCom com;
    ImsTimer timer(nullptr);
    Calls calls;
    int fd = eventfd(0, EFD_NONBLOCK);  // always writable
    com.addComEventHandler(fd, Calls::onRead, &calls, nullptr, EPOLLOUT);
    com.processEvents(0, timer);
    EXPECT_TRUE(log.contains("Unhandled epoll event: EPOLLOUT  [flags 04]")) << log.dump();
    EXPECT_TRUE(calls.reads.empty());
    EXPECT_TRUE(isOpen(fd));
    EXPECT_TRUE(ImsCom::isApprovedFd(fd));
    com.removeComEventHandler(fd);
    close(fd);
}

TEST(ImsCom, TimeoutWithNothingReady_StillRunsDueTimers) {
    LogCapture log;
    ImsCom com;
    ImsTimer timer(nullptr);
    static int runs;
    runs = 0;
    timer.addTimedCallback(0, [](void*) { ++runs; return -1; }, nullptr);
    com.processEvents(0, timer);
    EXPECT_EQ(runs, 1);
    EXPECT_TRUE(log.contains("waiting on events (0ms)"));
    EXPECT_TRUE(log.contains("currEvent(0) pending (0)"));
}

TEST(ImsCom, TimersRunBeforeDescriptorsAreServed) {
    LogCapture log;
    ImsCom com;
    ImsTimer timer(nullptr);
    Calls calls;
    int fd = eventfd(0, EFD_NONBLOCK);
    com.addComEventHandler(fd, Calls::onRead, &calls, nullptr, EPOLLIN);
    timer.addTimedCallback(0, [](void*) { return -1; }, nullptr);
    signalFd(fd);
    com.processEvents(0, timer);
    int timerAt = log.indexOf("Callback triggered - ");
    int fdAt = log.indexOf("calling FD: " + std::to_string(fd));
    ASSERT_GE(timerAt, 0);
    EXPECT_LT(timerAt, fdAt);
    com.removeComEventHandler(fd);
    close(fd);
}

void onSignal(int) {}

TEST(ImsCom, InterruptedWait_SkipsTheTimers) {
    struct sigaction sa = {};
    sa.sa_handler = onSignal;  // no SA_RESTART; epoll_wait is never restarted anyway
    sigaction(SIGUSR1, &sa, nullptr);
    ImsCom com;
    ImsTimer timer(nullptr);
    static std::atomic<int> runs;
    runs = 0;
    timer.addTimedCallback(0, [](void*) { ++runs; return -1; }, nullptr);

    std::promise<pthread_t> started;
    std::promise<void> returned;
    std::promise<void> mayExit;
    std::thread loop([&] {
        started.set_value(pthread_self());
        com.processEvents(-1, timer);
        returned.set_value();
        mayExit.get_future().wait();  // stays alive while it may still be signalled
    });
    pthread_t tid = started.get_future().get();
    // A signal that lands just before the wait is lost to it; repeat until one
    // interrupts the wait (each repetition waits for the loop, not for time).
    auto returnedFuture = returned.get_future();
    while (returnedFuture.wait_for(20ms) != std::future_status::ready) pthread_kill(tid, SIGUSR1);
    mayExit.set_value();
    loop.join();
    EXPECT_EQ(runs.load(), 0);
    EXPECT_EQ(timer.size(), 1u);
}

TEST(ImsCom, Wake_UnblocksAWaitAndIsDrained) {
    LogCapture log;
    ImsCom com;
    ImsTimer timer(nullptr);
    auto pass = std::async(std::launch::async, [&] { com.processEvents(-1, timer); });
    ASSERT_TRUE(log.waitFor("waiting on events (-1ms)", 5s));
    com.wake();
    ASSERT_EQ(pass.wait_for(10s), std::future_status::ready);
    EXPECT_EQ(log.count("ImsCom::clearRead called"), 1u);

    // Drained: the next pass finds nothing to serve.
    com.processEvents(0, timer);
    EXPECT_EQ(log.count("ImsCom::clearRead called"), 1u);
    EXPECT_EQ(log.count("currEvent(0) pending (0)"), 1u);
}

// The table's lock is not held during callbacks: a callback may remove handlers,
// its own included, and close callbacks may use the loop too.
TEST(ImsCom, Callback_MayRemoveItsOwnHandler) {
    ImsCom com;
    ImsTimer timer(nullptr);
    struct Ctx {
        ImsCom* com;
        int closes = 0;
    } ctx{&com};
    int fd = eventfd(0, EFD_NONBLOCK);
    com.addComEventHandler(
        fd, [](int f, void* p) { static_cast<Ctx*>(p)->com->removeComEventHandler(f); }, &ctx,
        [](int f, void* p) {
            Ctx* c = static_cast<Ctx*>(p);
            ++c->closes;
            EXPECT_FALSE(c->com->addComEventHandler(f, nullptr, nullptr, nullptr, EPOLLIN));
        },
        EPOLLIN);
    signalFd(fd);
    com.processEvents(0, timer);
    EXPECT_EQ(ctx.closes, 1);
    EXPECT_FALSE(ImsCom::isApprovedFd(fd));
    EXPECT_FALSE(com.hasReadyDescriptors());
    close(fd);
}

}  // namespace
