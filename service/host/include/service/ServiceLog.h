/*
 * ServiceLog: where the service's log goes (a file, stderr, or nowhere), and
 * what a workstation client learns from it. The service says in its log when
 * the modem's services have come up; that is the only sign of readiness a
 * client of the HAL has besides a reconfiguration notice that may have gone
 * out before the client's listener existed. rcsconfigctl reads it directly
 * when the service runs inside it; the service executable keeps one so that
 * an attached client can ask for the same facts through debug().
 *
 * Lines are written as logcat prints them (ANDROID_PRINTF_LOG's layout,
 * threadtime by default) and filtered by ANDROID_LOG_TAGS; the readiness
 * facts are read from every line, shown or not. The last lines are kept, in
 * threadtime, for a client's `logcat`.
 *
 * Installs itself as liblog's logger; one instance per process.
 */
#ifndef SERVICE_SERVICE_LOG_H
#define SERVICE_SERVICE_LOG_H

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <string>
#include <vector>

#include <hostlog/LogLine.h>
#include <hostlog/TagFilter.h>
#include <hostsync/Mutex.h>

struct __android_logger_data;

namespace rcsservice {

class ServiceLog {
public:
    // Installs the logger. `file` (may be null) receives every line; `echo`
    // also writes them to stderr. The file is not closed here.
    ServiceLog(FILE* file, bool echo);
    // Restores liblog's stderr logger.
    ~ServiceLog();
    ServiceLog(const ServiceLog&) = delete;
    ServiceLog& operator=(const ServiceLog&) = delete;

    // Waits until the service has reported both modem services up (the
    // settings service with or without carrier configuration, and the
    // application service). Main thread.
    bool waitForModemUp(std::chrono::milliseconds timeout);

    // Change registrations the settings client has finished sending to the
    // modem (on its worker threads), successful or not; any thread.
    unsigned long registrationsSent();
    // Waits until registrationsSent() reaches `target`. Main thread.
    bool waitForRegistrations(unsigned long target, std::chrono::milliseconds timeout);

    // The kept lines after line number `after` (threadtime, each ending in a
    // newline), and in *next the number to ask after next time. Lines that
    // fell out of the buffer are skipped. Any thread.
    std::vector<std::string> linesAfter(uint64_t after, uint64_t* next);

    // How many recent lines are kept for linesAfter().
    static constexpr size_t kKeptLines = 2000;

private:
    static void write(const struct __android_logger_data* data, const char* message);
    void record(const hostlog::Entry& entry);

    hostsync::Mutex mLock;
    hostsync::CondVar mChanged;
    FILE* const mFile;
    const bool mEcho;
    const hostlog::Layout mLayout;
    const hostlog::TagFilter mFilter;
    std::deque<std::string> mKept GUARDED_BY(mLock);  // threadtime, oldest first
    uint64_t mWritten GUARDED_BY(mLock) = 0;           // number of the last line kept
    bool mSettingsUp GUARDED_BY(mLock) = false;
    bool mApplicationUp GUARDED_BY(mLock) = false;
    unsigned long mRegistrations GUARDED_BY(mLock) = 0;
};

}  // namespace rcsservice

#endif  // SERVICE_SERVICE_LOG_H
