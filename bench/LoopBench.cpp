/*
 * Event-loop figures, side by side with Android's own Looper (Debian's
 * libutils) in the same process:
 *
 *  - one-way latency from imsComHandler::postEvent to handleEvent against
 *    Looper::sendMessage to MessageHandler::handleMessage: p50 and p99 from
 *    recorded samples, one post at a time with the loop idle in between;
 *    once with the library's lines going to a logger that discards them and
 *    once with ERROR filtered out by __android_log_set_minimum_priority;
 *  - burst drain: N posts back to back, items per second until all handled;
 *  - the timer queue: add, process and remove with N timers.
 *
 * A summary with the ratios to Looper follows Google Benchmark's table.
 * Options: --short (fewer samples, for smoke runs) and Google Benchmark's own.
 */
#include <android/log.h>
#include <utils/Looper.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <map>
#include <hostsync/Mutex.h>
#include <string>
#include <thread>
#include <vector>

#include "imsservice/ImsCom.h"
#include "imsservice/ImsComHandler.h"
#include "imsservice/ImsTimer.h"

namespace {

using Clock = std::chrono::steady_clock;

int64_t nowNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch())
        .count();
}

int gLatencySamples = 4000;
// Gap between latency samples, so every post finds the loop blocked and idle.
const auto kIdleGap = std::chrono::microseconds(200);

// ---- logging modes ---------------------------------------------------------

enum LogMode { kDiscarded = 0, kFiltered = 1 };
const char* const kModeNames[] = {"lines discarded", "ERROR filtered out"};

void discardLine(const struct __android_logger_data*, const char*) {}

void setLogMode(LogMode mode) {
    __android_log_set_logger(discardLine);
    __android_log_set_minimum_priority(mode == kFiltered ? ANDROID_LOG_FATAL : ANDROID_LOG_INFO);
}

// ---- where handled events arrive --------------------------------------------

class Sink {
public:
    void expect(long n, bool keepSamples) {
        hostsync::MutexLock guard(mLock);
        mCount = 0;
        mTarget = n;
        mKeep = keepSamples;
    }
    void arrived(int64_t sentNs) {
        int64_t latency = nowNs() - sentNs;
        hostsync::MutexLock guard(mLock);
        if (mKeep) samples.push_back(latency);
        if (++mCount == mTarget) mDone.notifyAll();
    }
    void wait() {
        hostsync::MutexLock lock(mLock);
        mDone.wait(mLock, [this]() REQUIRES(mLock) { return mCount >= mTarget; });
    }
    std::vector<int64_t> samples;  // guarded by mLock while a run is on

private:
    hostsync::Mutex mLock;
    hostsync::CondVar mDone;
    long mCount GUARDED_BY(mLock) = 0;
    long mTarget GUARDED_BY(mLock) = 0;
    bool mKeep GUARDED_BY(mLock) = false;
};

// ---- the library's loop ------------------------------------------------------

struct BenchEvent {
    int64_t sentNs;
};

class BenchHandler : public imsComHandler<BenchEvent> {
public:
    BenchHandler(ImsCom& com, ImsTimer& timer, Sink& sink)
        : imsComHandler<BenchEvent>(com, timer), mSink(sink) {}
    void handleEvent(BenchEvent& e) override { mSink.arrived(e.sentNs); }

private:
    Sink& mSink;
};

class ImsLoop : public ITimerMonitor {
public:
    ImsLoop() : timer(this), handler(com, timer, sink) {
        thread = std::thread([this] {
            while (!stopping.load()) com.processEvents(timer.timeUntilNextEvent(), timer);
        });
    }
    ~ImsLoop() {
        stopping = true;
        com.wake();
        thread.join();
    }
    void nextEventChanged() override { com.wake(); }
    void post() {
        BenchEvent e{nowNs()};
        handler.postEvent(e);
    }

    ImsCom com;
    ImsTimer timer;
    Sink sink;
    BenchHandler handler;
    std::atomic<bool> stopping{false};
    std::thread thread;
};

