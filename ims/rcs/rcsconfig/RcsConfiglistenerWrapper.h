/*
 * RcsConfigListenerWrapper: the manager's handle on one client's RCS
 * configuration listener, hiding whether the client gave a 2.0 or a 2.1
 * listener. The listener is kept as a 2.0 reference; the 2.1 method is only
 * reached for a listener that came in through createRcsConfig_1_1.
 *
 * No lock and no mutable state after construction: the methods may be called
 * from any of the manager's threads.
 */
#ifndef RCS_CONFIG_LISTENER_WRAPPER_H
#define RCS_CONFIG_LISTENER_WRAPPER_H

#include <cstdint>

#include <android/hidl/base/1.0/IBase.h>
#include <vendor/kel/ims/rcsconfig/2.0/IRcsConfigListener.h>
#include <vendor/kel/ims/rcsconfig/2.1/IRcsConfigListener.h>
#include <vendor/kel/ims/rcsconfig/2.1/types.h>

class RcsConfigListenerWrapper {
public:
    // `version`: 0 for a listener of createRcsConfig (2.0), 1 for one of
    // createRcsConfig_1_1 (2.1). A listener that is empty or not a 2.0
    // listener is kept as empty, and every call on it is skipped with a log line.
    RcsConfigListenerWrapper(android::sp<android::hidl::base::V1_0::IBase> listener, uint8_t version,
                             int slotId);
    ~RcsConfigListenerWrapper();
    RcsConfigListenerWrapper(const RcsConfigListenerWrapper&) = delete;
    RcsConfigListenerWrapper& operator=(const RcsConfigListenerWrapper&) = delete;

    // Tells the client the RCS configuration must be fetched again, whatever
    // its version and slot. A transport failure (dead client) is only logged.
    void onReconfigNeeded();

    // Asks a 2.1 client registered for `slotId` for an application token;
    // 2.0 clients and clients of the other slot are skipped silently. The
    // enumerations pass through unchanged.
    void onTokenFetchRequest(int32_t requestId, vendor::kel::ims::rcsconfig::V2_1::TokenType tokenType,
                             vendor::kel::ims::rcsconfig::V2_1::TokenRequestReason reason, int32_t slotId);

    // What the listener was filed with, for the service dump. Any thread.
    uint8_t version() const { return mVersion; }
    // The client's listener object itself.
    android::sp<android::hidl::base::V1_0::IBase> listener() const { return mListener; }
    int32_t slotId() const { return mSlotId; }

private:
    android::sp<vendor::kel::ims::rcsconfig::V2_0::IRcsConfigListener> mListener;
    uint8_t mVersion;
    int32_t mSlotId;
};

#endif  // RCS_CONFIG_LISTENER_WRAPPER_H
