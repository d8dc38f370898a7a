// What one client of the service executable can do to the others: hand its
// debug() a broken descriptor, wait inside the service. The test process is
// itself one of the clients, through the host transport, next to
// rcsconfigctl processes.
#include <gtest/gtest.h>

#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <cutils/native_handle.h>
#include <hidl/HidlHostTransport.h>
#include <vendor/kel/ims/factory/1.1/IImsFactory.h>

#include "ToolProcess.h"
#include "clientkit/DebugCall.h"

namespace clitest {
namespace {

// True once the main thread of `pid` has SIGTERM blocked (its signal
// thread takes it) and sleeps in the kernel, which for a client of a stopped
// service is its call; false after the time-out.
bool waitUntilSleepingWithSignalsTaken(pid_t pid) {
    const std::string task = "/proc/" + std::to_string(pid) + "/task/" + std::to_string(pid);
    for (int i = 0; i < kWaitMs / 10; ++i) {
        std::ifstream status(task + "/status");
        std::string line;
        unsigned long long blocked = 0;
        while (std::getline(status, line)) {
            if (line.compare(0, 7, "SigBlk:") == 0) blocked = std::stoull(line.substr(7), nullptr, 16);
        }
        std::ifstream stat(task + "/stat");
        std::string pidField, name, state;
        stat >> pidField >> name >> state;
        if ((blocked & (1ULL << (SIGTERM - 1))) != 0 && state == "S") return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

class ServiceIsolationTest : public ServiceProcessesTest {
protected:
    void SetUp() override {
        ASSERT_NO_FATAL_FAILURE(ServiceProcessesTest::SetUp());
        ASSERT_TRUE(android::hardware::host::useServiceRegistry(mRegistry));
        mFactory = vendor::kel::ims::factory::V1_1::IImsFactory::getService("default");
        ASSERT_NE(nullptr, mFactory.get());
    }

    // Hands `fd` (still the test's to close) to the service's debug() with `words`.
    bool debugInto(int fd, const std::vector<std::string>& words) {
        native_handle_t* native = native_handle_create(1, 0);
        native->data[0] = fd;
        const std::vector<android::hardware::hidl_string> options(words.begin(), words.end());
        bool ok = mFactory->debug(android::hardware::hidl_handle(native), options).isOk();
        native_handle_delete(native);
        return ok;
    }

    android::sp<vendor::kel::ims::factory::V1_1::IImsFactory> mFactory;
};

TEST_F(ServiceIsolationTest, DebugIntoAPipeNobodyReads_FailsThatDumpAndTheServiceGoesOnServing) {
    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    close(ends[0]);
    // The dump and a host command's answer are written the same way.
    EXPECT_TRUE(debugInto(ends[1], {}));
    EXPECT_TRUE(debugInto(ends[1], {"heap"}));
    close(ends[1]);

    EXPECT_TRUE(mService->waitFor("ImsFactory debug: write failed: Broken pipe", kWaitMs, 2, true))
            << mService->sofar().err;
    ToolResult next = runTool(attached({"get-settings", "presence"}));
    EXPECT_EQ(0, next.exitCode) << next.err;
    EXPECT_TRUE(next.has("get-settings PRESENCE_CONFIG -> OK")) << next.out;
}

TEST_F(ServiceIsolationTest, AClientWaitingInsideTheServiceDoesNotHoldOtherClientsCalls) {
    std::string text, error;
    ASSERT_TRUE(clientkit::callDebug(mFactory, {"registrations"}, &text, &error)) << error;
    const unsigned long next = std::stoul(text) + 1;
    // Waits for a registration that only the other client below makes: the
    // wait can end well only if that client's calls are served meanwhile.
    std::string answer, waitError;
    std::thread waiter([&] {
        clientkit::callDebug(mFactory, {"wait-registrations", std::to_string(next), std::to_string(kWaitMs)},
                           &answer, &waitError);
    });
    ToolResult other = runTool(attached({"--script", "-"}), "watch presence\n");
    waiter.join();
    EXPECT_EQ(0, other.exitCode) << other.err;
    EXPECT_TRUE(other.has("watch PRESENCE_CONFIG -> OK")) << other.out;
    EXPECT_EQ("sent\n", answer) << waitError;

    // A wait still running when the service stops is told so, and the stop
    // does not wait for it.
    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    ASSERT_TRUE(debugInto(ends[1], {"wait-registrations", std::to_string(next + 100), "3600000"}));
    close(ends[1]);
    ToolResult stopped = mService->stop(SIGTERM);
    EXPECT_EQ(0, stopped.exitCode);
    std::string told;
    char buf[64];
    for (ssize_t n; (n = read(ends[0], buf, sizeof(buf))) > 0;) told.append(buf, static_cast<size_t>(n));
    close(ends[0]);
    EXPECT_EQ("not sent\n", told);
}

TEST_F(ServiceIsolationTest, AClientInACallToAServiceThatNeverAnswersEndsOnItsTimeOutOrASignal) {
    ASSERT_EQ(0, kill(mService->pid(), SIGSTOP));
    ToolResult late = runTool(attached({"--timeout", "1", "get-settings", "presence"}));
    EXPECT_EQ(1, late.exitCode) << late.err;
    for (int signal : {SIGTERM, SIGINT}) {
        BackgroundTool client(attached({"--timeout", "600", "get-settings", "presence"}));
        ASSERT_TRUE(waitUntilSleepingWithSignalsTaken(client.pid()));
        EXPECT_EQ(128 + signal, client.stop(signal).exitCode) << signal;
    }
    EXPECT_EQ(0, kill(mService->pid(), SIGCONT));
}

}  // namespace
}  // namespace clitest
