/*
 * IMS platform-layer queries used by the RCS configuration library.
 */
#ifndef XV_DPL_H
#define XV_DPL_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* RCS services the platform supports, one bit each. */
#define XV_DPL_RCS_SERVICE_BASE 0x1u      /* RCS itself is available */
#define XV_DPL_RCS_SERVICE_PRESENCE 0x4u  /* presence-based capability exchange */
#define XV_DPL_RCS_SERVICE_OPTIONS 0x8u   /* SIP OPTIONS capability exchange */

/* Returns the bit mask of the RCS services the platform supports. `context`
 * is the caller's status record; the platform may fill it but need not. */
uint32_t xvDplgetSupportedRcsService(void* context);

#ifdef __cplusplus
}
#endif

#endif /* XV_DPL_H */
