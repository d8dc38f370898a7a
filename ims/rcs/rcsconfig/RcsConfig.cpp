#include "rcsconfig/RcsConfig.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>

#include "imsservice/ImsLog.h"
#include "rcsconfig/RcsConfigManager.h"
#include "xvDpl.h"

using android::sp;
using android::wp;
using android::hardware::hidl_string;
using android::hardware::Return;
using android::hardware::Void;
using android::hidl::base::V1_0::IBase;
using vendor::kel::ims::rcsconfig::V2_0::UceStatus;

namespace {

// Platform mask bits; each capability-exchange method needs RCS itself too.
constexpr uint32_t kPresenceMask = 0x1 | 0x4;
constexpr uint32_t kOptionsMask = 0x1 | 0x8;

template <typename T>
const char* outcome(const Return<T>& ret) {
    return ret.isOk() ? "success" : "fail";
}

template <typename T>
uint64_t keyOf(const sp<T>& callback) {
    return static_cast<uint64_t>(reinterpret_cast<uintptr_t>(callback.get()));
}

// Log lines print keys and addresses with %x.
unsigned int hex32(uint64_t value) {
    return static_cast<unsigned int>(value);
}

template <typename T>
unsigned int hex32(const T* object) {
    return static_cast<unsigned int>(reinterpret_cast<uintptr_t>(object));
}

}  // namespace

// ---- wrappers

void RcsConfig::SetConfigListenerWrapper::setRcsConfigListener(const sp<ISetConfigCb>& listener) {
    mListener = listener;
}

void RcsConfig::SetConfigListenerWrapper::setConfigCb(bool ok) {
    if (mListener == nullptr) {
        IMS_LOG("mListener is null");
        return;
    }
    IMS_LOG("RcsConfig Call to setConfig callback %x", hex32(this));
    if (ok) {
        Return<void> ret = mListener->setConfigResponse(RequestStatus::OK);
        IMS_LOG("RcsConfig Call to setConfigResponse with OK resulted in %s", outcome(ret));
    } else {
        Return<void> ret = mListener->setConfigResponse(RequestStatus::FAIL);
        IMS_LOG("RcsConfig Call to setConfigResponse with FAIL resulted in %s", outcome(ret));
    }
}

void RcsConfig::GetConfigListenerWrapper::getRcsSettingsListener(const sp<IGetSettingsCb>& listener) {
    mGetRcsSettingsListener = listener;
}

void RcsConfig::GetConfigListenerWrapper::getRcsManagerObject(RcsConfigManager* manager) {
    mManager = manager;
}

void RcsConfig::GetConfigListenerWrapper::getRcsSettingsCb(int responseType, void* response) {
    if (mGetRcsSettingsListener == nullptr) {
        IMS_LOG("mGetRcsSettingsListener is null");
        return;
    }
    SettingsData settingsData{};
    if (response == nullptr ||
        !RcsConfigManager::convertResponseToHidlStruct(responseType, response, &settingsData, false)) {
        Return<void> ret = mGetRcsSettingsListener->getSettingsResponse(RequestStatus::FAIL, settingsData);
        IMS_LOG("Sent response for getSettingsValue failure resulted in %s", outcome(ret));
    } else {
        Return<void> ret = mGetRcsSettingsListener->getSettingsResponse(RequestStatus::OK, settingsData);
        IMS_LOG("Sent response for getSettingsValue success resulted in %s", outcome(ret));
    }
}

void RcsConfig::GetUpdatedSettingsListenerWrapper::getUpdatedSettingsListener(
        const sp<ISettingsChangeCb>& listener) {
    mGetUpdatedSettingsListener = listener;
}

void RcsConfig::GetUpdatedSettingsListenerWrapper::getRcsManagerObject(RcsConfigManager* manager) {
    mManager = manager;
}

void RcsConfig::GetUpdatedSettingsListenerWrapper::getUpdatedSettingsCb(int responseType, void* response) {
    if (mGetUpdatedSettingsListener == nullptr) {
        IMS_LOG("mGetUpdatedSettingsListener is null");
        return;
    }
    SettingsData settingsData{};
    IMS_LOG("Sending response via getUpdatedSettingsCb");
    // The client gets a record either way; only the log tells a failed
    // conversion (or a refused registration) apart.
    if (response == nullptr ||
        !RcsConfigManager::convertResponseToHidlStruct(responseType, response, &settingsData, true)) {
        Return<void> ret = mGetUpdatedSettingsListener->onSettingsChanged(settingsData);
        IMS_LOG("Sent response for registerForSettingsChange fail,callback register resulted in %s",
                outcome(ret));
    } else {
        Return<void> ret = mGetUpdatedSettingsListener->onSettingsChanged(settingsData);
        IMS_LOG("Sent response for registerForSettingsChange success,callback register resulted in %s",
                outcome(ret));
    }
}

