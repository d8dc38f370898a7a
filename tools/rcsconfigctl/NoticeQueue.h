/*
 * NoticeQueue: what the service tells the client on its own - reconfiguration
 * notices and token requests through the listener, and changes of watched
 * groups - queued in arrival order from the HIDL callback threads, so the
 * main thread can print them at fixed points and wait for one with a timeout.
 */
#ifndef RCSCONFIGCTL_NOTICE_QUEUE_H
#define RCSCONFIGCTL_NOTICE_QUEUE_H

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <vector>

#include <hostsync/Mutex.h>

#include "SettingsCatalog.h"

namespace rcsctl {

struct Notice {
    // ServiceDied: the process serving our objects went away (attached mode).
    enum class Kind { Reconfig, TokenRequest, Change, Stop, ServiceDied };
    Kind kind = Kind::Stop;
    int slot = 0;           // slot of the listener or the watch that received it
    int32_t requestId = 0;  // token request
    int32_t tokenType = 0;
    int32_t reason = 0;
    SettingsData settings{};  // change
};

class NoticeQueue {
public:
    NoticeQueue();
    ~NoticeQueue();
    NoticeQueue(const NoticeQueue&) = delete;
    NoticeQueue& operator=(const NoticeQueue&) = delete;

    // Readable (poll) once a notice was pushed since the last clearWake(), so
    // an idle prompt can show notices as they come. Main thread.
    int wakeFd() const { return mWakeFd; }
    void clearWake();

    // Appends a notice and wakes a waiter; any thread.
    void push(Notice notice);

    // Waits until a queued notice satisfies `match` (a Stop notice, or a
    // ServiceDied notice queued before a match, ends the wait and is left
    // queued). On a match, moves every notice up to
    // and including it into *taken, in order, and returns true. On timeout or
    // Stop returns false and leaves the queue as it was. Main thread.
    bool waitFor(const std::function<bool(const Notice&)>& match, std::chrono::milliseconds timeout,
                 std::vector<Notice>* taken);

    // Removes and returns everything queued except a Stop notice; main thread.
    std::vector<Notice> drain();

    // True once a Stop notice was pushed (the user asked the client to end,
    // or, in an interactive session, to cancel what it does). Main thread: a
    // true answer counts as the main thread having seen it.
    bool stopped() const;
    // Forgets the Stop, for an interactive session that goes on after a
    // Ctrl-C cancelled a line or a wait. Main thread.
    void resume();
    // Waits up to `timeout` until the main thread has seen the Stop notice
    // (stopped() said so, or a wait ended on it): false when the main thread
    // is somewhere no notice reaches, such as a call that is not answered.
    // Any thread but the main thread.
    bool waitUntilStopSeen(std::chrono::milliseconds timeout);

    // True while a ServiceDied notice is queued; any thread.
    bool serviceDied() const;

private:
    void noteStopSeen() const REQUIRES(mLock);

    int mWakeFd = -1;  // eventfd, written by push()
    mutable hostsync::Mutex mLock;
    hostsync::CondVar mChanged;
    std::deque<Notice> mNotices GUARDED_BY(mLock);
    bool mStopped GUARDED_BY(mLock) = false;
    // Stops pushed, and how many of them the main thread has seen; a Ctrl-C
    // that cancels leaves the counts, so each signal waits for its own Stop.
    uint64_t mStopsPushed GUARDED_BY(mLock) = 0;
    mutable uint64_t mStopsSeen GUARDED_BY(mLock) = 0;
    mutable hostsync::CondVar mStopSeenChanged;
};

// A wait for an answer that the death of the answering process ends early.
class AbandonableWait {
public:
    virtual ~AbandonableWait() = default;
    // Ends the wait with no answer; any thread.
    virtual void abandon() = 0;
};

// Holds the first answer of an asynchronous call; later answers are ignored,
// so a callback that fires twice cannot disturb the waiter.
template <typename T>
class Awaited : public AbandonableWait {
public:
    void abandon() override {
        {
            hostsync::MutexLock lock(mLock);
            mAbandoned = true;
        }
        mChanged.notifyAll();
    }

    // Any thread.
    void set(const T& value) {
        {
            hostsync::MutexLock lock(mLock);
            if (mSet) return;
            mValue = value;
            mSet = true;
        }
        mChanged.notifyAll();
    }
    // Waits up to `timeout` for the answer; false if none came (or the wait
    // was abandoned).
    bool wait(std::chrono::milliseconds timeout, T* out) {
        hostsync::MutexLock lock(mLock);
        if (!mChanged.waitFor(mLock, timeout, [this]() REQUIRES(mLock) { return mSet || mAbandoned; }) || !mSet) return false;
        *out = mValue;
        return true;
    }

private:
    hostsync::Mutex mLock;
    hostsync::CondVar mChanged;
    bool mSet GUARDED_BY(mLock) = false;
    bool mAbandoned GUARDED_BY(mLock) = false;
    T mValue GUARDED_BY(mLock){};
};

}  // namespace rcsctl

#endif  // RCSCONFIGCTL_NOTICE_QUEUE_H
