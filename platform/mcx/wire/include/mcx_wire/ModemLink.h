/*
 * What every way of reaching a modem has in common: the answer to one request
 * and the events a modem pushes. The messaging library's transports hand these
 * to the library core, and the modem emulator hands the same ones to whatever
 * transport is attached to it, so that an in-process emulator needs no
 * translation layer and the daemon only frames them.
 */
#ifndef MCX_WIRE_MODEM_LINK_H
#define MCX_WIRE_MODEM_LINK_H

#include <cstdint>
#include <vector>

namespace mcx {

// The answer to one request.
struct ModemReply {
    int status = 0;                 // 0 or a negative MCX_ERR_* code of mcx_client.h
    std::vector<uint8_t> response;
    uint32_t delayMs = 0;           // the modem holds the response back this long
};

// Events from a modem. They may come from any thread of the modem's side,
// possibly with that side's own lock held: an implementation only queues what
// it receives and never calls back into the modem from here.
class ModemListener {
public:
    virtual ~ModemListener() = default;
    virtual void onServiceState(uint32_t serviceId, bool up) = 0;
    virtual void onIndication(uint64_t connId, uint32_t msgId, std::vector<uint8_t> data) = 0;
    virtual void onConnectionLost(uint64_t connId) = 0;
};

}  // namespace mcx

#endif  // MCX_WIRE_MODEM_LINK_H