// ---- Android's Looper ---------------------------------------------------------

std::atomic<int64_t> gLooperSentNs{0};

class LooperSink : public android::MessageHandler {
public:
    explicit LooperSink(Sink& sink) : mSink(sink) {}
    void handleMessage(const android::Message&) override { mSink.arrived(gLooperSentNs.load()); }

private:
    Sink& mSink;
};

class AndroidLoop {
public:
    AndroidLoop() : looper(new android::Looper(false)), handler(new LooperSink(sink)) {
        thread = std::thread([this] {
            while (!stopping.load()) looper->pollOnce(-1);
        });
    }
    ~AndroidLoop() {
        stopping = true;
        looper->wake();
        thread.join();
    }
    void post() {
        gLooperSentNs = nowNs();
        looper->sendMessage(handler, android::Message(1));
    }

    Sink sink;
    android::sp<android::Looper> looper;
    android::sp<android::MessageHandler> handler;
    std::atomic<bool> stopping{false};
    std::thread thread;
};

ImsLoop* gIms;
AndroidLoop* gAndroid;

// ---- results kept for the summary -------------------------------------------

std::map<std::string, double> gResults;

double percentile(std::vector<int64_t> v, double p) {
    if (v.empty()) return 0;
    std::sort(v.begin(), v.end());
    size_t i = static_cast<size_t>(p * static_cast<double>(v.size() - 1) + 0.5);
    return static_cast<double>(v[i]) / 1000.0;  // microseconds
}

// Both loops are sampled in turn within one run, so that both see the same
// machine (other load, frequency changes) and the ratios stay meaningful.
template <class Loop>
void sampleOnce(Loop& loop) {
    std::this_thread::sleep_for(kIdleGap);
    loop.sink.expect(1, true);
    loop.post();
    loop.sink.wait();
}

void BM_Latency(benchmark::State& state) {
    LogMode mode = static_cast<LogMode>(state.range(0));
    setLogMode(mode);
    for (auto _ : state) {
        gIms->sink.samples.clear();
        gAndroid->sink.samples.clear();
        for (int i = 0; i < gLatencySamples; ++i) {
            sampleOnce(*gIms);
            sampleOnce(*gAndroid);
        }
        std::string m = std::to_string(mode);
        gResults["ims/" + m + "/p50"] = percentile(gIms->sink.samples, 0.50);
        gResults["ims/" + m + "/p99"] = percentile(gIms->sink.samples, 0.99);
        gResults["looper/" + m + "/p50"] = percentile(gAndroid->sink.samples, 0.50);
        gResults["looper/" + m + "/p99"] = percentile(gAndroid->sink.samples, 0.99);
        state.SetIterationTime(gResults["ims/" + m + "/p50"] / 1e6);
        for (const char* who : {"ims", "looper"}) {
            for (const char* p : {"p50", "p99"}) {
                state.counters[std::string(who) + "_" + p + "_us"] =
                    gResults[std::string(who) + "/" + m + "/" + p];
            }
        }
    }
}

template <class Loop>
void runBurst(benchmark::State& state, Loop& loop, const char* who) {
    long n = state.range(0);
    LogMode mode = static_cast<LogMode>(state.range(1));
    setLogMode(mode);
    double totalSec = 0;
    for (auto _ : state) {
        loop.sink.expect(n, false);
        auto t0 = Clock::now();
        for (long i = 0; i < n; ++i) loop.post();
        loop.sink.wait();
        double sec = std::chrono::duration<double>(Clock::now() - t0).count();
        state.SetIterationTime(sec);
        totalSec += sec;
    }
    state.SetItemsProcessed(state.iterations() * n);
    gResults[std::string(who) + "/burst/" + std::to_string(n) + "/" + std::to_string(mode)] =
        static_cast<double>(state.iterations() * n) / totalSec;
}

void BM_Burst_ImsCom(benchmark::State& state) { runBurst(state, *gIms, "ims"); }
void BM_Burst_Looper(benchmark::State& state) { runBurst(state, *gAndroid, "looper"); }

