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

}  // namespace

bool ImsMcxSettings::sendRcsSettings(std::function<void(bool)> cb, int subId, int msgId,
                                     void* msgData) {
    auto* record = new rcs_settings_data_s{this, static_cast<uint32_t>(msgId), msgData, subId,
                                           mSettingsRequestId.fetch_add(1)};
    {
        android::Mutex::Autolock lock(mMapLock);
        if (!mSetSettingsCbs.emplace(record->requestKey, std::move(cb)).second) {
            IMS_LOG("ImsMcxSettings:sendRcsSettings request %d already pending, first callback kept",
                    static_cast<int>(record->requestKey));
        }
    }
    IMS_LOG("ImsMcxSettings:sendRcsSettings starting new thread");
    startWorker(sendRcsSettingData, record);
    IMS_LOG("ImsMcxSettings:sendRcsSettings end after thread detach");
    return true;
}

void ImsMcxSettings::sendRcsSettingData(rcs_settings_data_s* record) {
    ImsMcxSettings* self = record->owner;
    IMS_LOG("ImsMcxSettings: sendRcsSettingData enter ");
    {
        android::Mutex::Autolock lock(self->mRequestMutex);
        self->SendSettingOnThread(record);
        delete record;
    }
    self->workerFinished();
}

void ImsMcxSettings::SendSettingOnThread(rcs_settings_data_s* record) {
    IMS_LOG("ImsMcxSettings::SendSettingOnThread reqid %d sub_id %d ",
            static_cast<int>(record->requestKey), record->subId);
    imssClient* c = clientFor(record->subId);
    if (c == nullptr) {
        // No callback comes for a subscription without a connection; the
        // message itself is not leaked.
        free(record->msgData);
        record->msgData = nullptr;
        return;
    }
    std::function<void(bool)> cb;
    {
        android::Mutex::Autolock lock(mMapLock);
        auto it = mSetSettingsCbs.find(record->requestKey);
        if (it != mSetSettingsCbs.end()) cb = it->second;
    }
    bool ok = c->sendSettingMsg(record);
    if (ok) {
        if (cb) cb(true);
    } else {
        IMS_LOG("ImsMcxSettings::SendSettingOnThread,failed to send settings in imssclient");
        if (cb) cb(false);
    }
    // A write with an id the client does not know keeps its message; free it here.
    free(record->msgData);
    record->msgData = nullptr;
    android::Mutex::Autolock lock(mMapLock);
    mSetSettingsCbs.erase(record->requestKey);
}

bool ImsMcxSettings::imssClient::sendSettingMsg(rcs_settings_data_s* record) {
    const imss_settings_group_v01* group = groupOf(record->msgId, true);
    if (group == nullptr || record->msgData == nullptr) {
        IMS_LOG("Invalid Setting ID passed");
        return false;
    }
    void* resp = calloc(1, sizeof(ims_settings_set_config_resp_msg_v01));
    if (resp == nullptr) {
        IMS_LOG("Failed to allocate memory for response message");
        return false;
    }
    int rc = sendSync(record->msgId, record->msgData, group->set_len, resp,
                      sizeof(ims_settings_set_config_resp_msg_v01));
    IMS_LOG("Failed mcx_client_send_msg_sync, error: %d", rc);
    bool ok = rc == MCX_NO_ERR && headerOk(resp);
    free(resp);
    free(record->msgData);
    record->msgData = nullptr;
    return ok;
}

bool ImsMcxSettings::receiveRcsSettings(std::function<void(int, void*)> cb, int subId, int msgId,
                                        void* msgData) {
    auto* record = new rcs_settings_data_s{this, static_cast<uint32_t>(msgId), msgData, subId,
                                           mSettingsRequestId.fetch_add(1)};
    {
        android::Mutex::Autolock lock(mMapLock);
        if (!mGetSettingsCbs.emplace(record->requestKey, std::move(cb)).second) {
            IMS_LOG("ImsMcxSettings:receiveRcsSettings request %d already pending, first callback kept",
                    static_cast<int>(record->requestKey));
        }
    }
    IMS_LOG("ImsMcxSettings:receiveRcsSettings starting new thread");
    startWorker(receiveRcsSettingData, record);
    IMS_LOG("ImsMcxSettings:receiveRcsSettings end after thread detach");
    return true;
}

