#include "ConfigReassembler.h"

#include <zlib.h>

#include "emulator/ModemTypes.h"

namespace mcxemu {

namespace {
// An RCS configuration document is a few hundred kilobytes at most.
constexpr size_t kMaxInflated = 16u * 1024u * 1024u;
}  // namespace

ConfigReassembler::ConfigReassembler(bool gzipped, uint8_t segCount)
    : mGzipped(gzipped), mSegCount(segCount) {}

ConfigReassembler::Step ConfigReassembler::add(uint8_t seqNum, uint8_t segCount, bool gzipped,
                                               const uint8_t* bytes, size_t len) {
    if (seqNum != mNextSeq) {
        mStatus = kConfigOutOfOrder;
        return Step::Failed;
    }
    if (segCount != mSegCount || seqNum > mSegCount) {
        mStatus = kConfigCountMismatch;
        return Step::Failed;
    }
    if (gzipped != mGzipped) {
        mStatus = kConfigMixedEncoding;
        return Step::Failed;
    }
    mDocument.insert(mDocument.end(), bytes, bytes + len);
    ++mNextSeq;
    if (seqNum < mSegCount) return Step::NeedMore;
    if (mGzipped) {
        std::vector<uint8_t> inflated;
        if (!gunzip(mDocument, &inflated)) {
            mStatus = kConfigInflateFailed;
            return Step::Failed;
        }
        mDocument.swap(inflated);
    }
    mStatus = kConfigAccepted;
    return Step::Complete;
}

bool ConfigReassembler::gunzip(const std::vector<uint8_t>& in, std::vector<uint8_t>* out) {
    out->clear();
    if (in.empty()) return false;
    z_stream zs{};
    // 16 + MAX_WBITS: a gzip wrapper is required, raw or zlib streams are refused.
    if (inflateInit2(&zs, 16 + MAX_WBITS) != Z_OK) return false;
    zs.next_in = const_cast<Bytef*>(in.data());
    zs.avail_in = static_cast<uInt>(in.size());
    uint8_t chunk[16384];
    int rc = Z_OK;
    while (rc == Z_OK) {
        zs.next_out = chunk;
        zs.avail_out = sizeof(chunk);
        rc = inflate(&zs, Z_NO_FLUSH);
        if (rc != Z_OK && rc != Z_STREAM_END) break;
        size_t produced = sizeof(chunk) - zs.avail_out;
        if (out->size() + produced > kMaxInflated) {
            rc = Z_MEM_ERROR;
            break;
        }
        out->insert(out->end(), chunk, chunk + produced);
        if (rc == Z_OK && produced == 0 && zs.avail_in == 0) {
            rc = Z_BUF_ERROR;  // input ended before the stream did
        }
    }
    inflateEnd(&zs);
    if (rc != Z_STREAM_END) out->clear();
    return rc == Z_STREAM_END;
}

}  // namespace mcxemu
