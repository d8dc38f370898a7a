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
    const Entry entry = entryOf(data, message);
    if (gFilter != nullptr && !gFilter->passes(entry.tag, entry.priority)) return;
    const std::string line = format(entry, gLayout);
    fwrite(line.data(), 1, line.size(), stderr);  // one write per line: lines of threads do not mix
}

}  // namespace

void installStderrLogger() {
    static const TagFilter filter = TagFilter::fromEnvironment();
    gFilter = &filter;
    gLayout = layoutFromEnvironment();
    filter.applyToLiblog();
    __android_log_set_logger(&writeToStderr);
}

}  // namespace hostlog
