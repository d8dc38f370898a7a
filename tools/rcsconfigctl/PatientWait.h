/*
 * PatientWait: a wait of the client's, taken a step at a time. After a
 * second it says on stderr what it waits for and for how long; a stop
 * (Ctrl-C, SIGTERM: a Stop notice) ends it at once.
 */
#ifndef RCSCONFIGCTL_PATIENT_WAIT_H
#define RCSCONFIGCTL_PATIENT_WAIT_H

#include <chrono>
#include <cstdio>
#include <string>
#include <utility>

#include "NoticeQueue.h"

namespace rcsctl {

class PatientWait {
public:
    PatientWait(NoticeQueue& notices, std::chrono::milliseconds timeout, std::string what)
        : mNotices(notices), mTimeout(timeout), mWhat(std::move(what)) {}

    // Until `done` (which may block up to the step it is given) is true, the
    // time-out passes or a stop comes (then the queue's stopped()). Main thread.
    template <typename Done>
    bool until(Done done) {
        constexpr std::chrono::milliseconds kStep(200);
        const auto started = std::chrono::steady_clock::now();
        const auto deadline = started + mTimeout;
        bool told = false;
        for (;;) {
            if (done(kStep)) return true;
            if (mNotices.stopped()) return false;
            const auto now = std::chrono::steady_clock::now();
            if (now >= deadline) return false;
            if (!told && now - started >= std::chrono::seconds(1)) {
                std::fprintf(stderr, "rcsconfigctl: waiting up to %lld s for %s\n",
                             static_cast<long long>(mTimeout.count() / 1000), mWhat.c_str());
                told = true;
            }
        }
    }

private:
    NoticeQueue& mNotices;
    const std::chrono::milliseconds mTimeout;
    const std::string mWhat;
};

}  // namespace rcsctl

#endif  // RCSCONFIGCTL_PATIENT_WAIT_H
