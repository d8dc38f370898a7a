// ImsMcxSettings::imssClient: one connection of the IMS Settings service bound
// to a subscription, and the one place where its requests reach the modem.
#include <cstring>

#include "imsservice/ImsLog.h"
#include "rcsconfig/ImsMcxSettings.h"

namespace {
constexpr unsigned int kRequestTimeoutMs = 1000;
}  // namespace

ImsMcxSettings::imssClient::imssClient(ImsMcxSettings* owner, int sub)
    : mSub(sub), mOwner(owner) {
    memset(&mOsParams, 0, sizeof(mOsParams));
}

ImsMcxSettings::imssClient::~imssClient() {
    mSub = -1;
    mcx_client_type handle = mHandle.exchange(nullptr);
    if (handle != nullptr) {
        IMS_LOG("ImsMcxSettings:imssClient Destructor");
        mcx_client_release(handle);
    }
}

bool ImsMcxSettings::imssClient::initClient() {
    mcx_idl_service_object_type svc = imss_get_service_object_internal_v01(1, 0x67, 6);
    mcx_service_info info;
    memset(&info, 0, sizeof(info));
    mcx_client_get_any_service(svc, &info);
    memset(&mOsParams, 0, sizeof(mOsParams));
    mcx_client_type handle = nullptr;
    // Per-subscription connections get no error callback: a modem restart is
    // seen on the service-wide connection, which takes all of them down.
    int rc = mcx_client_init(&info, svc, ImsMcxSettings::mcxImsSettingsSvcIndCb, mOwner,
                             &mOsParams, &handle);
    if (rc != MCX_NO_ERR) {
        IMS_LOG("ImsMcxSettings:mcx_client_init error. ErrCode : %d", rc);
        return false;
    }
    mHandle.store(handle);

    IMS_LOG("ImsMcxSettings:imssClient: binding to sub[%d]", mSub);
    ims_settings_bind_subscription_req_msg_v01 req;
    memset(&req, 0, sizeof(req));
    req.subscription = mSub;
    ims_settings_bind_subscription_resp_msg_v01 resp;
    memset(&resp, 0, sizeof(resp));
    rc = sendSync(IMSS_BIND_SUBSCRIPTION_V01, &req, sizeof(req), &resp, sizeof(resp));
    IMS_LOG("ImsMcxSettings:imssClient: res[%d], common_resp_valid?[%d], common_resp[%d]", rc,
            resp.common_resp_valid, static_cast<int>(resp.common_resp));
    IMS_LOG("ImsMcxSettings:imssClient: result[%d], error[%d]", resp.resp.result,
            resp.resp.error);
    // The response header is informational only: the bind counts when the
    // message went through.
    if (rc == MCX_NO_ERR) {
        IMS_LOG("ImsMcxSettings:imssClient: Bind subscription success");
        return true;
    }
    IMS_LOG("ImsMcxSettings:imssClient: Bind subscription fail");
    return false;
}

void ImsMcxSettings::imssClient::modemDown() {
    mcx_client_type handle = mHandle.exchange(nullptr);
    if (handle != nullptr) mcx_client_release(handle);
}

int ImsMcxSettings::imssClient::sendSync(unsigned int msgId, void* req, unsigned int reqLen,
                                         void* resp, unsigned int respLen) {
    return mcx_client_send_msg_sync(mHandle.load(), msgId, req, reqLen, resp, respLen,
                                    kRequestTimeoutMs);
}
