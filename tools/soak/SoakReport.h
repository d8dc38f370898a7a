/*
 * What a soak run reports: the tally of requests and modem events, the
 * process figures taken at a few points of the run, and the printing of both,
 * where the heap growth the service keeps by design is set apart from the
 * growth nothing requires. The run counts and takes the snapshots; the
 * reading of the figures is kept here, next to the lines that show them.
 */
#ifndef SOAK_SOAK_REPORT_H
#define SOAK_SOAK_REPORT_H

#include <atomic>
#include <cstdint>
#include <vector>

#include "ProcessFigures.h"
#include "RetainedGrowth.h"
#include "SoakRun.h"

namespace soak {

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

// The figures at one point of the run.
struct Snapshot {
    const char* name;
    ProcessFigures figures;
    Retained retained;
    int64_t emulatorDocuments = 0;      // documents the in-process modem emulator holds
    int64_t emulatorDocumentBytes = 0;  // ... and their bytes
    uint64_t restarts;
    uint64_t requests;
};

// What the run did besides the tally.
struct RunSummary {
    double seconds = 0;
    bool timedOut = false;         // stopped by the time limit
    uint64_t loadRequests = 0;     // from the load threads, after the warm-up
    uint64_t warmUpRequests = 0;
    uint64_t refusedTokensAnswered = 0;  // setAppToken refused while the modem was down, answered anyway
    uint64_t noConnectionAnswered = 0;   // reads on a slot without a connection, answered anyway
};

// Allocator noise allowed on the heap figure: free lists and thread caches
// of a busy allocator move by a few pages.
constexpr int64_t kHeapNoiseBytes = 256 * 1024;

// Prints the figures of a run (`snaps` in order: start, after 10% when there
// was such a point, end). Returns the heap growth nothing requires on the
// steady part of the run (after 10% of the cycles when that snapshot exists),
// 0 when the allocator reports no heap use.
int64_t printReport(const Options& options, const Tally& tally, const RunSummary& run,
                     const std::vector<Snapshot>& snaps, const RetainedCosts& costs);

}  // namespace soak

#endif  // SOAK_SOAK_REPORT_H
