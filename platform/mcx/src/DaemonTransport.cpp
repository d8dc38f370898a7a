#include "DaemonTransport.h"

#include <android/log.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstring>

#include "mcx_client.h"

namespace mcx {

using mcx::wire::DaemonMessage;
using mcx::wire::FrameType;
using mcx::wire::Writer;

namespace {
// How often a lost daemon is looked for again, and how long set-up calls wait.
constexpr auto kReconnectInterval = std::chrono::milliseconds(100);
constexpr uint32_t kSetupTimeoutMs = 2000;
}  // namespace

DaemonTransport::DaemonTransport(std::string socketPath, ModemListener& listener)
    : mPath(std::move(socketPath)), mListener(listener) {
    mReader = std::thread(&DaemonTransport::readerLoop, this);
    hostsync::MutexLock lock(mLock);
    mCv.waitFor(mLock, std::chrono::seconds(1), [this]() REQUIRES(mLock) { return mFirstAttemptDone; });
}

DaemonTransport::~DaemonTransport() {
    {
        hostsync::MutexLock lock(mLock);
        mStop = true;
        if (mFd >= 0) ::shutdown(mFd, SHUT_RDWR);
        mCv.notifyAll();
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
            hostsync::MutexLock lock(mLock);
            if (mStop) {
                if (fd >= 0) ::close(fd);
                return;
            }
            if (fd < 0) {
                mFirstAttemptDone = true;
                mCv.notifyAll();
                mCv.waitFor(mLock, kReconnectInterval, [this]() REQUIRES(mLock) { return mStop; });
                continue;
            }
            mFd = fd;
            ++mSession;
        }
        serve(fd);
        lostDaemon();
        {
            // Closed under the write lock, after mFd was cleared, so that no
            // writer can use the number once the kernel hands it out again.
            hostsync::MutexLock writeLock(mWriteLock);
            ::close(fd);
        }
        // A daemon that keeps sending nonsense is not hammered.
        hostsync::MutexLock lock(mLock);
        mCv.waitFor(mLock, kReconnectInterval, [this]() REQUIRES(mLock) { return mStop; });
    }
}

void DaemonTransport::serve(int fd) {
    std::vector<uint8_t> frame;
    for (;;) {
        mcx::wire::ReadResult got = mcx::wire::readFrame(fd, &frame);
        if (got == mcx::wire::ReadResult::Closed) return;
        if (got == mcx::wire::ReadResult::TooLong) {
            __android_log_print(ANDROID_LOG_WARN, "mcx_client",
                                "malformed frame from mcx-modemd (length field over %u bytes): "
                                "taking the daemon as lost",
                                mcx::wire::kMaxPayload);
            return;
        }
        if (!handleFrame(frame)) return;
    }
}

bool DaemonTransport::handleFrame(const std::vector<uint8_t>& bytes) {
    DaemonMessage in;
    std::string why;
    if (!mcx::wire::decodeDaemonFrame(bytes.data(), bytes.size(), &in, &why)) {
        __android_log_print(ANDROID_LOG_WARN, "mcx_client",
                            "malformed frame from mcx-modemd (%s): taking the daemon as lost",
                            why.c_str());
        return false;
    }
    switch (in.type) {
        case FrameType::Reply: {
            hostsync::MutexLock lock(mLock);
            auto it = mPending.find(in.reqId);
            if (it == mPending.end()) break;  // its caller timed out
            Pending& pending = it->second;
            pending.done = true;
            pending.reply.status = in.status;
            pending.reply.delayMs = in.delayMs;
            pending.reply.response = std::move(in.bytes);
            pending.value = in.value;
            if (pending.opening && in.status == MCX_NO_ERR) {
                // Filed here, in frame order, so that its indications and its
                // loss (later frames) find it.
                if (mDaemonConns.count(in.value) != 0) {
                    pending.reply.status = MCX_ERR_INTERNAL;
                } else {
                    pending.value = mNextConnId++;
                    mOpenConns[pending.value] = in.value;
                    mDaemonConns[in.value] = pending.value;
                }
            }
            mCv.notifyAll();
            break;
        }
        case FrameType::Indication: {
            uint64_t connId = 0;
            {
                hostsync::MutexLock lock(mLock);
                auto it = mDaemonConns.find(in.connId);
                if (it == mDaemonConns.end()) break;  // closed by us meanwhile
                connId = it->second;
            }
            mListener.onIndication(connId, in.msgId, std::move(in.bytes));
            break;
        }
        case FrameType::ConnectionLost: {
            uint64_t connId = 0;
            {
                hostsync::MutexLock lock(mLock);
                auto it = mDaemonConns.find(in.connId);
                if (it == mDaemonConns.end()) break;
                connId = it->second;
                mDaemonConns.erase(it);
                mOpenConns.erase(connId);
            }
            mListener.onConnectionLost(connId);
            break;
        }
        case FrameType::ServiceState: {
            {
                hostsync::MutexLock lock(mLock);
                if (in.up) mUpServices.insert(in.serviceId);
                else mUpServices.erase(in.serviceId);
            }
            mListener.onServiceState(in.serviceId, in.up);
            break;
        }
        case FrameType::Ready: {
            hostsync::MutexLock lock(mLock);
            mFirstAttemptDone = true;
            mCv.notifyAll();
            break;
        }
        default:
            break;  // decodeDaemonFrame lets no other type through
    }
    return true;
}

