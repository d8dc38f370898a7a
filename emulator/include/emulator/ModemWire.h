/*
 * Framing between the messaging library's daemon transport and mcx-modemd.
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
 */
#ifndef EMULATOR_MODEM_WIRE_H
#define EMULATOR_MODEM_WIRE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace mcxemu::wire {

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

// Larger than any message of either service (8208 bytes) with room for control text.
constexpr uint32_t kMaxPayload = 64u * 1024u;

struct Frame {
    FrameType type = FrameType::Ready;
    std::vector<uint8_t> payload;
};

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

// Reads fields in order; any read past the end makes ok() false and yields 0.
class Reader {
public:
    explicit Reader(const std::vector<uint8_t>& payload) : mData(payload) {}
    uint32_t u32();
    int32_t i32() { return static_cast<int32_t>(u32()); }
    uint64_t u64();
    std::vector<uint8_t> rest();
    bool ok() const { return mOk; }

private:
    bool take(void* out, size_t len);
    const std::vector<uint8_t>& mData;
    size_t mOffset = 0;
    bool mOk = true;
};

// Writes one whole frame (no SIGPIPE); false if the peer is gone.
bool sendFrame(int fd, FrameType type, const std::vector<uint8_t>& payload);
// Reads one whole frame; false on end of stream, error or an oversized length.
bool readFrame(int fd, Frame* out);

}  // namespace mcxemu::wire

#endif  // EMULATOR_MODEM_WIRE_H
