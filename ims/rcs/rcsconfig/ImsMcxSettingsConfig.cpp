// Carrier-configuration upload: the document goes to the modem in segments of
// at most 2000 bytes on the subscription's connection; the modem's verdict
// arrives later as indication 0x9D, matched by the upload's 8-bit token.
#include <algorithm>
#include <cstring>
#include <system_error>
#include <thread>

#include "imsservice/ImsLog.h"
#include "rcsconfig/ImsMcxSettings.h"

namespace {
const ImsMcxSettings::RequestLines kUpload{"sendRcsConfig", nullptr,
                                           "ImsMcxSettings:sendRcsConfig end after thread detach",
                                           "ImsMcxSettings: newthread ", nullptr};
}  // namespace

bool ImsMcxSettings::sendRcsConfig(std::function<void(bool)> cb, int subId,
                                   std::vector<uint8_t> config, bool isGzipped) {
    // Logged first: a reused token's line follows it.
    IMS_LOG("ImsMcxSettings:sendRcsConfig starting new thread");
    auto* record = new configData_s{this, std::move(config), isGzipped, mConfigToken.load(), subId};
    int token = mConfigToken.load();
    // First callback wins: once the counter has wrapped, a reused token keeps
    // answering the upload that first used it until the modem restarts.
    if (!mConfigCbs.file(token, std::move(cb))) {
        IMS_LOG("ImsMcxSettings:sendRcsConfig token %d already in use, new callback not filed", token);
    }
    mConfigToken.fetch_add(1);
    return startRequest(static_cast<void*>(record), sendConfigdata, kUpload);
}

void ImsMcxSettings::sendConfigdata(void* arg) {
    runRequest(static_cast<configData_s*>(arg), kUpload, &ImsMcxSettings::SendConfigOnThread);
}

void ImsMcxSettings::SendConfigOnThread(configData_s* record) {
    IMS_LOG("ImsMcxSettings::SendConfigOnThread subid %d", record->subId);
    imssClient* c = clientFor(record->subId);
    if (c == nullptr) return;
    if (c->sendConfigMsg(record)) return;  // the verdict comes with indication 0x9D
    IMS_LOG("ImsMcxSettings::SendConfigOnThread,failed to send config in imssclient");
    std::function<void(bool)> cb = mConfigCbs.find(record->token);
    if (cb) cb(false);
}

bool ImsMcxSettings::imssClient::sendConfigMsg(configData_s* record) {
    constexpr size_t kSegment = IMSS_CARRIER_CONFIG_SEGMENT_MAX_V01;
    // One message buffer for the whole upload: bytes past a short last
    // segment's length keep what the previous segment left there.
    ims_settings_set_new_carrier_config_req_msg_v01 msg;
    memset(&msg, 0, sizeof(msg));
    const std::vector<uint8_t>& doc = record->data;
    msg.is_gzipped = record->isGzipped ? 1 : 0;
    msg.token = static_cast<uint8_t>(record->token);
    // Announced as length / 2000 + 1 in 8 bits: an exact multiple of 2000, or
    // more than 255 segments, can never match the count actually sent, and
    // such uploads end in failure.
    msg.seg_count = static_cast<uint8_t>(doc.size() / kSegment + 1);
    IMS_LOG("ImsMcxSettings:sendRcsConfigRequestMessage send token[%d] seg_count[%d], "
            "isGzipped[%d], subid [%d]",
            msg.token, msg.seg_count, msg.is_gzipped, mSub);
    if (doc.empty()) return false;

    size_t sent = 0;
    int seq = 1;
    for (size_t offset = 0; offset < doc.size(); offset += kSegment, ++seq) {
        size_t len = std::min(doc.size() - offset, kSegment);
        msg.seq_num = static_cast<uint8_t>(seq);
        msg.config_len = static_cast<uint32_t>(len);
        memcpy(msg.config, doc.data() + offset, len);
        IMS_LOG("ImsMcxSettings:sendRcsConfigRequestMessage  send seqNum[%d], i = 0[%i]", seq,
                static_cast<int>(offset));
        if (!sendRcsConfigRequestMessage(msg)) {
            IMS_LOG("ImsMcxSettings:sendRcsConfigRequestMessage  FAILED");
            return false;
        }
        ++sent;
    }
    if (sent != msg.seg_count) {
        IMS_LOG("ImsMcxSettings:sendRcsConfigRequestMessage sent %d segments, announced %d",
                static_cast<int>(sent), msg.seg_count);
        return false;
    }
    return true;
}

bool ImsMcxSettings::imssClient::sendRcsConfigRequestMessage(
    ims_settings_set_new_carrier_config_req_msg_v01& msg) {
    ims_settings_set_new_carrier_config_resp_msg_v01 resp;
    memset(&resp, 0, sizeof(resp));
    int rc = sendSync(IMSS_SET_NEW_CARRIER_CONFIG_V01, &msg, sizeof(msg), &resp, sizeof(resp));
    IMS_LOG("ImsMcxSettings:imssClient: retVal[%d], seg_status_resp_valid?[%d], common_resp[%d]",
            rc, resp.seg_status_valid, static_cast<int>(resp.seg_status));
    IMS_LOG("ImsMcxSettings:imssClient: result[%d], error[%d]", resp.resp.result,
            resp.resp.error);
    // Only the transport and the segment status decide; the response header
    // is not consulted for segments.
    if (rc != MCX_NO_ERR || (resp.seg_status_valid == 1 && resp.seg_status != 0)) {
        IMS_LOG("Sending of RCS configuration failed. RetVal: %d", rc);
        return false;
    }
    IMS_LOG("Sent rcs configuration successfully");
    return true;
}
