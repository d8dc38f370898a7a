#include "RpcConnection.h"

#include <android/log.h>
#include <errno.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <thread>
#include <utility>

#include "DetachedThread.h"
#include "RpcThreadPool.h"
#include "RpcTransport.h"

namespace android {
namespace hardware {
namespace details {

namespace {

const char* kTag = "HidlTransport";
using Clock = RpcFrameReader::Clock;

// How long one frame may take to leave: a peer that has not made room for it
// by then has stopped reading (stopped, or never reads its replies), and its
// connection is closed rather than hold the sending thread, which may be the
// one that serves every other client.
constexpr std::chrono::milliseconds kSendLimit{2000};

// Calls this thread is serving, innermost last: a call it makes on the same
// connection is nested in the innermost one.
thread_local std::vector<std::pair<const RpcConnection*, uint32_t>> tServing;

struct ServingScope {
    ServingScope(const RpcConnection* c, uint32_t txId) { tServing.emplace_back(c, txId); }
    ~ServingScope() { tServing.pop_back(); }
};

}  // namespace

bool RpcConnection::isDead() const {
    hostsync::MutexLock guard(mLock);
    return mDead;
}

size_t RpcConnection::exportedCount() const {
    hostsync::MutexLock guard(mLock);
    return mExports.size();
}

void RpcConnection::protocolError(const std::string& what) {
    {
        hostsync::MutexLock guard(mLock);
        if (mErrorLogged || mDead) return;
        mErrorLogged = true;
    }
    __android_log_print(ANDROID_LOG_ERROR, kTag, "closing connection with pid %d: %s",
                        static_cast<int>(mPeerPid), what.c_str());
    hostsync::MutexLock guard(mWriteLock);
    if (mFd >= 0) ::shutdown(mFd, SHUT_RDWR);
}

// ---- frames from the peer

bool RpcConnection::handleFrame(std::unique_ptr<RpcFrame> frame, std::string* error, sp<IBase>* dropped,
                                InlineWork* here) {
    const FrameHeader& h = frame->header;
    switch (static_cast<FrameKind>(h.kind)) {
        case FrameKind::kReply: {
            hostsync::MutexLock guard(mLock);
            auto it = mPending.find(h.txId);
            if (it == mPending.end() || it->second->reply != nullptr) {
                *error = "reply to unknown transaction " + std::to_string(h.txId);
                return false;
            }
            Transaction* tx = it->second;
            tx->reply = std::move(frame);
            tx->wake.notifyOne();
            return true;
        }
        case FrameKind::kCall:
        case FrameKind::kOneway: {
            auto call = std::make_shared<Incoming>();
            hostsync::MutexLock guard(mLock);
            auto it = mExports.find(h.objectId);
            if (it == mExports.end()) {
                *error = "call on unknown object " + std::to_string(h.objectId);
                return false;
            }
            call->object = it->second.object;
            call->stub = it->second.stub;
            call->descriptor = it->second.descriptor;
            bool oneway = static_cast<FrameKind>(h.kind) == FrameKind::kOneway;
            uint32_t parentTx = h.parentTx;
            call->frame = std::move(frame);
            if (oneway) {
                mOneway.push_back(std::move(call));
                if (!mOnewayRunning) {
                    mOnewayRunning = true;
                    if (here != nullptr && RpcThreadPool::instance().tryLoan()) {
                        here->oneway = true;
                    } else {
                        sp<RpcConnection> self(this);
                        RpcThreadPool::instance().post([self] { self->drainOneway(); });
                    }
                }
                return true;
            }
            auto waiting = parentTx != 0 ? mPending.find(parentTx) : mPending.end();
            if (waiting != mPending.end()) {
                waiting->second->nested.push_back(std::move(call));
                waiting->second->wake.notifyOne();
            } else if (here != nullptr && RpcThreadPool::instance().tryLoan()) {
                here->call = std::move(call);
            } else {
                sp<RpcConnection> self(this);
                RpcThreadPool::instance().post([self, call] { self->serve(call); });
            }
            return true;
        }
        case FrameKind::kRelease: {
            hostsync::MutexLock guard(mLock);
            auto it = mExports.find(h.objectId);
            if (h.length != 0 || h.fdCount != 0) {
                *error = "release frame with a payload";
                return false;
            }
            if (it == mExports.end() || h.code == 0 || h.code > it->second.count) {
                *error = "release of unknown object " + std::to_string(h.objectId);
                return false;
            }
            it->second.count -= h.code;
            if (it->second.count == 0) {
                *dropped = std::move(it->second.object);
                mExportIds.erase(dropped->get());
                mExports.erase(it);
            }
            return true;
        }
        case FrameKind::kLookup: {
            WireParcel in(frame->payload.data(), frame->payload.size());
            hidl_string descriptor;
            hidl_string instance;
            if (!in.read(&descriptor) || !in.read(&instance) || in.remaining() != 0 || !frame->fds.empty()) {
                *error = "look-up frame does not decode";
                return false;
            }
            sp<IBase> service = getRegisteredService(descriptor.c_str(), instance);
            WireParcel out;
            out.setObjectContext(this);
            if (!writeObject(out, service)) service = nullptr;
            send(FrameKind::kReply, 0, OK, h.txId, 0, out.data(), {});
            return true;
        }
    }
    *error = "unknown frame kind";
    return false;
}

// ---- serving

void RpcConnection::serve(const std::shared_ptr<Incoming>& call) {
    // Calls queued before the connection closed have nobody to answer to.
    if (isDead()) return;
    RpcFrame& f = *call->frame;
    WireParcel in(f.payload.data(), f.payload.size());
    in.setObjectContext(this);
    in.adoptReceivedFds(std::move(f.fds));
    f.fds.clear();
    WireParcel out;
    out.setObjectContext(this);
    RpcServeResult result;
    {
        ServingScope scope(this, f.header.txId);
        result = call->stub(call->object.get(), f.header.code, in, out);
    }
    if (result == RpcServeResult::kUnknownMethod) {
        protocolError("unknown method " + std::to_string(f.header.code) + " on " + call->descriptor);
        return;
    }
    if (result == RpcServeResult::kBadPayload) {
        protocolError("arguments of method " + std::to_string(f.header.code) + " on " + call->descriptor +
                      " do not match the frame length");
        return;
    }
    if (static_cast<FrameKind>(f.header.kind) == FrameKind::kCall) {
        if (!out.ok()) out.setReplyStatus(BAD_VALUE);
        static const std::vector<uint8_t> kEmpty;
        const std::vector<uint8_t>& payload = out.replyStatus() == OK ? out.data() : kEmpty;
        send(FrameKind::kReply, 0, static_cast<uint32_t>(out.replyStatus()), f.header.txId, 0, payload,
             out.replyStatus() == OK ? out.fds() : std::vector<int>());
    }
}

void RpcConnection::drainOneway() {
    for (;;) {
        std::shared_ptr<Incoming> call;
        {
            hostsync::MutexLock guard(mLock);
            if (mOneway.empty()) {
                mOnewayRunning = false;
                return;
            }
            call = std::move(mOneway.front());
            mOneway.pop_front();
        }
        serve(call);
    }
}

// ---- calling

status_t RpcConnection::send(FrameKind kind, uint32_t objectId, uint32_t code, uint32_t txId, uint32_t parentTx,
                             const std::vector<uint8_t>& payload, const std::vector<int>& fds) {
    if (payload.size() > kMaxFramePayload || fds.size() > kMaxFrameFds) return BAD_VALUE;
    FrameHeader h;
    h.kind = static_cast<uint16_t>(kind);
    h.length = static_cast<uint32_t>(payload.size());
    h.objectId = objectId;
    h.code = code;
    h.txId = txId;
    h.parentTx = parentTx;
    h.fdCount = static_cast<uint32_t>(fds.size());

    hostsync::MutexLock guard(mWriteLock);
    if (mFd < 0) return DEAD_OBJECT;
    const auto deadline = Clock::now() + kSendLimit;
    iovec iov[2] = {{&h, sizeof(h)}, {const_cast<uint8_t*>(payload.data()), payload.size()}};
    size_t total = sizeof(h) + payload.size();
    size_t sent = 0;
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int) * kMaxFrameFds)];
    while (sent < total) {
        // Skip what is already out; the descriptors ride with the first byte.
        iovec part[2];
        int parts = 0;
        size_t skip = sent;
        for (const iovec& v : iov) {
            if (skip >= v.iov_len) {
                skip -= v.iov_len;
                continue;
            }
            part[parts++] = {static_cast<uint8_t*>(v.iov_base) + skip, v.iov_len - skip};
            skip = 0;
        }
        msghdr msg{};
        msg.msg_iov = part;
        msg.msg_iovlen = static_cast<size_t>(parts);
        if (sent == 0 && !fds.empty()) {
            msg.msg_control = control;
            msg.msg_controllen = CMSG_SPACE(sizeof(int) * fds.size());
            cmsghdr* c = CMSG_FIRSTHDR(&msg);
            c->cmsg_level = SOL_SOCKET;
            c->cmsg_type = SCM_RIGHTS;
            c->cmsg_len = CMSG_LEN(sizeof(int) * fds.size());
            memcpy(CMSG_DATA(c), fds.data(), sizeof(int) * fds.size());
        }
        ssize_t n = ::sendmsg(mFd, &msg, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
            pollfd p{mFd, POLLOUT, 0};
            if (left.count() > 0 && ::poll(&p, 1, static_cast<int>(left.count()) + 1) >= 0) continue;
            if (left.count() > 0 && errno == EINTR) continue;
            ::shutdown(mFd, SHUT_RDWR);
            guard.unlock();
            protocolError("it has not read for " + std::to_string(kSendLimit.count()) + " ms");
            return DEAD_OBJECT;
        }
        if (n <= 0) {
            ::shutdown(mFd, SHUT_RDWR);
            return DEAD_OBJECT;
        }
        sent += static_cast<size_t>(n);
    }
    return OK;
}

