#include "imsservice/ImsLog.h"

#include <gtest/gtest.h>

#include <string>

#include "support/LogCapture.h"

namespace {

using imstest::LogCapture;

TEST(PrintImsLog, WritesErrorLineWithNullTagAndDoubledBar) {
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
}

TEST(PrintImsLog, FileWithoutSlashLeavesMarkerAlone) {
    LogCapture capture;
    printImsLog(6, "ImsTimer.cpp", 3, "x");
    auto lines = capture.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].text.rfind("[IMS_COM] | | 3 | | ", 0), 0u) << lines[0].text;
}

TEST(PrintImsLog, LongMessageIsCutAtTheMessageBuffer) {
    LogCapture capture;
    std::string longText(2000, 'a');
    printImsLog(6, "a/b.cpp", 1, "%s", longText.c_str());
    auto lines = capture.lines();
    ASSERT_EQ(lines.size(), 1u);
    // The tid part and the message share 511 characters plus the terminator.
    std::string tidPart = "| " + std::to_string(gettid()) + " |";
    EXPECT_EQ(lines[0].message.size(), 511u - tidPart.size());
    EXPECT_EQ(lines[0].message, std::string(511u - tidPart.size(), 'a'));
}

TEST(PrintImsLog, LongFileNameIsCutAtThePrefixBuffer) {
    LogCapture capture;
    std::string path = "dir/" + std::string(300, 'f');
    printImsLog(6, path.c_str(), 9, "m");
    auto lines = capture.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].file.size(), 128u - 11u);  // 128 characters, 11 of them the marker
    EXPECT_EQ(lines[0].message, "m");
}

TEST(PrintImsLog, MacroPassesCallersFileAndLine) {
    LogCapture capture;
    int line = __LINE__ + 1;
    IMS_LOG("value %d", 5);
    auto lines = capture.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].file, "ImsLog_test.cpp");
    EXPECT_EQ(lines[0].line, line);
    EXPECT_EQ(lines[0].message, "value 5");
}

}  // namespace
