#include "SettingsService.h"

#include <cstring>

namespace mcxemu {

namespace {

void putHeader(std::vector<uint8_t>& resp, int32_t result, int32_t error) {
    ims_settings_resp_hdr_v01 hdr{result, error};
    std::memcpy(resp.data(), &hdr, sizeof(hdr));
}

uint32_t valueSize(const imss_settings_field_v01& f) {
    switch (f.type) {
        case IMSS_VALUE_UINT32: return 4;
        case IMSS_VALUE_CHARS: return f.capacity;
        default: return 1;
    }
}

bool validSubscription(int32_t sub) { return sub >= 0 && sub < kSubscriptionCount; }

}  // namespace

SettingsService::SettingsService(IndicationOut& out) : mOut(out) {
    for (auto& sub : mStored) {
        for (size_t g = 0; g < sub.size(); ++g) sub[g].assign(imss_settings_groups_v01[g].set_len, 0);
    }
}

void SettingsService::connect(uint64_t connId) { mSessions[connId] = Session{}; }

void SettingsService::disconnect(uint64_t connId) { mSessions.erase(connId); }

void SettingsService::serviceStopped() { mUploads.clear(); }

int32_t SettingsService::subscriptionOf(uint64_t connId) const {
    auto it = mSessions.find(connId);
    return it == mSessions.end() ? 0 : it->second.subscription;
}

ModemReply SettingsService::handle(uint64_t connId, uint32_t msgId, const uint8_t* req, size_t len,
                                   uint32_t respLen) {
    (void)len;
    ModemReply reply;
    reply.response.assign(respLen, 0);
    Session& s = mSessions[connId];
    if (const auto* g = imss_settings_group_by_msg_id(msgId)) {
        if (msgId == g->set_msg_id) writeGroup(*g, s, req, reply.response);
        else readGroup(*g, s, reply.response);
        return reply;
    }
    switch (msgId) {
        case IMSS_GET_SUPPORTED_MSGS_V01: supportedMessages(reply.response); break;
        case IMSS_BIND_SUBSCRIPTION_V01: bind(s, req, reply.response); break;
        case IMSS_CONFIG_IND_REGISTER_V01: registerIndications(s, req); break;
        case IMSS_SET_NEW_CARRIER_CONFIG_V01: configSegment(connId, s, req, reply.response); break;
        case IMSS_SET_ACS_TOKEN_V01: acsTokenMsg(s, req, reply.response); break;
        case IMSS_UPDATE_ACS_TOKEN_STATUS_V01: tokenStatusMsg(s, req); break;
        default: putHeader(reply.response, kResultFailure, kErrorMalformedMessage); break;
    }
    return reply;
}

void SettingsService::supportedMessages(std::vector<uint8_t>& resp) const {
    ims_settings_get_supported_msgs_resp_msg_v01 msg{};
    const auto* svc = imss_get_service_object_internal_v01(1, IMSS_IDL_MINOR_VERS_V01, 6);
    uint32_t highest = 0;
    for (size_t i = 0; i < svc->msg_count; ++i) {
        uint32_t id = svc->msgs[i].msg_id;
        if (svc->msgs[i].req_len == MCX_MSG_LEN_NONE) continue;  // indications are not requests
        if (id == IMSS_SET_NEW_CARRIER_CONFIG_V01 && !mCarrierConfigSupported) continue;
        msg.supported_msgs[id / 8] = static_cast<uint8_t>(msg.supported_msgs[id / 8] | (1u << (id % 8)));
        if (id > highest) highest = id;
    }
    msg.supported_msgs_valid = 1;
    msg.supported_msgs_len = mSupportedMessagesLength != 0 ? mSupportedMessagesLength : highest / 8 + 1;
    std::memcpy(resp.data(), &msg, sizeof(msg));
}

void SettingsService::bind(Session& s, const uint8_t* req, std::vector<uint8_t>& resp) {
    ims_settings_bind_subscription_req_msg_v01 msg;
    std::memcpy(&msg, req, sizeof(msg));
    ims_settings_bind_subscription_resp_msg_v01 out{};
    if (validSubscription(msg.subscription)) {
        s.subscription = msg.subscription;
        out.common_resp_valid = 1;
    } else {
        out.resp = {kResultFailure, kErrorInvalidArgument};
    }
    std::memcpy(resp.data(), &out, sizeof(out));
}

void SettingsService::registerIndications(Session& s, const uint8_t* req) {
    for (const auto& g : imss_settings_groups_v01) {
        if (req[g.ind_reg_offset] == 0) continue;  // pair not valid: registration unchanged
        uint32_t bit = 1u << g.settings_id;
        if (req[g.ind_reg_offset + 1] != 0) s.registeredGroups |= bit;
        else s.registeredGroups &= ~bit;
    }
}

void SettingsService::writeGroup(const imss_settings_group_v01& g, const Session& s,
                                 const uint8_t* req, std::vector<uint8_t>& resp) {
    // A boolean other than 0 or 1 is a malformed request: nothing is stored.
    for (size_t i = 0; i < g.field_count; ++i) {
        const auto& f = g.fields[i];
        bool present = f.flag_offset == IMSS_NO_PRESENCE_FLAG || req[f.flag_offset] != 0;
        if (present && f.type == IMSS_VALUE_BOOL && req[f.value_offset] > 1) {
            putHeader(resp, kResultFailure, kErrorInvalidArgument);
            return;
        }
    }
    std::vector<uint8_t>& store = mStored[s.subscription][g.settings_id];
    for (size_t i = 0; i < g.field_count; ++i) {
        const auto& f = g.fields[i];
        if (f.flag_offset != IMSS_NO_PRESENCE_FLAG) {
            if (req[f.flag_offset] == 0) continue;
            store[f.flag_offset] = 1;
        }
        std::memcpy(store.data() + f.value_offset, req + f.value_offset, valueSize(f));
    }
    putHeader(resp, 0, 0);
    for (uint64_t connId : mOut.connectionsOf(IMSS_SERVICE_ID_V01)) {
        auto it = mSessions.find(connId);
        if (it == mSessions.end() || it->second.subscription != s.subscription) continue;
        if (it->second.registeredGroups & (1u << g.settings_id)) mOut.emit(connId, g.ind_msg_id, store);
    }
}

void SettingsService::readGroup(const imss_settings_group_v01& g, const Session& s,
                                std::vector<uint8_t>& resp) {
    putHeader(resp, 0, 0);
    resp[sizeof(ims_settings_resp_hdr_v01)] = 1;  // settings_resp_valid
    const auto& store = mStored[s.subscription][g.settings_id];
    std::memcpy(resp.data() + g.get_fields_offset, store.data(), store.size());
}

void SettingsService::configSegment(uint64_t connId, const Session& s, const uint8_t* req,
                                    std::vector<uint8_t>& resp) {
    ims_settings_set_new_carrier_config_req_msg_v01 seg;
    std::memcpy(&seg, req, sizeof(seg));
    ims_settings_set_new_carrier_config_resp_msg_v01 out{};
    out.seg_status_valid = 1;
    UploadKey key{s.subscription, seg.token};
    if (seg.config_len == 0 || seg.config_len > IMSS_CARRIER_CONFIG_SEGMENT_MAX_V01) {
        out.seg_status = kSegmentBadLength;
    } else if (seg.seg_count == 0) {
        out.seg_status = kSegmentBadCount;
    }
    if (out.seg_status != kSegmentAccepted) {
        mUploads.erase(key);
        std::memcpy(resp.data(), &out, sizeof(out));
        return;
    }
    std::memcpy(resp.data(), &out, sizeof(out));
    if (seg.seq_num == 1) {
        // A first segment starts the token's upload afresh.
        mUploads.erase(key);
        mUploads.emplace(key, ConfigReassembler(seg.is_gzipped != 0, seg.seg_count));
    }
    auto it = mUploads.find(key);
    if (it == mUploads.end()) {
        configStatus(connId, seg.token, kConfigOutOfOrder);
        return;
    }
    auto step = it->second.add(seg.seq_num, seg.seg_count, seg.is_gzipped != 0, seg.config,
                               seg.config_len);
    if (step == ConfigReassembler::Step::NeedMore) return;
    if (step == ConfigReassembler::Step::Complete) {
        auto& kept = mConfigs[s.subscription];
        kept.push_back(ReceivedConfig{seg.token, it->second.gzipped(), it->second.document()});
        if (kept.size() > kKeptConfigs) kept.pop_front();
        ++mConfigCounts[s.subscription];
    }
    int32_t status = it->second.status();
    mUploads.erase(it);
    configStatus(connId, seg.token, status);
}

void SettingsService::abandonUpload(uint64_t connId, const uint8_t* req, size_t len) {
    if (len < sizeof(ims_settings_set_new_carrier_config_req_msg_v01)) return;
    ims_settings_set_new_carrier_config_req_msg_v01 seg;
    std::memcpy(&seg, req, sizeof(seg));
    mUploads.erase(UploadKey{subscriptionOf(connId), seg.token});
}

void SettingsService::configStatus(uint64_t connId, uint8_t token, int32_t status) {
    ims_settings_carrier_config_status_ind_msg_v01 ind{token, status};
    std::vector<uint8_t> data(sizeof(ind));
    std::memcpy(data.data(), &ind, sizeof(ind));
    mOut.emit(connId, IMSS_CARRIER_CONFIG_STATUS_IND_V01, std::move(data));
}

void SettingsService::acsTokenMsg(const Session& s, const uint8_t* req, std::vector<uint8_t>& resp) {
    ims_settings_set_acs_token_req_msg_v01 msg;
    std::memcpy(&msg, req, sizeof(msg));
    if (msg.token_len == 0 || msg.token_len > IMSS_ACS_TOKEN_MAX_V01) {
        putHeader(resp, kResultFailure, kErrorInvalidArgument);
        return;
    }
    mTokens[s.subscription].assign(msg.token, msg.token + msg.token_len);
}

void SettingsService::tokenStatusMsg(const Session& s, const uint8_t* req) {
    ims_settings_update_acs_token_status_req_msg_v01 msg;
    std::memcpy(&msg, req, sizeof(msg));
    auto& kept = mTokenStatuses[s.subscription];
    kept.push_back(TokenStatus{msg.status_code, msg.request_id_valid != 0, msg.request_id});
    if (kept.size() > kKeptTokenStatuses) kept.pop_front();
}

std::vector<uint8_t> SettingsService::storedSettings(int32_t sub, uint32_t group) const {
    if (!validSubscription(sub) || group >= IMSS_SETTINGS_GROUP_COUNT_V01) return {};
    return mStored[sub][group];
}

std::vector<ReceivedConfig> SettingsService::receivedConfigs(int32_t sub) const {
    if (!validSubscription(sub)) return {};
    return std::vector<ReceivedConfig>(mConfigs[sub].begin(), mConfigs[sub].end());
}

uint64_t SettingsService::receivedConfigCount(int32_t sub) const {
    return validSubscription(sub) ? mConfigCounts[sub] : 0;
}

std::vector<uint8_t> SettingsService::acsToken(int32_t sub) const {
    return validSubscription(sub) ? mTokens[sub] : std::vector<uint8_t>{};
}

std::vector<TokenStatus> SettingsService::tokenStatuses(int32_t sub) const {
    if (!validSubscription(sub)) return {};
    return std::vector<TokenStatus>(mTokenStatuses[sub].begin(), mTokenStatuses[sub].end());
}

}  // namespace mcxemu
