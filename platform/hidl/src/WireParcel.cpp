/*
 * WireParcel and the frame header: the bounds-checked reading and writing of
 * everything that crosses a process boundary.
 */
#include <hidl/HidlHostWire.h>

#include <cutils/native_handle.h>
#include <unistd.h>

#include <limits>

namespace android {
namespace hardware {
namespace details {

bool decodeFrameHeader(const uint8_t* data, size_t size, FrameHeader* out, std::string* error) {
    if (size < sizeof(FrameHeader)) {
        *error = "short frame header";
        return false;
    }
    FrameHeader h;
    memcpy(&h, data, sizeof(h));
    if (h.magic != kFrameMagic) {
        *error = "bad magic";
        return false;
    }
    if (h.version != kFrameVersion) {
        *error = "unsupported version " + std::to_string(h.version);
        return false;
    }
    if (h.kind < static_cast<uint16_t>(FrameKind::kCall) || h.kind > static_cast<uint16_t>(FrameKind::kLookup)) {
        *error = "unknown frame kind " + std::to_string(h.kind);
        return false;
    }
    if (h.length > kMaxFramePayload) {
        *error = "frame of " + std::to_string(h.length) + " bytes is over the limit";
        return false;
    }
    if (h.fdCount > kMaxFrameFds) {
        *error = "too many descriptors";
        return false;
    }
    *out = h;
    return true;
}

WireParcel::~WireParcel() {
    for (native_handle_t* handle : mHandles) native_handle_delete(handle);
    if (mOwnsFds) {
        for (int fd : mFds) {
            if (fd >= 0) ::close(fd);
        }
    }
}

void WireParcel::writeBytes(const void* data, size_t size) {
    if (!mOk) return;
    if (size > std::numeric_limits<uint32_t>::max() - mOut.size()) {
        mOk = false;
        return;
    }
    const auto* bytes = static_cast<const uint8_t*>(data);
    mOut.insert(mOut.end(), bytes, bytes + size);
}

bool WireParcel::readBytes(void* out, size_t size) {
    const uint8_t* in = readInPlace(size);
    if (in == nullptr) return false;
    if (size != 0) memcpy(out, in, size);
    return true;
}

const uint8_t* WireParcel::readInPlace(size_t size) {
    if (!mOk || size > remaining()) {
        mOk = false;
        return nullptr;
    }
    const uint8_t* at = mIn + mPos;
    mPos += size;
    return at;
}

void WireParcel::adoptReceivedFds(std::vector<int> fds) {
    mFds = std::move(fds);
    mOwnsFds = true;
    mNextFd = 0;
}

int WireParcel::nextReceivedFd() {
    if (!mOwnsFds || mNextFd >= mFds.size()) {
        mOk = false;
        return -1;
    }
    return mFds[mNextFd++];
}

void wireWrite(WireParcel& p, const hidl_string& v) {
    uint32_t size = static_cast<uint32_t>(v.size());
    p.writeBytes(&size, sizeof(size));
    p.writeBytes(v.c_str(), size);
}

void wireRead(WireParcel& p, hidl_string* v) {
    uint32_t size = 0;
    if (!p.readBytes(&size, sizeof(size))) return;
    const uint8_t* text = p.readInPlace(size);
    if (text == nullptr) return;
    *v = hidl_string(reinterpret_cast<const char*>(text), size);
}

// A handle travels as: present (u8), fd count, int count, the ints; its
// descriptors go beside the frame, in order.
void wireWrite(WireParcel& p, const hidl_handle& v) {
    const native_handle_t* handle = v.getNativeHandle();
    uint8_t present = handle != nullptr ? 1 : 0;
    p.writeBytes(&present, 1);
    if (handle == nullptr) return;
    uint32_t numFds = static_cast<uint32_t>(handle->numFds);
    uint32_t numInts = static_cast<uint32_t>(handle->numInts);
    if (handle->numFds < 0 || handle->numInts < 0 || numFds > kMaxFrameFds) {
        p.fail();
        return;
    }
    p.writeBytes(&numFds, sizeof(numFds));
    p.writeBytes(&numInts, sizeof(numInts));
    for (uint32_t i = 0; i < numFds; ++i) p.addFd(handle->data[i]);
    p.writeBytes(handle->data + numFds, numInts * sizeof(int));
}

void wireRead(WireParcel& p, hidl_handle* v) {
    uint8_t present = 0;
    if (!p.readBytes(&present, 1)) return;
    if (present > 1) {
        p.fail();
        return;
    }
    if (present == 0) {
        *v = hidl_handle();
        return;
    }
    uint32_t numFds = 0;
    uint32_t numInts = 0;
    if (!p.readBytes(&numFds, sizeof(numFds)) || !p.readBytes(&numInts, sizeof(numInts))) return;
    if (numFds > kMaxFrameFds || numInts > p.remaining() / sizeof(int)) {
        p.fail();
        return;
    }
    native_handle_t* handle = native_handle_create(static_cast<int>(numFds), static_cast<int>(numInts));
    if (handle == nullptr) {
        p.fail();
        return;
    }
    p.holdHandle(handle);
    for (uint32_t i = 0; i < numFds; ++i) handle->data[i] = p.nextReceivedFd();
    p.readBytes(handle->data + numFds, numInts * sizeof(int));
    *v = hidl_handle(handle);
}

}  // namespace details
}  // namespace hardware
}  // namespace android
