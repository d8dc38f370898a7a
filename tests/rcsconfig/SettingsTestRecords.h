// Builders and comparisons of HIDL settings records for the conversion tests.
#ifndef TESTS_RCSCONFIG_SETTINGS_TEST_RECORDS_H
#define TESTS_RCSCONFIG_SETTINGS_TEST_RECORDS_H

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "rcsconfig/RcsConfigManager.h"

namespace rcstest {

using SettingsData = RcsConfigManager::SettingsData;
using SettingsId = RcsConfigManager::SettingsId;

struct Pairs {
    std::vector<std::pair<uint32_t, int64_t>> ints;
    std::vector<std::pair<uint32_t, bool>> bools;
    std::vector<std::pair<uint32_t, std::string>> strings;
};

inline SettingsData makeRecord(SettingsId id, const Pairs& pairs) {
    namespace V2_0 = ::vendor::kel::ims::rcsconfig::V2_0;
    SettingsData data{};
    data.settingsId = id;
    std::vector<V2_0::KeyValuePairTypeInt> ints;
    std::vector<V2_0::KeyValuePairTypeBool> bools;
    std::vector<V2_0::KeyValuePairTypeString> strings;
    for (const auto& p : pairs.ints) ints.push_back({p.first, p.second});
    for (const auto& p : pairs.bools) bools.push_back({p.first, p.second});
    for (const auto& p : pairs.strings) strings.push_back({p.first, p.second});
    data.settingsValues.intData = ints;
    data.settingsValues.boolData = bools;
    data.settingsValues.stringData = strings;
    return data;
}

inline Pairs pairsOf(const SettingsData& data) {
    Pairs out;
    for (const auto& p : data.settingsValues.intData) out.ints.emplace_back(p.key, p.value);
    for (const auto& p : data.settingsValues.boolData) out.bools.emplace_back(p.key, p.value);
    for (const auto& p : data.settingsValues.stringData) {
        out.strings.emplace_back(p.key, std::string(p.value.c_str(), p.value.size()));
    }
    return out;
}

inline bool operator==(const Pairs& a, const Pairs& b) {
    return a.ints == b.ints && a.bools == b.bools && a.strings == b.strings;
}

template <typename V>
std::vector<uint32_t> keysOf(const std::vector<std::pair<uint32_t, V>>& v) {
    std::vector<uint32_t> k;
    for (const auto& p : v) k.push_back(p.first);
    return k;
}

// A modem message the test owns, as malloc'ed by the converters.
struct FreeDeleter {
    void operator()(void* p) const { free(p); }
};
using MessagePtr = std::unique_ptr<uint8_t, FreeDeleter>;

inline MessagePtr takeMessage(rcs_settings_data_s& request) {
    MessagePtr msg(static_cast<uint8_t*>(request.msgData));
    request.msgData = nullptr;
    return msg;
}

}  // namespace rcstest

#endif  // TESTS_RCSCONFIG_SETTINGS_TEST_RECORDS_H
