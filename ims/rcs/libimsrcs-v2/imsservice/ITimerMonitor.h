/*
 * ITimerMonitor: told by ImsTimer when a newly added timed callback becomes the
 * earliest one, so that a loop blocked with a longer time-out can recompute it.
 * The hosting process implements it, typically by calling ImsCom::wake().
 */
#ifndef IMS_TIMER_MONITOR_H
#define IMS_TIMER_MONITOR_H

class ITimerMonitor {
public:
    // Called from the thread that added the timer, with no ImsTimer lock held.
    virtual void nextEventChanged() = 0;
    virtual ~ITimerMonitor() = default;
};

#endif  // IMS_TIMER_MONITOR_H
