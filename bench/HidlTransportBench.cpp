// Host HIDL between processes against the same calls inside one process, in
// one run: a two-way call (ping), a request answered through a one-way
// callback (getSettingsValue, client call to client callback) and a 1 MB
// setConfig. The serving process is this binary started again with "serve".
// Last, the two-way call against the crossing's own cost: a bare socketpair
// ping-pong between two processes with a message of the same size.
//   hidl_transport_bench [iterations]
#include <hidl/HidlHostTransport.h>
#include <hidl/HidlTransportSupport.h>
#include <android/log.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <algorithm>
#include <functional>
#include <vector>
#include <hostsync/Mutex.h>
#include <string>

#include "FakeImsFactory.h"

using namespace xproc;
using Clock = std::chrono::steady_clock;

namespace {

struct Answers : R20::IGetSettingsCb, R20::ISetConfigCb {
    Return<void> getSettingsResponse(R20::RequestStatus, const R20::SettingsData&) override { return add(); }
    Return<void> setConfigResponse(R20::RequestStatus) override { return add(); }
    Return<void> add() {
        hostsync::MutexLock guard(lock);
        ++count;
        changed.notifyAll();
        return Void();
    }
    void waitFor(long n) {
        hostsync::MutexLock l(lock);
        changed.wait(lock, [&]() REQUIRES(lock) { return count >= n; });
    }
    hostsync::Mutex lock;
    hostsync::CondVar changed;
    long count GUARDED_BY(lock) = 0;
};

struct NoListener : R21::IRcsConfigListener {
    Return<void> onReconfigNeeded() override { return Void(); }
    Return<void> onTokenFetchRequest(int32_t, R21::TokenType, R21::TokenRequestReason) override { return Void(); }
};

// Microseconds per call of `body`, over `n` calls.
double perCall(long n, const std::function<void(long)>& body) {
    auto start = Clock::now();
    for (long i = 0; i < n; ++i) body(i);
    return std::chrono::duration<double, std::micro>(Clock::now() - start).count() / static_cast<double>(n);
}

// The median of `samples` microseconds.
double median(std::vector<double> samples) {
    if (samples.empty()) return 0;
    std::nth_element(samples.begin(), samples.begin() + samples.size() / 2, samples.end());
    return samples[samples.size() / 2];
}

// Microseconds of each of `n` calls of `body`.
std::vector<double> eachCall(long n, const std::function<void()>& body) {
    std::vector<double> samples;
    samples.reserve(static_cast<size_t>(n));
    for (long i = 0; i < n; ++i) {
        auto start = Clock::now();
        body();
        samples.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
    }
    return samples;
}

bool transfer(int fd, char* buf, size_t size, bool send) {
    size_t done = 0;
    while (done < size) {
        ssize_t n = send ? write(fd, buf + done, size - done) : read(fd, buf + done, size - done);
        if (n <= 0) return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

// p50 microseconds of a `bytes` message sent to another process over an
// AF_UNIX socketpair and sent back: what any crossing costs on this machine.
double rawPingPongP50(long n, size_t bytes) {
    int fds[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds) != 0) return 0;
    std::vector<char> buf(bytes, 'x');
    pid_t echo = fork();
    if (echo == 0) {
        close(fds[0]);
        while (transfer(fds[1], buf.data(), bytes, false) && transfer(fds[1], buf.data(), bytes, true)) {
        }
        _exit(0);
    }
    close(fds[1]);
    std::vector<double> samples = eachCall(n, [&] {
        transfer(fds[0], buf.data(), bytes, true);
        transfer(fds[0], buf.data(), bytes, false);
    });
    close(fds[0]);
    waitpid(echo, nullptr, 0);
    return median(samples);
}

struct Figures {
    double ping, settings, upload;
    double pingP50;
};

Figures measure(const sp<F11::IImsFactory>& factory, long n) {
    sp<R21::IRcsConfig> config;
    factory->createRcsConfig_1_1(0, new NoListener(), [&](auto, const sp<R21::IRcsConfig>& c) { config = c; }).isOk();
    sp<Answers> answers = new Answers();
    R20::SettingsData data;
    data.settingsId = R20::SettingsId::USER_AGENT_STRING;
    data.settingsValues.stringData = {{200, "bench-agent/1.0"}};
    config->setSettingsValue(data, answers).isOk();
    answers->waitFor(1);
    long base = 1;
    Figures f{};
    f.ping = perCall(n, [&](long) { factory->ping().isOk(); });
    f.pingP50 = median(eachCall(n, [&] { factory->ping().isOk(); }));
    f.settings = perCall(n, [&](long i) {
        config->getSettingsValue(data.settingsId, answers).isOk();
        answers->waitFor(base + i + 1);
    });
    base += n;
    R20::Container document{};
    document.config.resize(1 << 20);
    document.config[document.config.size() - 1] = 0x5a;
    long uploads = std::max(1L, n / 50);
    f.upload = perCall(uploads, [&](long i) {
        config->setConfig(document, answers).isOk();
        answers->waitFor(base + i + 1);
    });
    return f;
}

}  // namespace

int main(int argc, char** argv) {
    __android_log_set_minimum_priority(ANDROID_LOG_FATAL);
    if (argc == 3 && strcmp(argv[1], "serve") == 0) {
        ::android::hardware::host::useServiceRegistry(argv[2]);
        ::android::hardware::configureRpcThreadpool(1, true);
        sp<FakeImsFactory> factory = new FakeImsFactory();
        if (factory->registerAsService("bench") != ::android::OK) return 1;
        ::android::hardware::joinRpcThreadpool();
        return 0;
    }
    long n = argc > 1 ? atol(argv[1]) : 2000;
    char dirTemplate[] = "/tmp/hidl-bench-XXXXXX";
    std::string dir = mkdtemp(dirTemplate);

    pid_t server = fork();
    if (server == 0) {
        execl("/proc/self/exe", argv[0], "serve", dir.c_str(), nullptr);
        _exit(127);
    }
    Figures local = measure(new FakeImsFactory(), n);
    ::android::hardware::host::useServiceRegistry(dir);
    ::android::hardware::host::setServiceWaitTimeout(std::chrono::seconds(20));
    sp<F11::IImsFactory> remote = F11::IImsFactory::getService("bench");
    if (remote == nullptr) {
        fprintf(stderr, "no service\n");
        kill(server, SIGKILL);
        return 1;
    }
    Figures cross = measure(remote, n);
    kill(server, SIGKILL);
    waitpid(server, nullptr, 0);
    // About a ping frame: the 32-byte frame header and a small payload.
    constexpr size_t kPingBytes = 64;
    double raw = rawPingPongP50(n, kPingBytes);

    printf("%-40s %12s %12s %8s\n", "call (us per call)", "in-process", "2 processes", "ratio");
    auto row = [](const char* what, double a, double b) { printf("%-40s %12.2f %12.2f %8.1f\n", what, a, b, b / a); };
    row("ping (two-way)", local.ping, cross.ping);
    row("getSettingsValue -> callback", local.settings, cross.settings);
    row("setConfig 1 MB -> callback", local.upload, cross.upload);
    printf("ping p50 %.1f raw p50 %.1f ratio %.2f\n", cross.pingP50, raw, raw > 0 ? cross.pingP50 / raw : 0.0);
    return 0;
}
