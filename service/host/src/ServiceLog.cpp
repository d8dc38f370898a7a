#include "service/ServiceLog.h"

#include <android/log.h>
#include <errno.h>

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

ServiceLog::ServiceLog(FILE* file, bool echo)
    : mFile(file), mEcho(echo), mLayout(hostlog::layoutFromEnvironment()),
      mFilter(hostlog::TagFilter::fromEnvironment()) {
    {
        hostsync::MutexLock lock(gInstanceLock);
        gInstance = this;
    }
    mFilter.applyToLiblog();
    __android_log_set_logger(&ServiceLog::write);
}

ServiceLog::~ServiceLog() {
    __android_log_set_logger(__android_log_stderr_logger);
    hostsync::MutexLock lock(gInstanceLock);
    gInstance = nullptr;
}

void ServiceLog::write(const struct __android_logger_data* data, const char* message) {
    if (message == nullptr) return;
    const hostlog::Entry entry = hostlog::entryOf(data, message);
    hostsync::MutexLock lock(gInstanceLock);
    if (gInstance != nullptr) gInstance->record(entry);
}

void ServiceLog::record(const hostlog::Entry& entry) {
    const char* message = entry.message.c_str();
    const bool shown = mFilter.passes(entry.tag, entry.priority) && (mFile != nullptr || mEcho);
    const std::string line = shown ? hostlog::format(entry, mLayout) : std::string();
    std::string kept = hostlog::format(entry, hostlog::Layout::ThreadTime);
    bool changed = false;
    {
        hostsync::MutexLock lock(mLock);
        if (shown && mFile != nullptr) {
            std::fwrite(line.data(), 1, line.size(), mFile);
            std::fflush(mFile);
        }
        if (shown && mEcho) std::fwrite(line.data(), 1, line.size(), stderr);
        mKept.push_back(std::move(kept));
        if (mKept.size() > kKeptLines) mKept.pop_front();
        ++mWritten;
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

std::vector<std::string> ServiceLog::linesAfter(uint64_t after, uint64_t* next) {
    hostsync::MutexLock lock(mLock);
    const uint64_t first = mWritten - mKept.size() + 1;  // number of mKept.front()
    std::vector<std::string> lines;
    for (uint64_t n = after + 1 < first ? first : after + 1; n <= mWritten; ++n) {
        lines.push_back(mKept[static_cast<size_t>(n - first)]);
    }
    *next = mWritten;
    return lines;
}

}  // namespace rcsservice
