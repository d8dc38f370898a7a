// Reading a document to send: plain, compressed here, or already gzip.
#include <gtest/gtest.h>

#include <string>

#include <zlib.h>

#include "ConfigDocument.h"
#include "TempDir.h"

namespace rcsctl {
namespace {

class ConfigDocumentTest : public ::testing::Test {
protected:
    static std::string inflate(const std::vector<uint8_t>& gz) {
        z_stream zs{};
        EXPECT_EQ(Z_OK, inflateInit2(&zs, 15 + 16));
        std::string out(1 << 20, '\0');
        zs.next_in = const_cast<Bytef*>(gz.data());
        zs.avail_in = static_cast<uInt>(gz.size());
        zs.next_out = reinterpret_cast<Bytef*>(&out[0]);
        zs.avail_out = static_cast<uInt>(out.size());
        EXPECT_EQ(Z_STREAM_END, ::inflate(&zs, Z_FINISH));
        out.resize(zs.total_out);
        inflateEnd(&zs);
        return out;
    }
    tooltest::TempDir mDir;
};

TEST_F(ConfigDocumentTest, Load_PlainFile_IsGzipCompressedOnlyWhenAsked) {
    std::string xml = "<?xml version=\"1.0\"?>\n<wap-provisioningdoc>";
    for (int i = 0; i < 500; ++i) xml += "<parm name=\"p" + std::to_string(i) + "\" value=\"1\"/>\n";
    std::string path = mDir.write("doc.xml", xml);
    ConfigDocument doc;
    std::string error;
    ASSERT_TRUE(ConfigDocument::load(path, true, &doc, &error)) << error;
    EXPECT_TRUE(doc.compressed);
    EXPECT_TRUE(doc.compressedHere);
    EXPECT_EQ(xml.size(), doc.fileSize);
    EXPECT_TRUE(isGzip(doc.bytes));
    EXPECT_LT(doc.bytes.size(), xml.size());
    EXPECT_EQ(xml, inflate(doc.bytes));
    ASSERT_TRUE(ConfigDocument::load(path, false, &doc, &error)) << error;
    EXPECT_FALSE(doc.compressed);
    EXPECT_EQ(xml, std::string(doc.bytes.begin(), doc.bytes.end()));
}

TEST_F(ConfigDocumentTest, Load_GzipFile_IsSentAsItIsWithOrWithoutTheFlag) {
    std::vector<uint8_t> gz;
    ASSERT_TRUE(gzipCompress(std::vector<uint8_t>{'a', 'b', 'c'}, &gz));
    std::string path = mDir.write("doc.xml.gz", std::string(gz.begin(), gz.end()));
    for (bool flag : {false, true}) {
        ConfigDocument doc;
        std::string error;
        ASSERT_TRUE(ConfigDocument::load(path, flag, &doc, &error)) << error;
        EXPECT_TRUE(doc.compressed);
        EXPECT_FALSE(doc.compressedHere);
        EXPECT_EQ(gz, doc.bytes);
    }
}

TEST_F(ConfigDocumentTest, Load_MissingEmptyOrDirectory_GivesOneLineReason) {
    ConfigDocument doc;
    std::string error;
    EXPECT_FALSE(ConfigDocument::load(mDir.path() + "/none.xml", true, &doc, &error));
    EXPECT_EQ("cannot read '" + mDir.path() + "/none.xml': No such file or directory", error);
    EXPECT_FALSE(ConfigDocument::load(mDir.write("empty.xml", ""), true, &doc, &error));
    EXPECT_EQ("cannot send '" + mDir.path() + "/empty.xml': the file is empty", error);
    EXPECT_FALSE(ConfigDocument::load(mDir.path(), false, &doc, &error));
    EXPECT_EQ("cannot read '" + mDir.path() + "': it is a directory", error);
}

}  // namespace
}  // namespace rcsctl
