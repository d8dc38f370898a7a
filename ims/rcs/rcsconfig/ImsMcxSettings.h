/*
 * ImsMcxSettings: the client of the modem's IMS Settings service ("imss").
 *
 * One service-wide connection tells whether the modem accepts carrier
 * configuration and receives indications; one connection per subscription
 * (imssClient) carries the requests: the carrier-configuration upload, the
 * settings-group writes, reads and change registrations, and the ACS token
 * messages. Each kind of request has its own source: ImsMcxSettingsConfig.cpp
 * (upload), ImsMcxSettingsRequests.cpp (settings groups) and
 * ImsMcxSettingsToken.cpp (ACS token and token-fetch status).
 *
 * Every request takes one path, the request runner below, and a kind only
 * adds the message it sends and how it reads the answer:
 *  - Loop thread (the manager calls every public operation there): the
 *    operation draws its request key, files its callback in the kind's
 *    PendingCallbacks map (a token send keeps it in its record instead),
 *    and startRequest starts a detached worker on the kind's entry
 *    (sendRcsSettingData, ...) and returns at once.
 *  - Worker thread: runRequest takes mRequestMutex for the whole modem
 *    exchange, so requests of every kind reach the modem one at a time, in
 *    the order the workers win the mutex (not necessarily the order of the
 *    calls); it runs the kind's body (SendSettingOnThread, ...), frees the
 *    record and reports the worker finished, which the destructor waits for.
 *  - The body of a write or a read (serveFiled) copies its callback out of
 *    the map, has the subscription's imssClient exchange the message, calls
 *    the client back on this worker thread and then unfiles the callback. A
 *    token send calls its record's callback, also on the worker. A
 *    subscription without a connection gets no callback at all.
 *  - An upload calls back on the worker only when sending fails; its verdict
 *    otherwise comes with indication 0x9D. Indications are decoded on the
 *    messaging library's thread and dispatched on the loop thread through
 *    the handler base, so the modem's verdict and the settings-change
 *    listeners are called on the loop thread (processMcxInd).
 *  - Each map has its own lock, held only to file, copy or erase an entry,
 *    never while a callback runs. modemDown (loop thread) empties the maps
 *    without calling anything; a worker still running then finds no callback.
 */
#ifndef RCSCONFIG_IMS_MCX_SETTINGS_H
#define RCSCONFIG_IMS_MCX_SETTINGS_H

#include <atomic>
#include <cstdlib>
#include <cstdint>
#include <functional>
#include <utils/Mutex.h>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "ims_settings_service_v01.h"
#include "imsservice/ImsCom.h"
#include "imsservice/ImsComHandler.h"
#include "imsservice/ImsLog.h"
#include "imsservice/ImsMcxSvc.h"
#include "imsservice/ImsTimer.h"
#include "mcx_client.h"
#include "rcsconfig/PendingCallbacks.h"
#include "rcsconfig/RcsSettingsData.h"

class ImsMcxSettings;

// State of the IMS Settings service as reported to the owner.
enum class ServiceStatus : int32_t {
    NOT_SUPPORTED = 0,
    AVAILABLE = 1,  // service up and the modem accepts carrier configuration
    MODEM_UP = 2,   // service up, no carrier configuration
    MODEM_DOWN = 3,
};

// One event carried from the messaging library's threads to the loop thread.
struct imssCallbackData_s {
    int32_t type;    // IMSS_EVENT_CONNECTION_ERROR or IMSS_EVENT_INDICATION
    uint32_t msgId;  // indication's message id, 0 for an error
    void* data;      // malloc'ed decoded indication, freed by processMcxInd; null for an error
};

enum : int32_t {
    IMSS_EVENT_CONNECTION_ERROR = 1,
    IMSS_EVENT_INDICATION = 2,
};

// One carrier-configuration upload handed to its worker thread.
struct configData_s {
    ImsMcxSettings* owner;
    std::vector<uint8_t> data;  // copy of the document
    bool isGzipped;
    int32_t token;              // configuration token of this upload, 0..255
    int32_t subId;
};

// One ACS token send or token-fetch status report handed to its worker thread.
struct rcsAppTokenData_s {
    ImsMcxSettings* owner;
    int32_t reqId;               // request id of a status report, 0 for a token
    std::vector<uint8_t> token;  // token bytes
    int32_t tokenType;           // kept with a status report, not sent
    int32_t statusCode;
    int32_t subId;
    uint64_t requestKey;         // app-token request counter when queued
    std::function<void(bool)> callback;  // completion of a token send; empty for a status report
};

