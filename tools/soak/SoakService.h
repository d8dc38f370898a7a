/*
 * The service under a soak run, measured from outside: a WorkstationService
 * in this process, reached as a client reaches it, its factory from the
 * service registry and everything else (the loop barrier, the dump, the heap
 * figure, the modem's controls, the sizes of what it keeps by design) through
 * the factory's debug().
 */
#ifndef SOAK_SOAK_SERVICE_H
#define SOAK_SOAK_SERVICE_H

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <vendor/kel/ims/factory/1.1/IImsFactory.h>

#include "service/ServiceLog.h"
#include "service/WorkstationService.h"

namespace soak {

// Driver thread only, except where said.
class SoakService {
public:
    // The service's log is kept silent (see start()).
    SoakService();
    ~SoakService();
    SoakService(const SoakService&) = delete;
    SoakService& operator=(const SoakService&) = delete;

    // Starts the service on `modem` and gets its factory; false after a line
    // on stderr.
    bool start(const rcsservice::HostModem& modem);
    // Drops the factory and stops the service.
    void stop();

    const ::android::sp<::vendor::kel::ims::factory::V1_1::IImsFactory>& factory() const { return mFactory; }

    // Waits until the service's loop has handled everything posted.
    void waitUntilIdle();
    // The service's state dump.
    std::string dump();
    // Heap bytes the process has in use, as the service reports them (0 when
    // the allocator does not say).
    int64_t heapInUse();
    // A modem control command; false when the modem refused it.
    bool modemControl(const std::string& command, std::string* reply);
    // The size of each kind of object the service keeps by design, by kind.
    std::map<std::string, int64_t> retainedSizes();
    // Waits until the service reports the modem up (with the carrier
    // configuration accepted) or down; false on time-out.
    bool waitModem(bool up, int timeoutMs);

private:
    // The debug() answer to `words`; empty when the call failed.
    std::string ask(const std::vector<std::string>& words);

    rcsservice::ServiceLog mLog{nullptr, false};
    std::unique_ptr<rcsservice::WorkstationService> mService;
    ::android::sp<::vendor::kel::ims::factory::V1_1::IImsFactory> mFactory;
};

}  // namespace soak

#endif  // SOAK_SOAK_SERVICE_H