// ---- the logging function itself ---------------------------------------------

// One typical line of the loop, per call.
void BM_PrintImsLog(benchmark::State& state) {
    LogMode mode = static_cast<LogMode>(state.range(0));
    setLogMode(mode);
    int i = 0;
    auto t0 = Clock::now();
    for (auto _ : state) {
        IMS_LOG("processing event number: %d, handling %d for %d", i++, 1, 7);
    }
    double ns = std::chrono::duration<double, std::nano>(Clock::now() - t0).count();
    gResults["log/" + std::to_string(mode)] = ns / static_cast<double>(state.iterations());
}

// ---- timer queue --------------------------------------------------------------

int noop(void*) { return -1; }

enum TimerOp { kAdd, kProcess, kRemove };
const char* const kTimerOpNames[] = {"add", "process", "remove"};

// Per operation, with N timers: add N to an empty queue, process N due timers,
// remove N timers one id at a time from a queue of N.
void BM_Timer(benchmark::State& state) {
    TimerOp op = static_cast<TimerOp>(state.range(0));
    long n = state.range(1);
    LogMode mode = static_cast<LogMode>(state.range(2));
    setLogMode(mode);
    double totalSec = 0;
    for (auto _ : state) {
        ImsTimer timer(nullptr);
        std::vector<int> ids;
        ids.reserve(static_cast<size_t>(n));
        Clock::time_point t0;
        if (op == kAdd) t0 = Clock::now();
        for (long i = 0; i < n; ++i) {
            // Process: already due, spread in time; otherwise far in the future.
            long delay = op == kProcess ? -(i * 7919 % n) - 1 : 60000 + (i * 7919 % n);
            ids.push_back(timer.addTimedCallback(delay, noop, nullptr));
        }
        if (op == kProcess) {
            t0 = Clock::now();
            timer.processEvents();
        } else if (op == kRemove) {
            t0 = Clock::now();
            for (int id : ids) timer.removeTimedCallback(id);
        }
        double sec = std::chrono::duration<double>(Clock::now() - t0).count();
        state.SetIterationTime(sec);
        totalSec += sec;
    }
    state.SetItemsProcessed(state.iterations() * n);
    gResults[std::string("timer/") + kTimerOpNames[op] + "/" + std::to_string(n) + "/" +
             std::to_string(mode)] = totalSec * 1e9 / static_cast<double>(state.iterations() * n);
}

void registerAll() {
    for (int mode : {kDiscarded, kFiltered}) {
        std::string m = mode == kDiscarded ? "discarded" : "filtered";
        benchmark::RegisterBenchmark(("Latency/ImsCom+Looper/" + m).c_str(), BM_Latency)
            ->Arg(mode)->Iterations(1)->UseManualTime()->Unit(benchmark::kMicrosecond);
    }
    for (int mode : {kDiscarded, kFiltered}) {
        std::string m = mode == kDiscarded ? "discarded" : "filtered";
        benchmark::RegisterBenchmark(("PrintImsLog/" + m).c_str(), BM_PrintImsLog)->Arg(mode);
        for (long n : {1, 16, 64, 1024}) {
            benchmark::RegisterBenchmark(("Burst/ImsCom/" + m).c_str(), BM_Burst_ImsCom)
                ->Args({n, mode})->UseManualTime()->Unit(benchmark::kMicrosecond);
            benchmark::RegisterBenchmark(("Burst/Looper/" + m).c_str(), BM_Burst_Looper)
                ->Args({n, mode})->UseManualTime()->Unit(benchmark::kMicrosecond);
        }
    }
    for (int mode : {kDiscarded, kFiltered}) {
        std::string m = mode == kDiscarded ? "discarded" : "filtered";
        for (int op : {kAdd, kProcess, kRemove}) {
            for (long n : {16, 256, 4096}) {
                benchmark::RegisterBenchmark(
                    (std::string("Timer/") + kTimerOpNames[op] + "/" + m).c_str(), BM_Timer)
                    ->Args({op, n, mode})->UseManualTime()->Unit(benchmark::kMicrosecond);
            }
        }
    }
}

