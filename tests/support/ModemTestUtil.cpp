#include "support/ModemTestUtil.h"

#include <zlib.h>

namespace imstest {

std::vector<uint8_t> gzipBytes(const std::vector<uint8_t>& data) {
    z_stream zs{};
    deflateInit2(&zs, Z_BEST_COMPRESSION, Z_DEFLATED, 16 + MAX_WBITS, 8, Z_DEFAULT_STRATEGY);
    std::vector<uint8_t> out(deflateBound(&zs, static_cast<uLong>(data.size())) + 32);
    zs.next_in = const_cast<Bytef*>(data.data());
    zs.avail_in = static_cast<uInt>(data.size());
    zs.next_out = out.data();
    zs.avail_out = static_cast<uInt>(out.size());
    deflate(&zs, Z_FINISH);
    out.resize(zs.total_out);
    deflateEnd(&zs);
    return out;
}

std::vector<uint8_t> patternBytes(size_t n) {
    std::vector<uint8_t> out(n);
    for (size_t i = 0; i < n; ++i) out[i] = static_cast<uint8_t>('a' + (i * 7 + i / 2000) % 26);
    return out;
}

std::vector<uint8_t> noiseBytes(size_t n, uint32_t seed) {
    std::vector<uint8_t> out(n);
    uint32_t x = seed * 2654435761u + 1;
    for (size_t i = 0; i < n; ++i) {
        x = x * 1664525u + 1013904223u;
        out[i] = static_cast<uint8_t>(x >> 24);
    }
    return out;
}

}  // namespace imstest
