/*
 * DaemonTransport: the messaging library talking to mcx-modemd over its Unix
 * socket. A reader thread receives replies, indications and service events;
 * when the daemon dies every open connection is lost and every service goes
 * down, and the thread keeps trying to reconnect so that a restarted daemon
 * is seen as the service coming back. A malformed frame from the daemon is
 * taken the same way: the socket is dropped, as if the daemon had died.
 *
 * Connection ids handed to the library are the transport's own, never reused:
 * a restarted daemon numbers its connections from 1 again, and an id of the
 * dead daemon must not name a connection of the new one.
 */
#ifndef MCX_DAEMON_TRANSPORT_H
#define MCX_DAEMON_TRANSPORT_H

#include <functional>
#include <map>
#include <set>
#include <string>
#include <thread>

#include "hostsync/Mutex.h"
#include "mcx_host_transport.h"
#include "mcx_wire/ModemWire.h"

namespace mcx {

class DaemonTransport : public McxTransport {
public:
    // Starts the reader thread and waits (at most a second) for the first
    // connection attempt, so that the service states are known on return.
    DaemonTransport(std::string socketPath, ModemListener& listener);
    // Stops the reader thread; no listener call happens after it returns.
    ~DaemonTransport() override;

    int open(uint32_t serviceId, uint64_t* connId) override;
    void close(uint64_t connId) override;
    ModemReply request(uint64_t connId, uint32_t msgId, const void* req, uint32_t reqLen,
                           uint32_t timeoutMs) override;
    int control(const std::string& command, std::string* reply) override;

    // Decodes one whole frame from the daemon (header included) and acts on
    // it; false if the frame is malformed: the daemon is then dropped. Reader
    // thread (the fuzz target calls it on a transport that never connects).
    bool handleFrame(const std::vector<uint8_t>& frame) EXCLUDES(mLock);

private:
    struct Pending {
        bool done = false;
        bool opening = false;  // an Open: its reply files the new connection
        ModemReply reply;
        uint64_t value = 0;
    };
    // Writes the body of a frame after its request id; false if the frame
    // cannot be sent (a connection of an earlier daemon). Called under mLock:
    // a writer that reads guarded state says so with mLock.assertHeld().
    using BodyWriter = std::function<bool(mcx::wire::Writer&)>;

    void readerLoop() EXCLUDES(mLock, mWriteLock);
    int connectSocket() const;
    void serve(int fd) EXCLUDES(mLock);
    void lostDaemon() EXCLUDES(mLock);
    // Writes a frame if `session` is still the daemon connection.
    void sendOn(uint64_t session, int fd, mcx::wire::FrameType type,
                const std::vector<uint8_t>& payload) EXCLUDES(mLock, mWriteLock);
    // Sends a frame carrying a new request id and waits for its reply.
    Pending call(mcx::wire::FrameType type, const BodyWriter& body, uint32_t timeoutMs,
                 bool opening = false) EXCLUDES(mLock);

    const std::string mPath;
    ModemListener& mListener;
    // One frame at a time on the socket, and the socket is closed only under
    // it; taken before mLock.
    hostsync::Mutex mWriteLock;
    hostsync::Mutex mLock ACQUIRED_AFTER(mWriteLock);
    hostsync::CondVar mCv;
    int mFd GUARDED_BY(mLock) = -1;
    uint64_t mSession GUARDED_BY(mLock) = 0;  // socket connections made so far
    bool mStop GUARDED_BY(mLock) = false;
    bool mFirstAttemptDone GUARDED_BY(mLock) = false;
    uint32_t mNextReqId GUARDED_BY(mLock) = 1;
    uint64_t mNextConnId GUARDED_BY(mLock) = 1;
    std::map<uint32_t, Pending> mPending GUARDED_BY(mLock);
    std::map<uint64_t, uint64_t> mOpenConns GUARDED_BY(mLock);    // our id -> the daemon's
    std::map<uint64_t, uint64_t> mDaemonConns GUARDED_BY(mLock);  // the daemon's id -> ours
    std::set<uint32_t> mUpServices GUARDED_BY(mLock);
    std::thread mReader;
};

}  // namespace mcx

#endif  // MCX_DAEMON_TRANSPORT_H
