/*
 * The process's HIDL thread pool: the threads that serve calls arriving from
 * other processes. configureRpcThreadpool() sets its size; the threads start
 * when the transport is first used (one thread when nothing was configured),
 * and joinRpcThreadpool() makes the caller one of them.
 */
#ifndef HIDL_RPCTHREADPOOL_H
#define HIDL_RPCTHREADPOOL_H

#include <cstddef>
#include <deque>
#include <functional>

#include <hostsync/Mutex.h>

namespace android {
namespace hardware {
namespace details {

class RpcThreadPool {
public:
    // The process's pool; never destroyed (calls may arrive during exit).
    static RpcThreadPool& instance();

    // Records the size asked by configureRpcThreadpool(). Any thread.
    void configure(size_t maxThreads, bool callerWillJoin);
    // Starts the pool's own threads if they are not running yet. Any thread.
    void start();
    // Queues `task` for a pool thread. Any thread.
    void post(std::function<void()> task);
    // In a pool of one thread, lets the calling thread serve one call in the
    // pool thread's stead while that thread is idle and nothing is queued:
    // the call then costs no hand-over, and the pool still serves one call at
    // a time (the pool thread waits until endLoan()). False otherwise. Any
    // thread.
    bool tryLoan();
    // Ends what tryLoan() allowed. The thread it returned true on.
    void endLoan();
    // Serves tasks on the calling thread; never returns.
    [[noreturn]] void join();

private:
    RpcThreadPool() = default;
    [[noreturn]] void serve();

    hostsync::Mutex mLock;
    hostsync::CondVar mWake;
    std::deque<std::function<void()>> mTasks GUARDED_BY(mLock);
    size_t mThreads GUARDED_BY(mLock) = 0;  // threads serving the pool now, the joined one included
    size_t mBusy GUARDED_BY(mLock) = 0;     // tasks running, and the loan
    size_t mMaxThreads GUARDED_BY(mLock) = 1;
    bool mCallerWillJoin GUARDED_BY(mLock) = false;
    bool mStarted GUARDED_BY(mLock) = false;
};

}  // namespace details
}  // namespace hardware
}  // namespace android

#endif  // HIDL_RPCTHREADPOOL_H
