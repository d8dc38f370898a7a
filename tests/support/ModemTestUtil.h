/*
 * Documents for tests that upload to the modem: patterned, incompressible and
 * gzip-compressed bytes.
 */
#ifndef TESTS_SUPPORT_MODEM_TEST_UTIL_H
#define TESTS_SUPPORT_MODEM_TEST_UTIL_H

#include <cstdint>
#include <string>
#include <vector>

namespace imstest {

// gzip-compresses data (gzip wrapper, as the telephony side sends documents).
std::vector<uint8_t> gzipBytes(const std::vector<uint8_t>& data);

// A document of n bytes whose content depends on the position.
std::vector<uint8_t> patternBytes(size_t n);

// n pseudo-random bytes, the same for the same seed: gzip cannot shrink them,
// so their compressed size is about their own.
std::vector<uint8_t> noiseBytes(size_t n, uint32_t seed = 1);

}  // namespace imstest

#endif  // TESTS_SUPPORT_MODEM_TEST_UTIL_H
