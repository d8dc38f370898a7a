/*
 * HostLoop: an event-loop thread, the timer queue it drives and the way other
 * threads get work onto it. The service runs its one loop with it; tests run
 * a real loop thread with it and synchronise with it without sleeping:
 *
 *     rcsservice::HostLoop loop;          // drives ImsCom::getInstance()
 *     MyClient client(loop.com(), loop.timer());
 *     loop.start();
 *     client.somethingThatPosts();        // any thread
 *     ASSERT_TRUE(loop.waitUntilIdle());  // everything posted so far is handled
 *     loop.runOnLoop([&] { EXPECT_EQ(client.state(), ...); });
 *
 * The thread calls com.processEvents(timer.timeUntilNextEvent(), timer) until
 * stopped. The timer queue's monitor wakes a blocked loop when another thread
 * adds an earlier timer. An exception that escapes an event handler is caught
 * here and logged, and the loop goes on serving; the owner's recovery hook
 * then runs on the loop thread (the manager uses it to re-signal events that
 * were queued behind the failed one).
 *
 * Closures posted with post() run on the loop thread in posting order; a
 * stop() leaves the ones not yet run queued for the next start().
 *
 * "Idle" (waitUntilIdle()) means: after the call, the loop thread found,
 * between two passes, no registered descriptor ready, no timed callback due
 * and no posted closure waiting. So whatever was posted (to any
 * imsComHandler, or with post()) before the call is handled when it returns
 * true, together with everything that work posted in turn and every timer
 * that fell due meanwhile. Timers due later do not count as work. Work that
 * other threads post after the call is covered only if it arrives before the
 * loop is found idle: who waits for a worker thread waits for the worker's
 * effect first (a log line, a callback) and then for idle.
 *
 * Owners of objects registered with the loop must outlive the loop thread or
 * be destroyed on it (runOnLoop), since callbacks may run until stop().
 *
 * All methods may be called from any thread unless stated otherwise.
 */
#ifndef SERVICE_HOST_LOOP_H
#define SERVICE_HOST_LOOP_H

#include <sys/types.h>

#include <chrono>
#include <deque>
#include <functional>
#include <utils/Condition.h>
#include <utils/Mutex.h>
#include <utils/Timers.h>
#include <thread>

#include "imsservice/ITimerMonitor.h"
#include "imsservice/ImsCom.h"
#include "imsservice/ImsTimer.h"

namespace rcsservice {

class HostLoop : private ITimerMonitor {
public:
    // Drives the process's ImsCom::getInstance().
    HostLoop();
    // Registers a wake descriptor with `com`, which must outlive this object.
    explicit HostLoop(ImsCom& com);
    // Stops the thread and unregisters.
    ~HostLoop() override;
    HostLoop(const HostLoop&) = delete;
    HostLoop& operator=(const HostLoop&) = delete;

    ImsCom& com() { return mCom; }
    ImsTimer& timer() { return mTimer; }

    // Runs on the loop thread after an exception from a handler was caught.
    // Set before start().
    void setRecoveryHook(std::function<void()> hook) { mRecoveryHook = std::move(hook); }

    // Starts the loop thread; no effect if it runs.
    void start();
    // Lets the thread finish its pass and joins it. Not from the loop thread.
    void stop();
    bool running() const;
    bool isLoopThread() const;
    // Kernel thread id of the loop thread (as in log lines), 0 when stopped.
    pid_t loopTid() const;

    // Runs `fn` on the loop thread, later, in posting order.
    void post(std::function<void()> fn);
    // Runs `fn` on the loop thread and waits for it; inline on the loop thread
    // or when the loop does not run.
    void runOnLoop(const std::function<void()>& fn);

    // Waits until the loop found nothing to do (no ready descriptor, no due
    // timer, no posted closure) after this call was made: everything posted
    // to any handler before the call has then been handled. False on time-out
    // or when the loop does not run. Not from the loop thread.
    bool waitUntilIdle(std::chrono::milliseconds timeout = std::chrono::seconds(10)) const;

    // Number of exceptions caught on the loop thread so far.
    unsigned long caughtFailures() const;

private:
    void nextEventChanged() override;
    static void onSignal(int fd, void* self);
    void signal() const;
    void runPosted();
    void threadMain();
    void passOnce();

    ImsCom& mCom;
    ImsTimer mTimer;
    int mFd;  // eventfd, registered with mCom
    std::function<void()> mRecoveryHook;

    mutable android::Mutex mLock;
    mutable android::Condition mChanged;
    std::deque<std::function<void()>> mPosted GUARDED_BY(mLock);
    bool mRunning GUARDED_BY(mLock) = false;
    bool mStopRequested GUARDED_BY(mLock) = false;
    std::thread::id mThreadId GUARDED_BY(mLock);
    pid_t mTid GUARDED_BY(mLock) = 0;
    mutable unsigned long mIdleRequested GUARDED_BY(mLock) = 0;
    unsigned long mIdleSeen GUARDED_BY(mLock) = 0;
    unsigned long mFailures GUARDED_BY(mLock) = 0;
    std::thread mThread;
};

}  // namespace rcsservice

#endif  // SERVICE_HOST_LOOP_H
