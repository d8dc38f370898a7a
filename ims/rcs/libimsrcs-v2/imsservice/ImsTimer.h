/*
 * ImsTimer: the queue of timed callbacks driven by the event loop.
 *
 * The loop uses timeUntilNextEvent() as its wait time-out and calls
 * processEvents() after every wait, so timed callbacks run on the loop thread.
 * Expiry times are on CLOCK_BOOTTIME so that time spent in suspend counts.
 *
 * A callback's result is its next interval in milliseconds: -1 stops it, 0
 * repeats the previous interval, a positive value becomes the new interval and
 * any other negative value is treated as 0 (with a message).
 *
 * Timers are added and removed both from the loop thread and from threads that
 * post events (the wake-lock guard timer), so the queue is guarded by a lock
 * that is never held while a callback or the monitor runs: callbacks may add
 * and remove timers freely.
 */
#ifndef IMS_TIMER_H
#define IMS_TIMER_H

#include <time.h>

#include <utils/Mutex.h>

#include <atomic>
#include <string>
#include <vector>

#include "imsservice/ITimerMonitor.h"

class ImsTimer {
public:
    typedef int (*TimedCallback)(void* data);

    struct TimedEvent {
        int id;
        timespec time;  // absolute expiry on CLOCK_BOOTTIME
        TimedCallback callback;
        void* data;
        long delay;     // milliseconds; the interval last used to compute `time`

        // "TimedEvent id:.. callback:.. data:.. delay:..ms time: <s>.<ns> (Epoch)".
        std::string toString() const;
    };

    // Heap order: true when a expires later than b, so the earliest is at the front.
    struct TimedEventCmp {
        bool operator()(const TimedEvent& a, const TimedEvent& b) const;
    };

    // `monitor` may be null. Any thread.
    explicit ImsTimer(ITimerMonitor* monitor);
    ImsTimer(const ImsTimer&) = delete;
    ImsTimer& operator=(const ImsTimer&) = delete;

    // Queues cb(data) to run delayMs from now; returns its id (1..2147483646),
    // or -1 for a null callback or a clock failure. Tells the monitor when the
    // new event is the earliest. Any thread.
    int addTimedCallback(long delayMs, TimedCallback cb, void* data);

    // Drops every queued event with this id; an unknown id changes nothing.
    // An event whose callback is running at that moment is not queued, so it is
    // re-queued by its callback's result as usual. Any thread.
    void removeTimedCallback(int id);

    // Milliseconds until the earliest event (rounded up), 0 if one is due,
    // -1 if the queue is empty or the clock fails. Any thread.
    int timeUntilNextEvent() const;

    // Runs every due event and re-queues it according to its result.
    // Loop thread only.
    void processEvents();

    // Writes the queue size and the time to the next event to the log. Any thread.
    void log() const;

    // Hands out the next id, wrapping from 2147483646 to 1. Any thread.
    int getNextTimerId();

    // Number of queued events. Any thread.
    size_t size() const;

    // timespec arithmetic: milliseconds are split into seconds and nanoseconds;
    // results are normalised with one carry or borrow at 1,000,000,000 ns.
    static void addDelayToTimeval(long ms, timespec& ts);
    static void addTimeSpec(const timespec& a, const timespec& b, timespec& out);
    static void subTimeSpec(const timespec& a, const timespec& b, timespec& out);
    // -1, 0 or 1, comparing seconds first.
    static int cmpTimeSpec(const timespec& a, const timespec& b);
    // A positive duration in whole milliseconds, rounded up so that a timer
    // never fires early (1 ns -> 1 ms); saturates at INT_MAX.
    static int roundUpToMs(const timespec& d);

protected:
    int nextTimerIdLocked() REQUIRES(mLock);

    std::vector<TimedEvent> queue GUARDED_BY(mLock);
    TimedEventCmp cmp;
    ITimerMonitor* monitor;
    int nextTimerId GUARDED_BY(mLock);
    mutable android::Mutex mLock;
    // queue.size(), stored under mLock at every change and read without it,
    // so that an empty queue is seen without taking the lock.
    std::atomic<size_t> queued{0};

private:
    int timeUntilNextEventLocked() const REQUIRES(mLock);
    void pushLocked(const TimedEvent& ev) REQUIRES(mLock);
    void siftUpLocked(size_t i) REQUIRES(mLock);
    void siftDownLocked(size_t i) REQUIRES(mLock);
};

#endif  // IMS_TIMER_H
