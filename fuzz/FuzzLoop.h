// The settings client's loop for the targets that run it in-process: the
// fuzzing thread is the loop thread and runs its passes itself.
#ifndef FUZZ_FUZZ_LOOP_H
#define FUZZ_FUZZ_LOOP_H

#include <chrono>
#include <functional>

#include "imsservice/ITimerMonitor.h"
#include "imsservice/ImsCom.h"
#include "imsservice/ImsTimer.h"

namespace fuzzsupport {

class FuzzLoop : public ITimerMonitor {
public:
    explicit FuzzLoop(ImsCom& com) : com(com) {}
    // The loop recomputes its time-out on every pass: nothing to wake.
    void nextEventChanged() override {}

    // Runs passes until `done` holds; false when it still does not after 20 s.
    bool runUntil(const std::function<bool()>& done) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!done()) {
            if (std::chrono::steady_clock::now() > deadline) return false;
            com.processEvents(20, timer);
        }
        return true;
    }

    // Serves whatever is ready now, without waiting.
    void drain() {
        for (int pass = 0; pass < 64 && com.hasReadyDescriptors(); ++pass) com.processEvents(0, timer);
    }

    ImsCom& com;
    ImsTimer timer{this};
};

}  // namespace fuzzsupport

#endif  // FUZZ_FUZZ_LOOP_H
