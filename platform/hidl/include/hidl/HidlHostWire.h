/*
 * The byte format of host HIDL calls between processes: the frame header and
 * WireParcel, the bounds-checked buffer that arguments and results are written
 * to and read from, in the order the method declares them.
 *
 * Values: integers, enums and floats in host byte order at their own size;
 * bool as one byte (0 or 1); hidl_string and hidl_vec as a 32-bit count then
 * the elements; structs field by field (each package's generated hostwire.h
 * lists the fields through hidlWireFields()); hidl_handle as its counts and
 * ints, its descriptors travelling beside the frame; interface references as
 * a tag and an object id resolved by the connection (WireObjectContext).
 * A reader never looks past its buffer: any shortfall or bad value marks the
 * parcel failed, and the caller closes the connection that sent it.
 *
 * Host-only; used by the generated glue and the transport. A parcel belongs to
 * one thread at a time.
 */
#ifndef HIDL_HIDLHOSTWIRE_H
#define HIDL_HIDLHOSTWIRE_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <android/hidl/base/1.0/IBase.h>
#include <hidl/HidlSupport.h>
#include <utils/StrongPointer.h>

namespace android {
namespace hardware {
namespace details {

using ::android::hidl::base::V1_0::IBase;

// ---- frames

constexpr uint32_t kFrameMagic = 0x31544848;  // "HHT1"
constexpr uint16_t kFrameVersion = 1;
// Large enough for a 10 MB configuration document with room to spare.
constexpr uint32_t kMaxFramePayload = 64u << 20;
constexpr uint32_t kMaxFrameFds = 8;

enum class FrameKind : uint16_t {
    kCall = 1,     // two-way call: objectId, code (method), txId, parentTx
    kOneway = 2,   // one-way call: objectId, code; no reply
    kReply = 3,    // reply to txId; code carries the status_t
    kRelease = 4,  // the sender dropped `code` references to the receiver's objectId
    kLookup = 5,   // registry look-up: payload descriptor, instance; replied with an object
};

// Fixed 32-byte header in front of every frame's payload.
struct FrameHeader {
    uint32_t magic = kFrameMagic;
    uint16_t version = kFrameVersion;
    uint16_t kind = 0;
    uint32_t length = 0;    // payload bytes after the header
    uint32_t objectId = 0;  // the receiver's object the frame is for
    uint32_t code = 0;      // method code, reply status or release count
    uint32_t txId = 0;      // the caller's transaction (calls and replies)
    uint32_t parentTx = 0;  // a call made while serving the receiver's txId: served by that waiting thread
    uint32_t fdCount = 0;   // descriptors sent with the frame
};
static_assert(sizeof(FrameHeader) == 32, "the frame header has a fixed size");

// Decodes and checks a header (magic, version, kind, length and descriptor
// limits). On failure returns false with a short reason in `error`.
bool decodeFrameHeader(const uint8_t* data, size_t size, FrameHeader* out, std::string* error);

// ---- interface references

class WireParcel;

// Resolves interface references against one connection's object tables.
class WireObjectContext {
public:
    virtual ~WireObjectContext() = default;
    // Appends a reference to `object` (null allowed); false when it cannot travel.
    virtual bool writeObject(WireParcel& parcel, const sp<IBase>& object) = 0;
    // Reads a reference typed as `descriptor`; null is a valid result. False on bad input.
    virtual bool readObject(WireParcel& parcel, const char* descriptor, sp<IBase>* out) = 0;
};

// ---- the parcel

class WireParcel {
public:
    // An empty parcel to write to.
    WireParcel() = default;
    // A parcel reading `size` bytes at `data` (not copied: they must outlive it).
    WireParcel(const uint8_t* data, size_t size) : mIn(data), mInSize(size) {}
    // Makes the parcel read `bytes`, which it keeps.
    void adoptInput(std::vector<uint8_t> bytes) {
        mInOwned = std::move(bytes);
        mIn = mInOwned.data();
        mInSize = mInOwned.size();
        mPos = 0;
    }
    ~WireParcel();
    WireParcel(const WireParcel&) = delete;
    WireParcel& operator=(const WireParcel&) = delete;

