// The load threads of a soak run.
#include "SoakLoad.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace soak {

using android::sp;

void LoadThreads::send(long count, const sp<V2_1::IRcsConfig> (&configs)[2],
                       const std::vector<V2_0::SettingsData>& records) {
    if (count <= 0) return;
    std::vector<std::thread> threads;
    const int n = mOpt.threads;
    while (mCallbacks.size() < static_cast<size_t>(n)) {
        mCallbacks.push_back(Callbacks{new SetCb(), new GetCb(), new SetCb()});
    }
    for (int t = 0; t < n; ++t) {
        long share = count / n + (t < count % n ? 1 : 0);
        threads.emplace_back([this, t, share, &configs, &records] {
            // Callback objects of this client thread, kept for the whole run as a
            // client keeps its own (the service holds each one it was given).
            sp<SetCb> setCb = mCallbacks[t].set;
            sp<GetCb> getCb = mCallbacks[t].get;
            sp<SetCb> tokenCb = mCallbacks[t].token;
            long done = 0;
            while (done < share) {
                int window = static_cast<int>(std::min<long>(mOpt.inflight, share - done));
                int sets = 0, gets = 0, tokens = 0;
                uint64_t s0 = setCb->answers.total(), g0 = getCb->answers.total(),
                         k0 = tokenCb->answers.total();
                uint64_t so = setCb->answers.ok(), go = getCb->answers.ok(), ko = tokenCb->answers.ok();
                for (int i = 0; i < window; ++i) {
                    long k = done + i + t;
                    sp<V2_1::IRcsConfig> c = configs[k % 2];
                    switch (k % 3) {
                        case 0: c->setSettingsValue(records[(k / 3) % 4], setCb); ++sets; break;
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
    mSent += static_cast<uint64_t>(count);
}

}  // namespace soak
