// Removal of a dead process's registry entry while a new process registers
// the same service: the new entry must survive, whichever comes first. (That
// a dead process's entry and socket go is checked with real processes.)
#include <gtest/gtest.h>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>

#include "../../platform/hidl/src/RpcTransport.h"

namespace {

using android::hardware::details::removeStaleEntry;

class RegistryStaleEntryTest : public ::testing::Test {
protected:
    void SetUp() override {
        char dir[] = "/tmp/hidl_registry_test_XXXXXX";
        ASSERT_NE(mkdtemp(dir), nullptr);
        mDir = dir;
        mEntry = mDir + "/vendor.kel.ims.factory@1.1::IImsFactory#default";
    }
    void TearDown() override {
        std::system(("rm -rf '" + mDir + "'").c_str());
    }
    // True once a descriptor of this process other than `except` is open on
    // the file of inode `ino`.
    static bool openedElsewhere(ino_t ino, int except) {
        DIR* d = opendir("/proc/self/fd");
        if (d == nullptr) return false;
        bool found = false;
        while (dirent* e = readdir(d)) {
            int fd = std::atoi(e->d_name);
            struct stat st;
            if (e->d_name[0] == '.' || fd == except || fd == dirfd(d)) continue;
            // By path: the descriptor belongs to another thread.
            const std::string link = std::string("/proc/self/fd/") + e->d_name;
            if (stat(link.c_str(), &st) == 0 && st.st_ino == ino && S_ISFIFO(st.st_mode)) found = true;
        }
        closedir(d);
        return found;
    }

    std::string mDir;
    std::string mEntry;
};

TEST_F(RegistryStaleEntryTest, NewRegistrationBetweenTheLookAndTheRemoval_IsKept) {
    const pid_t dead = 999999;
    // The dead entry is a FIFO, so the remover's read of it waits until this
    // test has put the new registration in place and only then lets it read
    // the dead pid.
    ASSERT_EQ(mkfifo(mEntry.c_str(), 0600), 0);
    struct stat fifo;
    ASSERT_EQ(stat(mEntry.c_str(), &fifo), 0);
    int writer = open(mEntry.c_str(), O_RDWR);
    ASSERT_GE(writer, 0);
    std::thread remover([&] { removeStaleEntry(mDir, mEntry, dead); });
    bool reading = false;
    for (auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
         !reading && std::chrono::steady_clock::now() < end;) {
        reading = openedElsewhere(fifo.st_ino, writer);
        if (!reading) std::this_thread::yield();
    }
    EXPECT_TRUE(reading);

    // A new process registers as registrations do: a file renamed over the path.
    const std::string fresh = mDir + "/.entry-new";
    std::ofstream(fresh) << getpid() << "\n";
    ASSERT_EQ(rename(fresh.c_str(), mEntry.c_str()), 0);
    const std::string deadPid = std::to_string(dead) + "\n";
    ASSERT_EQ(write(writer, deadPid.data(), deadPid.size()), static_cast<ssize_t>(deadPid.size()));
    remover.join();
    close(writer);

    std::string kept;
    std::getline(std::ifstream(mEntry), kept);
    EXPECT_EQ(kept, std::to_string(getpid()));
}

}  // namespace
