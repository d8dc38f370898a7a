// HIDL between real processes: the test binary and hidl_xproc_peer talk over
// the host service registry's sockets. Every wait is bounded; nothing sleeps
// to let the other side catch up.
#include <dirent.h>
#include <pwd.h>
#include <sys/stat.h>

#include <future>

#include "support/LogCapture.h"
#include "xproc/Callbacks.h"
#include "xproc/CrossProcessSupport.h"

using namespace xproc;
using namespace std::chrono_literals;

namespace {

// Sockets this process holds: the connections are sockets, and counting only
// them keeps pipes a sanitizer runtime opens for itself out of the figure.
size_t openSockets() {
    size_t count = 0;
    if (DIR* d = opendir("/proc/self/fd")) {
        while (dirent* e = readdir(d)) {
            char target[64] = {};
            std::string path = std::string("/proc/self/fd/") + e->d_name;
            if (readlink(path.c_str(), target, sizeof(target) - 1) > 0 &&
                strncmp(target, "socket:", 7) == 0) {
                ++count;
            }
        }
        closedir(d);
    }
    return count;
}

using HidlCrossProcessTest = CrossProcessTest;

// True when the peer closes `fd` without answering.
bool closedWithoutReply(int fd) {
    pollfd p{fd, POLLIN, 0};
    if (poll(&p, 1, 20000) <= 0) return false;
    char c;
    ssize_t n = read(fd, &c, 1);
    return n == 0 || (n < 0 && errno == ECONNRESET);
}

// While the service (one pool thread) asks it for its interface chain inside
// createRcsConfig, this listener calls the service again.
struct ReentrantListener : Listener {
    ReentrantListener(const std::shared_ptr<Events>& e, const sp<F11::IImsFactory>& f) : Listener(e), factory(f) {}
    Return<void> interfaceChain(interfaceChain_cb cb) override {
        events.add(factory->ping().isOk() ? "nested ping ok" : "nested ping failed");
        return Listener::interfaceChain(cb);
    }
    sp<F11::IImsFactory> factory;
};

}  // namespace

TEST_F(HidlCrossProcessTest, EveryTypeClass_RoundTripsAndCallbacksRunInTheClient) {
    Peer server("serve");
    sp<F11::IImsFactory> factory = F11::IImsFactory::getService("default");
    ASSERT_NE(nullptr, factory);
    EXPECT_TRUE(factory->isRemote());

    auto events = std::make_shared<Events>();
    sp<Listener> listener = new Listener(events);
    sp<R21::IRcsConfig> config = createConfig(factory, listener);
    ASSERT_NE(nullptr, config);
    ASSERT_TRUE(events->waitForCount(2));
    EXPECT_EQ((std::vector<std::string>{"reconfig", "token 7 FCM_TOKEN TOKEN_EXPIRED"}), events->all());

    // Enum result with a null interface reference.
    F10::IImsFactory::StatusCode refused = F10::IImsFactory::StatusCode::SUCCESS;
    bool gotNull = false;
    ASSERT_TRUE(factory->createRcsConfig(5, listener, [&](auto status, const sp<R20::IRcsConfig>& c) {
                           refused = status;
                           gotNull = c == nullptr;
                       }).isOk());
    EXPECT_EQ(F10::IImsFactory::StatusCode::INVALID_ARGUMENTS, refused);
    EXPECT_TRUE(gotNull);

    // Structs, vectors of structs, strings, bools and 64-bit values, out and back.
    Events results;
    R20::SettingsData data;
    data.settingsId = R20::SettingsId::IMS_SERVICE_ENABLE_CONFIG;
    data.settingsValues.boolData = {{400, true}, {401, false}};
    data.settingsValues.intData = {{419, -5000000000LL}};
    data.settingsValues.stringData = {{418, "sip:wifi@example.net"}, {200, ""}};
    EXPECT_EQ(R20::RequestStatus::OK, config->registerForSettingsChange(data.settingsId, new ChangeCb(results)));
    ASSERT_TRUE(config->setSettingsValue(data, new SetCb(results)).isOk());
    ASSERT_TRUE(config->getSettingsValue(data.settingsId, new GetCb(results)).isOk());
    ASSERT_TRUE(config->getUceStatus(new UceCb(results)).isOk());
    ASSERT_TRUE(results.waitForCount(4));
    EXPECT_EQ(1u, results.count("changed " + R20::toString(data)));
    EXPECT_EQ(1u, results.count("get OK " + R20::toString(data)));
    EXPECT_EQ(1u, results.count("uce " + R20::toString(R20::UceStatus{true, false})));
    EXPECT_EQ(R20::RequestStatus::OK, config->deregisterForSettingsChange(data.settingsId));
    EXPECT_EQ(R20::RequestStatus::FAIL, config->deregisterForSettingsChange(data.settingsId));

    // A 10 MB document travels whole (the fake checks its last byte).
    Events upload;
    R20::Container document{};
    document.config.resize(10u << 20);
    document.config[document.config.size() - 1] = 0x5a;
    auto sent = config->setConfig(document, new SetCb(upload));
    ASSERT_TRUE(sent.isOk()) << sent.description();
    ASSERT_TRUE(upload.waitForCount(1));
    EXPECT_EQ("set OK", upload.all()[0]);

    // IBase methods, and a descriptor handed to the serving process.
    int fds[2];
    ASSERT_EQ(0, pipe(fds));
    native_handle_t* handle = native_handle_create(1, 0);
    handle->data[0] = fds[1];
    ASSERT_TRUE(config->debug(handle, {"a", "b"}).isOk());
    native_handle_delete(handle);
    close(fds[1]);
    char text[128] = {};
    ASSERT_GT(read(fds[0], text, sizeof(text) - 1), 0);
    close(fds[0]);
    EXPECT_EQ("fake pid " + std::to_string(server.pid) + " a b\n", std::string(text));
    int32_t pid = 0;
    ASSERT_TRUE(factory->getDebugInfo([&](const auto& info) { pid = info.pid; }).isOk());
    EXPECT_EQ(server.pid, pid);
    EXPECT_TRUE(factory->ping().isOk());
    sp<R20::IRcsConfig> asParent = config;
    EXPECT_NE(nullptr, R21::IRcsConfig::castFrom(asParent).withDefault(nullptr));
    EXPECT_EQ(nullptr, F11::IImsFactory::castFrom(sp<IBase>(config)).withDefault(nullptr));
}

