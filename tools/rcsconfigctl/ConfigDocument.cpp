#include "ConfigDocument.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>

#include <sys/stat.h>
#include <zlib.h>

namespace rcsctl {

namespace {
// Window bits 15 plus 16 asks zlib for a gzip header and trailer.
constexpr int kGzipWindowBits = 15 + 16;
constexpr int kMemLevel = 8;
}  // namespace

std::string unsendableReason(size_t size) {
    if (size <= kMaxSendableBytes) return {};
    return std::to_string(size) + " bytes would be announced as " +
           std::to_string(size / kSegmentBytes + 1) + " segments of " + std::to_string(kSegmentBytes) +
           " bytes, more than the modem's 8-bit segment count holds (at most " +
           std::to_string(kMaxSendableBytes) + " bytes)";
}

bool isGzip(const std::vector<uint8_t>& data) {
    return data.size() >= 2 && data[0] == 0x1f && data[1] == 0x8b;
}

bool gzipCompress(const std::vector<uint8_t>& in, std::vector<uint8_t>* out) {
    z_stream zs;
    std::memset(&zs, 0, sizeof(zs));
    if (deflateInit2(&zs, Z_BEST_COMPRESSION, Z_DEFLATED, kGzipWindowBits, kMemLevel,
                     Z_DEFAULT_STRATEGY) != Z_OK) {
        return false;
    }
    out->assign(deflateBound(&zs, static_cast<uLong>(in.size())) + 32, 0);
    zs.next_in = const_cast<Bytef*>(in.data());
    zs.avail_in = static_cast<uInt>(in.size());
    zs.next_out = out->data();
    zs.avail_out = static_cast<uInt>(out->size());
    int rc = deflate(&zs, Z_FINISH);
    out->resize(zs.total_out);
    deflateEnd(&zs);
    return rc == Z_STREAM_END;
}

bool ConfigDocument::load(const std::string& path, bool gzip, ConfigDocument* out,
                          std::string* error) {
    struct stat st;
    if (::stat(path.c_str(), &st) != 0) {
        *error = "cannot read '" + path + "': " + std::strerror(errno);
        return false;
    }
    if (S_ISDIR(st.st_mode)) {
        *error = "cannot read '" + path + "': it is a directory";
        return false;
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        *error = "cannot read '" + path + "': " + std::strerror(errno);
        return false;
    }
    std::vector<uint8_t> data((std::istreambuf_iterator<char>(file)),
                              std::istreambuf_iterator<char>());
    if (file.bad()) {
        *error = "cannot read '" + path + "': read error";
        return false;
    }
    if (data.empty()) {
        *error = "cannot send '" + path + "': the file is empty";
        return false;
    }
    *out = ConfigDocument();
    out->fileSize = data.size();
    if (isGzip(data)) {
        out->compressed = true;
        out->bytes = std::move(data);
    } else if (gzip) {
        if (!gzipCompress(data, &out->bytes)) {
            *error = "cannot compress '" + path + "'";
            return false;
        }
        out->compressed = true;
        out->compressedHere = true;
    } else {
        out->bytes = std::move(data);
    }
    return true;
}

}  // namespace rcsctl
