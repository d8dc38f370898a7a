#include <errno.h>
#include <stdlib.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "hardware_legacy/power.h"
#include "hardware_legacy/power_host.h"

namespace {

class WakeLockPlatformTest : public ::testing::Test {
protected:
    void SetUp() override {
        // Tests must not take real kernel wake locks on a developer's machine.
        dir = std::string("/tmp/wakelock_test_XXXXXX");
        ASSERT_NE(mkdtemp(&dir[0]), nullptr);
        power_host::useSysfsDir(dir + "/absent");
        power_host::reset();
    }
    void TearDown() override {
        power_host::useSysfsDir("");
        unlink((dir + "/wake_lock").c_str());
        unlink((dir + "/wake_unlock").c_str());
        rmdir(dir.c_str());
    }
    static std::string readFile(const std::string& path) {
        std::ifstream in(path);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }
    std::string dir;
};

TEST_F(WakeLockPlatformTest, AcquireAndRelease_WithoutKernelInterface_KeepStateInMemory) {
    EXPECT_FALSE(power_host::writesToSysfs());
    EXPECT_GE(acquire_wake_lock(PARTIAL_WAKE_LOCK, "a"), 0);
    EXPECT_GE(acquire_wake_lock(PARTIAL_WAKE_LOCK, "b"), 0);
    EXPECT_GE(acquire_wake_lock(PARTIAL_WAKE_LOCK, "a"), 0);  // not counted: one name, one lock
    EXPECT_EQ(power_host::heldWakeLocks(), (std::vector<std::string>{"a", "b"}));

    EXPECT_GE(release_wake_lock("a"), 0);
    EXPECT_FALSE(power_host::isWakeLockHeld("a"));
    EXPECT_TRUE(power_host::isWakeLockHeld("b"));
    errno = 0;
    EXPECT_EQ(release_wake_lock("a"), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(power_host::acquireCount(), 3);
    EXPECT_EQ(power_host::releaseCount(), 1);

    // A reset forgets every name, the one used last included.
    EXPECT_GE(acquire_wake_lock(PARTIAL_WAKE_LOCK, "a"), 0);
    power_host::reset();
    EXPECT_EQ(release_wake_lock("a"), -1);
    EXPECT_TRUE(power_host::heldWakeLocks().empty());
}

TEST_F(WakeLockPlatformTest, BadArgumentsAndInjectedFailures_FailWithErrno) {
    errno = 0;
    EXPECT_EQ(acquire_wake_lock(PARTIAL_WAKE_LOCK, nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(acquire_wake_lock(PARTIAL_WAKE_LOCK, ""), -1);
    EXPECT_EQ(acquire_wake_lock(7, "x"), -1);
    EXPECT_EQ(release_wake_lock(nullptr), -1);
    EXPECT_TRUE(power_host::heldWakeLocks().empty());

    power_host::failNextAcquire(EIO);
    errno = 0;
    EXPECT_EQ(acquire_wake_lock(PARTIAL_WAKE_LOCK, "x"), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_FALSE(power_host::isWakeLockHeld("x"));
    EXPECT_GE(acquire_wake_lock(PARTIAL_WAKE_LOCK, "x"), 0);

    power_host::failNextRelease(EPERM);
    EXPECT_EQ(release_wake_lock("x"), -1);
    EXPECT_EQ(errno, EPERM);
    EXPECT_TRUE(power_host::isWakeLockHeld("x"));
    EXPECT_GE(release_wake_lock("x"), 0);
}

TEST_F(WakeLockPlatformTest, WritableKernelFiles_ReceiveTheLockNames) {
    { std::ofstream(dir + "/wake_lock"); }
    { std::ofstream(dir + "/wake_unlock"); }
    power_host::useSysfsDir(dir);
    ASSERT_TRUE(power_host::writesToSysfs());

    EXPECT_EQ(acquire_wake_lock(PARTIAL_WAKE_LOCK, "imsLock"), 7);
    EXPECT_TRUE(power_host::isWakeLockHeld("imsLock"));
    EXPECT_EQ(release_wake_lock("imsLock"), 7);
    EXPECT_EQ(readFile(dir + "/wake_lock"), "imsLock");
    EXPECT_EQ(readFile(dir + "/wake_unlock"), "imsLock");
    EXPECT_TRUE(power_host::heldWakeLocks().empty());
}

}  // namespace
