/*
 * Host implementation of the wake-lock interface.
 *
 * On a device the power HAL writes lock names to /sys/power/wake_lock and
 * /sys/power/wake_unlock. A Linux workstation has the same files when the
 * kernel was built with user-space wake locks; they are used when they exist
 * and this process may write them. Otherwise only the in-memory record is
 * kept, which is also what tests read through power_host.h. The in-memory
 * record is kept in both cases so that "held" has the same meaning everywhere.
 */
#include "hardware_legacy/power.h"
#include "hardware_legacy/power_host.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <unistd.h>

#include <map>
#include <string_view>

#include <hostsync/Mutex.h>

namespace {

const char kSysfsDir[] = "/sys/power";

// What a take or a release touches fits the first two cache lines: the lock
// is taken once per event the loop handles, mostly with cold caches.
struct alignas(64) PowerState {
    hostsync::Mutex lock;
    bool probed GUARDED_BY(lock) = false;
    int lockFd GUARDED_BY(lock) = -1;
    int unlockFd GUARDED_BY(lock) = -1;
    int failAcquire GUARDED_BY(lock) = 0;
    int failRelease GUARDED_BY(lock) = 0;
    // The entry of the name used last. A process takes and releases the same
    // name again and again (one per event it handles), and a string compare
    // next to the lock costs less than a walk through the map's nodes.
    bool* lastHeld GUARDED_BY(lock) = nullptr;
    int acquires GUARDED_BY(lock) = 0;
    int releases GUARDED_BY(lock) = 0;
    char lastName[48] GUARDED_BY(lock) = {0};
    std::string sysfsDir GUARDED_BY(lock) = kSysfsDir;
    // Name -> held. Names stay once seen, so the usual take/release cycle of
    // one name allocates nothing after the first time.
    std::map<std::string, bool, std::less<>> held GUARDED_BY(lock);
};

PowerState& state() {
    // Never destroyed: wake locks may be released from static destructors.
    static PowerState* s = new PowerState;
    return *s;
}

void closeFds(PowerState& s) REQUIRES(s.lock) {
    if (s.lockFd >= 0) close(s.lockFd);
    if (s.unlockFd >= 0) close(s.unlockFd);
    s.lockFd = s.unlockFd = -1;
}

// Opens the kernel files once; either both are usable or neither is used.
void probe(PowerState& s) REQUIRES(s.lock) {
    if (s.probed) return;
    s.probed = true;
    std::string lockPath = s.sysfsDir + "/wake_lock";
    std::string unlockPath = s.sysfsDir + "/wake_unlock";
    if (access(lockPath.c_str(), W_OK) != 0 || access(unlockPath.c_str(), W_OK) != 0) return;
    s.lockFd = open(lockPath.c_str(), O_WRONLY | O_CLOEXEC);
    s.unlockFd = open(unlockPath.c_str(), O_WRONLY | O_CLOEXEC);
    if (s.lockFd < 0 || s.unlockFd < 0) closeFds(s);
}

// Writes the name to a kernel file; returns the write's result, errno set on failure.
int writeName(int fd, const char* id) {
    size_t len = strlen(id);
    ssize_t rv;
    do {
        rv = write(fd, id, len);
    } while (rv < 0 && errno == EINTR);
    if (rv >= 0 && static_cast<size_t>(rv) != len) {
        errno = EIO;
        return -1;
    }
    return rv < 0 ? -1 : static_cast<int>(rv);
}

// The held flag of `id`, null when the name was never seen; `create` enters it.
bool* heldFlag(PowerState& s, const char* id, bool create) REQUIRES(s.lock) {
    if (s.lastHeld != nullptr && strcmp(s.lastName, id) == 0) return s.lastHeld;
    auto it = s.held.find(std::string_view(id));
    if (it == s.held.end()) {
        if (!create) return nullptr;
        it = s.held.emplace(id, false).first;
    }
    if (strlen(id) < sizeof(s.lastName)) {
        strcpy(s.lastName, id);
        s.lastHeld = &it->second;
    }
    return &it->second;
}

void forgetNames(PowerState& s) REQUIRES(s.lock) {
    s.held.clear();
    s.lastHeld = nullptr;
}

int fail(int err) {
    errno = err;
    return -1;
}

}  // namespace

extern "C" int acquire_wake_lock(int lock, const char* id) {
    if (id == nullptr || id[0] == '\0') return fail(EINVAL);
    if (lock != PARTIAL_WAKE_LOCK && lock != FULL_WAKE_LOCK) return fail(EINVAL);
    PowerState& s = state();
    hostsync::MutexLock guard(s.lock);
    probe(s);
    if (s.failAcquire != 0) {
        int err = s.failAcquire;
        s.failAcquire = 0;
        return fail(err);
    }
    int rv = 0;
    if (s.lockFd >= 0) {
        rv = writeName(s.lockFd, id);
        if (rv < 0) return -1;
    } else {
        rv = static_cast<int>(strlen(id));
    }
    *heldFlag(s, id, true) = true;
    ++s.acquires;
    return rv;
}

extern "C" int release_wake_lock(const char* id) {
    if (id == nullptr || id[0] == '\0') return fail(EINVAL);
    PowerState& s = state();
    hostsync::MutexLock guard(s.lock);
    probe(s);
    if (s.failRelease != 0) {
        int err = s.failRelease;
        s.failRelease = 0;
        return fail(err);
    }
    // The kernel refuses to unlock a name it does not know; so does the record.
    bool* held = heldFlag(s, id, false);
    if (held == nullptr || !*held) return fail(EINVAL);
    int rv = 0;
    if (s.unlockFd >= 0) {
        rv = writeName(s.unlockFd, id);
        if (rv < 0) return -1;
    } else {
        rv = static_cast<int>(strlen(id));
    }
    *held = false;
    ++s.releases;
    return rv;
}

namespace power_host {

std::vector<std::string> heldWakeLocks() {
    PowerState& s = state();
    hostsync::MutexLock guard(s.lock);
    std::vector<std::string> names;
    for (const auto& entry : s.held) {
        if (entry.second) names.push_back(entry.first);
    }
    return names;
}

bool isWakeLockHeld(const std::string& id) {
    PowerState& s = state();
    hostsync::MutexLock guard(s.lock);
    auto it = s.held.find(id);
    return it != s.held.end() && it->second;
}

int acquireCount() {
    PowerState& s = state();
    hostsync::MutexLock guard(s.lock);
    return s.acquires;
}

int releaseCount() {
    PowerState& s = state();
    hostsync::MutexLock guard(s.lock);
    return s.releases;
}

void failNextAcquire(int err) {
    PowerState& s = state();
    hostsync::MutexLock guard(s.lock);
    s.failAcquire = err;
}

void failNextRelease(int err) {
    PowerState& s = state();
    hostsync::MutexLock guard(s.lock);
    s.failRelease = err;
}

void useSysfsDir(const std::string& dir) {
    PowerState& s = state();
    hostsync::MutexLock guard(s.lock);
    closeFds(s);
    s.sysfsDir = dir.empty() ? std::string(kSysfsDir) : dir;
    s.probed = false;
    forgetNames(s);
}

bool writesToSysfs() {
    PowerState& s = state();
    hostsync::MutexLock guard(s.lock);
    probe(s);
    return s.lockFd >= 0;
}

void reset() {
    PowerState& s = state();
    hostsync::MutexLock guard(s.lock);
    forgetNames(s);
    s.acquires = s.releases = 0;
    s.failAcquire = s.failRelease = 0;
}

}  // namespace power_host
