/*
 * Output: what the client prints. Every result is given twice, as lines for
 * a person and as one JSON object for machines; the session's --json choice
 * picks one. Errors are one line on stderr in both modes. Thread-safe, so a
 * notice can be printed while a command waits.
 */
#ifndef RCSCONFIGCTL_OUTPUT_H
#define RCSCONFIGCTL_OUTPUT_H

#include <cstdint>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include <hostsync/Mutex.h>

#include "SettingsCatalog.h"
#include "TextQuote.h"

namespace rcsctl {

// A JSON object whose members keep the order they were added in.
class Json {
public:
    Json& str(const std::string& key, const std::string& value);
    Json& num(const std::string& key, int64_t value);
    Json& flag(const std::string& key, bool value);
    // `json` must already be valid JSON (an object, array, ...).
    Json& raw(const std::string& key, const std::string& json);
    // Appends the members of `other`, in their order.
    Json& merge(const Json& other);
    std::string text() const;

private:
    std::vector<std::pair<std::string, std::string>> mMembers;
};

class Output {
public:
    Output(std::ostream& out, std::ostream& err, bool json) : mOut(out), mErr(err), mJson(json) {}

    bool json() const { return mJson; }

    // Prints `text` (one or more lines) or, in JSON mode, `json` on one line.
    void report(const std::string& text, const Json& json);
    // Prints "rcsconfigctl: <where>: <message>" (or without where) on stderr;
    // in JSON mode also {"where":..,"error":..} on stdout.
    void error(const std::string& where, const std::string& message);
    // Prints "rcsconfigctl: warning: <message>" on stderr, in both modes.
    void warning(const std::string& message);

private:
    hostsync::Mutex mLock;
    std::ostream& mOut GUARDED_BY(mLock);
    std::ostream& mErr GUARDED_BY(mLock);
    const bool mJson;
};

// The values of a settings record as "  NAME (key) = value" lines, key order.
std::string settingsText(const SettingsData& data);
// The same as a JSON object {"NAME": value, ...}.
std::string settingsJson(const SettingsData& data);
// A group's name for output, e.g. "PRESENCE_CONFIG"; the number if unknown.
std::string groupName(SettingsId id);

}  // namespace rcsctl

#endif  // RCSCONFIGCTL_OUTPUT_H
