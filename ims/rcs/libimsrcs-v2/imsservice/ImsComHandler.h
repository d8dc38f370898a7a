/*
 * imsComHandler<T>: carries events of type T from any thread to the loop thread.
 *
 * postEvent() queues a copy under the handler's mutex and signals the
 * handler's eventfd; on the loop thread cb() drains the eventfd once and hands
 * every queued item, in posting order, to the owner's handleEvent(). A burst of
 * posts therefore costs one loop iteration. handleEvent() runs with the
 * handler's mutex held: a post from another thread waits until the batch is
 * over, and handleEvent() must never post to its own handler.
 *
 * While events are in flight the device is kept awake by a partial wake lock,
 * one per T (wakelockWrapper), taken by the first post and released when cb()
 * has handled the batch; a 1000 ms guard timer releases it should the loop
 * never get to it.
 *
 * Owners derive from the template and implement handleEvent().
 */
#ifndef IMS_COM_HANDLER_H
#define IMS_COM_HANDLER_H

#include <errno.h>
#include <stdint.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <deque>
#include <utils/Mutex.h>

#include "hardware_legacy/power.h"
#include "imsservice/ImsCom.h"
#include "imsservice/ImsLog.h"
#include "imsservice/ImsTimer.h"

/*
 * The partial wake lock shared by all handlers of one event type.
 *
 * acquireWakelock() and the guard timer are serialised by `mutex`;
 * releaseWakelock() deliberately takes no mutex, so the release at the end of a
 * batch may drop a lock that a concurrent post has just kept (that post's item
 * is still handled at its own signal). `held` is atomic so that this stays free
 * of data races.
 */
class wakelockWrapper {
public:
    static constexpr const char* kName = "imsComHandler_wakeLock_";
    static constexpr long kGuardMs = 1000;

    wakelockWrapper() = default;
    wakelockWrapper(const wakelockWrapper&) = delete;
    wakelockWrapper& operator=(const wakelockWrapper&) = delete;

    // Takes the wake lock, or notes that it was wanted again while held, and
    // arms the guard timer if none is armed. Posting threads.
    void acquireWakelock(ImsTimer& timer) {
        android::Mutex::Autolock guard(mutex);
        IMS_LOG("imsComHandler:acquireWakelock");
        if (held.load()) {
            ++count;  // keeps the lock for another guard interval
            return;
        }
        if (acquire_wake_lock(PARTIAL_WAKE_LOCK, kName) < 0) {
            IMS_LOG("%s: imsComHandler: failed to acquire wake lock [%d:%s]", "acquireWakelock",
                    errno, strerror(errno));
        }
        held.store(true);
        if (timerId == 0) {
            timerId = timer.addTimedCallback(kGuardMs, wakelockTimerExprCb, this);
        }
    }

    // The guard timer: repeats while posts keep arriving, otherwise releases the
    // lock and stops. Loop thread (timed callback).
    static int wakelockTimerExprCb(void* self) {
        IMS_LOG("imsComHandler: wakelock Timer expired");
        if (self == nullptr) return -1;
        wakelockWrapper* w = static_cast<wakelockWrapper*>(self);
        android::Mutex::Autolock guard(w->mutex);
        if (w->count != 0) {
            w->count = 0;
            return 0;  // same interval again
        }
        IMS_LOG("imsComHandler:releaseWakelock");
        if (!w->held.load()) return -1;
        IMS_LOG("imsComHandler:releasing wake");
        if (release_wake_lock(kName) < 0) {
            IMS_LOG("%s: imsComHandler: release wakelock failed. ", "releaseWakelock");
            return -1;
        }
        w->held.store(false);
        // Only cleared on this path: once cb() has released the lock first, the
        // old id stays and later posts arm no new guard; cb() releases alone.
        w->timerId = 0;
        return -1;
    }

