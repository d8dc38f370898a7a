#include "ServiceDump.h"

#include <cinttypes>
#include <cstdio>
#include <sstream>

namespace rcsservice {

namespace {

const char* yesNo(bool value) {
    return value ? "yes" : "no";
}

const char* modemState(const ServiceSnapshot& s) {
    if (s.serviceAvailable) return "up, carrier configuration accepted";
    if (s.modemUp) return "up, no carrier configuration";
    return "down";
}

std::string hex(uintptr_t value) {
    char text[32];
    snprintf(text, sizeof(text), "0x%" PRIxPTR, value);
    return text;
}

const char* groupName(unsigned int group) {
    switch (group) {
        case 0: return "PRESENCE_CONFIG";
        case 1: return "STANDALONE_MESSAGING_CONFIG";
        case 2: return "USER_AGENT_STRING";
        case 3: return "IMS_SERVICE_ENABLE_CONFIG";
        default: return "unknown group";
    }
}

}  // namespace

const char* eventKindName(uint32_t eventType) {
    switch (eventType) {
        case 0: return "subscribe slot";
        case 1: return "set config";
        case 2: return "set settings";
        case 3: return "get settings";
        case 4: return "register for settings change";
        case 5: return "deregister from settings change";
        case 7: return "set app token";
        case 8: return "update token fetch status";
        default: return "unsupported event";
    }
}

std::string formatServiceDump(const ServiceSnapshot& s) {
    std::ostringstream out;
    out << "RCS configuration service\n";
    if (!s.started) {
        out << "  not started\n";
        return out.str();
    }
    out << "Modem (" << s.modemTransport << ")\n";
    out << "  IMS settings service: " << modemState(s) << "\n";
    out << "  modem up: " << yesNo(s.modemUp)
        << ", carrier configuration accepted: " << yesNo(s.serviceAvailable) << "\n";
    for (int i = 0; i < 2; ++i) {
        out << "  slot " << (i + 1) << ": settings client subscribed: " << yesNo(s.imssSubscribed[i])
            << ", application client subscribed: " << yesNo(s.imsaSubscribed[i]) << "\n";
    }

    const char* unknown = "unknown (dump taken on the loop thread)\n";
    if (s.offLoop) {
        out << "Listeners: " << s.listeners.size() << " (death links made: "
            << s.listenerDeathRecipients << ")\n";
    } else {
        out << "Listeners: " << unknown;
    }
    for (const auto& l : s.listeners) {
        out << "  " << hex(l.key) << " slot " << l.slotId << ", IRcsConfigListener "
            << (l.version == 1 ? "2.1" : "2.0");
        if (l.clientPid != 0) out << ", client pid " << l.clientPid;
        out << "\n";
    }

    if (s.offLoop) {
        out << "Service objects: " << s.serviceObjects.size() << "\n";
    } else {
        out << "Service objects: " << unknown;
    }
    for (const auto& o : s.serviceObjects) {
        out << "  RcsConfig " << hex(o.address) << " slot " << o.slotId << "\n";
        out << "    callbacks filed: set-config " << o.setConfigCallbacks << ", get-settings "
            << o.getSettingsCallbacks << ", settings-change " << o.settingsChangeCallbacks << "\n";
        out << "    death links: set-config " << o.setConfigLinks << ", get-settings "
            << o.getSettingsLinks << ", settings-change " << o.settingsChangeLinks << ", uce-status "
            << o.uceStatusLinks << "\n";
    }

    out << "Pending requests\n";
    size_t queued = 0;
    for (const auto& entry : s.queuedEvents) queued += entry.second;
    if (s.offLoop) {
        out << "  queued for the loop thread: " << queued << "\n";
    } else {
        out << "  queued for the loop thread: " << unknown;
    }
    for (const auto& entry : s.queuedEvents) {
        out << "    " << eventKindName(entry.first) << ": " << entry.second << "\n";
    }
    out << "  configuration uploads (answers kept until the modem goes down): " << s.configUploads << "\n";
    out << "  settings writes: " << s.settingsWrites << "\n";
    out << "  settings reads: " << s.settingsReads << "\n";
    out << "  app tokens: " << s.appTokens << "\n";
    out << "  settings change listeners: " << s.changeListenerGroups.size() << "\n";
    for (unsigned int group : s.changeListenerGroups) {
        out << "    " << groupName(group) << " (" << group << ")\n";
    }
    out << "Loop thread: handler failures caught: " << s.loopFailures << "\n";
    return out.str();
}

namespace {

// A JSON string; quotes, backslashes and control characters escaped.
std::string quoted(const std::string& text) {
    std::string out = "\"";
    for (unsigned char c : text) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c < 0x20) {
            char escape[8];
            snprintf(escape, sizeof(escape), "\\u%04x", c);
            out += escape;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out + "\"";
}

const char* boolean(bool value) { return value ? "true" : "false"; }

// A count the loop thread's own dump cannot know is null.
std::string count(const ServiceSnapshot& s, size_t value) {
    return s.offLoop ? std::to_string(value) : "null";
}

}  // namespace

std::string formatServiceDumpJson(const ServiceSnapshot& s) {
    std::ostringstream out;
    out << "{\"title\":\"RCS configuration service\",\"started\":" << boolean(s.started);
    if (!s.started) return out.str() + "}";
    out << ",\"modem\":{\"transport\":" << quoted(s.modemTransport) << ",\"up\":" << boolean(s.modemUp)
        << ",\"carrierConfigurationAccepted\":" << boolean(s.serviceAvailable) << ",\"slots\":[";
    for (int i = 0; i < 2; ++i) {
        out << (i ? "," : "") << "{\"slot\":" << i + 1 << ",\"settingsClientSubscribed\":"
            << boolean(s.imssSubscribed[i]) << ",\"applicationClientSubscribed\":" << boolean(s.imsaSubscribed[i])
            << "}";
    }
    out << "]},\"listeners\":{\"count\":" << count(s, s.listeners.size())
        << ",\"deathLinksMade\":" << count(s, s.listenerDeathRecipients) << ",\"entries\":[";
    for (size_t i = 0; i < s.listeners.size(); ++i) {
        const auto& l = s.listeners[i];
        out << (i ? "," : "") << "{\"address\":\"" << hex(l.key) << "\",\"slot\":" << l.slotId
            << ",\"interface\":\"IRcsConfigListener " << (l.version == 1 ? "2.1" : "2.0") << "\",\"clientPid\":";
        if (l.clientPid != 0) {
            out << l.clientPid;
        } else {
            out << "null";
        }
        out << "}";
    }
    out << "]},\"serviceObjects\":{\"count\":" << count(s, s.serviceObjects.size()) << ",\"entries\":[";
    for (size_t i = 0; i < s.serviceObjects.size(); ++i) {
        const auto& o = s.serviceObjects[i];
        out << (i ? "," : "") << "{\"address\":\"" << hex(o.address) << "\",\"slot\":" << o.slotId
            << ",\"callbacksFiled\":{\"setConfig\":" << o.setConfigCallbacks
            << ",\"getSettings\":" << o.getSettingsCallbacks << ",\"settingsChange\":" << o.settingsChangeCallbacks
            << "},\"deathLinks\":{\"setConfig\":" << o.setConfigLinks << ",\"getSettings\":" << o.getSettingsLinks
            << ",\"settingsChange\":" << o.settingsChangeLinks << ",\"uceStatus\":" << o.uceStatusLinks << "}}";
    }
    size_t queued = 0;
    std::string kinds;
    for (const auto& entry : s.queuedEvents) {
        queued += entry.second;
        kinds += (kinds.empty() ? "" : ",") + quoted(eventKindName(entry.first)) + ":" + std::to_string(entry.second);
    }
    out << "]},\"pendingRequests\":{\"queuedForTheLoopThread\":" << count(s, queued) << ",\"queued\":{" << kinds
        << "},\"configurationUploads\":" << s.configUploads << ",\"settingsWrites\":" << s.settingsWrites
        << ",\"settingsReads\":" << s.settingsReads << ",\"appTokens\":" << s.appTokens
        << ",\"settingsChangeListeners\":[";
    for (size_t i = 0; i < s.changeListenerGroups.size(); ++i) {
        out << (i ? "," : "") << quoted(groupName(s.changeListenerGroups[i]));
    }
    out << "]},\"loopThread\":{\"handlerFailuresCaught\":" << s.loopFailures << "}}";
    return out.str();
}

}  // namespace rcsservice
