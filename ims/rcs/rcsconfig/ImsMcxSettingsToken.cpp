// ACS token (0xA6) and token-fetch status (0xA7) requests.
#include <cstring>
#include <thread>

#include "imsservice/ImsLog.h"
#include "rcsconfig/ImsMcxSettings.h"

namespace {

// A token exchange fails on a transport error, or when the modem reports both
// a result and an error; a result alone (error 0) is the modem's way of saying
// "accepted with remarks" and counts as success.
bool tokenExchangeOk(int rc, const ims_settings_resp_hdr_v01& hdr) {
    return rc == MCX_NO_ERR && !(hdr.result != 0 && hdr.error != 0);
}

}  // namespace

bool ImsMcxSettings::sendAppToken(std::function<void(bool)> cb, int subId, std::string token) {
    auto* record = new rcsAppTokenData_s{this,
                                         0,
                                         std::vector<uint8_t>(token.begin(), token.end()),
                                         0,
                                         0,
                                         subId,
                                         mAppTokenRequestId.load(),
                                         std::move(cb)};
    IMS_LOG("ImsMcxSettings::sendAppToken starting new thread");
    startWorker(sendAppTokenData, record);
    IMS_LOG("ImsMcxSettings::sendAppToken end after thread detach");
    return true;
}

void ImsMcxSettings::sendAppTokenData(rcsAppTokenData_s* record) {
    ImsMcxSettings* self = record->owner;
    IMS_LOG("ImsMcxSettings: sendAppTokenData enter ");
    {
        android::Mutex::Autolock lock(self->mRequestMutex);
        self->sendAppTokenOnThread(record);
        IMS_LOG("ImsMcxSettings: sendAppTokenData end ");
        delete record;
    }
    self->workerFinished();
}

void ImsMcxSettings::sendAppTokenOnThread(rcsAppTokenData_s* record) {
    IMS_LOG("ImsMcxSettings::sendAppTokenOnThread reqid %d sub_id %d",
            static_cast<int>(record->requestKey), record->subId);
    ims_settings_set_acs_token_req_msg_v01 msg;
    memset(&msg, 0, sizeof(msg));
    if (record->token.empty() || record->token.size() > IMSS_ACS_TOKEN_MAX_V01) {
        IMS_LOG("ImsMcxSettings::sendAppTokenOnThread unsupport apptoken size");
        return;
    }
    msg.reserved = 0;
    msg.token_len = static_cast<uint32_t>(record->token.size());
    memcpy(msg.token, record->token.data(), record->token.size());
    imssClient* c = clientFor(record->subId);
    if (c == nullptr) return;
    bool ok = c->sendAppTokenMsg(msg);
    if (!ok) {
        IMS_LOG("ImsMcxSettings::sendAppTokenOnThread,failed to send settings in McxImssClient");
    }
    if (record->callback) record->callback(ok);
    android::Mutex::Autolock lock(mMapLock);
    mAppTokenCbs.erase(record->requestKey);
}

bool ImsMcxSettings::imssClient::sendAppTokenMsg(ims_settings_set_acs_token_req_msg_v01& msg) {
    IMS_LOG("ImsMcxSettings::imssClient: sendAppTokenMsg");
    ims_settings_set_acs_token_resp_msg_v01 resp;
    memset(&resp, 0, sizeof(resp));
    int rc = sendSync(IMSS_SET_ACS_TOKEN_V01, &msg, sizeof(msg), &resp, sizeof(resp));
    IMS_LOG("ImsMcxSettings:imssClient: retVal[%d], result[%d], error[%d]", rc, resp.resp.result,
            resp.resp.error);
    if (!tokenExchangeOk(rc, resp.resp)) {
        IMS_LOG("Sending of App Token. RetVal: %d", rc);
        return false;
    }
    IMS_LOG("Sending of App Token successfully");
    return true;
}

bool ImsMcxSettings::sendTokenFetchStatus(int subId, int reqId, TokenType tokenType,
                                          StatusCode statusCode) {
    auto* record = new rcsAppTokenData_s{this,
                                         reqId,
                                         {},
                                         static_cast<int32_t>(tokenType),
                                         static_cast<int32_t>(statusCode),
                                         subId,
                                         mAppTokenRequestId.load(),
                                         nullptr};
    IMS_LOG("ImsMcxSettings::sendTokenFetchStatus starting new thread");
    startWorker(updateAppTokenStatus, record);
    IMS_LOG("ImsMcxSettings::sendTokenFetchStatus end after thread detach");
    return true;
}

void ImsMcxSettings::updateAppTokenStatus(rcsAppTokenData_s* record) {
    ImsMcxSettings* self = record->owner;
    IMS_LOG("ImsMcxSettings::updateAppTokenStatus enter");
    {
        android::Mutex::Autolock lock(self->mRequestMutex);
        self->sendAppTokenStatusOnThread(record);
        delete record;
    }
    self->workerFinished();
}

void ImsMcxSettings::sendAppTokenStatusOnThread(rcsAppTokenData_s* record) {
    IMS_LOG("ImsMcxSettings::sendAppTokenStatusOnThread reqid %d sub_id %d", record->reqId,
            record->subId);
    ims_settings_update_acs_token_status_req_msg_v01 msg;
    memset(&msg, 0, sizeof(msg));
    msg.reserved = 0;
    msg.status_code = record->statusCode;
    msg.request_id_valid = 1;
    msg.request_id = record->reqId;
    imssClient* c = clientFor(record->subId);
    bool ok = c != nullptr && c->updateAppTokenStatusMsg(msg);
    if (ok) {
        IMS_LOG("ImsMcxSettings::sendAppTokenStatusOnThread, sent successfully");
    } else {
        IMS_LOG("ImsMcxSettings::sendAppTokenStatusOnThread,failed to send settings in McxImssClient");
    }
}

bool ImsMcxSettings::imssClient::updateAppTokenStatusMsg(
    ims_settings_update_acs_token_status_req_msg_v01& msg) {
    IMS_LOG("ImsMcxSettings::imssClient: updateAppTokenStatusMsg");
    ims_settings_update_acs_token_status_resp_msg_v01 resp;
    memset(&resp, 0, sizeof(resp));
    int rc = sendSync(IMSS_UPDATE_ACS_TOKEN_STATUS_V01, &msg, sizeof(msg), &resp, sizeof(resp));
    IMS_LOG("ImsMcxSettings:imssClient: retVal[%d], result[%d], error[%d]", rc, resp.resp.result,
            resp.resp.error);
    // The outcome lines share the upload's texts; log readers match on them.
    if (!tokenExchangeOk(rc, resp.resp)) {
        IMS_LOG("Sending of RCS configuration failed. RetVal: %d", rc);
        return false;
    }
    IMS_LOG("Sent rcs configuration successfully");
    return true;
}
