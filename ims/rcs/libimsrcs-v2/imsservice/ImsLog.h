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
 */
#ifndef IMS_LOG_H
#define IMS_LOG_H

#include <android/log.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <sys/types.h>
#include <unistd.h>

static inline void printImsLog(int level, const char* file, int line, const char* fmt, ...)
    __attribute__((format(printf, 4, 5)));

static inline void printImsLog(int level, const char* file, int line, const char* fmt, ...) {
    (void)level;
    char prefix[129];
    memset(prefix, 0, sizeof(prefix));
    strncpy(prefix, "[IMS_COM] |", 13);
    const char* slash = file != nullptr ? strrchr(file, '/') : nullptr;
    if (slash != nullptr) {
        strncat(prefix, slash + 1, 128 - strlen(prefix));
    }

    char message[512];
    memset(message, 0, sizeof(message));
    int used = snprintf(message, sizeof(message), "| %d |", static_cast<int>(gettid()));
    if (used < 0) used = 0;
    va_list args;
    va_start(args, fmt);
    vsnprintf(message + used, sizeof(message) - static_cast<size_t>(used), fmt, args);
    va_end(args);

    __android_log_print(ANDROID_LOG_ERROR, nullptr, "%s | %d | %s", prefix, line, message);
}

/* Logs one line with the caller's own file and line. */
#define IMS_LOG(...) printImsLog(ANDROID_LOG_ERROR, __FILE__, __LINE__, __VA_ARGS__)

#endif  // IMS_LOG_H
