#include "rcsconfig/ImsMcxSettings.h"

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "imsservice/ImsLog.h"

namespace {

mcx_idl_service_object_type imssServiceObject() {
    return imss_get_service_object_internal_v01(1, 0x67, 6);
}

constexpr unsigned int kRequestTimeoutMs = 1000;

// Size of the structure an indication decodes into, 0 for one this client does not handle.
unsigned int indicationSize(unsigned int msgId) {
    if (msgId == IMSS_CARRIER_CONFIG_STATUS_IND_V01) {
        return sizeof(ims_settings_carrier_config_status_ind_msg_v01);
    }
    const imss_settings_group_v01* group = imss_settings_group_by_msg_id(msgId);
    if (group != nullptr && group->ind_msg_id == msgId) {
        return group->set_len;
    }
    return 0;
}

}  // namespace

ImsMcxSettings::ImsMcxSettings(ImsCom& com, ImsTimer& timer)
    : ImsMcxSvc(imssServiceObject(), com, "ImsMcxSettings"),
      imsComHandler<imssCallbackData_s>(com, timer),
      mConfigToken(tokenSeed()),
      mSettingsRequestId(requestSeed()),
      mAppTokenRequestId(requestSeed()) {
    for (auto& slot : mClients) slot.store(nullptr);
    IMS_LOG("ImsMcxSettings Xtor");
}

