/*
 * One log line as logcat prints it. A workstation has no logd: each host
 * process formats its own lines, in the layout ANDROID_PRINTF_LOG names, as
 * `logcat -v <layout>` would on a device:
 *
 *   threadtime (default)  11-25 13:31:42.120  4242  4250 E IMS_COM : message
 *   time                  11-25 13:31:42.120 E/IMS_COM ( 4242): message
 *   brief                 E/IMS_COM ( 4242): message
 *   process               E( 4242) message  (IMS_COM)
 *   tag                   E/IMS_COM : message
 *   thread                E( 4242: 4250) message
 *   raw                   message
 *   long                  [ 11-25 13:31:42.120  4242: 4250 E/IMS_COM  ]
 *                         message
 *                         (blank line)
 *
 * A message of several lines gets the prefix on each of them (long: once).
 */
#ifndef HOSTLOG_LOG_LINE_H
#define HOSTLOG_LOG_LINE_H

#include <sys/types.h>
#include <time.h>

#include <string>

struct __android_logger_data;  // liblog's, android/log.h

namespace hostlog {

enum class Layout { ThreadTime, Time, Brief, Process, Tag, Thread, Raw, Long };

struct Entry {
    timespec when{};  // wall-clock time the line was written
    pid_t pid = 0;
    pid_t tid = 0;
    int priority = 0;  // android_LogPriority
    std::string tag;
    std::string message;
};

// The entry of a line written now by the calling thread.
Entry entryNow(int priority, const char* tag, const char* message);
// The same for what liblog hands a logger: a line without a tag gets the
// process's name, as liblog's default tag.
Entry entryOf(const struct __android_logger_data* data, const char* message);

// 'V', 'D', 'I', 'W', 'E', 'F', 'S'; '?' for anything else.
char priorityLetter(int priority);
// The priority of a letter (either case), or -1.
int priorityOfLetter(char letter);

// The layout named `name` (logcat's -v names); false when it names none.
bool parseLayout(const std::string& name, Layout* out);
// ANDROID_PRINTF_LOG's layout; threadtime when unset or unknown. Any thread.
Layout layoutFromEnvironment();

// The line of `entry` in `layout`, ending in a newline.
std::string format(const Entry& entry, Layout layout);

// Reads the priority and tag back from a threadtime line; false when the
// line is not one.
bool parseThreadTime(const std::string& line, int* priority, std::string* tag);

}  // namespace hostlog

#endif  // HOSTLOG_LOG_LINE_H
