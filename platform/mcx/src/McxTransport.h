/*
 * How the messaging library reaches a modem: an in-process emulator or the
 * mcx-modemd daemon. The library core owns handles, length checks, timeouts
 * and callback threads; a transport only moves requests and events.
 */
#ifndef MCX_TRANSPORT_H
#define MCX_TRANSPORT_H

#include <cstdint>
#include <string>
#include <vector>

namespace mcx {

struct TransportReply {
    int status = 0;                 // 0 or an MCX_ERR_* code
    std::vector<uint8_t> response;
    uint32_t delayMs = 0;           // the modem holds the response back this long
};

// Events from the modem. A transport may call these from any of its threads
// but never while the core is calling into the transport with its lock held
// (the core never does).
class TransportListener {
public:
    virtual ~TransportListener() = default;
    virtual void onServiceState(uint32_t serviceId, bool up) = 0;
    virtual void onIndication(uint64_t connId, uint32_t msgId, std::vector<uint8_t> data) = 0;
    virtual void onConnectionLost(uint64_t connId) = 0;
};

class McxTransport {
public:
    virtual ~McxTransport() = default;
    // Opens a connection to a service; MCX_ERR_NO_SERVICE when it is down.
    virtual int open(uint32_t serviceId, uint64_t* connId) = 0;
    virtual void close(uint64_t connId) = 0;
    // Sends one request; waits at most timeoutMs for the transport's answer.
    virtual TransportReply request(uint64_t connId, uint32_t msgId, const void* req,
                                   uint32_t reqLen, uint32_t timeoutMs) = 0;
    // Runs a control command on the modem.
    virtual int control(const std::string& command, std::string* reply) = 0;
};

}  // namespace mcx

#endif  // MCX_TRANSPORT_H
