/*
 * McxLibrary: the process-wide core of the host messaging library behind the
 * C functions of mcx_client.h. It owns the handles, checks every argument and
 * length against the service's message table, honours request timeouts, and
 * runs every indication, error and notify callback on its one callback thread.
 */
#ifndef MCX_LIBRARY_H
#define MCX_LIBRARY_H

#include <deque>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "hostsync/Mutex.h"
#include "mcx_client.h"
#include "mcx_host.h"
#include "mcx_host_transport.h"

// A notifier or client handle. Only the library core touches its fields, and
// only under its mLock (a lock the analysis cannot name from here).
struct mcx_client_struct {
    enum class Kind { Notifier, Client };
    Kind kind = Kind::Client;
    const mcx_idl_service_object* svc = nullptr;
    uint64_t connId = 0;                  // clients only
    mcx_client_ind_cb indCb = nullptr;
    void* indData = nullptr;
    mcx_client_error_cb errCb = nullptr;
    void* errData = nullptr;
    mcx_client_notify_cb notifyCb = nullptr;
    void* notifyData = nullptr;
    bool lost = false;                    // the service went away under the connection
    bool released = false;                // release() is waiting for the handle to go quiet
    bool errorReported = false;
    int inFlight = 0;                     // requests being sent on it
};

namespace mcx {

class McxLibrary : public ModemListener {
public:
    // The one instance (created on first use, never destroyed: the callback
    // thread may still run while the process exits).
    static McxLibrary& instance();

    // The C functions of mcx_client.h and mcx_host.h; any thread unless noted.
    int notifierInit(mcx_idl_service_object_type svc, mcx_client_type* out);
    int registerNotifyCb(mcx_client_type h, mcx_client_notify_cb cb, void* data);
    int getAnyService(mcx_idl_service_object_type svc, mcx_service_info* info);
    int clientInit(mcx_service_info* info, mcx_idl_service_object_type svc, mcx_client_ind_cb cb,
                   void* data, mcx_client_type* out);
    int registerErrorCb(mcx_client_type h, mcx_client_error_cb cb, void* data);
    int sendSync(mcx_client_type h, unsigned int msgId, const void* req, unsigned int reqLen,
                 void* resp, unsigned int respLen, unsigned int timeoutMs);
    int decode(mcx_client_type h, mcx_idl_type_of_message_type kind, unsigned int msgId,
               const void* buf, unsigned int bufLen, void* dst, unsigned int dstLen);
    // Not from one of the handle's own callbacks (it would not wait for itself).
    int release(mcx_client_type h);
    int setTransport(TransportFactory factory);
    int control(const char* command, char* reply, size_t replyLen);

private:
    struct Callback {
        enum class Kind { Indication, Error, Notify };
        Kind kind;
        mcx_client_type handle;
        uint32_t value;                // msg id, error code or notify event
        std::vector<uint8_t> data;
    };

    McxLibrary();
    // Makes the transport on first use. Never under mLock: a new transport
    // reports the service states to the core at once.
    std::shared_ptr<McxTransport> transport() EXCLUDES(mLock, mTransportLock);
    bool liveLocked(mcx_client_type h) const REQUIRES(mLock) { return mHandles.count(h) != 0; }
    void markLostLocked(mcx_client_type h) REQUIRES(mLock);
    // Ends one clientInit's open; the last one forgets every early loss left.
    void openDoneLocked() REQUIRES(mLock);
    void queueLocked(Callback cb) REQUIRES(mLock);
    void callbackLoop() EXCLUDES(mLock);

    void onServiceState(uint32_t serviceId, bool up) override EXCLUDES(mLock);
    void onIndication(uint64_t connId, uint32_t msgId, std::vector<uint8_t> data) override
            EXCLUDES(mLock);
    void onConnectionLost(uint64_t connId) override EXCLUDES(mLock);

    // mTransportLock is taken before mLock, never after it.
    hostsync::Mutex mTransportLock;
    std::shared_ptr<McxTransport> mTransport GUARDED_BY(mTransportLock);  // made on first use
    TransportFactory mFactory GUARDED_BY(mTransportLock);                 // empty: no modem

    hostsync::Mutex mLock ACQUIRED_AFTER(mTransportLock);
    hostsync::CondVar mCv;  // queue, callback end, lost connections
    std::set<mcx_client_type> mHandles GUARDED_BY(mLock);
    std::map<uint64_t, mcx_client_type> mConnections GUARDED_BY(mLock);
    std::set<uint64_t> mLostEarly GUARDED_BY(mLock);  // lost before their handle was filed
    int mOpening GUARDED_BY(mLock) = 0;               // clientInit calls in progress
    std::map<uint32_t, bool> mServiceUp GUARDED_BY(mLock);
    std::deque<Callback> mQueue GUARDED_BY(mLock);
    mcx_client_type mRunning GUARDED_BY(mLock) = nullptr;  // handle in a callback
    std::thread::id mCallbackThreadId;  // set once, before any other thread sees the core
};

}  // namespace mcx

#endif  // MCX_LIBRARY_H
