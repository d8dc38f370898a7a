// Host HIDL between processes against the same calls inside one process, in
// one run: a two-way call (ping), a request answered through a one-way
// callback (getSettingsValue, client call to client callback) and a 1 MB
// setConfig. The serving process is this binary started again with "serve".
// Last, the two-way call against the crossing's own cost: a bare socketpair
// ping-pong between two processes with a message of the same size, measured
// in alternating blocks with the call, first as the scheduler places the
// threads, then (the last line) with both processes on one CPU.
//   hidl_transport_bench [iterations]
#include <hidl/HidlHostTransport.h>
#include <hidl/HidlTransportSupport.h>
#include <android/log.h>
#include <dirent.h>
#include <sched.h>
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

#include "testkit/FakeImsFactory.h"

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

// A process that sends back every `bytes` message it gets over an AF_UNIX
// socketpair: the crossing's own cost on this machine, with no runtime.
class RawEcho {
public:
    explicit RawEcho(size_t bytes) : mBuffer(bytes, 'x') {
        int fds[2];
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds) != 0) return;
        mPid = fork();
        if (mPid == 0) {
            close(fds[0]);
            while (transfer(fds[1], mBuffer.data(), mBuffer.size(), false) &&
                   transfer(fds[1], mBuffer.data(), mBuffer.size(), true)) {
            }
            _exit(0);
        }
        close(fds[1]);
        mFd = fds[0];
    }
    ~RawEcho() {
        if (mFd >= 0) close(mFd);
        if (mPid > 0) waitpid(mPid, nullptr, 0);
    }
    void pingPong() {
        transfer(mFd, mBuffer.data(), mBuffer.size(), true);
        transfer(mFd, mBuffer.data(), mBuffer.size(), false);
    }

private:
    std::vector<char> mBuffer;
    int mFd = -1;
    pid_t mPid = -1;
};

struct Figures {
    double ping, settings, upload;
};

// Puts every thread of process `pid` on CPU `cpu`; false if any refuses.
bool pinProcess(pid_t pid, int cpu) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(cpu, &set);
    DIR* tasks = opendir(("/proc/" + std::to_string(pid) + "/task").c_str());
    if (tasks == nullptr) return false;
    bool all = true;
    while (dirent* e = readdir(tasks)) {
        if (e->d_name[0] == '.') continue;
        all = sched_setaffinity(static_cast<pid_t>(atoi(e->d_name)), sizeof(set), &set) == 0 && all;
    }
    closedir(tasks);
    return all;
}

// p50 microseconds of a two-way call on `factory` and of a bare socketpair
// ping-pong of `rawBytes`, measured in alternating blocks so that whatever
// else the machine does meanwhile weighs on both alike.
std::pair<double, double> pingAgainstRaw(const sp<F11::IImsFactory>& factory, long n, size_t rawBytes) {
    RawEcho echo(rawBytes);
    constexpr int kBlocks = 10;
    std::vector<double> ping;
    std::vector<double> raw;
    for (int b = 0; b < kBlocks; ++b) {
        std::vector<double> p = eachCall(std::max(1L, n / kBlocks), [&] { factory->ping().isOk(); });
        std::vector<double> r = eachCall(std::max(1L, n / kBlocks), [&] { echo.pingPong(); });
        ping.insert(ping.end(), p.begin(), p.end());
        raw.insert(raw.end(), r.begin(), r.end());
    }
    return {median(ping), median(raw)};
}

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
    // About a ping frame: the 32-byte frame header and a small payload.
    constexpr size_t kPingBytes = 64;
    auto [pingP50, rawP50] = pingAgainstRaw(remote, n, kPingBytes);
    // Unpinned, the figures measure where the scheduler puts the threads as
    // much as the runtime: on an idle machine the same bare ping-pong takes
    // 9 us when both ends share a CPU and 45 us when a wake-up crosses to
    // the other. With both processes on one CPU every crossing costs the same.
    bool pinned = pinProcess(getpid(), 0) && pinProcess(server, 0);
    auto [pinnedPingP50, pinnedRawP50] = pingAgainstRaw(remote, n, kPingBytes);
    kill(server, SIGKILL);
    waitpid(server, nullptr, 0);

    printf("%-40s %12s %12s %8s\n", "call (us per call)", "in-process", "2 processes", "ratio");
    auto row = [](const char* what, double a, double b) { printf("%-40s %12.2f %12.2f %8.1f\n", what, a, b, b / a); };
    row("ping (two-way)", local.ping, cross.ping);
    row("getSettingsValue -> callback", local.settings, cross.settings);
    row("setConfig 1 MB -> callback", local.upload, cross.upload);
    printf("unpinned: ping p50 %.1f raw p50 %.1f ratio %.2f\n", pingP50, rawP50, rawP50 > 0 ? pingP50 / rawP50 : 0.0);
    if (!pinned) {
        printf("(could not put both processes on CPU 0)\n");
        return 0;
    }
    printf("both processes on CPU 0:\n");
    printf("ping p50 %.1f raw p50 %.1f ratio %.2f\n", pinnedPingP50, pinnedRawP50,
           pinnedRawP50 > 0 ? pinnedPingP50 / pinnedRawP50 : 0.0);
    return 0;
}
