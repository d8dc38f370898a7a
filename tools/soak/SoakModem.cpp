// Starting, killing and watching the soak's modem, and reading what the
// embedded emulator holds.
#include "SoakModem.h"

#include <cstdlib>
#include <cstring>

namespace soak {

SoakModem::SoakModem(const Options& options, SoakService& service) : mService(service) {
    if (!options.modemd.empty()) {
        mDaemon = std::make_unique<testkit::ModemDaemonProcess>(options.modemd, options.socket);
    }
}

bool SoakModem::start() { return embedded() || mDaemon->start(); }

void SoakModem::kill() {
    if (!embedded()) mDaemon->kill();
}

void SoakModem::down() {
    std::string reply;
    if (embedded()) {
        mService.modemControl("service imss down", &reply);
        mService.modemControl("service imsa down", &reply);
    } else {
        kill();
    }
}

bool SoakModem::up() {
    std::string reply;
    if (embedded()) {
        mService.modemControl("service imss up", &reply);
        mService.modemControl("service imsa up", &reply);
        return true;
    }
    return start();
}

bool SoakModem::restartIfCrashed() {
    if (embedded() || !mDaemon->reapIfExited()) return false;
    start();
    return true;
}

// The emulator's "configs" command lists one "len=<bytes>" line per document.
void emulatorDocuments(SoakService& service, int64_t* count, int64_t* bytes) {
    *count = 0;
    *bytes = 0;
    for (int sub = 0; sub < 2; ++sub) {
        std::string reply;
        if (!service.modemControl("configs " + std::to_string(sub + 1), &reply)) continue;
        const char* p = reply.c_str();
        while ((p = strstr(p, "len=")) != nullptr) {
            p += 4;
            *bytes += strtoll(p, nullptr, 10);
            ++*count;
        }
    }
}

}  // namespace soak
