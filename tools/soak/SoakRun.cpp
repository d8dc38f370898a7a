// The soak driver: cycles of modem restart, re-creation, uploads, settings,
// tokens and client-thread load, and the figures printed at the end.
#include <android/log.h>
#include <malloc.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <vendor/kel/ims/factory/1.1/IImsFactory.h>
#include <vendor/kel/ims/rcsconfig/2.1/IRcsConfig.h>

#include "Command.h"
#include "ConfigDocument.h"
#include "ProcessFigures.h"
#include "RetainedGrowth.h"
#include "SoakClients.h"
#include "SoakModem.h"
#include "SoakRun.h"
#include "mcx_host.h"
#include "service/HostModem.h"
#include "service/RcsServiceHost.h"

namespace soak {
namespace {

using android::sp;
using Clock = std::chrono::steady_clock;
namespace F1_1 = ::vendor::kel::ims::factory::V1_1;

// Every figure the run reports. Written by the driver and the load threads.
struct Tally {
    std::atomic<uint64_t> sent{0};            // every request made
    std::atomic<uint64_t> promised{0};        // ... that the service promises to answer
    std::atomic<uint64_t> answeredOk{0};
    std::atomic<uint64_t> answeredFail{0};    // FAIL while the modem was up
    std::atomic<uint64_t> refused{0};         // FAIL while the modem was down, as designed
    std::atomic<uint64_t> okWhileDown{0};     // OK while the modem was down (unexpected)
    std::atomic<uint64_t> unanswered{0};      // promised and never answered
    std::atomic<uint64_t> noAnswerByDesign{0};
    std::atomic<uint64_t> noConnection{0};      // sent for a slot without a connection: no answer by design
    uint64_t restarts = 0;
    uint64_t restartsNotSeen = 0;    // the service never saw the modem go down
    uint64_t reconfigsMissing = 0;   // a listener got no reconfiguration notice
    uint64_t modemTokenRequests = 0;
    uint64_t tokenNoticesExpected = 0;
    uint64_t tokenNoticesReceived = 0;
    uint64_t changeNotices = 0;
    uint64_t daemonCrashes = 0;      // the daemon died without being killed
    uint64_t uploads = 0;
};

// Sends `n` requests through `send` to one callback object and waits for
// their answers; adds the outcome to the tally. `modemUp` tells how a FAIL
// counts.
template <typename Send>
void promisedBatch(Tally& t, Answers& answers, int n, bool modemUp, int timeoutMs, Send send) {
    uint64_t ok0 = answers.ok(), fail0 = answers.fail();
    for (int i = 0; i < n; ++i) send(i);
    t.sent += n;
    t.promised += n;
    answers.waitFor(ok0 + fail0 + n, std::chrono::milliseconds(timeoutMs));
    uint64_t ok = answers.ok() - ok0, fail = answers.fail() - fail0;
    if (modemUp) {
        t.answeredOk += ok;
        t.answeredFail += fail;
    } else {
        t.okWhileDown += ok;
        t.refused += fail;
    }
    if (ok + fail < static_cast<uint64_t>(n)) t.unanswered += n - (ok + fail);
}

// The settings written in every cycle, one record per group (the values of
// the main job's session).
std::vector<V2_0::SettingsData> settingsRecords() {
    const std::vector<std::vector<std::string>> commands = {
        {"set-settings", "presence", "PUBLISH_TIMER=1200", "PUBLISH_EXTENDED_TIMER=86400",
         "CAPABILITY_DISCOVERY_ENABLED=true", "PRESENCE_SERVICE_URI=sip:rls@ims.example.org"},
        {"set-settings", "messaging", "DEFAULT_SMS_APP=1", "CLIENT_VENDOR=KELV",
         "TERMINAL_MODEL=KV-9", "RCS_VERSION=UP2.4"},
        {"set-settings", "user-agent", "IMS_USER_AGENT=Kelvale KV-9/KV9.2026.11 IMS-RCS/2.1"},
        {"set-settings", "ims-service", "VOLTE_ENABLED=true", "RTT_ENABLED=false",
         "CALL_MODE_PREFERENCE=2", "WIFI_PROVISIONING_ID=KVWFC-0001-A7"},
    };
    std::vector<V2_0::SettingsData> out;
    for (const auto& words : commands) {
        rcsctl::Command c;
        std::string error;
        if (!rcsctl::parseCommand(words, &c, &error)) {
            fprintf(stderr, "rcs-soak: internal record rejected: %s\n", error.c_str());
            exit(2);
        }
        out.push_back(c.settings);
    }
    return out;
}


struct Snapshot {
    const char* name;
    ProcessFigures figures;
    Retained retained;
    int64_t emulatorDocuments = 0;      // documents the in-process modem emulator holds
    int64_t emulatorDocumentBytes = 0;  // ... and their bytes
    uint64_t restarts;
    uint64_t requests;
};


class Soak {
public:
    explicit Soak(const Options& o) : mOpt(o), mRecords(settingsRecords()), mModem(o) {}

