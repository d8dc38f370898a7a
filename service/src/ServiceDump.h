/*
 * The service's state dump: what `lshal debug` prints for the IMS factory
 * and what a bug report collects. A snapshot is gathered by the host (the
 * loop-thread part on the loop thread) and formatted here as plain text.
 */
#ifndef SERVICE_SERVICE_DUMP_H
#define SERVICE_SERVICE_DUMP_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace rcsservice {

struct ServiceSnapshot {
    bool started = false;
    std::string modemTransport;  // how the modem is reached

    // Manager, read on the loop thread.
    bool modemUp = false;
    bool serviceAvailable = false;
    bool imssSubscribed[2] = {false, false};
    bool imsaSubscribed[2] = {false, false};

    struct Listener {
        unsigned long key;
        int slotId;
        uint8_t version;
        int clientPid;  // the process of the client's listener; 0 when not known
    };
    std::vector<Listener> listeners;
    size_t listenerDeathRecipients = 0;

    struct ServiceObject {
        uintptr_t address;
        int slotId;
        size_t setConfigCallbacks, getSettingsCallbacks, settingsChangeCallbacks;
        size_t setConfigLinks, getSettingsLinks, settingsChangeLinks, uceStatusLinks;
    };
    std::vector<ServiceObject> serviceObjects;

    // Requests not yet answered.
    bool offLoop = true;  // false when taken on the loop thread: the lists below are unknown
    std::map<uint32_t, size_t> queuedEvents;  // by ConfigEventType, not yet on the loop
    size_t configUploads = 0;                 // uploads awaiting the modem's verdict
    size_t settingsWrites = 0;
    size_t settingsReads = 0;
    size_t appTokens = 0;
    std::vector<unsigned int> changeListenerGroups;  // groups with a change listener

    unsigned long loopFailures = 0;  // exceptions caught on the loop thread
};

// Readable text of `snapshot`, one fact per line, ending in a newline.
std::string formatServiceDump(const ServiceSnapshot& snapshot);

// The same facts as one JSON object (see formatServiceDump for their
// meaning). Text is escaped for JSON but its bytes are kept as they are.
std::string formatServiceDumpJson(const ServiceSnapshot& snapshot);

// Name of a ConfigEventType value for the dump ("set settings", ...).
const char* eventKindName(uint32_t eventType);

}  // namespace rcsservice

#endif  // SERVICE_SERVICE_DUMP_H
