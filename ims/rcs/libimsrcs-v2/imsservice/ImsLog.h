/*
 * printImsLog: the one formatting function behind every message of the library.
 *
 * It is defined here (inline), so it can be used from any translation unit
 * without a link dependency; the program keeps one copy, which the loop
 * thread and the posting threads share in the caches. Every line goes to
 * the Android log at ERROR priority with the default tag, shaped as
 *
 *     [IMS_COM] |<file base name> | <line> | | <tid> |<message>
 *
 * The caller's `level` is accepted and ignored on purpose: tools that collect
 * the library's lines filter on ERROR, so every line must carry it.
 *
 * The function runs about a dozen times per event the loop handles, so it is
 * kept cheap without changing what it writes:
 *  - when liblog would drop an ERROR line with the default tag, nothing is
 *    formatted at all (the same check __android_log_print makes first);
 *  - the thread-id part "| <tid> |" is formatted once per thread and reused
 *    (reset in a forked child, whose thread has a new id);
 *  - the prefix is copied, not formatted, and the caller's message is the
 *    only formatting pass: the finished line goes to __android_log_write, so
 *    liblog does not format it again;
 *  - the usual conversions of a message are formatted by ImsLogFormat.h,
 *    and only the rest by vsnprintf.
 */
#ifndef IMS_LOG_H
#define IMS_LOG_H

#include <android/log.h>
#include <pthread.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <sys/types.h>
#include <unistd.h>

#include "imsservice/ImsLogFormat.h"

namespace imslog_detail {

// "| <tid> |" of the calling thread; len 0 until first formatted.
struct TidText {
    int len;
    char text[24];
};

inline thread_local TidText tTid = {0, {0}};

inline void forgetTidInChild() { tTid.len = 0; }

// Registered once per process: a forked child must not reuse its parent's id.
inline const int kTidResetRegistered = pthread_atfork(nullptr, nullptr, forgetTidInChild);

inline const TidText& tidText() {
    TidText& t = tTid;
    if (t.len == 0) {
        int n = snprintf(t.text, sizeof(t.text), "| %d |", static_cast<int>(gettid()));
        t.len = (n > 0 && n < static_cast<int>(sizeof(t.text))) ? n : 0;
    }
    return t;
}

// "[IMS_COM] |<base name>" is cut at 128 characters and the message part
// ("| <tid> |<message>") at 511; the rest is " | <line> | ".
constexpr size_t kPrefixMax = 128;
constexpr size_t kMessageSize = 512;
constexpr size_t kLineSize = kPrefixMax + 3 + 11 + 3 + kMessageSize;

// Writes "[IMS_COM] |<base name> | <line> | " to `out` (kLineSize bytes);
// returns its length, and in `nameEnd` where "[IMS_COM] |<base name>" ends.
inline size_t putPrefix(char* out, const char* file, int line, size_t* nameEnd) {
    static const char kMarker[] = "[IMS_COM] |";
    const size_t kMarkerLen = sizeof(kMarker) - 1;
    memcpy(out, kMarker, kMarkerLen);
    size_t len = kMarkerLen;
    const char* slash = file != nullptr ? strrchr(file, '/') : nullptr;
    if (slash != nullptr) {
        size_t n = strnlen(slash + 1, kPrefixMax - kMarkerLen);
        memcpy(out + len, slash + 1, n);
        len += n;
    }
    *nameEnd = len;
    memcpy(out + len, " | ", 3);
    len += 3;
    // The line number in decimal, written backwards from its last digit.
    char digits[12];
    size_t d = sizeof(digits);
    unsigned int v = line < 0 ? 0u - static_cast<unsigned int>(line) : static_cast<unsigned int>(line);
    do {
        digits[--d] = static_cast<char>('0' + v % 10);
        v /= 10;
    } while (v != 0);
    if (line < 0) digits[--d] = '-';
    memcpy(out + len, digits + d, sizeof(digits) - d);
    len += sizeof(digits) - d;
    memcpy(out + len, " | ", 3);
    return len + 3;
}

}  // namespace imslog_detail

/*
 * True when a line written now would reach the log. Lets callers skip building
 * costly arguments (strings, dumps) for lines that would be dropped.
 */
inline bool isImsLogEnabled() {
    return __android_log_is_loggable(ANDROID_LOG_ERROR, nullptr, ANDROID_LOG_VERBOSE) != 0;
}

inline void printImsLog(int level, const char* file, int line, const char* fmt, ...)
    __attribute__((format(printf, 4, 5)));

inline void printImsLog(int level, const char* file, int line, const char* fmt, ...) {
    (void)level;
    if (!isImsLogEnabled()) return;

    // The whole line is built here and handed over as text: liblog's own
    // printf pass over it would cost as much again as ours.
    char text[imslog_detail::kLineSize];
    size_t nameEnd = 0;
    size_t len = imslog_detail::putPrefix(text, file, line, &nameEnd);

    // "| <tid> |" then the caller's message, cut at 511 characters in all.
    const imslog_detail::TidText& tid = imslog_detail::tidText();
    memcpy(text + len, tid.text, static_cast<size_t>(tid.len));
    len += static_cast<size_t>(tid.len);
    text[len] = '\0';
    const size_t room = imslog_detail::kMessageSize - static_cast<size_t>(tid.len);
    va_list args;
    va_start(args, fmt);
    va_list again;
    va_copy(again, args);
    const bool formatted = imslog_detail::formatCommon(text + len, room, fmt, args);
    va_end(args);
    if (formatted) {
        va_end(again);
        __android_log_write(ANDROID_LOG_ERROR, nullptr, text);
        return;
    }
    // A message with other conversions: the C library formats it, and liblog
    // lays the line out as above from its parts.
    char message[imslog_detail::kMessageSize];
    memcpy(message, tid.text, static_cast<size_t>(tid.len));
    vsnprintf(message + tid.len, sizeof(message) - static_cast<size_t>(tid.len), fmt, again);
    va_end(again);
    text[nameEnd] = '\0';
    __android_log_print(ANDROID_LOG_ERROR, nullptr, "%s | %d | %s", text, line, message);
}

/* Logs one line with the caller's own file and line. */
#define IMS_LOG(...) printImsLog(ANDROID_LOG_ERROR, __FILE__, __LINE__, __VA_ARGS__)

#endif  // IMS_LOG_H
