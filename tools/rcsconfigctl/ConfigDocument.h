/*
 * ConfigDocument: an auto-configuration document read from a file, ready to
 * be sent. A file that already is gzip (by its magic bytes) is sent as it is,
 * marked compressed; a plain file is compressed on the fly when asked.
 */
#ifndef RCSCONFIGCTL_CONFIG_DOCUMENT_H
#define RCSCONFIGCTL_CONFIG_DOCUMENT_H

#include <cstdint>
#include <string>
#include <vector>

namespace rcsctl {

struct ConfigDocument {
    std::vector<uint8_t> bytes;  // what goes to the service
    bool compressed = false;     // bytes are a gzip stream
    bool compressedHere = false; // we compressed a plain file
    size_t fileSize = 0;         // size of the file as read

    // Reads `path`; compresses it when `gzip` is set and the file is not gzip
    // already. False with a one-line reason in *error when the file cannot be
    // read or is empty.
    static bool load(const std::string& path, bool gzip, ConfigDocument* out, std::string* error);
};

// The modem takes a document in segments of 2000 bytes and is told their
// number as (length / 2000) + 1 in 8 bits. A longer document wraps that count
// (it is answered many times, and the modem keeps a prefix), and one whose
// length is an exact multiple of 2000 is answered FAIL before the modem's own
// verdict; the library keeps both behaviours, so the tool checks first.
constexpr size_t kSegmentBytes = 2000;
constexpr size_t kMaxSegmentCount = 255;
constexpr size_t kMaxSendableBytes = kSegmentBytes * kMaxSegmentCount - 1;

// Why `size` bytes cannot be sent (empty when they can).
std::string unsendableReason(size_t size);
// True when `size` bytes are answered FAIL first.
inline bool answeredFailFirst(size_t size) { return size > 0 && size % kSegmentBytes == 0; }

// True when `data` starts with the gzip magic bytes.
bool isGzip(const std::vector<uint8_t>& data);

// Compresses `in` into one gzip member; false if zlib fails.
bool gzipCompress(const std::vector<uint8_t>& in, std::vector<uint8_t>* out);

}  // namespace rcsctl

#endif  // RCSCONFIGCTL_CONFIG_DOCUMENT_H
