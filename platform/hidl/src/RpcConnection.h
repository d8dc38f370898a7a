/*
 * One Unix-domain stream connection between this process and another, both
 * ways: this side's calls on the peer's objects and the peer's calls on the
 * objects this side handed it.
 *
 * Threads. One thread at a time reads the socket: it holds the connection's
 * right to read. A thread waiting for a reply takes that right while nobody
 * else reads and reads its reply itself, so a call costs no hand-over
 * between threads on the calling side. Otherwise the connection's reader
 * thread, asleep until the socket has bytes, reads. Whoever reads hands on
 * what is not theirs: replies wake the thread waiting for them. A two-way
 * call made while the peer serves one of our calls (a nested call) is handed
 * to our thread waiting for that call, as binder does, so a chain of nested
 * calls between two processes never needs a second pool thread. Other
 * two-way calls go to the process's pool; one-way calls queue per connection
 * and are served in order, one at a time, by a pool thread, so the sender
 * never waits for them. In a pool of one thread the reader thread may serve
 * a call itself in the idle pool thread's place (RpcThreadPool::tryLoan);
 * it then waits in that call's nested calls like any caller.
 *
 * Objects. Each local object handed to the peer gets an id on this connection
 * and is held until the peer releases every reference it received (or the
 * connection closes). Each peer object we hold proxies of has one RpcNode.
 *
 * Death. Whichever thread holds the right to read when the stream ends (the
 * peer exited or was killed, or sent something malformed) marks the
 * connection dead at once: every waiting call fails with DEAD_OBJECT, and
 * the reader thread is woken. The reader thread alone then closes the
 * connection for good (it keeps the right to read from then on): the
 * socket is closed, every peer object's death recipients are told, and
 * everything exported is dropped. Nothing waits for the reader thread to
 * notice, so a reader thread that was itself waiting in a nested call is
 * freed too.
 *
 * Bounds. A frame that cannot be sent within kSendLimit (the peer stopped
 * reading) closes the connection. A two-way call waits at most the limit
 * set for its kind of connection (rpcCallLimit); one past it returns
 * TIMED_OUT and closes the connection, since the reply may still come and
 * the stream can no longer be trusted to pair replies with calls.
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

#include "RpcFrameReader.h"

namespace android {
namespace hardware {
namespace details {

class RpcConnection : public virtual RefBase, public WireObjectContext {
public:
    // Takes ownership of `fd`, a connected stream socket to process `peerPid`;
    // `peerIsClient` when the peer connected to this process's socket.
    RpcConnection(int fd, pid_t peerPid, bool peerIsClient);
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
    struct Incoming;
    struct Transaction;
    struct Export {
        sp<IBase> object;
        RpcStubFn stub = nullptr;
        std::string descriptor;
        uint32_t count = 0;  // references sent and not yet released
    };

    // Who may read the socket now. While it is free the socket is armed in
    // mEpollFd, so the reader thread wakes when bytes come.
    enum class ReadRight { kFree, kReaderThread, kCaller };

    void readLoop();
    // Takes the free right to read for a waiting caller. False when it is not
    // free or reading has ended.
    bool takeReadRightLocked() REQUIRES(mLock);
    // Gives the right back: the reader thread watches the socket again and
    // callers waiting for a frame may take it.
    void releaseReadRightLocked() REQUIRES(mLock);
    enum class ReadOutcome { kHandled, kNothing, kEnded, kTimedOut };
    // What the reader thread serves itself in the place the pool lent it
    // (RpcThreadPool::tryLoan) once it has given the right to read back.
    struct InlineWork {
        std::shared_ptr<Incoming> call;  // a two-way call
        bool oneway = false;             // the connection's one-way queue
    };
    // Reads and handles one frame; by the holder of the right only. Unless
    // `wait`, kNothing when no frame has begun. kEnded when the peer closed or
    // the stream broke the protocol (logged); kTimedOut when `deadline`
    // passed first. See handleFrame for the rest.
    ReadOutcome readAndHandle(bool wait, sp<IBase>* dropped, InlineWork* here,
                              RpcFrameReader::Clock::time_point deadline = RpcFrameReader::kNoDeadline);
    // The stream ended or cannot be trusted: waiting calls fail with
    // DEAD_OBJECT now and the reader thread is woken to close the connection.
    // Any thread.
    void markDeadLocked() REQUIRES(mLock);
    void wakeReaderThread();
    // False (with `error`) when the frame breaks the protocol. Objects whose
    // last reference the peer released go to `dropped`, to be released after
    // the right to read is given back (their destructors may call out). Work
    // a pool thread would do goes to `here` instead (when given) if the pool
    // lends its idle thread's place; the reader then does it and ends the loan.
    bool handleFrame(std::unique_ptr<RpcFrame> frame, std::string* error, sp<IBase>* dropped, InlineWork* here);
    void serve(const std::shared_ptr<Incoming>& call);
    void drainOneway();
    void onClosed();
    status_t send(FrameKind kind, uint32_t objectId, uint32_t code, uint32_t txId, uint32_t parentTx,
                  const std::vector<uint8_t>& payload, const std::vector<int>& fds);
    status_t roundTrip(FrameKind kind, uint32_t objectId, uint32_t code, const WireParcel& request,
                       WireParcel* reply);

    const pid_t mPeerPid;
    const bool mPeerIsClient;
    hostsync::Mutex mWriteLock;
    int mFd;  // guarded by mWriteLock for writes and close; read by the holder of the right to read
    int mEpollFd = -1;  // the reader thread's wait: the socket (one shot) and mWakeFd
    int mWakeFd = -1;   // an eventfd that wakes the reader thread
    RpcFrameReader mReader;  // used by the holder of the right to read

    mutable hostsync::Mutex mLock;
    bool mDead GUARDED_BY(mLock) = false;
    bool mErrorLogged GUARDED_BY(mLock) = false;
    ReadRight mReadRight GUARDED_BY(mLock) = ReadRight::kFree;
    bool mReadEnded GUARDED_BY(mLock) = false;  // the reader thread is to close the connection
    size_t mCallersWaiting GUARDED_BY(mLock) = 0;  // callers asleep until a frame or the right comes
    std::map<uint32_t, Transaction*> mPending GUARDED_BY(mLock);
    std::map<uint32_t, Export> mExports GUARDED_BY(mLock);
    std::map<IBase*, uint32_t> mExportIds GUARDED_BY(mLock);
    std::map<uint32_t, wp<RpcNode>> mImports GUARDED_BY(mLock);
    std::deque<std::shared_ptr<Incoming>> mOneway GUARDED_BY(mLock);
    bool mOnewayRunning GUARDED_BY(mLock) = false;
    uint32_t mNextExportId GUARDED_BY(mLock) = 1;
    std::atomic<uint32_t> mNextTxId{1};
};

struct RpcConnection::Incoming {
    std::unique_ptr<RpcFrame> frame;
    sp<IBase> object;
    RpcStubFn stub = nullptr;
    std::string descriptor;
};

struct RpcConnection::Transaction {
    hostsync::CondVar wake;
    std::unique_ptr<RpcFrame> reply;                // guarded by the connection's mLock
    std::deque<std::shared_ptr<Incoming>> nested;   // guarded by the connection's mLock
    bool dead = false;                              // guarded by the connection's mLock
};

}  // namespace details
}  // namespace hardware
}  // namespace android

#endif  // HIDL_RPCCONNECTION_H
