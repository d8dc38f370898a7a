/*
 * The requests the soak driver sends in its cycles: the settings records it
 * writes, and a batch of requests whose answers it waits for and counts into
 * the tally (kept here so the restart and work cycles count alike).
 */
#ifndef SOAK_SOAK_REQUESTS_H
#define SOAK_SOAK_REQUESTS_H

#include <chrono>
#include <cstdint>
#include <vector>

#include "SoakClients.h"
#include "SoakReport.h"

namespace soak {

// Sends `n` requests through `send` to one callback object and waits for
// their answers; adds the outcome to the tally. `modemUp` tells how a FAIL
// counts.
template <typename Send>
void promisedBatch(Tally& t, testkit::CallCounts& answers, int n, bool modemUp, int timeoutMs, Send send) {
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
// the main job's session). Exits with status 2 when one does not parse.
std::vector<V2_0::SettingsData> settingsRecords();

}  // namespace soak

#endif  // SOAK_SOAK_REQUESTS_H
