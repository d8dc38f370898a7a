#include "imsservice/ImsTimer.h"

#include <errno.h>
#include <limits.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>

#include "imsservice/ImsLog.h"

namespace {

const long kNsPerSec = 1000000000L;
const long kNsPerMs = 1000000L;
// Ids run 1..kLastTimerId; 0 means "no timer" to callers and is never handed out.
const int kLastTimerId = 2147483646;

void normalise(timespec& ts) {
    if (ts.tv_nsec >= kNsPerSec) {
        ts.tv_sec += 1;
        ts.tv_nsec -= kNsPerSec;
    } else if (ts.tv_nsec < 0) {
        ts.tv_sec -= 1;
        ts.tv_nsec += kNsPerSec;
    }
}

}  // namespace

// Callers skip toString() when the line would be dropped: it runs on every
// timer operation and costs more than the operation itself.
std::string ImsTimer::TimedEvent::toString() const {
    char buf[256];
    snprintf(buf, sizeof(buf), "TimedEvent id:%d callback:%p data:%p delay:%ldms time: %ld.%06ld (Epoch)",
             id, reinterpret_cast<void*>(callback), data, delay, static_cast<long>(time.tv_sec),
             static_cast<long>(time.tv_nsec));
    return std::string(buf);
}

bool ImsTimer::TimedEventCmp::operator()(const TimedEvent& a, const TimedEvent& b) const {
    return cmpTimeSpec(a.time, b.time) > 0;
}

ImsTimer::ImsTimer(ITimerMonitor* monitor) : monitor(monitor), nextTimerId(0) {}

int ImsTimer::getNextTimerId() {
    android::Mutex::Autolock guard(mLock);
    return nextTimerIdLocked();
}

int ImsTimer::nextTimerIdLocked() {
    nextTimerId = (nextTimerId + 1 == kLastTimerId + 1) ? 1 : nextTimerId + 1;
    return nextTimerId;
}

int ImsTimer::addTimedCallback(long delayMs, TimedCallback cb, void* data) {
    if (cb == nullptr) {
        IMS_LOG("addTimedCallback failed; cannot have NULL callback function");
        return -1;
    }
    timespec now;
    if (clock_gettime(CLOCK_BOOTTIME, &now) != 0) {
        IMS_LOG("addTimedCallback failed; clock_gettime(): %s", strerror(errno));
        return -1;
    }
    TimedEvent ev{0, now, cb, data, delayMs};
    addDelayToTimeval(delayMs, ev.time);

    bool becameFront = false;
    {
        android::Mutex::Autolock guard(mLock);
        ev.id = nextTimerIdLocked();
        pushLocked(ev);
        if (isImsLogEnabled()) IMS_LOG("Adding timed callback - %s", ev.toString().c_str());
        // Ids are not compared: an equal event queued earlier is just as early.
        const TimedEvent& front = queue.front();
        becameFront = cmpTimeSpec(front.time, ev.time) == 0 && front.callback == ev.callback &&
                      front.data == ev.data && front.delay == ev.delay;
    }
    // Outside the lock: the monitor typically wakes the loop, which reads the queue.
    if (becameFront && monitor != nullptr) monitor->nextEventChanged();
    return ev.id;
}

void ImsTimer::removeTimedCallback(int id) {
    android::Mutex::Autolock guard(mLock);
    size_t matches = 0;
    size_t at = 0;
    for (size_t i = 0; i < queue.size(); ++i) {
        if (queue[i].id == id) {
            if (isImsLogEnabled()) IMS_LOG("Removing timed callback - %s", queue[i].toString().c_str());
            ++matches;
            at = i;
        }
    }
    if (matches == 0) return;
    if (matches == 1) {
        // The usual case: take the one event out and repair the heap around it.
        queue[at] = queue.back();
        queue.pop_back();
        queued.store(queue.size(), std::memory_order_release);
        if (at < queue.size()) {
            siftUpLocked(at);
            siftDownLocked(at);
        }
        return;
    }
    // An id handed out again after wrapping while its old event still waits.
    queue.erase(std::remove_if(queue.begin(), queue.end(),
                               [id](const TimedEvent& ev) { return ev.id == id; }),
                queue.end());
    queued.store(queue.size(), std::memory_order_release);
    std::make_heap(queue.begin(), queue.end(), cmp);
}

void ImsTimer::siftUpLocked(size_t i) {
    while (i > 0) {
        size_t parent = (i - 1) / 2;
        if (!cmp(queue[parent], queue[i])) break;
        std::swap(queue[parent], queue[i]);
        i = parent;
    }
}

