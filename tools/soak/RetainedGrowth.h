/*
 * What the service keeps by design as a run goes on, and what it costs: the
 * counts read from the service dump (service objects, death links, callback
 * wrappers) and the allocator's size for each kind of retained object.
 */
#ifndef SOAK_RETAINED_GROWTH_H
#define SOAK_RETAINED_GROWTH_H

#include <malloc.h>

#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>

namespace soak {

// Heap bytes that the service keeps by design per retained object: the sizes
// of its objects as the service reports them, as blocks of this process's
// allocator (the service's own).
struct RetainedCosts {
    // The allocator's footprint of a block of `bytes`: its usable size plus the
    // chunk header, measured on a real block.
    static int64_t chunk(size_t bytes) {
        void* p = malloc(bytes);
        int64_t size = static_cast<int64_t>(malloc_usable_size(p)) + static_cast<int64_t>(sizeof(size_t));
        free(p);
        return size;
    }
    // RefBase's side allocation (counts and flags) that every reference-counted object has.
    static constexpr int64_t kRefSide = 32;

    int64_t callbackRecipient = 0;  // RcsConfig's death recipient (its list entry: listBlock)
    int64_t managerRecipient = 0;   // the manager's recipient per creation
    int64_t serviceObject = 0;      // one RcsConfig
    int64_t wrapper = 0;            // one listener wrapper + its map node
    int64_t droppedClient = 0;      // settings client object dropped by modemDown

    // The costs for the service's "retained-sizes" answer (size by kind);
    // false when a kind is missing. Any thread.
    static bool fromSizes(const std::map<std::string, int64_t>& sizes, RetainedCosts* costs);
};

// Counts read from the service's dump.
struct Retained {
    int64_t listBytes = 0;  // the lists holding the recipients and service objects
    int64_t serviceObjects = 0;
    int64_t managerLinks = 0;
    int64_t callbackLinks = 0;
    int64_t wrappers = 0;
};


// The block a std::vector of `n` pointers filled by push_back holds.
int64_t listBlock(int64_t n);

// The retained counts in a service dump.
Retained retainedFrom(const std::string& dump);

}  // namespace soak

#endif  // SOAK_RETAINED_GROWTH_H
