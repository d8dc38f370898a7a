#include "service/ServiceLog.h"

#include <android/log.h>

#include <cstring>

namespace rcsservice {

namespace {
// The manager's own lines for the modem's services coming up.
constexpr const char* kSettingsAvailable = "RcsConfigManager: ServiceStatus::AVAILABLE";
constexpr const char* kSettingsModemUp = "RcsConfigManager: ServiceStatus::MODEM_UP";
constexpr const char* kApplicationUp = "RcsConfigManager::imsAppServiceEventCb::MODEM_UP";
// The settings client's worker ends a change registration with one of these.
constexpr const char* kRegistrationSent = "ImsMcxSettings::UpdateSettingOnThread, success";
constexpr const char* kRegistrationFailed = "ImsMcxSettings::UpdateSettingOnThread,failed";

hostsync::Mutex gInstanceLock;
ServiceLog* gInstance GUARDED_BY(gInstanceLock) = nullptr;
}  // namespace

ServiceLog::ServiceLog(FILE* file, bool echo) : mFile(file), mEcho(echo) {
    {
        hostsync::MutexLock lock(gInstanceLock);
        gInstance = this;
    }
    __android_log_set_logger(&ServiceLog::write);
}

ServiceLog::~ServiceLog() {
    __android_log_set_logger(__android_log_stderr_logger);
    hostsync::MutexLock lock(gInstanceLock);
    gInstance = nullptr;
}

void ServiceLog::write(const struct __android_logger_data*, const char* message) {
    hostsync::MutexLock lock(gInstanceLock);
    if (gInstance != nullptr && message != nullptr) gInstance->record(message);
}

void ServiceLog::record(const char* message) {
    bool changed = false;
    {
        hostsync::MutexLock lock(mLock);
        if (mFile != nullptr) {
            std::fprintf(mFile, "%s\n", message);
            std::fflush(mFile);
        }
        if (mEcho) std::fprintf(stderr, "%s\n", message);
        if (std::strstr(message, kSettingsAvailable) != nullptr ||
            std::strstr(message, kSettingsModemUp) != nullptr) {
            changed = !mSettingsUp;
            mSettingsUp = true;
        }
        if (std::strstr(message, kRegistrationSent) != nullptr ||
            std::strstr(message, kRegistrationFailed) != nullptr) {
            ++mRegistrations;
            changed = true;
        }
        if (std::strstr(message, kApplicationUp) != nullptr) {
            changed = changed || !mApplicationUp;
            mApplicationUp = true;
        }
    }
    if (changed) mChanged.notifyAll();
}

bool ServiceLog::waitForModemUp(std::chrono::milliseconds timeout) {
    hostsync::MutexLock lock(mLock);
    return mChanged.waitFor(mLock, timeout, [this]() REQUIRES(mLock) { return mSettingsUp && mApplicationUp; });
}

unsigned long ServiceLog::registrationsSent() {
    hostsync::MutexLock lock(mLock);
    return mRegistrations;
}

bool ServiceLog::waitForRegistrations(unsigned long target, std::chrono::milliseconds timeout) {
    hostsync::MutexLock lock(mLock);
    return mChanged.waitFor(mLock, timeout, [&]() REQUIRES(mLock) { return mRegistrations >= target; });
}

}  // namespace rcsservice
