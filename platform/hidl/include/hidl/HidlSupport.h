/*
 * Host HIDL runtime: the value types that generated interface headers and
 * product code use (hidl_string, hidl_vec, hidl_array, hidl_handle, enum
 * helpers, toString) and the death-recipient interface.
 *
 * A device build gets these from libhidlbase; this host version keeps the
 * same include path, namespaces and, where generated headers assert it, the
 * same object layout (hidl_string and hidl_vec are 16 bytes: buffer pointer,
 * 32-bit size, ownership flag), so product code compiles unchanged on both.
 * Everything here is a plain value type: safe on any thread that owns it.
 */
#ifndef HIDL_HIDLSUPPORT_H
#define HIDL_HIDLSUPPORT_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <iterator>
#include <ostream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <cutils/native_handle.h>
#include <hidl/Status.h>
#include <utils/RefBase.h>
#include <utils/StrongPointer.h>

namespace android {

namespace hidl {
namespace base {
namespace V1_0 {
struct IBase;
}  // namespace V1_0
}  // namespace base
}  // namespace hidl

namespace hardware {

namespace details {
// Tags that generated classes carry so templates can tell them apart.
struct i_tag {};     // the pure interface class
struct bs_tag {};    // passthrough wrapper
struct bnhw_tag {};  // binder stub
struct bphw_tag {};  // binder proxy

// Aborts with `message`: the runtime's answer to a broken invariant, as on a device.
[[noreturn]] void logAlwaysFatal(const char* message);

// Hidl buffers carry a 32-bit length; larger requests are a programming error.
inline uint32_t checkedHidlSize(size_t size) {
    if (size > UINT32_MAX) logAlwaysFatal("hidl buffer larger than 2^32-1 elements");
    return static_cast<uint32_t>(size);
}

template <typename T>
std::string toHexString(T value, bool prefix = true) {
    static_assert(std::is_integral<T>::value, "toHexString needs an integer");
    using U = std::make_unsigned_t<T>;
    U v = static_cast<U>(value);
    static const char kDigits[] = "0123456789abcdef";
    std::string digits;
    do {
        digits.insert(digits.begin(), kDigits[v & 0xF]);
        v = static_cast<U>(v >> 4);
    } while (v != 0);
    return prefix ? "0x" + digits : digits;
}

// Every value of a HIDL enum; generated headers specialise it per enum.
// Not inline, as on a device: the specialisations in the generated headers
// are then const variables of each translation unit (an inline primary
// would give them one external definition per unit, which clang rejects at
// link time).
template <typename T>
constexpr std::array<T, 0> hidl_enum_values = {};
}  // namespace details

// Told when the process behind an object it was linked to (IBase::linkToDeath) dies.
struct hidl_death_recipient : virtual public RefBase {
    // Called once per link, on a runtime thread, never on the thread that made the link.
    virtual void serviceDied(uint64_t cookie,
                             const wp<::android::hidl::base::V1_0::IBase>& who) = 0;
};

// A string with a 32-bit length that always owns a zero-terminated copy of its text.
class hidl_string {
public:
    hidl_string() = default;
    hidl_string(const char* s) { assign(s, s == nullptr ? 0 : strlen(s)); }  // NOLINT: implicit like std::string
    hidl_string(const char* s, size_t length) { assign(s, length); }
    hidl_string(const std::string& s) { assign(s.data(), s.size()); }  // NOLINT
    hidl_string(const hidl_string& other) { assign(other.c_str(), other.size()); }
    hidl_string(hidl_string&& other) noexcept { moveFrom(std::move(other)); }
    ~hidl_string() { clear(); }

    hidl_string& operator=(const hidl_string& other) {
        if (this != &other) {
            hidl_string copy(other);
            swap(copy);
        }
        return *this;
    }
    hidl_string& operator=(hidl_string&& other) noexcept {
        if (this != &other) {
            clear();
            moveFrom(std::move(other));
        }
        return *this;
    }
    hidl_string& operator=(const char* s) { return *this = hidl_string(s); }
    hidl_string& operator=(const std::string& s) { return *this = hidl_string(s); }

    const char* c_str() const { return mBuffer != nullptr ? mBuffer : ""; }
    size_t size() const { return mSize; }
    bool empty() const { return mSize == 0; }
    operator std::string() const { return std::string(c_str(), mSize); }  // NOLINT

    void clear() {
        if (mOwnsBuffer) delete[] mBuffer;
        mBuffer = nullptr;
        mSize = 0;
        mOwnsBuffer = false;
    }
    void swap(hidl_string& other) noexcept {
        std::swap(mBuffer, other.mBuffer);
        std::swap(mSize, other.mSize);
        std::swap(mOwnsBuffer, other.mOwnsBuffer);
    }

private:
    void assign(const char* s, size_t length) {
        clear();
        mSize = details::checkedHidlSize(length);
        if (length == 0) return;
        mBuffer = new char[length + 1];
        memcpy(mBuffer, s, length);
        mBuffer[length] = '\0';
        mOwnsBuffer = true;
    }
    void moveFrom(hidl_string&& other) {
        mBuffer = other.mBuffer;
        mSize = other.mSize;
        mOwnsBuffer = other.mOwnsBuffer;
        other.mBuffer = nullptr;
        other.mSize = 0;
        other.mOwnsBuffer = false;
    }

