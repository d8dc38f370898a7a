/*
 * RcsConfigManager: the one manager of the RCS configuration path for every
 * slot.
 *
 * The host builds one manager with the event loop, the timer queue and the
 * two modem clients. Being an ImsCreatable it registers with the 1.1 factory
 * under "createRcsConfig" and "createRcsConfig_1_1"; every create request
 * gives the client a new RcsConfig for its slot and files the client's
 * listener. Requests of the RcsConfig objects arrive on binder threads, are
 * packed into a ConfigCallbackData each and posted to the manager's own
 * handler, so that they are carried out on the event-loop thread, where the
 * modem state is checked and the IMS Settings client is called. Modem state
 * changes and token requests come back from the two clients and are passed on
 * to every registered listener.
 *
 * The conversions between the clients' HIDL settings records and the modem's
 * IMS Settings messages of the four settings groups keep no state: they are
 * static so that the service object's result callbacks can call them without
 * a manager at hand. They run on the event-loop thread for requests and on
 * the settings client's worker or the loop thread for results; being
 * stateless, any thread is safe. Where a message's bytes go is read from the
 * modem's field tables (imss_settings_groups_v01); this class holds only the
 * rules and log texts of each group.
 */
#ifndef RCS_CONFIG_MANAGER_H
#define RCS_CONFIG_MANAGER_H

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <utils/Mutex.h>
#include <string>
#include <vector>

#include <hidl/HidlSupport.h>
#include <utils/StrongPointer.h>
#include <vendor/kel/ims/rcsconfig/2.0/types.h>
#include <vendor/kel/ims/rcsconfig/2.1/types.h>

#include "ImsCreatable.h"
#include "imsservice/ImsCom.h"
#include "imsservice/ImsComHandler.h"
#include "imsservice/ImsTimer.h"
#include "rcsconfig/ImsMcxApplication.h"
#include "rcsconfig/ImsMcxSettings.h"
#include "rcsconfig/RcsConfiglistenerWrapper.h"
#include "rcsconfig/RcsSettingsData.h"

class RcsConfig;

// Kinds of ConfigCallbackData; the numbers are fixed (6 is never posted).
enum ConfigEventType : uint32_t {
    SUBSCRIBE_SUB = 0,
    SET_RCS_CONFIG = 1,
    SET_RCS_SETTINGS = 2,
    GET_RCS_SETTINGS = 3,
    REGISTER_SETTINGS_CHANGE = 4,
    DEREGISTER_SETTINGS_CHANGE = 5,
    SET_APP_TOKEN = 7,
    UPDATE_TOKEN_FETCH_STATUS = 8,
};

// One request on its way from a binder thread to the loop thread. Queued by
// value, so it stays copyable.
struct ConfigCallbackData {
    uint32_t eventType;  // ConfigEventType
    int32_t slotId;      // 1-based; the modem clients get slotId - 1
    // The caller's document (SET_RCS_CONFIG) and settings (SET_RCS_SETTINGS),
    // not owned: see keepAlive.
    const ::vendor::kel::ims::rcsconfig::V2_0::Container* config;
    const ::vendor::kel::ims::rcsconfig::V2_0::SettingsData* settingsData;
    int32_t settingsId;  // SettingsId for get/register/deregister, else -1
    std::function<void(bool)> resultCb;           // set config, set settings, set token
    std::function<void(int, void*)> settingsCb;   // get and register: (settings id, response or null)
    std::string appToken;                         // SET_APP_TOKEN
    int32_t requestId;                            // UPDATE_TOKEN_FETCH_STATUS
    uint32_t tokenType;                           // UPDATE_TOKEN_FETCH_STATUS
    uint32_t statusCode;                          // UPDATE_TOKEN_FETCH_STATUS
    // Whatever `config` or `settingsData` point into, held until the loop
    // thread has handled the record (a HIDL argument only lives for its call).
    std::shared_ptr<const void> keepAlive;
};

class RcsConfigManager : public ImsCreatable, public imsComHandler<ConfigCallbackData> {
public:
    using Container = ::vendor::kel::ims::rcsconfig::V2_0::Container;
    using SettingsData = ::vendor::kel::ims::rcsconfig::V2_0::SettingsData;
    using SettingsId = ::vendor::kel::ims::rcsconfig::V2_0::SettingsId;
    using TokenType = ::vendor::kel::ims::rcsconfig::V2_1::TokenType;
    using StatusCode = ::vendor::kel::ims::rcsconfig::V2_1::StatusCode;
    using TokenRequestReason = ::vendor::kel::ims::rcsconfig::V2_1::TokenRequestReason;

