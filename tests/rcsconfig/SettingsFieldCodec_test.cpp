// The bounds of the byte-level field reader and writer, on fields made up
// here: a field table that disagrees with the message, and modem bytes that
// would lead a read past a field. (Placement is covered by the layout tests.)
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "rcsconfig/SettingsFieldReader.h"
#include "rcsconfig/SettingsFieldWriter.h"

namespace {

imss_settings_field_v01 field(imss_value_type_v01 type, uint32_t flag, uint32_t value,
                              uint32_t capacity = 0) {
    imss_value_list_v01 list = type == IMSS_VALUE_CHARS ? IMSS_LIST_STRING
                               : type == IMSS_VALUE_BOOL ? IMSS_LIST_BOOL
                                                         : IMSS_LIST_INT;
    return imss_settings_field_v01{7, list, "test_field", flag, value, type, capacity};
}

TEST(SettingsFieldWriterTest, FieldOutsideTheMessageOrOfTheWrongType_IsRefusedUntouched) {
    std::vector<uint8_t> buf(8, 0xEE);
    SettingsFieldWriter writer(buf.data(), buf.size());
    EXPECT_FALSE(writer.writeInteger(field(IMSS_VALUE_UINT32, 0, 5), 1));   // value crosses the end
    EXPECT_FALSE(writer.writeInteger(field(IMSS_VALUE_UINT8, 8, 0), 1));    // flag past the end
    EXPECT_FALSE(writer.writeString(field(IMSS_VALUE_CHARS, 0, 1, 8), "a", 1));
    EXPECT_FALSE(writer.writeString(field(IMSS_VALUE_UINT32, 0, 1), "a", 1));
    EXPECT_FALSE(writer.writeInteger(field(IMSS_VALUE_CHARS, 0, 1, 2), 1));
    EXPECT_EQ(buf, std::vector<uint8_t>(8, 0xEE));

    SettingsFieldWriter empty(nullptr, 100);
    EXPECT_FALSE(empty.writeBool(field(IMSS_VALUE_BOOL, 0, 1), true));
}

TEST(SettingsFieldReaderTest, IsPresent_OnlyForFlagExactlyOne) {
    std::vector<uint8_t> buf = {1, 0, 2, 0, 0, 0, 0xFF, 0};
    SettingsFieldReader reader(buf.data(), buf.size());
    EXPECT_TRUE(reader.isPresent(field(IMSS_VALUE_BOOL, 0, 1)));
    EXPECT_FALSE(reader.isPresent(field(IMSS_VALUE_BOOL, 1, 1)));
    EXPECT_FALSE(reader.isPresent(field(IMSS_VALUE_BOOL, 2, 3)));
    EXPECT_FALSE(reader.isPresent(field(IMSS_VALUE_BOOL, 6, 7)));
    EXPECT_TRUE(reader.isPresent(field(IMSS_VALUE_CHARS, IMSS_NO_PRESENCE_FLAG, 0, 8)));
    EXPECT_FALSE(reader.isPresent(field(IMSS_VALUE_CHARS, IMSS_NO_PRESENCE_FLAG, 0, 9)));
    EXPECT_FALSE(reader.isPresent(field(IMSS_VALUE_UINT32, 0, 6)));
}

TEST(SettingsFieldReaderTest, ReadInteger_WidensWithoutSign) {
    std::vector<uint8_t> buf(9, 0);
    uint32_t big = 0xFFFFFFFEu;
    memcpy(&buf[1], &big, 4);
    buf[5] = 0xFE;
    buf[6] = 7;
    SettingsFieldReader reader(buf.data(), buf.size());
    EXPECT_EQ(reader.readInteger(field(IMSS_VALUE_UINT32, 0, 1)), 0xFFFFFFFELL);
    EXPECT_EQ(reader.readInteger(field(IMSS_VALUE_UINT8, 0, 5)), 0xFE);
    EXPECT_TRUE(reader.readBool(field(IMSS_VALUE_BOOL, 0, 6)));
    EXPECT_FALSE(reader.readBool(field(IMSS_VALUE_BOOL, 0, 7)));
    EXPECT_EQ(reader.readInteger(field(IMSS_VALUE_UINT32, 0, 6)), 0) << "crosses the end";
}

TEST(SettingsFieldReaderTest, ReadString_StopsAtZeroOrCapacityNeverBeyond) {
    // The byte after the field is not zero: a full field must not run into it.
    std::vector<uint8_t> buf = {1, 'a', 'b', 0, 'c', 1, 'w', 'x', 'y', 'z', 'Q'};
    SettingsFieldReader reader(buf.data(), buf.size());
    EXPECT_EQ(reader.readString(field(IMSS_VALUE_CHARS, 0, 1, 4)), "ab");
    EXPECT_EQ(reader.readString(field(IMSS_VALUE_CHARS, 0, 1, 3)), "ab");  // one short of full
    EXPECT_EQ(reader.readString(field(IMSS_VALUE_CHARS, 5, 6, 4)), "wxyz");
    EXPECT_EQ(reader.readString(field(IMSS_VALUE_CHARS, 5, 6, 6)), "");
    EXPECT_EQ(reader.readString(field(IMSS_VALUE_UINT32, 5, 6)), "");
}

}  // namespace
