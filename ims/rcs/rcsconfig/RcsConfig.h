/*
 * RcsConfig: the IRcsConfig object a client holds for one SIM slot.
 *
 * It keeps no RCS state of its own. Each request is handed to the
 * RcsConfigManager with the slot and a completion function; the object's own
 * work is keeping the client's callback object reachable until the answer
 * comes (a wrapper filed under the callback object's address), turning the
 * manager's answers into calls on the client's callback interfaces, and
 * forgetting a callback object whose process died (a death recipient linked
 * with the same address as cookie).
 *
 * Filed wrappers and recipients stay until the client dies or the object is
 * destroyed, also after their request completed: a client that uses one
 * callback object per request grows the lists by one recipient per request.
 * Completion functions hold their own copy of the wrapper, so an answer that
 * arrives after the client died is still attempted (and fails in the log).
 *
 * Threads: the HIDL methods run on the binder thread (a pool of one), and
 * insert into the lists and maps without a lock; the death notices take the
 * object's mutex. Completions run on the manager's threads and touch no map.
 */
#ifndef RCS_CONFIG_H
#define RCS_CONFIG_H

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <utils/Mutex.h>
#include <vector>

#include <hidl/HidlSupport.h>
#include <hidl/Status.h>
#include <utils/StrongPointer.h>
#include <vendor/kel/ims/rcsconfig/2.0/IGetSettingsCb.h>
#include <vendor/kel/ims/rcsconfig/2.0/IRcsServiceStatusListener.h>
#include <vendor/kel/ims/rcsconfig/2.0/ISetConfigCb.h>
#include <vendor/kel/ims/rcsconfig/2.0/ISettingsChangeCb.h>
#include <vendor/kel/ims/rcsconfig/2.1/IRcsConfig.h>

class RcsConfigManager;

class RcsConfig : public ::vendor::kel::ims::rcsconfig::V2_1::IRcsConfig {
public:
    using Container = ::vendor::kel::ims::rcsconfig::V2_0::Container;
    using SettingsData = ::vendor::kel::ims::rcsconfig::V2_0::SettingsData;
    using SettingsId = ::vendor::kel::ims::rcsconfig::V2_0::SettingsId;
    using RequestStatus = ::vendor::kel::ims::rcsconfig::V2_0::RequestStatus;
    using ISetConfigCb = ::vendor::kel::ims::rcsconfig::V2_0::ISetConfigCb;
    using IGetSettingsCb = ::vendor::kel::ims::rcsconfig::V2_0::IGetSettingsCb;
    using ISettingsChangeCb = ::vendor::kel::ims::rcsconfig::V2_0::ISettingsChangeCb;
    using IRcsServiceStatusListener = ::vendor::kel::ims::rcsconfig::V2_0::IRcsServiceStatusListener;
    using TokenType = ::vendor::kel::ims::rcsconfig::V2_1::TokenType;
    using StatusCode = ::vendor::kel::ims::rcsconfig::V2_1::StatusCode;

    // Delivers the outcome of setConfig, setSettingsValue and setAppToken.
    class SetConfigListenerWrapper {
    public:
        void setRcsConfigListener(const ::android::sp<ISetConfigCb>& listener);
        // Calls setConfigResponse with OK or FAIL. Manager's threads.
        void setConfigCb(bool ok);

    private:
        ::android::sp<ISetConfigCb> mListener;
    };

    // Delivers the values read by getSettingsValue.
    class GetConfigListenerWrapper {
    public:
        // Setters, despite their names.
        void getRcsSettingsListener(const ::android::sp<IGetSettingsCb>& listener);
        void getRcsManagerObject(RcsConfigManager* manager);
        // `response` is the modem's read response named by `responseType`, or
        // null when the read failed or was refused. Manager's threads.
        void getRcsSettingsCb(int responseType, void* response);

    private:
        ::android::sp<IGetSettingsCb> mGetRcsSettingsListener;
        RcsConfigManager* mManager = nullptr;
    };

    // Delivers each change of a group registered with registerForSettingsChange.
    class GetUpdatedSettingsListenerWrapper {
    public:
        void getUpdatedSettingsListener(const ::android::sp<ISettingsChangeCb>& listener);
        void getRcsManagerObject(RcsConfigManager* manager);
        // `response` is the change indication of group `responseType`, or null
        // when the registration was refused. Manager's threads.
        void getUpdatedSettingsCb(int responseType, void* response);

    private:
        ::android::sp<ISettingsChangeCb> mGetUpdatedSettingsListener;
        RcsConfigManager* mManager = nullptr;
    };

    // getUceStatus answers at once and files nothing; only its map's type.
    class GetRcsServiceStatusListenerWrapper {};

    // Told when a client's callback object dies. Exactly one of the four
    // references is set; which one tells the kind of the recipient.
    class DeathRecipientListener : public ::android::hardware::hidl_death_recipient {
    public:
        explicit DeathRecipientListener(RcsConfig* owner) : mOwner(owner) {}
        // HIDL death-notification thread.
        void serviceDied(uint64_t cookie,
                         const ::android::wp<::android::hidl::base::V1_0::IBase>& who) override;

