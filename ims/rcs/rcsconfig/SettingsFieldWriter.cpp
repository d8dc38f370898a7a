#include "rcsconfig/SettingsFieldWriter.h"

#include <cstring>

#include "imsservice/ImsLog.h"
#include "rcsconfig/SettingsFieldLayout.h"

SettingsFieldWriter::SettingsFieldWriter(void* fields, size_t length)
    : mFields(static_cast<uint8_t*>(fields)), mLength(fields != nullptr ? length : 0) {}

bool SettingsFieldWriter::fits(const imss_settings_field_v01& field) const {
    if (settingsFieldFits(field, mLength)) return true;
    // Only a field table that disagrees with the message length gets here.
    IMS_LOG("settings field %u does not fit in a %u-byte message", field.key,
            static_cast<unsigned int>(mLength));
    return false;
}

void SettingsFieldWriter::markPresent(const imss_settings_field_v01& field) {
    if (field.flag_offset != IMSS_NO_PRESENCE_FLAG) mFields[field.flag_offset] = 1;
}

bool SettingsFieldWriter::writeInteger(const imss_settings_field_v01& field, int64_t value) {
    if (field.type == IMSS_VALUE_CHARS || !fits(field)) return false;
    markPresent(field);
    uint8_t* out = mFields + field.value_offset;
    switch (field.type) {
        case IMSS_VALUE_UINT8:
            *out = static_cast<uint8_t>(value);
            break;
        case IMSS_VALUE_BOOL:
            *out = value != 0 ? 1 : 0;
            break;
        case IMSS_VALUE_UINT32: {
            // The structure is the modem's in host byte order and may place the
            // value at any offset, hence memcpy rather than a typed store.
            uint32_t low = static_cast<uint32_t>(value);
            memcpy(out, &low, sizeof(low));
            break;
        }
        case IMSS_VALUE_CHARS:
            return false;
    }
    return true;
}

bool SettingsFieldWriter::writeBool(const imss_settings_field_v01& field, bool value) {
    return writeInteger(field, value ? 1 : 0);
}

bool SettingsFieldWriter::writeString(const imss_settings_field_v01& field, const char* value,
                                      size_t length) {
    if (field.type != IMSS_VALUE_CHARS || !fits(field)) return false;
    markPresent(field);
    uint8_t* out = mFields + field.value_offset;
    memset(out, 0, field.capacity);
    if (length > field.capacity) return false;
    if (length > 0) memcpy(out, value, length);
    return true;
}
