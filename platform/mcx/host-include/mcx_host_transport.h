/*
 * How the messaging library reaches a modem on a host. The library brings
 * one transport of its own, the client of the mcx-modemd socket; a process
 * may install any other (mcx_host_set_transport in mcx_host.h), such as a
 * modem emulator inside the process. The library core owns handles, length
 * checks, timeouts and callback threads; a transport only moves requests and
 * events.
 *
 * A transport hands modem events to the ModemListener it was made with, from
 * any of its threads. The core never holds its own lock while it calls into a
 * transport, so events may arrive from inside any of these calls too.
 */
#ifndef MCX_HOST_TRANSPORT_H
#define MCX_HOST_TRANSPORT_H

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "mcx_wire/ModemLink.h"

namespace mcx {

class McxTransport {
public:
    virtual ~McxTransport() = default;
    // Opens a connection to a service; MCX_ERR_NO_SERVICE when it is down.
    virtual int open(uint32_t serviceId, uint64_t* connId) = 0;
    virtual void close(uint64_t connId) = 0;
    // Sends one request; waits at most timeoutMs for the transport's answer.
    virtual ModemReply request(uint64_t connId, uint32_t msgId, const void* req,
                               uint32_t reqLen, uint32_t timeoutMs) = 0;
    // Runs a control command on the modem (the commands are the modem's
    // business: the library passes the text through).
    virtual int control(const std::string& command, std::string* reply) = 0;
};

// Makes the transport of a process; `core` hears the modem's events.
using TransportFactory = std::function<std::unique_ptr<McxTransport>(ModemListener& core)>;

}  // namespace mcx

#endif  // MCX_HOST_TRANSPORT_H
