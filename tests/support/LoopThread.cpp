#include "support/LoopThread.h"

#include <errno.h>
#include <stdint.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace imstest {

void LoopThread::WakeMonitor::nextEventChanged() {
    // On the loop thread the next pass recomputes its time-out anyway.
    if (!mOwner.isLoopThread()) mOwner.mCom.wake();
}

LoopThread::LoopThread() : LoopThread(*ImsCom::getInstance()) {}

LoopThread::LoopThread(ImsCom& com) : mCom(com), mMonitor(*this), mTimer(&mMonitor) {
    mFd = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    mCom.addComEventHandler(mFd, onSignal, this, nullptr, EPOLLIN);
}

LoopThread::~LoopThread() {
    stop();
    mCom.removeComEventHandler(mFd);
    close(mFd);
}

void LoopThread::start() {
    std::unique_lock<std::mutex> lock(mLock);
    if (mRunning) return;
    mStopRequested = false;
    mRunning = true;
    mThread = std::thread(&LoopThread::threadMain, this);
    mChanged.wait(lock, [this] { return mTid != 0; });
}

void LoopThread::stop() {
    {
        std::lock_guard<std::mutex> lock(mLock);
        if (!mRunning) return;
        mStopRequested = true;
    }
    signal();
    mThread.join();
}

bool LoopThread::running() const {
    std::lock_guard<std::mutex> lock(mLock);
    return mRunning;
}

void LoopThread::post(std::function<void()> fn) {
    {
        std::lock_guard<std::mutex> lock(mLock);
        mPosted.push_back(std::move(fn));
    }
    signal();
}

void LoopThread::runOnLoop(const std::function<void()>& fn) {
    if (isLoopThread()) {
        fn();
        return;
    }
    if (!running()) {
        // Waiting would hang the test; say why instead.
        ADD_FAILURE() << "LoopThread::runOnLoop called while the loop is not running";
        return;
    }
    bool done = false;  // guarded by mLock
    post([&] {
        fn();
        std::lock_guard<std::mutex> lock(mLock);
        done = true;
        mChanged.notify_all();
    });
    std::unique_lock<std::mutex> lock(mLock);
    mChanged.wait(lock, [&] { return done; });
}

bool LoopThread::waitUntilIdle(std::chrono::milliseconds timeout) {
    unsigned long target;
    {
        std::lock_guard<std::mutex> lock(mLock);
        if (!mRunning) return false;
        target = ++mIdleRequested;
    }
    signal();  // forces a pass even if the loop is blocked without time-out
    std::unique_lock<std::mutex> lock(mLock);
    return mChanged.wait_for(lock, timeout, [&] { return mIdleSeen >= target || !mRunning; }) &&
           mIdleSeen >= target;
}

bool LoopThread::isLoopThread() const {
    std::lock_guard<std::mutex> lock(mLock);
    return mRunning && mThreadId == std::this_thread::get_id();
}

pid_t LoopThread::loopTid() const {
    std::lock_guard<std::mutex> lock(mLock);
    return mTid;
}

void LoopThread::signal() {
    uint64_t one = 1;
    ssize_t rv = write(mFd, &one, sizeof(one));
    (void)rv;  // only fails when the counter is saturated, i.e. already signalled
}

void LoopThread::onSignal(int fd, void* self) {
    uint64_t counter;
    while (read(fd, &counter, sizeof(counter)) != -1) {
    }
    static_cast<LoopThread*>(self)->runPosted();
}

bool LoopThread::runPosted() {
    bool ran = false;
    for (;;) {
        std::function<void()> fn;
        {
            std::lock_guard<std::mutex> lock(mLock);
            if (mPosted.empty()) return ran;
            fn = std::move(mPosted.front());
            mPosted.pop_front();
        }
        fn();  // no lock held: the closure may post, or wait on other threads
        ran = true;
    }
}

void LoopThread::threadMain() {
    {
        std::lock_guard<std::mutex> lock(mLock);
        mTid = gettid();
        mThreadId = std::this_thread::get_id();
        mChanged.notify_all();
    }
    for (;;) {
        {
            std::lock_guard<std::mutex> lock(mLock);
            if (mStopRequested) break;
        }
        mCom.processEvents(mTimer.timeUntilNextEvent(), mTimer);

        // No callback runs between passes, so a drained descriptor means its
        // work is done. The requests are read before the check: a request that
        // arrives later is answered by the pass its own signal forces.
        unsigned long request;
        {
            std::lock_guard<std::mutex> lock(mLock);
            request = mIdleRequested;
        }
        if (request == mIdleSeenByLoop) continue;
        bool idle = !mCom.hasReadyDescriptors() && mTimer.timeUntilNextEvent() != 0;
        std::lock_guard<std::mutex> lock(mLock);
        if (idle && mPosted.empty()) {
            mIdleSeen = mIdleSeenByLoop = request;
            mChanged.notify_all();
        }
    }
    std::lock_guard<std::mutex> lock(mLock);
    mRunning = false;
    mTid = 0;
    mThreadId = std::thread::id();
    mChanged.notify_all();
}

}  // namespace imstest
