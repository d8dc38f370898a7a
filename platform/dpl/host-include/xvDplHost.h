/*
 * Host-only control of the platform-layer stand-in: on a workstation there is
 * no IMS platform layer, so tests and the command-line client set the mask
 * that xvDplgetSupportedRcsService reports. Not available on a device.
 */
#ifndef XV_DPL_HOST_H
#define XV_DPL_HOST_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Sets the mask reported from now on; any thread. Default: 0xD (all services). */
void xvDplHostSetSupportedRcsServiceMask(uint32_t mask);

/* Returns the mask currently reported; any thread. */
uint32_t xvDplHostGetSupportedRcsServiceMask(void);

#ifdef __cplusplus
}
#endif

#endif /* XV_DPL_HOST_H */
