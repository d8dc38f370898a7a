/*
 * Cuts the byte stream of one connection into frames. It reads what the
 * socket has in one recvmsg (a small frame costs one system call, not one
 * for the header and one for the payload) and keeps what belongs to the next
 * frame for the next call; a large payload is read straight into its frame.
 * A payload's memory grows with the bytes that actually came (at most twice
 * them), never with what the header announces: a peer that announces a large
 * frame and sends nothing more costs nothing. The header's length is capped
 * at kMaxFramePayload when it is decoded.
 *
 * Descriptors travel with the first byte of the frame that carries them, so
 * they are queued as they arrive and each complete frame takes as many as
 * its header names. A frame naming more than arrived, or descriptors left
 * over once every byte that came with them is used, break the protocol.
 *
 * Not thread-safe: one thread at a time reads a connection (RpcConnection
 * passes the right to read between its threads).
 */
#ifndef HIDL_RPCFRAMEREADER_H
#define HIDL_RPCFRAMEREADER_H

#include <cstddef>
#include <chrono>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include <hidl/HidlHostWire.h>

namespace android {
namespace hardware {
namespace details {

struct RpcFrame {
    RpcFrame() = default;
    RpcFrame(const RpcFrame&) = delete;
    RpcFrame& operator=(const RpcFrame&) = delete;
    ~RpcFrame();

    FrameHeader header;
    std::vector<uint8_t> payload;
    std::vector<int> fds;  // owned until handed to a parcel
};

class RpcFrameReader {
public:
    enum class Result {
        kFrame,    // `frame` holds the next frame
        kNothing,  // asked not to wait, and no byte of a frame was there
        kClosed,   // the peer closed the connection between frames
        kError,    // the stream broke the protocol; `error` says how
        kTimedOut, // the deadline passed first (a frame may be left half read)
    };
    using Clock = std::chrono::steady_clock;
    static constexpr Clock::time_point kNoDeadline = Clock::time_point::max();

    RpcFrameReader();
    ~RpcFrameReader();
    RpcFrameReader(const RpcFrameReader&) = delete;
    RpcFrameReader& operator=(const RpcFrameReader&) = delete;

    // Reads the next frame from `fd`. Unless `wait`, returns kNothing at once
    // when neither this reader nor the socket holds a byte of it; once a frame
    // has begun, waits for the rest. Waiting ends at `deadline` with
    // kTimedOut; the stream is then out of step and the connection is to be
    // closed.
    Result next(int fd, bool wait, RpcFrame* frame, std::string* error, Clock::time_point deadline = kNoDeadline);
    // True when bytes of a next frame were read with an earlier one: the
    // socket may then be empty while a frame is already here.
    bool hasBuffered() const { return buffered() != 0; }
    // Drops what is buffered and closes queued descriptors: the connection
    // is closed and nothing more will be read.
    void discard();

private:
    // One recvmsg into `into` (at most `size` bytes); the descriptors that
    // came with it are queued. Returns the bytes read, 0 at end of stream,
    // -1 on EAGAIN when not waiting, -2 with `error`, or -3 when `deadline`
    // passed.
    ssize_t receive(int fd, bool wait, uint8_t* into, size_t size, std::string* error, Clock::time_point deadline);
    size_t buffered() const { return mEnd - mBegin; }
    bool takeFds(uint32_t count, RpcFrame* frame, std::string* error);

    std::vector<uint8_t> mBuffer;
    size_t mBegin = 0;  // first byte not yet handed out
    size_t mEnd = 0;    // one past the last byte read
    std::deque<int> mFds;
};

}  // namespace details
}  // namespace hardware
}  // namespace android

#endif  // HIDL_RPCFRAMEREADER_H