void DaemonTransport::lostDaemon() {
    std::vector<uint64_t> conns;
    std::set<uint32_t> services;
    bool stopping = false;
    {
        hostsync::MutexLock lock(mLock);
        stopping = mStop;
        mFd = -1;
        for (auto& [id, pending] : mPending) {
            pending.done = true;
            pending.reply.status = MCX_ERR_SERVICE_GONE;
        }
        for (const auto& entry : mOpenConns) conns.push_back(entry.first);
        mOpenConns.clear();
        mDaemonConns.clear();
        services.swap(mUpServices);
        mCv.notifyAll();
    }
    if (!stopping) {
        __android_log_print(ANDROID_LOG_WARN, "mcx_client", "lost mcx-modemd on %s", mPath.c_str());
    }
    // Services first: whoever hears of a lost connection finds the service down.
    for (uint32_t id : services) mListener.onServiceState(id, false);
    for (uint64_t id : conns) mListener.onConnectionLost(id);
}

DaemonTransport::Pending DaemonTransport::call(FrameType type, const BodyWriter& body,
                                               uint32_t timeoutMs, bool opening) {
    Pending gone;
    gone.done = true;
    gone.reply.status = MCX_ERR_SERVICE_GONE;
    uint32_t reqId = 0;
    int fd = -1;
    uint64_t session = 0;
    Writer frame;
    {
        hostsync::MutexLock lock(mLock);
        if (mFd < 0) return gone;
        reqId = mNextReqId++;
        frame.u32(reqId);
        if (!body(frame)) return gone;
        fd = mFd;
        session = mSession;
        Pending waiting;
        waiting.opening = opening;
        mPending[reqId] = waiting;
    }
    sendOn(session, fd, type, frame.bytes());  // a failure ends in lostDaemon()
    hostsync::MutexLock lock(mLock);
    mCv.waitFor(mLock, std::chrono::milliseconds(timeoutMs),
                [&]() REQUIRES(mLock) { return mPending[reqId].done; });
    Pending result = std::move(mPending[reqId]);
    mPending.erase(reqId);
    if (!result.done) result.reply.status = MCX_ERR_TIMEOUT;
    return result;
}

int DaemonTransport::open(uint32_t serviceId, uint64_t* connId) {
    Pending p = call(FrameType::Open, [serviceId](Writer& w) {
        w.u32(serviceId);
        return true;
    }, kSetupTimeoutMs, true);
    if (p.reply.status == MCX_ERR_SERVICE_GONE) return MCX_ERR_NO_SERVICE;
    if (p.reply.status != MCX_NO_ERR) return p.reply.status;
    *connId = p.value;
    return MCX_NO_ERR;
}

void DaemonTransport::close(uint64_t connId) {
    int fd = -1;
    uint64_t session = 0;
    uint64_t daemonId = 0;
    {
        hostsync::MutexLock lock(mLock);
        auto it = mOpenConns.find(connId);
        if (it == mOpenConns.end()) return;
        daemonId = it->second;
        mOpenConns.erase(it);
        mDaemonConns.erase(daemonId);
        if (mFd < 0) return;
        fd = mFd;
        session = mSession;
    }
    sendOn(session, fd, FrameType::Close, Writer().u64(daemonId).bytes());
}

void DaemonTransport::sendOn(uint64_t session, int fd, FrameType type,
                             const std::vector<uint8_t>& payload) {
    hostsync::MutexLock writeLock(mWriteLock);
    {
        hostsync::MutexLock lock(mLock);
        if (mSession != session || mFd < 0) return;  // that connection to the daemon is gone
    }
    mcx::wire::sendFrame(fd, type, payload);
}

ModemReply DaemonTransport::request(uint64_t connId, uint32_t msgId, const void* req,
                                        uint32_t reqLen, uint32_t timeoutMs) {
    return call(FrameType::Request, [&](Writer& w) {
        mLock.assertHeld();  // call() runs the writer under mLock
        // A connection of an earlier daemon names nothing on this one.
        auto it = mOpenConns.find(connId);
        if (it == mOpenConns.end()) return false;
        w.u64(it->second).u32(msgId).raw(req, reqLen);
        return true;
    }, timeoutMs).reply;
}

int DaemonTransport::control(const std::string& command, std::string* reply) {
    Pending p = call(FrameType::Control, [&](Writer& w) {
        w.raw(command.data(), command.size());
        return true;
    }, kSetupTimeoutMs);
    reply->assign(p.reply.response.begin(), p.reply.response.end());
    return p.reply.status;
}

}  // namespace mcx
