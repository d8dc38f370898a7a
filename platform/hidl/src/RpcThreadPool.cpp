#include "RpcThreadPool.h"

#include <thread>
#include <utility>

namespace android {
namespace hardware {
namespace details {

RpcThreadPool& RpcThreadPool::instance() {
    static RpcThreadPool* pool = new RpcThreadPool();
    return *pool;
}

void RpcThreadPool::configure(size_t maxThreads, bool callerWillJoin) {
    hostsync::MutexLock guard(mLock);
    mMaxThreads = maxThreads == 0 ? 1 : maxThreads;
    mCallerWillJoin = callerWillJoin;
}

void RpcThreadPool::start() {
    size_t count = 0;
    {
        hostsync::MutexLock guard(mLock);
        if (mStarted) return;
        mStarted = true;
        // A caller that will join is one of the pool's threads itself.
        count = mCallerWillJoin ? mMaxThreads - 1 : mMaxThreads;
    }
    for (size_t i = 0; i < count; ++i) std::thread([this] { serve(); }).detach();
}

void RpcThreadPool::post(std::function<void()> task) {
    {
        hostsync::MutexLock guard(mLock);
        mTasks.push_back(std::move(task));
    }
    mWake.notifyOne();
}

bool RpcThreadPool::tryLoan() {
    hostsync::MutexLock guard(mLock);
    // With more threads, the loaned caller (a connection's reader) would keep
    // that connection's further calls waiting while other pool threads idle.
    if (mThreads != 1 || mBusy != 0 || !mTasks.empty()) return false;
    ++mBusy;
    return true;
}

void RpcThreadPool::endLoan() {
    {
        hostsync::MutexLock guard(mLock);
        --mBusy;
        if (mTasks.empty()) return;
    }
    mWake.notifyOne();
}

void RpcThreadPool::join() {
    start();
    serve();
}

void RpcThreadPool::serve() {
    {
        hostsync::MutexLock guard(mLock);
        ++mThreads;
    }
    for (;;) {
        std::function<void()> task;
        {
            hostsync::MutexLock lock(mLock);
            mWake.wait(mLock, [this]() REQUIRES(mLock) { return !mTasks.empty() && mBusy < mThreads; });
            task = std::move(mTasks.front());
            mTasks.pop_front();
            ++mBusy;
        }
        task();
        hostsync::MutexLock lock(mLock);
        --mBusy;
    }
}

}  // namespace details
}  // namespace hardware
}  // namespace android
