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

// True when `data` starts with the gzip magic bytes.
bool isGzip(const std::vector<uint8_t>& data);

// Compresses `in` into one gzip member; false if zlib fails.
bool gzipCompress(const std::vector<uint8_t>& in, std::vector<uint8_t>* out);

}  // namespace rcsctl

#endif  // RCSCONFIGCTL_CONFIG_DOCUMENT_H
