// The soak driver: the service and its objects, the cycles of modem restart,
// re-creation, uploads, settings and tokens, the load shares between them, the
// snapshots and the verdict. The service as a client reaches it (SoakService),
// the modem (SoakModem), the load threads
// (SoakLoad) and the printing of the figures (SoakReport) live apart.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <vendor/kel/ims/factory/1.1/IImsFactory.h>
#include <vendor/kel/ims/rcsconfig/2.1/IRcsConfig.h>

#include "ConfigDocument.h"
#include "ProcessFigures.h"
#include "RetainedGrowth.h"
#include "SoakClients.h"
#include "SoakLoad.h"
#include "SoakModem.h"
#include "SoakReport.h"
#include "SoakRequests.h"
#include "SoakRun.h"
#include "SoakService.h"

namespace soak {
namespace {

using android::sp;
using Clock = std::chrono::steady_clock;
namespace F1_1 = ::vendor::kel::ims::factory::V1_1;

class Soak {
public:
    explicit Soak(const Options& o) : mOpt(o), mRecords(settingsRecords()), mModem(o, mService) {}

    int run();

private:
    bool createObjects();
    void restartCycle();
    // One line on stderr: cycles done, requests, failures so far, time spent and left.
    void printProgress(long done, long cycles, Clock::time_point start, Clock::time_point limit) const;
    void workCycle(long cycle);
    Snapshot snapshot(const char* name);

