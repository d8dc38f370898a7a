// Settings-group requests: write, read, change registration and its removal.
#include <cstdlib>
#include <cstring>
#include <thread>

#include "imsservice/ImsLog.h"
#include "rcsconfig/ImsMcxSettings.h"

namespace {

// The group whose write (isWrite) or read id is msgId, or null.
const imss_settings_group_v01* groupOf(uint32_t msgId, bool isWrite) {
    const imss_settings_group_v01* group = imss_settings_group_by_msg_id(msgId);
    if (group == nullptr) return nullptr;
    return (isWrite ? group->set_msg_id : group->get_msg_id) == msgId ? group : nullptr;
}

bool headerOk(const void* resp) {
    const auto* hdr = static_cast<const ims_settings_resp_hdr_v01*>(resp);
    return hdr->result == 0 && hdr->error == 0;
}

const ImsMcxSettings::RequestLines kWrite{
    "sendRcsSettings", "ImsMcxSettings:sendRcsSettings starting new thread",
    "ImsMcxSettings:sendRcsSettings end after thread detach",
    "ImsMcxSettings: sendRcsSettingData enter ", nullptr};
const ImsMcxSettings::RequestLines kRead{
    "receiveRcsSettings", "ImsMcxSettings:receiveRcsSettings starting new thread",
    "ImsMcxSettings:receiveRcsSettings end after thread detach",
    "ImsMcxSettings: receiveRcsSettingData enter ", nullptr};
const ImsMcxSettings::RequestLines kRegister{
    "registerForRcsSettingsUpdate", "ImsMcxSettings:registerForRcsSettingsUpdate starting new thread",
    "ImsMcxSettings:registerForRcsSettingsUpdate end after thread detach",
    "ImsMcxSettings: registerForSettingsUpdate enter ", nullptr};

}  // namespace

bool ImsMcxSettings::sendRcsSettings(std::function<void(bool)> cb, int subId, int msgId,
                                     void* msgData) {
    return startFiled(mSetSettingsCbs, std::move(cb), subId, msgId, msgData, sendRcsSettingData, kWrite);
}

void ImsMcxSettings::SendSettingOnThread(rcs_settings_data_s* record) {
    IMS_LOG("ImsMcxSettings::SendSettingOnThread reqid %d sub_id %d ",
            static_cast<int>(record->requestKey), record->subId);
    serveFiled(mSetSettingsCbs, record, &imssClient::sendSettingMsg,
               "ImsMcxSettings::SendSettingOnThread,failed to send settings in imssclient",
               [](const std::function<void(bool)>& cb, bool ok) { cb(ok); });
}

bool ImsMcxSettings::receiveRcsSettings(std::function<void(int, void*)> cb, int subId, int msgId,
                                        void* msgData) {
    return startFiled(mGetSettingsCbs, std::move(cb), subId, msgId, msgData, receiveRcsSettingData,
                      kRead);
}

void ImsMcxSettings::ReceiveSettingOnThread(rcs_settings_data_s* record) {
    IMS_LOG("ImsMcxSettings::ReceiveSettingOnThread reqid %d sub_id %d ",
            static_cast<int>(record->requestKey), record->subId);
    // The callback converts or copies the response before it is freed.
    serveFiled(mGetSettingsCbs, record, &imssClient::receiveSettingMsg,
               "ImsMcxSettings::ReceiveSettingOnThread,failed to receive settings in imssclient",
               [record](const std::function<void(int, void*)>& cb, bool ok) {
                   cb(static_cast<int>(record->msgId), ok ? record->msgData : nullptr);
               });
}

bool ImsMcxSettings::imssClient::sendSettingMsg(rcs_settings_data_s* record) {
    return exchangeSettings(record, true);
}

bool ImsMcxSettings::imssClient::receiveSettingMsg(rcs_settings_data_s* record) {
    return exchangeSettings(record, false);
}

