/*
 * DebugWaits: the debug() commands that wait inside the service (the loop
 * barrier, the readiness and registration waits), each run on a thread of
 * its own. The service serves HIDL calls on one pool thread; a wait held
 * there would keep every other client's call waiting with it. So the call
 * returns at once, and the wait's answer is written later to a copy of the
 * caller's descriptor, which is closed after the answer: the caller reads it
 * until end of file.
 *
 * A wait checks whether it should give up in short slices, so that stop()
 * ends them all promptly. At most kMaxWaits run at a time; a command beyond
 * that is refused with an error answer.
 */
#ifndef SERVICE_DEBUG_WAITS_H
#define SERVICE_DEBUG_WAITS_H

#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <thread>

#include <hostsync/Mutex.h>

namespace rcsservice {

class DebugWaits {
public:
    static constexpr size_t kMaxWaits = 32;
    // How long a wait blocks before it checks whether to give up.
    static constexpr std::chrono::milliseconds kSlice{100};

    // A wait: gets the question "should I give up now?" and returns the
    // answer to write.
    using Wait = std::function<std::string(const std::function<bool()>& stopping)>;

    DebugWaits() = default;
    // stop()s.
    ~DebugWaits();
    DebugWaits(const DebugWaits&) = delete;
    DebugWaits& operator=(const DebugWaits&) = delete;

    // Runs `wait` on a thread of its own and writes its answer to a copy of
    // `fd`. When it cannot (too many waits, stopped, no copy) the refusal is
    // written to `fd` at once instead. Any thread.
    void start(int fd, Wait wait);
    // Makes the running waits give up, joins them and refuses later ones.
    // Not from a wait.
    void stop();

    // Calls `until` with slices of at most kSlice until it returns true
    // (true), `timeout` has passed or `stopping` says so (false).
    static bool inSlices(std::chrono::milliseconds timeout, const std::function<bool()>& stopping,
                         const std::function<bool(std::chrono::milliseconds slice)>& until);

private:
    struct Running {
        std::thread thread;
        bool done = false;  // guarded by the owner's mLock
    };
    void reapDone() REQUIRES(mLock);

    hostsync::Mutex mLock;
    bool mStopping GUARDED_BY(mLock) = false;
    std::list<std::unique_ptr<Running>> mRunning GUARDED_BY(mLock);
};

}  // namespace rcsservice

#endif  // SERVICE_DEBUG_WAITS_H
