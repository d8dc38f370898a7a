// Peers that die, stall, lie or lose a registration, with real processes:
// each costs only its own connection (or its own files), and the service goes
// on serving everyone else. A wedged service
// never answers again, so every wait here is bounded; the bounds only end the
// test, they time nothing.
#include <hidl/HidlHostRpc.h>

#include <gtest/gtest.h>
#include <linux/sockios.h>
#include <sys/ioctl.h>

#include <dirent.h>

#include <algorithm>
#include <fstream>
#include <future>

#include "support/LogCapture.h"
#include "xproc/Callbacks.h"
#include "xproc/CrossProcessSupport.h"

using namespace xproc;
using namespace std::chrono_literals;

namespace {

// True when the service in `server` creates an object for this process (a
// call with a nested call back into it) within `bound`. A service that does
// not is killed, which ends the call.
bool servesWithin(const sp<F11::IImsFactory>& factory, Peer& server, std::chrono::seconds bound) {
    auto created = std::async(std::launch::async, [factory] {
        return createConfig(factory, newListener()) != nullptr;
    });
    if (created.wait_for(bound) == std::future_status::ready) return created.get();
    server.kill();
    created.wait();
    return false;
}

// Resident memory of process `pid` in kB, 0 when unknown.
long residentKb(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind("VmRSS:", 0) == 0) return std::stol(line.substr(6));
    }
    return 0;
}

// True when the other end closes `fd`; what it sent before is read and dropped.
bool readsToTheEnd(int fd) {
    char buffer[4096];
    pollfd p{fd, POLLIN, 0};
    while (poll(&p, 1, 20000) > 0) {
        ssize_t n = read(fd, buffer, sizeof(buffer));
        if (n == 0 || (n < 0 && errno == ECONNRESET)) return true;
        if (n < 0 && errno != EINTR) return false;
    }
    return false;
}

using HidlPeerFailureTest = CrossProcessTest;

}  // namespace

TEST_F(HidlPeerFailureTest, ClientKilledAtEachStepOfANestedCall_TheServiceServesTheNextOne) {
    Peer server("serve");  // one pool thread, as the service has
    sp<F11::IImsFactory> factory = F11::IImsFactory::getService("default");
    ASSERT_NE(nullptr, factory);

    // Before the nested call arrives: a client sends a creation naming its
    // listener and is killed at once.
    uint32_t factoryId = 0;
    int fd = connectAndLookUpFactory(server.pid, F11::IImsFactory::descriptor, &factoryId);
    ASSERT_GE(fd, 0);
    const std::vector<uint8_t> args = {0, 0, 0, 0, 1, 1, 0, 0, 0};  // slot 0, the sender's object 1
    const std::vector<uint8_t> create = frame(wire::FrameKind::kCall, factoryId, 3, args, args.size());
    pid_t child = fork();
    if (child == 0) {
        (void)!write(fd, create.data(), create.size());
        raise(SIGKILL);
        _exit(1);
    }
    close(fd);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_TRUE(servesWithin(factory, server, 5s)) << "killed before the nested call";

    // While the service waits for the nested call's answer, and once it has it.
    for (const auto& step : {std::make_pair("stuck-in-nested", "nested"), std::make_pair("stuck-after-nested", "answered")}) {
        SCOPED_TRACE(step.first);
        Peer client(step.first);
        ASSERT_TRUE(client.waitForLine(step.second));
        client.kill();
        EXPECT_TRUE(servesWithin(factory, server, 5s));
    }
}

TEST_F(HidlPeerFailureTest, ClientThatNeverReadsItsReplies_LosesItsConnectionAndOthersAreServed) {
    Peer server("serve");
    sp<F11::IImsFactory> factory = F11::IImsFactory::getService("default");
    ASSERT_NE(nullptr, factory);
    uint32_t factoryId = 0;
    int fd = connectAndLookUpFactory(server.pid, F11::IImsFactory::descriptor, &factoryId);
    ASSERT_GE(fd, 0);

    // Two-way calls back to back, far more replies than the socket holds.
    std::vector<uint8_t> burst;
    const std::vector<uint8_t> call = frame(wire::FrameKind::kCall, factoryId, wire::kCodeInterfaceChain, {}, 0);
    for (int i = 0; i < 256; ++i) burst.insert(burst.end(), call.begin(), call.end());
    timeval patience{20, 0};  // the service reads calls as they come; this only bounds a wedged one
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof(patience));
    for (int sent = 0; sent < 20000; sent += 256) {
        if (send(fd, burst.data(), burst.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(burst.size())) break;
    }
    EXPECT_TRUE(servesWithin(factory, server, 10s));
    EXPECT_TRUE(readsToTheEnd(fd));
    close(fd);
}

