#include "rcsconfig/SettingsFieldReader.h"

#include <cstring>

#include "rcsconfig/SettingsFieldLayout.h"

SettingsFieldReader::SettingsFieldReader(const void* fields, size_t length)
    : mFields(static_cast<const uint8_t*>(fields)), mLength(fields != nullptr ? length : 0) {}

bool SettingsFieldReader::fits(const imss_settings_field_v01& field) const {
    return settingsFieldFits(field, mLength);
}

bool SettingsFieldReader::isPresent(const imss_settings_field_v01& field) const {
    if (!fits(field)) return false;
    return field.flag_offset == IMSS_NO_PRESENCE_FLAG || mFields[field.flag_offset] == 1;
}

int64_t SettingsFieldReader::readInteger(const imss_settings_field_v01& field) const {
    if (!fits(field)) return 0;
    const uint8_t* in = mFields + field.value_offset;
    switch (field.type) {
        case IMSS_VALUE_UINT8:
            return *in;
        case IMSS_VALUE_BOOL:
            return *in != 0 ? 1 : 0;
        case IMSS_VALUE_UINT32: {
            uint32_t value;
            memcpy(&value, in, sizeof(value));
            return value;
        }
        case IMSS_VALUE_CHARS:
            break;
    }
    return 0;
}

bool SettingsFieldReader::readBool(const imss_settings_field_v01& field) const {
    return readInteger(field) != 0;
}

std::string SettingsFieldReader::readString(const imss_settings_field_v01& field) const {
    if (field.type != IMSS_VALUE_CHARS || !fits(field)) return std::string();
    const char* in = reinterpret_cast<const char*>(mFields + field.value_offset);
    // A full array carries no terminator, so the capacity bounds the scan.
    const void* zero = memchr(in, 0, field.capacity);
    size_t length = zero != nullptr ? static_cast<size_t>(static_cast<const char*>(zero) - in)
                                    : field.capacity;
    return std::string(in, length);
}
