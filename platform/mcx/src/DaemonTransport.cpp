#include "DaemonTransport.h"

#include <android/log.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstring>

#include "mcx_client.h"

namespace mcx {

using mcxemu::wire::Frame;
using mcxemu::wire::FrameType;
using mcxemu::wire::Reader;
using mcxemu::wire::Writer;

namespace {
// How often a lost daemon is looked for again, and how long set-up calls wait.
constexpr auto kReconnectInterval = std::chrono::milliseconds(100);
constexpr uint32_t kSetupTimeoutMs = 2000;
}  // namespace

DaemonTransport::DaemonTransport(std::string socketPath, TransportListener& listener)
    : mPath(std::move(socketPath)), mListener(listener) {
    mReader = std::thread(&DaemonTransport::readerLoop, this);
    std::unique_lock<std::mutex> lock(mLock);
    mCv.wait_for(lock, std::chrono::seconds(1), [this] { return mFirstAttemptDone; });
}

DaemonTransport::~DaemonTransport() {
    {
        std::lock_guard<std::mutex> lock(mLock);
        mStop = true;
        if (mFd >= 0) ::shutdown(mFd, SHUT_RDWR);
        mCv.notify_all();
    }
    mReader.join();
}

int DaemonTransport::connectSocket() const {
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    if (mPath.size() >= sizeof(addr.sun_path)) return -1;
    std::memcpy(addr.sun_path, mPath.c_str(), mPath.size() + 1);
    int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return -1;
    if (::connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

void DaemonTransport::readerLoop() {
    for (;;) {
        int fd = connectSocket();
        {
            std::unique_lock<std::mutex> lock(mLock);
            if (mStop) {
                if (fd >= 0) ::close(fd);
                return;
            }
            if (fd < 0) {
                mFirstAttemptDone = true;
                mCv.notify_all();
                mCv.wait_for(lock, kReconnectInterval, [this] { return mStop; });
                continue;
            }
            mFd = fd;
        }
        serve(fd);
        lostDaemon();
        // Closed under the write lock, after mFd was cleared, so that no
        // writer can use the number once the kernel hands it out again.
        std::lock_guard<std::mutex> writeLock(mWriteLock);
        ::close(fd);
    }
}

void DaemonTransport::serve(int fd) {
    Frame frame;
    while (mcxemu::wire::readFrame(fd, &frame)) handleFrame(frame);
}

void DaemonTransport::handleFrame(const Frame& frame) {
    Reader in(frame.payload);
    switch (frame.type) {
        case FrameType::Reply: {
            uint32_t reqId = in.u32();
            TransportReply reply;
            reply.status = in.i32();
            reply.delayMs = in.u32();
            uint64_t value = in.u64();
            reply.response = in.rest();
            if (!in.ok()) break;
            std::lock_guard<std::mutex> lock(mLock);
            auto it = mPending.find(reqId);
            if (it == mPending.end()) break;  // its caller timed out
            it->second.done = true;
            it->second.reply = std::move(reply);
            it->second.value = value;
            mCv.notify_all();
            break;
        }
        case FrameType::Indication: {
            uint64_t connId = in.u64();
            uint32_t msgId = in.u32();
            std::vector<uint8_t> data = in.rest();
            if (in.ok()) mListener.onIndication(connId, msgId, std::move(data));
            break;
        }
        case FrameType::ConnectionLost: {
            uint64_t connId = in.u64();
            if (!in.ok()) break;
            {
                std::lock_guard<std::mutex> lock(mLock);
                mOpenConns.erase(connId);
            }
            mListener.onConnectionLost(connId);
            break;
        }
        case FrameType::ServiceState: {
            uint32_t serviceId = in.u32();
            bool up = in.u32() != 0;
            if (!in.ok()) break;
            {
                std::lock_guard<std::mutex> lock(mLock);
                if (up) mUpServices.insert(serviceId);
                else mUpServices.erase(serviceId);
            }
            mListener.onServiceState(serviceId, up);
            break;
        }
        case FrameType::Ready: {
            std::lock_guard<std::mutex> lock(mLock);
            mFirstAttemptDone = true;
            mCv.notify_all();
            break;
        }
        default:
            __android_log_print(ANDROID_LOG_WARN, "mcx_client", "mcx-modemd sent frame type %u",
                                static_cast<unsigned>(frame.type));
            break;
    }
}

void DaemonTransport::lostDaemon() {
    std::set<uint64_t> conns;
    std::set<uint32_t> services;
    bool stopping = false;
    {
        std::lock_guard<std::mutex> lock(mLock);
        stopping = mStop;
        mFd = -1;
        for (auto& [id, pending] : mPending) {
            pending.done = true;
            pending.reply.status = MCX_ERR_SERVICE_GONE;
        }
        conns.swap(mOpenConns);
        services.swap(mUpServices);
        mCv.notify_all();
    }
    if (!stopping) {
        __android_log_print(ANDROID_LOG_WARN, "mcx_client", "lost mcx-modemd on %s", mPath.c_str());
    }
    // Services first: whoever hears of a lost connection finds the service down.
    for (uint32_t id : services) mListener.onServiceState(id, false);
    for (uint64_t id : conns) mListener.onConnectionLost(id);
}

DaemonTransport::Pending DaemonTransport::call(FrameType type, Writer& body, uint32_t timeoutMs) {
    uint32_t reqId = 0;
    int fd = -1;
    {
        std::lock_guard<std::mutex> lock(mLock);
        if (mFd < 0) {
            Pending gone;
            gone.done = true;
            gone.reply.status = MCX_ERR_SERVICE_GONE;
            return gone;
        }
        fd = mFd;
        reqId = mNextReqId++;
        mPending[reqId] = Pending{};
    }
    Writer frame;
    frame.u32(reqId).raw(body.bytes().data(), body.bytes().size());
    sendOn(fd, type, frame.bytes());  // a failure ends in lostDaemon()
    std::unique_lock<std::mutex> lock(mLock);
    mCv.wait_for(lock, std::chrono::milliseconds(timeoutMs), [&] { return mPending[reqId].done; });
    Pending result = std::move(mPending[reqId]);
    mPending.erase(reqId);
    if (!result.done) result.reply.status = MCX_ERR_TIMEOUT;
    return result;
}

int DaemonTransport::open(uint32_t serviceId, uint64_t* connId) {
    Writer body;
    body.u32(serviceId);
    Pending p = call(FrameType::Open, body, kSetupTimeoutMs);
    if (p.reply.status == MCX_ERR_SERVICE_GONE) return MCX_ERR_NO_SERVICE;
    if (p.reply.status != MCX_NO_ERR) return p.reply.status;
    *connId = p.value;
    std::lock_guard<std::mutex> lock(mLock);
    mOpenConns.insert(p.value);
    return MCX_NO_ERR;
}

void DaemonTransport::close(uint64_t connId) {
    int fd = -1;
    {
        std::lock_guard<std::mutex> lock(mLock);
        if (mOpenConns.erase(connId) == 0 || mFd < 0) return;
        fd = mFd;
    }
    sendOn(fd, FrameType::Close, Writer().u64(connId).bytes());
}

void DaemonTransport::sendOn(int fd, FrameType type, const std::vector<uint8_t>& payload) {
    std::lock_guard<std::mutex> writeLock(mWriteLock);
    {
        std::lock_guard<std::mutex> lock(mLock);
        if (mFd != fd) return;  // that connection to the daemon is gone
    }
    mcxemu::wire::sendFrame(fd, type, payload);
}

TransportReply DaemonTransport::request(uint64_t connId, uint32_t msgId, const void* req,
                                        uint32_t reqLen, uint32_t timeoutMs) {
    Writer body;
    body.u64(connId).u32(msgId).raw(req, reqLen);
    return call(FrameType::Request, body, timeoutMs).reply;
}

int DaemonTransport::control(const std::string& command, std::string* reply) {
    Writer body;
    body.raw(command.data(), command.size());
    Pending p = call(FrameType::Control, body, kSetupTimeoutMs);
    reply->assign(p.reply.response.begin(), p.reply.response.end());
    return p.reply.status;
}

}  // namespace mcx