    // Told when a client's listener dies; drops the listener's wrapper.
    class DeathRecipientListener : public ::android::hardware::hidl_death_recipient {
    public:
        explicit DeathRecipientListener(RcsConfigManager* manager) : mManager(manager) {}
        // HIDL death-notification thread.
        void serviceDied(uint64_t cookie,
                         const ::android::wp<::android::hidl::base::V1_0::IBase>& who) override;
        // Keeps the listener object the link is made on, until its death is
        // told. Binder thread, before the link is made (and again, with null,
        // when it could not be made).
        void keepLinked(const ::android::sp<::android::hidl::base::V1_0::IBase>& listener) {
            mLinked = listener;
        }
        // The manager is going away: waits for a death it is handling, and
        // later ones do not reach the manager. Manager's destructor.
        void detach();

    private:
        android::Mutex mLock;  // held while a death reaches the manager
        RcsConfigManager* mManager GUARDED_BY(mLock);
        // A death link lasts only as long as the proxy it was made through,
        // and the wrapper holds a different, cast proxy: without this the
        // client's own proxy (and the link) went with the factory call.
        // Written before the link exists, cleared by serviceDied after it
        // fired (the link's lock orders the two).
        ::android::sp<::android::hidl::base::V1_0::IBase> mLinked;
    };

    // Registers with the 1.1 factory registry (which then owns the manager:
    // allocate it with new) and subscribes to both clients' status. Host's
    // start-up thread, before the loop runs.
    RcsConfigManager(ImsCom& com, ImsTimer& timer, ImsMcxSettings& settings,
                     ImsMcxApplication& application);
    // Deregisters from both clients and releases listeners and service objects.
    // Once the loop thread no longer runs this manager's events.
    ~RcsConfigManager() override;

    RcsConfigManager(const RcsConfigManager&) = delete;
    RcsConfigManager& operator=(const RcsConfigManager&) = delete;

    // Files the client's listener, builds a new RcsConfig for the slot and has
    // the loop thread subscribe the slot. Binder thread (factory).
    ::android::sp<::android::hidl::base::V1_0::IBase> createInstance(const Params& params) override;

    // ---- Requests of RcsConfig; each only posts one event. Binder threads. ----

    // `config` must stay alive until the event is handled: pass an owner of it
    // as `keepAlive`, or keep it alive yourself.
    void setRcsConfig(std::function<void(bool)> cb, int slotId, const Container& config,
                      std::shared_ptr<const void> keepAlive = nullptr);
    // Same lifetime rule for `data`.
    void setRcsSettings(std::function<void(bool)> cb, int slotId, const SettingsData& data,
                        std::shared_ptr<const void> keepAlive = nullptr);
    void getRcsSettings(std::function<void(int, void*)> cb, int slotId, const SettingsId& id);
    // True once posted; a refusal by the loop thread reaches `cb` instead.
    bool registerForRcsSettingsChange(std::function<void(int, void*)> cb, int slotId,
                                      const SettingsId& id);
    void deregisterForRcsSettingsChange(int slotId, const SettingsId& id);
    void setRcsAppToken(std::function<void(bool)> cb, int slotId, const std::string& token);
    void updateAppTokenFetchStatus(int slotId, int requestId, TokenType type,
                                   const StatusCode& status);

    // ---- Callbacks of the two modem clients. Loop thread. ----

    void serviceStatusCb(ServiceStatus status);
    void imsAppServiceEventCb(ImsAppServiceData& data);

    // Forgets the listener filed under `cookie` (its address). Any thread.
    void listenerDied(unsigned long cookie);

    // Carries out one request. Loop thread.
    void handleEvent(ConfigCallbackData& data) override;

    // After a handleEvent() threw, the events queued behind the failed one
    // wait for a signal that was already consumed: signals the handler again
    // so they are handled. Loop thread (the host's recovery path) or any.
    void resumePendingEvents();

    // ---- Read-only state for the service dump and tests. ----

    // Modem flags and per-slot subscriptions (slot 1 or 2). Loop thread.
    bool isModemUp() const { return mModemUp; }
    bool isServiceAvailable() const { return mServiceAvailable; }
    bool isImssSubscribed(int slotId) const;
    bool isImsaSubscribed(int slotId) const;

    struct ListenerInfo {
        unsigned long key;  // the listener object's address
        int slotId;
        uint8_t version;    // 0: 2.0 listener, 1: 2.1 listener
        ::android::sp<::android::hidl::base::V1_0::IBase> object;  // the client's listener
    };
    // The filed listeners, in key order; every service object created so
    // far, oldest first; the death recipients made. These take mListenerLock:
    // any thread but the loop thread, which may be inside a batch.
    std::vector<ListenerInfo> listeners() const;
    std::vector<::android::sp<RcsConfig>> rcsConfigs() const;
    size_t deathRecipientCount() const;
    // Events posted and not yet handled, by ConfigEventType. Any thread but
    // from inside handleEvent().
    std::map<uint32_t, size_t> queuedEvents();

