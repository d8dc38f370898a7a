/*
 * TagFilter: which lines to show, written as logcat and ANDROID_LOG_TAGS
 * write it: space-separated TAG:P pairs, P one of V D I W E F S (S: none),
 * `*` for every other tag. "*:S RcsConfig:I" shows RcsConfig's lines of
 * priority I and above and nothing else; a bare TAG means TAG:V. Without a
 * `*` pair, tags not named are shown from V.
 */
#ifndef HOSTLOG_TAG_FILTER_H
#define HOSTLOG_TAG_FILTER_H

#include <map>
#include <string>
#include <vector>

namespace hostlog {

class TagFilter {
public:
    // Shows everything.
    TagFilter() = default;

    // The filter of `words` (each one TAG:P, or several separated by blanks);
    // false with the offending word in *error.
    static bool parse(const std::vector<std::string>& words, TagFilter* out, std::string* error);
    // ANDROID_LOG_TAGS's filter; everything when it is unset. A malformed
    // value is reported once on stderr and ignored. Any thread.
    static TagFilter fromEnvironment();

    // True when a line of `tag` at `priority` is shown.
    bool passes(const std::string& tag, int priority) const;
    // The lowest priority any tag shows (ANDROID_LOG_SILENT when none).
    int lowestShown() const;
    // liblog drops lines below INFO before any logger sees them: lowers its
    // minimum priority when this filter shows such lines. Any thread.
    void applyToLiblog() const;

private:
    std::map<std::string, int> mTags;  // tag -> lowest priority shown
    int mOthers = 2;                   // ANDROID_LOG_VERBOSE
};

}  // namespace hostlog

#endif  // HOSTLOG_TAG_FILTER_H