TEST_F(HidlCrossProcessTest, OnewayToSlowCallee_DoesNotBlockTheCaller) {
    Peer server("serve");
    ServedConfig served;
    ASSERT_NE(nullptr, served.config);

    Events responses;
    sp<SetCb> slow = new SetCb(responses);
    slow->setGate(false);
    // The service calls the blocked callback five times before replying.
    auto call = std::async(std::launch::async, [&] { return served.config->setAppToken("burst:5", slow).isOk(); });
    bool returned = call.wait_for(20s) == std::future_status::ready;
    slow->setGate(true);
    EXPECT_TRUE(returned);
    EXPECT_TRUE(call.get());
    ASSERT_TRUE(responses.waitForCount(5));
    EXPECT_EQ(5u, responses.count("set OK"));
}

// Unlinking and links on a dead object are the runtime's in-process death
// tests': the same links serve both.
TEST_F(HidlCrossProcessTest, ServiceKilled_RecipientsFireOnceAndCallsFailFast) {
    Peer server("serve");
    ServedConfig served;
    ASSERT_NE(nullptr, served.config);
    const sp<F11::IImsFactory>& factory = served.factory;
    const sp<R21::IRcsConfig>& config = served.config;

    Events deaths;
    sp<Recipient> recipient = new Recipient(deaths);
    ASSERT_TRUE(factory->linkToDeath(recipient, 11).withDefault(false));
    ASSERT_TRUE(config->linkToDeath(recipient, 22).withDefault(false));

    auto pending = std::async(std::launch::async, [&] {
        return config->setAppToken("hang", new SetCb(*served.events)).isDeadObject();
    });
    server.kill();
    EXPECT_EQ(std::future_status::ready, pending.wait_for(20s));
    EXPECT_TRUE(pending.get());
    ASSERT_TRUE(deaths.waitForCount(2));
    ::android::hardware::testing::waitForDeathNotifications();
    EXPECT_EQ(1u, deaths.count("died 11"));
    EXPECT_EQ(1u, deaths.count("died 22"));
    EXPECT_EQ(2u, deaths.all().size());
    EXPECT_TRUE(factory->ping().isDeadObject());
    EXPECT_TRUE(config->deregisterForSettingsChange(R20::SettingsId::PRESENCE_CONFIG).isDeadObject());
}

