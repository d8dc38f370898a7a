/*
 * SettingsFieldWriter: writes HIDL settings values into one settings group's
 * modem structure, placing each value where the group's field table says.
 *
 * The writer never trusts the table blindly: every byte it touches is checked
 * against the length of the structure it was given, so a table that does not
 * match the message length fails the write instead of corrupting the heap.
 * Not thread-safe; each writer belongs to the one conversion that made it.
 */
#ifndef RCS_SETTINGS_FIELD_WRITER_H
#define RCS_SETTINGS_FIELD_WRITER_H

#include <cstddef>
#include <cstdint>

#include "ims_settings_service_v01.h"

class SettingsFieldWriter {
public:
    // `fields` is the start of the group's field layout, `length` its size in bytes.
    SettingsFieldWriter(void* fields, size_t length);

    // Sets the field's presence flag and stores the low 8 or 32 bits of `value`
    // (0 or 1 for a boolean field). False if the field is a character array or
    // does not fit in the structure. Any thread.
    bool writeInteger(const imss_settings_field_v01& field, int64_t value);

    // Sets the presence flag and stores 1 or 0. Same failures as writeInteger.
    bool writeBool(const imss_settings_field_v01& field, bool value);

    // Sets the presence flag, zero-fills the array and copies `length` bytes
    // without a terminator. A value longer than the capacity leaves the flag
    // set and the array zero-filled, and returns false.
    bool writeString(const imss_settings_field_v01& field, const char* value, size_t length);

private:
    bool fits(const imss_settings_field_v01& field) const;
    void markPresent(const imss_settings_field_v01& field);

    uint8_t* mFields;
    size_t mLength;
};

#endif  // RCS_SETTINGS_FIELD_WRITER_H
