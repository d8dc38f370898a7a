#include "hostlog/StderrLogger.h"

#include <android/log.h>
#include <errno.h>
#include <stdlib.h>

#include <cstdio>
#include <string>

#include "hostlog/LogLine.h"
#include "hostlog/TagFilter.h"

namespace hostlog {

namespace {

// Read once at install; the logger runs on any thread.
const TagFilter* gFilter = nullptr;
Layout gLayout = Layout::ThreadTime;

void writeToStderr(const struct __android_logger_data* data, const char* message) {
    const char* tag = data != nullptr && data->tag != nullptr ? data->tag : program_invocation_short_name;
    const int priority = data != nullptr ? data->priority : ANDROID_LOG_INFO;
    if (gFilter != nullptr && !gFilter->passes(tag, priority)) return;
    const std::string line = format(entryNow(priority, tag, message), gLayout);
    fwrite(line.data(), 1, line.size(), stderr);  // one write per line: lines of threads do not mix
}

}  // namespace

void installStderrLogger() {
    static const TagFilter filter = TagFilter::fromEnvironment();
    gFilter = &filter;
    gLayout = layoutFromEnvironment();
    // liblog drops lines below INFO before any logger sees them.
    if (filter.lowestShown() < ANDROID_LOG_INFO) __android_log_set_minimum_priority(filter.lowestShown());
    __android_log_set_logger(&writeToStderr);
}

}  // namespace hostlog
