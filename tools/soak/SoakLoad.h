/*
 * The load of a soak run: client threads that each keep a window of requests
 * in flight on both slots (settings written, settings read, tokens set) and
 * count the answers into the run's tally. Apart from the cycles, which the
 * driver thread runs one request batch at a time.
 */
#ifndef SOAK_SOAK_LOAD_H
#define SOAK_SOAK_LOAD_H

#include <cstdint>
#include <vector>

#include <vendor/kel/ims/rcsconfig/2.1/IRcsConfig.h>

#include "SoakClients.h"
#include "SoakReport.h"
#include "SoakRun.h"

namespace soak {

class LoadThreads {
public:
    LoadThreads(const Options& options, Tally& tally) : mOpt(options), mTally(tally) {}
    LoadThreads(const LoadThreads&) = delete;
    LoadThreads& operator=(const LoadThreads&) = delete;

    // `count` requests from the load threads (options.threads of them, the
    // count shared out evenly), each keeping its window in flight, on
    // `configs` with the settings `records`. Returns once every thread is
    // done. Driver thread.
    void send(long count, const android::sp<V2_1::IRcsConfig> (&configs)[2],
              const std::vector<V2_0::SettingsData>& records);
    // Requests sent so far. Driver thread.
    uint64_t sent() const { return mSent; }

private:
    struct Callbacks {
        android::sp<SetCb> set;
        android::sp<GetCb> get;
        android::sp<SetCb> token;
    };

    const Options mOpt;
    Tally& mTally;
    std::vector<Callbacks> mCallbacks;  // one set per load thread, driver thread only
    uint64_t mSent = 0;
};

}  // namespace soak

#endif  // SOAK_SOAK_LOAD_H
