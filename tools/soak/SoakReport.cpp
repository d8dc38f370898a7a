// The printing of a soak run's figures and the heap growth judged on them.
#include "SoakReport.h"

#include <cstdio>

namespace soak {
namespace {

// Heap bytes that the objects the service keeps by design grew by between two snapshots.
int64_t requiredGrowth(const Snapshot& a, const Snapshot& b, const RetainedCosts& c) {
    return (b.retained.listBytes - a.retained.listBytes) +
           (b.retained.serviceObjects - a.retained.serviceObjects) * c.serviceObject +
           (b.retained.managerLinks - a.retained.managerLinks) * c.managerRecipient +
           (b.retained.callbackLinks - a.retained.callbackLinks) * c.callbackRecipient +
           (b.retained.wrappers - a.retained.wrappers) * c.wrapper +
           static_cast<int64_t>(b.restarts - a.restarts) * 2 * c.droppedClient;
}

}  // namespace

int64_t printReport(const Options& options, const Tally& tally, const RunSummary& run,
                     const std::vector<Snapshot>& snaps, const RetainedCosts& costs) {
    const Tally& t = tally;
    printf("rcs-soak: %s\n", options.modemd.empty() ? "embedded modem emulator (services down and up)"
                                                     : "mcx-modemd (killed with SIGKILL and started again)");
    printf("run: %llu restarts of %ld asked, %llu load requests of %ld asked (after a warm-up of %llu), "
           "%d threads x %d in flight, %.1f s%s\n",
           (unsigned long long)t.restarts, options.restarts, (unsigned long long)run.loadRequests,
           options.requests, (unsigned long long)run.warmUpRequests, options.threads, options.inflight,
           run.seconds, run.timedOut ? " (stopped by the time limit)" : "");
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
    printf("  ... of which answered anyway        %12llu\n", (unsigned long long)run.refusedTokensAnswered);
    printf("  no connection for the slot          %12llu  (no answer by design; a read on the old object\n"
           "                                                    between modem up and the new object)\n",
           (unsigned long long)t.noConnection.load());
    printf("  ... of which answered anyway        %12llu  (the new object's subscription came first)\n",
           (unsigned long long)run.noConnectionAnswered);
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
    if (options.modemd.empty()) {
        row("emulator documents", [](const Snapshot& s) { return s.emulatorDocuments; });
        row("emulator document bytes", [](const Snapshot& s) { return s.emulatorDocumentBytes; });
    }
    printf("retained by design, heap bytes each: service object %lld, manager link %lld, callback link %lld, "
           "wrapper %lld, settings client dropped by modemDown %lld (2 per restart)\n",
           (long long)costs.serviceObject, (long long)costs.managerRecipient,
           (long long)costs.callbackRecipient, (long long)costs.wrapper, (long long)costs.droppedClient);
    // `judged`: the figure the verdict holds against kHeapNoiseBytes.
    auto growth = [&](const Snapshot& a, const Snapshot& b, bool judged) {
        double restarts = static_cast<double>(b.restarts - a.restarts);
        double kreq = static_cast<double>(b.requests - a.requests) / 1000.0;
        int64_t heap = b.figures.heapBytes - a.figures.heapBytes;
        int64_t required = requiredGrowth(a, b, costs);
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
        printf("  heap growth nothing requires %+lld bytes: %.0f per restart, %.0f per 1,000 requests ",
               (long long)own, restarts > 0 ? own / restarts : 0.0, kreq > 0 ? own / kreq : 0.0);
        if (judged) {
            printf("(judged: must be at most %lld bytes, allocator noise)\n", (long long)kHeapNoiseBytes);
        } else {
            printf("(not judged: includes what the first 10%% of the run allocates once)\n");
        }
        printf("  RSS per restart %.1f kB, per 1,000 requests %.1f kB\n",
               restarts > 0 ? (b.figures.rssKb - a.figures.rssKb) / restarts : 0.0,
               kreq > 0 ? (b.figures.rssKb - a.figures.rssKb) / kreq : 0.0);
        return own;
    };
    if (snaps.front().figures.heapBytes == 0) {
        // A sanitizer's allocator does not report to mallinfo2.
        printf("heap figures not available in this build (the allocator reports no heap use)\n");
        return 0;
    }
    // Judged on the steady part of the run (after 10% of the cycles), where
    // first-use allocations and the emulator's bounded request log are
    // behind; the embedded emulator's documents are the modem's memory, shown
    // above but not the service's.
    const bool steadyPart = snaps.size() == 3;
    int64_t nonRequired = growth(snaps.front(), snaps.back(), !steadyPart);
    if (steadyPart) nonRequired = growth(snaps[1], snaps[2], true);
    return nonRequired;
}


}  // namespace soak
