/*
 * ImsCom: the process-wide descriptor multiplexer every other part of the
 * library runs on.
 *
 * One epoll instance and a table of per-descriptor handlers. The hosting
 * process runs one thread (the loop thread) that calls
 *     processEvents(timer.timeUntilNextEvent(), timer)
 * again and again; every registered callback and every timed callback runs
 * there, one at a time.
 *
 * A descriptor's events are only dispatched while it is on the process-wide
 * approved list; registration approves it, removal withdraws the approval, and
 * a readable descriptor that is not approved is torn down by the loop.
 *
 * The handler table is guarded by a lock that is never held while a callback
 * runs, so handlers may be added or removed from any thread and from inside
 * callbacks.
 */
#ifndef IMS_COM_H
#define IMS_COM_H

#include <sys/epoll.h>

#include <map>
#include <utils/Mutex.h>
#include <set>

#include "imsservice/ImsTimer.h"

typedef void (*ComEventCallback)(int fd, void* data);
typedef void (*ComCloseCallback)(int fd, void* data);

class ImsCom {
public:
    // The process's instance, created on the first call. Any thread.
    static ImsCom* getInstance();

    // A separate loop (the process normally uses getInstance()). Any thread.
    ImsCom();
    // Closes the epoll and wake descriptors; registered descriptors stay open.
    // Only for instances built with the constructor, once no thread uses them.
    ~ImsCom();
    ImsCom(const ImsCom&) = delete;
    ImsCom& operator=(const ImsCom&) = delete;

    // Watches `fd` for `events` (an epoll mask) and calls cb(fd, data) on the
    // loop thread when it is readable; closeCb(fd, data), if not null, runs when
    // the handler is removed. False if `fd` already has a handler. Any thread.
    bool addComEventHandler(int fd, ComEventCallback cb, void* data, ComCloseCallback closeCb,
                            int events);

    // Stops watching `fd`, runs its close callback and withdraws its approval.
    // Does not close `fd`. Any thread, including callbacks on the loop thread.
    void removeComEventHandler(int fd);

    // Callback of the wake descriptor: drains it. Loop thread.
    static void clearRead(int fd, void* data);

    // One pass of the loop: waits up to timeoutMs (-1: no limit) for at most
    // four ready descriptors, runs the due timers, then serves the descriptors.
    // Loop thread only.
    void processEvents(int timeoutMs, ImsTimer& timer);

    // Approved-list operations (process-wide). Any thread.
    static bool isApprovedFd(int fd);
    static void addApprovedFd(int fd);
    static void remApprovedFd(int fd);

    // Makes a blocked wait of the loop return. Any thread.
    void wake();

    // True when a registered descriptor is ready, i.e. the next pass would serve
    // something without waiting. For diagnostics and test harnesses. Any thread.
    bool hasReadyDescriptors() const;

private:
    struct ComHandler {
        ComEventCallback callback;
        ComCloseCallback closeCallback;
        void* data;
    };

    static constexpr int kMaxEvents = 4;

    int epollFd;
    int wakeFd;
    struct epoll_event events[kMaxEvents];  // loop thread only
    std::map<int, ComHandler> comHandlers GUARDED_BY(mLock);
    mutable android::Mutex mLock;

    static std::set<int> approvedFd GUARDED_BY(sApprovedLock);
    static android::Mutex sApprovedLock;
    static ImsCom* m_pSelf;
};

#endif  // IMS_COM_H
