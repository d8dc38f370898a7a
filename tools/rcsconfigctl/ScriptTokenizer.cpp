#include "ScriptTokenizer.h"

#include <cctype>

namespace rcsctl {

bool splitWords(const std::string& line, std::vector<std::string>* words, std::string* error) {
    words->clear();
    std::string word;
    bool inWord = false;
    size_t i = 0;
    while (i < line.size()) {
        char c = line[i];
        if (std::isspace(static_cast<unsigned char>(c))) {
            if (inWord) words->push_back(word);
            word.clear();
            inWord = false;
            ++i;
        } else if (c == '#' && !inWord) {
            break;
        } else if (c == '\'') {
            size_t end = line.find('\'', i + 1);
            if (end == std::string::npos) {
                *error = "unterminated ' quote";
                return false;
            }
            word.append(line, i + 1, end - i - 1);
            inWord = true;
            i = end + 1;
        } else if (c == '"') {
            inWord = true;
            ++i;
            bool closed = false;
            while (i < line.size()) {
                if (line[i] == '"') {
                    closed = true;
                    ++i;
                    break;
                }
                if (line[i] == '\\' && i + 1 < line.size()) ++i;
                word += line[i++];
            }
            if (!closed) {
                *error = "unterminated \" quote";
                return false;
            }
        } else if (c == '\\') {
            if (i + 1 >= line.size()) {
                *error = "backslash at the end of the line";
                return false;
            }
            word += line[i + 1];
            inWord = true;
            i += 2;
        } else {
            word += c;
            inWord = true;
            ++i;
        }
    }
    if (inWord) words->push_back(word);
    return true;
}

bool readLogicalLine(std::istream& in, std::string* line, int* number, int* first) {
    line->clear();
    std::string physical;
    bool any = false;
    while (std::getline(in, physical)) {
        ++*number;
        if (!any) *first = *number;
        any = true;
        size_t backslashes = 0;
        while (backslashes < physical.size() && physical[physical.size() - 1 - backslashes] == '\\') {
            ++backslashes;
        }
        if (backslashes % 2 == 1) {
            physical.pop_back();
            *line += physical;
            continue;
        }
        *line += physical;
        return true;
    }
    return any;
}

}  // namespace rcsctl
