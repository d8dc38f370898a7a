// Fuzzes the settings conversions with what a modem or a client could send:
// arbitrary bytes as read responses (header, flags and fields) and change
// indications of every group, arbitrary ids at the dispatcher, and arbitrary
// records at the write fillers. A read response also goes the way of a real
// read's completion, to the client's IGetSettingsCb.
//
// Input, read front to back (missing bytes read as zero):
//   byte 0: bits 0-1 action (0 response, 1 indication, 2 write, 3 any id),
//           bits 2-3 settings group
//   response / indication: the message bytes
//   any id:  int32 id, uint8 isIndication, then the message bytes
//   write:   uint8 settings id (mod 6), then pairs until the input ends:
//            uint8 list (mod 3: int, bool, string), uint16 key (95 + mod 340),
//            then int64 value | uint8 value | uint16 length (mod 1100) + bytes
#include <android/log.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include <vendor/kel/ims/rcsconfig/2.0/IGetSettingsCb.h>

#include "FuzzSupport.h"
#include "ims_settings_service_v01.h"
#include "rcsconfig/RcsConfig.h"
#include "rcsconfig/RcsConfigManager.h"

namespace {

using ::vendor::kel::ims::rcsconfig::V2_0::KeyValuePairTypeBool;
using ::vendor::kel::ims::rcsconfig::V2_0::KeyValuePairTypeInt;
using ::vendor::kel::ims::rcsconfig::V2_0::KeyValuePairTypeString;
using SettingsData = RcsConfigManager::SettingsData;
using SettingsId = RcsConfigManager::SettingsId;
using ::vendor::kel::ims::rcsconfig::V2_0::IGetSettingsCb;
using ::vendor::kel::ims::rcsconfig::V2_0::RequestStatus;

// The client's side of a read: keeps the one answer of the last read.
class GetSettingsCb : public IGetSettingsCb {
public:
    ::android::hardware::Return<void> getSettingsResponse(RequestStatus status,
                                                          const SettingsData& data) override {
        ++answers;
        lastStatus = status;
        lastData = data;
        return ::android::hardware::Void();
    }
    int answers = 0;
    RequestStatus lastStatus = RequestStatus::FAIL;
    SettingsData lastData;
};

// The largest read response of any group: every valid id is safe with it.
size_t largestMessage() {
    size_t largest = 0;
    for (const auto& g : imss_settings_groups_v01) largest = std::max<size_t>(largest, g.get_resp_len);
    return largest;
}

void convert(int id, std::vector<uint8_t>& msg, bool isIndication) {
    SettingsData out{};
    RcsConfigManager::convertResponseToHidlStruct(id, msg.data(), &out, isIndication);
}

// A read's completion answers the client once: OK with the group's record,
// or FAIL with a record that carries no values.
void completeRead(const imss_settings_group_v01& group, std::vector<uint8_t>& msg) {
    static ::android::sp<GetSettingsCb> client = new GetSettingsCb();
    RcsConfig::GetConfigListenerWrapper wrapper;
    wrapper.getRcsSettingsListener(client);
    const int before = client->answers;
    wrapper.getRcsSettingsCb(static_cast<int>(group.get_msg_id), msg.data());
    if (client->answers != before + 1) abort();
    const SettingsData& data = client->lastData;
    if (client->lastStatus == RequestStatus::OK) {
        if (static_cast<uint32_t>(data.settingsId) != group.settings_id) abort();
    } else if (data.settingsValues.intData.size() != 0 || data.settingsValues.boolData.size() != 0 ||
               data.settingsValues.stringData.size() != 0) {
        abort();
    }
}

SettingsData record(fuzzsupport::ByteReader& in) {
    SettingsData data{};
    data.settingsId = static_cast<SettingsId>(in.take<uint8_t>() % 6);
    std::vector<KeyValuePairTypeInt> ints;
    std::vector<KeyValuePairTypeBool> bools;
    std::vector<KeyValuePairTypeString> strings;
    while (!in.empty()) {
        uint8_t list = in.take<uint8_t>() % 3;
        uint32_t key = 95 + in.take<uint16_t>() % 340;
        if (list == 0) {
            ints.push_back({key, in.take<int64_t>()});
        } else if (list == 1) {
            bools.push_back({key, (in.take<uint8_t>() & 1) != 0});
        } else {
            std::vector<uint8_t> text = in.bytes(in.take<uint16_t>() % 1100);
            KeyValuePairTypeString pair{};
            pair.key = key;
            pair.value = std::string(text.begin(), text.end());
            strings.push_back(pair);
        }
    }
    data.settingsValues.intData = ints;
    data.settingsValues.boolData = bools;
    data.settingsValues.stringData = strings;
    return data;
}

// A write that succeeded must read back as an indication with only keys the
// client sent, each in the list it was sent in.
void checkReadBack(const SettingsData& sent, const std::vector<uint8_t>& msg) {
    std::vector<uint8_t> copy(msg);
    SettingsData back{};
    if (!RcsConfigManager::convertResponseToHidlStruct(static_cast<int>(sent.settingsId),
                                                       copy.data(), &back, true)) {
        abort();
    }
    auto keysWithin = [](const auto& got, const auto& sentList) {
        std::set<uint32_t> keys;
        for (const auto& p : sentList) keys.insert(p.key);
        for (const auto& p : got) {
            if (keys.count(p.key) == 0) return false;
        }
        return true;
    };
    const auto& was = sent.settingsValues;
    const auto& is = back.settingsValues;
    // The user agent array is reported even when nothing was written to it.
    if (!keysWithin(is.intData, was.intData) || !keysWithin(is.boolData, was.boolData) ||
        (!keysWithin(is.stringData, was.stringData) && sent.settingsId != SettingsId::USER_AGENT_STRING)) {
        abort();
    }
}

void write(fuzzsupport::ByteReader& in) {
    SettingsData data = record(in);
    const imss_settings_group_v01* group =
            imss_settings_group_by_id(static_cast<int32_t>(data.settingsId));
    if (group == nullptr) {
        // Refused before anything is allocated.
        rcs_settings_data_s request{};
        if (RcsConfigManager::convertSetReqDataToMcx(data, &request)) abort();
        return;
    }
    // The fillers run on a message owned here: a refused record through
    // convertSetReqDataToMcx would abandon one message per input (as it must)
    // and a long run would drown in them.
    std::vector<uint8_t> msg(group->set_len, 0);
    bool (*fill)(void*, SettingsData&) = nullptr;
    switch (data.settingsId) {
        case SettingsId::PRESENCE_CONFIG: fill = &RcsConfigManager::setPresenceConfigData; break;
        case SettingsId::STANDALONE_MESSAGING_CONFIG: fill = &RcsConfigManager::setSMConfigData; break;
        case SettingsId::USER_AGENT_STRING: fill = &RcsConfigManager::setUserAgentConfigData; break;
        default: fill = &RcsConfigManager::setImsServiceEnableConfigData; break;
    }
    if (!fill(msg.data(), data)) return;
    checkReadBack(data, msg);

    // Accepted records also go the whole way, which must give the same bytes.
    rcs_settings_data_s request{};
    if (!RcsConfigManager::convertSetReqDataToMcx(data, &request)) abort();
    bool same = memcmp(request.msgData, msg.data(), msg.size()) == 0;
    free(request.msgData);
    if (!same) abort();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    __android_log_set_logger(fuzzsupport::discardLog);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzzsupport::ByteReader in(data, size);
    uint8_t mode = in.take<uint8_t>();
    const imss_settings_group_v01& group = imss_settings_groups_v01[(mode >> 2) & 3];
    switch (mode & 3) {
        case 0: {
            std::vector<uint8_t> msg = in.padded(group.get_resp_len);
            convert(static_cast<int>(group.get_msg_id), msg, false);
            completeRead(group, msg);
            break;
        }
        case 1: {
            std::vector<uint8_t> msg = in.padded(group.set_len);
            convert(static_cast<int>(group.settings_id), msg, true);
            break;
        }
        case 2:
            write(in);
            break;
        case 3: {
            int32_t id = in.take<int32_t>();
            bool isIndication = (in.take<uint8_t>() & 1) != 0;
            std::vector<uint8_t> msg = in.padded(largestMessage());
            convert(id, msg, isIndication);
            break;
        }
    }
    return 0;
}
