/*
 * The printf conversions the library's messages use, formatted without the C
 * library's printf.
 *
 * A log line is formatted about a dozen times per event the loop handles, and
 * the loop sleeps between events, so the line usually runs with cold caches:
 * vsnprintf's large code and its stream set-up then cost more than the rest of
 * the line. Nearly every message needs only %d, %s, %x, %p and the like, which
 * take a few instructions each.
 *
 * formatCommon() writes what vsnprintf would write, cut the same way, or
 * returns false as soon as it meets anything it leaves to vsnprintf: flags,
 * width, precision, other lengths or conversions, and a null %p (whose text
 * differs between C libraries). The caller then formats the message again
 * with vsnprintf from a copy of the arguments.
 */
#ifndef IMS_LOG_FORMAT_H
#define IMS_LOG_FORMAT_H

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>
#include <string.h>
#include <sys/types.h>

namespace imslog_detail {

// Appends to a buffer of `size` bytes the way vsnprintf fills one: what does
// not fit is dropped and the text always ends with a terminator.
class CutBuffer {
public:
    CutBuffer(char* out, size_t size) : mOut(out), mLeft(size - 1) {}

    void put(const char* s, size_t n) {
        if (n > mLeft) n = mLeft;
        memcpy(mOut, s, n);
        mOut += n;
        mLeft -= n;
    }
    void put(char c) {
        if (mLeft == 0) return;
        *mOut++ = c;
        --mLeft;
    }
    void putUnsigned(unsigned long long v, unsigned base, bool upper) {
        const char* digitChars = upper ? "0123456789ABCDEF" : "0123456789abcdef";
        char digits[24];
        size_t d = sizeof(digits);
        do {
            digits[--d] = digitChars[v % base];
            v /= base;
        } while (v != 0);
        put(digits + d, sizeof(digits) - d);
    }
    void putSigned(long long v) {
        if (v < 0) {
            put('-');
            putUnsigned(0ull - static_cast<unsigned long long>(v), 10, false);
        } else {
            putUnsigned(static_cast<unsigned long long>(v), 10, false);
        }
    }
    void end() { *mOut = '\0'; }

private:
    char* mOut;
    size_t mLeft;
};

// `size` must be at least 1. On false, `out` holds an unfinished text and
// `args` is partly consumed.
inline bool formatCommon(char* out, size_t size, const char* fmt, va_list args) {
    CutBuffer buf(out, size);
    for (;;) {
        const char* pct = strchr(fmt, '%');
        if (pct == nullptr) {
            buf.put(fmt, strlen(fmt));
            break;
        }
        buf.put(fmt, static_cast<size_t>(pct - fmt));
        const char* p = pct + 1;
        enum { kInt, kLong, kLongLong, kSize } length = kInt;
        if (p[0] == 'l' && p[1] == 'l') {
            length = kLongLong;
            p += 2;
        } else if (p[0] == 'l') {
            length = kLong;
            ++p;
        } else if (p[0] == 'z') {
            length = kSize;
            ++p;
        }
        const char conv = *p;
        if (length != kInt && conv != 'd' && conv != 'i' && conv != 'u' && conv != 'x' &&
            conv != 'X') {
            return false;
        }
        switch (conv) {
            case 'd':
            case 'i':
                switch (length) {
                    case kInt: buf.putSigned(va_arg(args, int)); break;
                    case kLong: buf.putSigned(va_arg(args, long)); break;
                    case kLongLong: buf.putSigned(va_arg(args, long long)); break;
                    case kSize: buf.putSigned(va_arg(args, ssize_t)); break;
                }
                break;
            case 'u':
            case 'x':
            case 'X': {
                unsigned long long v = 0;
                switch (length) {
                    case kInt: v = va_arg(args, unsigned int); break;
                    case kLong: v = va_arg(args, unsigned long); break;
                    case kLongLong: v = va_arg(args, unsigned long long); break;
                    case kSize: v = va_arg(args, size_t); break;
                }
                buf.putUnsigned(v, conv == 'u' ? 10 : 16, conv == 'X');
                break;
            }
            case 's': {
                const char* s = va_arg(args, const char*);
                if (s == nullptr) s = "(null)";
                buf.put(s, strlen(s));
                break;
            }
            case 'c':
                buf.put(static_cast<char>(va_arg(args, int)));
                break;
            case 'p': {
                const void* v = va_arg(args, const void*);
                if (v == nullptr) return false;
                buf.put("0x", 2);
                buf.putUnsigned(reinterpret_cast<uintptr_t>(v), 16, false);
                break;
            }
            case '%':
                buf.put('%');
                break;
            default:
                return false;
        }
        fmt = p + 1;
    }
    buf.end();
    return true;
}

}  // namespace imslog_detail

#endif  // IMS_LOG_FORMAT_H
