/*
 * Wake locks, as the device's power HAL offers them to native code.
 *
 * A held wake lock keeps the device from suspending. Locks are named; taking a
 * name that is already held keeps it held (no counting), releasing a name that
 * is not held fails.
 */
#ifndef HARDWARE_LEGACY_POWER_H
#define HARDWARE_LEGACY_POWER_H

#ifdef __cplusplus
extern "C" {
#endif

enum {
    PARTIAL_WAKE_LOCK = 1,  // the CPU stays on; screen and keys may go off
    FULL_WAKE_LOCK = 2,     // kept for source compatibility; treated like a partial lock
};

/*
 * Takes the wake lock `id`. Returns a value >= 0 on success, -1 on failure
 * with errno set (EINVAL for a null/empty id or an unknown lock type, or the
 * error of the kernel interface). Any thread.
 */
int acquire_wake_lock(int lock, const char* id);

/*
 * Releases the wake lock `id`. Returns a value >= 0 on success, -1 on failure
 * with errno set (EINVAL when `id` is null or not held). Any thread.
 */
int release_wake_lock(const char* id);

#ifdef __cplusplus
}
#endif

#endif  // HARDWARE_LEGACY_POWER_H
