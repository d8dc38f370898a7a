/*
 * ConfigReassembler: collects the 0x9C segments of one carrier-configuration
 * upload (one subscription, one token) and yields the whole document.
 */
#ifndef EMULATOR_CONFIG_REASSEMBLER_H
#define EMULATOR_CONFIG_REASSEMBLER_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace mcxemu {

class ConfigReassembler {
public:
    enum class Step { NeedMore, Complete, Failed };

    // Starts an upload with its first segment's announced encoding and count.
    ConfigReassembler(bool gzipped, uint8_t segCount);

    // Adds the next segment. Complete: document() holds the (inflated)
    // document. Failed: status() holds the ConfigStatus reason.
    Step add(uint8_t seqNum, uint8_t segCount, bool gzipped, const uint8_t* bytes, size_t len);

    const std::vector<uint8_t>& document() const { return mDocument; }
    bool gzipped() const { return mGzipped; }
    int32_t status() const { return mStatus; }

    // Inflates a gzip stream; false if it is not one or is cut short. The
    // output is capped so that a hostile stream cannot exhaust memory.
    static bool gunzip(const std::vector<uint8_t>& in, std::vector<uint8_t>* out);

private:
    bool mGzipped;
    uint8_t mSegCount;
    uint8_t mNextSeq = 1;
    int32_t mStatus = 0;
    std::vector<uint8_t> mDocument;
};

}  // namespace mcxemu

#endif  // EMULATOR_CONFIG_REASSEMBLER_H
