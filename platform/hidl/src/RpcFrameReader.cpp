#include "RpcFrameReader.h"

#include <errno.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

namespace android {
namespace hardware {
namespace details {

namespace {

// Room for a few small frames; what is larger is read straight into its payload.
constexpr size_t kBufferSize = 16 * 1024;
// Each recvmsg ends after the bytes that came with descriptors, so at most the
// current frame's and the next one's are ever queued.
constexpr size_t kMaxQueuedFds = 2 * kMaxFrameFds;
// A large payload's first step of memory; each later one doubles what came.
constexpr size_t kFirstPayloadStep = 64 * 1024;

// Waits until `fd` has bytes (or a hang-up) or `deadline` passes; false on the deadline.
bool waitReadable(int fd, RpcFrameReader::Clock::time_point deadline) {
    for (;;) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - RpcFrameReader::Clock::now());
        if (left.count() < 0) return false;
        pollfd p{fd, POLLIN, 0};
        int n = ::poll(&p, 1, static_cast<int>(std::min<long long>(left.count() + 1, 60000)));
        if (n > 0) return true;
        if (n < 0 && errno != EINTR) return true;  // the recvmsg that follows reports it
    }
}

}  // namespace

RpcFrame::~RpcFrame() {
    for (int fd : fds) ::close(fd);
}

RpcFrameReader::RpcFrameReader() : mBuffer(kBufferSize) {}

RpcFrameReader::~RpcFrameReader() {
    discard();
}

void RpcFrameReader::discard() {
    for (int fd : mFds) ::close(fd);
    mFds.clear();
    std::vector<uint8_t>().swap(mBuffer);
    mBegin = mEnd = 0;
}

ssize_t RpcFrameReader::receive(int fd, bool wait, uint8_t* into, size_t size, std::string* error,
                                Clock::time_point deadline) {
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int) * kMaxFrameFds)];
    for (;;) {
        if (wait && deadline != kNoDeadline && !waitReadable(fd, deadline)) return -3;
        iovec iov{into, size};
        msghdr msg{};
        msg.msg_iov = &iov;
        msg.msg_iovlen = 1;
        msg.msg_control = control;
        msg.msg_controllen = sizeof(control);
        ssize_t n = ::recvmsg(fd, &msg, MSG_CMSG_CLOEXEC | (wait ? 0 : MSG_DONTWAIT));
        if (n < 0) {
            if (errno == EINTR) continue;
            if (!wait && (errno == EAGAIN || errno == EWOULDBLOCK)) return -1;
            // A reset or a shutdown socket: the peer is gone.
            return 0;
        }
        for (cmsghdr* c = CMSG_FIRSTHDR(&msg); c != nullptr; c = CMSG_NXTHDR(&msg, c)) {
            if (c->cmsg_level != SOL_SOCKET || c->cmsg_type != SCM_RIGHTS) continue;
            size_t count = (c->cmsg_len - CMSG_LEN(0)) / sizeof(int);
            const auto* data = reinterpret_cast<const int*>(CMSG_DATA(c));
            for (size_t i = 0; i < count; ++i) mFds.push_back(data[i]);
        }
        if ((msg.msg_flags & MSG_CTRUNC) != 0 || mFds.size() > kMaxQueuedFds) {
            *error = "too many descriptors";
            return -2;
        }
        return n;
    }
}

bool RpcFrameReader::takeFds(uint32_t count, RpcFrame* frame, std::string* error) {
    if (mFds.size() < count) {
        *error = "descriptor count does not match the frame";
        return false;
    }
    for (uint32_t i = 0; i < count; ++i) {
        frame->fds.push_back(mFds.front());
        mFds.pop_front();
    }
    // Descriptors arrive with the first byte of their frame: once every byte
    // read is used, any still queued belong to no frame.
    if (buffered() == 0 && !mFds.empty()) {
        *error = "descriptor count does not match the frame";
        return false;
    }
    return true;
}

RpcFrameReader::Result RpcFrameReader::next(int fd, bool wait, RpcFrame* frame, std::string* error,
                                            Clock::time_point deadline) {
    // The header, read with whatever follows it.
    while (buffered() < sizeof(FrameHeader)) {
        if (mBegin != 0) {
            memmove(mBuffer.data(), mBuffer.data() + mBegin, buffered());
            mEnd -= mBegin;
            mBegin = 0;
        }
        bool begun = buffered() != 0;
        ssize_t n = receive(fd, wait || begun, mBuffer.data() + mEnd, mBuffer.size() - mEnd, error, deadline);
        if (n == -1) return Result::kNothing;
        if (n == -2) return Result::kError;
        if (n == -3) return Result::kTimedOut;
        if (n == 0) {
            if (!begun && mFds.empty()) return Result::kClosed;
            *error = "short frame";
            return Result::kError;
        }
        mEnd += static_cast<size_t>(n);
    }
    if (!decodeFrameHeader(mBuffer.data() + mBegin, sizeof(FrameHeader), &frame->header, error)) {
        return Result::kError;
    }
    mBegin += sizeof(FrameHeader);

    // The payload: what is buffered, then the rest from the socket.
    const size_t length = frame->header.length;
    size_t got = std::min(buffered(), length);
    frame->payload.resize(length <= kBufferSize ? length : std::min(length, std::max(got, kFirstPayloadStep)));
    if (got != 0) memcpy(frame->payload.data(), mBuffer.data() + mBegin, got);
    mBegin += got;
    while (got < length) {
        const size_t missing = length - got;
        ssize_t n = 0;
        if (missing >= kBufferSize / 2) {
            // Straight into the payload, which grows only as bytes come.
            if (frame->payload.size() == got) {
                frame->payload.resize(got + std::min(missing, std::max(got, kFirstPayloadStep)));
            }
            n = receive(fd, true, frame->payload.data() + got, frame->payload.size() - got, error, deadline);
            if (n > 0) got += static_cast<size_t>(n);
        } else {
            if (frame->payload.size() < length) frame->payload.resize(length);
            mBegin = mEnd = 0;  // everything buffered is used by now
            n = receive(fd, true, mBuffer.data(), mBuffer.size(), error, deadline);
            if (n > 0) {
                mEnd = static_cast<size_t>(n);
                size_t take = std::min(mEnd, missing);
                memcpy(frame->payload.data() + got, mBuffer.data(), take);
                mBegin = take;
                got += take;
            }
        }
        if (n == -2) return Result::kError;
        if (n == -3) return Result::kTimedOut;
        if (n <= 0) {
            *error = "short frame";
            return Result::kError;
        }
    }
    if (buffered() == 0) mBegin = mEnd = 0;
    return takeFds(frame->header.fdCount, frame, error) ? Result::kFrame : Result::kError;
}

}  // namespace details
}  // namespace hardware
}  // namespace android