    int run();

private:
    bool createObjects();
    void restartCycle();
    void workCycle(long cycle);
    void loadShare(long count);
    Snapshot snapshot(const char* name);
    void print(const std::vector<Snapshot>& snaps, double seconds, bool timedOut);

    Options mOpt;
    std::vector<V2_0::SettingsData> mRecords;
    SoakModem mModem;
    std::unique_ptr<rcsservice::RcsServiceHost> mHost;
    sp<Listener> mListeners[2];
    sp<V2_1::IRcsConfig> mConfigs[2];
    sp<SetCb> mSetCb = new SetCb();
    sp<GetCb> mGetCb = new GetCb();
    sp<SetCb> mUploadCb = new SetCb();
    sp<SetCb> mTokenCb = new SetCb();
    sp<SetCb> mRefusedTokenCb = new SetCb();
    sp<GetCb> mNoConnectionCb = new GetCb();
    sp<ChangeCb> mChangeCb = new ChangeCb();
    rcsctl::ConfigDocument mPlain, mGzip;
    Tally mTally;
    uint64_t mLoadRequests = 0;
    uint64_t mWarmUpRequests = 0;
    struct LoadCallbacks {
        sp<SetCb> set;
        sp<GetCb> get;
        sp<SetCb> token;
    };
    std::vector<LoadCallbacks> mLoadCallbacks;  // one set per load thread, driver thread only
    int32_t mNextTokenId = 1;
    RetainedCosts mCosts;
    int64_t mNonRequired = 0;  // heap growth the service does not keep by design, steady part of the run
    // Allocator noise allowed on the heap figure: free lists and thread caches
    // of a busy allocator move by a few pages.
    static constexpr int64_t mTolerance = 256 * 1024;
};

// Heap bytes that the objects the service keeps by design grew by between two snapshots.
int64_t requiredGrowth(const Snapshot& a, const Snapshot& b, const RetainedCosts& c) {
    return (b.retained.listBytes - a.retained.listBytes) +
           (b.retained.serviceObjects - a.retained.serviceObjects) * c.serviceObject +
           (b.retained.managerLinks - a.retained.managerLinks) * c.managerRecipient +
           (b.retained.callbackLinks - a.retained.callbackLinks) * c.callbackRecipient +
           (b.retained.wrappers - a.retained.wrappers) * c.wrapper +
           static_cast<int64_t>(b.restarts - a.restarts) * 2 * c.droppedClient;
}

void Soak::print(const std::vector<Snapshot>& snaps, double seconds, bool timedOut) {
    const Tally& t = mTally;
    printf("rcs-soak: %s\n", mOpt.modemd.empty() ? "embedded modem emulator (services down and up)"
                                                  : "mcx-modemd (killed with SIGKILL and started again)");
    printf("run: %llu restarts of %ld asked, %llu load requests of %ld asked (after a warm-up of %llu), "
           "%d threads x %d in flight, %.1f s%s\n",
           (unsigned long long)t.restarts, mOpt.restarts, (unsigned long long)mLoadRequests, mOpt.requests,
           (unsigned long long)mWarmUpRequests,
           mOpt.threads, mOpt.inflight, seconds, timedOut ? " (stopped by the time limit)" : "");
    printf("requests\n");
    printf("  sent                                %12llu\n", (unsigned long long)t.sent.load());
    printf("  answer promised                     %12llu\n", (unsigned long long)t.promised.load());
    printf("    answered OK                       %12llu\n", (unsigned long long)t.answeredOk.load());
    printf("    answered FAIL, modem up           %12llu\n", (unsigned long long)t.answeredFail.load());
    printf("    refused, modem down (FAIL)        %12llu\n", (unsigned long long)t.refused.load());
    printf("    answered OK, modem down           %12llu\n", (unsigned long long)t.okWhileDown.load());
    printf("    unanswered (must be 0)            %12llu\n", (unsigned long long)t.unanswered.load());
    printf("  no answer by design                 %12llu  (updateTokenFetchStatus; setAppToken refused "
           "while the modem is down)\n", (unsigned long long)t.noAnswerByDesign.load());
    printf("  ... of which answered anyway        %12llu\n", (unsigned long long)mRefusedTokenCb->answers.total());
    printf("  no connection for the slot          %12llu  (no answer by design; a read on the old object\n"
           "                                                    between modem up and the new object)\n",
           (unsigned long long)t.noConnection.load());
    printf("  ... of which answered anyway        %12llu  (the new object's subscription came first)\n",
           (unsigned long long)mNoConnectionCb->answers.total());
    printf("modem\n");
    printf("  restarts                            %12llu  (not seen by the service: %llu)\n",
           (unsigned long long)t.restarts, (unsigned long long)t.restartsNotSeen);
    printf("  reconfiguration notices missing     %12llu\n", (unsigned long long)t.reconfigsMissing);
    printf("  uploads (70 KB document)            %12llu\n", (unsigned long long)t.uploads);
    printf("  token requests from the modem       %12llu  (listener notices %llu of %llu expected)\n",
           (unsigned long long)t.modemTokenRequests, (unsigned long long)t.tokenNoticesReceived,
           (unsigned long long)t.tokenNoticesExpected);
    printf("  settings change notices             %12llu\n", (unsigned long long)t.changeNotices);
    printf("crashes: service 0 (this process ran to the end), modem daemon %llu\n",
           (unsigned long long)t.daemonCrashes);
    printf("process figures  %-10s", "");
    for (const auto& s : snaps) printf(" %14s", s.name);
    printf("\n");
    auto row = [&](const char* name, auto get) {
        printf("  %-24s", name);
        for (const auto& s : snaps) printf(" %14lld", (long long)get(s));
        printf("\n");
    };
    row("restarts", [](const Snapshot& s) { return (int64_t)s.restarts; });
    row("requests", [](const Snapshot& s) { return (int64_t)s.requests; });
    row("RSS kB", [](const Snapshot& s) { return s.figures.rssKb; });
    row("descriptors", [](const Snapshot& s) { return s.figures.descriptors; });
    row("threads", [](const Snapshot& s) { return s.figures.threads; });
    row("heap bytes in use", [](const Snapshot& s) { return s.figures.heapBytes; });
    row("service objects", [](const Snapshot& s) { return s.retained.serviceObjects; });
    row("manager death links", [](const Snapshot& s) { return s.retained.managerLinks; });
    row("callback death links", [](const Snapshot& s) { return s.retained.callbackLinks; });
    row("callback wrappers", [](const Snapshot& s) { return s.retained.wrappers; });
    if (mOpt.modemd.empty()) {
        row("emulator documents", [](const Snapshot& s) { return s.emulatorDocuments; });
        row("emulator document bytes", [](const Snapshot& s) { return s.emulatorDocumentBytes; });
    }
    printf("retained by design, heap bytes each: service object %lld, manager link %lld, callback link %lld, "
           "wrapper %lld, settings client dropped by modemDown %lld (2 per restart)\n",
           (long long)mCosts.serviceObject, (long long)mCosts.managerRecipient,
           (long long)mCosts.callbackRecipient, (long long)mCosts.wrapper, (long long)mCosts.droppedClient);
    auto growth = [&](const Snapshot& a, const Snapshot& b) {
        double restarts = static_cast<double>(b.restarts - a.restarts);
        double kreq = static_cast<double>(b.requests - a.requests) / 1000.0;
        int64_t heap = b.figures.heapBytes - a.figures.heapBytes;
        int64_t required = requiredGrowth(a, b, mCosts);
        int64_t other = heap - required;
        printf("growth %s -> %s:\n", a.name, b.name);
        printf("  RSS %+lld kB, descriptors %+lld, threads %+lld (must be 0), heap %+lld bytes\n",
               (long long)(b.figures.rssKb - a.figures.rssKb),
               (long long)(b.figures.descriptors - a.figures.descriptors),
               (long long)(b.figures.threads - a.figures.threads), (long long)heap);
        printf("  heap kept by design %+lld bytes: %.0f per restart, %.0f per 1,000 requests\n",
               (long long)required, restarts > 0 ? required / restarts : 0.0, kreq > 0 ? required / kreq : 0.0);
        int64_t docs = b.emulatorDocumentBytes - a.emulatorDocumentBytes;
        if (docs != 0) {
            printf("  heap held by the embedded modem emulator's documents (the modem's memory) %+lld bytes: "
                   "%.0f per restart\n",
                   (long long)docs, restarts > 0 ? docs / restarts : 0.0);
        }
        int64_t own = other - docs;
        printf("  heap growth nothing requires %+lld bytes: %.0f per restart, %.0f per 1,000 requests "
               "(must be 0 within allocator noise of %lld bytes)\n",
               (long long)own, restarts > 0 ? own / restarts : 0.0, kreq > 0 ? own / kreq : 0.0,
               (long long)mTolerance);
        printf("  RSS per restart %.1f kB, per 1,000 requests %.1f kB\n",
               restarts > 0 ? (b.figures.rssKb - a.figures.rssKb) / restarts : 0.0,
               kreq > 0 ? (b.figures.rssKb - a.figures.rssKb) / kreq : 0.0);
        return own;
    };
    if (snaps.front().figures.heapBytes == 0) {
        // A sanitizer's allocator does not report to mallinfo2.
        printf("heap figures not available in this build (the allocator reports no heap use)\n");
        mNonRequired = 0;
        return;
    }
    // Judged on the steady part of the run (after 10% of the cycles), where
    // first-use allocations and the emulator's bounded request log are
    // behind; the embedded emulator's documents are the modem's memory, shown
    // above but not the service's.
    mNonRequired = growth(snaps.front(), snaps.back());
    if (snaps.size() == 3) mNonRequired = growth(snaps[1], snaps[2]);
}


bool Soak::createObjects() {
    sp<F1_1::IImsFactory> factory = F1_1::IImsFactory::getService();
    if (factory == nullptr) return false;
    for (int slot = 1; slot <= 2; ++slot) {
        sp<V2_1::IRcsConfig> created;
        factory->createRcsConfig_1_1(static_cast<uint32_t>(slot), mListeners[slot - 1],
                                     [&](auto, const sp<V2_1::IRcsConfig>& c) { created = c; });
        if (created == nullptr) return false;
        mConfigs[slot - 1] = created;
    }
    mHost->waitUntilIdle();
    // A watch on each new object, as a client re-registers after a restart.
    mConfigs[0]->registerForSettingsChange(V2_0::SettingsId::IMS_SERVICE_ENABLE_CONFIG, mChangeCb);
    mHost->waitUntilIdle();
    return true;
}

// Modem down, refusals, modem up, reconfiguration notices, new objects.
void Soak::restartCycle() {
    uint64_t reconfigs[2] = {mListeners[0]->reconfigs.total(), mListeners[1]->reconfigs.total()};
    mModem.down();
    ++mTally.restarts;
    if (waitModem(*mHost, false, 10000)) {
        // The old objects, used as a client does before it hears of the restart.
        for (int s = 0; s < 2; ++s) {
            sp<V2_1::IRcsConfig> c = mConfigs[s];
            promisedBatch(mTally, mGetCb->answers, 1, false, mOpt.answerTimeoutMs, [&](int) {
                c->getSettingsValue(V2_0::SettingsId::PRESENCE_CONFIG, mGetCb);
            });
            promisedBatch(mTally, mSetCb->answers, 1, false, mOpt.answerTimeoutMs,
                          [&](int) { c->setSettingsValue(mRecords[0], mSetCb); });
            promisedBatch(mTally, mUploadCb->answers, 1, false, mOpt.answerTimeoutMs, [&](int) {
                V2_0::Container doc;
                doc.isCompressed = false;
                doc.config = std::vector<uint8_t>(100, 'x');
                c->setConfig(doc, mUploadCb);
            });
            // Refused set-token: no callback comes, by design.
            c->setAppToken("refused-while-down", mRefusedTokenCb);
            ++mTally.sent;
            ++mTally.noAnswerByDesign;
        }
        mHost->waitUntilIdle();
    } else {
        ++mTally.restartsNotSeen;
    }
    if (!mModem.up()) {
        fprintf(stderr, "rcs-soak: mcx-modemd did not start again\n");
    }
    for (int s = 0; s < 2; ++s) {
        if (!mListeners[s]->reconfigs.waitFor(reconfigs[s] + 1, std::chrono::seconds(15))) {
            ++mTally.reconfigsMissing;
        }
    }
    waitModem(*mHost, true, 15000);
    // The modem is back but this slot has no connection until a new object
    // subscribes it: a read on the old object gets no answer, by design.
    mConfigs[1]->getSettingsValue(V2_0::SettingsId::PRESENCE_CONFIG, mNoConnectionCb);
    ++mTally.sent;
    ++mTally.noConnection;
    mHost->waitUntilIdle();
    createObjects();
}

void Soak::workCycle(long cycle) {
    const int timeout = mOpt.answerTimeoutMs;
    // Uploads: one gzip and one plain, alternating the slots.
    for (int s = 0; s < 2; ++s) {
        const rcsctl::ConfigDocument& d = ((cycle + s) % 2 == 0) ? mGzip : mPlain;
        V2_0::Container doc;
        doc.isCompressed = d.compressed;
        doc.config = d.bytes;
        promisedBatch(mTally, mUploadCb->answers, 1, true, timeout,
                      [&](int) { mConfigs[s]->setConfig(doc, mUploadCb); });
        ++mTally.uploads;
    }
    // All four groups written and read on both slots.
    uint64_t changes0 = mChangeCb->changes.total();
    for (int s = 0; s < 2; ++s) {
        promisedBatch(mTally, mSetCb->answers, 4, true, timeout,
                      [&](int g) { mConfigs[s]->setSettingsValue(mRecords[g], mSetCb); });
        promisedBatch(mTally, mGetCb->answers, 4, true, timeout, [&](int g) {
            mConfigs[s]->getSettingsValue(static_cast<V2_0::SettingsId>(g), mGetCb);
        });
    }
    // The modem asks for a token; every listener hears it; the client answers.
    // The modem asks for a token on one subscription; the listener of that
    // slot hears it (each listener keeps to its own slot) and the client answers.
    char command[96], reply[256];
    int sub = static_cast<int>(cycle % 2);
    Answers& notices = mListeners[sub]->tokenRequests;
    uint64_t notices0 = notices.total();
    snprintf(command, sizeof(command), "token-request %d 1 2 %d", sub, mNextTokenId++);
    if (mcx_host_modem_control(command, reply, sizeof(reply)) == 0) {
        ++mTally.modemTokenRequests;
        ++mTally.tokenNoticesExpected;
        notices.waitFor(notices0 + 1, std::chrono::milliseconds(timeout));
        mTally.tokenNoticesReceived += notices.total() - notices0;
    }
    for (int s = 0; s < 2; ++s) {
        for (const auto& req : mListeners[s]->takeTokenRequests()) {
            promisedBatch(mTally, mTokenCb->answers, 1, true, timeout, [&](int) {
                mConfigs[s]->setAppToken("fcm:soak-token-0123456789", mTokenCb);
            });
            mConfigs[s]->updateTokenFetchStatus(req.requestId, req.type, V2_1::StatusCode::SUCCESS);
            ++mTally.sent;
            ++mTally.noAnswerByDesign;
        }
    }
    mHost->waitUntilIdle();
    mTally.changeNotices += mChangeCb->changes.total() - changes0;
}

// `count` requests from the load threads, each keeping its window in flight.
void Soak::loadShare(long count) {
    if (count <= 0) return;
    std::vector<std::thread> threads;
    const int n = mOpt.threads;
    while (mLoadCallbacks.size() < static_cast<size_t>(n)) {
        mLoadCallbacks.push_back(LoadCallbacks{new SetCb(), new GetCb(), new SetCb()});
    }
    for (int t = 0; t < n; ++t) {
        long share = count / n + (t < count % n ? 1 : 0);
        threads.emplace_back([this, t, share] {
            // Callback objects of this client thread, kept for the whole run as a
            // client keeps its own (the service holds each one it was given).
            sp<SetCb> setCb = mLoadCallbacks[t].set;
            sp<GetCb> getCb = mLoadCallbacks[t].get;
            sp<SetCb> tokenCb = mLoadCallbacks[t].token;
            long done = 0;
            while (done < share) {
                int window = static_cast<int>(std::min<long>(mOpt.inflight, share - done));
                int sets = 0, gets = 0, tokens = 0;
                uint64_t s0 = setCb->answers.total(), g0 = getCb->answers.total(),
                         k0 = tokenCb->answers.total();
                uint64_t so = setCb->answers.ok(), go = getCb->answers.ok(), ko = tokenCb->answers.ok();
                for (int i = 0; i < window; ++i) {
                    long k = done + i + t;
                    sp<V2_1::IRcsConfig> c = mConfigs[k % 2];
                    switch (k % 3) {
                        case 0: c->setSettingsValue(mRecords[(k / 3) % 4], setCb); ++sets; break;
                        case 1: c->getSettingsValue(static_cast<V2_0::SettingsId>((k / 3) % 4), getCb); ++gets; break;
                        default: c->setAppToken("fcm:load", tokenCb); ++tokens; break;
                    }
                }
                mTally.sent += window;
                mTally.promised += window;
                auto wait = std::chrono::milliseconds(mOpt.answerTimeoutMs);
                setCb->answers.waitFor(s0 + sets, wait);
                getCb->answers.waitFor(g0 + gets, wait);
                tokenCb->answers.waitFor(k0 + tokens, wait);
                uint64_t answered = (setCb->answers.total() - s0) + (getCb->answers.total() - g0) +
                                    (tokenCb->answers.total() - k0);
                uint64_t ok = (setCb->answers.ok() - so) + (getCb->answers.ok() - go) +
                              (tokenCb->answers.ok() - ko);
                mTally.answeredOk += ok;
                mTally.answeredFail += answered - ok;
                if (answered < static_cast<uint64_t>(window)) mTally.unanswered += window - answered;
                done += window;
            }
        });
    }
    for (auto& th : threads) th.join();
    mLoadRequests += static_cast<uint64_t>(count);
}

Snapshot Soak::snapshot(const char* name) {
    mHost->waitUntilIdle();
    Snapshot s;
    s.name = name;
    s.figures = ProcessFigures::settled();
    s.retained = retainedFrom(mHost->dump());
    if (mModem.embedded()) emulatorDocuments(&s.emulatorDocuments, &s.emulatorDocumentBytes);
    s.restarts = mTally.restarts;
    s.requests = mTally.sent.load();
    return s;
}

int Soak::run() {
    std::string error;
    if (!rcsctl::ConfigDocument::load(mOpt.document, false, &mPlain, &error) ||
        !rcsctl::ConfigDocument::load(mOpt.document, true, &mGzip, &error)) {
        fprintf(stderr, "rcs-soak: %s\n", error.c_str());
        return 2;
    }
    __android_log_set_minimum_priority(ANDROID_LOG_FATAL);
    rcsservice::HostModem modem;
    if (!mModem.embedded()) {
        unlink(mOpt.socket.c_str());
        if (!mModem.start()) {
            fprintf(stderr, "rcs-soak: mcx-modemd did not start\n");
            return 2;
        }
        modem = rcsservice::HostModem::daemon(mOpt.socket);
    }
    RetainedCosts costs = RetainedCosts::measure();
    mHost = std::make_unique<rcsservice::RcsServiceHost>(rcsservice::hostServiceOptions(modem));
    if (!mHost->start()) {
        fprintf(stderr, "rcs-soak: the service did not start\n");
        return 2;
    }
    mListeners[0] = new Listener();
    mListeners[1] = new Listener();
    if (!waitModem(*mHost, true, 15000) || !createObjects()) {
        fprintf(stderr, "rcs-soak: the modem never came up\n");
        return 2;
    }
    auto start = Clock::now();
    auto limit = start + std::chrono::seconds(mOpt.timeLimitS);
    // A warm-up cycle without restart, so that first-use allocations do not
    // count as growth.
    workCycle(0);
    loadShare(std::min<long>(mOpt.requests, 200));
    mWarmUpRequests = mLoadRequests;
    mLoadRequests = 0;
    std::vector<Snapshot> snaps;
    snaps.push_back(snapshot("start"));

    long cycles = std::max<long>(mOpt.restarts, 1);
    long tenth = std::max<long>(cycles / 10, 1);
    bool timedOut = false;
    long loadDone = 0;
    for (long i = 0; i < cycles; ++i) {
        if (Clock::now() >= limit) {
            timedOut = true;
            break;
        }
        if (mOpt.restarts > 0) restartCycle();
        workCycle(i + 1);
        long target = mOpt.requests * (i + 1) / cycles;
        loadShare(target - loadDone);
        loadDone = target;
        if (mModem.restartIfCrashed()) ++mTally.daemonCrashes;
        if (i + 1 == tenth) snaps.push_back(snapshot("after 10%"));
    }
    snaps.push_back(snapshot("end"));
    double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    mCosts = costs;
    print(snaps, seconds, timedOut);
    if (mOpt.keepAtExit) {
        // For heap profilers: whatever is still allocated now shows as "leaked".
        fflush(stdout);
        mModem.kill();
        _exit(0);
    }
    mConfigs[0] = nullptr;
    mConfigs[1] = nullptr;
    mHost->stop();
    mModem.kill();
    const Snapshot& a = snaps.front();
    const Snapshot& b = snaps.back();
    std::string failures;
    if (mTally.unanswered != 0) failures += " unanswered requests;";
    if (mTally.daemonCrashes != 0) failures += " modem daemon crashes;";
    if (mTally.restartsNotSeen != 0 || mTally.reconfigsMissing != 0) failures += " restarts not seen or not notified;";
    if (b.figures.descriptors != a.figures.descriptors) failures += " descriptors grew;";
    if (b.figures.threads != a.figures.threads) failures += " threads grew;";
    if (mNonRequired > mTolerance) failures += " heap grew beyond what the service keeps by design;";
    printf("verdict: %s%s\n", failures.empty() ? "PASS" : "FAIL:", failures.c_str());
    return failures.empty() ? 0 : 1;
}


}  // namespace

int runSoak(const Options& options) {
    Soak soak(options);
    return soak.run();
}

}  // namespace soak