status_t RpcConnection::transact(uint32_t objectId, uint32_t code, bool oneway, WireParcel& request,
                                 WireParcel* reply) {
    if (oneway) {
        if (isDead()) return DEAD_OBJECT;
        return send(FrameKind::kOneway, objectId, code, 0, 0, request.data(), request.fds());
    }
    return roundTrip(FrameKind::kCall, objectId, code, request, reply);
}

status_t RpcConnection::roundTrip(FrameKind kind, uint32_t objectId, uint32_t code, const WireParcel& request,
                                  WireParcel* reply) {
    const std::chrono::milliseconds limit = rpcCallLimit(mPeerIsClient);
    const auto deadline = limit.count() > 0 ? Clock::now() + limit : RpcFrameReader::kNoDeadline;
    Transaction tx;
    uint32_t txId = 0;
    {
        hostsync::MutexLock guard(mLock);
        if (mDead) return DEAD_OBJECT;
        do {
            txId = mNextTxId.fetch_add(1);
        } while (txId == 0 || mPending.count(txId) != 0);
        mPending[txId] = &tx;
    }
    uint32_t parentTx = 0;
    for (auto it = tServing.rbegin(); it != tServing.rend(); ++it) {
        if (it->first == this) {
            parentTx = it->second;
            break;
        }
    }
    status_t status = send(kind, objectId, code, txId, parentTx, request.data(), request.fds());
    hostsync::MutexLock lock(mLock);
    bool reading = false;  // this thread holds the right to read
    while (status == OK) {
        if (tx.reply != nullptr) break;
        if (tx.dead) {
            status = DEAD_OBJECT;
            break;
        }
        if (!tx.nested.empty()) {
            // The peer calls back into this process while serving our call: this thread serves it.
            if (reading) releaseReadRightLocked();
            reading = false;
            std::shared_ptr<Incoming> call = std::move(tx.nested.front());
            tx.nested.pop_front();
            lock.unlock();
            serve(call);
            lock.lock();
            continue;
        }
        if (deadline != RpcFrameReader::kNoDeadline && Clock::now() >= deadline) {
            status = TIMED_OUT;
            break;
        }
        if (reading || takeReadRightLocked()) {
            reading = true;
            lock.unlock();
            sp<IBase> dropped;
            ReadOutcome outcome = readAndHandle(true, &dropped, nullptr, deadline);
            lock.lock();
            if (outcome == ReadOutcome::kEnded) {
                // This thread may be the reader thread itself, serving a call
                // in the pool's place: nobody else would end this wait.
                markDeadLocked();
                releaseReadRightLocked();
                reading = false;
            }
            if (dropped != nullptr) {
                if (reading) releaseReadRightLocked();
                reading = false;
                lock.unlock();
                dropped.clear();
                lock.lock();
            }
            continue;
        }
        ++mCallersWaiting;
        if (deadline == RpcFrameReader::kNoDeadline) {
            tx.wake.wait(mLock);
        } else {
            tx.wake.waitUntil(mLock, deadline, [&]() REQUIRES(mLock) {
                return tx.reply != nullptr || tx.dead || !tx.nested.empty() || mReadRight == ReadRight::kFree;
            });
        }
        --mCallersWaiting;
    }
    bool logTimeout = false;
    if (status == TIMED_OUT) {
        // A late reply would be taken for another call's: the stream is done with.
        logTimeout = !mDead && !mErrorLogged;
        mErrorLogged = true;
        markDeadLocked();
    }
    if (reading) releaseReadRightLocked();
    mPending.erase(txId);
    lock.unlock();
    if (status == TIMED_OUT) {
        if (logTimeout) {
            __android_log_print(ANDROID_LOG_ERROR, kTag, "closing connection with pid %d: no answer within %lld ms",
                                static_cast<int>(mPeerPid), static_cast<long long>(limit.count()));
        }
        hostsync::MutexLock guard(mWriteLock);
        if (mFd >= 0) ::shutdown(mFd, SHUT_RDWR);
    }
    if (status != OK) return status;
    RpcFrame& f = *tx.reply;
    reply->setObjectContext(this);
    reply->adoptInput(std::move(f.payload));
    reply->adoptReceivedFds(std::move(f.fds));
    f.fds.clear();
    return static_cast<status_t>(f.header.code);
}

