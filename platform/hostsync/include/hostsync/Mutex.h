/*
 * hostsync::Mutex, hostsync::MutexLock and hostsync::CondVar: std::mutex and
 * std::condition_variable with clang's thread-safety annotations, so that
 * members declared GUARDED_BY(mLock) and functions declared REQUIRES(mLock)
 * are checked by the compiler (-Wthread-safety) instead of by comments. The
 * macros (CAPABILITY, GUARDED_BY, REQUIRES, ACQUIRE, RELEASE, EXCLUDES,
 * NO_THREAD_SAFETY_ANALYSIS) are libutils' own and expand to nothing on
 * compilers other than clang.
 *
 * A condition's predicate runs with the lock held, but clang checks a lambda
 * on its own: write it as [&]() REQUIRES(mLock) { ... }.
 */
#ifndef HOSTSYNC_MUTEX_H
#define HOSTSYNC_MUTEX_H

#include <utils/Mutex.h>

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace hostsync {

class CAPABILITY("mutex") Mutex {
public:
    Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock() ACQUIRE() { mMutex.lock(); }
    void unlock() RELEASE() { mMutex.unlock(); }
    // Tells the analysis that the calling thread holds the lock, where it
    // cannot see it (a callback the lock holder runs).
    void assertHeld() const ASSERT_CAPABILITY(this) {}

private:
    friend class CondVar;
    std::mutex mMutex;
};

// Holds a Mutex for a scope; unlock() and lock() may release and take it
// again inside the scope (the destructor releases it only when held).
class SCOPED_CAPABILITY MutexLock {
public:
    explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : mMutex(mutex) { mMutex.lock(); }
    ~MutexLock() RELEASE() {
        if (mHeld) mMutex.unlock();
    }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

    void unlock() RELEASE() {
        mMutex.unlock();
        mHeld = false;
    }
    void lock() ACQUIRE() {
        mMutex.lock();
        mHeld = true;
    }

private:
    Mutex& mMutex;
    bool mHeld = true;
};

class CondVar {
public:
    void notifyOne() { mCondition.notify_one(); }
    void notifyAll() { mCondition.notify_all(); }

    // Waits until notified (or woken spuriously); `mutex` is released while
    // waiting and held again on return.
    void wait(Mutex& mutex) REQUIRES(mutex) {
        std::unique_lock<std::mutex> lock(mutex.mMutex, std::adopt_lock);
        mCondition.wait(lock);
        lock.release();
    }
    template <typename Predicate>
    void wait(Mutex& mutex, Predicate done) REQUIRES(mutex) {
        std::unique_lock<std::mutex> lock(mutex.mMutex, std::adopt_lock);
        mCondition.wait(lock, done);
        lock.release();
    }
    // False when `timeout` passed first (with `done` still false).
    template <typename Rep, typename Period, typename Predicate>
    bool waitFor(Mutex& mutex, std::chrono::duration<Rep, Period> timeout, Predicate done) REQUIRES(mutex) {
        std::unique_lock<std::mutex> lock(mutex.mMutex, std::adopt_lock);
        const bool met = mCondition.wait_for(lock, timeout, done);
        lock.release();
        return met;
    }
    template <typename Clock, typename Duration, typename Predicate>
    bool waitUntil(Mutex& mutex, std::chrono::time_point<Clock, Duration> deadline, Predicate done)
            REQUIRES(mutex) {
        std::unique_lock<std::mutex> lock(mutex.mMutex, std::adopt_lock);
        const bool met = mCondition.wait_until(lock, deadline, done);
        lock.release();
        return met;
    }
    // Waits until notified or `timeout` passed; false on the timeout.
    template <typename Rep, typename Period>
    bool waitFor(Mutex& mutex, std::chrono::duration<Rep, Period> timeout) REQUIRES(mutex) {
        std::unique_lock<std::mutex> lock(mutex.mMutex, std::adopt_lock);
        const bool notified = mCondition.wait_for(lock, timeout) == std::cv_status::no_timeout;
        lock.release();
        return notified;
    }

private:
    std::condition_variable mCondition;
};

}  // namespace hostsync

#endif  // HOSTSYNC_MUTEX_H
