#include "RetainedGrowth.h"

#include "rcsconfig/ImsMcxSettings.h"
#include "rcsconfig/RcsConfig.h"
#include "rcsconfig/RcsConfigManager.h"

namespace soak {

RetainedCosts RetainedCosts::measure() {
    RetainedCosts c;
    // The list entries are counted apart (Retained::listBytes).
    c.callbackRecipient = chunk(sizeof(RcsConfig::DeathRecipientListener)) + kRefSide;
    c.managerRecipient = chunk(sizeof(RcsConfigManager::DeathRecipientListener)) + kRefSide;
    c.serviceObject = chunk(sizeof(RcsConfig)) + kRefSide;
    // make_shared's block holds the wrapper; the map node holds key and pointer.
    c.wrapper = chunk(sizeof(RcsConfig::GetConfigListenerWrapper) + 16) + chunk(32 + 8 + 16);
    c.droppedClient = chunk(sizeof(ImsMcxSettings::imssClient));
    return c;
}

namespace {

// Sums `each(n)` over every number n on the lines that start with `label`.
template <typename Each>
int64_t sumOverNumbersAfter(const std::string& dump, const std::string& label, Each each) {
    int64_t total = 0;
    size_t pos = 0;
    while ((pos = dump.find(label, pos)) != std::string::npos) {
        pos += label.size();
        size_t end = dump.find('\n', pos);
        std::string line = dump.substr(pos, end - pos);
        const char* p = line.c_str();
        while (*p) {
            if (*p >= '0' && *p <= '9') {
                char* e;
                total += each(strtoll(p, &e, 10));
                p = e;
            } else {
                ++p;
            }
        }
    }
    return total;
}

int64_t sumNumbersAfter(const std::string& dump, const std::string& label) {
    return sumOverNumbersAfter(dump, label, [](int64_t n) { return n; });
}

}  // namespace

// Its capacity doubles from 1.
int64_t listBlock(int64_t n) {
    if (n <= 0) return 0;
    int64_t capacity = 1;
    while (capacity < n) capacity *= 2;
    return RetainedCosts::chunk(static_cast<size_t>(capacity) * sizeof(void*));
}

namespace {

int64_t listBytesAfter(const std::string& dump, const std::string& label) {
    return sumOverNumbersAfter(dump, label, listBlock);
}

}  // namespace

Retained retainedFrom(const std::string& dump) {
    Retained r;
    r.listBytes = listBytesAfter(dump, "    death links:") + listBytesAfter(dump, "Service objects:") +
                  listBytesAfter(dump, "(death links made:");
    r.serviceObjects = sumNumbersAfter(dump, "Service objects:");
    r.managerLinks = sumNumbersAfter(dump, "(death links made:");
    r.callbackLinks = sumNumbersAfter(dump, "    death links:");
    r.wrappers = sumNumbersAfter(dump, "callbacks filed:");
    return r;
}

}  // namespace soak
