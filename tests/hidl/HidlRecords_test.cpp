// The generated settings records and the value types under them: what the
// settings conversion relies on when it copies and compares client records.
#include <vendor/kel/ims/rcsconfig/2.0/types.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

using ::android::hardware::hidl_string;
using ::android::hardware::hidl_vec;
namespace V2_0 = ::vendor::kel::ims::rcsconfig::V2_0;

TEST(HidlRecordsTest, SettingsData_WhenCopied_IsEqualAndIndependent) {
    V2_0::SettingsData original;
    original.settingsId = V2_0::SettingsId::PRESENCE_CONFIG;
    original.settingsValues.intData = {{100, 30}, {101, -1}};
    original.settingsValues.stringData = {{111, "sip:presence@example.org"}};
    V2_0::SettingsData copy = original;
    EXPECT_EQ(copy, original);

    copy.settingsValues.stringData[0].value = "changed";
    copy.settingsValues.intData[1].value = 7;
    EXPECT_NE(copy, original);
    EXPECT_EQ(std::string(original.settingsValues.stringData[0].value), "sip:presence@example.org");
    EXPECT_EQ(original.settingsValues.intData[1].value, -1);
}

TEST(HidlStringTest, KeepsLengthAndEmbeddedZeros) {
    const char raw[] = {'a', '\0', 'b'};
    hidl_string s(raw, sizeof(raw));
    EXPECT_EQ(s.size(), 3u);
    EXPECT_EQ(std::string(s), std::string(raw, 3));
    EXPECT_EQ(s.c_str()[3], '\0');  // always terminated

    hidl_string empty;
    EXPECT_TRUE(empty.empty());
    EXPECT_STREQ(empty.c_str(), "");
    EXPECT_EQ(empty, "");
    EXPECT_NE(hidl_string("abc"), hidl_string("abd"));
    EXPECT_EQ(hidl_string(std::string("xyz")), "xyz");
}

TEST(HidlVecTest, ResizeKeepsPrefixAndValueInitialisesTail) {
    hidl_vec<V2_0::KeyValuePairTypeInt> v = {{1, 10}, {2, 20}, {3, 30}};
    v.resize(2);
    ASSERT_EQ(v.size(), 2u);
    EXPECT_EQ(v[1].value, 20);
    v.resize(4);
    ASSERT_EQ(v.size(), 4u);
    EXPECT_EQ(v[0].key, 1u);
    EXPECT_EQ(v[3].key, 0u);
    EXPECT_EQ(v[3].value, 0);

    std::vector<V2_0::KeyValuePairTypeInt> asStd = v;
    EXPECT_EQ(asStd.size(), 4u);
    hidl_vec<V2_0::KeyValuePairTypeInt> back(asStd);
    EXPECT_EQ(back, v);

    v.resize(0);
    EXPECT_EQ(v.size(), 0u);
    EXPECT_EQ(v.begin(), v.end());
}