    char* mBuffer = nullptr;
    uint32_t mSize = 0;
    bool mOwnsBuffer = false;
};
static_assert(sizeof(hidl_string) == 16, "hidl_string must keep the device layout");

inline int hidlStringCompare(const hidl_string& a, const char* b, size_t bSize) {
    int c = memcmp(a.c_str(), b, std::min(a.size(), bSize));
    if (c != 0) return c;
    return a.size() < bSize ? -1 : (a.size() > bSize ? 1 : 0);
}
inline bool operator==(const hidl_string& a, const hidl_string& b) { return hidlStringCompare(a, b.c_str(), b.size()) == 0; }
inline bool operator!=(const hidl_string& a, const hidl_string& b) { return !(a == b); }
inline bool operator<(const hidl_string& a, const hidl_string& b) { return hidlStringCompare(a, b.c_str(), b.size()) < 0; }
inline bool operator==(const hidl_string& a, const char* b) { return b != nullptr && hidlStringCompare(a, b, strlen(b)) == 0; }
inline bool operator!=(const hidl_string& a, const char* b) { return !(a == b); }
inline bool operator==(const char* a, const hidl_string& b) { return b == a; }
inline bool operator!=(const char* a, const hidl_string& b) { return !(b == a); }
inline bool operator==(const hidl_string& a, const std::string& b) { return hidlStringCompare(a, b.data(), b.size()) == 0; }
inline bool operator!=(const hidl_string& a, const std::string& b) { return !(a == b); }
inline bool operator==(const std::string& a, const hidl_string& b) { return b == a; }
inline bool operator!=(const std::string& a, const hidl_string& b) { return !(b == a); }
inline std::ostream& operator<<(std::ostream& os, const hidl_string& s) { return os << s.c_str(); }

// A vector with a 32-bit length; owns its elements.
template <typename T>
class hidl_vec {
public:
    using value_type = T;
    using iterator = T*;
    using const_iterator = const T*;

    hidl_vec() = default;
    explicit hidl_vec(size_t size) { resize(size); }
    hidl_vec(std::initializer_list<T> list) { assignRange(list.begin(), list.end()); }
    hidl_vec(const std::vector<T>& v) { assignRange(v.begin(), v.end()); }  // NOLINT: implicit as on a device
    template <typename InputIterator,
              typename = decltype(*std::declval<InputIterator&>()),
              typename = decltype(++std::declval<InputIterator&>())>
    hidl_vec(InputIterator first, InputIterator last) { assignRange(first, last); }
    hidl_vec(const hidl_vec& other) { assignRange(other.begin(), other.end()); }
    hidl_vec(hidl_vec&& other) noexcept { moveFrom(std::move(other)); }
    ~hidl_vec() { clear(); }

    hidl_vec& operator=(const hidl_vec& other) {
        if (this != &other) {
            hidl_vec copy(other);
            swap(copy);
        }
        return *this;
    }
    hidl_vec& operator=(hidl_vec&& other) noexcept {
        if (this != &other) {
            clear();
            moveFrom(std::move(other));
        }
        return *this;
    }
    hidl_vec& operator=(const std::vector<T>& v) { return *this = hidl_vec(v); }
    hidl_vec& operator=(std::initializer_list<T> list) { return *this = hidl_vec(list); }

    size_t size() const { return mSize; }
    T* data() { return mBuffer; }
    const T* data() const { return mBuffer; }
    T& operator[](size_t index) { return mBuffer[index]; }
    const T& operator[](size_t index) const { return mBuffer[index]; }
    iterator begin() { return mBuffer; }
    iterator end() { return mBuffer + mSize; }
    const_iterator begin() const { return mBuffer; }
    const_iterator end() const { return mBuffer + mSize; }
    operator std::vector<T>() const { return std::vector<T>(begin(), end()); }  // NOLINT

    // Keeps the first min(size, newSize) elements; new ones are value-initialised.
    void resize(size_t newSize) {
        uint32_t size32 = details::checkedHidlSize(newSize);
        T* buffer = size32 == 0 ? nullptr : new T[size32]();
        for (uint32_t i = 0; i < std::min(mSize, size32); ++i) buffer[i] = std::move(mBuffer[i]);
        clear();
        mBuffer = buffer;
        mSize = size32;
        mOwnsBuffer = buffer != nullptr;
    }
    void clear() {
        if (mOwnsBuffer) delete[] mBuffer;
        mBuffer = nullptr;
        mSize = 0;
        mOwnsBuffer = false;
    }
    void swap(hidl_vec& other) noexcept {
        std::swap(mBuffer, other.mBuffer);
        std::swap(mSize, other.mSize);
        std::swap(mOwnsBuffer, other.mOwnsBuffer);
    }

private:
    template <typename It>
    void assignRange(It first, It last) {
        clear();
        size_t count = static_cast<size_t>(std::distance(first, last));
        mSize = details::checkedHidlSize(count);
        if (count == 0) return;
        mBuffer = new T[count];
        mOwnsBuffer = true;
        std::copy(first, last, mBuffer);
    }
    void moveFrom(hidl_vec&& other) {
        mBuffer = other.mBuffer;
        mSize = other.mSize;
        mOwnsBuffer = other.mOwnsBuffer;
        other.mBuffer = nullptr;
        other.mSize = 0;
        other.mOwnsBuffer = false;
    }

