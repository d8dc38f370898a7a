/*
 * EmbeddedTransport: the messaging library talking to a modem emulator in the
 * same process. The emulator reports straight to the library core: both speak
 * ModemListener, and the emulator calls it with its own lock held, which the
 * core allows (it only queues).
 */
#ifndef EMULATOR_EMBEDDED_TRANSPORT_H
#define EMULATOR_EMBEDDED_TRANSPORT_H

#include "emulator/ModemEmulator.h"
#include "mcx_host_transport.h"

namespace mcxemu {

class EmbeddedTransport : public mcx::McxTransport {
public:
    // Attaches the core to the emulator; it hears the current service states at once.
    EmbeddedTransport(ModemEmulator& modem, mcx::ModemListener& core);
    // Detaches: the core's connections are closed and it hears nothing more.
    ~EmbeddedTransport() override;

    int open(uint32_t serviceId, uint64_t* connId) override;
    void close(uint64_t connId) override;
    ModemReply request(uint64_t connId, uint32_t msgId, const void* req, uint32_t reqLen,
                       uint32_t timeoutMs) override;
    int control(const std::string& command, std::string* reply) override;

private:
    ModemEmulator& mModem;
    mcx::ModemListener& mCore;
};

}  // namespace mcxemu

#endif  // EMULATOR_EMBEDDED_TRANSPORT_H