TEST_F(HidlPeerFailureTest, PeersAnnouncingHugeFrames_CommitNoMemoryInTheService) {
    Peer server("serve");
    sp<F11::IImsFactory> factory = F11::IImsFactory::getService("default");
    ASSERT_NE(nullptr, factory);
    ASSERT_TRUE(factory->ping().isOk());
    const long before = residentKb(server.pid);

    // Each sends the header of the largest frame allowed, and nothing more.
    const std::vector<uint8_t> header = frame(wire::FrameKind::kCall, 1, 1, {}, wire::kMaxFramePayload);
    std::vector<int> peers;
    for (int i = 0; i < 16; ++i) {
        int fd = connectRaw(server.pid);
        ASSERT_GE(fd, 0);
        peers.push_back(fd);
        ASSERT_EQ(static_cast<ssize_t>(header.size()), write(fd, header.data(), header.size()));
    }
    // The service has read every header once nothing is left in the senders' queues.
    EXPECT_TRUE(waitUntil([&] {
        for (int fd : peers) {
            int queued = 0;
            if (ioctl(fd, SIOCOUTQ, &queued) != 0 || queued != 0) return false;
        }
        return true;
    }));
    EXPECT_TRUE(factory->ping().isOk());
    const long after = residentKb(server.pid);
    EXPECT_LT(after - before, 16 * 1024) << before << " kB before, " << after << " kB after";
    for (int fd : peers) close(fd);
}

TEST_F(HidlPeerFailureTest, CallPastItsLimit_FailsWithTimedOutAndClosesItsConnection) {
    {
        SCOPED_TRACE("a client's call on a service that never answers");
        Peer server("serve");
        ServedConfig served;
        ASSERT_NE(nullptr, served.config);
        Events deaths;
        sp<Recipient> death = new Recipient(deaths);
        ASSERT_TRUE(served.factory->linkToDeath(death, 1).withDefault(false));

        host::setCallTimeout(300ms);
        auto hung = served.config->setAppToken("hang", new SetCb(*served.events));
        host::setCallTimeout(0ms);
        EXPECT_FALSE(hung.isOk());
        EXPECT_EQ(::android::TIMED_OUT, hung.getStatus().transactionError());
        EXPECT_TRUE(deaths.waitForCount(1));
        EXPECT_TRUE(served.factory->ping().isDeadObject());
    }
    {
        SCOPED_TRACE("the service's nested call into a client that never answers");
        sp<FakeImsFactory> service = new FakeImsFactory();
        ASSERT_EQ(::android::OK, service->registerAsService("default"));
        imstest::LogCapture log;
        host::setClientCallTimeout(300ms);
        Peer stuck("stuck-in-nested");
        ASSERT_TRUE(stuck.waitForLine("nested"));
        EXPECT_TRUE(log.waitFor("closing connection with pid " + std::to_string(stuck.pid) +
                                        ": no answer within 300 ms",
                                20s))
                << log.dump();
        // The thread that waited serves again: the next client gets its objects.
        Peer next("client");
        EXPECT_TRUE(next.waitForLine("ready"));
        host::setClientCallTimeout(10s);
    }
}

TEST_F(HidlPeerFailureTest, ServicesLosingTheRegistrationRace_LeaveNoSocketBehind) {
    auto socketFiles = [] {
        std::vector<std::string> found;
        if (DIR* d = opendir(registryDir().c_str())) {
            while (dirent* e = readdir(d)) {
                std::string name = e->d_name;
                if (name.rfind("proc-", 0) == 0) found.push_back(name);
            }
            closedir(d);
        }
        return found;
    };
    const std::vector<std::string> before = socketFiles();
    for (int race = 0; race < 30; ++race) {
        SCOPED_TRACE("race " + std::to_string(race));
        Peer first("serve");
        Peer second("serve");
        // The loser exits on its own; the winner serves until killed.
        Peer* loser = nullptr;
        int status = 0;
        ASSERT_TRUE(waitUntil([&] {
            for (Peer* p : {&first, &second}) {
                if (waitpid(p->pid, &status, WNOHANG) == p->pid) loser = p;
            }
            return loser != nullptr;
        }));
        loser->pid = -1;
        EXPECT_TRUE(WIFEXITED(status));
        Peer& winner = loser == &first ? second : first;
        std::vector<std::string> expected = before;
        expected.push_back("proc-" + std::to_string(winner.pid) + ".sock");
        std::vector<std::string> now = socketFiles();
        std::sort(expected.begin(), expected.end());
        std::sort(now.begin(), now.end());
        EXPECT_EQ(expected, now);
    }
}