    void setObjectContext(WireObjectContext* context) { mContext = context; }
    WireObjectContext* objectContext() const { return mContext; }

    // False once anything could not be written or read.
    bool ok() const { return mOk; }
    void fail() { mOk = false; }
    // Bytes left to read.
    size_t remaining() const { return mInSize - mPos; }

    void writeBytes(const void* data, size_t size);
    bool readBytes(void* out, size_t size);
    // The next `size` input bytes, or null (and failed) when fewer remain.
    const uint8_t* readInPlace(size_t size);

    // What has been written.
    const std::vector<uint8_t>& data() const { return mOut; }

    // Descriptors: written ones are borrowed (sent with the frame, not closed);
    // received ones are owned by the parcel until taken.
    void addFd(int fd) { mFds.push_back(fd); }
    const std::vector<int>& fds() const { return mFds; }
    void adoptReceivedFds(std::vector<int> fds);
    // The next received descriptor, still owned by the parcel; -1 (and failed) when none is left.
    int nextReceivedFd();
    // Keeps `handle` alive (and its descriptors open) as long as the parcel.
    void holdHandle(native_handle_t* handle) { mHandles.push_back(handle); }

    // The status a served call replies with.
    status_t replyStatus() const { return mReplyStatus; }
    void setReplyStatus(status_t status) { mReplyStatus = status; }

