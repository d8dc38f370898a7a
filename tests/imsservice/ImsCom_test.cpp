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

// A loop, its timer queue and the event fds a test registers, removed and
// closed again at the end.
class ImsComTest : public ::testing::Test {
protected:
    void TearDown() override {
        for (int fd : mFds) {
            com.removeComEventHandler(fd);
            close(fd);
        }
    }
    int addEventFd(Calls* calls, uint32_t events = EPOLLIN, bool withClose = false) {
        int fd = eventfd(0, EFD_NONBLOCK);
        com.addComEventHandler(fd, Calls::onRead, calls, withClose ? Calls::onClose : nullptr, events);
        mFds.push_back(fd);
        return fd;
    }

    LogCapture log;
    ImsCom com;
    ImsTimer timer{nullptr};
    Calls calls;
    std::vector<int> mFds;
};

TEST_F(ImsComTest, AddComEventHandler_TwiceForOneFd_KeepsTheFirst) {
    Calls second;
    int fd = addEventFd(&calls);
    EXPECT_TRUE(ImsCom::isApprovedFd(fd));
    EXPECT_FALSE(com.addComEventHandler(fd, Calls::onRead, &second, nullptr, EPOLLIN));
    EXPECT_TRUE(log.contains("fd=" + std::to_string(fd) + " is already in comHandlers"));

    signalFd(fd);
    com.processEvents(0, timer);
    EXPECT_EQ(calls.reads, std::vector<int>{fd});
    EXPECT_TRUE(second.reads.empty());
    com.removeComEventHandler(fd);
    EXPECT_FALSE(ImsCom::isApprovedFd(fd));
}

TEST_F(ImsComTest, ProcessEvents_ServesAtMostFourDescriptorsPerPass) {
    std::vector<int> fds;
    for (int i = 0; i < 5; ++i) {
        fds.push_back(addEventFd(&calls));
        signalFd(fds.back());
    }
    com.processEvents(0, timer);
    EXPECT_EQ(calls.reads.size(), 4u);
    com.processEvents(0, timer);
    std::vector<int> served = calls.reads;
    std::sort(served.begin(), served.end());
    EXPECT_EQ(served, fds);
}

// A hung-up descriptor and one taken off the approved list are closed through
// their close callback, never read, although both are readable.
TEST_F(ImsComTest, HungUpOrUnapproved_IsClosedWithoutBeingRead) {
    int p[2];
    ASSERT_EQ(pipe2(p, O_NONBLOCK), 0);
    ASSERT_EQ(write(p[1], "x", 1), 1);
    close(p[1]);  // the read end now reports EPOLLIN | EPOLLHUP
    com.addComEventHandler(p[0], Calls::onRead, &calls, Calls::onClose, EPOLLIN);
    int unapproved = eventfd(0, EFD_NONBLOCK);
    com.addComEventHandler(unapproved, Calls::onRead, &calls, Calls::onClose, EPOLLIN);
    ImsCom::remApprovedFd(unapproved);
    EXPECT_TRUE(log.contains("ImsCom::remApprovedFd() success"));
    signalFd(unapproved);

    com.processEvents(0, timer);
    EXPECT_TRUE(calls.reads.empty());
    std::sort(calls.closes.begin(), calls.closes.end());
    EXPECT_EQ(calls.closes, (std::vector<int>{std::min(p[0], unapproved), std::max(p[0], unapproved)}));
    for (int fd : {p[0], unapproved}) {
        EXPECT_FALSE(isOpen(fd));
        EXPECT_FALSE(ImsCom::isApprovedFd(fd));
    }
    EXPECT_TRUE(log.contains("[com] file descriptor '" + std::to_string(p[0]) + "' sent HUP."));
    EXPECT_TRUE(log.contains("file descriptor " + std::to_string(unapproved) +
                             " is not on the approved list, cannot process event"));
}

TEST_F(ImsComTest, RemoveUnknownFd_LeavesTheRegisteredOnesServed) {
    int fd = addEventFd(&calls, EPOLLIN, true);
    com.removeComEventHandler(12345);
    EXPECT_FALSE(ImsCom::isApprovedFd(12345));
    signalFd(fd);
    com.processEvents(0, timer);
    EXPECT_EQ(calls.reads, std::vector<int>{fd});
    EXPECT_TRUE(calls.closes.empty());
}

TEST_F(ImsComTest, NeitherReadableNorHungUp_IsReportedAndStaysRegistered) {
    int fd = addEventFd(&calls, EPOLLOUT);  // an eventfd is always writable
    com.processEvents(0, timer);
    EXPECT_TRUE(log.contains("Unhandled epoll event: EPOLLOUT  [flags 04]")) << log.dump();
    EXPECT_TRUE(calls.reads.empty());
    EXPECT_TRUE(isOpen(fd));
    EXPECT_TRUE(ImsCom::isApprovedFd(fd));
}

TEST_F(ImsComTest, DueTimers_RunWithNothingReadyAndBeforeDescriptors) {
    // What ran, in order: 0 for the timer, the descriptor for its read.
    static std::vector<int> ran;
    ran.clear();
    auto onTimer = [](void*) {
        ran.push_back(0);
        return -1;
    };
    timer.addTimedCallback(0, onTimer, nullptr);
    com.processEvents(0, timer);
    EXPECT_EQ(ran, std::vector<int>{0});

    ran.clear();
    int fd = eventfd(0, EFD_NONBLOCK);
    mFds.push_back(fd);
    com.addComEventHandler(
        fd,
        [](int f, void*) {
            ran.push_back(f);
            uint64_t v;
            while (read(f, &v, sizeof(v)) > 0) {
            }
        },
        nullptr, nullptr, EPOLLIN);
    timer.addTimedCallback(0, onTimer, nullptr);
    signalFd(fd);
    com.processEvents(0, timer);
    EXPECT_EQ(ran, (std::vector<int>{0, fd}));
}

void onSignal(int) {}

TEST_F(ImsComTest, InterruptedWait_SkipsTheTimers) {
    struct sigaction sa = {};
    sa.sa_handler = onSignal;  // no SA_RESTART; epoll_wait is never restarted anyway
    sigaction(SIGUSR1, &sa, nullptr);
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

TEST_F(ImsComTest, Wake_UnblocksAWaitAndIsDrained) {
    auto pass = std::async(std::launch::async, [&] { com.processEvents(-1, timer); });
    ASSERT_TRUE(log.waitFor("waiting on events (-1ms)", 5s));
    com.wake();
    ASSERT_EQ(pass.wait_for(10s), std::future_status::ready);
    // Drained: nothing is left ready for the next pass.
    EXPECT_FALSE(com.hasReadyDescriptors());
}

// The table's lock is not held during callbacks: a callback may remove handlers,
// its own included, and close callbacks may use the loop too.
TEST_F(ImsComTest, Callback_MayRemoveItsOwnHandler) {
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
