/*
 * What the cross-process HIDL tests share: the registry folder of the test
 * process, hidl_xproc_peer processes, and raw frames written to a serving
 * process's socket as a misbehaving peer would.
 */
#ifndef TESTS_HIDL_XPROC_CROSSPROCESSSUPPORT_H
#define TESTS_HIDL_XPROC_CROSSPROCESSSUPPORT_H

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <hidl/HidlHostTransport.h>
#include <hidl/HidlHostWire.h>
#include <hidl/HidlTesting.h>

namespace xproc {

namespace host = ::android::hardware::host;
namespace wire = ::android::hardware::details;

// One registry folder per test process, shared with the peers it starts.
inline const std::string& registryDir() {
    static const std::string dir = [] {
        char path[] = "/tmp/hidl-xproc-XXXXXX";
        std::string made = mkdtemp(path);
        host::useServiceRegistry(made);
        return made;
    }();
    return dir;
}

// hidl_xproc_peer in `mode`, killed when the test ends.
class Peer {
public:
    explicit Peer(const char* mode) {
        const std::string& dir = registryDir();
        int out[2];
        if (pipe2(out, O_CLOEXEC) != 0) return;
        pid = fork();
        if (pid == 0) {
            dup2(out[1], STDOUT_FILENO);
            execl(HIDL_XPROC_PEER, HIDL_XPROC_PEER, mode, dir.c_str(), nullptr);
            _exit(127);
        }
        close(out[1]);
        mOut = out[0];
    }
    ~Peer() {
        kill();
        if (mOut >= 0) close(mOut);
    }
    // Waits for the peer to print `line`.
    bool waitForLine(const std::string& line) {
        std::string got;
        char c;
        pollfd p{mOut, POLLIN, 0};
        while (poll(&p, 1, 20000) > 0 && read(mOut, &c, 1) == 1) {
            if (c == '\n') {
                if (got == line) return true;
                got.clear();
            } else {
                got += c;
            }
        }
        return false;
    }
    // Kills the peer and clears what it left in the registry, so that the
    // next test's lookups never meet a dead peer's entry while a new one registers.
    void kill() {
        if (pid <= 0) return;
        ::kill(pid, SIGKILL);
        // A signal to this process (a sanitizer runtime's own) must not cut the wait short.
        while (waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
        }
        pid = -1;
        host::listServices(registryDir());
    }
    pid_t pid = -1;

private:
    int mOut = -1;
};

// Each test uses this process's own registry folder (never the in-process
// registry) and waits for a service up to 20 s; the in-process tests that may
// run after it in this process do not wait at all.
class CrossProcessTest : public ::testing::Test {
protected:
    void SetUp() override {
        registryDir();
        ::android::hardware::testing::resetServiceRegistry();
        host::setServiceWaitTimeout(std::chrono::seconds(20));
    }
    void TearDown() override {
        ::android::hardware::testing::resetServiceRegistry();
        host::setServiceWaitTimeout(std::chrono::milliseconds(0));
    }
};

template <typename Pred>
bool waitUntil(Pred pred) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!pred()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));  // polling a condition, bounded
    }
    return true;
}

inline int connectRaw(pid_t pid) {
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    std::string path = registryDir() + "/proc-" + std::to_string(pid) + ".sock";
    memcpy(addr.sun_path, path.c_str(), path.size());
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

inline std::vector<uint8_t> frame(wire::FrameKind kind, uint32_t objectId, uint32_t code,
                                  const std::vector<uint8_t>& payload, uint32_t length) {
    wire::FrameHeader h;
    h.kind = static_cast<uint16_t>(kind);
    h.length = length;
    h.objectId = objectId;
    h.code = code;
    h.txId = 1;
    std::vector<uint8_t> bytes(sizeof(h) + payload.size());
    memcpy(bytes.data(), &h, sizeof(h));
    if (!payload.empty()) memcpy(bytes.data() + sizeof(h), payload.data(), payload.size());
    return bytes;
}

inline std::vector<uint8_t> lookupPayload(const std::string& descriptor) {
    wire::WireParcel p;
    p.write(::android::hardware::hidl_string(descriptor));
    p.write(::android::hardware::hidl_string("default"));
    return p.data();
}

// A raw connection to process `pid` that has looked its factory up, as a
// client would, so that `factoryId` is a real object id on it; -1 on failure.
inline int connectAndLookUpFactory(pid_t pid, const char* descriptor, uint32_t* factoryId) {
    std::vector<uint8_t> lookup = lookupPayload(descriptor);
    std::vector<uint8_t> ask = frame(wire::FrameKind::kLookup, 0, 0, lookup, lookup.size());
    int fd = connectRaw(pid);
    uint8_t reply[sizeof(wire::FrameHeader) + 5];
    if (fd < 0 || write(fd, ask.data(), ask.size()) != static_cast<ssize_t>(ask.size()) ||
        recv(fd, reply, sizeof(reply), MSG_WAITALL) != static_cast<ssize_t>(sizeof(reply))) {
        if (fd >= 0) close(fd);
        return -1;
    }
    memcpy(factoryId, reply + sizeof(wire::FrameHeader) + 1, sizeof(*factoryId));
    return fd;
}

}  // namespace xproc

#endif  // TESTS_HIDL_XPROC_CROSSPROCESSSUPPORT_H
