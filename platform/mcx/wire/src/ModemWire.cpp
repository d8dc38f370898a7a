#include "mcx_wire/ModemWire.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace mcx::wire {

namespace {

bool writeAll(int fd, const uint8_t* data, size_t len) {
    while (len > 0) {
        ssize_t n = ::send(fd, data, len, MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        data += n;
        len -= static_cast<size_t>(n);
    }
    return true;
}

bool readAll(int fd, uint8_t* data, size_t len) {
    while (len > 0) {
        ssize_t n = ::read(fd, data, len);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        data += n;
        len -= static_cast<size_t>(n);
    }
    return true;
}

// Reads fields in order from a bounded buffer; a read past its end fails.
class Reader {
public:
    Reader(const uint8_t* data, size_t len) : mData(data), mLen(len) {}
    bool u32(uint32_t* v) { return take(v, sizeof(*v)); }
    bool i32(int32_t* v) { return take(v, sizeof(*v)); }
    bool u64(uint64_t* v) { return take(v, sizeof(*v)); }
    void rest(std::vector<uint8_t>* out) {
        out->assign(mData + mOffset, mData + mLen);
        mOffset = mLen;
    }
    size_t left() const { return mLen - mOffset; }

private:
    bool take(void* out, size_t n) {
        if (mLen - mOffset < n) return false;
        std::memcpy(out, mData + mOffset, n);
        mOffset += n;
        return true;
    }
    const uint8_t* mData;
    size_t mLen;
    size_t mOffset = 0;
};

const char* typeName(uint32_t type) {
    switch (static_cast<FrameType>(type)) {
        case FrameType::Open: return "Open";
        case FrameType::Close: return "Close";
        case FrameType::Request: return "Request";
        case FrameType::Control: return "Control";
        case FrameType::Reply: return "Reply";
        case FrameType::Indication: return "Indication";
        case FrameType::ConnectionLost: return "ConnectionLost";
        case FrameType::ServiceState: return "ServiceState";
        case FrameType::Ready: return "Ready";
    }
    return "unknown";
}

// Checks the header against the buffer; on success `payload` reads the payload.
bool openFrame(const uint8_t* data, size_t len, uint32_t* type, Reader* payload, std::string* why) {
    uint32_t header[2];
    if (data == nullptr || len < kHeaderSize) {
        *why = "frame of " + std::to_string(len) + " bytes is shorter than its header";
        return false;
    }
    std::memcpy(header, data, sizeof(header));
    if (header[1] > kMaxPayload || header[1] != len - kHeaderSize) {
        *why = "length field " + std::to_string(header[1]) + " does not match a payload of " +
               std::to_string(len - kHeaderSize) + " bytes";
        return false;
    }
    *type = header[0];
    *payload = Reader(data + kHeaderSize, len - kHeaderSize);
    return true;
}

// A payload of the wrong size for its type.
bool badSize(uint32_t type, size_t size, std::string* why) {
    *why = std::string(typeName(type)) + " frame with a payload of " + std::to_string(size) +
           " bytes";
    return false;
}

}  // namespace

Writer& Writer::raw(const void* data, size_t len) {
    const auto* p = static_cast<const uint8_t*>(data);
    if (len > 0) mBytes.insert(mBytes.end(), p, p + len);
    return *this;
}

bool decodeClientFrame(const uint8_t* data, size_t len, ClientMessage* out, std::string* why) {
    uint32_t type = 0;
    Reader in(nullptr, 0);
    if (!openFrame(data, len, &type, &in, why)) return false;
    const size_t size = in.left();
    *out = ClientMessage{};
    out->type = static_cast<FrameType>(type);
    switch (out->type) {
        case FrameType::Open:
            if (size != 8) return badSize(type, size, why);
            in.u32(&out->reqId);
            in.u32(&out->serviceId);
            return true;
        case FrameType::Close:
            if (size != 8) return badSize(type, size, why);
            in.u64(&out->connId);
            return true;
        case FrameType::Request:
            if (size < 16) return badSize(type, size, why);
            in.u32(&out->reqId);
            in.u64(&out->connId);
            in.u32(&out->msgId);
            in.rest(&out->bytes);
            return true;
        case FrameType::Control:
            if (size < 4) return badSize(type, size, why);
            in.u32(&out->reqId);
            in.rest(&out->bytes);
            return true;
        default:
            *why = "frame type " + std::to_string(type) + " (" + typeName(type) +
                   ") is not one a client sends";
            return false;
    }
}

bool decodeDaemonFrame(const uint8_t* data, size_t len, DaemonMessage* out, std::string* why) {
    uint32_t type = 0;
    Reader in(nullptr, 0);
    if (!openFrame(data, len, &type, &in, why)) return false;
    const size_t size = in.left();
    *out = DaemonMessage{};
    out->type = static_cast<FrameType>(type);
    switch (out->type) {
        case FrameType::Reply:
            if (size < 20) return badSize(type, size, why);
            in.u32(&out->reqId);
            in.i32(&out->status);
            in.u32(&out->delayMs);
            in.u64(&out->value);
            in.rest(&out->bytes);
            return true;
        case FrameType::Indication:
            if (size < 12) return badSize(type, size, why);
            in.u64(&out->connId);
            in.u32(&out->msgId);
            in.rest(&out->bytes);
            return true;
        case FrameType::ConnectionLost:
            if (size != 8) return badSize(type, size, why);
            in.u64(&out->connId);
            return true;
        case FrameType::ServiceState: {
            if (size != 8) return badSize(type, size, why);
            uint32_t up = 0;
            in.u32(&out->serviceId);
            in.u32(&up);
            if (up > 1) {
                *why = "ServiceState frame with state " + std::to_string(up);
                return false;
            }
            out->up = up == 1;
            return true;
        }
        case FrameType::Ready:
            if (size != 0) return badSize(type, size, why);
            return true;
        default:
            *why = "frame type " + std::to_string(type) + " (" + typeName(type) +
                   ") is not one the daemon sends";
            return false;
    }
}

bool sendFrame(int fd, FrameType type, const std::vector<uint8_t>& payload) {
    if (payload.size() > kMaxPayload) return false;
    Writer w;
    w.u32(static_cast<uint32_t>(type)).u32(static_cast<uint32_t>(payload.size()));
    w.raw(payload.data(), payload.size());
    return writeAll(fd, w.bytes().data(), w.bytes().size());
}

ReadResult readFrame(int fd, std::vector<uint8_t>* frame) {
    uint32_t header[2];
    if (!readAll(fd, reinterpret_cast<uint8_t*>(header), sizeof(header))) return ReadResult::Closed;
    if (header[1] > kMaxPayload) return ReadResult::TooLong;
    frame->resize(kHeaderSize + header[1]);
    std::memcpy(frame->data(), header, sizeof(header));
    if (header[1] > 0 && !readAll(fd, frame->data() + kHeaderSize, header[1])) {
        return ReadResult::Closed;
    }
    return ReadResult::Frame;
}

}  // namespace mcx::wire
