#include "imsservice/ImsLog.h"

#include <limits.h>
#include <stdint.h>
#include <sys/wait.h>

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "support/LogCapture.h"

namespace {

using imstest::LogCapture;

// The message as the library's own formatter writes it into `size` bytes;
// `taken` tells whether it took the format at all.
std::string viaCommon(bool* taken, size_t size, const char* fmt, ...)
    __attribute__((format(printf, 3, 4)));
std::string viaCommon(bool* taken, size_t size, const char* fmt, ...) {
    std::string out(size, '#');
    va_list args;
    va_start(args, fmt);
    *taken = imslog_detail::formatCommon(&out[0], size, fmt, args);
    va_end(args);
    return out.c_str();
}

std::string viaLibc(size_t size, const char* fmt, ...) __attribute__((format(printf, 2, 3)));
std::string viaLibc(size_t size, const char* fmt, ...) {
    std::string out(size, '#');
    va_list args;
    va_start(args, fmt);
    vsnprintf(&out[0], size, fmt, args);
    va_end(args);
    return out.c_str();
}

#define EXPECT_AS_LIBC(size, ...)                                         \
    do {                                                                  \
        bool taken = false;                                               \
        std::string ours = viaCommon(&taken, size, __VA_ARGS__);          \
        EXPECT_TRUE(taken) << #__VA_ARGS__;                               \
        EXPECT_EQ(ours, viaLibc(size, __VA_ARGS__)) << #__VA_ARGS__;      \
    } while (0)

TEST(PrintImsLogTest, WritesErrorLineWithBaseNameAndDoubledBar) {
    LogCapture capture;
    printImsLog(ANDROID_LOG_DEBUG, "ims/rcs/libimsrcs-v2/imsservice/ImsCom.cpp", 42,
                "ImsCom is ready. epollFd:%d", 7);

    auto lines = capture.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].priority, ANDROID_LOG_ERROR);  // the caller's level is ignored
    std::string expected = "[IMS_COM] |ImsCom.cpp | 42 | | " + std::to_string(gettid()) +
                           " |ImsCom is ready. epollFd:7";
    EXPECT_EQ(lines[0].text, expected);
    EXPECT_EQ(lines[0].message, "ImsCom is ready. epollFd:7");
    EXPECT_EQ(lines[0].tid, gettid());

    // A file name without a slash is skipped whole: the marker stands alone.
    printImsLog(6, "ImsTimer.cpp", 3, "x");
    ASSERT_EQ(capture.lines().size(), 2u);
    EXPECT_EQ(capture.lines()[1].text.rfind("[IMS_COM] | | 3 | | ", 0), 0u) << capture.lines()[1].text;
}

TEST(PrintImsLogTest, LongFileNameAndMessage_AreCutAtTheirBuffers) {
    LogCapture capture;
    std::string path = "dir/" + std::string(300, 'f');
    printImsLog(6, path.c_str(), 9, "%s", std::string(2000, 'a').c_str());
    auto lines = capture.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].file.size(), 128u - 11u);  // 128 characters, 11 of them the marker
    // The tid part and the message share 511 characters plus the terminator.
    std::string tidPart = "| " + std::to_string(gettid()) + " |";
    EXPECT_EQ(lines[0].message, std::string(511u - tidPart.size(), 'a'));
}

// The macro passes the caller's file and line, and writes nothing while ERROR
// is filtered out.
TEST(PrintImsLogTest, Macro_PassesCallersFileAndLineWhenErrorIsLoggable) {
    LogCapture capture;
    int previous = __android_log_set_minimum_priority(ANDROID_LOG_FATAL);
    IMS_LOG("dropped %d", 1);
    __android_log_set_minimum_priority(ANDROID_LOG_ERROR);
    int line = __LINE__ + 1;
    IMS_LOG("kept %d", 2);
    __android_log_set_minimum_priority(previous);
    auto lines = capture.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].file, "ImsLog_test.cpp");
    EXPECT_EQ(lines[0].line, line);
    EXPECT_EQ(lines[0].message, "kept 2");
}

// The conversions the library formats itself must read exactly as printf's,
// limits and cut-off included.
TEST(PrintImsLogTest, CommonConversions_ReadAsVsnprintfAtEveryCut) {
    const char* volatile none = nullptr;
    int anything = 0;
    EXPECT_AS_LIBC(64, "plain text");
    EXPECT_AS_LIBC(64, "%s", "");
    EXPECT_AS_LIBC(64, "%d %d %d %i", INT_MIN, INT_MAX, 0, -7);
    EXPECT_AS_LIBC(64, "%u %x %X", UINT_MAX, 0xdeadBEEFu, 0xdeadBEEFu);
    EXPECT_AS_LIBC(96, "%ld %lld %llu %lx", LONG_MIN, LLONG_MIN, ULLONG_MAX, ULONG_MAX);
    EXPECT_AS_LIBC(64, "%zu %zd %zx", SIZE_MAX, static_cast<ssize_t>(-1), static_cast<size_t>(255));
    EXPECT_AS_LIBC(64, "[%s] [%s] %c%%", "abc", none, 'x');
    EXPECT_AS_LIBC(64, "at %p", static_cast<void*>(&anything));
    for (size_t size = 1; size < 40; ++size) {
        EXPECT_AS_LIBC(size, "fd '%d' mask %x: %s%%", -12345, 0xabcu, "events");
    }
}

// Anything else is left to vsnprintf, and the line still reads as printf's.
TEST(PrintImsLogTest, OtherConversions_AreLeftToVsnprintf) {
    bool taken = true;
    viaCommon(&taken, 64, "%05d", 1);
    EXPECT_FALSE(taken);
    viaCommon(&taken, 64, "%p", static_cast<void*>(nullptr));  // "(nil)" or "0x0"
    EXPECT_FALSE(taken);
    viaCommon(&taken, 64, "%d %o", 1, 8u);
    EXPECT_FALSE(taken);

    LogCapture capture;
    IMS_LOG("%-4s|%.2f|%p|%lu|%hd|%o", "a", 1.5, static_cast<void*>(nullptr), 7ul,
            static_cast<short>(-2), 8u);
    EXPECT_EQ(capture.messages(),
              std::vector<std::string>{viaLibc(512, "%-4s|%.2f|%p|%lu|%hd|%o", "a", 1.5,
                                               static_cast<void*>(nullptr), 7ul,
                                               static_cast<short>(-2), 8u)});
}

// The thread id is formatted once per thread: each thread, and the thread of
// a forked child, must still get its own.
TEST(PrintImsLogTest, EachThreadAndForkedChild_WritesItsOwnId) {
    LogCapture capture;
    IMS_LOG("main");  // caches this thread's id
    pid_t other = 0;
    std::thread t([&] {
        other = gettid();
        IMS_LOG("other");
        IMS_LOG("other again");
    });
    t.join();
    IMS_LOG("main again");
    std::vector<int> tids;
    for (const auto& line : capture.lines()) tids.push_back(line.tid);
    EXPECT_EQ(tids, (std::vector<int>{gettid(), other, other, gettid()}));
    EXPECT_NE(other, gettid());

    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        // The child's capture is its own copy: check there and report by exit code.
        capture.clear();
        IMS_LOG("child");
        auto lines = capture.lines();
        _exit(lines.size() == 1 && lines[0].tid == gettid() ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

}  // namespace