    // ---- Requests: HIDL record -> modem message ----

    // Builds the group's zero-filled write message from `data` and stores its id
    // and the message (malloc'ed, owned by the receiver) in `out`. False for an
    // unknown settings id, an allocation failure or a record the group refuses;
    // a refused message is not handed back (see the set conversion source).
    static bool convertSetReqDataToMcx(SettingsData data, rcs_settings_data_s* out);

    // Fill one group's write message `msg` (zero-filled, of the group's write
    // length) from `data`. True when every pair of every list read was written.
    static bool setPresenceConfigData(void* msg, SettingsData& data);
    static bool setSMConfigData(void* msg, SettingsData& data);
    static bool setUserAgentConfigData(void* msg, SettingsData& data);
    static bool setImsServiceEnableConfigData(void* msg, SettingsData& data);

    // Prepares a read of group `settingsId`: the read message id and a zeroed
    // buffer of the read response's length, for the modem client to fill.
    static bool convertReceiveRespDataToMcx(int settingsId, rcs_settings_data_s* out);

    // ---- Results: modem message -> HIDL record ----

    // Converts a read response (`isIndication` false: `id` is the read message
    // id) or a change indication (`isIndication` true: `id` is the SettingsId)
    // into `out`. `data` must hold the whole response or indication of that
    // group. False for an unknown id or a failed response (see the response
    // conversion source for which results are passed on).
    static bool convertResponseToHidlStruct(int id, void* data, SettingsData* out,
                                            bool isIndication);

    // Read-response converters: `data` is the group's whole read response.
    static bool convertPresenceConfigRespToHidl(void* data, SettingsData* out);
    static bool convertSMConfigRespToHidl(void* data, SettingsData* out);
    static bool convertUserAgentRespToHidl(void* data, SettingsData* out);
    static bool convertImsServiceConfigRespToHidl(void* data, SettingsData* out);

    // Change-indication converters: `data` is the group's whole indication.
    static bool convertPresenceConfigIndToHidl(void* data, SettingsData* out);
    static bool convertSMConfigIndToHidl(void* data, SettingsData* out);
    static bool convertUserAgentIndToHidl(void* data, SettingsData* out);
    static bool convertImsServiceConfigIndToHidl(void* data, SettingsData* out);

private:
    // An all-empty record of `type` for `slotId`, settingsId -1.
    static ConfigCallbackData newRecord(ConfigEventType type, int slotId);
    // The wrappers filed now, each held by its own reference while it is called.
    std::vector<std::shared_ptr<RcsConfigListenerWrapper>> listenerSnapshot() const;
    void notifyReconfigNeeded();
    // Erases the listener filed under `key`. Any thread.
    void forgetListener(unsigned long key);

    void handleSubscribe(ConfigCallbackData& data);
    void handleSetConfig(ConfigCallbackData& data);
    void handleSetSettings(ConfigCallbackData& data);
    void handleGetSettings(ConfigCallbackData& data);
    void handleRegister(ConfigCallbackData& data);
    void handleDeregister(ConfigCallbackData& data);
    void handleSetAppToken(ConfigCallbackData& data);
    void handleTokenFetchStatus(ConfigCallbackData& data);
    // Refusal of events 7 and 8: answers through the record's settings
    // callback, which these events never carry (see the source).
    void refuseTokenEvent(ConfigCallbackData& data);

    ImsCom& com;
    ImsTimer& timer;
    ImsMcxSettings& settings;
    ImsMcxApplication& application;
    // Written by the status callbacks and read by handleEvent, both on the loop thread.
    bool mServiceAvailable;  // AVAILABLE: the modem takes carrier configuration
    bool mModemUp;           // AVAILABLE or MODEM_UP
    bool mImssSubscribed[2];  // loop thread only
    bool mImsaSubscribed[2];  // loop thread only
    // A creation holds mListenerLock while it posts, which waits for the
    // handler's queue lock; nothing that holds the queue lock (a batch of
    // handleEvent) may therefore wait for mListenerLock.
    std::vector<::android::sp<RcsConfig>> mRcsConfigs GUARDED_BY(mListenerLock);
    std::map<unsigned long, std::shared_ptr<RcsConfigListenerWrapper>> mListeners GUARDED_BY(mListenerLock);
    mutable android::Mutex mListenerLock;
    std::vector<::android::sp<DeathRecipientListener>> mDeathRecipients GUARDED_BY(mListenerLock);
};

#endif  // RCS_CONFIG_MANAGER_H
