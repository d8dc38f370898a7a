#include "service/HostLoop.h"

#include <errno.h>
#include <stdint.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <exception>

#include "imsservice/ImsLog.h"

namespace rcsservice {

HostLoop::HostLoop() : HostLoop(*ImsCom::getInstance()) {}

HostLoop::HostLoop(ImsCom& com) : mCom(com), mTimer(this) {
    mFd = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (mFd < 0 || !mCom.addComEventHandler(mFd, onSignal, this, nullptr, EPOLLIN)) {
        IMS_LOG("RcsServiceHost: cannot set up the loop's wake descriptor (fd %d)", mFd);
    }
}

HostLoop::~HostLoop() {
    stop();
    if (mFd >= 0) {
        mCom.removeComEventHandler(mFd);
        close(mFd);
    }
}

void HostLoop::start() {
    android::Mutex::Autolock guard(mLock);
    if (mRunning) return;
    mStopRequested = false;
    mRunning = true;
    mThread = std::thread(&HostLoop::threadMain, this);
    mThreadId = mThread.get_id();
    while (mTid == 0) mChanged.wait(mLock);  // loopTid() is known once start() returns
}

void HostLoop::stop() {
    {
        android::Mutex::Autolock guard(mLock);
        if (!mRunning) return;
        mStopRequested = true;
    }
    signal();
    mThread.join();
    android::Mutex::Autolock guard(mLock);
    mRunning = false;
    mThreadId = std::thread::id();
    mTid = 0;
    mChanged.broadcast();
}

bool HostLoop::running() const {
    android::Mutex::Autolock guard(mLock);
    return mRunning;
}

bool HostLoop::isLoopThread() const {
    android::Mutex::Autolock guard(mLock);
    return mRunning && mThreadId == std::this_thread::get_id();
}

void HostLoop::post(std::function<void()> fn) {
    {
        android::Mutex::Autolock guard(mLock);
        mPosted.push_back(std::move(fn));
    }
    signal();
}

void HostLoop::runOnLoop(const std::function<void()>& fn) {
    if (isLoopThread() || !running()) {
        fn();
        return;
    }
    bool done = false;  // guarded by mLock
    post([&] {
        fn();
        android::Mutex::Autolock guard(mLock);
        done = true;
        mChanged.broadcast();
    });
    android::Mutex::Autolock lock(mLock);
    // A loop stopped meanwhile leaves the closure queued; it is run here then.
    while (!done && mRunning && !mStopRequested) mChanged.wait(mLock);
    if (!done) {
        mLock.unlock();
        fn();
        mLock.lock();
    }
}

bool HostLoop::waitUntilIdle(std::chrono::milliseconds timeout) const {
    unsigned long target;
    {
        android::Mutex::Autolock guard(mLock);
        if (!mRunning) return false;
        target = ++mIdleRequested;
    }
    signal();  // makes a loop blocked without time-out take one more pass
    const nsecs_t deadline = systemTime(SYSTEM_TIME_MONOTONIC) + milliseconds_to_nanoseconds(timeout.count());
    android::Mutex::Autolock lock(mLock);
    while (mIdleSeen < target && mRunning) {
        nsecs_t left = deadline - systemTime(SYSTEM_TIME_MONOTONIC);
        if (left <= 0) break;
        mChanged.waitRelative(mLock, left);
    }
    return mIdleSeen >= target;
}

pid_t HostLoop::loopTid() const {
    android::Mutex::Autolock guard(mLock);
    return mTid;
}

unsigned long HostLoop::caughtFailures() const {
    android::Mutex::Autolock guard(mLock);
    return mFailures;
}

void HostLoop::nextEventChanged() {
    // On the loop thread the next pass recomputes its time-out anyway.
    if (!isLoopThread()) mCom.wake();
}

void HostLoop::signal() const {
    uint64_t one = 1;
    // Only fails when the counter is saturated, that is already signalled.
    if (write(mFd, &one, sizeof(one)) < 0 && errno != EAGAIN) {
        IMS_LOG("RcsServiceHost: cannot wake the loop: %d", errno);
    }
}

void HostLoop::onSignal(int fd, void* self) {
    uint64_t counter;
    while (read(fd, &counter, sizeof(counter)) != -1) {
    }
    static_cast<HostLoop*>(self)->runPosted();
}

void HostLoop::runPosted() {
    for (;;) {
        std::function<void()> fn;
        {
            android::Mutex::Autolock guard(mLock);
            if (mPosted.empty()) return;
            fn = std::move(mPosted.front());
            mPosted.pop_front();
        }
        fn();  // no lock held: the closure may post or take other locks
    }
}

void HostLoop::passOnce() {
    const char* what = nullptr;
    try {
        mCom.processEvents(mTimer.timeUntilNextEvent(), mTimer);
        return;
    } catch (const std::exception& e) {
        what = e.what();
        IMS_LOG("RcsServiceHost: an event handler threw on the loop thread (%s); the service goes on",
                what);
    } catch (...) {
        IMS_LOG("RcsServiceHost: an event handler threw on the loop thread (%s); the service goes on",
                "unknown exception");
    }
    {
        android::Mutex::Autolock guard(mLock);
        ++mFailures;
    }
    if (mRecoveryHook) mRecoveryHook();
}

void HostLoop::threadMain() {
    {
        android::Mutex::Autolock guard(mLock);
        mTid = gettid();
        mChanged.broadcast();
    }
    unsigned long idleSeenByLoop = 0;
    for (;;) {
        {
            android::Mutex::Autolock guard(mLock);
            if (mStopRequested) break;
        }
        passOnce();

        // Between two passes no callback runs, so a drained descriptor means
        // its work is done. Requests are read before the check; a later one is
        // answered by the pass its own signal forces.
        unsigned long request;
        {
            android::Mutex::Autolock guard(mLock);
            request = mIdleRequested;
        }
        if (request == idleSeenByLoop) continue;
        bool idle = !mCom.hasReadyDescriptors() && mTimer.timeUntilNextEvent() != 0;
        android::Mutex::Autolock guard(mLock);
        if (idle && mPosted.empty()) {
            mIdleSeen = idleSeenByLoop = request;
            mChanged.broadcast();
        }
    }
}

}  // namespace rcsservice
