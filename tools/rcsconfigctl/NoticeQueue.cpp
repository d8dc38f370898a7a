#include "NoticeQueue.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdint>

namespace rcsctl {

NoticeQueue::NoticeQueue() : mWakeFd(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {}

NoticeQueue::~NoticeQueue() {
    if (mWakeFd >= 0) close(mWakeFd);
}

void NoticeQueue::clearWake() {
    uint64_t count;
    while (mWakeFd >= 0 && read(mWakeFd, &count, sizeof(count)) == static_cast<ssize_t>(sizeof(count))) {
    }
}

void NoticeQueue::push(Notice notice) {
    {
        hostsync::MutexLock lock(mLock);
        if (notice.kind == Notice::Kind::Stop) {
            mStopped = true;
            ++mStopsPushed;
        } else {
            mNotices.push_back(std::move(notice));
        }
    }
    mChanged.notifyAll();
    uint64_t one = 1;
    if (mWakeFd >= 0 && write(mWakeFd, &one, sizeof(one)) < 0) {
        // Only a counter at its limit fails; the fd is readable then anyway.
    }
}

bool NoticeQueue::waitFor(const std::function<bool(const Notice&)>& match,
                          std::chrono::milliseconds timeout, std::vector<Notice>* taken) {
    hostsync::MutexLock lock(mLock);
    size_t found = 0;
    auto ready = [&]() REQUIRES(mLock) {
        if (mStopped) {
            noteStopSeen();
            return true;
        }
        for (size_t i = 0; i < mNotices.size(); ++i) {
            if (mNotices[i].kind == Notice::Kind::ServiceDied) return true;
            if (match(mNotices[i])) {
                found = i + 1;
                return true;
            }
        }
        return false;
    };
    if (!mChanged.waitFor(mLock, timeout, ready) || found == 0) return false;
    for (size_t i = 0; i < found; ++i) {
        taken->push_back(std::move(mNotices.front()));
        mNotices.pop_front();
    }
    return true;
}

std::vector<Notice> NoticeQueue::drain() {
    hostsync::MutexLock lock(mLock);
    std::vector<Notice> out(std::make_move_iterator(mNotices.begin()),
                            std::make_move_iterator(mNotices.end()));
    mNotices.clear();
    return out;
}

bool NoticeQueue::stopped() const {
    hostsync::MutexLock lock(mLock);
    if (mStopped) noteStopSeen();
    return mStopped;
}

void NoticeQueue::resume() {
    hostsync::MutexLock lock(mLock);
    // The count of Stops seen stays: the signal thread may still be waiting
    // to learn that the main thread saw the one it cancelled.
    mStopped = false;
}

void NoticeQueue::noteStopSeen() const {
    if (mStopsSeen == mStopsPushed) return;
    mStopsSeen = mStopsPushed;
    mStopSeenChanged.notifyAll();
}

bool NoticeQueue::waitUntilStopSeen(std::chrono::milliseconds timeout) {
    hostsync::MutexLock lock(mLock);
    return mStopSeenChanged.waitFor(mLock, timeout, [this]() REQUIRES(mLock) { return mStopsSeen == mStopsPushed; });
}

bool NoticeQueue::serviceDied() const {
    hostsync::MutexLock lock(mLock);
    for (const auto& n : mNotices) {
        if (n.kind == Notice::Kind::ServiceDied) return true;
    }
    return false;
}

}  // namespace rcsctl
