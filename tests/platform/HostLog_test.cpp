// The workstation's log lines as logcat prints them, and the tag filter of
// ANDROID_LOG_TAGS and of `rcsconfigctl logcat`.
#include <android/log.h>
#include <gtest/gtest.h>

#include <ctime>
#include <string>

#include "hostlog/LogLine.h"
#include "hostlog/TagFilter.h"

namespace {

hostlog::Entry sample(const std::string& message) {
    hostlog::Entry e;
    tm local{};
    strptime("2026-11-25 13:31:42", "%Y-%m-%d %H:%M:%S", &local);
    local.tm_isdst = -1;
    e.when.tv_sec = mktime(&local);
    e.when.tv_nsec = 120 * 1000000 + 999;
    e.pid = 4242;
    e.tid = 4250;
    e.priority = ANDROID_LOG_ERROR;
    e.tag = "IMS_COM";
    e.message = message;
    return e;
}

TEST(HostLogTest, Format_EachLayoutAsLogcatPrintsIt) {
    const hostlog::Entry e = sample("message");
    const struct {
        const char* name;
        const char* line;
    } cases[] = {
            {"threadtime", "11-25 13:31:42.120  4242  4250 E IMS_COM : message\n"},
            {"time", "11-25 13:31:42.120 E/IMS_COM ( 4242): message\n"},
            {"brief", "E/IMS_COM ( 4242): message\n"},
            {"process", "E( 4242) message  (IMS_COM)\n"},
            {"tag", "E/IMS_COM : message\n"},
            {"thread", "E( 4242: 4250) message\n"},
            {"raw", "message\n"},
            {"long", "[ 11-25 13:31:42.120  4242: 4250 E/IMS_COM  ]\nmessage\n\n"},
    };
    for (const auto& c : cases) {
        hostlog::Layout layout;
        ASSERT_TRUE(hostlog::parseLayout(c.name, &layout)) << c.name;
        EXPECT_EQ(c.line, hostlog::format(e, layout)) << c.name;
    }
    hostlog::Layout layout;
    EXPECT_FALSE(hostlog::parseLayout("fancy", &layout));
    // Each line of a message carries the prefix.
    EXPECT_EQ("E/IMS_COM : one\nE/IMS_COM : two\n", hostlog::format(sample("one\ntwo"), hostlog::Layout::Tag));
}

TEST(HostLogTest, ParseThreadTime_ReadsBackPriorityAndTag) {
    int priority = 0;
    std::string tag;
    ASSERT_TRUE(hostlog::parseThreadTime(hostlog::format(sample("a: b"), hostlog::Layout::ThreadTime), &priority,
                                         &tag));
    EXPECT_EQ(ANDROID_LOG_ERROR, priority);
    EXPECT_EQ("IMS_COM", tag);
    hostlog::Entry longTag = sample("x");
    longTag.tag = "vendor.kel.ims.rcsconfig-service";
    longTag.priority = ANDROID_LOG_WARN;
    ASSERT_TRUE(hostlog::parseThreadTime(hostlog::format(longTag, hostlog::Layout::ThreadTime), &priority, &tag));
    EXPECT_EQ(ANDROID_LOG_WARN, priority);
    EXPECT_EQ(longTag.tag, tag);
    EXPECT_FALSE(hostlog::parseThreadTime("E/IMS_COM ( 4242): message", &priority, &tag));
}

TEST(HostLogTest, TagFilter_NamedTagsThenTheRest) {
    hostlog::TagFilter f;
    std::string error;
    ASSERT_TRUE(hostlog::TagFilter::parse({"*:S RcsConfig:I", "Modem"}, &f, &error)) << error;
    EXPECT_TRUE(f.passes("RcsConfig", ANDROID_LOG_INFO));
    EXPECT_FALSE(f.passes("RcsConfig", ANDROID_LOG_DEBUG));
    EXPECT_TRUE(f.passes("Modem", ANDROID_LOG_VERBOSE));  // a bare tag shows everything of it
    EXPECT_FALSE(f.passes("Other", ANDROID_LOG_FATAL));
    EXPECT_EQ(ANDROID_LOG_VERBOSE, f.lowestShown());

    ASSERT_TRUE(hostlog::TagFilter::parse({"*:w"}, &f, &error));
    EXPECT_TRUE(f.passes("Any", ANDROID_LOG_ERROR));
    EXPECT_FALSE(f.passes("Any", ANDROID_LOG_INFO));
    EXPECT_EQ(ANDROID_LOG_WARN, f.lowestShown());

    for (const char* bad : {"Tag:Q", ":E", "Tag:EE"}) {
        EXPECT_FALSE(hostlog::TagFilter::parse({bad}, &f, &error)) << bad;
        EXPECT_NE(std::string::npos, error.find(bad)) << error;
    }
}

}  // namespace