status_t RpcConnection::lookup(const std::string& descriptor, const std::string& instance, sp<IBase>* out) {
    WireParcel request;
    request.write(hidl_string(descriptor));
    request.write(hidl_string(instance));
    WireParcel reply;
    status_t status = roundTrip(FrameKind::kLookup, 0, 0, request, &reply);
    if (status != OK) return status;
    if (!readObject(reply, descriptor.c_str(), out) || reply.remaining() != 0) {
        protocolError("look-up reply does not decode");
        return DEAD_OBJECT;
    }
    return OK;
}

// ---- death

void RpcConnection::onClosed() {
    std::vector<sp<RpcNode>> nodes;
    std::map<uint32_t, Export> exports;
    std::deque<std::shared_ptr<Incoming>> oneway;
    {
        hostsync::MutexLock guard(mLock);
        mDead = true;
        for (auto& p : mPending) {
            p.second->dead = true;
            p.second->wake.notifyOne();
        }
        for (auto& p : mImports) {
            sp<RpcNode> node = p.second.promote();
            if (node != nullptr) nodes.push_back(node);
        }
        mImports.clear();
        exports.swap(mExports);
        mExportIds.clear();
        oneway.swap(mOneway);
    }
    {
        hostsync::MutexLock guard(mWriteLock);
        ::close(mFd);
        mFd = -1;
    }
    // The reader thread holds the right to read for good now, so nothing else
    // uses these; a connection that objects still refer to keeps no descriptor.
    mReader.discard();
    if (mEpollFd >= 0) ::close(mEpollFd);
    if (mWakeFd >= 0) ::close(mWakeFd);
    mEpollFd = mWakeFd = -1;
    rpcConnectionClosed(this);
    for (const auto& node : nodes) node->death().kill();
    // `exports`, `oneway` and `nodes` are dropped here, outside every lock.
}

}  // namespace details
}  // namespace hardware
}  // namespace android
