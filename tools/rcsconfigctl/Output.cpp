#include "Output.h"

#include <cstdio>
#include <map>

namespace rcsctl {

Json& Json::str(const std::string& key, const std::string& value) {
    mMembers.emplace_back(key, jsonQuote(value));
    return *this;
}

Json& Json::num(const std::string& key, int64_t value) {
    mMembers.emplace_back(key, std::to_string(value));
    return *this;
}

Json& Json::flag(const std::string& key, bool value) {
    mMembers.emplace_back(key, value ? "true" : "false");
    return *this;
}

Json& Json::raw(const std::string& key, const std::string& json) {
    mMembers.emplace_back(key, json);
    return *this;
}

Json& Json::merge(const Json& other) {
    mMembers.insert(mMembers.end(), other.mMembers.begin(), other.mMembers.end());
    return *this;
}

std::string Json::text() const {
    std::string out = "{";
    for (size_t i = 0; i < mMembers.size(); ++i) {
        if (i) out += ",";
        out += jsonQuote(mMembers[i].first) + ":" + mMembers[i].second;
    }
    return out + "}";
}

void Output::report(const std::string& text, const Json& json) {
    hostsync::MutexLock lock(mLock);
    if (mJson) {
        mOut << json.text() << '\n';
    } else {
        mOut << text;
        if (text.empty() || text.back() != '\n') mOut << '\n';
    }
    mOut.flush();
}

void Output::error(const std::string& where, const std::string& message) {
    hostsync::MutexLock lock(mLock);
    if (mJson) {
        Json json;
        if (!where.empty()) json.str("where", where);
        mOut << json.str("error", message).text() << '\n';
    }
    mOut.flush();
    mErr << "rcsconfigctl: " << (where.empty() ? "" : where + ": ") << message << '\n';
    mErr.flush();
}

void Output::warning(const std::string& message) {
    hostsync::MutexLock lock(mLock);
    mOut.flush();
    mErr << "rcsconfigctl: warning: " << message << '\n';
    mErr.flush();
}

std::string groupName(SettingsId id) {
    const GroupInfo* group = SettingsCatalog::instance().group(id);
    return group ? group->name : std::to_string(static_cast<uint32_t>(id));
}

namespace {

struct Entry {
    std::string name;
    std::string text;  // readable value
    std::string json;  // JSON value
};

std::map<uint32_t, Entry> entries(const SettingsData& data) {
    const GroupInfo* group = SettingsCatalog::instance().group(data.settingsId);
    auto nameOf = [group](uint32_t key) {
        const KeyInfo* info = group ? group->keyByNumber(key) : nullptr;
        return info ? info->name : std::to_string(key);
    };
    std::map<uint32_t, Entry> out;
    for (const auto& p : data.settingsValues.intData) {
        out[p.key] = Entry{nameOf(p.key), std::to_string(p.value), std::to_string(p.value)};
    }
    for (const auto& p : data.settingsValues.boolData) {
        const char* v = p.value ? "true" : "false";
        out[p.key] = Entry{nameOf(p.key), v, v};
    }
    for (const auto& p : data.settingsValues.stringData) {
        std::string v(p.value.c_str(), p.value.size());
        out[p.key] = Entry{nameOf(p.key), textQuote(v), jsonQuote(v)};
    }
    return out;
}

}  // namespace

std::string settingsText(const SettingsData& data) {
    std::string out;
    for (const auto& e : entries(data)) {
        out += "  " + e.second.name + " (" + std::to_string(e.first) + ") = " + e.second.text + "\n";
    }
    if (out.empty()) out = "  (no values)\n";
    return out;
}

std::string settingsJson(const SettingsData& data) {
    Json json;
    for (const auto& e : entries(data)) json.raw(e.second.name, e.second.json);
    return json.text();
}

}  // namespace rcsctl