    T* mBuffer = nullptr;
    uint32_t mSize = 0;
    bool mOwnsBuffer = false;
};
static_assert(sizeof(hidl_vec<int>) == 16, "hidl_vec must keep the device layout");

template <typename T>
bool operator==(const hidl_vec<T>& a, const hidl_vec<T>& b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin());
}
template <typename T>
bool operator!=(const hidl_vec<T>& a, const hidl_vec<T>& b) { return !(a == b); }

// Fixed-size array; the host supports the one-dimensional form that generated headers use.
template <typename T, size_t SIZE1, size_t... SIZES>
struct hidl_array;

template <typename T, size_t SIZE1>
struct hidl_array<T, SIZE1> {
    hidl_array() = default;
    hidl_array(const T (&source)[SIZE1]) { std::copy(source, source + SIZE1, mBuffer); }  // NOLINT
    T* data() { return mBuffer; }
    const T* data() const { return mBuffer; }
    T& operator[](size_t index) { return mBuffer[index]; }
    const T& operator[](size_t index) const { return mBuffer[index]; }
    static constexpr size_t size() { return SIZE1; }
    bool operator==(const hidl_array& other) const { return std::equal(mBuffer, mBuffer + SIZE1, other.mBuffer); }
    bool operator!=(const hidl_array& other) const { return !(*this == other); }

private:
    T mBuffer[SIZE1] = {};
};

// A native handle reference; the host never transfers descriptors, so it does not own one.
class hidl_handle {
public:
    hidl_handle() = default;
    hidl_handle(const native_handle_t* handle) : mHandle(handle) {}  // NOLINT
    const native_handle_t* getNativeHandle() const { return mHandle; }
    operator const native_handle_t*() const { return mHandle; }  // NOLINT
    const native_handle_t* operator->() const { return mHandle; }

private:
    const native_handle_t* mHandle = nullptr;
};

// Underlying integer type of a HIDL enum used as a bit set.
template <typename Enum>
using hidl_bitfield = std::underlying_type_t<Enum>;

// Iterates over every value of a HIDL enum: for (auto v : hidl_enum_range<E>()).
template <typename Enum>
struct hidl_enum_range {
    constexpr auto begin() const { return std::begin(details::hidl_enum_values<Enum>); }
    constexpr auto end() const { return std::end(details::hidl_enum_values<Enum>); }
};

// toString for the scalar, string and container types that generated code prints.
inline std::string toString(bool b) { return b ? "true" : "false"; }
inline std::string toString(char c) { return std::to_string(static_cast<int>(c)); }
inline std::string toString(int8_t v) { return std::to_string(v); }
inline std::string toString(uint8_t v) { return std::to_string(v); }
inline std::string toString(int16_t v) { return std::to_string(v); }
inline std::string toString(uint16_t v) { return std::to_string(v); }
inline std::string toString(int32_t v) { return std::to_string(v); }
inline std::string toString(uint32_t v) { return std::to_string(v); }
inline std::string toString(int64_t v) { return std::to_string(v); }
inline std::string toString(uint64_t v) { return std::to_string(v); }
inline std::string toString(float v) { return std::to_string(v); }
inline std::string toString(double v) { return std::to_string(v); }
inline std::string toString(const hidl_string& s) { return "\"" + std::string(s) + "\""; }
inline std::string toString(const hidl_handle& h) {
    return h.getNativeHandle() == nullptr ? "(null)" : "(handle)";
}
std::string toString(const sp<::android::hidl::base::V1_0::IBase>& o);

template <typename T>
std::string toString(const hidl_vec<T>& v) {
    using ::android::hardware::toString;
    std::string os = "[" + std::to_string(v.size()) + "]{";
    for (size_t i = 0; i < v.size(); ++i) {
        if (i > 0) os += ", ";
        os += toString(v[i]);
    }
    return os + "}";
}

template <typename T, size_t SIZE1>
std::string toString(const hidl_array<T, SIZE1>& a) {
    using ::android::hardware::toString;
    std::string os = "[" + std::to_string(SIZE1) + "]{";
    for (size_t i = 0; i < SIZE1; ++i) {
        if (i > 0) os += ", ";
        os += toString(a[i]);
    }
    return os + "}";
}

}  // namespace hardware
}  // namespace android

#endif  // HIDL_HIDLSUPPORT_H
