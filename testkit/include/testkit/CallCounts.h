/*
 * CallCounts: how many calls a client callback object received, OK or not,
 * with a wait for a given number. It keeps no values, so a run of millions
 * of calls costs nothing; a test that looks at what each call carried keeps
 * the values itself.
 */
#ifndef TESTKIT_CALL_COUNTS_H
#define TESTKIT_CALL_COUNTS_H

#include <chrono>
#include <cstdint>

#include <hostsync/Mutex.h>

namespace testkit {

// Thread-safe.
class CallCounts {
public:
    void add(bool ok = true) {
        hostsync::MutexLock guard(mLock);
        ++(ok ? mOk : mFail);
        mChanged.notifyAll();
    }
    // Waits until at least `total` calls came; false on time-out.
    bool waitFor(uint64_t total, std::chrono::milliseconds timeout = std::chrono::seconds(10)) {
        hostsync::MutexLock lock(mLock);
        return mChanged.waitFor(mLock, timeout, [&]() REQUIRES(mLock) { return mOk + mFail >= total; });
    }
    uint64_t ok() {
        hostsync::MutexLock guard(mLock);
        return mOk;
    }
    uint64_t fail() {
        hostsync::MutexLock guard(mLock);
        return mFail;
    }
    uint64_t total() {
        hostsync::MutexLock guard(mLock);
        return mOk + mFail;
    }

private:
    hostsync::Mutex mLock;
    hostsync::CondVar mChanged;
    uint64_t mOk GUARDED_BY(mLock) = 0;
    uint64_t mFail GUARDED_BY(mLock) = 0;
};

}  // namespace testkit

#endif  // TESTKIT_CALL_COUNTS_H
