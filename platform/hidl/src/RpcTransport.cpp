/*
 * The registry folder and the sockets of host HIDL between processes.
 *
 * Folder layout (one folder per user, mode 0700):
 *   proc-<pid>.sock        the listening socket of a process that published
 *                          services (mode 0600)
 *   <descriptor>#<instance> an entry: the pid of the process serving it,
 *                          written to a temporary name then renamed, so a
 *                          reader never sees half of one
 * An entry is live while its process's socket accepts connections; entries
 * and sockets of processes that are gone are removed by whoever meets them.
 */
#include "RpcTransport.h"

#include <android/log.h>
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <pwd.h>
#include <sys/inotify.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <thread>

#include <hostsync/Mutex.h>

#include <hidl/HidlHostTransport.h>

#include "DetachedThread.h"
#include "RpcConnection.h"

namespace android {
namespace hardware {

namespace {

const char* kTag = "HidlTransport";
using Clock = std::chrono::steady_clock;

struct TransportState {
    hostsync::Mutex lock;
    std::string dir GUARDED_BY(lock);
    std::chrono::milliseconds waitTimeout GUARDED_BY(lock){5000};
    bool listening GUARDED_BY(lock) = false;
    int listenFd GUARDED_BY(lock) = -1;
    size_t published GUARDED_BY(lock) = 0;  // services this process has entries for
    bool replaceLive GUARDED_BY(lock) = false;
    std::map<pid_t, sp<details::RpcConnection>> connections GUARDED_BY(lock);  // ones this process opened
};
TransportState& state() {
    static TransportState* s = new TransportState();  // connections may close during exit
    return *s;
}

std::string socketPath(const std::string& dir, pid_t pid) {
    return dir + "/proc-" + std::to_string(pid) + ".sock";
}

std::string entryPath(const std::string& dir, const std::string& descriptor, const std::string& instance) {
    return dir + "/" + descriptor + "#" + instance;
}

bool fillAddress(const std::string& path, sockaddr_un* addr) {
    memset(addr, 0, sizeof(*addr));
    addr->sun_family = AF_UNIX;
    if (path.size() >= sizeof(addr->sun_path)) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "socket path too long: %s", path.c_str());
        return false;
    }
    memcpy(addr->sun_path, path.c_str(), path.size());
    return true;
}

// The peer's credentials; false (with a log line) for a peer of another user.
bool checkPeer(int fd, pid_t* pid) {
    ucred cred{};
    socklen_t len = sizeof(cred);
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &cred, &len) != 0) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "cannot read peer credentials: %s", strerror(errno));
        return false;
    }
    if (cred.uid != geteuid()) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "refusing connection from pid %d: uid %u is not ours",
                            static_cast<int>(cred.pid), static_cast<unsigned>(cred.uid));
        return false;
    }
    *pid = cred.pid;
    return true;
}

// A connected socket to `path`, or -1.
int connectTo(const std::string& path) {
    sockaddr_un addr;
    if (!fillAddress(path, &addr)) return -1;
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return -1;
    if (connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

// The pid an entry names, or 0.
pid_t readEntry(const std::string& path) {
    std::ifstream in(path);
    long pid = 0;
    if (!(in >> pid) || pid <= 0) return 0;
    return static_cast<pid_t>(pid);
}

}  // namespace

namespace details {

void removeStaleEntry(const std::string& dir, const std::string& entry, pid_t pid) {
    // A new registration renames its entry over the same path at any moment,
    // so reading the entry and then removing the path could remove the new
    // one. The entry is moved aside first (atomic), read there, and put back
    // when it turns out to name another process (unless an even newer entry
    // took the path meanwhile).
    static std::atomic<unsigned> sequence{0};
    const std::string aside = dir + "/.stale-" + std::to_string(getpid()) + "-" + std::to_string(sequence++);
    if (rename(entry.c_str(), aside.c_str()) == 0) {
        if (readEntry(aside) != pid) link(aside.c_str(), entry.c_str());
        unlink(aside.c_str());
    }
    unlink(socketPath(dir, pid).c_str());
}

}  // namespace details

namespace {

bool prepareDir(const std::string& dir) {
    if (dir.empty()) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "no service registry folder given");
        return false;
    }
    if (mkdir(dir.c_str(), 0700) != 0 && errno != EEXIST) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "cannot create service registry %s: %s", dir.c_str(),
                            strerror(errno));
        return false;
    }
    struct stat st {};
    if (lstat(dir.c_str(), &st) != 0) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "cannot use service registry %s: %s", dir.c_str(),
                            strerror(errno));
        return false;
    }
    if (!S_ISDIR(st.st_mode) || st.st_uid != geteuid() || (st.st_mode & 077) != 0) {
        // Whoever made it is named, since it may be another user holding the default path.
        passwd entry{};
        passwd* owner = nullptr;
        char names[1024];
        getpwuid_r(st.st_uid, &entry, names, sizeof(names), &owner);
        __android_log_print(ANDROID_LOG_ERROR, kTag,
                            "service registry %s must be a folder of uid %u with mode 0700; it is %s of %s "
                            "(uid %u) with mode %04o",
                            dir.c_str(), static_cast<unsigned>(geteuid()),
                            S_ISDIR(st.st_mode) ? "a folder" : S_ISLNK(st.st_mode) ? "a symbolic link" : "a file",
                            owner != nullptr ? owner->pw_name : "an unknown user", static_cast<unsigned>(st.st_uid),
                            static_cast<unsigned>(st.st_mode & 07777));
        return false;
    }
    return true;
}

