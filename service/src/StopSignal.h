/*
 * StopSignal: how a service process learns that it should stop. init stops a
 * HAL service with SIGTERM (a terminal user with SIGINT); the process blocks
 * both for every thread before it starts any, and one thread takes them with
 * wait(), so the stop sequence runs on an ordinary thread rather than in a
 * signal handler.
 */
#ifndef SERVICE_STOP_SIGNAL_H
#define SERVICE_STOP_SIGNAL_H

#include <signal.h>

namespace rcsservice {

class StopSignal {
public:
    // Blocks SIGTERM and SIGINT for the calling thread and every thread it
    // starts afterwards. Construct in main before any other thread exists.
    StopSignal();
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;

    // Blocks until SIGTERM or SIGINT arrives; returns the signal number.
    // The thread that constructed the object.
    int wait();

private:
    sigset_t mSignals;
};

}  // namespace rcsservice

#endif  // SERVICE_STOP_SIGNAL_H
