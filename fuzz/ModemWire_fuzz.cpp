// Fuzzes the mcx-modemd wire format on both sides with arbitrary byte
// streams.
//
// Daemon side: a real ModemDaemon serves its modem emulator on a socket of
// this process; each input is one client connection that sends the input's
// bytes and closes its sending half. The session reads frames, decodes them
// and carries them out on the emulator (opens, requests of any id and
// length, control commands) until the stream ends or a frame is malformed.
// Everything the daemon answers must itself be well-formed frames.
//
// Client side: the input's bytes are a stream of frames from a daemon, cut
// into frames as the library's reader cuts them and handed to the daemon
// transport's frame handler (decode, replies, indications, lost
// connections, service states) until one is malformed.
//
// Input: byte 0 bit 0 chooses the side (0 daemon, 1 client library); the
// rest is the byte stream.
#include <android/log.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "DaemonTransport.h"
#include "FuzzSupport.h"
#include "emulator/ModemDaemon.h"
#include "emulator/ModemEmulator.h"
#include "mcx_wire/ModemWire.h"

namespace {

using fuzzsupport::fail;
using mcx::wire::ReadResult;

// The library side's listener: what the transport passes on is dropped.
class NullListener : public mcx::ModemListener {
public:
    void onServiceState(uint32_t, bool) override {}
    void onIndication(uint64_t, uint32_t, std::vector<uint8_t>) override {}
    void onConnectionLost(uint64_t) override {}
};

struct Harness {
    mcxemu::ModemEmulator modem;
    std::string daemonPath;
    mcxemu::ModemDaemon* daemon = nullptr;
    NullListener listener;
    mcx::DaemonTransport* transport = nullptr;
};

Harness* gHarness = nullptr;

// Sends `bytes` whole on `fd`; false when the other end stopped reading.
bool sendAll(int fd, const uint8_t* bytes, size_t len) {
    for (size_t done = 0; done < len;) {
        ssize_t n = send(fd, bytes + done, len - done, MSG_NOSIGNAL);
        if (n <= 0) return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

void daemonSide(Harness& h, const uint8_t* bytes, size_t len) {
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    memcpy(addr.sun_path, h.daemonPath.c_str(), h.daemonPath.size() + 1);
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0 || connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) != 0) {
        fail("cannot reach the daemon");
    }
    sendAll(fd, bytes, len);  // short when the daemon closed on a malformed frame
    shutdown(fd, SHUT_WR);
    // The session ends (and closes its socket) once it has read everything or
    // refused a frame; whatever it sent until then must be well-formed.
    std::vector<uint8_t> frame;
    ReadResult got;
    while ((got = mcx::wire::readFrame(fd, &frame)) == ReadResult::Frame) {
        mcx::wire::DaemonMessage message;
        std::string why;
        if (!mcx::wire::decodeDaemonFrame(frame.data(), frame.size(), &message, &why)) {
            fprintf(stderr, "daemon sent a malformed frame: %s\n", why.c_str());
            fail("malformed daemon frame");
        }
    }
    if (got != ReadResult::Closed) fail("daemon sent an over-long frame");
    close(fd);
    // Faults and state set by control commands are not carried to the next input.
    h.modem.reset();
}

void clientSide(Harness& h, const uint8_t* bytes, size_t len) {
    // A socket pair whose reading end holds `bytes` and then the end of the stream.
    int fds[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds) != 0) fail("no socket pair");
    if (!sendAll(fds[1], bytes, len)) fail("cannot fill the stream");
    close(fds[1]);
    const int fd = fds[0];
    std::vector<uint8_t> frame;
    while (mcx::wire::readFrame(fd, &frame) == ReadResult::Frame) {
        if (!h.transport->handleFrame(frame)) break;
    }
    close(fd);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    __android_log_set_logger(fuzzsupport::discardLog);
    auto* h = new Harness();
    h->daemonPath = "/tmp/modem_wire_fuzz." + std::to_string(getpid()) + ".sock";
    h->daemon = new mcxemu::ModemDaemon(h->modem, h->daemonPath);
    std::string error;
    if (!h->daemon->listen(&error)) fail(error.c_str());
    std::thread([d = h->daemon] { d->run(); }).detach();
    // A transport whose daemon never answers: only the frames fed to it arrive.
    h->transport = new mcx::DaemonTransport(h->daemonPath + ".none", h->listener);
    gHarness = h;
    atexit([] { unlink(gHarness->daemonPath.c_str()); });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    if ((data[0] & 1) == 0) {
        daemonSide(*gHarness, data + 1, size - 1);
    } else {
        clientSide(*gHarness, data + 1, size - 1);
    }
    return 0;
}
