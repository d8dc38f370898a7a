// Builders and comparisons of HIDL settings records for the conversion tests.
#ifndef TESTS_RCSCONFIG_SETTINGS_TEST_RECORDS_H
#define TESTS_RCSCONFIG_SETTINGS_TEST_RECORDS_H

#include <cstdint>
#include <cstring>
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

// Modem messages laid out byte by byte from the modem's message definitions,
// independently of the product's field tables, writer and reader: a field is
// a presence flag byte (set to 1) and its value at the offsets given.
class Layout {
public:
    static constexpr size_t kNoFlag = SIZE_MAX;

    // A write request or a change indication: the bare field layout of `length` bytes.
    static Layout indication(size_t length) { return Layout(length, 0); }
    // A read response: the header words, the valid flag at byte 8, the fields from `fieldsAt`.
    static Layout response(size_t length, size_t fieldsAt, int32_t result = 0, int32_t error = 0) {
        Layout l(length, fieldsAt);
        memcpy(l.mBytes.data(), &result, 4);
        memcpy(l.mBytes.data() + 4, &error, 4);
        l.mBytes[8] = 1;
        return l;
    }
    Layout& u32(size_t flag, size_t at, uint32_t value) {
        setFlag(flag);
        memcpy(&mBytes[mBase + at], &value, 4);
        return *this;
    }
    Layout& u8(size_t flag, size_t at, uint8_t value) {
        setFlag(flag);
        mBytes[mBase + at] = value;
        return *this;
    }
    Layout& chars(size_t flag, size_t at, const std::string& text) {
        setFlag(flag);
        memcpy(&mBytes[mBase + at], text.data(), text.size());
        return *this;
    }
    void* data() { return mBytes.data(); }
    const std::vector<uint8_t>& bytes() const { return mBytes; }

private:
    Layout(size_t length, size_t base) : mBytes(length, 0), mBase(base) {}
    void setFlag(size_t flag) {
        if (flag != kNoFlag) mBytes[mBase + flag] = 1;
    }
    std::vector<uint8_t> mBytes;
    size_t mBase;
};

}  // namespace rcstest

#endif  // TESTS_RCSCONFIG_SETTINGS_TEST_RECORDS_H
