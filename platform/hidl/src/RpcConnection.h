/*
 * One Unix-domain stream connection between this process and another, both
 * ways: this side's calls on the peer's objects and the peer's calls on the
 * objects this side handed it.
 *
 * Threads. A reader thread per connection reads every frame. Replies wake the
 * thread waiting for them. A two-way call made while the peer serves one of
 * our calls (a nested call) is handed to our thread waiting for that call, as
 * binder does, so a chain of nested calls between two processes never needs a
 * second pool thread. Other two-way calls go to the process's pool; one-way
 * calls queue per connection and are served in order, one at a time, by a
 * pool thread, so the sender never waits for them.
 *
 * Objects. Each local object handed to the peer gets an id on this connection
 * and is held until the peer releases every reference it received (or the
 * connection closes). Each peer object we hold proxies of has one RpcNode.
 *
 * Death. When the connection closes (the peer exited or was killed, or sent
 * something malformed), waiting calls fail with DEAD_OBJECT, every peer
 * object's death recipients are told, and everything exported is dropped.
 */
#ifndef HIDL_RPCCONNECTION_H
#define HIDL_RPCCONNECTION_H

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <hostsync/Mutex.h>

#include <hidl/HidlHostRpc.h>

namespace android {
namespace hardware {
namespace details {

class RpcConnection : public virtual RefBase, public WireObjectContext {
public:
    // Takes ownership of `fd`, a connected stream socket to process `peerPid`.
    RpcConnection(int fd, pid_t peerPid);
    ~RpcConnection() override;

    // Starts the reader thread. Once, by the creator.
    void start();

    // A call on the peer's object `objectId`; see RpcNode::transact. Any thread.
    status_t transact(uint32_t objectId, uint32_t code, bool oneway, WireParcel& request, WireParcel* reply);
    // Asks the peer for its service `descriptor`/`instance`: a proxy, or null
    // when it has none. DEAD_OBJECT when the peer is gone. Any thread.
    status_t lookup(const std::string& descriptor, const std::string& instance, sp<IBase>* out);

    // Logs `what` once and closes the connection. Any thread.
    void protocolError(const std::string& what);
    bool isDead() const;
    pid_t peerPid() const { return mPeerPid; }
    // Local objects the peer currently holds. Any thread.
    size_t exportedCount() const;

    // For RpcNode: the node of `id` is going away after `received` references.
    void releaseNode(uint32_t id, RpcNode* node, uint32_t received);

    bool writeObject(WireParcel& parcel, const sp<IBase>& object) override;
    bool readObject(WireParcel& parcel, const char* descriptor, sp<IBase>* out) override;

private:
    struct Frame;
    struct Incoming;
    struct Transaction;
    struct Export {
        sp<IBase> object;
        RpcStubFn stub = nullptr;
        std::string descriptor;
        uint32_t count = 0;  // references sent and not yet released
    };

    void readLoop();
    bool readFrame(Frame* frame, std::string* error);
    bool readFully(uint8_t* buffer, size_t size, std::vector<int>* fds, bool* cleanEof, std::string* error);
    // False (with `error`) when the frame breaks the protocol.
    bool handleFrame(std::unique_ptr<Frame> frame, std::string* error);
    void serve(const std::shared_ptr<Incoming>& call);
    void drainOneway();
    void onClosed();
    status_t send(FrameKind kind, uint32_t objectId, uint32_t code, uint32_t txId, uint32_t parentTx,
                  const std::vector<uint8_t>& payload, const std::vector<int>& fds);
    status_t roundTrip(FrameKind kind, uint32_t objectId, uint32_t code, const WireParcel& request,
                       WireParcel* reply);

    const pid_t mPeerPid;
    hostsync::Mutex mWriteLock;
    int mFd;  // guarded by mWriteLock for writes and close; read by the reader thread

    mutable hostsync::Mutex mLock;
    bool mDead GUARDED_BY(mLock) = false;
    bool mErrorLogged GUARDED_BY(mLock) = false;
    std::map<uint32_t, Transaction*> mPending GUARDED_BY(mLock);
    std::map<uint32_t, Export> mExports GUARDED_BY(mLock);
    std::map<IBase*, uint32_t> mExportIds GUARDED_BY(mLock);
    std::map<uint32_t, wp<RpcNode>> mImports GUARDED_BY(mLock);
    std::deque<std::shared_ptr<Incoming>> mOneway GUARDED_BY(mLock);
    bool mOnewayRunning GUARDED_BY(mLock) = false;
    uint32_t mNextExportId GUARDED_BY(mLock) = 1;
    std::atomic<uint32_t> mNextTxId{1};
};

}  // namespace details
}  // namespace hardware
}  // namespace android

#endif  // HIDL_RPCCONNECTION_H
