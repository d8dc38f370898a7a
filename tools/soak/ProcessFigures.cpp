#include "ProcessFigures.h"

#include <dirent.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

namespace soak {

namespace {

int64_t statusField(const char* name) {
    FILE* f = fopen("/proc/self/status", "r");
    if (f == nullptr) return -1;
    char line[256];
    int64_t value = -1;
    size_t len = strlen(name);
    while (fgets(line, sizeof(line), f) != nullptr) {
        if (strncmp(line, name, len) == 0 && line[len] == ':') {
            value = strtoll(line + len + 1, nullptr, 10);
            break;
        }
    }
    fclose(f);
    return value;
}

int64_t openDescriptors() {
    DIR* d = opendir("/proc/self/fd");
    if (d == nullptr) return -1;
    int64_t n = 0;
    while (dirent* e = readdir(d)) {
        if (e->d_name[0] != '.') ++n;
    }
    closedir(d);
    return n - 1;  // the directory stream's own descriptor
}

}  // namespace

ProcessFigures ProcessFigures::now() {
    ProcessFigures f;
    f.rssKb = statusField("VmRSS");
    f.threads = statusField("Threads");
    f.descriptors = openDescriptors();
    return f;
}

ProcessFigures ProcessFigures::settled(int maxWaitMs) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(maxWaitMs);
    int64_t last = statusField("Threads");
    int same = 0;
    while (same < 20 && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        int64_t t = statusField("Threads");
        same = t == last ? same + 1 : 0;
        last = t;
    }
    return now();
}

}  // namespace soak
