/*
 * The reading side of RpcConnection: who reads the socket, and when.
 *
 * The right to read passes between the reader thread and callers waiting for
 * a reply. While it is free, the socket is armed one shot in the reader
 * thread's epoll set, so the reader thread wakes when bytes come. A caller
 * that takes the free right disarms it first (one system call, where waking
 * the reader thread would cost a hand-over to it and back), and arms it again
 * when it gives the right back. Reading never ends with bytes of a frame left
 * in the reader's buffer unseen: whoever gives the right back then wakes the
 * reader thread through mWakeFd.
 */
#include "RpcConnection.h"

#include <android/log.h>
#include <errno.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "DetachedThread.h"
#include "RpcThreadPool.h"

namespace android {
namespace hardware {
namespace details {

namespace {

const char* kTag = "HidlTransport";

}  // namespace

RpcConnection::RpcConnection(int fd, pid_t peerPid, bool peerIsClient)
    : mPeerPid(peerPid), mPeerIsClient(peerIsClient), mFd(fd) {}

RpcConnection::~RpcConnection() {
    if (mFd >= 0) ::close(mFd);
    if (mEpollFd >= 0) ::close(mEpollFd);
    if (mWakeFd >= 0) ::close(mWakeFd);
}

void RpcConnection::start() {
    RpcThreadPool::instance().start();
    mEpollFd = epoll_create1(EPOLL_CLOEXEC);
    mWakeFd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    epoll_event wake{};
    wake.events = EPOLLIN;
    wake.data.fd = mWakeFd;
    epoll_event socket{};
    socket.events = EPOLLIN | EPOLLONESHOT;
    socket.data.fd = mFd;
    sp<RpcConnection> self(this);
    if (mEpollFd < 0 || mWakeFd < 0 || epoll_ctl(mEpollFd, EPOLL_CTL_ADD, mWakeFd, &wake) != 0 ||
        epoll_ctl(mEpollFd, EPOLL_CTL_ADD, mFd, &socket) != 0 ||
        !startDetachedThread([self] { self->readLoop(); })) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "cannot start the reader thread of pid %d's connection",
                            static_cast<int>(mPeerPid));
        {
            hostsync::MutexLock guard(mLock);
            mReadRight = ReadRight::kReaderThread;  // nobody reads a connection that never started
        }
        onClosed();
    }
}

void RpcConnection::readLoop() {
    for (;;) {
        epoll_event events[2];
        int n = epoll_wait(mEpollFd, events, 2, -1);
        if (n < 0) {
            if (errno == EINTR) continue;
            __android_log_print(ANDROID_LOG_ERROR, kTag, "reader of pid %d's connection cannot wait: %s",
                                static_cast<int>(mPeerPid), strerror(errno));
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            continue;
        }
        for (int i = 0; i < n; ++i) {
            uint64_t count = 0;
            if (events[i].data.fd == mWakeFd) (void)!::read(mWakeFd, &count, sizeof(count));
        }
        {
            hostsync::MutexLock guard(mLock);
            // A caller took the right after the socket woke us; it arms the socket again when done.
            if (mReadRight != ReadRight::kFree) continue;
            mReadRight = ReadRight::kReaderThread;
            // Keeping the right from here on: nobody reads a connection that is closing.
            if (mReadEnded) break;
        }
        sp<IBase> dropped;
        InlineWork work;
        ReadOutcome outcome = readAndHandle(false, &dropped, &work);
        {
            hostsync::MutexLock guard(mLock);
            if (outcome == ReadOutcome::kEnded) {
                markDeadLocked();
                break;
            }
            releaseReadRightLocked();
        }
        // Once the right is given back: a call may call the peer, and a
        // destructor of `dropped` may call out.
        if (work.call != nullptr || work.oneway) {
            if (work.call != nullptr) serve(work.call);
            if (work.oneway) drainOneway();
            RpcThreadPool::instance().endLoan();
        }
    }
    onClosed();
}

bool RpcConnection::takeReadRightLocked() {
    if (mReadRight != ReadRight::kFree || mReadEnded || mDead) return false;
    mReadRight = ReadRight::kCaller;
    // One shot with no events: a hang-up still wakes the reader once, which then finds the right taken.
    epoll_event socket{};
    socket.events = EPOLLONESHOT;
    socket.data.fd = mFd;
    epoll_ctl(mEpollFd, EPOLL_CTL_MOD, mFd, &socket);
    return true;
}

void RpcConnection::releaseReadRightLocked() {
    mReadRight = ReadRight::kFree;
    epoll_event socket{};
    socket.events = EPOLLIN | EPOLLONESHOT;
    socket.data.fd = mFd;
    epoll_ctl(mEpollFd, EPOLL_CTL_MOD, mFd, &socket);
    if (mReadEnded || mReader.hasBuffered()) wakeReaderThread();
    if (mCallersWaiting > 0) {
        for (auto& p : mPending) p.second->wake.notifyOne();
    }
}

void RpcConnection::markDeadLocked() {
    if (mDead) return;
    mDead = true;
    mReadEnded = true;
    for (auto& p : mPending) {
        p.second->dead = true;
        p.second->wake.notifyOne();
    }
    // Still open: the reader thread closes them only once it finds mDead set.
    wakeReaderThread();
}

void RpcConnection::wakeReaderThread() {
    uint64_t one = 1;
    (void)!::write(mWakeFd, &one, sizeof(one));
}

RpcConnection::ReadOutcome RpcConnection::readAndHandle(bool wait, sp<IBase>* dropped, InlineWork* here,
                                                        RpcFrameReader::Clock::time_point deadline) {
    auto frame = std::make_unique<RpcFrame>();
    std::string error;
    switch (mReader.next(mFd, wait, frame.get(), &error, deadline)) {
        case RpcFrameReader::Result::kTimedOut:
            return ReadOutcome::kTimedOut;
        case RpcFrameReader::Result::kNothing:
            return ReadOutcome::kNothing;
        case RpcFrameReader::Result::kClosed:
            return ReadOutcome::kEnded;
        case RpcFrameReader::Result::kError:
            protocolError(error);
            return ReadOutcome::kEnded;
        case RpcFrameReader::Result::kFrame:
            break;
    }
    if (handleFrame(std::move(frame), &error, dropped, here)) return ReadOutcome::kHandled;
    protocolError(error);
    return ReadOutcome::kEnded;
}

}  // namespace details
}  // namespace hardware
}  // namespace android
