/*
 * LoopThread: runs an event loop thread inside a test, the way the service
 * host runs it, and lets the test synchronise with it without sleeping.
 *
 *     imstest::LoopThread loop;          // uses ImsCom::getInstance()
 *     MyClient client(loop.com(), loop.timer());
 *     loop.start();
 *     client.somethingThatPosts();       // any thread
 *     ASSERT_TRUE(loop.waitUntilIdle()); // everything posted so far is handled
 *     loop.runOnLoop([&] { EXPECT_EQ(client.state(), ...); });
 *     loop.stop();                       // or let the destructor do it
 *
 * The thread calls com.processEvents(timer.timeUntilNextEvent(), timer) until
 * stopped, exactly like the host. The timer queue is owned here and has a
 * monitor that wakes the loop when a timer added from another thread becomes
 * the earliest one (as the host's monitor does).
 *
 * "Idle" means: after waitUntilIdle() was called, the loop thread found,
 * between two passes, no registered descriptor ready, no timed callback due
 * and no closure from post() waiting. So whatever was posted (to
 * any imsComHandler, or with post()) before the call is handled when it
 * returns true, together with everything that work posted in turn and every
 * timer that fell due meanwhile. Timers due later do not count as work.
 * Work that other threads post after the call is covered only if it arrives
 * before the loop is found idle: a test that waits for a worker thread should
 * wait for the worker's effect first (a log line, a callback) and then for
 * idle.
 *
 * Owners of objects registered with the loop must outlive the loop thread or
 * be destroyed on it (runOnLoop), since callbacks may run until stop().
 *
 * All methods may be called from any thread unless stated otherwise.
 */
#ifndef TESTS_SUPPORT_LOOP_THREAD_H
#define TESTS_SUPPORT_LOOP_THREAD_H

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

#include "imsservice/ImsCom.h"
#include "imsservice/ImsTimer.h"

namespace imstest {

class LoopThread {
public:
    // Drives the process's ImsCom::getInstance().
    LoopThread();
    // Drives `com` (e.g. a private instance for a test). `com` must outlive this.
    explicit LoopThread(ImsCom& com);
    // Stops the thread if it runs and unregisters from the loop.
    ~LoopThread();
    LoopThread(const LoopThread&) = delete;
    LoopThread& operator=(const LoopThread&) = delete;

    ImsCom& com() { return mCom; }
    ImsTimer& timer() { return mTimer; }

    // Starts the loop thread; no effect if it runs already.
    void start();
    // Asks the thread to finish its current pass and joins it. Closures still
    // queued by post() stay queued and run after a new start(). Not from the
    // loop thread.
    void stop();
    bool running() const;

    // Runs `fn` on the loop thread, later, in posting order.
    void post(std::function<void()> fn);
    // Runs `fn` on the loop thread and returns when it has run; runs it inline
    // when called on the loop thread. The loop must be running (a test failure
    // is recorded otherwise) and must not be stopped by another thread meanwhile.
    void runOnLoop(const std::function<void()>& fn);

    // Waits until the loop is idle (see above). False on time-out or if the
    // loop is not running. Not from the loop thread.
    bool waitUntilIdle(std::chrono::milliseconds timeout = std::chrono::seconds(10));

    // True on the loop thread.
    bool isLoopThread() const;
    // Kernel thread id of the loop thread (as in log lines), 0 when stopped.
    pid_t loopTid() const;

private:
    class WakeMonitor : public ITimerMonitor {
    public:
        explicit WakeMonitor(LoopThread& owner) : mOwner(owner) {}
        void nextEventChanged() override;

    private:
        LoopThread& mOwner;
    };

    static void onSignal(int fd, void* self);
    void signal();
    void threadMain();
    bool runPosted();

    ImsCom& mCom;
    WakeMonitor mMonitor;
    ImsTimer mTimer;
    int mFd;  // our eventfd, registered with mCom

    // std::mutex: this file is built into the device test as well, which has no host-only headers.
    mutable std::mutex mLock;
    std::condition_variable mChanged;
    std::deque<std::function<void()>> mPosted;  // guarded by mLock
    bool mStopRequested = false;                // guarded by mLock
    bool mRunning = false;                      // guarded by mLock
    pid_t mTid = 0;                             // guarded by mLock
    std::thread::id mThreadId;                  // guarded by mLock
    unsigned long mIdleRequested = 0;           // guarded by mLock
    unsigned long mIdleSeen = 0;                // guarded by mLock
    unsigned long mIdleSeenByLoop = 0;          // loop thread only
    std::thread mThread;
};

}  // namespace imstest

#endif  // TESTS_SUPPORT_LOOP_THREAD_H