void acceptLoop(int listenFd) {
    for (;;) {
        int fd = accept4(listenFd, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0) {
            if (errno == EINTR || errno == ECONNABORTED || errno == EMFILE || errno == ENFILE) continue;
            // EINVAL: stopListening() shut the socket down.
            if (errno != EINVAL) __android_log_print(ANDROID_LOG_ERROR, kTag, "accept failed: %s", strerror(errno));
            ::close(listenFd);
            return;
        }
        pid_t pid = 0;
        if (!checkPeer(fd, &pid)) {
            ::close(fd);
            continue;
        }
        sp<details::RpcConnection> connection = new details::RpcConnection(fd, pid, true);
        connection->start();
    }
}

// The listening socket's descriptor (owned by the accept thread), or -1.
int startListening(const std::string& dir) {
    std::string path = socketPath(dir, getpid());
    sockaddr_un addr;
    if (!fillAddress(path, &addr)) return -1;
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return -1;
    unlink(path.c_str());  // left by an earlier process with our pid
    if (bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) != 0 || chmod(path.c_str(), 0600) != 0 ||
        listen(fd, 64) != 0) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "cannot listen on %s: %s", path.c_str(), strerror(errno));
        ::close(fd);
        unlink(path.c_str());
        return -1;
    }
    if (!details::startDetachedThread([fd] { acceptLoop(fd); })) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "cannot start the accept thread for %s", path.c_str());
        ::close(fd);
        unlink(path.c_str());
        return -1;
    }
    return fd;
}

// A process whose first registration failed (another process serves the
// name) leaves nothing in the folder: a socket nobody names would stay there
// after it exits, since only entries lead anyone to remove sockets.
void stopListeningIfUnused(const std::string& dir) {
    TransportState& s = state();
    hostsync::MutexLock guard(s.lock);
    if (!s.listening || s.published != 0) return;
    unlink(socketPath(dir, getpid()).c_str());
    ::shutdown(s.listenFd, SHUT_RDWR);  // the accept thread returns and closes it
    s.listenFd = -1;
    s.listening = false;
}

// The connection to process `pid` through its socket in `dir`, opened when needed.
sp<details::RpcConnection> connectionTo(const std::string& dir, pid_t pid) {
    TransportState& s = state();
    {
        hostsync::MutexLock guard(s.lock);
        auto it = s.connections.find(pid);
        if (it != s.connections.end() && !it->second->isDead()) return it->second;
    }
    int fd = connectTo(socketPath(dir, pid));
    if (fd < 0) return nullptr;
    pid_t peer = 0;
    if (!checkPeer(fd, &peer)) {
        ::close(fd);
        return nullptr;
    }
    sp<details::RpcConnection> connection = new details::RpcConnection(fd, peer, false);
    connection->start();
    hostsync::MutexLock guard(s.lock);
    s.connections[pid] = connection;
    return connection;
}

