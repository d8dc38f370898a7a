#include "EmbeddedTransport.h"

#include "emulator/ModemControl.h"
#include "mcx_client.h"

namespace mcx {

EmbeddedTransport::EmbeddedTransport(mcxemu::ModemEmulator& modem, ModemListener& listener)
    : mModem(modem), mListener(listener) {
    mModem.attach(this);
}

EmbeddedTransport::~EmbeddedTransport() { mModem.detach(this); }

int EmbeddedTransport::open(uint32_t serviceId, uint64_t* connId) {
    *connId = mModem.connect(serviceId, this);
    return *connId == 0 ? MCX_ERR_NO_SERVICE : MCX_NO_ERR;
}

void EmbeddedTransport::close(uint64_t connId) { mModem.disconnect(connId); }

ModemReply EmbeddedTransport::request(uint64_t connId, uint32_t msgId, const void* req,
                                          uint32_t reqLen, uint32_t timeoutMs) {
    (void)timeoutMs;  // the emulator answers at once; delays come back in the reply
    mcxemu::ModemReply r = mModem.request(connId, msgId, static_cast<const uint8_t*>(req), reqLen);
    return ModemReply{r.status, std::move(r.response), r.delayMs};
}

int EmbeddedTransport::control(const std::string& command, std::string* reply) {
    return mcxemu::runControlCommand(mModem, command, reply) ? MCX_NO_ERR : MCX_ERR_INVALID_ARG;
}

void EmbeddedTransport::onServiceState(uint32_t serviceId, bool up) {
    mListener.onServiceState(serviceId, up);
}

void EmbeddedTransport::onIndication(uint64_t connId, uint32_t msgId, std::vector<uint8_t> data) {
    mListener.onIndication(connId, msgId, std::move(data));
}

void EmbeddedTransport::onConnectionLost(uint64_t connId) { mListener.onConnectionLost(connId); }

}  // namespace mcx
