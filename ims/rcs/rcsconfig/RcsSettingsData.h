/*
 * rcs_settings_data_s: one settings request travelling from the manager to
 * the IMS Settings client. The manager builds it zeroed and fills msgId and
 * msgData; the client fills owner, subId and requestKey in its own copy.
 */
#ifndef RCS_SETTINGS_DATA_H
#define RCS_SETTINGS_DATA_H

#include <cstdint>

class ImsMcxSettings;

struct rcs_settings_data_s {
    ImsMcxSettings* owner;  // zero as built by the manager
    uint32_t msgId;         // modem message id; the settings group for a change registration
    void* msgData;          // malloc'ed, zero-filled modem message; owned by the receiver
    int32_t subId;          // 0-based subscription
    uint64_t requestKey;    // key under which the client files the request's callback
};

#endif  // RCS_SETTINGS_DATA_H
