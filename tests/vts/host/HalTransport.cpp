#include "HalTransport.h"

#include <algorithm>

#include <hidl/HidlHostTransport.h>

#include "VintfFragment.h"

namespace imsrcs_vts {

namespace host = android::hardware::host;

void joinHalTransport() {
    // The registry folder of the service under test: $IMSRCS_HIDL_REGISTRY,
    // which the runner script sets, else the user's default one.
    host::useServiceRegistry(host::defaultRegistryDir());
}

std::vector<std::string> declaredInstances(const std::string& descriptor) {
    // What a device with this repository's fragment in its manifest declares.
    std::vector<std::string> names;
    for (const DeclaredHal& hal : readVintfFragment(SERVICE_DIR "/vendor.kel.ims.rcsconfig-service.xml")) {
        if (hal.serves(descriptor)) names.push_back(hal.instance);
    }
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
    return names;
}

bool unmetPreconditionFails() {
    // run_with_service.sh starts the modem with the service and provisions
    // settings values before the tests.
    return true;
}

}  // namespace imsrcs_vts
