// The name tables come from the HIDL enumerations and the modem field
// tables; these tests catch a table that loses or mislabels a key.
#include <gtest/gtest.h>

#include <set>

#include "Output.h"
#include "SettingsCatalog.h"

namespace rcsctl {
namespace {

namespace V2_0 = ::vendor::kel::ims::rcsconfig::V2_0;

TEST(SettingsCatalogTest, Tables_EveryHidlKeyIsKnownWithItsModemKind) {
    const auto& catalog = SettingsCatalog::instance();
    ASSERT_EQ(4u, catalog.groups().size());
    std::set<uint32_t> keys;
    size_t count = 0;
    for (const auto& g : catalog.groups()) {
        for (const auto& k : g.keys) {
            keys.insert(k.key);
            ++count;
            EXPECT_NE(std::to_string(k.key), k.name) << "no HIDL name for " << k.key;
        }
    }
    EXPECT_EQ(51u, count);
    EXPECT_EQ(count, keys.size());

    const GroupInfo* ise = catalog.findGroup("ims-service");
    ASSERT_NE(nullptr, ise);
    // Travels in the integer list although its name reads like a flag.
    const KeyInfo* mask = ise->findKey("SERVICE_MASK_BY_NETWORK_ENABLED");
    ASSERT_NE(nullptr, mask);
    EXPECT_EQ(ValueKind::Int, mask->kind);
    EXPECT_EQ(421u, mask->key);
    const KeyInfo* id = ise->findKey("418");
    ASSERT_NE(nullptr, id);
    EXPECT_EQ(ValueKind::String, id->kind);
    EXPECT_EQ(20u, id->capacity);
    // The HIDL name and the modem's own spelling both find the key.
    const GroupInfo* presence = catalog.group(V2_0::SettingsId::PRESENCE_CONFIG);
    ASSERT_NE(nullptr, presence);
    EXPECT_EQ(presence->findKey("CAPABILITIES_CACHE_EXPIRY"), presence->findKey("capabilites_cache_expiry"));
    EXPECT_EQ(105u, presence->findKey("capabilities_cache_expiry")->key);
    EXPECT_EQ(nullptr, presence->findKey("-100"));
    EXPECT_EQ("PRESENCE_CONFIG", presence->name);
}

TEST(SettingsCatalogTest, Integers_DecimalHexSignAndOverflow) {
    int64_t v = 0;
    EXPECT_TRUE(parseInteger("0x1F", &v));
    EXPECT_EQ(31, v);
    EXPECT_TRUE(parseInteger("-9223372036854775808", &v));
    EXPECT_EQ(INT64_MIN, v);
    EXPECT_FALSE(parseInteger("9223372036854775808", &v));
    EXPECT_FALSE(parseInteger("0x", &v));
    EXPECT_FALSE(parseInteger("", &v));
    EXPECT_FALSE(parseInteger("1 2", &v));
    EXPECT_FALSE(parseInteger("-", &v));
}

TEST(OutputTest, Settings_ReadableAndJsonListValuesInKeyOrderWithNames) {
    V2_0::SettingsData data;
    data.settingsId = V2_0::SettingsId::PRESENCE_CONFIG;
    data.settingsValues.stringData = std::vector<V2_0::KeyValuePairTypeString>{{111, "sip:p\"x\"@e.net"}};
    data.settingsValues.boolData = std::vector<V2_0::KeyValuePairTypeBool>{{109, true}};
    data.settingsValues.intData = std::vector<V2_0::KeyValuePairTypeInt>{{101, 86400}, {100, 1200}, {999, 1}};
    EXPECT_EQ("  PUBLISH_TIMER (100) = 1200\n"
              "  PUBLISH_EXTENDED_TIMER (101) = 86400\n"
              "  CAPABILITY_DISCOVERY_ENABLED (109) = true\n"
              "  PRESENCE_SERVICE_URI (111) = \"sip:p\\\"x\\\"@e.net\"\n"
              "  999 (999) = 1\n",
              settingsText(data));
    EXPECT_EQ("{\"PUBLISH_TIMER\":1200,\"PUBLISH_EXTENDED_TIMER\":86400,\"CAPABILITY_DISCOVERY_ENABLED\":true,"
              "\"PRESENCE_SERVICE_URI\":\"sip:p\\\"x\\\"@e.net\",\"999\":1}",
              settingsJson(data));
    EXPECT_EQ("  (no values)\n", settingsText(V2_0::SettingsData{}));
}

// é (2 bytes), € (3), 😀 (4, a surrogate pair in JSON), control characters,
// and bytes that are not UTF-8: a stray byte, a truncated sequence, an
// overlong '/', an encoded surrogate. None is dropped.
TEST(OutputTest, Quote_Utf8IsTextOrCodePoints_OtherBytesAreEscapedNotDropped) {
    const std::string valid = "\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80\"\\\n\x01";
    EXPECT_EQ("\"\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80\\\"\\\\\\n\\x01\"", textQuote(valid));
    EXPECT_EQ("\"\\u00e9\\u20ac\\ud83d\\ude00\\\"\\\\\\n\\u0001\"", jsonQuote(valid));

    const std::string invalid = std::string("a\xff") + "\xc3" + "b\xc0\xaf\xed\xa0\x80";
    EXPECT_EQ("\"a\\xff\\xc3b\\xc0\\xaf\\xed\\xa0\\x80\"", textQuote(invalid));
    EXPECT_EQ("\"a\\\\xff\\\\xc3b\\\\xc0\\\\xaf\\\\xed\\\\xa0\\\\x80\"", jsonQuote(invalid));
    EXPECT_EQ("{\"t\":\"\\u00e9\\\\xff\"}", asciiJson("{\"t\":\"\xc3\xa9\xff\"}"));
}

}  // namespace
}  // namespace rcsctl
