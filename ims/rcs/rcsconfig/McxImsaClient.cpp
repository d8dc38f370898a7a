#include "rcsconfig/McxImsaClient.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "imsservice/ImsLog.h"
#include "ims_application_service_v01.h"
#include "rcsconfig/ImsMcxApplication.h"

namespace {

constexpr unsigned int kTimeoutMs = 1000;

mcx_idl_service_object_type imsaService() {
    return imsa_get_service_object_internal_v01(1, 0x2C, 6);
}

unsigned int handleText(mcx_client_type h) {
    return static_cast<unsigned int>(reinterpret_cast<uintptr_t>(h));
}

}  // namespace

McxImsaClient::McxImsaClient(uint8_t sub, void* owner)
    : mSub(sub), mOwner(static_cast<ImsMcxApplication*>(owner)), mHandle(nullptr) {
    std::memset(&mOsParams, 0, sizeof(mOsParams));
}

McxImsaClient::~McxImsaClient() { deInit(); }

bool McxImsaClient::init() {
    mcx_idl_service_object_type svc = imsaService();
    mcx_service_info info;
    std::memset(&info, 0, sizeof(info));
    mcx_client_get_any_service(svc, &info);  // a failure shows in mcx_client_init
    if (mHandle != nullptr) return true;
    std::memset(&mOsParams, 0, sizeof(mOsParams));
    int rc = mcx_client_init(&info, svc, handleMcxIndication, this, &mOsParams, &mHandle);
    if (rc != MCX_NO_ERR) {
        IMS_LOG("%s :mcx_client_init error. ErrCode : %d", "McxImsaClient::init", rc);
        mHandle = nullptr;
        return false;
    }
    return true;
}

void McxImsaClient::deInit() {
    if (mHandle != nullptr) {
        mcx_client_release(mHandle);
        mHandle = nullptr;
    }
}

int McxImsaClient::bindToSubscription(int sub) {
    IMS_LOG("[x%x] bindToSubscription: %d", handleText(mHandle), sub);
    imsa_bind_subscription_req_msg_v01 req;
    std::memset(&req, 0, sizeof(req));
    req.subscription_valid = 1;
    req.subscription = sub;
    imsa_bind_subscription_resp_msg_v01 resp;
    std::memset(&resp, 0, sizeof(resp));
    return mcx_client_send_msg_sync(mHandle, IMSA_BIND_SUBSCRIPTION_V01, &req, sizeof(req), &resp,
                                    sizeof(resp), kTimeoutMs);
}

bool McxImsaClient::sendIndicationRegistration(unsigned long mask, bool report) {
    imsa_ind_reg_req_msg_v01 req;
    std::memset(&req, 0, sizeof(req));
    if (mask & CONFIG_TOKEN_REQUEST_MASK) {
        req.reg[IMSA_CONFIG_TOKEN_REQUEST_PAIR_V01][0] = 1;
        req.reg[IMSA_CONFIG_TOKEN_REQUEST_PAIR_V01][1] = report ? 1 : 0;
    }
    imsa_ind_reg_resp_msg_v01 resp;
    std::memset(&resp, 0, sizeof(resp));
    int rc = mcx_client_send_msg_sync(mHandle, IMSA_IND_REGISTER_V01, &req, sizeof(req), &resp,
                                      sizeof(resp), kTimeoutMs);
    IMS_LOG("[x%x] registerForIndication: %s", handleText(mHandle), rc == MCX_NO_ERR ? "Success" : "FAILED");
    return rc == MCX_NO_ERR;
}

void McxImsaClient::registerForIndication(unsigned long mask) {
    IMS_LOG("[x%x] registerForIndication: %ld", handleText(mHandle), static_cast<long>(mask));
    if (mask == 0) return;
    sendIndicationRegistration(mask, true);
}

void McxImsaClient::deregisterForIndication(unsigned long mask) {
    IMS_LOG("[x%x] deregisterForIndication: %ld", handleText(mHandle), static_cast<long>(mask));
    if (mask == 0) return;
    sendIndicationRegistration(mask, false);
}

void McxImsaClient::addRemoveIndication(unsigned long mask, bool add) {
    if (mask == 0) return;
    sendIndicationRegistration(mask, add);
}

void handleMcxIndication(mcx_client_struct* handle, unsigned int msgId, void* ind_buf,
                         unsigned int ind_buf_len, void* ind_cb_data) {
    if (msgId != IMSA_CONFIG_TOKEN_REQUEST_IND_V01 || ind_cb_data == nullptr) return;
    auto* client = static_cast<McxImsaClient*>(ind_cb_data);
    const unsigned int size = sizeof(imsa_config_token_request_ind_msg_v01);
    void* decoded = calloc(1, size);
    if (decoded == nullptr) {
        IMS_LOG("McxImsaClient:: failed to allocate memory to indDecodedData");
        return;
    }
    if (mcx_client_message_decode(handle, MCX_IDL_INDICATION, msgId, ind_buf, ind_buf_len, decoded,
                                  size) != MCX_NO_ERR) {
        IMS_LOG("McxImsaClient::mcx_client_message_decode failed");
        free(decoded);
        return;
    }
    imsaCallbackData_s record{imsaCallbackData_s::INDICATION, msgId, decoded, client->subscription(), 0};
    client->owner()->processMcxCb(record);
}
