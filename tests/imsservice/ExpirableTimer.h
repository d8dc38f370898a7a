/*
 * A timer queue whose events a test can make due at once and whose next id it
 * can set: what the running clock cannot give a test without waiting.
 */
#ifndef TESTS_IMSSERVICE_EXPIRABLE_TIMER_H
#define TESTS_IMSSERVICE_EXPIRABLE_TIMER_H

#include <time.h>

#include "imsservice/ImsTimer.h"

class ExpirableTimer : public ImsTimer {
public:
    explicit ExpirableTimer(ITimerMonitor* m = nullptr) : ImsTimer(m) {}
    // Makes every queued event due now; equal times keep the heap valid.
    void expireAll() {
        android::Mutex::Autolock guard(mLock);
        timespec now;
        clock_gettime(CLOCK_BOOTTIME, &now);
        for (auto& ev : queue) ev.time = now;
    }
    void setLastId(int id) {
        android::Mutex::Autolock guard(mLock);
        nextTimerId = id;
    }
};

#endif  // TESTS_IMSSERVICE_EXPIRABLE_TIMER_H