ImsMcxSettings::~ImsMcxSettings() {
    IMS_LOG("ImsMcxSettings Dtor");
    // Workers point at this object; the process only destroys the client at
    // stop, so a short poll is enough to let the last ones finish.
    while (mWorkersInFlight.load() != 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    // The service-wide connection goes first: its indications post to the
    // handler base, which is destroyed before the watcher base.
    if (client != nullptr) {
        mcx_client_release(client);
        client = nullptr;
    }
    for (auto& slot : mClients) {
        delete slot.exchange(nullptr);
    }
    // No connection is left to post. Decoded indications still queued own
    // their buffers, and the handler base drops records without looking in.
    using Handler = imsComHandler<imssCallbackData_s>;
    android::Mutex::Autolock lock(Handler::mutex);
    for (imssCallbackData_s& ev : Handler::queue) free(ev.data);
    Handler::queue.clear();
}

uint8_t ImsMcxSettings::tokenSeed() const {
    return static_cast<uint8_t>(reinterpret_cast<uintptr_t>(this) & 0xFFu);
}

uint64_t ImsMcxSettings::requestSeed() const {
    return static_cast<uint64_t>(reinterpret_cast<uintptr_t>(this));
}

void ImsMcxSettings::workerStarted() { mWorkersInFlight.fetch_add(1); }

void ImsMcxSettings::workerFinished() { mWorkersInFlight.fetch_sub(1); }

ImsMcxSettings::imssClient* ImsMcxSettings::clientFor(int subId) {
    if (subId < 0 || static_cast<size_t>(subId) >= kSlotCount) {
        IMS_LOG("ImsMcxSettings: no connection slot for sub %d", subId);
        return nullptr;
    }
    imssClient* c = mClients[subId].load();
    if (c == nullptr) {
        IMS_LOG("ImsMcxSettings: sub %d has no connection, request dropped without callback",
                subId);
    }
    return c;
}

void ImsMcxSettings::registerServiceStatusListener(std::function<void(ServiceStatus)> listener) {
    IMS_LOG("ImsMcxSettings: registerServiceStatusListener");
    mStatusListener = std::move(listener);
}

void ImsMcxSettings::deRegisterServiceStatusListener() { mStatusListener = nullptr; }

void ImsMcxSettings::svcUp() {
    IMS_LOG("ImsMcxSettings: A modem service is up,trying to initialize Ims settings service client");
    mcx_service_info info;
    memset(&info, 0, sizeof(info));
    int rc = mcx_client_get_any_service(imssServiceObject(), &info);
    // The first report is always NOT_SUPPORTED; the owner learns the real
    // state from the second one.
    mStatusListener(ServiceStatus::NOT_SUPPORTED);
    if (rc != MCX_NO_ERR) {
        IMS_LOG("ImsMcxSettings::Error get IMS Settings service.");
        return;
    }
    if (client != nullptr) {
        IMS_LOG("ImsMcxSettings: client is already present,so skipping client initialization.");
        return;
    }
    if (carrierConfigEnabled()) {
        IMS_LOG("ImsMcxSettings: Carrier config is enabled");
        mStatusListener(ServiceStatus::AVAILABLE);
    } else {
        IMS_LOG("ImsMcxSettings: Carrier config is disabled");
        mStatusListener(ServiceStatus::MODEM_UP);
    }
    int res = mcx_client_register_error_cb(client, mcxErrorCb, this);
    IMS_LOG("ImsMcxSettings: mcx_client_register_error_cb result: %d", res);
    IMS_LOG("ImsMcxSettings: service Client initialized,clientHandle[%x]",
            static_cast<unsigned int>(reinterpret_cast<uintptr_t>(client)));
}

bool ImsMcxSettings::carrierConfigEnabled() {
    mcx_idl_service_object_type svc = imssServiceObject();
    mcx_service_info info;
    memset(&info, 0, sizeof(info));
    mcx_client_get_any_service(svc, &info);
    memset(&clientOsParams, 0, sizeof(clientOsParams));
    client = nullptr;
    int rc = mcx_client_init(&info, svc, mcxImsSettingsSvcIndCb, this, &clientOsParams, &client);
    if (rc != MCX_NO_ERR) {
        IMS_LOG("ImsMcxSettings:mcx_client_init error. ErrCode : %d", rc);
        return false;
    }
    // 8 KB: kept off the loop thread's stack.
    auto* resp = static_cast<ims_settings_get_supported_msgs_resp_msg_v01*>(
        calloc(1, sizeof(ims_settings_get_supported_msgs_resp_msg_v01)));
    if (resp == nullptr) {
        IMS_LOG("ImsMcxSettings: no memory for the supported messages response");
        return false;
    }
    rc = mcx_client_send_msg_sync(client, IMSS_GET_SUPPORTED_MSGS_V01, nullptr, 0, resp,
                                  sizeof(*resp), kRequestTimeoutMs);
    IMS_LOG("ImsMcxSettings:mcx send sync res %d for clientHdl[%x]", rc,
            static_cast<unsigned int>(reinterpret_cast<uintptr_t>(client)));
    constexpr uint32_t kByte = IMSS_SET_NEW_CARRIER_CONFIG_V01 / 8;
    constexpr uint8_t kBit = 1u << (IMSS_SET_NEW_CARRIER_CONFIG_V01 % 8);
    // The modem's length is trusted only as far as the bit map's capacity.
    bool enabled = rc == MCX_NO_ERR && resp->supported_msgs_valid != 0 &&
                   resp->supported_msgs_len >= kByte + 1 &&
                   (resp->supported_msgs[kByte] & kBit) != 0;
    free(resp);
    return enabled;
}

bool ImsMcxSettings::subscribeToSub(int sub) {
    imssClient* created = nullptr;
    if (sub == 1) {
        if (mClients[1].load() != nullptr) return true;
        created = new imssClient(this, 1);
        mClients[1].store(created);
    } else if (sub == 0) {
        if (mClients[0].load() != nullptr) return true;
        IMS_LOG("ImsMcxSettings::subscribeToSub creating imssClient object");
        created = new imssClient(this, 0);
        IMS_LOG("ImsMcxSettings::subscribeToSub initializing imssClient object");
        mClients[0].store(created);
    } else {
        return false;
    }
    // The client stays in its slot even if it fails to bind: a later call for
    // the same subscription answers true without retrying.
    return created->initClient();
}

void ImsMcxSettings::mcxImsSettingsSvcIndCb(mcx_client_struct* handle, unsigned int msgId,
                                            void* ind_buf, unsigned int ind_buf_len,
                                            void* ind_cb_data) {
    IMS_LOG("mcxImsSettingsSvcIndCb");
    if (ind_buf_len == 0 || ind_buf == nullptr || ind_cb_data == nullptr) {
        IMS_LOG("The ind_cb_data/ind_buf is null or ind_buf_len is %d",
                static_cast<int>(ind_buf_len));
        return;
    }
    unsigned int size = indicationSize(msgId);
    if (size == 0) {
        IMS_LOG("ImsMcxSettings : No Handler to process MCX idle indication : %d",
                static_cast<int>(msgId));
        return;
    }
    void* decodeData = malloc(size);
    if (decodeData == nullptr) {
        IMS_LOG("ImsMcxSettings : decodeData is NULL");
        return;
    }
    IMS_LOG("mcxImsSettingsSvcIndCb decodeData via mcx, ind_buf_len %d",
            static_cast<int>(ind_buf_len));
    memset(decodeData, 0, size);
    int rc = mcx_client_message_decode(handle, MCX_IDL_INDICATION, msgId, ind_buf, ind_buf_len,
                                       decodeData, size);
    if (rc != MCX_NO_ERR) {
        IMS_LOG("ImsMcxSettings : unable to obtain message data from MCX %d ", rc);
        free(decodeData);
        return;
    }
    auto* self = static_cast<ImsMcxSettings*>(ind_cb_data);
    imssCallbackData_s event{IMSS_EVENT_INDICATION, msgId, decodeData};
    self->postEvent(event);
}

void ImsMcxSettings::mcxErrorCb(mcx_client_struct* handle, int error, void* data) {
    (void)error;
    IMS_LOG("ImsMcxSettings: mcxErrorCb inside: %p", static_cast<void*>(handle));
    if (data == nullptr) return;
    imssCallbackData_s event{IMSS_EVENT_CONNECTION_ERROR, 0, nullptr};
    static_cast<ImsMcxSettings*>(data)->postEvent(event);
}

void ImsMcxSettings::handleEvent(imssCallbackData_s& event) {
    switch (event.type) {
        case IMSS_EVENT_INDICATION:
            processMcxInd(event.msgId, event.data);
            break;
        case IMSS_EVENT_CONNECTION_ERROR:
            modemDown();
            break;
        default:
            IMS_LOG("ImsMcxSettings::handleEvent unhandled event: %d", event.type);
            free(event.data);
            break;
    }
}

void ImsMcxSettings::processMcxInd(unsigned int msgId, void* data) {
    if (data == nullptr) {
        IMS_LOG("ImsMcxSettings :DecodedData is null");
        return;
    }
    IMS_LOG("ImsMcxSettings :processMcxInd, eventType: %d", static_cast<int>(msgId));
    const imss_settings_group_v01* group = imss_settings_group_by_msg_id(msgId);
    if (group != nullptr && group->ind_msg_id == msgId) {
        std::function<void(int, void*)> listener = mSettingsListeners.find(group->settings_id);
        // Indications carry no subscription: the group's one listener hears both.
        if (listener) {
            listener(static_cast<int>(group->settings_id), data);
        } else {
            IMS_LOG("ImsMcxSettings: no listener for settings group %d, indication dropped",
                    static_cast<int>(group->settings_id));
        }
    } else if (msgId == IMSS_CARRIER_CONFIG_STATUS_IND_V01) {
        const auto* ind = static_cast<const ims_settings_carrier_config_status_ind_msg_v01*>(data);
        std::function<void(bool)> cb = mConfigCbs.find(ind->ref_num);
        // The entry stays: a token reused after 256 uploads answers the same
        // callback again.
        if (cb) cb(ind->config_status == 0);
        IMS_LOG("ImsMcxSettings :DecodedData->ref_num[%d] ", ind->ref_num);
        IMS_LOG("ImsMcxSettings :DecodedData->config_status[%d] ", ind->config_status);
    } else {
        IMS_LOG("ImsMcxSettings : No Handler to process MCX idle indication : %d",
                static_cast<int>(msgId));
    }
    free(data);
}

void ImsMcxSettings::modemDown() {
    IMS_LOG("ims/rcs/rcsconfig/ImsMcxSettings:%d:%s", __LINE__, "modemDown");
    mStatusListener(ServiceStatus::MODEM_DOWN);
    IMS_LOG("ImsMcxSettings: Modem Down so release client");
    if (client != nullptr) {
        mcx_client_release(client);
        client = nullptr;
    }
    ImsMcxSvc::modemDown();
    // The client objects are left alive on purpose: a worker that took one
    // before the restart may still be using it, and finds its handle gone.
    for (auto& slot : mClients) {
        imssClient* c = slot.load();
        if (c != nullptr) c->modemDown();
    }
    for (auto& slot : mClients) slot.store(nullptr);
    mConfigToken.store(tokenSeed());
    mSettingsRequestId.store(requestSeed());
    mConfigCbs.clear();
    mSetSettingsCbs.clear();
    mGetSettingsCbs.clear();
    mSettingsListeners.clear();
    IMS_LOG("ImsMcxSettings::modemDown:registerForMcxSvcUp");
    ImsMcxSvc::registerForMcxSvcUp();
}