double get(const std::string& key) {
    auto it = gResults.find(key);
    return it == gResults.end() ? 0 : it->second;
}

double ratio(double a, double b) { return b > 0 ? a / b : 0; }

void printSummary() {
    printf("\n== One-way latency, postEvent -> handleEvent vs Looper sendMessage -> handleMessage\n");
    printf("   (%d samples each, loop idle between posts; microseconds)\n", gLatencySamples);
    printf("%-20s %10s %10s %7s %7s | %10s %10s %7s %7s\n", "log mode", "ImsCom p50", "Looper p50",
           "ratio", "target", "ImsCom p99", "Looper p99", "ratio", "target");
    for (int mode : {kFiltered, kDiscarded}) {
        std::string m = std::to_string(mode);
        double ip50 = get("ims/" + m + "/p50"), lp50 = get("looper/" + m + "/p50");
        double ip99 = get("ims/" + m + "/p99"), lp99 = get("looper/" + m + "/p99");
        printf("%-20s %10.1f %10.1f %6.2fx %7s | %10.1f %10.1f %6.2fx %7s\n", kModeNames[mode], ip50,
               lp50, ratio(ip50, lp50), mode == kFiltered ? "<=1.0x" : "<=1.3x", ip99, lp99,
               ratio(ip99, lp99), "<=1.2x");
    }

    printf("\n== printImsLog, one typical line: %.0f ns with the line discarded, %.0f ns with "
           "ERROR filtered out\n",
           get("log/" + std::to_string(kDiscarded)), get("log/" + std::to_string(kFiltered)));

    printf("\n== Burst drain: N posts back to back until all handled (items per second)\n");
    printf("%-20s %6s %14s %14s %8s %7s\n", "log mode", "N", "ImsCom", "Looper", "ratio", "target");
    for (int mode : {kDiscarded, kFiltered}) {
        for (long n : {1, 16, 64, 1024}) {
            std::string k = "/burst/" + std::to_string(n) + "/" + std::to_string(mode);
            double i = get("ims" + k), l = get("looper" + k);
            printf("%-20s %6ld %14.0f %14.0f %7.2fx %7s\n", kModeNames[mode], n, i, l, ratio(i, l),
                   n == 1024 ? ">=4x" : "-");
        }
    }

    printf("\n== Timer queue: nanoseconds per operation with N timers\n");
    printf("%-20s %-8s %10s %10s %10s\n", "log mode", "op", "N=16", "N=256", "N=4096");
    for (int mode : {kDiscarded, kFiltered}) {
        for (int op : {kAdd, kProcess, kRemove}) {
            printf("%-20s %-8s", kModeNames[mode], kTimerOpNames[op]);
            for (long n : {16, 256, 4096}) {
                printf(" %10.0f", get(std::string("timer/") + kTimerOpNames[op] + "/" +
                                      std::to_string(n) + "/" + std::to_string(mode)));
            }
            printf("\n");
        }
    }
    fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<char*> args;
    bool shortRun = false;
    for (int i = 0; i < argc; ++i) {
        if (strcmp(argv[i], "--short") == 0) {
            shortRun = true;
        } else {
            args.push_back(argv[i]);
        }
    }
    static char shortMinTime[] = "--benchmark_min_time=0.02";
    if (shortRun) {
        gLatencySamples = 300;
        args.insert(args.begin() + 1, shortMinTime);  // explicit options given later still win
    }
    int n = static_cast<int>(args.size());
    setLogMode(kDiscarded);
    benchmark::Initialize(&n, args.data());
    if (benchmark::ReportUnrecognizedArguments(n, args.data())) return 1;

    ImsLoop ims;
    AndroidLoop android;
    gIms = &ims;
    gAndroid = &android;
    registerAll();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    printSummary();
    return 0;
}