class ImsMcxSettings : public ImsMcxSvc, public imsComHandler<imssCallbackData_s> {
public:
    // The telephony side's token type and fetch status pass through unchanged
    // as their 32-bit values.
    using TokenType = uint32_t;
    using StatusCode = uint32_t;

    // A connection of the IMS Settings service bound to one subscription.
    class imssClient {
    public:
        imssClient(ImsMcxSettings* owner, int sub);
        // Releases the connection if it is open. Loop thread or owner's destructor.
        virtual ~imssClient();

        // Opens the connection and binds it to the subscription; true when the
        // bind request went through. Loop thread.
        bool initClient();
        // Releases the connection if open. Loop thread.
        void modemDown();

        // Request bodies; each runs on a worker thread holding the request mutex.
        bool sendConfigMsg(configData_s* record);
        bool sendRcsConfigRequestMessage(ims_settings_set_new_carrier_config_req_msg_v01& msg);
        bool sendSettingMsg(rcs_settings_data_s* record);
        bool receiveSettingMsg(rcs_settings_data_s* record);
        bool updateSettingMsg(int group);
        bool sendAppTokenMsg(ims_settings_set_acs_token_req_msg_v01& msg);
        bool updateAppTokenStatusMsg(ims_settings_update_acs_token_status_req_msg_v01& msg);

        int subscription() const { return mSub; }

    private:
        // The exchange of a write (isWrite) or a read: true when the id is the
        // group's, the message went through and the response header is clean.
        bool exchangeSettings(rcs_settings_data_s* record, bool isWrite);
        // The exchange of a token (0xA6) or token-status (0xA7, isStatus) message.
        bool exchangeToken(unsigned int msgId, void* msg, unsigned int len, bool isStatus);
        // Sends one request on this connection with the client's timeout.
        int sendSync(unsigned int msgId, void* req, unsigned int reqLen, void* resp,
                     unsigned int respLen);

        // Written on the loop thread, read by workers: the modem library turns a
        // released handle into an error, so a worker racing a modem restart
        // fails its request instead of crashing.
        std::atomic<mcx_client_type> mHandle{nullptr};
        mcx_client_os_params mOsParams;
        int mSub;
        ImsMcxSettings* mOwner;
    };

    // Constructs the client with the process's event loop and timer queue and
    // starts waiting for the service. Host's thread, before the loop runs.
    ImsMcxSettings(ImsCom& com, ImsTimer& timer);
    // Releases every connection. Waits for running request workers. Host's thread.
    ~ImsMcxSettings() override;

    ImsMcxSettings(const ImsMcxSettings&) = delete;
    ImsMcxSettings& operator=(const ImsMcxSettings&) = delete;

    // Service came up: reports the service status. Loop thread (service watcher).
    void svcUp() override;
    // Service went away or the connection failed: reports MODEM_DOWN, releases
    // every connection, empties the maps and waits for the service again. Loop thread.
    void modemDown() override;
    // Dispatches one event posted by the library's threads. Loop thread.
    void handleEvent(imssCallbackData_s& event) override;

    // Opens (once) the connection of subscription 0 or 1. Loop thread.
    bool subscribeToSub(int sub);
    // Opens the service-wide connection and tells whether the modem accepts
    // carrier-configuration segments. Loop thread.
    bool carrierConfigEnabled();

    // Sets or clears the one service-status listener. Owner's thread, before
    // the service can come up.
    void registerServiceStatusListener(std::function<void(ServiceStatus)> listener);
    void deRegisterServiceStatusListener();