// ---- death of a client's callback object

void RcsConfig::DeathRecipientListener::serviceDied(uint64_t cookie, const wp<IBase>& who) {
    // clientDied drops the owner's reference to this recipient.
    sp<DeathRecipientListener> self(this);
    sp<RcsConfig> owner = mOwner.promote();
    IMS_LOG("service died. cookie:%d, who: %p", static_cast<int>(cookie),
            static_cast<void*>(who.unsafe_get()));
    if (owner != nullptr) owner->clientDied(cookie, this);
    // A UCE-status listener is never unlinked; its link is gone with the client anyway.
    if (mSetConfigCb != nullptr) {
        mSetConfigCb->unlinkToDeath(self).isOk();
    } else if (mGetSettingsCb != nullptr) {
        mGetSettingsCb->unlinkToDeath(self).isOk();
    } else if (mSettingsChangeCb != nullptr) {
        mSettingsChangeCb->unlinkToDeath(self).isOk();
    }
}

void RcsConfig::clientDied(uint64_t cookie, DeathRecipientListener* recipient) {
    IMS_LOG("RcsConfig client died. cookie:%llu, ", static_cast<unsigned long long>(cookie));
    android::Mutex::Autolock guard(mLock);
    auto drop = [recipient](std::vector<sp<DeathRecipientListener>>& list) {
        list.erase(std::remove_if(list.begin(), list.end(),
                                  [recipient](const sp<DeathRecipientListener>& r) {
                                      return r.get() == recipient;
                                  }),
                   list.end());
    };
    if (recipient->mSetConfigCb != nullptr) {
        drop(mSetConfigRecipients);
        mSetConfigWrappers.erase(cookie);
    } else if (recipient->mGetSettingsCb != nullptr) {
        drop(mGetSettingsRecipients);
        mGetConfigWrappers.erase(cookie);
    } else if (recipient->mSettingsChangeCb != nullptr) {
        drop(mSettingsChangeRecipients);
        mSettingsChangeWrappers.erase(cookie);
    }
    // A UCE-status recipient matches none of these and stays filed until the
    // object goes away.
}

// ---- the service object

RcsConfig::RcsConfig(RcsConfigManager& manager, int slotId) : mManager(manager), mSlotId(slotId) {}

RcsConfig::~RcsConfig() = default;

template <typename Callback, typename Wrapper>
bool RcsConfig::fileWrapper(const sp<Callback>& cb, sp<Callback> DeathRecipientListener::*kind,
                            Recipients RcsConfig::*recipients,
                            std::map<uint64_t, std::shared_ptr<Wrapper>> RcsConfig::*wrappers,
                            const std::shared_ptr<Wrapper>& wrapper, KeyLine keyLine) {
    if (cb == nullptr) {
        // Nothing to link or file: the answer is dropped by the wrapper.
        IMS_LOG("RcsConfig request without a callback object");
        return false;
    }
    sp<DeathRecipientListener> recipient = new DeathRecipientListener(this);
    recipient.get()->*kind = cb;
    const uint64_t key = keyOf(cb);
    // Not checked: a client that is already dead shows when it is called.
    cb->linkToDeath(recipient, key).isOk();
    {
        // Requests of several client threads, a death notice and the dump meet here.
        android::Mutex::Autolock guard(mLock);
        (this->*recipients).push_back(recipient);
        if (wrappers != nullptr) (this->*wrappers)[key] = wrapper;
    }
    if (keyLine == KeyLine::kShort) {
        IMS_LOG("storing listener wrapper key %x", hex32(key));
    } else if (keyLine == KeyLine::kRcsConfig) {
        IMS_LOG("RcsConfig storing listener wrapper key %x", hex32(key));
    }
    return true;
}

std::function<void(bool)> RcsConfig::fileSetConfigCb(const sp<ISetConfigCb>& cb, bool forToken) {
    auto wrapper = std::make_shared<SetConfigListenerWrapper>();
    wrapper->setRcsConfigListener(cb);
    fileWrapper(cb, &DeathRecipientListener::mSetConfigCb, &RcsConfig::mSetConfigRecipients,
                &RcsConfig::mSetConfigWrappers, wrapper, forToken ? KeyLine::kShort : KeyLine::kRcsConfig);
    // The bound copy keeps the wrapper (and the callback) alive on its own.
    return std::bind(&SetConfigListenerWrapper::setConfigCb, wrapper, std::placeholders::_1);
}

Return<void> RcsConfig::setConfig(const Container& config, const sp<ISetConfigCb>& cb) {
    IMS_LOG("RcsConfig got setConfig request");
    std::function<void(bool)> done = fileSetConfigCb(cb, false);
    // The manager reads the document later, on its loop thread.
    auto document = std::make_shared<Container>(config);
    mManager.setRcsConfig(done, mSlotId, *document, document);
    return Void();
}

