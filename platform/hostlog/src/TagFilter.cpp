#include "hostlog/TagFilter.h"

#include <android/log.h>

#include <cstdio>
#include <cstdlib>
#include <sstream>

#include "hostlog/LogLine.h"

namespace hostlog {

bool TagFilter::parse(const std::vector<std::string>& words, TagFilter* out, std::string* error) {
    TagFilter f;
    for (const auto& text : words) {
        std::istringstream in(text);
        std::string word;
        while (in >> word) {
            size_t colon = word.rfind(':');
            std::string tag = colon == std::string::npos ? word : word.substr(0, colon);
            int priority = ANDROID_LOG_VERBOSE;
            if (colon != std::string::npos) {
                const std::string letter = word.substr(colon + 1);
                priority = letter.size() == 1 ? priorityOfLetter(letter[0]) : -1;
            }
            if (tag.empty() || priority < 0) {
                *error = "bad filter '" + word + "' (TAG:P, P one of V D I W E F S)";
                return false;
            }
            if (tag == "*") {
                f.mOthers = priority;
            } else {
                f.mTags[tag] = priority;
            }
        }
    }
    *out = f;
    return true;
}

TagFilter TagFilter::fromEnvironment() {
    TagFilter f;
    const char* value = getenv("ANDROID_LOG_TAGS");
    if (value == nullptr) return f;
    std::string error;
    if (!parse({value}, &f, &error)) {
        static bool told = false;  // one line per process is enough
        if (!told) fprintf(stderr, "ANDROID_LOG_TAGS ignored: %s\n", error.c_str());
        told = true;
        return TagFilter();
    }
    return f;
}

bool TagFilter::passes(const std::string& tag, int priority) const {
    auto it = mTags.find(tag);
    const int lowest = it != mTags.end() ? it->second : mOthers;
    return lowest != ANDROID_LOG_SILENT && priority >= lowest;
}

void TagFilter::applyToLiblog() const {
    if (lowestShown() < ANDROID_LOG_INFO) __android_log_set_minimum_priority(lowestShown());
}

int TagFilter::lowestShown() const {
    int lowest = mOthers;
    for (const auto& t : mTags) {
        if (t.second < lowest) lowest = t.second;
    }
    return lowest;
}

}  // namespace hostlog
