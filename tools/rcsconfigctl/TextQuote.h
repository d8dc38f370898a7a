/*
 * Strings from the service and the modem are bytes: usually UTF-8, but
 * nothing guarantees it. These quote them for the two outputs without losing
 * a byte: valid UTF-8 stays readable text, anything else is escaped.
 */
#ifndef RCSCONFIGCTL_TEXT_QUOTE_H
#define RCSCONFIGCTL_TEXT_QUOTE_H

#include <cstdint>
#include <string>

namespace rcsctl {

// The length of the well-formed UTF-8 sequence at s[at] (1 to 4) and its code
// point in `*codePoint`; 0 when the bytes there are not one (a stray
// continuation byte, a truncated, overlong or surrogate sequence, or a value
// above U+10FFFF).
size_t utf8Sequence(const std::string& s, size_t at, uint32_t* codePoint);

// A JSON string literal: quotes, backslashes and control characters escaped,
// every non-ASCII character escaped by code point (\u00e9; surrogate pairs
// above U+FFFF), and each byte that is not UTF-8 escaped on its own as the
// text \xNN (XX the byte, as the text output shows it), so the output is
// ASCII, decodes with any strict parser and never holds a lone surrogate.
std::string jsonQuote(const std::string& s);

// JSON text from elsewhere (the service's dump) made ASCII the same way:
// the non-ASCII bytes, which only its strings may hold, escaped as above.
std::string asciiJson(const std::string& json);

// A readable quoted string for text output: UTF-8 characters as they are,
// quotes, backslashes and control characters escaped as in C, and a byte that
// is not UTF-8 as \xNN.
std::string textQuote(const std::string& s);

}  // namespace rcsctl

#endif  // RCSCONFIGCTL_TEXT_QUOTE_H
