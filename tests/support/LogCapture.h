/*
 * LogCapture: records what the library writes to the Android log, through
 * liblog's logger hook, so tests can assert on the lines that are the
 * observable behaviour of a component.
 *
 * One capture may be active at a time (the hook is process-wide). Lines are
 * recorded from any thread; the accessors are thread-safe.
 */
#ifndef TESTS_SUPPORT_LOG_CAPTURE_H
#define TESTS_SUPPORT_LOG_CAPTURE_H

#include <chrono>
#include <string>
#include <vector>

namespace imstest {

struct LogLine {
    int priority = 0;
    std::string tag;      // empty when the writer passed no tag
    std::string text;     // the whole formatted line as liblog received it
    std::string message;  // for "[IMS_COM] |..." lines, the caller's message alone; else == text
    std::string file;     // base name from the "[IMS_COM] |" prefix, empty otherwise
    int line = -1;        // source line from the prefix, -1 otherwise
    int tid = -1;         // thread id from the prefix, -1 otherwise
};

// Splits a printImsLog line into its parts; returns false if it is not one.
bool parseImsLogLine(const std::string& text, LogLine* out);

class LogCapture {
public:
    // Installs the recording hook; any previous recording is discarded.
    LogCapture();
    // Restores liblog's standard error logger.
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<LogLine> lines() const;
    // Messages (prefix stripped) in the order written.
    std::vector<std::string> messages() const;
    // Number of messages that contain `needle`.
    size_t count(const std::string& needle) const;
    bool contains(const std::string& needle) const { return count(needle) > 0; }
    // Index of the first message containing `needle` at or after `from`, or -1.
    int indexOf(const std::string& needle, size_t from = 0) const;
    // Blocks until a message containing `needle` has been seen `times` times.
    bool waitFor(const std::string& needle, std::chrono::milliseconds timeout,
                 size_t times = 1) const;
    void clear();
    // All messages joined by newlines, for failure output.
    std::string dump() const;
};

}  // namespace imstest

#endif  // TESTS_SUPPORT_LOG_CAPTURE_H
