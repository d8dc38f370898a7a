#include "rcsconfig/ImsMcxApplication.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "imsservice/ImsLog.h"
#include "ims_application_service_v01.h"
#include "rcsconfig/McxImsaClient.h"

namespace {

mcx_idl_service_object_type imsaService() {
    return imsa_get_service_object_internal_v01(1, 0x2C, 6);
}

}  // namespace

ImsMcxApplication::ImsMcxApplication(ImsCom& com, ImsTimer& timer)
    : ImsMcxSvc(imsaService(), com, "ImsMcxApplication"),
      imsComHandler<imsaCallbackData_s>(com, timer) {
    IMS_LOG("ImsMcxApplication : Xtor");
}

ImsMcxApplication::~ImsMcxApplication() {
    IMS_LOG("ImsMcxApplication : Dtor");
    // The connections' callbacks post to the handler base, which goes before
    // the ImsMcxSvc base: close them all while both are still whole.
    for (auto& slot : mClients) slot.reset();
    ImsMcxSvc::modemDown();
    // No connection is left to post. Decoded indications still queued own
    // their buffers, and the handler base drops records without looking in.
    using Handler = imsComHandler<imsaCallbackData_s>;
    android::Mutex::Autolock lock(Handler::mutex);
    for (imsaCallbackData_s& ev : Handler::queue) free(ev.data);
    Handler::queue.clear();
}

void ImsMcxApplication::notify(int32_t event) {
    ImsAppServiceData data{event, 0, 0, 0, 0};
    mListener(data);
}

void ImsMcxApplication::svcUp() {
    IMS_LOG("ImsMcxApplication: A modem service is up,trying to initialize Ims settings service client");
    mcx_idl_service_object_type svc = imsaService();
    mcx_service_info info;
    if (mcx_client_get_any_service(svc, &info) != MCX_NO_ERR) {
        IMS_LOG("ImsMcxSettings::Error get IMS Settings service.");
    } else if (client != nullptr) {
        IMS_LOG("ImsMcxApplication: client is already present,so skipping client initialization.");
        return;
    } else {
        int rc = mcx_client_init(&info, svc, nullptr, this, &clientOsParams, &client);
        if (rc != MCX_NO_ERR) {
            IMS_LOG("ImsMcxApplication:mcx_client_init error. ErrCode : %d", rc);
            client = nullptr;
            return;
        }
        rc = mcx_client_register_error_cb(client, mcxErrorCb, this);
        IMS_LOG("ImsMcxApplication: mcx_client_register_error_cb result: %d", rc);
        IMS_LOG("ImsMcxSettings: service Client initialized,clientHandle[%x]",
                static_cast<unsigned int>(reinterpret_cast<uintptr_t>(client)));
    }
    // A missing service still reports MODEM_UP, as the manager expects.
    notify(ImsAppServiceData::MODEM_UP);
}

void ImsMcxApplication::modemDown() {
    IMS_LOG("ImsMcxApplication: A modem service is down");
    ImsMcxSvc::modemDown();
    for (auto& slot : mClients) {
        if (slot) {
            slot->deInit();
            slot.reset();
        }
    }
    notify(ImsAppServiceData::MODEM_DOWN);
    ImsMcxSvc::registerForMcxSvcUp();
}

bool ImsMcxApplication::subscribeToSub(int sub) {
    if (static_cast<unsigned int>(sub) > 1) return false;
    IMS_LOG("subscribeToSub: %d", sub);
    if (mClients[sub]) {
        IMS_LOG("subscribeToSub: client already present");
        return true;
    }
    mClients[sub] = std::make_shared<McxImsaClient>(static_cast<uint8_t>(sub), this);
    // Failures are logged by the client; the subscription is kept either way.
    mClients[sub]->init();
    mClients[sub]->bindToSubscription(sub);
    mClients[sub]->registerForIndication(CONFIG_TOKEN_REQUEST_MASK);
    return true;
}

void ImsMcxApplication::registerServiceStatusListener(std::function<void(ImsAppServiceData&)> listener) {
    mListener = std::move(listener);
}

void ImsMcxApplication::deRegisterServiceStatusListener() { mListener = nullptr; }

void ImsMcxApplication::mcxErrorCb(mcx_client_struct* handle, int error, void* data) {
    (void)handle;
    (void)error;
    IMS_LOG("ImsMcxApplication: mcxErrorCb inside: %p", data);
    auto* self = static_cast<ImsMcxApplication*>(data);
    if (self == nullptr) return;
    imsaCallbackData_s record{imsaCallbackData_s::CONNECTION_ERROR, 0, nullptr, -1, 0};
    self->processMcxCb(record);
}

void ImsMcxApplication::processMcxCb(imsaCallbackData_s record) {
    IMS_LOG("ImsMcxApplication: processMcxCb");
    postEvent(record);
}

void ImsMcxApplication::processMcxInd(unsigned int msgId, unsigned char* data, unsigned char subId) {
    if (msgId != IMSA_CONFIG_TOKEN_REQUEST_IND_V01 || data == nullptr) return;
    imsa_config_token_request_ind_msg_v01 ind;
    std::memcpy(&ind, data, sizeof(ind));
    ImsAppServiceData event{ImsAppServiceData::TOKEN_REQUEST, subId,
                            ind.request_id_valid ? ind.request_id : 0, ind.token_type,
                            ind.request_reason};
    mListener(event);
}

void ImsMcxApplication::handleEvent(imsaCallbackData_s& ev) {
    IMS_LOG("ImsMcxApplication::handleEvent");
    if (ev.type == imsaCallbackData_s::INDICATION && ev.msgId == IMSA_CONFIG_TOKEN_REQUEST_IND_V01 &&
        ev.data != nullptr) {
        processMcxInd(ev.msgId, static_cast<unsigned char*>(ev.data),
                      static_cast<unsigned char>(ev.subId & 0xFF));
        free(ev.data);
        ev.data = nullptr;
    } else if (ev.type == imsaCallbackData_s::CONNECTION_ERROR) {
        modemDown();
    } else {
        IMS_LOG("ImsMcxApplication::handleEvent unhandled event: %d", ev.type);
        free(ev.data);  // the event owns it
        ev.data = nullptr;
    }
}