        ::android::sp<ISetConfigCb> mSetConfigCb;
        ::android::sp<IGetSettingsCb> mGetSettingsCb;
        ::android::sp<ISettingsChangeCb> mSettingsChangeCb;
        ::android::sp<IRcsServiceStatusListener> mServiceStatusListener;
        // Weak: a death told while the service stops must not reach an object
        // already destroyed; promoted, it keeps the object until the death is
        // handled.
        ::android::wp<RcsConfig> mOwner;
    };

    // Serves `slotId` (checked by the factory) through `manager`. Any thread.
    RcsConfig(RcsConfigManager& manager, int slotId);
    ~RcsConfig() override;

    // ---- IRcsConfig 2.0 and 2.1. Binder thread. ----

    ::android::hardware::Return<void> setConfig(const Container& config,
                                                const ::android::sp<ISetConfigCb>& cb) override;
    ::android::hardware::Return<void> setSettingsValue(const SettingsData& settingsData,
                                                       const ::android::sp<ISetConfigCb>& cb) override;
    ::android::hardware::Return<void> getSettingsValue(SettingsId settingsId,
                                                       const ::android::sp<IGetSettingsCb>& cb) override;
    // OK once the manager took the request (a refusal reaches `cb` with an empty record), else FAIL.
    ::android::hardware::Return<RequestStatus> registerForSettingsChange(
            SettingsId settingsId, const ::android::sp<ISettingsChangeCb>& cb) override;
    // Always OK.
    ::android::hardware::Return<RequestStatus> deregisterForSettingsChange(SettingsId settingsId) override;
    // Answers `listener` at once with what the platform supports.
    ::android::hardware::Return<void> getUceStatus(
            const ::android::sp<IRcsServiceStatusListener>& listener) override;
    ::android::hardware::Return<void> setAppToken(const ::android::hardware::hidl_string& token,
                                                  const ::android::sp<ISetConfigCb>& cb) override;
    ::android::hardware::Return<void> updateTokenFetchStatus(int32_t requestId, TokenType tokenType,
                                                             StatusCode status) override;

    // Drops what was filed for the dead callback object `cookie` by `recipient`.
    // HIDL death-notification thread.
    void clientDied(uint64_t cookie, DeathRecipientListener* recipient);

    // ---- Read-only state for the service dump and tests. Any thread. ----

    int slotId() const { return mSlotId; }
    struct Filed {
        size_t setConfigRecipients;
        size_t getSettingsRecipients;
        size_t settingsChangeRecipients;
        size_t uceStatusRecipients;
        size_t setConfigWrappers;
        size_t getSettingsWrappers;
        size_t settingsChangeWrappers;
        size_t serviceStatusWrappers;
    };
    // Counts of the filed recipients and wrappers. Read under the object's
    // mutex; a request being filed on the binder thread at that moment may or
    // may not be counted.
    Filed filed();

private:
    using Recipients = std::vector<::android::sp<DeathRecipientListener>>;
    // The line that tells where a request's wrapper was filed.
    enum class KeyLine { kNone, kRcsConfig, kShort };
    // Files what keeps `cb` reachable until its client dies: a new recipient
    // of the kind `kind` (linked to cb's death, cookie cb's address) in
    // `recipients`, and `wrapper` under the same key in `wrappers` (if any),
    // both in one step under mLock. False, with a line, when there is no
    // callback object and nothing is filed. Binder thread.
    template <typename Callback, typename Wrapper>
    bool fileWrapper(const ::android::sp<Callback>& cb,
                     ::android::sp<Callback> DeathRecipientListener::*kind,
                     Recipients RcsConfig::*recipients,
                     std::map<uint64_t, std::shared_ptr<Wrapper>> RcsConfig::*wrappers,
                     const std::shared_ptr<Wrapper>& wrapper, KeyLine keyLine);
    // Files `cb` for setConfig, setSettingsValue and setAppToken; returns the
    // completion function bound to the new wrapper. `forToken` selects the
    // shorter log text of setAppToken.
    std::function<void(bool)> fileSetConfigCb(const ::android::sp<ISetConfigCb>& cb, bool forToken);

    RcsConfigManager& mManager;
    const int32_t mSlotId;
    Recipients mSetConfigRecipients GUARDED_BY(mLock);
    Recipients mGetSettingsRecipients GUARDED_BY(mLock);
    Recipients mSettingsChangeRecipients GUARDED_BY(mLock);
    Recipients mUceStatusRecipients GUARDED_BY(mLock);
    std::map<uint64_t, std::shared_ptr<GetConfigListenerWrapper>> mGetConfigWrappers GUARDED_BY(mLock);
    std::map<uint64_t, std::shared_ptr<SetConfigListenerWrapper>> mSetConfigWrappers GUARDED_BY(mLock);
    std::map<uint64_t, std::shared_ptr<GetUpdatedSettingsListenerWrapper>> mSettingsChangeWrappers GUARDED_BY(mLock);
    // Never filled: see GetRcsServiceStatusListenerWrapper.
    std::map<uint64_t, std::shared_ptr<GetRcsServiceStatusListenerWrapper>> mServiceStatusWrappers;
    // Taken by clientDied (death-notification thread), by the filing of every
    // request (binder threads; a client may call from several threads) and by
    // filed(); never held while a client or the manager is called.
    android::Mutex mLock;
};

#endif  // RCS_CONFIG_H
