/*
 * Framing between the messaging library's daemon transport and mcx-modemd.
 * It lives with the library, the lower of the two ends, so that the daemon
 * builds on it and not the other way round.
 *
 * A frame is a 32-bit type, a 32-bit payload length and the payload; all
 * integers in host byte order (both ends run on the same machine).
 *
 *   client -> daemon                       daemon -> client
 *   Open     reqId u32, serviceId u32      Reply          reqId u32, status i32, delayMs u32,
 *   Close    connId u64                                   value u64, bytes...
 *   Request  reqId u32, connId u64,        Indication     connId u64, msgId u32, bytes...
 *            msgId u32, bytes...           ConnectionLost connId u64
 *   Control  reqId u32, text...            ServiceState   serviceId u32, up u32
 *                                          Ready          (after the first service states)
 *
 * Each side decodes what it receives with one function over the whole frame
 * (decodeClientFrame in the daemon, decodeDaemonFrame in the library). A
 * frame whose type is not one the receiver expects, whose length field
 * differs from the bytes given, or whose payload is shorter or longer than
 * its type allows is malformed: the receiver drops the peer.
 */
#ifndef MCX_WIRE_MODEM_WIRE_H
#define MCX_WIRE_MODEM_WIRE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace mcx::wire {

enum class FrameType : uint32_t {
    Open = 1,
    Close = 2,
    Request = 3,
    Control = 4,
    Reply = 16,
    Indication = 17,
    ConnectionLost = 18,
    ServiceState = 19,
    Ready = 20,
};

constexpr size_t kHeaderSize = 8;
// Larger than any message of either service (8208 bytes) with room for control text.
constexpr uint32_t kMaxPayload = 64u * 1024u;

class Writer {
public:
    Writer& u32(uint32_t v) { return raw(&v, sizeof(v)); }
    Writer& i32(int32_t v) { return raw(&v, sizeof(v)); }
    Writer& u64(uint64_t v) { return raw(&v, sizeof(v)); }
    Writer& raw(const void* data, size_t len);
    const std::vector<uint8_t>& bytes() const { return mBytes; }

private:
    std::vector<uint8_t> mBytes;
};

// A frame from a client, decoded. Only the fields of its type are set.
struct ClientMessage {
    FrameType type = FrameType::Open;
    uint32_t reqId = 0;          // Open, Request, Control
    uint32_t serviceId = 0;      // Open
    uint64_t connId = 0;         // Close, Request
    uint32_t msgId = 0;          // Request
    std::vector<uint8_t> bytes;  // Request data, Control text
};

// A frame from the daemon, decoded. Only the fields of its type are set.
struct DaemonMessage {
    FrameType type = FrameType::Ready;
    uint32_t reqId = 0;          // Reply
    int32_t status = 0;          // Reply
    uint32_t delayMs = 0;        // Reply
    uint64_t value = 0;          // Reply
    uint64_t connId = 0;         // Indication, ConnectionLost
    uint32_t msgId = 0;          // Indication
    uint32_t serviceId = 0;      // ServiceState
    bool up = false;             // ServiceState
    std::vector<uint8_t> bytes;  // Reply response, Indication data
};

// Decodes one whole frame (header and payload, `len` bytes at `data`) sent by
// a client. False with a one-line reason in *why if it is malformed.
bool decodeClientFrame(const uint8_t* data, size_t len, ClientMessage* out, std::string* why);
// The same for a frame sent by the daemon.
bool decodeDaemonFrame(const uint8_t* data, size_t len, DaemonMessage* out, std::string* why);

// Writes one whole frame (no SIGPIPE); false if the peer is gone or the
// payload is over kMaxPayload.
bool sendFrame(int fd, FrameType type, const std::vector<uint8_t>& payload);

enum class ReadResult {
    Frame,    // *frame holds one whole frame, header included
    Closed,   // end of stream or a read error
    TooLong,  // the length field is over kMaxPayload; nothing more was read
};
// Reads one frame from a stream socket.
ReadResult readFrame(int fd, std::vector<uint8_t>* frame);

}  // namespace mcx::wire

#endif  // MCX_WIRE_MODEM_WIRE_H
