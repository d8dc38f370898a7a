// ACS token (0xA6) and token-fetch status (0xA7) requests.
#include <cstring>
#include <thread>

#include "imsservice/ImsLog.h"
#include "rcsconfig/ImsMcxSettings.h"

namespace {

const ImsMcxSettings::RequestLines kToken{
    "sendAppToken", "ImsMcxSettings::sendAppToken starting new thread",
    "ImsMcxSettings::sendAppToken end after thread detach", "ImsMcxSettings: sendAppTokenData enter ",
    "ImsMcxSettings: sendAppTokenData end "};
const ImsMcxSettings::RequestLines kTokenStatus{
    "sendTokenFetchStatus", "ImsMcxSettings::sendTokenFetchStatus starting new thread",
    "ImsMcxSettings::sendTokenFetchStatus end after thread detach",
    "ImsMcxSettings::updateAppTokenStatus enter", nullptr};

}  // namespace

// Worker entries: each kind's body runs through the request runner.
void ImsMcxSettings::sendAppTokenData(rcsAppTokenData_s* record) {
    runRequest(record, kToken, &ImsMcxSettings::sendAppTokenOnThread);
}

void ImsMcxSettings::updateAppTokenStatus(rcsAppTokenData_s* record) {
    runRequest(record, kTokenStatus, &ImsMcxSettings::sendAppTokenStatusOnThread);
}

bool ImsMcxSettings::sendAppToken(std::function<void(bool)> cb, int subId, std::string token) {
    return startRequest(new rcsAppTokenData_s{this, 0, std::vector<uint8_t>(token.begin(), token.end()),
                                              0, 0, subId, mAppTokenRequestId.load(), std::move(cb)},
                        sendAppTokenData, kToken);
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
    mAppTokenCbs.erase(record->requestKey);
}

bool ImsMcxSettings::imssClient::sendAppTokenMsg(ims_settings_set_acs_token_req_msg_v01& msg) {
    IMS_LOG("ImsMcxSettings::imssClient: sendAppTokenMsg");
    return exchangeToken(IMSS_SET_ACS_TOKEN_V01, &msg, sizeof(msg), false);
}

bool ImsMcxSettings::sendTokenFetchStatus(int subId, int reqId, TokenType tokenType,
                                          StatusCode statusCode) {
    return startRequest(new rcsAppTokenData_s{this, reqId, {}, static_cast<int32_t>(tokenType),
                                              static_cast<int32_t>(statusCode), subId,
                                              mAppTokenRequestId.load(), nullptr},
                        updateAppTokenStatus, kTokenStatus);
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
    return exchangeToken(IMSS_UPDATE_ACS_TOKEN_STATUS_V01, &msg, sizeof(msg), true);
}

bool ImsMcxSettings::imssClient::exchangeToken(unsigned int msgId, void* msg, unsigned int len,
                                               bool isStatus) {
    // Both token messages answer with the bare response header.
    ims_settings_resp_hdr_v01 resp;
    memset(&resp, 0, sizeof(resp));
    int rc = sendSync(msgId, msg, len, &resp, sizeof(resp));
    IMS_LOG("ImsMcxSettings:imssClient: retVal[%d], result[%d], error[%d]", rc, resp.result,
            resp.error);
    // Failure is a transport error, or a result and an error together; a
    // result alone (error 0) is the modem's "accepted with remarks".
    const bool ok = rc == MCX_NO_ERR && !(resp.result != 0 && resp.error != 0);
    // The status report's outcome lines share the upload's texts; log
    // readers match on them.
    if (!ok && isStatus) {
        IMS_LOG("Sending of RCS configuration failed. RetVal: %d", rc);
    } else if (!ok) {
        IMS_LOG("Sending of App Token. RetVal: %d", rc);
    } else if (isStatus) {
        IMS_LOG("Sent rcs configuration successfully");
    } else {
        IMS_LOG("Sending of App Token successfully");
    }
    return ok;
}
