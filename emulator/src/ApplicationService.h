/*
 * ApplicationService: the modem side of the IMS Application service:
 * subscription binding, indication registration and, on demand, the
 * token-request indication. Called with the emulator's lock held.
 */
#ifndef EMULATOR_APPLICATION_SERVICE_H
#define EMULATOR_APPLICATION_SERVICE_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "emulator/ModemTypes.h"

namespace mcxemu {

class ApplicationService {
public:
    explicit ApplicationService(IndicationOut& out);

    void connect(uint64_t connId);
    void disconnect(uint64_t connId);
    int32_t subscriptionOf(uint64_t connId) const;

    ModemReply handle(uint64_t connId, uint32_t msgId, const uint8_t* req, size_t len,
                      uint32_t respLen);

    // Sends 0x42 to the registered connections of a subscription; returns how many.
    int sendTokenRequest(int32_t sub, int32_t tokenType, int32_t reason, bool hasRequestId,
                         int32_t requestId);

private:
    struct Session {
        int32_t subscription = 0;
        uint32_t indicationMask = 0;  // bit n: pair n of 0x22 reported
    };

    IndicationOut& mOut;
    std::map<uint64_t, Session> mSessions;
};

}  // namespace mcxemu

#endif  // EMULATOR_APPLICATION_SERVICE_H
