#include "emulator/ModemDaemon.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <mutex>
#include <set>
#include <thread>

#include "emulator/ModemControl.h"
#include "emulator/ModemWire.h"
#include "mcx_client.h"

namespace mcxemu {

namespace {

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
class Session : public ModemSink {
public:
    Session(ModemEmulator& modem, int fd) : mModem(modem), mFd(fd) {}
    ~Session() override { ::close(mFd); }

    void serve() {
        mModem.attach(this);  // reports the service states first
        send(FrameType::Ready, {});
        wire::Frame frame;
        while (wire::readFrame(mFd, &frame)) {
            if (!handle(frame)) break;
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
            std::lock_guard<std::mutex> lock(mConnLock);
            mConnections.erase(connId);
        }
        send(FrameType::ConnectionLost, wire::Writer().u64(connId).bytes());
    }

private:
    // False ends the session: a malformed frame means a confused peer.
    bool handle(const wire::Frame& frame) {
        wire::Reader in(frame.payload);
        switch (frame.type) {
            case FrameType::Open: {
                uint32_t reqId = in.u32();
                uint32_t serviceId = in.u32();
                if (!in.ok()) return false;
                uint64_t connId = mModem.connect(serviceId, this);
                if (connId != 0) {
                    std::lock_guard<std::mutex> lock(mConnLock);
                    mConnections.insert(connId);
                }
                reply(reqId, connId == 0 ? MCX_ERR_NO_SERVICE : MCX_NO_ERR, 0, connId, {});
                return true;
            }
            case FrameType::Close: {
                uint64_t connId = in.u64();
                if (!in.ok()) return false;
                if (owns(connId, true)) mModem.disconnect(connId);
                return true;
            }
            case FrameType::Request: {
                uint32_t reqId = in.u32();
                uint64_t connId = in.u64();
                uint32_t msgId = in.u32();
                std::vector<uint8_t> data = in.rest();
                if (!in.ok()) return false;
                if (!owns(connId, false)) {
                    reply(reqId, MCX_ERR_SERVICE_GONE, 0, 0, {});
                    return true;
                }
                ModemReply r = mModem.request(connId, msgId, data.data(), data.size());
                reply(reqId, r.status, r.delayMs, 0, r.response);
                return true;
            }
            case FrameType::Control: {
                uint32_t reqId = in.u32();
                std::vector<uint8_t> text = in.rest();
                if (!in.ok()) return false;
                std::string answer;
                bool ok = runControlCommand(mModem, std::string(text.begin(), text.end()), &answer);
                reply(reqId, ok ? MCX_NO_ERR : MCX_ERR_INVALID_ARG, 0, 0,
                      std::vector<uint8_t>(answer.begin(), answer.end()));
                return true;
            }
            default:
                return false;
        }
    }

    bool owns(uint64_t connId, bool forget) {
        std::lock_guard<std::mutex> lock(mConnLock);
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
        std::lock_guard<std::mutex> lock(mWriteLock);
        // A failed write shows up as end of stream in serve(), which ends the session.
        wire::sendFrame(mFd, type, payload);
    }

    ModemEmulator& mModem;
    const int mFd;
    std::mutex mWriteLock;               // one frame at a time on the socket
    std::mutex mConnLock;
    std::set<uint64_t> mConnections;     // guarded by mConnLock
};

}  // namespace

ModemDaemon::ModemDaemon(ModemEmulator& modem, std::string socketPath)
    : mModem(modem), mPath(std::move(socketPath)) {}

ModemDaemon::~ModemDaemon() {
    if (mListenFd >= 0) {
        ::close(mListenFd);
        ::unlink(mPath.c_str());
    }
}

bool ModemDaemon::listen(std::string* error) {
    sockaddr_un addr;
    if (!fillAddress(mPath, &addr)) {
        *error = "socket path empty or too long: " + mPath;
        return false;
    }
    mListenFd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (mListenFd < 0) {
        *error = std::string("socket: ") + std::strerror(errno);
        return false;
    }
    ::unlink(mPath.c_str());
    if (::bind(mListenFd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) != 0 ||
        ::listen(mListenFd, 16) != 0) {
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
        std::thread([this, fd] {
            Session session(mModem, fd);
            session.serve();
        }).detach();
    }
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
        wire::Frame frame;
        while (wire::readFrame(fd, &frame)) {
            if (frame.type != FrameType::Reply) continue;  // service states, Ready
            wire::Reader in(frame.payload);
            in.u32();
            int status = in.i32();
            in.u32();
            in.u64();
            std::vector<uint8_t> text = in.rest();
            reply->assign(text.begin(), text.end());
            ok = in.ok() && status == MCX_NO_ERR;
            break;
        }
    }
    ::close(fd);
    return ok;
}

}  // namespace mcxemu