void ImsMcxSettings::receiveRcsSettingData(rcs_settings_data_s* record) {
    ImsMcxSettings* self = record->owner;
    IMS_LOG("ImsMcxSettings: receiveRcsSettingData enter ");
    {
        android::Mutex::Autolock lock(self->mRequestMutex);
        self->ReceiveSettingOnThread(record);
        delete record;
    }
    self->workerFinished();
}

void ImsMcxSettings::ReceiveSettingOnThread(rcs_settings_data_s* record) {
    IMS_LOG("ImsMcxSettings::ReceiveSettingOnThread reqid %d sub_id %d ",
            static_cast<int>(record->requestKey), record->subId);
    imssClient* c = clientFor(record->subId);
    if (c == nullptr) {
        free(record->msgData);
        record->msgData = nullptr;
        return;
    }
    std::function<void(int, void*)> cb;
    {
        android::Mutex::Autolock lock(mMapLock);
        auto it = mGetSettingsCbs.find(record->requestKey);
        if (it != mGetSettingsCbs.end()) cb = it->second;
    }
    int msgId = static_cast<int>(record->msgId);
    if (c->receiveSettingMsg(record)) {
        if (cb) cb(msgId, record->msgData);
    } else {
        IMS_LOG("ImsMcxSettings::ReceiveSettingOnThread,failed to receive settings in imssclient");
        if (cb) cb(msgId, nullptr);
    }
    {
        android::Mutex::Autolock lock(mMapLock);
        mGetSettingsCbs.erase(record->requestKey);
    }
    free(record->msgData);
    record->msgData = nullptr;
}

bool ImsMcxSettings::imssClient::receiveSettingMsg(rcs_settings_data_s* record) {
    const imss_settings_group_v01* group = groupOf(record->msgId, false);
    if (group == nullptr || record->msgData == nullptr) {
        IMS_LOG("Invalid Setting ID passed");
        return false;
    }
    auto* req = static_cast<ims_settings_get_config_req_msg_v01*>(
        calloc(1, sizeof(ims_settings_get_config_req_msg_v01)));
    if (req == nullptr) {
        IMS_LOG("Failed to allocate memory for response message");
        return false;
    }
    int rc = sendSync(record->msgId, req, sizeof(*req), record->msgData, group->get_resp_len);
    IMS_LOG(" receiveSettingMsg retVal received %d", rc);
    bool ok = rc == MCX_NO_ERR && headerOk(record->msgData);
    free(req);
    return ok;
}

bool ImsMcxSettings::registerForRcsSettingsUpdate(std::function<void(int, void*)> cb, int subId,
                                                  int settingsId) {
    {
        android::Mutex::Autolock lock(mMapLock);
        // First listener wins; a second registration for the group only
        // repeats the modem registration.
        if (!mSettingsListeners.emplace(static_cast<unsigned int>(settingsId), std::move(cb))
                 .second) {
            IMS_LOG("ImsMcxSettings:registerForRcsSettingsUpdate group %d already has a "
                    "listener, first one kept",
                    settingsId);
        }
    }
    auto* record = new rcs_settings_data_s{this, static_cast<uint32_t>(settingsId), nullptr,
                                           subId, 0};
    IMS_LOG("ImsMcxSettings:registerForRcsSettingsUpdate starting new thread");
    startWorker(registerForSettingsUpdate, record);
    IMS_LOG("ImsMcxSettings:registerForRcsSettingsUpdate end after thread detach");
    return true;
}

void ImsMcxSettings::registerForSettingsUpdate(rcs_settings_data_s* record) {
    ImsMcxSettings* self = record->owner;
    IMS_LOG("ImsMcxSettings: registerForSettingsUpdate enter ");
    {
        android::Mutex::Autolock lock(self->mRequestMutex);
        self->UpdateSettingOnThread(record);
        delete record;
    }
    self->workerFinished();
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
    size_t erased;
    {
        android::Mutex::Autolock lock(mMapLock);
        erased = mSettingsListeners.erase(static_cast<unsigned int>(settingsId));
    }
    if (erased != 0) {
        IMS_LOG("ImsMcxSettings:deregisterForRcsSettingsUpdate end,listener found for settingsId: %d",
                settingsId);
        return true;
    }
    IMS_LOG("ImsMcxSettings:deregisterForRcsSettingsUpdate listener not available");
    return false;
}
