/*
 * ProcessFigures: what a long run of this process costs: resident memory,
 * open descriptors and threads read from /proc, and the heap bytes in use as
 * the service reports them.
 */
#ifndef SOAK_PROCESS_FIGURES_H
#define SOAK_PROCESS_FIGURES_H

#include <cstddef>
#include <cstdint>

namespace soak {

struct ProcessFigures {
    int64_t rssKb = 0;       // VmRSS
    int64_t descriptors = 0; // entries of /proc/self/fd
    int64_t threads = 0;     // Threads of /proc/self/status
    int64_t heapBytes = 0;   // bytes handed out by malloc and not freed, all arenas (the caller's to fill)

    // The figures read from /proc now. Any thread.
    static ProcessFigures now();
    // The figures once the thread count has stopped changing (detached request
    // workers that have answered still need a moment to end), at most
    // `maxWaitMs` later. Any thread.
    static ProcessFigures settled(int maxWaitMs = 3000);
};

}  // namespace soak

#endif  // SOAK_PROCESS_FIGURES_H
