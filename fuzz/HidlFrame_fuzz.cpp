// Fuzzes what another process can send over a host HIDL socket: the frame
// header decoder, then the payload unmarshalled as the argument lists the
// interfaces' methods take, exactly as a stub reads them (every byte
// accounted for, nothing read past the end).
//
// Input: a 32-byte frame header, then the payload. The header's code (mod 8)
// picks the argument list; interface references in the payload resolve to
// null, descriptors are absent (a handle naming one fails to decode).
#include <hidl/HidlHostWire.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <tuple>

#include <android/hidl/base/1.0/hostwire.h>
#include <vendor/kel/ims/rcsconfig/2.0/hostwire.h>
#include <vendor/kel/ims/rcsconfig/2.1/hostwire.h>

namespace {

using ::android::sp;
using ::android::hardware::hidl_handle;
using ::android::hardware::hidl_string;
using ::android::hardware::hidl_vec;
namespace d = ::android::hardware::details;
namespace R20 = ::vendor::kel::ims::rcsconfig::V2_0;
namespace R21 = ::vendor::kel::ims::rcsconfig::V2_1;

// Interface references read as null; only the tags and ids are checked.
struct NullObjects : d::WireObjectContext {
    bool writeObject(d::WireParcel&, const sp<d::IBase>&) override { return false; }
    bool readObject(d::WireParcel& p, const char*, sp<d::IBase>* out) override {
        uint8_t tag = 0;
        uint32_t id = 0;
        if (!p.readBytes(&tag, 1)) return false;
        if (tag != 0 && !p.readBytes(&id, sizeof(id))) return false;
        *out = nullptr;
        return tag <= 2;
    }
};

// Reads every element of `Args` in order, as a stub does; then re-encodes a
// fully decoded list and checks the bytes come back the same.
template <typename... Args>
void readArguments(const uint8_t* data, size_t size) {
    NullObjects context;
    d::WireParcel in(data, size);
    in.setObjectContext(&context);
    std::tuple<Args...> args;
    std::apply([&](auto&... a) { (in.read(&a), ...); }, args);
    if (!in.ok() || in.remaining() != 0) return;
    d::WireParcel out;
    std::apply([&](const auto&... a) { (out.write(a), ...); }, args);
    if (out.ok() && (out.data().size() != size || memcmp(out.data().data(), data, size) != 0)) abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    d::FrameHeader header;
    std::string error;
    if (!d::decodeFrameHeader(data, size, &header, &error)) return 0;
    // The transport reads exactly `length` bytes after the header.
    if (size - sizeof(d::FrameHeader) != header.length) return 0;
    const uint8_t* payload = data + sizeof(d::FrameHeader);
    size_t length = header.length;
    switch (header.code % 8) {
        case 0: readArguments<R20::Container>(payload, length); break;                 // setConfig
        case 1: readArguments<R20::SettingsData>(payload, length); break;              // setSettingsValue
        case 2: readArguments<R20::RequestStatus, R20::SettingsData>(payload, length); break;  // getSettingsResponse
        case 3: readArguments<hidl_string, hidl_string>(payload, length); break;       // look-up
        case 4: readArguments<int32_t, R21::TokenType, R21::StatusCode>(payload, length); break;
        case 5: readArguments<R20::UceStatus, bool, uint64_t>(payload, length); break;
        case 6: readArguments<hidl_handle, hidl_vec<hidl_string>>(payload, length); break;  // debug
        case 7: readArguments<::android::hidl::base::V1_0::DebugInfo, hidl_vec<hidl_vec<uint8_t>>>(payload, length);
                break;
    }
    return 0;
}
