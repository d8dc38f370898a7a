#include "ApplicationService.h"

#include <cstring>

#include "ims_application_service_v01.h"

namespace mcxemu {

ApplicationService::ApplicationService(IndicationOut& out) : mOut(out) {}

void ApplicationService::connect(uint64_t connId) { mSessions[connId] = Session{}; }

void ApplicationService::disconnect(uint64_t connId) { mSessions.erase(connId); }

int32_t ApplicationService::subscriptionOf(uint64_t connId) const {
    auto it = mSessions.find(connId);
    return it == mSessions.end() ? 0 : it->second.subscription;
}

ModemReply ApplicationService::handle(uint64_t connId, uint32_t msgId, const uint8_t* req,
                                      size_t len, uint32_t respLen) {
    (void)len;
    ModemReply reply;
    reply.response.assign(respLen, 0);
    imsa_resp_hdr_v01 hdr{0, 0};
    Session& s = mSessions[connId];
    if (msgId == IMSA_BIND_SUBSCRIPTION_V01) {
        imsa_bind_subscription_req_msg_v01 msg;
        std::memcpy(&msg, req, sizeof(msg));
        if (msg.subscription_valid == 1 && msg.subscription >= 0 &&
            msg.subscription < kSubscriptionCount) {
            s.subscription = msg.subscription;
        } else {
            hdr = {kResultFailure, kErrorInvalidArgument};
        }
    } else if (msgId == IMSA_IND_REGISTER_V01) {
        imsa_ind_reg_req_msg_v01 msg;
        std::memcpy(&msg, req, sizeof(msg));
        for (uint32_t n = 0; n < IMSA_IND_REG_PAIR_COUNT_V01; ++n) {
            if (msg.reg[n][0] == 0) continue;
            if (msg.reg[n][1] != 0) s.indicationMask |= 1u << n;
            else s.indicationMask &= ~(1u << n);
        }
    } else {
        hdr = {kResultFailure, kErrorMalformedMessage};
    }
    std::memcpy(reply.response.data(), &hdr, sizeof(hdr));
    return reply;
}

int ApplicationService::sendTokenRequest(int32_t sub, int32_t tokenType, int32_t reason,
                                         bool hasRequestId, int32_t requestId) {
    imsa_config_token_request_ind_msg_v01 ind{};
    ind.token_type = tokenType;
    ind.request_reason = reason;
    ind.request_id_valid = hasRequestId ? 1 : 0;
    ind.request_id = requestId;  // sent as given: a client must honour the valid flag
    std::vector<uint8_t> data(sizeof(ind));
    std::memcpy(data.data(), &ind, sizeof(ind));
    int sent = 0;
    for (uint64_t connId : mOut.connectionsOf(IMSA_SERVICE_ID_V01)) {
        auto it = mSessions.find(connId);
        if (it == mSessions.end() || it->second.subscription != sub) continue;
        if ((it->second.indicationMask & CONFIG_TOKEN_REQUEST_MASK) == 0) continue;
        mOut.emit(connId, IMSA_CONFIG_TOKEN_REQUEST_IND_V01, data);
        ++sent;
    }
    return sent;
}

}  // namespace mcxemu