// One look-up attempt: the service, or null when it is not (or no longer) there.
sp<details::IBase> lookUpOnce(const std::string& dir, const std::string& descriptor, const std::string& name) {
    std::string entry = entryPath(dir, descriptor, name);
    pid_t pid = readEntry(entry);
    if (pid == 0) return nullptr;
    sp<details::RpcConnection> connection = connectionTo(dir, pid);
    if (connection == nullptr) {
        details::removeStaleEntry(dir, entry, pid);
        return nullptr;
    }
    sp<details::IBase> service;
    if (connection->lookup(descriptor, name, &service) != OK) return nullptr;
    return service;
}

// Waits until something is added to `dir` or `timeout` passes.
class FolderWatch {
public:
    explicit FolderWatch(const std::string& dir) {
        mFd = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
        if (mFd >= 0 && inotify_add_watch(mFd, dir.c_str(), IN_CREATE | IN_MOVED_TO | IN_CLOSE_WRITE) < 0) {
            ::close(mFd);
            mFd = -1;
        }
    }
    ~FolderWatch() {
        if (mFd >= 0) ::close(mFd);
    }
    void wait(std::chrono::milliseconds timeout) {
        // Without inotify the caller still looks again after a short while.
        auto slice = std::min(timeout, std::chrono::milliseconds(mFd >= 0 ? 1000 : 50));
        if (mFd < 0) {
            std::this_thread::sleep_for(slice);
            return;
        }
        pollfd p{mFd, POLLIN, 0};
        if (poll(&p, 1, static_cast<int>(slice.count())) > 0) {
            char buffer[4096];
            while (read(mFd, buffer, sizeof(buffer)) > 0) {
            }
        }
    }

private:
    int mFd = -1;
};

// Puts the entry written at `tmp` in place at `entry`. A free path is taken
// with link(), which fails rather than overwrite, so two processes
// registering at once cannot both believe they got it. An entry of this
// process, or of one that is gone, is replaced; one of another live process
// only when `replaceLive`, else ALREADY_EXISTS.
status_t placeEntry(const std::string& dir, const std::string& tmp, const std::string& entry, bool replaceLive) {
    for (int attempt = 0; attempt < 8; ++attempt) {
        if (link(tmp.c_str(), entry.c_str()) == 0) {
            unlink(tmp.c_str());
            return OK;
        }
        if (errno != EEXIST) return UNKNOWN_ERROR;
        pid_t holder = readEntry(entry);
        bool live = false;
        if (holder != 0 && holder != getpid()) {
            int fd = connectTo(socketPath(dir, holder));
            live = fd >= 0;
            if (fd >= 0) ::close(fd);
        }
        if (live && !replaceLive) return ALREADY_EXISTS;
        if (holder == 0 || holder == getpid() || live) {
            // Ours, unreadable, or taken over on request.
            return rename(tmp.c_str(), entry.c_str()) == 0 ? OK : UNKNOWN_ERROR;
        }
        details::removeStaleEntry(dir, entry, holder);  // then try the free path again
    }
    return UNKNOWN_ERROR;
}

}  // namespace