    Options mOpt;
    std::vector<V2_0::SettingsData> mRecords;
    SoakService mService;
    SoakModem mModem;
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
    LoadThreads mLoad{mOpt, mTally};
    int32_t mNextTokenId = 1;
};

bool Soak::createObjects() {
    const sp<F1_1::IImsFactory>& factory = mService.factory();
    if (factory == nullptr) return false;
    for (int slot = 1; slot <= 2; ++slot) {
        sp<V2_1::IRcsConfig> created;
        factory->createRcsConfig_1_1(static_cast<uint32_t>(slot), mListeners[slot - 1],
                                     [&](auto, const sp<V2_1::IRcsConfig>& c) { created = c; });
        if (created == nullptr) return false;
        mConfigs[slot - 1] = created;
    }
    mService.waitUntilIdle();
    // A watch on each new object, as a client re-registers after a restart.
    mConfigs[0]->registerForSettingsChange(V2_0::SettingsId::IMS_SERVICE_ENABLE_CONFIG, mChangeCb);
    mService.waitUntilIdle();
    return true;
}

// Modem down, refusals, modem up, reconfiguration notices, new objects.
void Soak::printProgress(long done, long cycles, Clock::time_point start, Clock::time_point limit) const {
    const auto now = Clock::now();
    const long elapsed = static_cast<long>(std::chrono::duration_cast<std::chrono::seconds>(now - start).count());
    long left = static_cast<long>(std::chrono::duration_cast<std::chrono::seconds>(limit - now).count());
    if (done > 0) left = std::min(left, elapsed * (cycles - done) / done);
    auto clock = [](long s) {
        char text[64];
        snprintf(text, sizeof(text), "%ld:%02ld:%02ld", s / 3600, s / 60 % 60, s % 60);
        return std::string(text);
    };
    fprintf(stderr, "rcs-soak: %ld/%ld cycles, %llu requests, %llu failed, %llu unanswered, %s spent, about %s left\n",
            done, cycles, static_cast<unsigned long long>(mTally.sent.load()),
            static_cast<unsigned long long>(mTally.answeredFail.load() + mTally.okWhileDown.load()),
            static_cast<unsigned long long>(mTally.unanswered.load()), clock(elapsed).c_str(),
            clock(std::max(left, 0L)).c_str());
}

void Soak::restartCycle() {
    uint64_t reconfigs[2] = {mListeners[0]->reconfigs.total(), mListeners[1]->reconfigs.total()};
    mModem.down();
    ++mTally.restarts;
    if (mService.waitModem(false, 10000)) {
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
        mService.waitUntilIdle();
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
    mService.waitModem(true, 15000);
    // The modem is back but this slot has no connection until a new object
    // subscribes it: a read on the old object gets no answer, by design.
    mConfigs[1]->getSettingsValue(V2_0::SettingsId::PRESENCE_CONFIG, mNoConnectionCb);
    ++mTally.sent;
    ++mTally.noConnection;
    mService.waitUntilIdle();
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
    // The modem asks for a token on one subscription; the listener of that
    // slot hears it (each listener keeps to its own slot) and the client answers.
    int sub = static_cast<int>(cycle % 2);
    testkit::CallCounts& notices = mListeners[sub]->tokenRequests;
    uint64_t notices0 = notices.total();
    std::string command = "token-request " + std::to_string(sub + 1) + " 1 2 " + std::to_string(mNextTokenId++);
    std::string reply;
    if (mService.modemControl(command, &reply)) {
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
    mService.waitUntilIdle();
    mTally.changeNotices += mChangeCb->changes.total() - changes0;
}

Snapshot Soak::snapshot(const char* name) {
    mService.waitUntilIdle();
    Snapshot s;
    s.name = name;
    s.figures = ProcessFigures::settled();
    s.figures.heapBytes = mService.heapInUse();
    s.retained = retainedFrom(mService.dump());
    if (mModem.embedded()) emulatorDocuments(mService, &s.emulatorDocuments, &s.emulatorDocumentBytes);
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
    rcsservice::HostModem modem;
    if (!mModem.embedded()) {
        unlink(mOpt.socket.c_str());
        if (!mModem.start()) {
            fprintf(stderr, "rcs-soak: mcx-modemd did not start\n");
            return 2;
        }
        modem = rcsservice::HostModem::daemon(mOpt.socket);
    }
    if (!mService.start(modem)) return 2;
    RetainedCosts costs;
    if (!RetainedCosts::fromSizes(mService.retainedSizes(), &costs)) {
        fprintf(stderr, "rcs-soak: the service did not report the sizes of what it keeps\n");
        return 2;
    }
    mListeners[0] = new Listener();
    mListeners[1] = new Listener();
    if (!mService.waitModem(true, 15000) || !createObjects()) {
        fprintf(stderr, "rcs-soak: the modem never came up\n");
        return 2;
    }
    auto start = Clock::now();
    auto limit = start + std::chrono::seconds(mOpt.timeLimitS);
    // A warm-up cycle without restart, so that first-use allocations do not
    // count as growth.
    workCycle(0);
    mLoad.send(std::min<long>(mOpt.requests, 200), mConfigs, mRecords);
    const uint64_t warmUpRequests = mLoad.sent();
    std::vector<Snapshot> snaps;
    snaps.push_back(snapshot("start"));

    long cycles = std::max<long>(mOpt.restarts, 1);
    long tenth = std::max<long>(cycles / 10, 1);
    bool timedOut = false;
    long loadDone = 0;
    auto lastProgress = start;
    for (long i = 0; i < cycles; ++i) {
        if (mOpt.progressS > 0 && Clock::now() - lastProgress >= std::chrono::seconds(mOpt.progressS)) {
            lastProgress = Clock::now();
            printProgress(i, cycles, start, limit);
        }
        if (Clock::now() >= limit) {
            timedOut = true;
            break;
        }
        if (mOpt.restarts > 0) restartCycle();
        workCycle(i + 1);
        long target = mOpt.requests * (i + 1) / cycles;
        mLoad.send(target - loadDone, mConfigs, mRecords);
        loadDone = target;
        if (mModem.restartIfCrashed()) ++mTally.daemonCrashes;
        if (i + 1 == tenth) snaps.push_back(snapshot("after 10%"));
    }
    snaps.push_back(snapshot("end"));
    RunSummary summary;
    summary.seconds = std::chrono::duration<double>(Clock::now() - start).count();
    summary.timedOut = timedOut;
    summary.loadRequests = mLoad.sent() - warmUpRequests;
    summary.warmUpRequests = warmUpRequests;
    summary.refusedTokensAnswered = mRefusedTokenCb->answers.total();
    summary.noConnectionAnswered = mNoConnectionCb->answers.total();
    int64_t nonRequired = printReport(mOpt, mTally, summary, snaps, costs);
    if (mOpt.keepAtExit) {
        // For heap profilers: whatever is still allocated now shows as "leaked".
        fflush(stdout);
        mModem.kill();
        _exit(0);
    }
    mConfigs[0] = nullptr;
    mConfigs[1] = nullptr;
    mService.stop();
    mModem.kill();
    const Snapshot& a = snaps.front();
    const Snapshot& b = snaps.back();
    std::string failures;
    if (mTally.unanswered != 0) failures += " unanswered requests;";
    if (mTally.daemonCrashes != 0) failures += " modem daemon crashes;";
    if (mTally.restartsNotSeen != 0 || mTally.reconfigsMissing != 0) failures += " restarts not seen or not notified;";
    if (b.figures.descriptors != a.figures.descriptors) failures += " descriptors grew;";
    if (b.figures.threads != a.figures.threads) failures += " threads grew;";
    if (nonRequired > kHeapNoiseBytes) failures += " heap grew beyond what the service keeps by design;";
    printf("verdict: %s%s\n", failures.empty() ? "PASS" : "FAIL:", failures.c_str());
    return failures.empty() ? 0 : 1;
}


}  // namespace

int runSoak(const Options& options) {
    Soak soak(options);
    return soak.run();
}

}  // namespace soak
