#include "rcsconfig/RcsConfiglistenerWrapper.h"

#include <cstdint>

#include "imsservice/ImsLog.h"

using android::sp;
using android::hardware::Return;
namespace V2_0 = vendor::kel::ims::rcsconfig::V2_0;
namespace V2_1 = vendor::kel::ims::rcsconfig::V2_1;

namespace {
const char* outcome(const Return<void>& ret) {
    return ret.isOk() ? "success" : "fail";
}
}  // namespace

RcsConfigListenerWrapper::RcsConfigListenerWrapper(sp<android::hidl::base::V1_0::IBase> listener,
                                                   uint8_t version, int slotId)
    : mListener(V2_0::IRcsConfigListener::castFrom(listener, false).withDefault(nullptr)),
      mVersion(version),
      mSlotId(slotId) {}

RcsConfigListenerWrapper::~RcsConfigListenerWrapper() {
    mListener = nullptr;
}

void RcsConfigListenerWrapper::onReconfigNeeded() {
    unsigned int self = static_cast<unsigned int>(reinterpret_cast<uintptr_t>(this));
    if (mListener == nullptr) {
        // The 1.0 factory lets an empty listener through, and a cast can fail.
        IMS_LOG("[x%x] No listener, onReconfigNeeded not sent", self);
        return;
    }
    Return<void> ret = mListener->onReconfigNeeded();
    IMS_LOG("[x%x] Call onReconfigNeeded with status %s", self, outcome(ret));
}

void RcsConfigListenerWrapper::onTokenFetchRequest(int32_t requestId, V2_1::TokenType tokenType,
                                                   V2_1::TokenRequestReason reason, int32_t slotId) {
    if (mVersion != 1 || mSlotId != slotId) {
        return;
    }
    unsigned int self = static_cast<unsigned int>(reinterpret_cast<uintptr_t>(this));
    sp<V2_1::IRcsConfigListener> listener =
            V2_1::IRcsConfigListener::castFrom(mListener, false).withDefault(nullptr);
    if (listener == nullptr) {
        // The cast fails for a dead client too; that is a failed call, not a
        // listener of the wrong version.
        if (mListener != nullptr && !mListener->ping().isOk()) {
            IMS_LOG("[x%x] Call onTokenFetchRequest with status %s", self, "fail");
            return;
        }
        IMS_LOG("[x%x] No 2.1 listener, onTokenFetchRequest not sent", self);
        return;
    }
    Return<void> ret = listener->onTokenFetchRequest(requestId, tokenType, reason);
    IMS_LOG("[x%x] Call onTokenFetchRequest with status %s", self, outcome(ret));
}
