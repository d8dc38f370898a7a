/*
 * printImsLog: the one formatting function behind every message of the library.
 *
 * Each source file gets its own copy (static inline), so the function can be
 * used from any translation unit without a link dependency. Every line goes to
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
 *  - the prefix is copied, not formatted; the caller's message is the one
 *    formatting pass of ours before liblog's own.
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

}  // namespace imslog_detail

/*
 * True when a line written now would reach the log. Lets callers skip building
 * costly arguments (strings, dumps) for lines that would be dropped.
 */
static inline bool isImsLogEnabled() {
    return __android_log_is_loggable(ANDROID_LOG_ERROR, nullptr, ANDROID_LOG_VERBOSE) != 0;
}

static inline void printImsLog(int level, const char* file, int line, const char* fmt, ...)
    __attribute__((format(printf, 4, 5)));

static inline void printImsLog(int level, const char* file, int line, const char* fmt, ...) {
    (void)level;
    if (!isImsLogEnabled()) return;

    // Marker and base name; the name is cut so that the prefix fits 128 characters.
    static const char kMarker[] = "[IMS_COM] |";
    const size_t kMarkerLen = sizeof(kMarker) - 1;
    char prefix[129];
    memcpy(prefix, kMarker, kMarkerLen);
    size_t prefixLen = kMarkerLen;
    const char* slash = file != nullptr ? strrchr(file, '/') : nullptr;
    if (slash != nullptr) {
        size_t n = strnlen(slash + 1, 128 - kMarkerLen);
        memcpy(prefix + prefixLen, slash + 1, n);
        prefixLen += n;
    }
    prefix[prefixLen] = '\0';

    // "| <tid> |" then the caller's message, cut at 511 characters in all.
    char message[512];
    const imslog_detail::TidText& tid = imslog_detail::tidText();
    memcpy(message, tid.text, static_cast<size_t>(tid.len));
    message[tid.len] = '\0';
    va_list args;
    va_start(args, fmt);
    vsnprintf(message + tid.len, sizeof(message) - static_cast<size_t>(tid.len), fmt, args);
    va_end(args);

    __android_log_print(ANDROID_LOG_ERROR, nullptr, "%s | %d | %s", prefix, line, message);
}

/* Logs one line with the caller's own file and line. */
#define IMS_LOG(...) printImsLog(ANDROID_LOG_ERROR, __FILE__, __LINE__, __VA_ARGS__)

#endif  // IMS_LOG_H