TEST_F(HidlCrossProcessTest, ClientKilled_ServiceHearsItAndDropsItsObjects) {
    sp<FakeImsFactory> factory = new FakeImsFactory();
    ASSERT_EQ(::android::OK, factory->registerAsService("default"));
    int deathsBefore = fakeStats().listenerDeaths.load();
    size_t socketsBefore = openSockets();
    {
        Peer client("client");
        ASSERT_TRUE(client.waitForLine("ready"));
        EXPECT_EQ(1, fakeStats().liveConfigs.load());
        client.kill();
        EXPECT_TRUE(waitUntil([&] {
            return fakeStats().listenerDeaths.load() == deathsBefore + 1 && fakeStats().liveConfigs.load() == 0;
        }));
    }
    // The dead client's connection is closed (on the transport's own thread,
    // as may be one of an earlier test's dead peer: never more than before).
    EXPECT_TRUE(waitUntil([&] { return openSockets() <= socketsBefore; }))
            << openSockets() << " sockets, " << socketsBefore << " before";
    // The next client is served as the first was.
    Peer next("client");
    EXPECT_TRUE(next.waitForLine("ready"));
}

TEST_F(HidlCrossProcessTest, MalformedFrames_CloseOnlyThatConnection) {
    Peer server("serve");
    sp<F11::IImsFactory> factory = F11::IImsFactory::getService("default");
    ASSERT_NE(nullptr, factory);

    // Each raw connection first looks the factory up, as a client would, so
    // the object id in the bad frames is a real one on that connection.
    auto connectAndLookUp = [&](uint32_t* factoryId) {
        return connectAndLookUpFactory(server.pid, F11::IImsFactory::descriptor, factoryId);
    };
    uint32_t factoryId = 0;
    close(connectAndLookUp(&factoryId));
    ASSERT_NE(0u, factoryId);

    std::vector<uint8_t> createArgs = {0, 0, 0, 0, 0};  // slot 0, null listener
    std::vector<uint8_t> trailing = createArgs;
    trailing.insert(trailing.end(), {1, 2, 3});
    std::vector<uint8_t> badMagic = frame(wire::FrameKind::kCall, factoryId, 1, createArgs, createArgs.size());
    badMagic[0] ^= 0xff;
    std::vector<uint8_t> shortHeader = frame(wire::FrameKind::kCall, factoryId, 1, {}, 0);
    shortHeader.resize(10);
    const struct {
        const char* what;
        std::vector<uint8_t> bytes;
    } cases[] = {
            {"short header", shortHeader},
            {"over-long", frame(wire::FrameKind::kCall, factoryId, 1, {}, wire::kMaxFramePayload + 1)},
            {"bad magic", badMagic},
            {"unknown object", frame(wire::FrameKind::kCall, factoryId + 100, 1, createArgs, createArgs.size())},
            {"unknown method", frame(wire::FrameKind::kCall, factoryId, 77, {}, 0)},
            {"length does not match the arguments", frame(wire::FrameKind::kCall, factoryId, 1, trailing, trailing.size())},
            {"reply nobody waits for", frame(wire::FrameKind::kReply, 0, 0, {}, 0)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        uint32_t id = 0;
        int fd = connectAndLookUp(&id);
        ASSERT_GE(fd, 0);
        ASSERT_EQ(factoryId, id);
        ASSERT_EQ(static_cast<ssize_t>(c.bytes.size()), write(fd, c.bytes.data(), c.bytes.size()));
        shutdown(fd, SHUT_WR);
        EXPECT_TRUE(closedWithoutReply(fd));
        close(fd);
        EXPECT_TRUE(factory->ping().isOk());
    }
    EXPECT_NE(nullptr, createConfig(factory, newListener()));
}

TEST_F(HidlCrossProcessTest, PeerOfAnotherUser_IsRefused) {
    imstest::LogCapture log;
    sp<FakeImsFactory> factory = new FakeImsFactory();
    ASSERT_EQ(::android::OK, factory->registerAsService("default"));
    std::string socketPath = registryDir() + "/proc-" + std::to_string(getpid()) + ".sock";
    struct stat st{};
    ASSERT_EQ(0, stat(socketPath.c_str(), &st));
    EXPECT_EQ(0600u, st.st_mode & 0777);
    if (geteuid() != 0) GTEST_SKIP() << "needs root to act as another user";

    // Open the folder up so that only the credential check stands in the way.
    chmod(registryDir().c_str(), 0711);
    chmod(socketPath.c_str(), 0666);
    std::vector<uint8_t> lookup = lookupPayload(F11::IImsFactory::descriptor);
    std::vector<uint8_t> ask = frame(wire::FrameKind::kLookup, 0, 0, lookup, lookup.size());
    pid_t child = fork();
    if (child == 0) {
        if (setresgid(65534, 65534, 65534) != 0 || setresuid(65534, 65534, 65534) != 0) _exit(3);
        int fd = connectRaw(getppid());
        if (fd < 0) _exit(2);
        // Refused at once, the write may already find the socket closed.
        send(fd, ask.data(), ask.size(), MSG_NOSIGNAL);
        _exit(closedWithoutReply(fd) ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    chmod(registryDir().c_str(), 0700);
    chmod(socketPath.c_str(), 0600);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(0, WEXITSTATUS(status));
    EXPECT_TRUE(log.contains("refusing connection from pid " + std::to_string(child)));
}

TEST_F(HidlCrossProcessTest, Registry_ListsLiveServicesAndWaitsForThem) {
    host::setServiceWaitTimeout(0ms);
    EXPECT_EQ(nullptr, F11::IImsFactory::getService("nobody"));
    host::setServiceWaitTimeout(20s);

    // A client that asks before the service exists gets it once it registers.
    auto waiting = std::async(std::launch::async, [] { return F11::IImsFactory::getService("default"); });
    Peer server("serve");
    ASSERT_EQ(std::future_status::ready, waiting.wait_for(30s));
    EXPECT_NE(nullptr, waiting.get());

    auto entriesOf = [](pid_t pid) {
        std::vector<std::string> found;
        for (const auto& s : host::listServices(registryDir())) {
            if (s.pid == pid) found.push_back(s.descriptor + "/" + s.instance);
        }
        return found;
    };
    const std::vector<std::string> factoryEntries{std::string(F10::IImsFactory::descriptor) + "/default",
                                                  std::string(F11::IImsFactory::descriptor) + "/default"};
    EXPECT_EQ(factoryEntries, entriesOf(server.pid));

    // A second process asking for the same name is refused, naming the
    // holder, and the holder keeps it for its clients.
    {
        imstest::LogCapture log;
        sp<FakeImsFactory> second = new FakeImsFactory();
        EXPECT_EQ(::android::ALREADY_EXISTS, second->registerAsService("default"));
        EXPECT_TRUE(log.contains("/default is served by process " + std::to_string(server.pid))) << log.dump();
        EXPECT_EQ(factoryEntries, entriesOf(server.pid));
        sp<F11::IImsFactory> found = F11::IImsFactory::getService("default");
        ASSERT_NE(nullptr, found);
        EXPECT_TRUE(found->ping().isOk());
        EXPECT_NE(static_cast<F11::IImsFactory*>(second.get()), found.get());
    }
    pid_t gone = server.pid;
    server.kill();
    // Whoever meets them removes them; waited for, because a child the dead
    // peer's sanitizer runtime had just forked may hold its socket a moment.
    struct stat st{};
    const std::string goneSocket = registryDir() + "/proc-" + std::to_string(gone) + ".sock";
    EXPECT_TRUE(waitUntil([&] { return entriesOf(gone).empty() && stat(goneSocket.c_str(), &st) != 0; }));

    // Told to, a process takes the name over from a live one.
    Peer other("serve");
    ASSERT_NE(nullptr, F11::IImsFactory::getService("default"));
    host::setReplaceLiveServices(true);
    sp<FakeImsFactory> replacing = new FakeImsFactory();
    EXPECT_EQ(::android::OK, replacing->registerAsService("default"));
    host::setReplaceLiveServices(false);
    EXPECT_EQ(factoryEntries, entriesOf(getpid()));
    EXPECT_TRUE(entriesOf(other.pid).empty());

    // A folder others may enter is refused, naming its owner.
    char loose[] = "/tmp/hidl-loose-XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(loose));
    chmod(loose, 0770);
    imstest::LogCapture log;
    EXPECT_FALSE(host::useServiceRegistry(loose));
    const passwd* me = getpwuid(geteuid());
    ASSERT_NE(nullptr, me);
    EXPECT_TRUE(log.contains(std::string("it is a folder of ") + me->pw_name + " (uid " + std::to_string(geteuid()) +
                             ") with mode 0770"))
            << log.dump();
    rmdir(loose);
}

TEST_F(HidlCrossProcessTest, NestedCallIntoABusySingleThreadService_IsServedByItsWaitingThread) {
    Peer server("serve");
    sp<F11::IImsFactory> factory = F11::IImsFactory::getService("default");
    ASSERT_NE(nullptr, factory);
    auto events = std::make_shared<Events>();
    auto created = std::async(std::launch::async, [&] {
        return createConfig(factory, new ReentrantListener(events, factory)) != nullptr;
    });
    bool returned = created.wait_for(20s) == std::future_status::ready;
    if (!returned) server.kill();  // a deadlock ends with the service, not with the test
    EXPECT_TRUE(returned);
    EXPECT_EQ(returned, created.get());
    EXPECT_EQ(1u, events->count("nested ping ok"));
}
