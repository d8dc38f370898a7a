/*
 * What a HAL object writes through IBase::debug(), read back as text, the
 * way `lshal debug` shows it, and the modem's state as the dump gives it.
 */
#ifndef VTS_HAL_DUMP_H
#define VTS_HAL_DUMP_H

#include <string>

#include <android/hidl/base/1.0/IBase.h>

namespace imsrcs_vts {

// Calls debug() on `object` without options (its dump) and returns what it
// wrote; empty with `*ok` false when the call failed. The test thread only.
std::string debugText(const ::android::sp<::android::hidl::base::V1_0::IBase>& object, bool* ok);

// Waits up to kCallbackWait for the factory's dump to report the modem's IMS
// settings service in a state starting with `wanted` ("up", or "up, carrier
// configuration accepted"); whether it did. `*seen` gets the last state
// line read, for the message of a case that cannot run. The test thread only.
bool waitForModemState(const ::android::sp<::android::hidl::base::V1_0::IBase>& factory,
                       const std::string& wanted, std::string* seen);

}  // namespace imsrcs_vts

#endif  // VTS_HAL_DUMP_H
