#include "emulator/ModemDaemon.h"

#include <android/log.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <set>
#include <thread>

#include "emulator/ModemControl.h"
#include "mcx_wire/ModemWire.h"
#include "hostsync/Mutex.h"
#include "mcx_client.h"

namespace mcxemu {

namespace {

namespace wire = mcx::wire;

constexpr const char* kTag = "mcx-modemd";
using wire::FrameType;

bool fillAddress(const std::string& path, sockaddr_un* addr) {
    std::memset(addr, 0, sizeof(*addr));
    addr->sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof(addr->sun_path)) return false;
    std::memcpy(addr->sun_path, path.c_str(), path.size() + 1);
    return true;
}

// One client process: its socket, its connections, and the sink that turns
// emulator events into frames.
class Session : public ModemListener {
public:
    Session(ModemEmulator& modem, int fd, pid_t peer) : mModem(modem), mFd(fd), mPeer(peer) {}
    ~Session() override { ::close(mFd); }

    void serve() {
        mModem.attach(this);  // reports the service states first
        send(FrameType::Ready, {});
        std::vector<uint8_t> frame;
        for (;;) {
            wire::ReadResult got = wire::readFrame(mFd, &frame);
            if (got == wire::ReadResult::Closed) break;
            std::string why;
            wire::ClientMessage message;
            if (got == wire::ReadResult::TooLong) {
                why = "length field over " + std::to_string(wire::kMaxPayload) + " bytes";
            } else if (wire::decodeClientFrame(frame.data(), frame.size(), &message, &why)) {
                handle(message);
                continue;
            }
            __android_log_print(ANDROID_LOG_WARN, kTag, "closing the connection of pid %d: malformed frame: %s",
                                static_cast<int>(mPeer), why.c_str());
            break;
        }
        mModem.detach(this);  // closes this client's connections
    }

    void onServiceState(uint32_t serviceId, bool up) override {
        send(FrameType::ServiceState, wire::Writer().u32(serviceId).u32(up ? 1 : 0).bytes());
    }
    void onIndication(uint64_t connId, uint32_t msgId, std::vector<uint8_t> data) override {
        send(FrameType::Indication, wire::Writer().u64(connId).u32(msgId).raw(data.data(), data.size()).bytes());
    }
    void onConnectionLost(uint64_t connId) override {
        {
            hostsync::MutexLock lock(mConnLock);
            mConnections.erase(connId);
        }
        send(FrameType::ConnectionLost, wire::Writer().u64(connId).bytes());
    }

private:
    void handle(const wire::ClientMessage& in) {
        switch (in.type) {
            case FrameType::Open: {
                uint64_t connId = mModem.connect(in.serviceId, this);
                if (connId != 0) {
                    hostsync::MutexLock lock(mConnLock);
                    mConnections.insert(connId);
                }
                reply(in.reqId, connId == 0 ? MCX_ERR_NO_SERVICE : MCX_NO_ERR, 0, connId, {});
                break;
            }
            case FrameType::Close:
                if (owns(in.connId, true)) mModem.disconnect(in.connId);
                break;
            case FrameType::Request: {
                if (!owns(in.connId, false)) {
                    reply(in.reqId, MCX_ERR_SERVICE_GONE, 0, 0, {});
                    break;
                }
                ModemReply r = mModem.request(in.connId, in.msgId, in.bytes.data(), in.bytes.size());
                reply(in.reqId, r.status, r.delayMs, 0, r.response);
                break;
            }
            case FrameType::Control: {
                std::string answer;
                bool ok = runControlCommand(mModem, std::string(in.bytes.begin(), in.bytes.end()), &answer);
                reply(in.reqId, ok ? MCX_NO_ERR : MCX_ERR_INVALID_ARG, 0, 0,
                      std::vector<uint8_t>(answer.begin(), answer.end()));
                break;
            }
            default:
                break;  // decodeClientFrame lets no other type through
        }
    }

    bool owns(uint64_t connId, bool forget) {
        hostsync::MutexLock lock(mConnLock);
        bool found = mConnections.count(connId) != 0;
        if (found && forget) mConnections.erase(connId);
        return found;
    }

    void reply(uint32_t reqId, int status, uint32_t delayMs, uint64_t value,
               const std::vector<uint8_t>& bytes) {
        send(FrameType::Reply, wire::Writer().u32(reqId).i32(status).u32(delayMs).u64(value)
                                   .raw(bytes.data(), bytes.size()).bytes());
    }

    void send(FrameType type, const std::vector<uint8_t>& payload) {
        hostsync::MutexLock lock(mWriteLock);
        // A failed write shows up as end of stream in serve(), which ends the session.
        wire::sendFrame(mFd, type, payload);
    }

