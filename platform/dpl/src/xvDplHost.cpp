// Workstation stand-in of the IMS platform layer's RCS service query.
#include <atomic>

#include "xvDpl.h"
#include "xvDplHost.h"

namespace {
std::atomic<uint32_t> gSupportedMask{XV_DPL_RCS_SERVICE_BASE | XV_DPL_RCS_SERVICE_PRESENCE |
                                     XV_DPL_RCS_SERVICE_OPTIONS};
}  // namespace

extern "C" uint32_t xvDplgetSupportedRcsService(void* /*context*/) {
    return gSupportedMask.load(std::memory_order_relaxed);
}

extern "C" void xvDplHostSetSupportedRcsServiceMask(uint32_t mask) {
    gSupportedMask.store(mask, std::memory_order_relaxed);
}

extern "C" uint32_t xvDplHostGetSupportedRcsServiceMask(void) {
    return gSupportedMask.load(std::memory_order_relaxed);
}
