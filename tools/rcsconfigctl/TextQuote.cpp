#include "TextQuote.h"

#include <cstdio>

namespace rcsctl {

size_t utf8Sequence(const std::string& s, size_t at, uint32_t* codePoint) {
    auto byte = [&](size_t i) { return static_cast<unsigned char>(s[i]); };
    unsigned char lead = byte(at);
    size_t length;
    uint32_t value;
    uint32_t smallest;  // below it, the sequence is overlong
    if (lead < 0x80) {
        *codePoint = lead;
        return 1;
    } else if (lead >= 0xc2 && lead <= 0xdf) {
        length = 2, value = lead & 0x1f, smallest = 0x80;
    } else if (lead >= 0xe0 && lead <= 0xef) {
        length = 3, value = lead & 0x0f, smallest = 0x800;
    } else if (lead >= 0xf0 && lead <= 0xf4) {
        length = 4, value = lead & 0x07, smallest = 0x10000;
    } else {
        return 0;
    }
    if (at + length > s.size()) return 0;
    for (size_t i = 1; i < length; ++i) {
        if ((byte(at + i) & 0xc0) != 0x80) return 0;
        value = (value << 6) | (byte(at + i) & 0x3f);
    }
    if (value < smallest || value > 0x10ffff || (value >= 0xd800 && value <= 0xdfff)) return 0;
    *codePoint = value;
    return length;
}

namespace {

std::string hex(const char* format, unsigned value) {
    char buf[16];
    std::snprintf(buf, sizeof(buf), format, value);
    return buf;
}

// The escape both outputs share for quotes, backslashes and the common
// control characters; empty for any other character.
std::string commonEscape(uint32_t c) {
    switch (c) {
        case '"': return "\\\"";
        case '\\': return "\\\\";
        case '\n': return "\\n";
        case '\r': return "\\r";
        case '\t': return "\\t";
        default: return {};
    }
}

// A character that is not printable ASCII, escaped by code point (a
// surrogate pair above U+FFFF).
std::string codePointEscape(uint32_t c) {
    if (c < 0x10000) return hex("\\u%04x", c);
    c -= 0x10000;
    return hex("\\u%04x", 0xd800 + (c >> 10)) + hex("\\u%04x", 0xdc00 + (c & 0x3ff));
}

// A byte that is not UTF-8, as the four characters \xNN once decoded: JSON
// has no escape for a byte, and a lone surrogate is no character.
std::string byteEscape(unsigned char byte) { return hex("\\\\x%02x", byte); }

}  // namespace

std::string jsonQuote(const std::string& s) {
    std::string out = "\"";
    for (size_t i = 0; i < s.size();) {
        uint32_t c = 0;
        size_t length = utf8Sequence(s, i, &c);
        if (length == 0) {
            out += byteEscape(static_cast<unsigned char>(s[i]));
            ++i;
            continue;
        }
        i += length;
        std::string escape = commonEscape(c);
        if (!escape.empty()) {
            out += escape;
        } else if (c >= 0x20 && c < 0x7f) {
            out += static_cast<char>(c);
        } else {
            out += codePointEscape(c);
        }
    }
    return out + "\"";
}

std::string asciiJson(const std::string& json) {
    std::string out;
    for (size_t i = 0; i < json.size();) {
        uint32_t c = 0;
        const size_t length = utf8Sequence(json, i, &c);
        if (length == 1) {
            out += json[i];
        } else if (length == 0) {
            out += byteEscape(static_cast<unsigned char>(json[i]));
        } else {
            out += codePointEscape(c);
        }
        i += length == 0 ? 1 : length;
    }
    return out;
}

std::string textQuote(const std::string& s) {
    std::string out = "\"";
    for (size_t i = 0; i < s.size();) {
        uint32_t c = 0;
        size_t length = utf8Sequence(s, i, &c);
        if (length == 0) {
            out += hex("\\x%02x", static_cast<unsigned char>(s[i]));
            ++i;
            continue;
        }
        std::string escape = commonEscape(c);
        if (!escape.empty()) {
            out += escape;
        } else if (c < 0x20 || c == 0x7f) {
            out += hex("\\x%02x", c);
        } else {
            out.append(s, i, length);
        }
        i += length;
    }
    return out + "\"";
}

}  // namespace rcsctl
