/*
 * Transport status of a HIDL call: Status, Return<T> and Void().
 *
 * Every HIDL method returns a Return. It carries the method's value, or the
 * reason the call did not reach the other side (for a client whose process
 * died: EX_TRANSACTION_FAILED with DEAD_OBJECT). As on a device, a failed
 * Return must be looked at: destroying one whose isOk() was never asked, or
 * reading the value of a failed one, aborts the process.
 */
#ifndef HIDL_STATUS_H
#define HIDL_STATUS_H

#include <cstdint>
#include <ostream>
#include <string>
#include <type_traits>
#include <utility>

#include <utils/Errors.h>

namespace android {
namespace hardware {

class Status final {
public:
    enum Exception : int32_t {
        EX_NONE = 0,
        EX_SECURITY = -1,
        EX_BAD_PARCELABLE = -2,
        EX_ILLEGAL_ARGUMENT = -3,
        EX_NULL_POINTER = -4,
        EX_ILLEGAL_STATE = -5,
        EX_NETWORK_MAIN_THREAD = -6,
        EX_UNSUPPORTED_OPERATION = -7,
        EX_HAS_REPLY_HEADER = -128,
        EX_TRANSACTION_FAILED = -129,
    };

    static Status ok() { return Status(); }
    static Status fromExceptionCode(int32_t exceptionCode, const char* message = nullptr);
    // OK stays ok(); any other value becomes EX_TRANSACTION_FAILED carrying it.
    static Status fromStatusT(status_t status);

    Status() = default;

    bool isOk() const { return mException == EX_NONE; }
    int32_t exceptionCode() const { return mException; }
    // The transport error of an EX_TRANSACTION_FAILED status, else OK.
    status_t transactionError() const { return mErrorCode; }
    const std::string& exceptionMessage() const { return mMessage; }
    std::string description() const;

private:
    int32_t mException = EX_NONE;
    status_t mErrorCode = OK;
    std::string mMessage;
};

std::ostream& operator<<(std::ostream& stream, const Status& status);

namespace details {

// The part of Return that does not depend on the value type.
class return_status {
public:
    return_status() = default;
    return_status(Status status) : mStatus(std::move(status)) {}  // NOLINT: implicit by design
    return_status(const return_status&) = delete;
    return_status& operator=(const return_status&) = delete;
    return_status(return_status&& other) noexcept { moveFrom(other); }
    return_status& operator=(return_status&& other) noexcept {
        checkStatus();
        moveFrom(other);
        return *this;
    }
    ~return_status() { checkStatus(); }

    // Whether the call reached the other side; also marks the status as examined.
    bool isOk() const {
        mCheckedStatus = true;
        return mStatus.isOk();
    }
    // Whether the call failed because the other side's process is gone.
    bool isDeadObject() const {
        mCheckedStatus = true;
        return mStatus.exceptionCode() == Status::EX_TRANSACTION_FAILED &&
               mStatus.transactionError() == DEAD_OBJECT;
    }
    std::string description() const {
        mCheckedStatus = true;
        return mStatus.description();
    }
    // Failed status, for propagating an error into another Return.
    const Status& getStatus() const {
        mCheckedStatus = true;
        return mStatus;
    }

protected:
    void assertOk() const;

private:
    void checkStatus() const;
    void moveFrom(return_status& other) {
        mStatus = std::move(other.mStatus);
        mCheckedStatus = other.mCheckedStatus;
        other.mStatus = Status::ok();
        other.mCheckedStatus = true;
    }

    Status mStatus;
    mutable bool mCheckedStatus = false;
};

}  // namespace details

template <typename T>
class Return : public details::return_status {
public:
    template <typename U,
              typename = std::enable_if_t<std::is_constructible<T, U&&>::value &&
                                          !std::is_same<std::decay_t<U>, Status>::value &&
                                          !std::is_base_of<details::return_status, std::decay_t<U>>::value>>
    Return(U&& value) : mVal(std::forward<U>(value)) {}  // NOLINT: implicit by design
    Return(Status status) : return_status(std::move(status)), mVal() {}  // NOLINT
    Return(Return&&) = default;
    Return& operator=(Return&&) = default;

    // The value, or `defaultValue` when the call failed.
    T withDefault(T defaultValue) const { return isOk() ? mVal : defaultValue; }

    // The value; aborts when the call failed.
    operator T() const {  // NOLINT: implicit by design
        assertOk();
        return mVal;
    }
    const T& value() const {
        assertOk();
        return mVal;
    }

private:
    T mVal;
};

template <>
class Return<void> : public details::return_status {
public:
    Return() = default;
    Return(Status status) : return_status(std::move(status)) {}  // NOLINT
    Return(Return&&) = default;
    Return& operator=(Return&&) = default;
};

inline Return<void> Void() { return Return<void>(); }

}  // namespace hardware
}  // namespace android

#endif  // HIDL_STATUS_H
