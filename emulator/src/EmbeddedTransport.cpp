#include "EmbeddedTransport.h"

#include "emulator/ModemControl.h"
#include "mcx_client.h"

namespace mcxemu {

EmbeddedTransport::EmbeddedTransport(ModemEmulator& modem, mcx::ModemListener& core)
    : mModem(modem), mCore(core) {
    mModem.attach(&mCore);
}

EmbeddedTransport::~EmbeddedTransport() { mModem.detach(&mCore); }

int EmbeddedTransport::open(uint32_t serviceId, uint64_t* connId) {
    *connId = mModem.connect(serviceId, &mCore);
    return *connId == 0 ? MCX_ERR_NO_SERVICE : MCX_NO_ERR;
}

void EmbeddedTransport::close(uint64_t connId) { mModem.disconnect(connId); }

ModemReply EmbeddedTransport::request(uint64_t connId, uint32_t msgId, const void* req,
                                      uint32_t reqLen, uint32_t timeoutMs) {
    (void)timeoutMs;  // the emulator answers at once; delays come back in the reply
    return mModem.request(connId, msgId, static_cast<const uint8_t*>(req), reqLen);
}

int EmbeddedTransport::control(const std::string& command, std::string* reply) {
    return runControlCommand(mModem, command, reply) ? MCX_NO_ERR : MCX_ERR_INVALID_ARG;
}

}  // namespace mcxemu
