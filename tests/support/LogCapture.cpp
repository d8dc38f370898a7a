#include "support/LogCapture.h"

#include <android/log.h>

#include <utils/Condition.h>
#include <utils/Mutex.h>
#include <utils/Timers.h>

#include <cstdio>

namespace imstest {
namespace {

// libutils' locks: this file is built into the device tests too, which have
// no host-only headers.
android::Mutex gMutex;
android::Condition gChanged;
std::vector<LogLine> gLines GUARDED_BY(gMutex);

size_t countLocked(const std::string& needle) REQUIRES(gMutex) {
    size_t n = 0;
    for (const auto& l : gLines) {
        if (l.message.find(needle) != std::string::npos) ++n;
    }
    return n;
}

void recordLine(const struct __android_logger_data* data, const char* message) {
    LogLine line;
    line.priority = data != nullptr ? data->priority : 0;
    line.tag = (data != nullptr && data->tag != nullptr) ? data->tag : "";
    line.text = message != nullptr ? message : "";
    if (!parseImsLogLine(line.text, &line)) {
        line.message = line.text;
    }
    android::Mutex::Autolock lock(gMutex);
    gLines.push_back(std::move(line));
    gChanged.broadcast();
}

}  // namespace

bool parseImsLogLine(const std::string& text, LogLine* out) {
    // "[IMS_COM] |<file> | <line> | | <tid> |<message>"; the file may be empty.
    char file[129] = "";
    int line = 0, tid = 0, messageAt = -1;
    if (std::sscanf(text.c_str(), "[IMS_COM] |%128[^|]| %d | | %d |%n", file, &line, &tid, &messageAt) < 3 ||
        messageAt < 0) {
        return false;
    }
    out->file = file;
    if (!out->file.empty() && out->file.back() == ' ') out->file.pop_back();
    out->line = line;
    out->tid = tid;
    out->message = text.substr(messageAt);
    return true;
}

LogCapture::LogCapture() {
    clear();
    __android_log_set_logger(recordLine);
}

LogCapture::~LogCapture() {
    __android_log_set_logger(__android_log_stderr_logger);
}

std::vector<LogLine> LogCapture::lines() const {
    android::Mutex::Autolock lock(gMutex);
    return gLines;
}

std::vector<std::string> LogCapture::messages() const {
    android::Mutex::Autolock lock(gMutex);
    std::vector<std::string> out;
    out.reserve(gLines.size());
    for (const auto& l : gLines) out.push_back(l.message);
    return out;
}

size_t LogCapture::count(const std::string& needle) const {
    android::Mutex::Autolock lock(gMutex);
    return countLocked(needle);
}

int LogCapture::indexOf(const std::string& needle, size_t from) const {
    android::Mutex::Autolock lock(gMutex);
    for (size_t i = from; i < gLines.size(); ++i) {
        if (gLines[i].message.find(needle) != std::string::npos) return static_cast<int>(i);
    }
    return -1;
}

bool LogCapture::waitFor(const std::string& needle, std::chrono::milliseconds timeout,
                         size_t times) const {
    const nsecs_t deadline = systemTime(SYSTEM_TIME_MONOTONIC) + milliseconds_to_nanoseconds(timeout.count());
    android::Mutex::Autolock lock(gMutex);
    while (countLocked(needle) < times) {
        const nsecs_t left = deadline - systemTime(SYSTEM_TIME_MONOTONIC);
        if (left <= 0) return false;
        gChanged.waitRelative(gMutex, left);
    }
    return true;
}

void LogCapture::clear() {
    android::Mutex::Autolock lock(gMutex);
    gLines.clear();
}

std::string LogCapture::dump() const {
    android::Mutex::Autolock lock(gMutex);
    std::string out;
    for (const auto& l : gLines) {
        out += l.text;
        out += '\n';
    }
    return out;
}

}  // namespace imstest
