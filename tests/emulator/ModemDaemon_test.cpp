// mcx-modemd as a real process. Its socket as an untrusted boundary: who may
// connect, what may sit at its path, how many may stay connected, and what a
// malformed frame does, on the daemon's side and on the client library's. And
// the daemon behind the messaging library's daemon transport.
#include <dirent.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <hostsync/Mutex.h>

#include "emulator/EmbeddedModem.h"
#include "emulator/ModemDaemon.h"
#include "ims_application_service_v01.h"
#include "ims_settings_service_v01.h"
#include "mcx_client.h"
#include "mcx_host.h"
#include "mcx_wire/ModemWire.h"
#include "support/McxObserved.h"
#include "testkit/ModemDaemonProcess.h"

namespace {

using namespace std::chrono_literals;
using imstest::bindSettings;
using imstest::imsaObject;
using imstest::imssObject;
using imstest::McxObserved;
using imstest::openMcxClient;
using mcx::wire::FrameType;
using mcx::wire::Writer;
using Seen = McxObserved::Seen;

constexpr auto kWait = 10s;

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    std::strncpy(addr.sun_path, path.c_str(), sizeof(addr.sun_path) - 1);
    return addr;
}

int connectTo(const std::string& path) {
    sockaddr_un addr = addressOf(path);
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd >= 0 && connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

// Reads (and discards) what the peer sends until it closes; false if it is
// still open after the wait.
bool closedByPeer(int fd) {
    const auto deadline = std::chrono::steady_clock::now() + kWait;
    char buffer[4096];
    while (std::chrono::steady_clock::now() < deadline) {
        pollfd p{fd, POLLIN, 0};
        if (poll(&p, 1, 100) <= 0) continue;
        ssize_t n = read(fd, buffer, sizeof(buffer));
        if (n <= 0) return true;
    }
    return false;
}

// A malformed frame and what it is.
struct BadFrame {
    const char* name;
    std::vector<uint8_t> bytes;
};

// A raw frame: header fields as given, payload as given.
std::vector<uint8_t> rawFrame(uint32_t type, uint32_t lengthField, const std::vector<uint8_t>& payload) {
    Writer w;
    w.u32(type).u32(lengthField).raw(payload.data(), payload.size());
    return w.bytes();
}

std::string readFile(const std::string& path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

size_t countOf(const std::string& text, const std::string& what) {
    size_t n = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
    return n;
}

// A daemon child on a socket of the test's own, its stderr kept in a file;
// the messaging library goes back to the embedded modem afterwards.
class DaemonSocketTest : public ::testing::Test {
protected:
    void SetUp() override {
        unlink(path.c_str());
        unlink(logPath.c_str());
        daemon.captureStderr(logPath);
    }
    void TearDown() override {
        mcxemu::useEmbeddedModem();
        daemon.kill();
        unlink(path.c_str());
        unlink(logPath.c_str());
    }
    // A control command straight to the daemon's socket.
    bool control(const std::string& command, std::string* reply = nullptr) {
        std::string ignored;
        return mcxemu::sendDaemonControl(path, command, reply != nullptr ? reply : &ignored);
    }

    std::string path = "/tmp/mcx-modemd-socket-" + std::to_string(getpid()) + ".sock";
    std::string logPath = path + ".log";
    testkit::ModemDaemonProcess daemon{MCX_MODEMD_PATH, path};
};

TEST_F(DaemonSocketTest, Socket_IsOwnerOnlyWhateverTheUmask) {
    for (mode_t mask : {0000, 0022, 0077}) {
        daemon.setUmask(mask);
        ASSERT_TRUE(daemon.start()) << std::oct << mask;
        struct stat st {};
        ASSERT_EQ(lstat(path.c_str(), &st), 0);
        EXPECT_TRUE(S_ISSOCK(st.st_mode));
        EXPECT_EQ(st.st_mode & 0777, 0600u) << std::oct << mask;
        daemon.kill();
    }
}

TEST_F(DaemonSocketTest, ExistingPath_OnlyAStaleSocketIsReplaced) {
    // A socket whose daemon is gone.
    int stale = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un addr = addressOf(path);
    ASSERT_EQ(bind(stale, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)), 0);
    close(stale);
    ASSERT_TRUE(daemon.start());
    EXPECT_TRUE(control("count imss 0x1e"));

    // A live socket: a second daemon on it is refused and the first one serves on.
    testkit::ModemDaemonProcess second(MCX_MODEMD_PATH, path);
    second.captureStderr(logPath);
    EXPECT_FALSE(second.start());
    EXPECT_NE(readFile(logPath).find("another daemon is serving this socket"), std::string::npos);
    EXPECT_TRUE(control("count imss 0x1e"));
    daemon.kill();
    unlink(path.c_str());

    // Anything that is not a socket is left as it is.
    {
        std::ofstream(path) << "notes";
        EXPECT_FALSE(daemon.start());
        EXPECT_EQ(readFile(path), "notes");
        unlink(path.c_str());
    }
    ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
    EXPECT_FALSE(daemon.start());
    struct stat st {};
    EXPECT_EQ(lstat(path.c_str(), &st), 0);
    EXPECT_TRUE(S_ISDIR(st.st_mode));
    rmdir(path.c_str());
    EXPECT_EQ(countOf(readFile(logPath), "exists and is not a socket; refusing to replace it"), 2u);
}

TEST_F(DaemonSocketTest, PeerOfAnotherUser_IsRefusedAndTheOwnerIsServed) {
    if (geteuid() != 0) GTEST_SKIP() << "acting as another user needs root";
    ASSERT_TRUE(daemon.start());
    // Opened up so that the other user reaches the daemon at all.
    ASSERT_EQ(chmod(path.c_str(), 0666), 0);
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        if (setresgid(65534, 65534, 65534) != 0 || setresuid(65534, 65534, 65534) != 0) _exit(3);
        int fd = connectTo(path);
        if (fd < 0) _exit(4);
        // Refused: closed without a single frame.
        char byte;
        _exit(read(fd, &byte, 1) == 0 ? 0 : 5);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_EQ(countOf(readFile(logPath), "of uid 65534: only uid"), 1u) << readFile(logPath);
    EXPECT_TRUE(control("count imss 0x1e"));
}

TEST_F(DaemonSocketTest, MalformedFrames_CloseOnlyTheirConnectionWithOneLineEach) {
    ASSERT_TRUE(daemon.start());
    int healthy = connectTo(path);
    ASSERT_GE(healthy, 0);
    const std::vector<uint8_t> eight(8, 0);
    const BadFrame cases[] = {
            {"short Open", rawFrame(1, 4, {1, 0, 0, 0})},
            {"over-long Close", rawFrame(2, 12, std::vector<uint8_t>(12, 0))},
            {"Request without its message id", rawFrame(3, 12, std::vector<uint8_t>(12, 0))},
            {"length field over the limit", rawFrame(3, 70000, eight)},
            {"unknown type", rawFrame(99, 8, eight)},
            {"a daemon's frame type", rawFrame(16, 8, eight)},
    };
    for (const BadFrame& c : cases) {
        int fd = connectTo(path);
        ASSERT_GE(fd, 0) << c.name;
        ASSERT_EQ(send(fd, c.bytes.data(), c.bytes.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(c.bytes.size()))
                << c.name;
        EXPECT_TRUE(closedByPeer(fd)) << c.name;
        close(fd);
        EXPECT_TRUE(control("count imss 0x1e")) << c.name;
    }
    EXPECT_EQ(countOf(readFile(logPath), "malformed frame"), std::size(cases)) << readFile(logPath);
    // The well-behaved connection was never touched.
    std::vector<uint8_t> open = rawFrame(1, 8, Writer().u32(7).u32(IMSS_SERVICE_ID_V01).bytes());
    ASSERT_EQ(send(healthy, open.data(), open.size(), MSG_NOSIGNAL), static_cast<ssize_t>(open.size()));
    std::vector<uint8_t> frame;
    mcx::wire::DaemonMessage reply;
    std::string why;
    do {
        ASSERT_EQ(mcx::wire::readFrame(healthy, &frame), mcx::wire::ReadResult::Frame);
        ASSERT_TRUE(mcx::wire::decodeDaemonFrame(frame.data(), frame.size(), &reply, &why)) << why;
    } while (reply.type != FrameType::Reply);
    EXPECT_EQ(reply.reqId, 7u);
    EXPECT_EQ(reply.status, MCX_NO_ERR);
    close(healthy);
}

TEST_F(DaemonSocketTest, IdleConnections_AreCappedAndServedAgainOnceClosed) {
    ASSERT_TRUE(daemon.start());
    const int cap = mcxemu::ModemDaemon::kDefaultMaxSessions;
    std::string tasks = "/proc/" + std::to_string(daemon.pid()) + "/task";
    auto threadCount = [&] {
        size_t n = 0;
        if (DIR* dir = opendir(tasks.c_str())) {
            while (dirent* e = readdir(dir)) n += e->d_name[0] != '.' ? 1 : 0;
            closedir(dir);
        }
        return n;
    };
    // The accepting thread. A sanitizer's runtime may add one of its own once
    // the first session thread exists: one thread of slack, far below the 8
    // connections over the cap that an uncapped daemon would serve.
    const size_t before = threadCount() + 1;
    std::vector<int> idle;
    for (int i = 0; i < cap + 8; ++i) {
        int fd = connectTo(path);
        ASSERT_GE(fd, 0) << i;
        idle.push_back(fd);
    }
    // The ones over the cap are closed at once; the others stay open.
    int refused = 0;
    for (int i = cap; i < cap + 8; ++i) refused += closedByPeer(idle[i]) ? 1 : 0;
    EXPECT_EQ(refused, 8);
    EXPECT_EQ(countOf(readFile(logPath), "connections open already"), 8u);
    EXPECT_LE(threadCount(), before + static_cast<size_t>(cap));  // one thread per session
    EXPECT_FALSE(control("count imss 0x1e"));

    for (int fd : idle) close(fd);
    // Sessions end as their sockets close; the daemon serves again after that.
    const auto deadline = std::chrono::steady_clock::now() + kWait;
    bool served = false;
    while (!served && std::chrono::steady_clock::now() < deadline) served = control("count imss 0x1e");
    EXPECT_TRUE(served);
}

// A daemon played by the test, to send the client library what it likes.
class FakeDaemon {
public:
    explicit FakeDaemon(const std::string& path) {
        mListen = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un addr = addressOf(path);
        unlink(path.c_str());
        bound = bind(mListen, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) == 0 &&
                listen(mListen, 4) == 0;
    }
    ~FakeDaemon() { close(mListen); }
    // Waits for the library to connect and tells it the settings service is up.
    int acceptClient() {
        pollfd p{mListen, POLLIN, 0};
        if (poll(&p, 1, 10000) != 1) return -1;
        int fd = accept4(mListen, nullptr, nullptr, SOCK_CLOEXEC);
        mcx::wire::sendFrame(fd, FrameType::ServiceState, Writer().u32(IMSS_SERVICE_ID_V01).u32(1).bytes());
        mcx::wire::sendFrame(fd, FrameType::Ready, {});
        return fd;
    }
    bool bound = false;

private:
    int mListen = -1;
};

TEST_F(DaemonSocketTest, MalformedFramesFromTheDaemon_AreTheServiceGoingDown) {
    FakeDaemon fake(path);
    ASSERT_TRUE(fake.bound);
    ASSERT_EQ(mcx_host_use_daemon(path.c_str()), MCX_NO_ERR);
    McxObserved notices;
    mcx_client_type notifier = nullptr;
    ASSERT_EQ(mcx_client_notifier_init(imssObject(), nullptr, &notifier), MCX_NO_ERR);
    ASSERT_EQ(mcx_client_register_notify_cb(notifier, McxObserved::notifyCb, &notices), MCX_NO_ERR);

    const std::vector<uint8_t> eight(8, 0);
    const BadFrame cases[] = {
            {"short ServiceState", rawFrame(19, 4, {1, 0, 0, 0})},
            {"ServiceState neither up nor down", rawFrame(19, 8, Writer().u32(IMSS_SERVICE_ID_V01).u32(7).bytes())},
            {"over-long ConnectionLost", rawFrame(18, 12, std::vector<uint8_t>(12, 0))},
            {"short Reply", rawFrame(16, 12, std::vector<uint8_t>(12, 0))},
            {"Ready with a payload", rawFrame(20, 4, {0, 0, 0, 0})},
            {"length field over the limit", rawFrame(17, 0x7fffffff, eight)},
            {"a client's frame type", rawFrame(1, 8, eight)},
            {"unknown type", rawFrame(0, 0, {})},
    };
    // Each case meets the library on its next connection to the "daemon",
    // which it hears as the service coming up, and the bad frame as it going.
    std::vector<int> told;
    for (const BadFrame& c : cases) {
        int fd = fake.acceptClient();
        ASSERT_GE(fd, 0) << c.name;
        told.push_back(MCX_CLIENT_SERVICE_COUNT_INC);
        ASSERT_TRUE(notices.waitUntil([&](const Seen& s) { return s.notifyEvents == told; })) << c.name;
        send(fd, c.bytes.data(), c.bytes.size(), MSG_NOSIGNAL);
        told.push_back(MCX_CLIENT_SERVICE_COUNT_DEC);
        ASSERT_TRUE(notices.waitUntil([&](const Seen& s) { return s.notifyEvents == told; })) << c.name;
        EXPECT_TRUE(closedByPeer(fd)) << c.name;
        close(fd);
    }
    mcx_client_release(notifier);
}

// The same daemon started, and the messaging library using it.
class ModemDaemonTest : public DaemonSocketTest {
protected:
    void SetUp() override {
        DaemonSocketTest::SetUp();
        ASSERT_TRUE(daemon.start());
        ASSERT_EQ(mcx_host_use_daemon(path.c_str()), MCX_NO_ERR);
    }
    // A control command through the library's transport.
    std::string libraryControl(const std::string& cmd) {
        char reply[256] = {};
        EXPECT_EQ(mcx_host_modem_control(cmd.c_str(), reply, sizeof(reply)), MCX_NO_ERR) << cmd;
        return reply;
    }
};

// The client process keeps its library while the daemon is killed and started
// again on the same socket, over and over. A connection kept over the first
// restart fails from the loss on; each time the connections of the new daemon
// must work. A client releases its handles as soon as it hears the service
// went down, racing the library's own news of the lost connections.
TEST_F(ModemDaemonTest, DaemonKilledAndRestartedRepeatedly_KeptConnectionFailsNewOnesWorkEveryTime) {
    struct Watch : McxObserved {
        hostsync::Mutex lock;
        std::vector<mcx_client_type> open GUARDED_BY(lock);
    } watch;
    auto onChange = [](mcx_client_type, mcx_idl_service_object_type,
                       mcx_client_notify_event_type ev, void* d) {
        auto* w = static_cast<Watch*>(d);
        std::vector<mcx_client_type> handles;
        if (ev == MCX_CLIENT_SERVICE_COUNT_DEC) {
            hostsync::MutexLock l(w->lock);
            handles.swap(w->open);
        }
        for (mcx_client_type h : handles) mcx_client_release(h);
        w->record([&](Seen& s) { s.notifyEvents.push_back(ev); });
    };
    mcx_client_type notifier = nullptr;
    ASSERT_EQ(mcx_client_notifier_init(imssObject(), nullptr, &notifier), MCX_NO_ERR);
    ASSERT_EQ(mcx_client_register_notify_cb(notifier, onChange, &watch), MCX_NO_ERR);
    ASSERT_TRUE(watch.waitUntil([](const Seen& s) { return s.notifyEvents.size() == 1; }));

    McxObserved errors;
    mcx_client_type kept = openMcxClient(imssObject());
    ASSERT_EQ(mcx_client_register_error_cb(kept, McxObserved::errorCb, &errors), MCX_NO_ERR);
    ASSERT_EQ(bindSettings(kept, 1), MCX_NO_ERR);
    daemon.kill();
    ASSERT_TRUE(errors.waitUntil([](const Seen& s) { return !s.errors.empty(); }));
    EXPECT_EQ(errors.snapshot().errors, std::vector<int>{MCX_ERR_SERVICE_GONE});
    EXPECT_EQ(bindSettings(kept, 1), MCX_ERR_SERVICE_GONE);
    mcx_service_info info;
    EXPECT_EQ(mcx_client_get_any_service(imssObject(), &info), MCX_ERR_NO_SERVICE);
    ASSERT_TRUE(watch.waitUntil([](const Seen& s) { return s.notifyEvents.size() == 2; }));
    ASSERT_TRUE(daemon.start());  // the service coming back
    ASSERT_TRUE(watch.waitUntil([](const Seen& s) { return s.notifyEvents.size() == 3; }));
    EXPECT_EQ(watch.snapshot().notifyEvents,
              (std::vector<int>{MCX_CLIENT_SERVICE_COUNT_INC, MCX_CLIENT_SERVICE_COUNT_DEC, MCX_CLIENT_SERVICE_COUNT_INC}));
    EXPECT_EQ(errors.snapshot().errors.size(), 1u);
    mcx_client_release(kept);

    const char* env = getenv("MCX_RESTART_CYCLES");
    const int cycles = env != nullptr ? std::max(1, atoi(env)) : 40;
    int failed = 0;
    for (int cycle = 0; cycle < cycles; ++cycle) {
        // Two connections per daemon, so that ids of the dead one are reused.
        mcx_client_type first = openMcxClient(imssObject());
        mcx_client_type second = openMcxClient(imssObject());
        const bool bound = bindSettings(first, 0) == MCX_NO_ERR && bindSettings(second, 1) == MCX_NO_ERR;
        if (!bound) ++failed;
        {
            hostsync::MutexLock l(watch.lock);
            watch.open = {first, second};
        }
        const size_t seen = watch.snapshot().notifyEvents.size();
        daemon.kill();
        ASSERT_TRUE(watch.waitUntil([&](const Seen& s) { return s.notifyEvents.size() == seen + 1; }));
        ASSERT_TRUE(daemon.start());
        ASSERT_TRUE(watch.waitUntil([&](const Seen& s) { return s.notifyEvents.size() == seen + 2; }));
    }
    std::printf("daemon restarts: %d, cycles whose new connections failed: %d\n", cycles, failed);
    EXPECT_EQ(failed, 0);
    mcx_client_release(notifier);
}

TEST_F(ModemDaemonTest, IndicationsAndFaultsTravelOverTheSocket) {
    McxObserved seen;
    mcx_client_type h = openMcxClient(imsaObject(), &seen);
    imsa_bind_subscription_req_msg_v01 bind{1, 0};
    imsa_bind_subscription_resp_msg_v01 bindResp{};
    ASSERT_EQ(mcx_client_send_msg_sync(h, IMSA_BIND_SUBSCRIPTION_V01, &bind, 8, &bindResp, 8, 1000), MCX_NO_ERR);
    imsa_ind_reg_req_msg_v01 reg{};
    reg.reg[18][0] = 1;
    reg.reg[18][1] = 1;
    imsa_ind_reg_resp_msg_v01 regResp{};
    ASSERT_EQ(mcx_client_send_msg_sync(h, IMSA_IND_REGISTER_V01, &reg, 38, &regResp, 8, 1000), MCX_NO_ERR);

    EXPECT_EQ(libraryControl("token-request 1 3 1 12"), "sent 1");
    ASSERT_TRUE(seen.waitUntil([](const Seen& s) { return s.indications.size() == 1; }));
    imsa_config_token_request_ind_msg_v01 ind{};
    const std::vector<uint8_t> first = seen.snapshot().indications.at(0).second;
    ASSERT_EQ(mcx_client_message_decode(h, MCX_IDL_INDICATION, IMSA_CONFIG_TOKEN_REQUEST_IND_V01,
                                        first.data(), 16, &ind, sizeof(ind)),
              MCX_NO_ERR);
    EXPECT_EQ(ind.token_type, 3);
    EXPECT_EQ(ind.request_id, 12);

    libraryControl("fail imsa 0x33 delay 60000");
    EXPECT_EQ(mcx_client_send_msg_sync(h, IMSA_BIND_SUBSCRIPTION_V01, &bind, 8, &bindResp, 8, 200),
              MCX_ERR_TIMEOUT);
    libraryControl("fail imsa 0x33 transport");
    EXPECT_EQ(mcx_client_send_msg_sync(h, IMSA_BIND_SUBSCRIPTION_V01, &bind, 8, &bindResp, 8, 1000),
              MCX_ERR_TRANSPORT);
    mcx_client_release(h);
}

}  // namespace