bool ImsMcxSettings::imssClient::exchangeSettings(rcs_settings_data_s* record, bool isWrite) {
    const imss_settings_group_v01* group = groupOf(record->msgId, isWrite);
    if (group == nullptr || record->msgData == nullptr) {
        IMS_LOG("Invalid Setting ID passed");
        return false;
    }
    // The half of the exchange the record does not carry: a write's 16-byte
    // response, a read's request (one zero byte).
    const unsigned int scratchLen = isWrite ? sizeof(ims_settings_set_config_resp_msg_v01)
                                            : sizeof(ims_settings_get_config_req_msg_v01);
    void* scratch = calloc(1, scratchLen);
    if (scratch == nullptr) {
        IMS_LOG("Failed to allocate memory for response message");
        return false;
    }
    int rc;
    bool ok;
    if (isWrite) {
        rc = sendSync(record->msgId, record->msgData, group->set_len, scratch, scratchLen);
        IMS_LOG("Failed mcx_client_send_msg_sync, error: %d", rc);
        ok = rc == MCX_NO_ERR && headerOk(scratch);
    } else {
        rc = sendSync(record->msgId, scratch, scratchLen, record->msgData, group->get_resp_len);
        IMS_LOG(" receiveSettingMsg retVal received %d", rc);
        ok = rc == MCX_NO_ERR && headerOk(record->msgData);
    }
    free(scratch);
    return ok;
}

bool ImsMcxSettings::registerForRcsSettingsUpdate(std::function<void(int, void*)> cb, int subId,
                                                  int settingsId) {
    // First listener wins; a second registration for the group only repeats
    // the modem registration.
    if (!mSettingsListeners.file(static_cast<unsigned int>(settingsId), std::move(cb))) {
        IMS_LOG("ImsMcxSettings:registerForRcsSettingsUpdate group %d already has a "
                "listener, first one kept",
                settingsId);
    }
    return startRequest(new rcs_settings_data_s{this, static_cast<uint32_t>(settingsId), nullptr, subId, 0},
                        registerForSettingsUpdate, kRegister);
}

void ImsMcxSettings::UpdateSettingOnThread(rcs_settings_data_s* record) {
    IMS_LOG("ImsMcxSettings::UpdateSettingOnThread reqid %d sub_id %d ",
            static_cast<int>(record->requestKey), record->subId);
    imssClient* c = clientFor(record->subId);
    if (c == nullptr) return;
    if (c->updateSettingMsg(static_cast<int>(record->msgId))) {
        IMS_LOG("ImsMcxSettings::UpdateSettingOnThread, success");
    } else {
        IMS_LOG("ImsMcxSettings::UpdateSettingOnThread,failed to receive settings in imssclient");
    }
}

bool ImsMcxSettings::imssClient::updateSettingMsg(int group) {
    IMS_LOG("ImsMcxSettings::UpdateSettingOnThread: %d", group);
    ims_settings_config_ind_reg_req_msg_v01 req;
    memset(&req, 0, sizeof(req));
    const imss_settings_group_v01* g = imss_settings_group_by_id(group);
    if (g != nullptr && g->ind_reg_offset + 1 < sizeof(req.reg)) {
        req.reg[g->ind_reg_offset] = 1;      // valid flag
        req.reg[g->ind_reg_offset + 1] = 1;  // report flag
    } else {
        IMS_LOG("UpdateSettingOnThread: registration for indication default");
    }
    ims_settings_config_ind_reg_resp_msg_v01 resp;
    memset(&resp, 0, sizeof(resp));
    int rc = sendSync(IMSS_CONFIG_IND_REGISTER_V01, &req, sizeof(req), &resp, sizeof(resp));
    IMS_LOG("UpdateSettingOnThread: registration for indication,errorcode: %d", rc);
    if (rc != MCX_NO_ERR) {
        IMS_LOG("registration for indication failed %d", rc);
        return false;
    }
    return true;
}

bool ImsMcxSettings::deregisterForRcsSettingsUpdate(int settingsId) {
    IMS_LOG("ImsMcxSettings:deregisterForRcsSettingsUpdate starting new thread");
    if (mSettingsListeners.erase(static_cast<unsigned int>(settingsId))) {
        IMS_LOG("ImsMcxSettings:deregisterForRcsSettingsUpdate end,listener found for settingsId: %d",
                settingsId);
        return true;
    }
    IMS_LOG("ImsMcxSettings:deregisterForRcsSettingsUpdate listener not available");
    return false;
}

// Worker entries: each kind's body runs through the request runner.
void ImsMcxSettings::sendRcsSettingData(rcs_settings_data_s* record) {
    runRequest(record, kWrite, &ImsMcxSettings::SendSettingOnThread);
}

void ImsMcxSettings::receiveRcsSettingData(rcs_settings_data_s* record) {
    runRequest(record, kRead, &ImsMcxSettings::ReceiveSettingOnThread);
}

void ImsMcxSettings::registerForSettingsUpdate(rcs_settings_data_s* record) {
    runRequest(record, kRegister, &ImsMcxSettings::UpdateSettingOnThread);
}
