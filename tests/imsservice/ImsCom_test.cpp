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

// What ran, in order: the descriptor of each read and close callback, and 0
// for each timer (eventfds are never 0).
std::vector<int> gReads, gCloses;

void onRead(int fd, void*) {
    gReads.push_back(fd);
    uint64_t v;
    while (read(fd, &v, sizeof(v)) > 0) {
    }
}
void onClose(int fd, void*) { gCloses.push_back(fd); }
int onTimer(void*) {
    gReads.push_back(0);
    return -1;
}

void signalFd(int fd) {
    uint64_t one = 1;
    ASSERT_EQ(write(fd, &one, sizeof(one)), 8);
}

bool isOpen(int fd) { return fcntl(fd, F_GETFD) != -1; }

// A loop, its timer queue and the event fds a test registers, removed and
// closed again at the end.
class ImsComTest : public ::testing::Test {
protected:
    void SetUp() override {
        gReads.clear();
        gCloses.clear();
    }
    void TearDown() override {
        for (int fd : mFds) {
            com.removeComEventHandler(fd);
            close(fd);
        }
    }
    int addEventFd(uint32_t events = EPOLLIN) {
        int fd = eventfd(0, EFD_NONBLOCK);
        com.addComEventHandler(fd, onRead, nullptr, onClose, events);
        mFds.push_back(fd);
        return fd;
    }

    LogCapture log;
    ImsCom com;
    ImsTimer timer{nullptr};
    std::vector<int> mFds;
};

// The first registration of a descriptor stays; removing one never registered
// touches no other handler.
TEST_F(ImsComTest, Registration_KeepsTheFirstHandlerAndIgnoresUnknownRemovals) {
    int fd = addEventFd();
    EXPECT_TRUE(ImsCom::isApprovedFd(fd));
    EXPECT_FALSE(com.addComEventHandler(fd, [](int, void*) { FAIL() << "second handler called"; }, nullptr,
                                        nullptr, EPOLLIN));
    com.removeComEventHandler(12345);
    EXPECT_FALSE(ImsCom::isApprovedFd(12345));

    signalFd(fd);
    com.processEvents(0, timer);
    EXPECT_EQ(gReads, std::vector<int>{fd});
    EXPECT_TRUE(gCloses.empty());
    com.removeComEventHandler(fd);
    EXPECT_EQ(gCloses, std::vector<int>{fd});
    EXPECT_FALSE(ImsCom::isApprovedFd(fd));
}

// Due timers run first in every pass, with nothing ready too; one pass serves
// at most four descriptors, the next pass the rest.
TEST_F(ImsComTest, ProcessEvents_RunsTimersFirstThenAtMostFourDescriptors) {
    timer.addTimedCallback(0, onTimer, nullptr);
    com.processEvents(0, timer);
    EXPECT_EQ(gReads, std::vector<int>{0});

    gReads.clear();
    std::vector<int> fds;
    for (int i = 0; i < 5; ++i) {
        fds.push_back(addEventFd());
        signalFd(fds.back());
    }
    timer.addTimedCallback(0, onTimer, nullptr);
    com.processEvents(0, timer);
    ASSERT_EQ(gReads.size(), 5u);
    EXPECT_EQ(gReads[0], 0);
    com.processEvents(0, timer);
    gReads.erase(gReads.begin());
    std::sort(gReads.begin(), gReads.end());
    EXPECT_EQ(gReads, fds);
}

// A hung-up descriptor and one taken off the approved list are closed through
// their close callback, never read, although both are readable.
TEST_F(ImsComTest, HungUpOrUnapproved_IsClosedWithoutBeingRead) {
    int p[2];
    ASSERT_EQ(pipe2(p, O_NONBLOCK), 0);
    ASSERT_EQ(write(p[1], "x", 1), 1);
    close(p[1]);  // the read end now reports EPOLLIN | EPOLLHUP
    com.addComEventHandler(p[0], onRead, nullptr, onClose, EPOLLIN);
    int unapproved = eventfd(0, EFD_NONBLOCK);
    com.addComEventHandler(unapproved, onRead, nullptr, onClose, EPOLLIN);
    ImsCom::remApprovedFd(unapproved);
    signalFd(unapproved);

    com.processEvents(0, timer);
    EXPECT_TRUE(gReads.empty());
    std::sort(gCloses.begin(), gCloses.end());
    EXPECT_EQ(gCloses, (std::vector<int>{std::min(p[0], unapproved), std::max(p[0], unapproved)}));
    for (int fd : {p[0], unapproved}) {
        EXPECT_FALSE(isOpen(fd));
        EXPECT_FALSE(ImsCom::isApprovedFd(fd));
    }
}

// The mask's text is the only trace of an event the loop does not handle.
TEST_F(ImsComTest, NeitherReadableNorHungUp_IsReportedAndStaysRegistered) {
    int fd = addEventFd(EPOLLOUT);  // an eventfd is always writable
    com.processEvents(0, timer);
    EXPECT_TRUE(log.contains("Unhandled epoll event: EPOLLOUT  [flags 04]")) << log.dump();
    EXPECT_TRUE(gReads.empty());
    EXPECT_TRUE(isOpen(fd));
    EXPECT_TRUE(ImsCom::isApprovedFd(fd));
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
    EXPECT_FALSE(com.hasReadyDescriptors());  // nothing is left ready for the next pass
}

// The table's lock is not held during callbacks: a callback may remove handlers,
// its own included, and close callbacks may use the loop too.
TEST_F(ImsComTest, Callback_MayRemoveItsOwnHandler) {
    int fd = eventfd(0, EFD_NONBLOCK);
    com.addComEventHandler(
        fd, [](int f, void* c) { static_cast<ImsCom*>(c)->removeComEventHandler(f); }, &com,
        [](int f, void* c) {
            gCloses.push_back(f);
            EXPECT_FALSE(static_cast<ImsCom*>(c)->addComEventHandler(f, nullptr, nullptr, nullptr, EPOLLIN));
        },
        EPOLLIN);
    signalFd(fd);
    com.processEvents(0, timer);
    EXPECT_EQ(gCloses, std::vector<int>{fd});
    EXPECT_FALSE(ImsCom::isApprovedFd(fd));
    EXPECT_FALSE(com.hasReadyDescriptors());
    close(fd);
}

}  // namespace
