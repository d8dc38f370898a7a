/*
 * Records shared by the modem emulator, its services and its transports.
 */
#ifndef EMULATOR_MODEM_TYPES_H
#define EMULATOR_MODEM_TYPES_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "mcx_wire/ModemLink.h"

namespace mcxemu {

// Response-header values of a request the modem refuses.
constexpr int32_t kResultFailure = 1;
constexpr int32_t kErrorMalformedMessage = 0x01;
constexpr int32_t kErrorInvalidArgument = 0x30;

// Subscriptions the modem serves (0 primary, 1 secondary); an unbound
// connection works on the primary one.
constexpr int32_t kSubscriptionCount = 2;

// config_status of indication 0x9D.
enum ConfigStatus : int32_t {
    kConfigAccepted = 0,
    kConfigOutOfOrder = 1,    // a segment number other than the next one
    kConfigCountMismatch = 2, // seg_count changed, or more segments than announced
    kConfigInflateFailed = 3, // marked gzip but not a valid gzip stream
    kConfigMixedEncoding = 4, // is_gzipped changed within one upload
};

// seg_status of a 0x9C response (0 = segment taken).
enum SegmentStatus : uint32_t {
    kSegmentAccepted = 0,
    kSegmentBadLength = 1, // config_len 0 or above the segment size
    kSegmentBadCount = 2,  // seg_count 0
};

// A request's answer and the events pushed to a transport are the messaging
// library's own types: the emulator is one more modem behind it. Its
// listeners are called with the emulator's lock held.
using mcx::ModemListener;
using mcx::ModemReply;

// How a service sends indications (implemented by the emulator, which applies
// the indication faults).
class IndicationOut {
public:
    virtual ~IndicationOut() = default;
    virtual void emit(uint64_t connId, uint32_t msgId, std::vector<uint8_t> data) = 0;
    virtual std::vector<uint64_t> connectionsOf(uint32_t serviceId) const = 0;
};

struct RequestRecord {
    uint32_t serviceId = 0;
    uint64_t connId = 0;
    int32_t subscription = 0;  // the connection's subscription when it arrived
    uint32_t msgId = 0;
    std::vector<uint8_t> data;
};

struct MessageFault {
    enum class Kind {
        Transport,      // the request fails at transport level (MCX_ERR_TRANSPORT), no effect
        ResponseHeader, // answered with result/error, no effect
        SegStatus,      // 0x9C: segment refused with segStatus, upload abandoned
        Delay,          // handled normally, response held back delayMs
    };
    Kind kind = Kind::Transport;
    int32_t result = 0;
    int32_t error = 0;
    uint32_t segStatus = 0;
    uint32_t delayMs = 0;
};

// Documents and token-fetch reports are kept for inspection, the last few
// only, so that a modem that runs for long does not grow with them.
constexpr size_t kKeptConfigs = 4;
constexpr size_t kKeptTokenStatuses = 16;

struct ReceivedConfig {
    uint8_t token = 0;
    bool gzipped = false;
    std::vector<uint8_t> document;  // inflated when the upload was gzipped
};

struct TokenStatus {
    int32_t statusCode = 0;
    bool hasRequestId = false;
    int32_t requestId = 0;
};

}  // namespace mcxemu

#endif  // EMULATOR_MODEM_TYPES_H
