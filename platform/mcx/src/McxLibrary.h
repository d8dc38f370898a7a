/*
 * McxLibrary: the process-wide core of the host messaging library behind the
 * C functions of mcx_client.h. It owns the handles, checks every argument and
 * length against the service's message table, honours request timeouts, and
 * runs every indication, error and notify callback on its one callback thread.
 */
#ifndef MCX_LIBRARY_H
#define MCX_LIBRARY_H

#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "mcx_client.h"
#include "mcx_host.h"
#include "mcx_host_transport.h"

// A notifier or client handle. Only the library core touches its fields.
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
    std::shared_ptr<McxTransport> transport();
    bool liveLocked(mcx_client_type h) const { return mHandles.count(h) != 0; }
    void markLostLocked(mcx_client_type h);
    // Ends one clientInit's open; the last one forgets every early loss left.
    void openDoneLocked();
    void queueLocked(Callback cb);
    void callbackLoop();

    void onServiceState(uint32_t serviceId, bool up) override;
    void onIndication(uint64_t connId, uint32_t msgId, std::vector<uint8_t> data) override;
    void onConnectionLost(uint64_t connId) override;

    // mTransportLock is taken before mLock, never after it.
    std::mutex mTransportLock;
    std::shared_ptr<McxTransport> mTransport;       // guarded by mTransportLock: made on first use
    TransportFactory mFactory;                      // guarded by mTransportLock: empty for no modem

    std::mutex mLock;
    std::condition_variable mCv;                    // queue, callback end, lost connections
    std::set<mcx_client_type> mHandles;             // guarded by mLock
    std::map<uint64_t, mcx_client_type> mConnections;  // guarded by mLock
    std::set<uint64_t> mLostEarly;                  // guarded by mLock: lost before registration
    int mOpening = 0;                               // guarded by mLock: clientInit calls in progress
    std::map<uint32_t, bool> mServiceUp;            // guarded by mLock
    std::deque<Callback> mQueue;                    // guarded by mLock
    mcx_client_type mRunning = nullptr;             // guarded by mLock: handle in a callback
    std::thread::id mCallbackThreadId;
};

}  // namespace mcx

#endif  // MCX_LIBRARY_H