Return<void> RcsConfig::setSettingsValue(const SettingsData& settingsData, const sp<ISetConfigCb>& cb) {
    IMS_LOG("RcsConfig got setSettingsValue request");
    std::function<void(bool)> done = fileSetConfigCb(cb, false);
    auto values = std::make_shared<SettingsData>(settingsData);
    mManager.setRcsSettings(done, mSlotId, *values, values);
    return Void();
}

Return<void> RcsConfig::getSettingsValue(SettingsId settingsId, const sp<IGetSettingsCb>& cb) {
    IMS_LOG("RcsConfig got getSettingsValue request %d", static_cast<int>(settingsId));
    auto wrapper = std::make_shared<GetConfigListenerWrapper>();
    wrapper->getRcsSettingsListener(cb);
    wrapper->getRcsManagerObject(&mManager);
    fileWrapper(cb, &DeathRecipientListener::mGetSettingsCb, &RcsConfig::mGetSettingsRecipients,
                &RcsConfig::mGetConfigWrappers, wrapper, KeyLine::kRcsConfig);
    mManager.getRcsSettings(std::bind(&GetConfigListenerWrapper::getRcsSettingsCb, wrapper,
                                      std::placeholders::_1, std::placeholders::_2),
                            mSlotId, settingsId);
    return Void();
}

Return<RcsConfig::RequestStatus> RcsConfig::registerForSettingsChange(SettingsId settingsId,
                                                                      const sp<ISettingsChangeCb>& cb) {
    IMS_LOG("RcsConfig got registerForSettingsChange request %d", static_cast<int>(settingsId));
    auto wrapper = std::make_shared<GetUpdatedSettingsListenerWrapper>();
    wrapper->getUpdatedSettingsListener(cb);
    wrapper->getRcsManagerObject(&mManager);
    fileWrapper(cb, &DeathRecipientListener::mSettingsChangeCb, &RcsConfig::mSettingsChangeRecipients,
                &RcsConfig::mSettingsChangeWrappers, wrapper, KeyLine::kRcsConfig);
    bool taken = mManager.registerForRcsSettingsChange(
            std::bind(&GetUpdatedSettingsListenerWrapper::getUpdatedSettingsCb, wrapper,
                      std::placeholders::_1, std::placeholders::_2),
            mSlotId, settingsId);
    return taken ? RequestStatus::OK : RequestStatus::FAIL;
}

Return<RcsConfig::RequestStatus> RcsConfig::deregisterForSettingsChange(SettingsId settingsId) {
    IMS_LOG("RcsConfig got deregisterForSettingsChange request %d", static_cast<int>(settingsId));
    mManager.deregisterForRcsSettingsChange(mSlotId, settingsId);
    return RequestStatus::OK;
}

Return<void> RcsConfig::getUceStatus(const sp<IRcsServiceStatusListener>& listener) {
    IMS_LOG("RcsConfig got getUceStatus request");
    // No wrapper: the listener is answered at once.
    if (!fileWrapper<IRcsServiceStatusListener, GetRcsServiceStatusListenerWrapper>(
                listener, &DeathRecipientListener::mServiceStatusListener, &RcsConfig::mUceStatusRecipients,
                nullptr, nullptr, KeyLine::kNone)) {
        return Void();
    }

    UceStatus status{};
    status.isPresenceSupported = false;
    status.isOptionsSupported = false;
    const uint32_t mask = xvDplgetSupportedRcsService(&status);
    status.isPresenceSupported = (mask & kPresenceMask) == kPresenceMask;
    status.isOptionsSupported = (mask & kOptionsMask) == kOptionsMask;
    listener->onUceStatus(status).isOk();
    return Void();
}

Return<void> RcsConfig::setAppToken(const hidl_string& token, const sp<ISetConfigCb>& cb) {
    IMS_LOG("RcsConfig got setAppToken request");
    std::function<void(bool)> done = fileSetConfigCb(cb, true);
    mManager.setRcsAppToken(done, mSlotId, std::string(token.c_str(), token.size()));
    return Void();
}

Return<void> RcsConfig::updateTokenFetchStatus(int32_t requestId, TokenType tokenType, StatusCode status) {
    IMS_LOG("RcsConfig got updateTokenFetchStatus request id = %d, status %d", requestId,
            static_cast<int>(status));
    mManager.updateAppTokenFetchStatus(mSlotId, requestId, tokenType, status);
    return Void();
}

RcsConfig::Filed RcsConfig::filed() {
    android::Mutex::Autolock guard(mLock);
    return Filed{mSetConfigRecipients.size(),    mGetSettingsRecipients.size(),
                 mSettingsChangeRecipients.size(), mUceStatusRecipients.size(),
                 mSetConfigWrappers.size(),      mGetConfigWrappers.size(),
                 mSettingsChangeWrappers.size(), mServiceStatusWrappers.size()};
}
