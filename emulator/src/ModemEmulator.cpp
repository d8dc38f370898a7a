#include "emulator/ModemEmulator.h"

#include "ApplicationService.h"
#include "SettingsService.h"
#include "ims_application_service_v01.h"
#include "ims_settings_service_v01.h"
#include "mcx_client.h"

#include <cstring>

namespace mcxemu {

namespace {

const mcx_idl_service_object* serviceTable(uint32_t serviceId) {
    if (serviceId == IMSS_SERVICE_ID_V01) {
        return imss_get_service_object_internal_v01(IMSS_IDL_MAJOR_VERS_V01, IMSS_IDL_MINOR_VERS_V01,
                                                    IMSS_IDL_TOOL_VERS_V01);
    }
    if (serviceId == IMSA_SERVICE_ID_V01) {
        return imsa_get_service_object_internal_v01(IMSA_IDL_MAJOR_VERS_V01, IMSA_IDL_MINOR_VERS_V01,
                                                    IMSA_IDL_TOOL_VERS_V01);
    }
    return nullptr;
}

const uint32_t kServices[] = {IMSS_SERVICE_ID_V01, IMSA_SERVICE_ID_V01};

}  // namespace

ModemEmulator::Countdown::Countdown(int count) : remaining(count), forever(count <= 0) {}

bool ModemEmulator::Countdown::take() {
    if (forever) return true;
    if (remaining <= 0) return false;
    --remaining;
    return true;
}

ModemEmulator::ModemEmulator()
    : mSettings(std::make_unique<SettingsService>(static_cast<IndicationOut&>(*this))),
      mApplication(std::make_unique<ApplicationService>(static_cast<IndicationOut&>(*this))) {
    for (uint32_t id : kServices) mServiceUp[id] = true;
}

ModemEmulator::~ModemEmulator() = default;

void ModemEmulator::attach(ModemListener* sink) {
    hostsync::MutexLock lock(mLock);
    mSinks.insert(sink);
    for (const auto& [id, up] : mServiceUp) sink->onServiceState(id, up);
}

void ModemEmulator::detach(ModemListener* sink) {
    hostsync::MutexLock lock(mLock);
    mSinks.erase(sink);
    for (auto it = mConnections.begin(); it != mConnections.end();) {
        if (it->second.sink == sink) {
            mSettings->disconnect(it->first);
            mApplication->disconnect(it->first);
            it = mConnections.erase(it);
        } else {
            ++it;
        }
    }
}

bool ModemEmulator::isServiceUp(uint32_t serviceId) const {
    hostsync::MutexLock lock(mLock);
    auto it = mServiceUp.find(serviceId);
    return it != mServiceUp.end() && it->second;
}

uint64_t ModemEmulator::connect(uint32_t serviceId, ModemListener* sink) {
    hostsync::MutexLock lock(mLock);
    auto it = mServiceUp.find(serviceId);
    if (it == mServiceUp.end() || !it->second || sink == nullptr) return 0;
    uint64_t id = mNextConnId++;
    mConnections[id] = Connection{serviceId, sink};
    if (serviceId == IMSS_SERVICE_ID_V01) mSettings->connect(id);
    else mApplication->connect(id);
    return id;
}

void ModemEmulator::disconnect(uint64_t connId) {
    hostsync::MutexLock lock(mLock);
    if (mConnections.erase(connId) == 0) return;
    mSettings->disconnect(connId);
    mApplication->disconnect(connId);
}

int32_t ModemEmulator::subscriptionOfLocked(const Connection& c, uint64_t connId) const {
    return c.serviceId == IMSS_SERVICE_ID_V01 ? mSettings->subscriptionOf(connId)
                                              : mApplication->subscriptionOf(connId);
}

ModemReply ModemEmulator::request(uint64_t connId, uint32_t msgId, const uint8_t* data,
                                  size_t len) {
    hostsync::MutexLock lock(mLock);
    ModemReply reply;
    auto conn = mConnections.find(connId);
    if (conn == mConnections.end()) {
        reply.status = MCX_ERR_SERVICE_GONE;
        return reply;
    }
    const Connection c = conn->second;
    RequestRecord rec;
    rec.serviceId = c.serviceId;
    rec.connId = connId;
    rec.subscription = subscriptionOfLocked(c, connId);
    rec.msgId = msgId;
    if (data != nullptr) rec.data.assign(data, data + len);
    mRequests.push_back(std::move(rec));
    if (mRequests.size() > kKeptRequests) mRequests.pop_front();

    const mcx_msg_desc_type* desc = mcx_idl_find_msg(serviceTable(c.serviceId), msgId);
    // Counted apart from the window only for the services' own messages, so
    // that a peer sending made-up ids cannot grow the counts.
    if (desc != nullptr) ++mRequestCounts[Key(c.serviceId, msgId)];
    mRequestCv.notifyAll();
    if (desc == nullptr || desc->req_len == MCX_MSG_LEN_NONE) {
        reply.status = MCX_ERR_INVALID_ARG;
        return reply;
    }
    if (len != desc->req_len || (len > 0 && data == nullptr)) {
        reply.status = MCX_ERR_REQ_LENGTH;
        return reply;
    }

    uint32_t delayMs = 0;
    auto fault = mFaults.find({c.serviceId, msgId});
    if (fault != mFaults.end() && fault->second.count.take()) {
        const MessageFault f = fault->second.fault;
        switch (f.kind) {
            case MessageFault::Kind::Transport:
                reply.status = MCX_ERR_TRANSPORT;
                return reply;
            case MessageFault::Kind::ResponseHeader: {
                reply.response.assign(desc->resp_len, 0);
                ims_settings_resp_hdr_v01 hdr{f.result, f.error};
                std::memcpy(reply.response.data(), &hdr, sizeof(hdr));
                return reply;
            }
            case MessageFault::Kind::SegStatus: {
                reply.response.assign(desc->resp_len, 0);
                if (msgId == IMSS_SET_NEW_CARRIER_CONFIG_V01) {
                    ims_settings_set_new_carrier_config_resp_msg_v01 out{};
                    out.seg_status_valid = 1;
                    out.seg_status = f.segStatus;
                    std::memcpy(reply.response.data(), &out, sizeof(out));
                    mSettings->abandonUpload(connId, data, len);
                }
                return reply;
            }
            case MessageFault::Kind::Delay:
                delayMs = f.delayMs;
                break;
        }
    }
    reply = c.serviceId == IMSS_SERVICE_ID_V01
                ? mSettings->handle(connId, msgId, data, len, desc->resp_len)
                : mApplication->handle(connId, msgId, data, len, desc->resp_len);
    reply.delayMs = delayMs;
    return reply;
}

void ModemEmulator::emit(uint64_t connId, uint32_t msgId, std::vector<uint8_t> data) {
    mLock.assertHeld();  // a service sends while the emulator runs it
    auto conn = mConnections.find(connId);
    if (conn == mConnections.end()) return;
    Key key{conn->second.serviceId, msgId};
    auto drop = mDroppedIndications.find(key);
    if (drop != mDroppedIndications.end() && drop->second.take()) return;
    auto length = mIndicationLengths.find(key);
    if (length != mIndicationLengths.end() && length->second.count.take()) {
        data.resize(length->second.length, 0);
    }
    conn->second.sink->onIndication(connId, msgId, std::move(data));
}

std::vector<uint64_t> ModemEmulator::connectionsOf(uint32_t serviceId) const {
    mLock.assertHeld();  // asked by a service the emulator runs, or by connectionCount()
    std::vector<uint64_t> ids;
    for (const auto& [id, c] : mConnections) {
        if (c.serviceId == serviceId) ids.push_back(id);
    }
    return ids;
}

void ModemEmulator::setServiceUpLocked(uint32_t serviceId, bool up) {
    auto state = mServiceUp.find(serviceId);
    if (state == mServiceUp.end() || state->second == up) return;
    state->second = up;
    // Sinks hear of the service state before its lost connections, so that a
    // client told of a lost connection finds the service already down.
    for (ModemListener* sink : mSinks) sink->onServiceState(serviceId, up);
    if (!up) {
        for (auto it = mConnections.begin(); it != mConnections.end();) {
            if (it->second.serviceId != serviceId) {
                ++it;
                continue;
            }
            it->second.sink->onConnectionLost(it->first);
            mSettings->disconnect(it->first);
            mApplication->disconnect(it->first);
            it = mConnections.erase(it);
        }
        if (serviceId == IMSS_SERVICE_ID_V01) mSettings->serviceStopped();
    }
}

void ModemEmulator::setServiceUp(uint32_t serviceId, bool up) {
    hostsync::MutexLock lock(mLock);
    setServiceUpLocked(serviceId, up);
}

void ModemEmulator::restart() {
    hostsync::MutexLock lock(mLock);
    for (uint32_t id : kServices) setServiceUpLocked(id, false);
    for (uint32_t id : kServices) setServiceUpLocked(id, true);
}

void ModemEmulator::reset() {
    hostsync::MutexLock lock(mLock);
    for (uint32_t id : kServices) setServiceUpLocked(id, false);
    mFaults.clear();
    mDroppedIndications.clear();
    mIndicationLengths.clear();
    mRequests.clear();
    mRequestCounts.clear();
    mSettings = std::make_unique<SettingsService>(static_cast<IndicationOut&>(*this));
    mApplication = std::make_unique<ApplicationService>(static_cast<IndicationOut&>(*this));
    for (uint32_t id : kServices) setServiceUpLocked(id, true);
}

void ModemEmulator::setCarrierConfigSupported(bool supported) {
    hostsync::MutexLock lock(mLock);
    mSettings->setCarrierConfigSupported(supported);
}

void ModemEmulator::setSupportedMessagesLength(uint32_t length) {
    hostsync::MutexLock lock(mLock);
    mSettings->setSupportedMessagesLength(length);
}

void ModemEmulator::failMessage(uint32_t serviceId, uint32_t msgId, const MessageFault& fault,
                                int count) {
    hostsync::MutexLock lock(mLock);
    mFaults[{serviceId, msgId}] = PendingFault{fault, Countdown{count}};
}

void ModemEmulator::dropIndication(uint32_t serviceId, uint32_t msgId, int count) {
    hostsync::MutexLock lock(mLock);
    mDroppedIndications[{serviceId, msgId}] = Countdown{count};
}

void ModemEmulator::setIndicationLength(uint32_t serviceId, uint32_t msgId, uint32_t length,
                                        int count) {
    hostsync::MutexLock lock(mLock);
    mIndicationLengths[{serviceId, msgId}] = LengthFault{length, Countdown{count}};
}

void ModemEmulator::clearFaults() {
    hostsync::MutexLock lock(mLock);
    mFaults.clear();
    mDroppedIndications.clear();
    mIndicationLengths.clear();
}

std::vector<RequestRecord> ModemEmulator::requests() const {
    hostsync::MutexLock lock(mLock);
    return std::vector<RequestRecord>(mRequests.begin(), mRequests.end());
}

size_t ModemEmulator::requestCountLocked(uint32_t serviceId, uint32_t msgId) const {
    auto counted = mRequestCounts.find(Key(serviceId, msgId));
    if (counted != mRequestCounts.end()) return counted->second;
    size_t n = 0;
    for (const auto& r : mRequests) n += (r.serviceId == serviceId && r.msgId == msgId) ? 1 : 0;
    return n;
}

size_t ModemEmulator::requestCount(uint32_t serviceId, uint32_t msgId) const {
    hostsync::MutexLock lock(mLock);
    return requestCountLocked(serviceId, msgId);
}

bool ModemEmulator::waitForRequests(uint32_t serviceId, uint32_t msgId, size_t count,
                                    std::chrono::milliseconds timeout) const {
    hostsync::MutexLock lock(mLock);
    return mRequestCv.waitFor(mLock, timeout, [&]() REQUIRES(mLock) {
        return requestCountLocked(serviceId, msgId) >= count;
    });
}

void ModemEmulator::clearRequests() {
    hostsync::MutexLock lock(mLock);
    mRequests.clear();
    mRequestCounts.clear();
}

size_t ModemEmulator::connectionCount(uint32_t serviceId) const {
    hostsync::MutexLock lock(mLock);
    return connectionsOf(serviceId).size();
}

std::vector<uint8_t> ModemEmulator::storedSettings(int32_t subscription, uint32_t group) const {
    hostsync::MutexLock lock(mLock);
    return mSettings->storedSettings(subscription, group);
}

std::vector<ReceivedConfig> ModemEmulator::receivedConfigs(int32_t subscription) const {
    hostsync::MutexLock lock(mLock);
    return mSettings->receivedConfigs(subscription);
}

std::vector<uint8_t> ModemEmulator::acsToken(int32_t subscription) const {
    hostsync::MutexLock lock(mLock);
    return mSettings->acsToken(subscription);
}

uint64_t ModemEmulator::receivedConfigCount(int32_t subscription) const {
    hostsync::MutexLock lock(mLock);
    return mSettings->receivedConfigCount(subscription);
}

std::vector<TokenStatus> ModemEmulator::tokenStatuses(int32_t subscription) const {
    hostsync::MutexLock lock(mLock);
    return mSettings->tokenStatuses(subscription);
}

int ModemEmulator::sendTokenRequest(int32_t subscription, int32_t tokenType, int32_t requestReason,
                                    bool hasRequestId, int32_t requestId) {
    hostsync::MutexLock lock(mLock);
    return mApplication->sendTokenRequest(subscription, tokenType, requestReason, hasRequestId,
                                          requestId);
}

}  // namespace mcxemu
