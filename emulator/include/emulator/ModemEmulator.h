/*
 * ModemEmulator: the modem's side of the IMS Settings ("imss") and IMS
 * Application ("imsa") services, for hosts without a modem.
 *
 * A transport (the messaging library's embedded transport, or the mcx-modemd
 * daemon on behalf of its socket clients) attaches a ModemListener, opens
 * connections to a service and passes requests in; the emulator answers them
 * from the service's message table and its own state, and pushes indications,
 * lost connections and service up/down through the listeners.
 *
 * The control half (service up/down, faults, the request log, inspection of
 * the stored state) is for tests and for the daemon's control commands.
 *
 * Thread safety: every method may be called from any thread. Listeners are
 * called with the emulator's lock held, so a listener must not call back into
 * the emulator; it should only queue what it receives.
 */
#ifndef EMULATOR_MODEM_EMULATOR_H
#define EMULATOR_MODEM_EMULATOR_H

#include <chrono>
#include <deque>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include "emulator/ModemTypes.h"
#include "hostsync/Mutex.h"

namespace mcxemu {

class SettingsService;
class ApplicationService;

class ModemEmulator : private IndicationOut {
public:
    ModemEmulator();
    ~ModemEmulator() override;
    ModemEmulator(const ModemEmulator&) = delete;
    ModemEmulator& operator=(const ModemEmulator&) = delete;

    // ---- transport side ----

    // Adds a sink; it is told the current state of every service at once.
    void attach(ModemListener* sink);
    // Removes a sink and closes its connections without telling it.
    void detach(ModemListener* sink);
    // True when the service (IMSS_SERVICE_ID_V01 / IMSA_SERVICE_ID_V01) is up.
    bool isServiceUp(uint32_t serviceId) const;
    // Opens a connection whose indications go to `sink`; 0 when the service is down or unknown.
    uint64_t connect(uint32_t serviceId, ModemListener* sink);
    // Closes a connection; unknown ids are ignored.
    void disconnect(uint64_t connId);
    // Handles one request. Lengths are checked against the service's table
    // again here, since the daemon's bytes come from a socket.
    ModemReply request(uint64_t connId, uint32_t msgId, const uint8_t* data, size_t len);

    // ---- control side ----

    // Takes a service down (every connection to it is lost) or brings it up.
    void setServiceUp(uint32_t serviceId, bool up);
    // Both services down, then up again: a modem restart. Stored settings,
    // tokens and received documents survive it, connections and uploads in
    // progress do not.
    void restart();
    // Forgets everything (state, faults, log); services up, carrier config supported.
    void reset();
    // Whether the supported-messages bitmap lists 0x9C (default: yes).
    void setCarrierConfigSupported(bool supported);
    // The length the supported-messages answer declares for its bit map
    // (0, the default: just enough for the highest listed id).
    void setSupportedMessagesLength(uint32_t length);

    // Fails the next `count` requests of msgId (count 0: until cleared).
    void failMessage(uint32_t serviceId, uint32_t msgId, const MessageFault& fault, int count = 1);
    // Drops the next `count` indications msgId (count 0: until cleared).
    void dropIndication(uint32_t serviceId, uint32_t msgId, int count = 1);
    // Sends the next `count` indications msgId with `length` bytes instead.
    void setIndicationLength(uint32_t serviceId, uint32_t msgId, uint32_t length, int count = 1);
    void clearFaults();

    // The last kKeptRequests requests received, in order (also failed and
    // refused ones): a modem that runs for long keeps a window, not all.
    static constexpr size_t kKeptRequests = 1024;
    std::vector<RequestRecord> requests() const;
    // Number of requests msgId of a service received so far (all of them for
    // the services' own messages, the kept window for unknown ids).
    size_t requestCount(uint32_t serviceId, uint32_t msgId) const;
    // Waits until requestCount(serviceId, msgId) >= count; false on timeout.
    bool waitForRequests(uint32_t serviceId, uint32_t msgId, size_t count,
                         std::chrono::milliseconds timeout) const;
    void clearRequests();
    // Number of open connections to a service.
    size_t connectionCount(uint32_t serviceId) const;

    // Stored field layout of a settings group (its write-request layout).
    std::vector<uint8_t> storedSettings(int32_t subscription, uint32_t group) const;
    // The last few documents received completely by a subscription, oldest first.
    std::vector<ReceivedConfig> receivedConfigs(int32_t subscription) const;
    // Documents received completely by a subscription since the start.
    uint64_t receivedConfigCount(int32_t subscription) const;
    // Last ACS token received by a subscription (empty if none).
    std::vector<uint8_t> acsToken(int32_t subscription) const;
    // Token-fetch outcomes reported by a subscription, oldest first.
    std::vector<TokenStatus> tokenStatuses(int32_t subscription) const;

    // Sends indication 0x42 to every imsa connection bound to `subscription`
    // and registered for token requests; returns how many got it. requestId
    // is sent as given even when hasRequestId is false.
    int sendTokenRequest(int32_t subscription, int32_t tokenType, int32_t requestReason,
                         bool hasRequestId, int32_t requestId);

private:
    struct Connection {
        uint32_t serviceId;
        ModemListener* sink;
    };
    struct Countdown {
        explicit Countdown(int count = 1);  // count <= 0: until cleared
        bool take();                        // true if the fault applies to this use
        int remaining;
        bool forever;
    };
    struct PendingFault {
        MessageFault fault;
        Countdown count;
    };
    struct LengthFault {
        uint32_t length;
        Countdown count;
    };
    using Key = std::pair<uint32_t, uint32_t>;  // (service, message)

    // The services call these back while the emulator runs them, that is
    // with mLock held; the overrides tell the analysis so.
    void emit(uint64_t connId, uint32_t msgId, std::vector<uint8_t> data) override;
    std::vector<uint64_t> connectionsOf(uint32_t serviceId) const override;
    void setServiceUpLocked(uint32_t serviceId, bool up) REQUIRES(mLock);
    int32_t subscriptionOfLocked(const Connection& c, uint64_t connId) const REQUIRES(mLock);
    size_t requestCountLocked(uint32_t serviceId, uint32_t msgId) const REQUIRES(mLock);

    mutable hostsync::Mutex mLock;
    mutable hostsync::CondVar mRequestCv;
    std::set<ModemListener*> mSinks GUARDED_BY(mLock);
    std::map<uint32_t, bool> mServiceUp GUARDED_BY(mLock);
    std::map<uint64_t, Connection> mConnections GUARDED_BY(mLock);
    uint64_t mNextConnId GUARDED_BY(mLock) = 1;
    std::map<Key, PendingFault> mFaults GUARDED_BY(mLock);
    std::map<Key, Countdown> mDroppedIndications GUARDED_BY(mLock);
    std::map<Key, LengthFault> mIndicationLengths GUARDED_BY(mLock);
    std::deque<RequestRecord> mRequests GUARDED_BY(mLock);
    std::map<Key, size_t> mRequestCounts GUARDED_BY(mLock);  // known messages only
    std::unique_ptr<SettingsService> mSettings GUARDED_BY(mLock);
    std::unique_ptr<ApplicationService> mApplication GUARDED_BY(mLock);
};

}  // namespace mcxemu

#endif  // EMULATOR_MODEM_EMULATOR_H