    // Uploads a carrier-configuration document on a worker thread; cb answers
    // with the modem's verdict (indication 0x9D) or false on a send failure.
    // Always true. Manager's (loop) thread.
    bool sendRcsConfig(std::function<void(bool)> cb, int subId, std::vector<uint8_t> config,
                       bool isGzipped);
    // Writes one settings group (msgData: malloc'ed write request, owned from
    // here on). cb runs on the worker thread. Manager's (loop) thread.
    bool sendRcsSettings(std::function<void(bool)> cb, int subId, int msgId, void* msgData);
    // Reads one settings group into msgData (malloc'ed response buffer, owned
    // from here on); cb gets (msgId, response) or (msgId, null) on the worker
    // thread. Manager's (loop) thread.
    bool receiveRcsSettings(std::function<void(int, void*)> cb, int subId, int msgId,
                            void* msgData);
    // Files cb as the group's change listener (first one wins) and registers
    // for the group's indications. Manager's (loop) thread.
    bool registerForRcsSettingsUpdate(std::function<void(int, void*)> cb, int subId,
                                      int settingsId);
    // Forgets the group's listener; the modem is not told. True if one was
    // removed. Manager's (loop) thread.
    bool deregisterForRcsSettingsUpdate(int settingsId);
    // Sends an ACS token; cb gets the outcome on the worker thread. Manager's (loop) thread.
    bool sendAppToken(std::function<void(bool)> cb, int subId, std::string token);
    // Reports the outcome of a token fetch. Manager's (loop) thread.
    bool sendTokenFetchStatus(int subId, int reqId, TokenType tokenType, StatusCode statusCode);

    // Indication callback of every connection of this client. Library's thread.
    static void mcxImsSettingsSvcIndCb(mcx_client_struct* handle, unsigned int msgId,
                                       void* ind_buf, unsigned int ind_buf_len,
                                       void* ind_cb_data);
    // Error callback of the service-wide connection. Library's thread.
    static void mcxErrorCb(mcx_client_struct* handle, int error, void* data);

    // Dispatches one decoded indication and frees it. Loop thread.
    void processMcxInd(unsigned int msgId, void* data);

    // The lines that tell one kind of request apart in the request runner.
    struct RequestLines {
        const char* name;      // the public operation, for lines of the runner's own
        const char* starting;  // before the worker starts; null where the operation logs it first
        const char* started;   // after the worker is detached
        const char* enter;     // the worker's first line
        const char* leave;     // after the body, or null
    };

    // Callbacks filed and not yet answered, for the service dump. Any thread.
    struct PendingRequests {
        size_t configUploads;   // upload callbacks; kept until the modem goes down
        size_t settingsWrites;
        size_t settingsReads;
        size_t appTokens;
        std::vector<unsigned int> changeListenerGroups;  // groups with a change listener
    };
    PendingRequests pendingRequests() {
        return PendingRequests{mConfigCbs.size(), mSetSettingsCbs.size(), mGetSettingsCbs.size(),
                               mAppTokenCbs.size(), mSettingsListeners.keys()};
    }

    // Worker thread entries.
    static void sendConfigdata(void* record);
    static void sendRcsSettingData(rcs_settings_data_s* record);
    static void receiveRcsSettingData(rcs_settings_data_s* record);
    static void registerForSettingsUpdate(rcs_settings_data_s* record);
    static void sendAppTokenData(rcsAppTokenData_s* record);
    static void updateAppTokenStatus(rcsAppTokenData_s* record);

private:
    friend class imssClient;

    static constexpr size_t kSlotCount = 3;

    void SendConfigOnThread(configData_s* record);
    void SendSettingOnThread(rcs_settings_data_s* record);
    void ReceiveSettingOnThread(rcs_settings_data_s* record);
    void UpdateSettingOnThread(rcs_settings_data_s* record);
    void sendAppTokenOnThread(rcsAppTokenData_s* record);
    void sendAppTokenStatusOnThread(rcsAppTokenData_s* record);

    // The subscription's client, or null (also for a subscription out of range).
    imssClient* clientFor(int subId);
    // Counter seeds: the object's address, so numbers start anywhere.
    uint8_t tokenSeed() const;
    uint64_t requestSeed() const;
    // The request runner (see the comment at the top).
    // Loop thread: logs lines.starting (if any), starts a detached worker on
    // entry(record) and logs lines.started. Always true. A failed start
    // raises std::system_error ("thread constructor failed"), as every thread
    // start in this client does; the record is then the caller's.
    template <typename Record>
    bool startRequest(Record* record, void (*entry)(Record*), const RequestLines& lines);
    // Loop thread: a write or read. Files cb under a new request key in
    // `filed` (first one wins) and starts the worker on entry.
    template <typename Callback>
    bool startFiled(PendingCallbacks<unsigned long, Callback>& filed, Callback cb, int subId,
                    int msgId, void* msgData, void (*entry)(rcs_settings_data_s*),
                    const RequestLines& lines);
    // Worker thread: logs lines.enter, runs body on the record under the
    // request mutex (then lines.leave, if any), frees the record and reports
    // the worker finished.
    template <typename Record>
    static void runRequest(Record* record, const RequestLines& lines,
                           void (ImsMcxSettings::*body)(Record*));
    // Worker thread, the body of a write or read: the subscription's
    // connection exchanges the record, answer(callback, ok) gets the callback
    // filed under its key (empty if modemDown dropped it), which is then
    // unfiled, and the message is freed. A failed exchange logs `failed`
    // first. No connection: no answer, the message is freed.
    template <typename Callback, typename Answer>
    void serveFiled(PendingCallbacks<unsigned long, Callback>& filed, rcs_settings_data_s* record,
                    bool (imssClient::*exchange)(rcs_settings_data_s*), const char* failed,
                    Answer answer);
    // Brackets every worker so the destructor can wait for them.
    void workerStarted();
    void workerFinished();

