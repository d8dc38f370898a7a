#include "McxLibrary.h"

#include <android/log.h>

#include <algorithm>
#include <chrono>
#include <cstring>

#define MCX_WARN(...) __android_log_print(ANDROID_LOG_WARN, "mcx_client", __VA_ARGS__)

namespace mcx {

using Clock = std::chrono::steady_clock;

namespace {

// What the library talks to while the process has installed no modem: every
// service is down, as on a device whose modem never came up.
class NoModemTransport : public McxTransport {
public:
    int open(uint32_t, uint64_t*) override { return MCX_ERR_NO_SERVICE; }
    void close(uint64_t) override {}
    ModemReply request(uint64_t, uint32_t, const void*, uint32_t, uint32_t) override {
        ModemReply reply;
        reply.status = MCX_ERR_SERVICE_GONE;  // no connection can have been opened
        return reply;
    }
    int control(const std::string&, std::string* reply) override {
        *reply = "no modem installed";
        return MCX_ERR_NO_SERVICE;
    }
};

}  // namespace

McxLibrary& McxLibrary::instance() {
    static McxLibrary* self = new McxLibrary();
    return *self;
}

McxLibrary::McxLibrary() {
    std::thread worker(&McxLibrary::callbackLoop, this);
    mCallbackThreadId = worker.get_id();
    worker.detach();
}

std::shared_ptr<McxTransport> McxLibrary::transport() {
    hostsync::MutexLock lock(mTransportLock);
    if (!mTransport) {
        if (mFactory) mTransport = mFactory(*this);
        if (!mTransport) {
            MCX_WARN("no modem transport installed: every service is down");
            mTransport = std::make_shared<NoModemTransport>();
        }
    }
    return mTransport;
}

int McxLibrary::setTransport(TransportFactory factory) {
    std::shared_ptr<McxTransport> old;
    hostsync::MutexLock transportLock(mTransportLock);
    {
        hostsync::MutexLock lock(mLock);
        if (!mHandles.empty()) {
            MCX_WARN("mcx_host_set_transport: %zu handles still open", mHandles.size());
            return MCX_ERR_INVALID_ARG;
        }
    }
    old.swap(mTransport);
    mFactory = std::move(factory);
    old.reset();  // stops its threads: no event of it arrives after this
    hostsync::MutexLock lock(mLock);
    mServiceUp.clear();
    mLostEarly.clear();
    return MCX_NO_ERR;
}

int McxLibrary::control(const char* command, char* reply, size_t replyLen) {
    if (command == nullptr) return MCX_ERR_INVALID_ARG;
    std::string answer;
    int rc = transport()->control(command, &answer);
    if (reply != nullptr && replyLen > 0) {
        size_t n = std::min(answer.size(), replyLen - 1);
        std::memcpy(reply, answer.data(), n);
        reply[n] = '\0';
    }
    return rc;
}

int McxLibrary::notifierInit(mcx_idl_service_object_type svc, mcx_client_type* out) {
    if (svc == nullptr || out == nullptr) return MCX_ERR_INVALID_ARG;
    transport();  // learn the service states before the first registration
    auto* h = new mcx_client_struct;
    h->kind = mcx_client_struct::Kind::Notifier;
    h->svc = svc;
    hostsync::MutexLock lock(mLock);
    mHandles.insert(h);
    *out = h;
    return MCX_NO_ERR;
}

int McxLibrary::registerNotifyCb(mcx_client_type h, mcx_client_notify_cb cb, void* data) {
    hostsync::MutexLock lock(mLock);
    if (!liveLocked(h) || h->kind != mcx_client_struct::Kind::Notifier) {
        return MCX_ERR_INVALID_HANDLE;
    }
    if (cb == nullptr) return MCX_ERR_INVALID_ARG;
    h->notifyCb = cb;
    h->notifyData = data;
    if (mServiceUp[h->svc->service_id]) {
        queueLocked(Callback{Callback::Kind::Notify, h, MCX_CLIENT_SERVICE_COUNT_INC, {}});
    }
    return MCX_NO_ERR;
}

int McxLibrary::getAnyService(mcx_idl_service_object_type svc, mcx_service_info* info) {
    if (svc == nullptr || info == nullptr) return MCX_ERR_INVALID_ARG;
    transport();
    hostsync::MutexLock lock(mLock);
    if (!mServiceUp[svc->service_id]) return MCX_ERR_NO_SERVICE;
    std::memset(info, 0, sizeof(*info));
    info->service_id = svc->service_id;
    info->instance_id = 1;
    return MCX_NO_ERR;
}

int McxLibrary::clientInit(mcx_service_info* info, mcx_idl_service_object_type svc,
                           mcx_client_ind_cb cb, void* data, mcx_client_type* out) {
    if (info == nullptr || svc == nullptr || out == nullptr) return MCX_ERR_INVALID_ARG;
    if (info->service_id != svc->service_id) {
        MCX_WARN("mcx_client_init: service info of 0x%x used for service 0x%x", info->service_id,
                 svc->service_id);
        return MCX_ERR_INVALID_ARG;
    }
    {
        hostsync::MutexLock lock(mLock);
        ++mOpening;
    }
    uint64_t connId = 0;
    int rc = transport()->open(svc->service_id, &connId);
    if (rc != MCX_NO_ERR) {
        hostsync::MutexLock lock(mLock);
        openDoneLocked();
        return rc;
    }
    auto* h = new mcx_client_struct;
    h->svc = svc;
    h->connId = connId;
    h->indCb = cb;
    h->indData = data;
    hostsync::MutexLock lock(mLock);
    mHandles.insert(h);
    mConnections[connId] = h;
    if (mLostEarly.erase(connId) != 0) markLostLocked(h);
    openDoneLocked();
    *out = h;
    return MCX_NO_ERR;
}

int McxLibrary::registerErrorCb(mcx_client_type h, mcx_client_error_cb cb, void* data) {
    hostsync::MutexLock lock(mLock);
    if (!liveLocked(h) || h->kind != mcx_client_struct::Kind::Client) return MCX_ERR_INVALID_HANDLE;
    if (cb == nullptr) return MCX_ERR_INVALID_ARG;
    h->errCb = cb;
    h->errData = data;
    if (h->lost && !h->errorReported) {
        h->errorReported = true;
        queueLocked(Callback{Callback::Kind::Error, h, static_cast<uint32_t>(MCX_ERR_SERVICE_GONE), {}});
    }
    return MCX_NO_ERR;
}

int McxLibrary::sendSync(mcx_client_type h, unsigned int msgId, const void* req,
                         unsigned int reqLen, void* resp, unsigned int respLen,
                         unsigned int timeoutMs) {
    const auto start = Clock::now();
    uint64_t connId = 0;
    {
        hostsync::MutexLock lock(mLock);
        if (!liveLocked(h) || h->kind != mcx_client_struct::Kind::Client || h->released) {
            return MCX_ERR_INVALID_HANDLE;
        }
        const mcx_msg_desc_type* desc = mcx_idl_find_msg(h->svc, msgId);
        if (desc == nullptr || desc->req_len == MCX_MSG_LEN_NONE) {
            MCX_WARN("send_msg_sync: message 0x%x is not a request of %s", msgId, h->svc->service_name);
            return MCX_ERR_INVALID_ARG;
        }
        if ((req == nullptr && reqLen > 0) || resp == nullptr || timeoutMs == 0) {
            return MCX_ERR_INVALID_ARG;
        }
        if (reqLen != desc->req_len) {
            MCX_WARN("send_msg_sync: 0x%x request of %u bytes, expected %u", msgId, reqLen, desc->req_len);
            return MCX_ERR_REQ_LENGTH;
        }
        if (respLen != desc->resp_len) {
            MCX_WARN("send_msg_sync: 0x%x response buffer of %u bytes, expected %u", msgId, respLen,
                     desc->resp_len);
            return MCX_ERR_RESP_LENGTH;
        }
        if (h->lost) return MCX_ERR_SERVICE_GONE;
        connId = h->connId;
        ++h->inFlight;
    }
    ModemReply reply = transport()->request(connId, msgId, req, reqLen, timeoutMs);

    hostsync::MutexLock lock(mLock);
    int rc = reply.status;
    if (rc == MCX_NO_ERR && reply.response.size() != respLen) {
        MCX_WARN("send_msg_sync: modem answered 0x%x with %zu bytes, expected %u", msgId,
                 reply.response.size(), respLen);
        rc = MCX_ERR_RESP_LENGTH;
    }
    if (rc == MCX_NO_ERR && reply.delayMs > 0) {
        // The modem holds its answer back: wait for it, the timeout, or the
        // connection's end, whichever comes first.
        const auto answerAt = start + std::chrono::milliseconds(reply.delayMs);
        const auto giveUpAt = start + std::chrono::milliseconds(timeoutMs);
        mCv.waitUntil(mLock, std::min(answerAt, giveUpAt), [&] { return h->lost || h->released; });
        if (h->lost || h->released) rc = MCX_ERR_SERVICE_GONE;
        else if (reply.delayMs >= timeoutMs) rc = MCX_ERR_TIMEOUT;
    }
    if (rc == MCX_NO_ERR && h->lost) rc = MCX_ERR_SERVICE_GONE;
    if (rc == MCX_NO_ERR) std::memcpy(resp, reply.response.data(), respLen);
    --h->inFlight;
    mCv.notifyAll();
    return rc;
}

int McxLibrary::decode(mcx_client_type h, mcx_idl_type_of_message_type kind, unsigned int msgId,
                       const void* buf, unsigned int bufLen, void* dst, unsigned int dstLen) {
    const mcx_idl_service_object* svc = nullptr;
    {
        hostsync::MutexLock lock(mLock);
        if (!liveLocked(h)) return MCX_ERR_INVALID_HANDLE;
        svc = h->svc;
    }
    const mcx_msg_desc_type* desc = mcx_idl_find_msg(svc, msgId);
    uint32_t expected = MCX_MSG_LEN_NONE;
    if (desc != nullptr) {
        if (kind == MCX_IDL_REQUEST) expected = desc->req_len;
        else if (kind == MCX_IDL_RESPONSE) expected = desc->resp_len;
        else if (kind == MCX_IDL_INDICATION) expected = desc->ind_len;
    }
    if (expected == MCX_MSG_LEN_NONE || (buf == nullptr && bufLen > 0) || dst == nullptr) {
        MCX_WARN("message_decode: no message 0x%x of kind %d in %s", msgId, static_cast<int>(kind),
                 svc->service_name);
        return MCX_ERR_INVALID_ARG;
    }
    if (bufLen != expected) {
        MCX_WARN("message_decode: 0x%x of %u bytes, expected %u", msgId, bufLen, expected);
        return MCX_ERR_MSG_LENGTH;
    }
    if (dstLen < expected) return MCX_ERR_INVALID_ARG;
    if (expected > 0) std::memcpy(dst, buf, expected);
    return MCX_NO_ERR;
}

int McxLibrary::release(mcx_client_type h) {
    uint64_t connId = 0;
    bool closeConnection = false;
    {
        hostsync::MutexLock lock(mLock);
        if (!liveLocked(h) || h->released) return MCX_ERR_INVALID_HANDLE;
        h->released = true;
        mQueue.erase(std::remove_if(mQueue.begin(), mQueue.end(),
                                    [h](const Callback& c) { return c.handle == h; }),
                     mQueue.end());
        mCv.notifyAll();  // wakes a send waiting out a delayed answer
        const bool onCallbackThread = std::this_thread::get_id() == mCallbackThreadId;
        mCv.wait(mLock, [&]() REQUIRES(mLock) {
            return h->inFlight == 0 && (onCallbackThread || mRunning != h);
        });
        mHandles.erase(h);
        if (h->kind == mcx_client_struct::Kind::Client) {
            auto it = mConnections.find(h->connId);
            if (it != mConnections.end() && it->second == h) mConnections.erase(it);
            closeConnection = !h->lost;
            connId = h->connId;
        }
    }
    if (closeConnection) transport()->close(connId);
    delete h;
    return MCX_NO_ERR;
}

void McxLibrary::openDoneLocked() {
    // With no open in progress, what is left names released connections.
    if (--mOpening == 0) mLostEarly.clear();
}

void McxLibrary::markLostLocked(mcx_client_type h) {
    h->lost = true;
    if (h->errCb != nullptr && !h->errorReported && !h->released) {
        h->errorReported = true;
        queueLocked(Callback{Callback::Kind::Error, h, static_cast<uint32_t>(MCX_ERR_SERVICE_GONE), {}});
    }
    mCv.notifyAll();
}

void McxLibrary::queueLocked(Callback cb) {
    mQueue.push_back(std::move(cb));
    mCv.notifyAll();
}

void McxLibrary::callbackLoop() {
    hostsync::MutexLock lock(mLock);
    for (;;) {
        mCv.wait(mLock, [this]() REQUIRES(mLock) { return !mQueue.empty(); });
        Callback cb = std::move(mQueue.front());
        mQueue.pop_front();
        mcx_client_type h = cb.handle;
        if (!liveLocked(h) || h->released) continue;
        mRunning = h;
        const mcx_client_struct snapshot = *h;
        lock.unlock();
        switch (cb.kind) {
            case Callback::Kind::Indication:
                if (snapshot.indCb != nullptr) {
                    snapshot.indCb(h, cb.value, cb.data.empty() ? nullptr : cb.data.data(),
                                   static_cast<unsigned int>(cb.data.size()), snapshot.indData);
                }
                break;
            case Callback::Kind::Error:
                if (snapshot.errCb != nullptr) {
                    snapshot.errCb(h, static_cast<int>(cb.value), snapshot.errData);
                }
                break;
            case Callback::Kind::Notify:
                if (snapshot.notifyCb != nullptr) {
                    snapshot.notifyCb(h, const_cast<mcx_idl_service_object*>(snapshot.svc),
                                      static_cast<mcx_client_notify_event_type>(cb.value),
                                      snapshot.notifyData);
                }
                break;
        }
        lock.lock();
        mRunning = nullptr;
        mCv.notifyAll();
    }
}

void McxLibrary::onServiceState(uint32_t serviceId, bool up) {
    hostsync::MutexLock lock(mLock);
    bool& known = mServiceUp[serviceId];
    if (known == up) return;
    known = up;
    const auto event = up ? MCX_CLIENT_SERVICE_COUNT_INC : MCX_CLIENT_SERVICE_COUNT_DEC;
    for (mcx_client_type h : mHandles) {
        if (h->kind == mcx_client_struct::Kind::Notifier && h->notifyCb != nullptr &&
            h->svc->service_id == serviceId) {
            queueLocked(Callback{Callback::Kind::Notify, h, static_cast<uint32_t>(event), {}});
        }
    }
}

void McxLibrary::onIndication(uint64_t connId, uint32_t msgId, std::vector<uint8_t> data) {
    hostsync::MutexLock lock(mLock);
    auto it = mConnections.find(connId);
    if (it == mConnections.end() || it->second->indCb == nullptr) return;
    queueLocked(Callback{Callback::Kind::Indication, it->second, msgId, std::move(data)});
}

void McxLibrary::onConnectionLost(uint64_t connId) {
    hostsync::MutexLock lock(mLock);
    auto it = mConnections.find(connId);
    if (it == mConnections.end()) {
        // Either a connection being opened, whose handle is not filed yet, or
        // one released already. Only the first kind is kept for its handle.
        if (mOpening > 0) mLostEarly.insert(connId);
        return;
    }
    mcx_client_type h = it->second;
    mConnections.erase(it);
    markLostLocked(h);
}

}  // namespace mcx
