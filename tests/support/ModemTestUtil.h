/*
 * Helpers for tests that talk to the modem emulator: building gzip documents,
 * and a sink that records what the emulator pushes.
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

}  // namespace imstest

#endif  // TESTS_SUPPORT_MODEM_TEST_UTIL_H
