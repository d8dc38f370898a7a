/*
 * Status and Return bookkeeping. As on a device, an unexamined transport
 * failure is a programming error that aborts: it would otherwise hide a dead
 * client or a broken call.
 */
#include <hidl/Status.h>

#include <android/log.h>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include <hidl/HidlSupport.h>

namespace android {
namespace hardware {

namespace {
const char* exceptionName(int32_t code) {
    switch (code) {
        case Status::EX_NONE: return "EX_NONE";
        case Status::EX_SECURITY: return "EX_SECURITY";
        case Status::EX_BAD_PARCELABLE: return "EX_BAD_PARCELABLE";
        case Status::EX_ILLEGAL_ARGUMENT: return "EX_ILLEGAL_ARGUMENT";
        case Status::EX_NULL_POINTER: return "EX_NULL_POINTER";
        case Status::EX_ILLEGAL_STATE: return "EX_ILLEGAL_STATE";
        case Status::EX_NETWORK_MAIN_THREAD: return "EX_NETWORK_MAIN_THREAD";
        case Status::EX_UNSUPPORTED_OPERATION: return "EX_UNSUPPORTED_OPERATION";
        case Status::EX_HAS_REPLY_HEADER: return "EX_HAS_REPLY_HEADER";
        case Status::EX_TRANSACTION_FAILED: return "EX_TRANSACTION_FAILED";
        default: return "EX_UNKNOWN";
    }
}
}  // namespace

Status Status::fromExceptionCode(int32_t exceptionCode, const char* message) {
    Status status;
    status.mException = exceptionCode;
    status.mErrorCode = exceptionCode == EX_TRANSACTION_FAILED ? UNKNOWN_ERROR : OK;
    status.mMessage = message != nullptr ? message : "";
    return status;
}

Status Status::fromStatusT(status_t statusT) {
    Status status;
    if (statusT != OK) {
        status.mException = EX_TRANSACTION_FAILED;
        status.mErrorCode = statusT;
    }
    return status;
}

std::string Status::description() const {
    std::ostringstream os;
    os << *this;
    return os.str();
}

std::ostream& operator<<(std::ostream& stream, const Status& status) {
    if (status.isOk()) return stream << "No error";
    stream << "Status(" << exceptionName(status.exceptionCode()) << "): ";
    if (status.exceptionCode() == Status::EX_TRANSACTION_FAILED) {
        stream << "'" << strerror(-status.transactionError()) << "' ";
    }
    return stream << "'" << status.exceptionMessage() << "'";
}

namespace details {

void logAlwaysFatal(const char* message) {
    __android_log_print(ANDROID_LOG_FATAL, "HidlStatus", "%s", message);
    abort();
}

void return_status::assertOk() const {
    mCheckedStatus = true;
    if (!mStatus.isOk()) {
        std::string text = "Attempted to retrieve value from failed HIDL call: " + mStatus.description();
        logAlwaysFatal(text.c_str());
    }
}

void return_status::checkStatus() const {
    if (!mCheckedStatus && !mStatus.isOk()) {
        std::string text = "Failed HIDL return status not checked: " + mStatus.description();
        logAlwaysFatal(text.c_str());
    }
}

}  // namespace details
}  // namespace hardware
}  // namespace android