    template <typename T>
    void write(const T& value);
    template <typename T>
    bool read(T* value);

private:
    std::vector<uint8_t> mOut;
    std::vector<uint8_t> mInOwned;
    const uint8_t* mIn = nullptr;
    size_t mInSize = 0;
    size_t mPos = 0;
    bool mOk = true;
    WireObjectContext* mContext = nullptr;
    std::vector<int> mFds;
    size_t mNextFd = 0;
    bool mOwnsFds = false;
    std::vector<native_handle_t*> mHandles;
    status_t mReplyStatus = OK;
};

// ---- value overloads (declared first so they can find each other)

template <typename T>
struct IsHidlCallback : std::false_type {};
template <typename... R>
struct IsHidlCallback<std::function<void(R...)>> : std::true_type {};

template <typename T>
std::enable_if_t<std::is_arithmetic<T>::value || std::is_enum<T>::value> wireWrite(WireParcel& p, const T& v);
template <typename T>
std::enable_if_t<std::is_arithmetic<T>::value || std::is_enum<T>::value> wireRead(WireParcel& p, T* v);
void wireWrite(WireParcel& p, const hidl_string& v);
void wireRead(WireParcel& p, hidl_string* v);
void wireWrite(WireParcel& p, const hidl_handle& v);
void wireRead(WireParcel& p, hidl_handle* v);
template <typename T>
void wireWrite(WireParcel& p, const hidl_vec<T>& v);
template <typename T>
void wireRead(WireParcel& p, hidl_vec<T>* v);
template <typename T, size_t N>
void wireWrite(WireParcel& p, const hidl_array<T, N>& v);
template <typename T, size_t N>
void wireRead(WireParcel& p, hidl_array<T, N>* v);
template <typename I>
std::enable_if_t<std::is_base_of<IBase, I>::value> wireWrite(WireParcel& p, const sp<I>& v);
template <typename I>
std::enable_if_t<std::is_base_of<IBase, I>::value> wireRead(WireParcel& p, sp<I>* v);

struct WireFieldWriter {
    WireParcel& parcel;
    template <typename F>
    void operator()(const F& field) { parcel.write(field); }
};
struct WireFieldReader {
    WireParcel& parcel;
    template <typename F>
    void operator()(F& field) { parcel.read(&field); }
};

// Structs: the generated hidlWireFields(value, visitor) of the struct's package.
template <typename T>
auto wireWrite(WireParcel& p, const T& v)
        -> decltype(hidlWireFields(v, std::declval<WireFieldWriter&>()), void()) {
    WireFieldWriter w{p};
    hidlWireFields(v, w);
}
template <typename T>
auto wireRead(WireParcel& p, T* v) -> decltype(hidlWireFields(*v, std::declval<WireFieldReader&>()), void()) {
    WireFieldReader r{p};
    hidlWireFields(*v, r);
}

template <typename T>
std::enable_if_t<std::is_arithmetic<T>::value || std::is_enum<T>::value> wireWrite(WireParcel& p, const T& v) {
    if constexpr (std::is_same<T, bool>::value) {
        uint8_t b = v ? 1 : 0;
        p.writeBytes(&b, 1);
    } else {
        p.writeBytes(&v, sizeof(T));
    }
}
template <typename T>
std::enable_if_t<std::is_arithmetic<T>::value || std::is_enum<T>::value> wireRead(WireParcel& p, T* v) {
    if constexpr (std::is_same<T, bool>::value) {
        uint8_t b = 0;
        if (!p.readBytes(&b, 1)) return;
        if (b > 1) {
            p.fail();
            return;
        }
        *v = b != 0;
    } else {
        p.readBytes(v, sizeof(T));
    }
}

template <typename T>
void wireWrite(WireParcel& p, const hidl_vec<T>& v) {
    uint32_t count = static_cast<uint32_t>(v.size());
    p.writeBytes(&count, sizeof(count));
    if constexpr (std::is_arithmetic<T>::value && !std::is_same<T, bool>::value) {
        if (count != 0) p.writeBytes(v.data(), count * sizeof(T));
    } else {
        for (const T& e : v) wireWrite(p, e);
    }
}
template <typename T>
void wireRead(WireParcel& p, hidl_vec<T>* v) {
    uint32_t count = 0;
    if (!p.readBytes(&count, sizeof(count))) return;
    if constexpr (std::is_arithmetic<T>::value && !std::is_same<T, bool>::value) {
        if (count > p.remaining() / sizeof(T)) {
            p.fail();
            return;
        }
        v->resize(count);
        if (count != 0) p.readBytes(v->data(), count * sizeof(T));
    } else {
        // Every element takes at least one byte: a count larger than the rest
        // of the frame is a lie, refused before anything is allocated.
        if (count > p.remaining()) {
            p.fail();
            return;
        }
        v->resize(count);
        for (uint32_t i = 0; i < count && p.ok(); ++i) wireRead(p, &(*v)[i]);
    }
}

template <typename T, size_t N>
void wireWrite(WireParcel& p, const hidl_array<T, N>& v) {
    for (size_t i = 0; i < N; ++i) wireWrite(p, v[i]);
}
template <typename T, size_t N>
void wireRead(WireParcel& p, hidl_array<T, N>* v) {
    for (size_t i = 0; i < N && p.ok(); ++i) wireRead(p, &(*v)[i]);
}

template <typename I>
std::enable_if_t<std::is_base_of<IBase, I>::value> wireWrite(WireParcel& p, const sp<I>& v) {
    if (p.objectContext() == nullptr || !p.objectContext()->writeObject(p, sp<IBase>(v))) p.fail();
}
template <typename I>
std::enable_if_t<std::is_base_of<IBase, I>::value> wireRead(WireParcel& p, sp<I>* v) {
    sp<IBase> object;
    if (p.objectContext() == nullptr || !p.objectContext()->readObject(p, I::descriptor, &object)) {
        p.fail();
        return;
    }
    if (object == nullptr) {
        *v = nullptr;
        return;
    }
    I* typed = dynamic_cast<I*>(object.get());
    if (typed == nullptr) {
        p.fail();
        return;
    }
    *v = typed;
}

template <typename T>
void WireParcel::write(const T& value) {
    wireWrite(*this, value);
}
template <typename T>
bool WireParcel::read(T* value) {
    if (mOk) wireRead(*this, value);
    return mOk;
}

}  // namespace details
}  // namespace hardware
}  // namespace android

#endif  // HIDL_HIDLHOSTWIRE_H
