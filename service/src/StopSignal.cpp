#include "StopSignal.h"

#include <pthread.h>

namespace rcsservice {

StopSignal::StopSignal() {
    sigemptyset(&mSignals);
    sigaddset(&mSignals, SIGTERM);
    sigaddset(&mSignals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &mSignals, nullptr);
}

int StopSignal::wait() {
    int received = 0;
    while (sigwait(&mSignals, &received) != 0) {
    }
    return received;
}

}  // namespace rcsservice
