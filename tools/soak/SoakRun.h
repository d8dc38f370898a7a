/*
 * One soak run of the RCS configuration service inside this process (see
 * main.cpp for what a cycle does and how requests are counted).
 */
#ifndef SOAK_SOAK_RUN_H
#define SOAK_SOAK_RUN_H

#include <string>

namespace soak {

struct Options {
    long restarts = 1000;
    long requests = 100000;
    int threads = 4;
    int inflight = 8;      // requests each load thread keeps in flight
    long timeLimitS = 3600;
    int answerTimeoutMs = 15000;
    std::string document = "tools/rcsconfigctl/sessions/operator-autoconfig.xml";
    std::string modemd;    // mcx-modemd binary: daemon mode
    std::string socket;
    bool keepAtExit = false;  // leave at once after the figures: a heap profiler then sees what lived
    int progressS = 10;       // a progress line on stderr this often; 0: none
};

// Runs the soak and prints its figures; the process exit status (0 nothing
// unanswered, no crash, no growth beyond what the service keeps by design;
// 1 otherwise; 2 when the run could not start). Main thread.
int runSoak(const Options& options);

}  // namespace soak

#endif  // SOAK_SOAK_RUN_H