    // Held by every worker for the whole of its modem exchange.
    android::Mutex mRequestMutex;
    std::atomic<imssClient*> mClients[kSlotCount];
    std::function<void(ServiceStatus)> mStatusListener;

    // Filled on the loop thread, emptied by workers and by modemDown.
    PendingCallbacks<int, std::function<void(bool)>> mConfigCbs;  // by configuration token
    PendingCallbacks<unsigned long, std::function<void(bool)>> mSetSettingsCbs;
    PendingCallbacks<unsigned long, std::function<void(int, void*)>> mGetSettingsCbs;
    PendingCallbacks<unsigned int, std::function<void(int, void*)>> mSettingsListeners;  // by group
    PendingCallbacks<unsigned long, std::function<void(bool)>> mAppTokenCbs;

    std::atomic<uint8_t> mConfigToken;
    std::atomic<uint64_t> mSettingsRequestId;
    std::atomic<uint64_t> mAppTokenRequestId;

    std::atomic<int> mWorkersInFlight{0};
};

template <typename Record>
bool ImsMcxSettings::startRequest(Record* record, void (*entry)(Record*), const RequestLines& lines) {
    if (lines.starting != nullptr) IMS_LOG("%s", lines.starting);
    workerStarted();
    try {
        std::thread(entry, record).detach();
    } catch (const std::system_error& e) {
        workerFinished();
        throw std::system_error(e.code(), "thread constructor failed");
    }
    IMS_LOG("%s", lines.started);
    return true;
}

template <typename Callback>
bool ImsMcxSettings::startFiled(PendingCallbacks<unsigned long, Callback>& filed, Callback cb,
                                int subId, int msgId, void* msgData,
                                void (*entry)(rcs_settings_data_s*), const RequestLines& lines) {
    // Writes and reads draw their keys from one counter.
    auto* record = new rcs_settings_data_s{this, static_cast<uint32_t>(msgId), msgData, subId,
                                           mSettingsRequestId.fetch_add(1)};
    if (!filed.file(record->requestKey, std::move(cb))) {
        IMS_LOG("ImsMcxSettings:%s request %d already pending, first callback kept", lines.name,
                static_cast<int>(record->requestKey));
    }
    return startRequest(record, entry, lines);
}

template <typename Record>
void ImsMcxSettings::runRequest(Record* record, const RequestLines& lines,
                                void (ImsMcxSettings::*body)(Record*)) {
    ImsMcxSettings* self = record->owner;
    IMS_LOG("%s", lines.enter);
    {
        android::Mutex::Autolock lock(self->mRequestMutex);
        (self->*body)(record);
        if (lines.leave != nullptr) IMS_LOG("%s", lines.leave);
        delete record;
    }
    self->workerFinished();
}

template <typename Callback, typename Answer>
void ImsMcxSettings::serveFiled(PendingCallbacks<unsigned long, Callback>& filed,
                                rcs_settings_data_s* record,
                                bool (imssClient::*exchange)(rcs_settings_data_s*),
                                const char* failed, Answer answer) {
    imssClient* c = clientFor(record->subId);
    if (c != nullptr) {
        Callback cb = filed.find(record->requestKey);
        const bool ok = (c->*exchange)(record);
        if (!ok) IMS_LOG("%s", failed);
        if (cb) answer(cb, ok);
        filed.erase(record->requestKey);
    }
    free(record->msgData);
    record->msgData = nullptr;
}

#endif  // RCSCONFIG_IMS_MCX_SETTINGS_H
