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
    std::lock_guard<std::mutex> guard(mLock);
    mMaxThreads = maxThreads == 0 ? 1 : maxThreads;
    mCallerWillJoin = callerWillJoin;
}

void RpcThreadPool::start() {
    size_t count = 0;
    {
        std::lock_guard<std::mutex> guard(mLock);
        if (mStarted) return;
        mStarted = true;
        // A caller that will join is one of the pool's threads itself.
        count = mCallerWillJoin ? mMaxThreads - 1 : mMaxThreads;
    }
    for (size_t i = 0; i < count; ++i) std::thread([this] { serve(); }).detach();
}

void RpcThreadPool::post(std::function<void()> task) {
    {
        std::lock_guard<std::mutex> guard(mLock);
        mTasks.push_back(std::move(task));
    }
    mWake.notify_one();
}

void RpcThreadPool::join() {
    start();
    serve();
}

void RpcThreadPool::serve() {
    for (;;) {
        std::function<void()> task;
        {
            std::unique_lock<std::mutex> lock(mLock);
            mWake.wait(lock, [this] { return !mTasks.empty(); });
            task = std::move(mTasks.front());
            mTasks.pop_front();
        }
        task();
    }
}

}  // namespace details
}  // namespace hardware
}  // namespace android
