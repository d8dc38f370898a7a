#include "emulator/ModemWire.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace mcxemu::wire {

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

}  // namespace

Writer& Writer::raw(const void* data, size_t len) {
    const auto* p = static_cast<const uint8_t*>(data);
    if (len > 0) mBytes.insert(mBytes.end(), p, p + len);
    return *this;
}

bool Reader::take(void* out, size_t len) {
    if (!mOk || mData.size() - mOffset < len) {
        mOk = false;
        std::memset(out, 0, len);
        return false;
    }
    std::memcpy(out, mData.data() + mOffset, len);
    mOffset += len;
    return true;
}

uint32_t Reader::u32() {
    uint32_t v;
    take(&v, sizeof(v));
    return v;
}

uint64_t Reader::u64() {
    uint64_t v;
    take(&v, sizeof(v));
    return v;
}

std::vector<uint8_t> Reader::rest() {
    if (!mOk) return {};
    std::vector<uint8_t> out(mData.begin() + static_cast<std::ptrdiff_t>(mOffset), mData.end());
    mOffset = mData.size();
    return out;
}

bool sendFrame(int fd, FrameType type, const std::vector<uint8_t>& payload) {
    if (payload.size() > kMaxPayload) return false;
    Writer w;
    w.u32(static_cast<uint32_t>(type)).u32(static_cast<uint32_t>(payload.size()));
    w.raw(payload.data(), payload.size());
    return writeAll(fd, w.bytes().data(), w.bytes().size());
}

bool readFrame(int fd, Frame* out) {
    uint32_t header[2];
    if (!readAll(fd, reinterpret_cast<uint8_t*>(header), sizeof(header))) return false;
    if (header[1] > kMaxPayload) return false;
    out->type = static_cast<FrameType>(header[0]);
    out->payload.assign(header[1], 0);
    return header[1] == 0 || readAll(fd, out->payload.data(), header[1]);
}

}  // namespace mcxemu::wire
