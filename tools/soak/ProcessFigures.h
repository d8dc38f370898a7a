/*
 * ProcessFigures: what a long run of this process costs, read from /proc and
 * from the allocator: resident memory, open descriptors, threads and the heap
 * bytes in use.
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
    int64_t heapBytes = 0;   // bytes handed out by malloc and not freed, all arenas

    // The figures now. Any thread.
    static ProcessFigures now();
    // The figures once the thread count has stopped changing (detached request
    // workers that have answered still need a moment to end), at most
    // `maxWaitMs` later. Any thread.
    static ProcessFigures settled(int maxWaitMs = 3000);
};

// Heap bytes in use now (all arenas). Any thread.
int64_t heapInUse();

}  // namespace soak

#endif  // SOAK_PROCESS_FIGURES_H
