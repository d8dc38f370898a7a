// What several fuzz targets share: reading typed values from the input, a
// logger that drops every line and the abort of a failed check.
#ifndef FUZZ_FUZZ_SUPPORT_H
#define FUZZ_FUZZ_SUPPORT_H

#include <android/log.h>

#include <errno.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace fuzzsupport {

// Reads the input front to back; bytes past its end read as zero.
class ByteReader {
public:
    ByteReader(const uint8_t* data, size_t size) : mData(data), mSize(size) {}
    bool empty() const { return mPos >= mSize; }
    template <typename T>
    T take() {
        T value{};
        size_t n = std::min(sizeof(T), mSize - mPos);
        memcpy(&value, mData + mPos, n);
        mPos += n;
        return value;
    }
    // Up to `max` bytes, fewer at the end of the input.
    std::vector<uint8_t> bytes(size_t max) {
        size_t n = std::min(max, mSize - mPos);
        std::vector<uint8_t> out(mData + mPos, mData + mPos + n);
        mPos += n;
        return out;
    }
    // Exactly `length` bytes, as a modem client hands a message over: the
    // input's, then zeros.
    std::vector<uint8_t> padded(size_t length) {
        std::vector<uint8_t> out = bytes(length);
        out.resize(length, 0);
        return out;
    }

private:
    const uint8_t* mData;
    size_t mSize;
    size_t mPos = 0;
};

// Lines are still formatted (their arguments are part of what is fuzzed) but
// not printed: they would swamp the run.
inline void discardLog(const struct __android_logger_data*, const char*) {}

// A check of the target failed: says which, under the target's name, and
// aborts so that libFuzzer keeps the input.
[[noreturn]] inline void fail(const char* what) {
    fprintf(stderr, "%s: %s\n", program_invocation_short_name, what);
    abort();
}

}  // namespace fuzzsupport

#endif  // FUZZ_FUZZ_SUPPORT_H
