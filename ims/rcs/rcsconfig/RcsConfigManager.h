/*
 * RcsConfigManager: the one manager of the RCS configuration path for every
 * slot. This part of the class converts between the clients' HIDL settings
 * records and the modem's IMS Settings messages of the four settings groups
 * (presence, standalone messaging, user agent, IMS service enable).
 *
 * The conversions keep no state: they are static so that the service object's
 * result callbacks can call them without a manager at hand. They run on the
 * event-loop thread for requests and on the settings client's worker or the
 * loop thread for results; being stateless, any thread is safe.
 *
 * Where a message's bytes go is read from the modem's field tables
 * (imss_settings_groups_v01); this class holds only the rules and log texts
 * of each group.
 */
#ifndef RCS_CONFIG_MANAGER_H
#define RCS_CONFIG_MANAGER_H

#include <vendor/kel/ims/rcsconfig/2.0/types.h>

#include "rcsconfig/RcsSettingsData.h"

class RcsConfigManager {
public:
    using SettingsData = ::vendor::kel::ims::rcsconfig::V2_0::SettingsData;
    using SettingsId = ::vendor::kel::ims::rcsconfig::V2_0::SettingsId;

    // ---- Requests: HIDL record -> modem message ----

    // Builds the group's zero-filled write message from `data` and stores its id
    // and the message (malloc'ed, owned by the receiver) in `out`. False for an
    // unknown settings id, an allocation failure or a record the group refuses;
    // a refused message is not handed back (see the set conversion source).
    static bool convertSetReqDataToMcx(SettingsData data, rcs_settings_data_s* out);

    // Fill one group's write message `msg` (zero-filled, of the group's write
    // length) from `data`. True when every pair of every list read was written.
    static bool setPresenceConfigData(void* msg, SettingsData& data);
    static bool setSMConfigData(void* msg, SettingsData& data);
    static bool setUserAgentConfigData(void* msg, SettingsData& data);
    static bool setImsServiceEnableConfigData(void* msg, SettingsData& data);

    // Prepares a read of group `settingsId`: the read message id and a zeroed
    // buffer of the read response's length, for the modem client to fill.
    static bool convertReceiveRespDataToMcx(int settingsId, rcs_settings_data_s* out);

    // ---- Results: modem message -> HIDL record ----

    // Converts a read response (`isIndication` false: `id` is the read message
    // id) or a change indication (`isIndication` true: `id` is the SettingsId)
    // into `out`. `data` must hold the whole response or indication of that
    // group. False for an unknown id or a failed response (see the response
    // conversion source for which results are passed on).
    static bool convertResponseToHidlStruct(int id, void* data, SettingsData* out,
                                            bool isIndication);

    // Read-response converters: `data` is the group's whole read response.
    static bool convertPresenceConfigRespToHidl(void* data, SettingsData* out);
    static bool convertSMConfigRespToHidl(void* data, SettingsData* out);
    static bool convertUserAgentRespToHidl(void* data, SettingsData* out);
    static bool convertImsServiceConfigRespToHidl(void* data, SettingsData* out);

    // Change-indication converters: `data` is the group's whole indication.
    static bool convertPresenceConfigIndToHidl(void* data, SettingsData* out);
    static bool convertSMConfigIndToHidl(void* data, SettingsData* out);
    static bool convertUserAgentIndToHidl(void* data, SettingsData* out);
    static bool convertImsServiceConfigIndToHidl(void* data, SettingsData* out);
};

#endif  // RCS_CONFIG_MANAGER_H