    ModemEmulator& mModem;
    const int mFd;
    const pid_t mPeer;
    hostsync::Mutex mWriteLock;  // one frame at a time on the socket
    hostsync::Mutex mConnLock;
    std::set<uint64_t> mConnections GUARDED_BY(mConnLock);
};

// What is at `path` before the daemon binds there.
enum class PathState { Free, StaleSocket, LiveSocket, NotASocket, Unknown };

PathState inspectPath(const std::string& path, const sockaddr_un& addr) {
    struct stat st;
    if (::lstat(path.c_str(), &st) != 0) return errno == ENOENT ? PathState::Free : PathState::Unknown;
    if (!S_ISSOCK(st.st_mode)) return PathState::NotASocket;
    int probe = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (probe < 0) return PathState::Unknown;
    int rc = ::connect(probe, reinterpret_cast<const sockaddr*>(&addr), sizeof(addr));
    int err = errno;
    ::close(probe);
    if (rc == 0) return PathState::LiveSocket;
    return err == ECONNREFUSED ? PathState::StaleSocket : PathState::Unknown;
}

}  // namespace

ModemDaemon::ModemDaemon(ModemEmulator& modem, std::string socketPath, int maxSessions)
    : mModem(modem), mPath(std::move(socketPath)), mMaxSessions(maxSessions) {}

ModemDaemon::~ModemDaemon() {
    if (mListenFd >= 0) {
        ::close(mListenFd);
        if (!mSocketRemoved.exchange(true)) ::unlink(mPath.c_str());
    }
}

bool ModemDaemon::listen(std::string* error) {
    sockaddr_un addr;
    if (!fillAddress(mPath, &addr)) {
        *error = "socket path empty or too long: " + mPath;
        return false;
    }
    // Only a socket that nobody serves any more is replaced.
    switch (inspectPath(mPath, addr)) {
        case PathState::Free:
            break;
        case PathState::StaleSocket:
            ::unlink(mPath.c_str());
            break;
        case PathState::LiveSocket:
            *error = mPath + ": another daemon is serving this socket";
            return false;
        case PathState::NotASocket:
            *error = mPath + ": exists and is not a socket; refusing to replace it";
            return false;
        case PathState::Unknown:
            *error = mPath + ": cannot tell whether it is a stale socket (" + std::strerror(errno) + ")";
            return false;
    }
    mListenFd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (mListenFd < 0) {
        *error = std::string("socket: ") + std::strerror(errno);
        return false;
    }
    // The socket file is created owner-only whatever the caller's umask; the
    // chmod covers a file system that ignores the umask for sockets.
    const mode_t oldMask = ::umask(0177);
    const bool bound = ::bind(mListenFd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) == 0;
    const int bindErrno = errno;
    ::umask(oldMask);
    if (!bound) {
        *error = mPath + ": " + std::strerror(bindErrno);
        ::close(mListenFd);
        mListenFd = -1;
        return false;
    }
    if (::chmod(mPath.c_str(), 0600) != 0 || ::listen(mListenFd, 16) != 0) {
        *error = mPath + ": " + std::strerror(errno);
        return false;
    }
    return true;
}

void ModemDaemon::run() {
    for (;;) {
        int fd = ::accept4(mListenFd, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0) {
            if (errno == EINTR || errno == ECONNABORTED) continue;
            return;
        }
        ucred peer{};
        socklen_t peerLen = sizeof(peer);
        if (::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &peerLen) != 0 ||
            peer.uid != ::geteuid()) {
            __android_log_print(ANDROID_LOG_WARN, kTag, "refusing pid %d of uid %d: only uid %d is served",
                                static_cast<int>(peer.pid), static_cast<int>(peer.uid),
                                static_cast<int>(::geteuid()));
            ::close(fd);
            continue;
        }
        if (mSessions.load() >= mMaxSessions) {
            __android_log_print(ANDROID_LOG_WARN, kTag, "refusing pid %d: %d connections open already",
                                static_cast<int>(peer.pid), mMaxSessions);
            ::close(fd);
            continue;
        }
        ++mSessions;
        std::thread([this, fd, pid = peer.pid] {
            {
                Session session(mModem, fd, pid);
                session.serve();
            }
            --mSessions;
        }).detach();
    }
}

void ModemDaemon::stop() {
    if (mListenFd < 0) return;
    // The file goes first: run() returning may end the process at once.
    if (!mSocketRemoved.exchange(true)) ::unlink(mPath.c_str());
    // accept() in run() then fails with EINVAL; the descriptor stays open
    // until the destructor, so run() never meets a reused one.
    ::shutdown(mListenFd, SHUT_RDWR);
}

bool sendDaemonControl(const std::string& socketPath, const std::string& command,
                       std::string* reply) {
    sockaddr_un addr;
    if (!fillAddress(socketPath, &addr)) return false;
    int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return false;
    bool ok = false;
    if (::connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) == 0 &&
        wire::sendFrame(fd, FrameType::Control,
                        wire::Writer().u32(1).raw(command.data(), command.size()).bytes())) {
        std::vector<uint8_t> frame;
        wire::DaemonMessage message;
        std::string why;
        while (wire::readFrame(fd, &frame) == wire::ReadResult::Frame &&
               wire::decodeDaemonFrame(frame.data(), frame.size(), &message, &why)) {
            if (message.type != FrameType::Reply) continue;  // service states, Ready
            reply->assign(message.bytes.begin(), message.bytes.end());
            ok = message.status == MCX_NO_ERR;
            break;
        }
    }
    ::close(fd);
    return ok;
}

}  // namespace mcxemu
