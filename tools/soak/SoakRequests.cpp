// The settings records the soak driver writes, parsed as the tool parses them.
#include "SoakRequests.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include "Command.h"

namespace soak {

std::vector<V2_0::SettingsData> settingsRecords() {
    const std::vector<std::vector<std::string>> commands = {
        {"set-settings", "presence", "PUBLISH_TIMER=1200", "PUBLISH_EXTENDED_TIMER=86400",
         "CAPABILITY_DISCOVERY_ENABLED=true", "PRESENCE_SERVICE_URI=sip:rls@ims.example.org"},
        {"set-settings", "messaging", "DEFAULT_SMS_APP=1", "CLIENT_VENDOR=KELV",
         "TERMINAL_MODEL=KV-9", "RCS_VERSION=UP2.4"},
        {"set-settings", "user-agent", "IMS_USER_AGENT=Kelvale KV-9/KV9.2026.11 IMS-RCS/2.1"},
        {"set-settings", "ims-service", "VOLTE_ENABLED=true", "RTT_ENABLED=false",
         "CALL_MODE_PREFERENCE=2", "WIFI_PROVISIONING_ID=KVWFC-0001-A7"},
    };
    std::vector<V2_0::SettingsData> out;
    for (const auto& words : commands) {
        rcsctl::Command c;
        std::string error;
        if (!rcsctl::parseCommand(words, &c, &error)) {
            fprintf(stderr, "rcs-soak: internal record rejected: %s\n", error.c_str());
            exit(2);
        }
        out.push_back(c.settings);
    }
    return out;
}

}  // namespace soak