void ImsTimer::siftDownLocked(size_t i) {
    const size_t n = queue.size();
    for (;;) {
        size_t first = i;
        size_t left = 2 * i + 1;
        size_t right = left + 1;
        if (left < n && cmp(queue[first], queue[left])) first = left;
        if (right < n && cmp(queue[first], queue[right])) first = right;
        if (first == i) return;
        std::swap(queue[first], queue[i]);
        i = first;
    }
}

int ImsTimer::timeUntilNextEvent() const {
    // The loop asks before every wait and most of the time nothing is queued.
    if (queued.load(std::memory_order_acquire) == 0) return -1;
    android::Mutex::Autolock guard(mLock);
    return timeUntilNextEventLocked();
}

int ImsTimer::timeUntilNextEventLocked() const {
    if (queue.empty()) return -1;
    timespec now;
    if (clock_gettime(CLOCK_BOOTTIME, &now) != 0) {
        IMS_LOG("timeUntilNextCallback failed; clock_gettime(): %s", strerror(errno));
        return -1;
    }
    timespec d;
    subTimeSpec(queue.front().time, now, d);
    if (d.tv_sec < 0 || (d.tv_sec == 0 && d.tv_nsec == 0)) return 0;
    int ms = roundUpToMs(d);
    IMS_LOG("timeUntilNextEvent returns: %d", ms);
    return ms;
}

void ImsTimer::processEvents() {
    for (;;) {
        // Runs after every wait of the loop, just before the descriptors are
        // served: an empty queue must not delay them by a lock round trip.
        if (queued.load(std::memory_order_acquire) == 0) return;
        TimedEvent ev;
        {
            android::Mutex::Autolock guard(mLock);
            if (timeUntilNextEventLocked() != 0) return;
            std::pop_heap(queue.begin(), queue.end(), cmp);
            ev = queue.back();
            queue.pop_back();
            queued.store(queue.size(), std::memory_order_release);
            if (isImsLogEnabled()) IMS_LOG("Callback triggered - %s", ev.toString().c_str());
        }

        // The lock is free here: the callback may add or remove timers.
        int rc = ev.callback(ev.data);
        if (rc == -1) continue;

        timespec now;
        if (clock_gettime(CLOCK_BOOTTIME, &now) != 0) {
            IMS_LOG("timeUntilNextCallback failed; clock_gettime(): %s", strerror(errno));
            return;
        }
        if (rc > 0) {
            ev.delay = rc;
        } else if (rc < -1) {
            IMS_LOG("Invalid delay (%lld), using %lld instead", static_cast<long long>(rc),
                    static_cast<long long>(ev.delay));
        }
        ev.time = now;
        addDelayToTimeval(ev.delay, ev.time);

        android::Mutex::Autolock guard(mLock);
        pushLocked(ev);
        if (isImsLogEnabled()) IMS_LOG("Re-entering timed callback - %s", ev.toString().c_str());
    }
}

void ImsTimer::log() const {
    IMS_LOG("ImsTimer *******************************************");
    IMS_LOG("    items queued: %zu", size());
    IMS_LOG("    next item in: %dms", timeUntilNextEvent());
}

size_t ImsTimer::size() const {
    android::Mutex::Autolock guard(mLock);
    return queue.size();
}

void ImsTimer::pushLocked(const TimedEvent& ev) {
    queue.push_back(ev);
    queued.store(queue.size(), std::memory_order_release);
    std::push_heap(queue.begin(), queue.end(), cmp);
}

void ImsTimer::addDelayToTimeval(long ms, timespec& ts) {
    ts.tv_sec += ms / 1000;
    ts.tv_nsec += (ms % 1000) * kNsPerMs;
    normalise(ts);
}

void ImsTimer::addTimeSpec(const timespec& a, const timespec& b, timespec& out) {
    out.tv_sec = a.tv_sec + b.tv_sec;
    out.tv_nsec = a.tv_nsec + b.tv_nsec;
    normalise(out);
}

void ImsTimer::subTimeSpec(const timespec& a, const timespec& b, timespec& out) {
    out.tv_sec = a.tv_sec - b.tv_sec;
    out.tv_nsec = a.tv_nsec - b.tv_nsec;
    normalise(out);
}

int ImsTimer::cmpTimeSpec(const timespec& a, const timespec& b) {
    if (a.tv_sec != b.tv_sec) return a.tv_sec < b.tv_sec ? -1 : 1;
    if (a.tv_nsec != b.tv_nsec) return a.tv_nsec < b.tv_nsec ? -1 : 1;
    return 0;
}

int ImsTimer::roundUpToMs(const timespec& d) {
    if (d.tv_sec < 0 || (d.tv_sec == 0 && d.tv_nsec <= 0)) return 0;
    long long ms = static_cast<long long>(d.tv_sec) * 1000 + (d.tv_nsec + kNsPerMs - 1) / kNsPerMs;
    return ms > INT_MAX ? INT_MAX : static_cast<int>(ms);
}