namespace details {

status_t rpcPublishService(const std::vector<std::string>& chain, const std::string& name) {
    TransportState& s = state();
    std::string dir;
    bool replaceLive = false;
    {
        hostsync::MutexLock guard(s.lock);
        if (s.dir.empty()) return OK;
        dir = s.dir;
        replaceLive = s.replaceLive;
        if (!s.listening) {
            s.listenFd = startListening(dir);
            if (s.listenFd < 0) return UNKNOWN_ERROR;
            s.listening = true;
        }
    }
    static std::atomic<unsigned> sequence{0};
    // Parents first: a client that finds the most derived entry finds them all.
    for (auto d = chain.rbegin(); d != chain.rend(); ++d) {
        const std::string& descriptor = *d;
        // Every interface extends IBase: an entry for it would name any service.
        if (descriptor == IBase::descriptor) continue;
        std::string tmp = dir + "/.entry-" + std::to_string(getpid()) + "-" + std::to_string(sequence++);
        {
            std::ofstream out(tmp, std::ios::trunc);
            out << getpid() << "\n";
            if (!out) {
                unlink(tmp.c_str());
                return UNKNOWN_ERROR;
            }
        }
        chmod(tmp.c_str(), 0600);
        status_t placed = placeEntry(dir, tmp, entryPath(dir, descriptor, name), replaceLive);
        if (placed != OK) {
            unlink(tmp.c_str());
            stopListeningIfUnused(dir);
            if (placed == ALREADY_EXISTS) {
                __android_log_print(ANDROID_LOG_ERROR, kTag,
                                    "%s/%s is served by process %d; not taking it over", descriptor.c_str(),
                                    name.c_str(), static_cast<int>(readEntry(entryPath(dir, descriptor, name))));
            }
            return placed;
        }
    }
    hostsync::MutexLock guard(s.lock);
    ++s.published;
    return OK;
}

void rpcConnectionClosed(RpcConnection* connection) {
    TransportState& s = state();
    sp<RpcConnection> dropped;  // released outside the lock
    hostsync::MutexLock guard(s.lock);
    auto it = s.connections.find(connection->peerPid());
    if (it != s.connections.end() && it->second.get() == connection) {
        dropped = std::move(it->second);
        s.connections.erase(it);
    }
}

sp<IBase> getRemoteService(const char* descriptor, const std::string& name) {
    std::string dir;
    std::chrono::milliseconds timeout;
    {
        TransportState& s = state();
        hostsync::MutexLock guard(s.lock);
        dir = s.dir;
        timeout = s.waitTimeout;
    }
    if (dir.empty()) return nullptr;
    FolderWatch watch(dir);  // before the first look, so nothing added in between is missed
    auto deadline = Clock::now() + timeout;
    for (;;) {
        sp<IBase> service = lookUpOnce(dir, descriptor, name);
        if (service != nullptr) return service;
        auto now = Clock::now();
        if (now >= deadline) return nullptr;
        watch.wait(std::chrono::duration_cast<std::chrono::milliseconds>(deadline - now) +
                   std::chrono::milliseconds(1));
    }
}

}  // namespace details

namespace host {

std::string defaultRegistryDir() {
    const char* explicitDir = getenv("IMSRCS_HIDL_REGISTRY");
    if (explicitDir != nullptr && explicitDir[0] != '\0') return explicitDir;
    const char* runtimeDir = getenv("XDG_RUNTIME_DIR");
    if (runtimeDir != nullptr && runtimeDir[0] != '\0') return std::string(runtimeDir) + "/imsrcs-hidl";
    return "/tmp/imsrcs-hidl-" + std::to_string(geteuid());
}

bool useServiceRegistry(const std::string& dir) {
    if (!prepareDir(dir)) return false;
    TransportState& s = state();
    hostsync::MutexLock guard(s.lock);
    if (s.listening && s.dir != dir) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "already serving in %s", s.dir.c_str());
        return false;
    }
    s.dir = dir;
    return true;
}

std::string serviceRegistryDir() {
    TransportState& s = state();
    hostsync::MutexLock guard(s.lock);
    return s.dir;
}

void setServiceWaitTimeout(std::chrono::milliseconds timeout) {
    TransportState& s = state();
    hostsync::MutexLock guard(s.lock);
    s.waitTimeout = timeout;
}

void setReplaceLiveServices(bool replace) {
    TransportState& s = state();
    hostsync::MutexLock guard(s.lock);
    s.replaceLive = replace;
}

std::vector<RegisteredService> listServices(const std::string& dir) {
    std::vector<RegisteredService> services;
    DIR* d = opendir(dir.c_str());
    if (d == nullptr) return services;
    std::vector<std::string> names;
    while (dirent* e = readdir(d)) {
        if (e->d_name[0] != '.') names.emplace_back(e->d_name);
    }
    closedir(d);
    std::map<pid_t, bool> alive;
    for (const auto& name : names) {
        size_t hash = name.find('#');
        if (hash == std::string::npos) continue;
        std::string entry = dir + "/" + name;
        pid_t pid = readEntry(entry);
        if (pid == 0) continue;
        auto known = alive.find(pid);
        if (known == alive.end()) {
            int fd = connectTo(socketPath(dir, pid));
            if (fd >= 0) ::close(fd);
            known = alive.emplace(pid, fd >= 0).first;
        }
        if (!known->second) {
            details::removeStaleEntry(dir, entry, pid);
            continue;
        }
        services.push_back(RegisteredService{name.substr(0, hash), name.substr(hash + 1), static_cast<int>(pid)});
    }
    std::sort(services.begin(), services.end(), [](const RegisteredService& a, const RegisteredService& b) {
        return a.descriptor != b.descriptor ? a.descriptor < b.descriptor : a.instance < b.instance;
    });
    return services;
}

}  // namespace host
}  // namespace hardware
}  // namespace android