    // Releases the lock if held; 1 when released, 0 otherwise. Takes no mutex.
    // Loop thread (end of a batch), posting thread on a failed signal.
    int releaseWakelock() {
        IMS_LOG("imsComHandler:releaseWakelock");
        if (!held.load()) return 0;
        IMS_LOG("imsComHandler:releasing wake");
        if (release_wake_lock(kName) < 0) {
            IMS_LOG("%s: imsComHandler: release wakelock failed. ", "releaseWakelock");
            return 0;
        }
        held.store(false);
        return 1;
    }

    // State, for diagnostics and tests. Any thread.
    bool isHeld() const { return held.load(); }
    int guardTimerId() const {
        android::Mutex::Autolock guard(mutex);
        return timerId;
    }
    int pendingCount() const {
        android::Mutex::Autolock guard(mutex);
        return count;
    }

private:
    mutable android::Mutex mutex;
    std::atomic<bool> held{false};
    int timerId GUARDED_BY(mutex) = 0;
    int count GUARDED_BY(mutex) = 0;
};

template <typename T>
class imsComHandler {
public:
    // Creates the eventfd and registers it with `com`. Owner's constructor.
    imsComHandler(ImsCom& com, ImsTimer& timer) : com(com), timer(timer) {
        fd = eventfd(0, EFD_NONBLOCK);
        IMS_LOG("imsComHandler ctor");
        com.addComEventHandler(fd, cb, this, nullptr, EPOLLIN);
        IMS_LOG("imsComHandler: ctor fd[%d]", fd);
    }

    // Unregisters and closes the eventfd; queued items are dropped, the wake
    // lock is left alone. Owner's destructor, while no batch is running.
    virtual ~imsComHandler() {
        com.removeComEventHandler(fd);
        close(fd);
    }

    imsComHandler(const imsComHandler&) = delete;
    imsComHandler& operator=(const imsComHandler&) = delete;

    // Queues a copy of `item` and signals the loop. Any thread except from
    // inside this handler's own handleEvent().
    void postEvent(T& item) {
        IMS_LOG("imsComHandler postEvent start for fd[%d]", fd);
        {
            android::Mutex::Autolock guard(mutex);
            queue.push_back(item);
        }
        mWakeLock.acquireWakelock(timer);
        uint64_t one = 1;
        ssize_t rv = write(fd, &one, sizeof(one));
        if (rv != static_cast<ssize_t>(sizeof(one))) {
            IMS_LOG("Error in writing rv: %d, error: %s, for fd[%d]", static_cast<int>(rv),
                    strerror(errno), fd);
            // The item stays queued and is handled at the next signal.
            mWakeLock.releaseWakelock();
        }
    }

    // The eventfd's callback: handles every queued item in one batch. Loop thread.
    static void cb(int fd, void* self) {
        IMS_LOG("imsComHandler cb start");
        imsComHandler* h = static_cast<imsComHandler*>(self);
        uint64_t counter;
        while (read(fd, &counter, sizeof(counter)) != -1) {
        }
        if (errno != EAGAIN) {
            IMS_LOG("Error while clearing the read buffer on fd %d", fd);
            return;
        }
        {
            android::Mutex::Autolock guard(h->mutex);
            while (!h->queue.empty()) {
                T item = h->queue.front();
                h->queue.pop_front();
                h->handleEvent(item);
            }
        }
        mWakeLock.releaseWakelock();
        IMS_LOG("imsComHandler cb end");
    }

    // The owner's dispatch of one item. Loop thread, handler mutex held.
    virtual void handleEvent(T& item) REQUIRES(mutex) = 0;

    // The wake lock of all handlers of this event type.
    static wakelockWrapper mWakeLock;

protected:
    ImsCom& com;
    ImsTimer& timer;
    int fd;
    android::Mutex mutex;
    std::deque<T> queue GUARDED_BY(mutex);
};

template <typename T>
wakelockWrapper imsComHandler<T>::mWakeLock;

#endif  // IMS_COM_HANDLER_H
