/*
 * Byte extent of one settings field, shared by the field reader and writer so
 * that both refuse exactly the same out-of-range fields.
 */
#ifndef RCS_SETTINGS_FIELD_LAYOUT_H
#define RCS_SETTINGS_FIELD_LAYOUT_H

#include <cstddef>
#include <cstdint>

#include "ims_settings_service_v01.h"

// Bytes taken by the field's value (not counting its presence flag).
inline size_t settingsFieldValueSize(const imss_settings_field_v01& field) {
    switch (field.type) {
        case IMSS_VALUE_UINT8:
        case IMSS_VALUE_BOOL:
            return 1;
        case IMSS_VALUE_UINT32:
            return sizeof(uint32_t);
        case IMSS_VALUE_CHARS:
            return field.capacity;
    }
    return 0;
}

// True when the flag byte (if any) and the whole value lie inside `length` bytes.
inline bool settingsFieldFits(const imss_settings_field_v01& field, size_t length) {
    if (field.flag_offset != IMSS_NO_PRESENCE_FLAG && field.flag_offset >= length) {
        return false;
    }
    size_t size = settingsFieldValueSize(field);
    return size > 0 && field.value_offset <= length && size <= length - field.value_offset;
}

#endif  // RCS_SETTINGS_FIELD_LAYOUT_H
