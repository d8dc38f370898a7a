/*
 * Splits one script line into words the way a shell would for simple cases:
 * blanks separate words, '...' and "..." keep blanks (a backslash escapes
 * the next character inside "..." and outside quotes), and '#' at the start
 * of a word begins a comment that runs to the end of the line.
 */
#ifndef RCSCONFIGCTL_SCRIPT_TOKENIZER_H
#define RCSCONFIGCTL_SCRIPT_TOKENIZER_H

#include <istream>
#include <string>
#include <vector>

namespace rcsctl {

// Splits `line`; false with the reason in *error for an unterminated quote
// or a trailing backslash. A blank or comment-only line yields no words.
bool splitWords(const std::string& line, std::vector<std::string>* words, std::string* error);

// Reads one logical line: a line that ends in a backslash continues on the
// next. *number advances over the physical lines read and *first is the
// number of the logical line's first one. False at the end of the input.
bool readLogicalLine(std::istream& in, std::string* line, int* number, int* first);

}  // namespace rcsctl

#endif  // RCSCONFIGCTL_SCRIPT_TOKENIZER_H
