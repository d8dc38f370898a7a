/*
 * Host-only view of the wake locks of hardware_legacy/power.h, for tests.
 * Not part of the device interface: product code must not include it.
 *
 * The functions are safe to call from any thread.
 */
#ifndef HARDWARE_LEGACY_POWER_HOST_H
#define HARDWARE_LEGACY_POWER_HOST_H

#include <string>
#include <vector>

namespace power_host {

// Names of the wake locks this process holds, sorted.
std::vector<std::string> heldWakeLocks();

// True if this process holds the wake lock `id`.
bool isWakeLockHeld(const std::string& id);

// Number of successful acquire_wake_lock / release_wake_lock calls since the
// last reset, whatever the name; lets tests see that a lock was taken again.
int acquireCount();
int releaseCount();

// Makes the next acquire (release) fail with `err` as errno, once; 0 clears.
void failNextAcquire(int err);
void failNextRelease(int err);

// Redirects the kernel interface to `dir`/wake_lock and `dir`/wake_unlock
// (existing, writable files) so tests can see what would reach the kernel;
// an empty `dir` restores /sys/power. The in-memory state is dropped.
void useSysfsDir(const std::string& dir);

// True when lock changes are written to a kernel-style interface.
bool writesToSysfs();

// Forgets every held lock and the counters (the kernel is not told).
void reset();

}  // namespace power_host

#endif  // HARDWARE_LEGACY_POWER_HOST_H
