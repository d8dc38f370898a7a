/*
 * SettingsFieldReader: reads one settings group's fields out of a modem read
 * response or change indication, by the group's field table.
 *
 * The bytes come from the modem, so nothing in them is trusted: a string is
 * taken up to its first zero byte but never past the field's capacity, and a
 * field that the given length cannot hold reads as absent.
 */
#ifndef RCS_SETTINGS_FIELD_READER_H
#define RCS_SETTINGS_FIELD_READER_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "ims_settings_service_v01.h"

class SettingsFieldReader {
public:
    // `fields` is the start of the group's field layout, `length` its size in bytes.
    SettingsFieldReader(const void* fields, size_t length);

    // True when the field fits and its presence flag byte is exactly 1; a
    // mandatory field (no flag) is present whenever it fits. Any thread.
    bool isPresent(const imss_settings_field_v01& field) const;

    // The stored integer widened without sign (0 or 1 for a boolean field),
    // 0 when the field does not fit or is a character array.
    int64_t readInteger(const imss_settings_field_v01& field) const;

    // A boolean field's value: any non-zero byte is true.
    bool readBool(const imss_settings_field_v01& field) const;

    // A character array's bytes up to the first zero byte or the capacity.
    std::string readString(const imss_settings_field_v01& field) const;

private:
    bool fits(const imss_settings_field_v01& field) const;

    const uint8_t* mFields;
    size_t mLength;
};

#endif  // RCS_SETTINGS_FIELD_READER_H
