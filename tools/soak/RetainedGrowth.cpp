#include "RetainedGrowth.h"

namespace soak {

bool RetainedCosts::fromSizes(const std::map<std::string, int64_t>& sizes, RetainedCosts* costs) {
    const char* const kinds[] = {"service-object", "callback-recipient", "manager-recipient", "callback-wrapper",
                                 "settings-client"};
    for (const char* kind : kinds) {
        if (sizes.count(kind) == 0) return false;
    }
    auto size = [&sizes](const char* kind) { return static_cast<size_t>(sizes.at(kind)); };
    RetainedCosts& c = *costs;
    // The list entries are counted apart (Retained::listBytes).
    c.callbackRecipient = chunk(size("callback-recipient")) + kRefSide;
    c.managerRecipient = chunk(size("manager-recipient")) + kRefSide;
    c.serviceObject = chunk(size("service-object")) + kRefSide;
    // make_shared's block holds the wrapper; the map node holds key and pointer.
    c.wrapper = chunk(size("callback-wrapper") + 16) + chunk(32 + 8 + 16);
    c.droppedClient = chunk(size("settings-client"));
    return true;
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
