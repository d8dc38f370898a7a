/*
 * EmbeddedTransport: the messaging library talking to a modem emulator in
 * the same process. Emulator events are forwarded to the library core, which
 * queues them for its callback thread.
 */
#ifndef MCX_EMBEDDED_TRANSPORT_H
#define MCX_EMBEDDED_TRANSPORT_H

#include "McxTransport.h"
#include "emulator/ModemEmulator.h"

namespace mcx {

class EmbeddedTransport : public McxTransport, public mcx::ModemListener {
public:
    // Attaches to the emulator; the listener hears the current service states at once.
    EmbeddedTransport(mcxemu::ModemEmulator& modem, ModemListener& listener);
    ~EmbeddedTransport() override;

    int open(uint32_t serviceId, uint64_t* connId) override;
    void close(uint64_t connId) override;
    ModemReply request(uint64_t connId, uint32_t msgId, const void* req, uint32_t reqLen,
                           uint32_t timeoutMs) override;
    int control(const std::string& command, std::string* reply) override;

private:
    void onServiceState(uint32_t serviceId, bool up) override;
    void onIndication(uint64_t connId, uint32_t msgId, std::vector<uint8_t> data) override;
    void onConnectionLost(uint64_t connId) override;

    mcxemu::ModemEmulator& mModem;
    ModemListener& mListener;
};

}  // namespace mcx

#endif  // MCX_EMBEDDED_TRANSPORT_H
