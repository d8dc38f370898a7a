#include "hostlog/LogLine.h"

#include <android/log.h>
#include <errno.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace hostlog {

namespace {

struct LayoutName {
    const char* name;
    Layout layout;
};
constexpr LayoutName kLayouts[] = {
        {"threadtime", Layout::ThreadTime}, {"time", Layout::Time},     {"brief", Layout::Brief},
        {"process", Layout::Process},       {"tag", Layout::Tag},       {"thread", Layout::Thread},
        {"raw", Layout::Raw},               {"long", Layout::Long},
};

constexpr char kLetters[] = "??VDIWEFS";  // indexed by android_LogPriority

// "MM-DD HH:MM:SS.mmm" in local time, as logcat prints it.
std::string timeText(const timespec& when) {
    tm local{};
    time_t seconds = when.tv_sec;
    localtime_r(&seconds, &local);
    char text[64];
    const int millis = static_cast<int>((when.tv_nsec / 1000000) % 1000);
    snprintf(text, sizeof(text), "%02d-%02d %02d:%02d:%02d.%03d", (local.tm_mon + 1) % 100, local.tm_mday % 100,
             local.tm_hour % 100, local.tm_min % 100, local.tm_sec % 100, millis);
    return text;
}

std::string printed(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string printed(const char* format, ...) {
    char text[256];
    va_list args;
    va_start(args, format);
    int n = vsnprintf(text, sizeof(text), format, args);
    va_end(args);
    if (n < 0) return std::string();
    return std::string(text, static_cast<size_t>(n) < sizeof(text) ? static_cast<size_t>(n) : sizeof(text) - 1);
}

}  // namespace

Entry entryNow(int priority, const char* tag, const char* message) {
    Entry e;
    clock_gettime(CLOCK_REALTIME, &e.when);
    e.pid = getpid();
    e.tid = gettid();
    e.priority = priority;
    e.tag = tag != nullptr ? tag : "";
    e.message = message != nullptr ? message : "";
    return e;
}

Entry entryOf(const struct __android_logger_data* data, const char* message) {
    const char* tag = data != nullptr && data->tag != nullptr ? data->tag : program_invocation_short_name;
    return entryNow(data != nullptr ? data->priority : ANDROID_LOG_INFO, tag, message);
}

char priorityLetter(int priority) {
    return priority >= 0 && priority < static_cast<int>(sizeof(kLetters) - 1) ? kLetters[priority] : '?';
}

int priorityOfLetter(char letter) {
    const char upper = (letter >= 'a' && letter <= 'z') ? static_cast<char>(letter - 'a' + 'A') : letter;
    for (int p = ANDROID_LOG_VERBOSE; p <= ANDROID_LOG_SILENT; ++p) {
        if (kLetters[p] == upper) return p;
    }
    return -1;
}

bool parseLayout(const std::string& name, Layout* out) {
    for (const auto& l : kLayouts) {
        if (name == l.name) {
            *out = l.layout;
            return true;
        }
    }
    return false;
}

Layout layoutFromEnvironment() {
    Layout layout = Layout::ThreadTime;
    const char* name = getenv("ANDROID_PRINTF_LOG");
    if (name != nullptr) parseLayout(name, &layout);
    return layout;
}

std::string format(const Entry& e, Layout layout) {
    const char p = priorityLetter(e.priority);
    const char* tag = e.tag.c_str();
    std::string prefix, suffix = "\n";
    switch (layout) {
        case Layout::ThreadTime:
            prefix = printed("%s %5d %5d %c %-8s: ", timeText(e.when).c_str(), e.pid, e.tid, p, tag);
            break;
        case Layout::Time:
            prefix = printed("%s %c/%-8s(%5d): ", timeText(e.when).c_str(), p, tag, e.pid);
            break;
        case Layout::Brief:
            prefix = printed("%c/%-8s(%5d): ", p, tag, e.pid);
            break;
        case Layout::Process:
            prefix = printed("%c(%5d) ", p, e.pid);
            suffix = "  (" + e.tag + ")\n";
            break;
        case Layout::Tag:
            prefix = printed("%c/%-8s: ", p, tag);
            break;
        case Layout::Thread:
            prefix = printed("%c(%5d:%5d) ", p, e.pid, e.tid);
            break;
        case Layout::Raw:
            break;
        case Layout::Long:
            return printed("[ %s %5d:%5d %c/%-8s ]\n", timeText(e.when).c_str(), e.pid, e.tid, p, tag) + e.message +
                   "\n\n";
    }
    // Each line of the message carries the prefix, as logcat prints it.
    std::string out;
    size_t from = 0;
    do {
        size_t eol = e.message.find('\n', from);
        if (eol == std::string::npos) eol = e.message.size();
        out += prefix;
        out.append(e.message, from, eol - from);
        out += suffix;
        from = eol + 1;
    } while (from < e.message.size());
    return out;
}

bool parseThreadTime(const std::string& line, int* priority, std::string* tag) {
    // "MM-DD HH:MM:SS.mmm" then pid and tid, right-aligned, then "P TAG: ".
    int pid = 0, tid = 0, consumed = 0;
    char letter = 0;
    if (line.size() < 19 || line[2] != '-' || line[5] != ' ' || line[8] != ':' || line[14] != '.' ||
        sscanf(line.c_str() + 18, "%d %d %c %n", &pid, &tid, &letter, &consumed) != 3) {
        return false;
    }
    size_t start = 18 + static_cast<size_t>(consumed);
    size_t colon = line.find(": ", start);
    if (colon == std::string::npos) return false;
    size_t end = colon;
    while (end > start && line[end - 1] == ' ') --end;
    *priority = priorityOfLetter(letter);
    *tag = line.substr(start, end - start);
    return *priority >= 0;
}

}  // namespace hostlog
