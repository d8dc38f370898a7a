/*
 * SettingsService: the modem side of the IMS Settings service. Lengths have
 * been checked against the message table before a request gets here. Called
 * with the emulator's lock held.
 */
#ifndef EMULATOR_SETTINGS_SERVICE_H
#define EMULATOR_SETTINGS_SERVICE_H

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <utility>
#include <vector>

#include "ConfigReassembler.h"
#include "emulator/ModemTypes.h"
#include "ims_settings_service_v01.h"

namespace mcxemu {

class SettingsService {
public:
    explicit SettingsService(IndicationOut& out);

    void setCarrierConfigSupported(bool supported) { mCarrierConfigSupported = supported; }
    // 0: the bit map's length covers the highest listed id and no more.
    void setSupportedMessagesLength(uint32_t length) { mSupportedMessagesLength = length; }
    void connect(uint64_t connId);
    void disconnect(uint64_t connId);
    // Uploads in progress are lost with the connections when the service stops.
    void serviceStopped();
    int32_t subscriptionOf(uint64_t connId) const;

    ModemReply handle(uint64_t connId, uint32_t msgId, const uint8_t* req, size_t len,
                      uint32_t respLen);
    // A 0x9C segment refused by an injected seg_status: its upload is dropped.
    void abandonUpload(uint64_t connId, const uint8_t* req, size_t len);

    std::vector<uint8_t> storedSettings(int32_t sub, uint32_t group) const;
    // The last kKeptConfigs documents received, oldest first.
    std::vector<ReceivedConfig> receivedConfigs(int32_t sub) const;
    // Documents received since the start, kept or not.
    uint64_t receivedConfigCount(int32_t sub) const;
    std::vector<uint8_t> acsToken(int32_t sub) const;
    std::vector<TokenStatus> tokenStatuses(int32_t sub) const;

private:
    struct Session {
        int32_t subscription = 0;
        uint32_t registeredGroups = 0;  // bit g: group g's change indications wanted
    };
    using UploadKey = std::pair<int32_t, uint8_t>;  // (subscription, token)

    void supportedMessages(std::vector<uint8_t>& resp) const;
    void bind(Session& s, const uint8_t* req, std::vector<uint8_t>& resp);
    void registerIndications(Session& s, const uint8_t* req);
    void writeGroup(const imss_settings_group_v01& g, const Session& s, const uint8_t* req,
                    std::vector<uint8_t>& resp);
    void readGroup(const imss_settings_group_v01& g, const Session& s, std::vector<uint8_t>& resp);
    void configSegment(uint64_t connId, const Session& s, const uint8_t* req,
                       std::vector<uint8_t>& resp);
    void acsTokenMsg(const Session& s, const uint8_t* req, std::vector<uint8_t>& resp);
    void tokenStatusMsg(const Session& s, const uint8_t* req);
    void configStatus(uint64_t connId, uint8_t token, int32_t status);

    IndicationOut& mOut;
    bool mCarrierConfigSupported = true;
    uint32_t mSupportedMessagesLength = 0;
    std::map<uint64_t, Session> mSessions;
    std::array<std::array<std::vector<uint8_t>, IMSS_SETTINGS_GROUP_COUNT_V01>, kSubscriptionCount>
        mStored;
    std::map<UploadKey, ConfigReassembler> mUploads;
    std::array<std::deque<ReceivedConfig>, kSubscriptionCount> mConfigs;
    std::array<uint64_t, kSubscriptionCount> mConfigCounts{};
    std::array<std::vector<uint8_t>, kSubscriptionCount> mTokens;
    std::array<std::deque<TokenStatus>, kSubscriptionCount> mTokenStatuses;
};

}  // namespace mcxemu

#endif  // EMULATOR_SETTINGS_SERVICE_H
